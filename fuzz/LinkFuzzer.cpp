// Fuzz target: native link building. The input is a profile. It is written to a file, since
// links open their profiles by path, and then
//   - stands alone in a link in each step kind, and
//   - is chained with generated partner profiles: behind an RGB input profile, ahead of a CMYK
//     printer profile, between the two as an abstract step, and as the gamut step of an RGB
//     profile.
// Each link is created with the formats of the spaces its chain starts and ends in, and run on
// pixel buffers of exactly the sizes the link reports, in 8 and 16 bits.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "colorlink/LinkSignatures.h"
#include "colorlink/native/ColorLink.h"
#include "icc/IccProfileGen.h"

namespace {

namespace fs = std::filesystem;

// A partner profile's table: every input curve and output curve the identity, the grid
// filled by `node` from the node's position (each input in [0, 1]).
class PartnerTab : public CMTab {
public:
    using NodeFn = void (*)(const double* x, double* y);
    PartnerTab(unsigned in, unsigned out, unsigned points, NodeFn node) : m_node(node) {
        inputChan = uint8_t(in);
        outputChan = uint8_t(out);
        clutPoints = uint8_t(points);
        inputEnt = outputEnt = 2;
    }
    unsigned short InputValue(unsigned e, unsigned) const override { return e ? 65535 : 0; }
    unsigned short OutputValue(unsigned e, unsigned) const override { return e ? 65535 : 0; }
    int NodeValues16(unsigned node, unsigned short* values) const override {
        double x[4] = {}, y[4] = {};
        for (unsigned i = inputChan; i-- > 0;) { // the first input varies slowest
            x[i] = double(node % clutPoints) / (clutPoints - 1);
            node /= clutPoints;
        }
        m_node(x, y);
        for (unsigned c = 0; c < outputChan; ++c) {
            const double v = y[c] < 0 ? 0 : y[c] > 1 ? 1 : y[c];
            values[c] = static_cast<unsigned short>(v * 65535 + 0.5);
        }
        return 1;
    }
    int NodeValues8(unsigned node, unsigned char* values) const override {
        unsigned short v[4];
        NodeValues16(node, v);
        for (unsigned c = 0; c < outputChan; ++c) values[c] = static_cast<unsigned char>(v[c] >> 8);
        return 1;
    }

private:
    NodeFn m_node;
};

// Rough but smooth colour models, only for the partners to have plausible tables.
void RgbToLab(const double* x, double* y) {
    y[0] = (x[0] + x[1] + x[2]) / 3;
    y[1] = 0.5 + (x[0] - x[1]) * 0.4;
    y[2] = 0.5 + (x[1] - x[2]) * 0.4;
}
void LabToRgb(const double* x, double* y) {
    y[0] = x[0] + (x[1] - 0.5);
    y[1] = x[0];
    y[2] = x[0] - (x[2] - 0.5);
}
void CmykToLab(const double* x, double* y) {
    y[0] = (1 - x[3]) * (1 - (x[0] + x[1] + x[2]) / 3);
    y[1] = 0.5 + (x[1] - x[0]) * 0.3;
    y[2] = 0.5 + (x[1] - x[2]) * 0.3;
}
void LabToCmyk(const double* x, double* y) {
    const double k = x[0] < 0.2 ? 0.2 - x[0] : 0;
    y[0] = 1 - x[0] - (x[1] - 0.5) * 0.5;
    y[1] = 1 - x[0] + (x[1] - 0.5) * 0.5;
    y[2] = 1 - x[0] - (x[2] - 0.5) * 0.5;
    y[3] = k;
}
void LabToGamut(const double* x, double* y) {
    y[0] = (x[1] - 0.5) * (x[1] - 0.5) + (x[2] - 0.5) * (x[2] - 0.5) > 0.1 ? 1 : 0;
}

void WritePartner(const fs::path& path, uint32_t space, bool printer) {
    CIccProfileGen1 gen(nullptr);
    gen.SetHeader(printer ? icSigOutputClass : icSigInputClass, space, icSigLabData, icPerceptual);
    gen.AddProfileDescriptionTag(printer ? "fuzz partner printer" : "fuzz partner RGB");
    gen.AddXYZTag(icSigMediaWhitePointTag, 0xF6D6, 0x10000, 0xD32D);
    const unsigned devIn = printer ? 4 : 3;
    const auto toPcs = printer ? CmykToLab : RgbToLab;
    const auto toDev = printer ? LabToCmyk : LabToRgb;
    const uint32_t a2b[] = {icSigAToB0Tag, icSigAToB1Tag, icSigAToB2Tag};
    const uint32_t b2a[] = {icSigBToA0Tag, icSigBToA1Tag, icSigBToA2Tag};
    for (unsigned i = 0; i < 3; ++i) {
        gen.AddLut16Tag(icTagSignature(a2b[i]), PartnerTab(devIn, 3, printer ? 3 : 5, toPcs));
        gen.AddLut16Tag(icTagSignature(b2a[i]), PartnerTab(3, devIn, 5, toDev));
    }
    gen.AddLut16Tag(icSigGamutTag, PartnerTab(3, 1, 5, LabToGamut));
    gen.AddLut16Tag(icSigPreview0Tag, PartnerTab(3, 3, 5, LabToRgb));
    gen.OnSaveDocument(path.wstring().c_str());
}

struct Files {
    fs::path dir, input, rgb, printer;
};

const Files& TheFiles() {
    static const Files files = [] {
        Files f;
        f.dir = fs::temp_directory_path() / ("kvrfuzz-link-" + std::to_string(getpid()));
        fs::create_directories(f.dir);
        f.input = f.dir / "input.icc";
        f.rgb = f.dir / "rgb.icc";
        f.printer = f.dir / "printer.icc";
        WritePartner(f.rgb, icSigRgbData, false);
        WritePartner(f.printer, icSigCmykData, true);
        std::atexit([] {
            std::error_code ec;
            fs::remove_all(TheFiles().dir, ec);
        });
        return f;
    }();
    return files;
}

// The pixel format and channel count of a colour space at one end of a chain.
struct Side {
    unsigned format, channels;
};
Side SideOf(unsigned space, bool output) {
    if (space == icSigRgbData) return {CMdlColorLink::LinkFmtRgb, 3};
    if (space == icSigCmykData) return {CMdlColorLink::LinkFmtCmyk, 4};
    if (space == icSigLabData || space == icSigXYZData) return {CMdlColorLink::LinkFmtLab, 3};
    if (space == icSigGrayData) return {CMdlColorLink::LinkFmtGray, 1};
    if (space == icSigGamutTag && output) return {CMdlColorLink::LinkFmtGamut, 1};
    const unsigned lead = space >> 24;
    if ((space & 0x00FFFFFFu) == (MakeIccSignature("0CLR") & 0x00FFFFFFu)) {
        if (lead >= '2' && lead <= '9') return {CMdlColorLink::LinkFmtNColor, lead - '0'};
        if (lead >= 'A' && lead <= 'F') return {CMdlColorLink::LinkFmtNColor, lead - 'A' + 10};
    }
    return {CMdlColorLink::LinkFmtNColor, 3};
}

// Converts a few pixels through the link in every width, in buffers of exactly the channel
// counts the link reports.
void RunPixels(CColorLink& link, const uint8_t* data, size_t size) {
    const unsigned nIn = link.nInChannels(), nOut = link.nOutChannels();
    if (nIn == 0 || nOut == 0 || nIn > 64 || nOut > 64) return;
    for (unsigned count : {1u, 7u}) {
        const size_t ins = size_t(count) * nIn, outs = size_t(count) * nOut;
        std::unique_ptr<uint8_t[]> src8(new uint8_t[ins]);
        std::unique_ptr<uint16_t[]> src16(new uint16_t[ins]);
        for (size_t i = 0; i < ins; ++i) {
            const uint8_t b = i < 3 ? uint8_t(i == 1 ? 0x80 : 0xFF * (i / 2)) : data[i % size];
            src8[i] = b;
            src16[i] = uint16_t(b * 257 + i);
        }
        std::unique_ptr<uint8_t[]> dst8(new uint8_t[outs]);
        std::unique_ptr<uint16_t[]> dst16(new uint16_t[outs]);
        link.TrnPixels8(src8.get(), dst8.get(), count);
        link.TrnPixels16(src16.get(), dst16.get(), count);
        // Meant for a built table of three inputs only.
        if (link.Table16() && nIn == 3) link.TrnBgrPixels8(src8.get(), dst8.get(), count);
    }
}

struct Step {
    const fs::path* path;
    int kind;
};

// Builds one link of the steps and, if it is built, converts pixels through it.
void BuildAndRun(std::initializer_list<Step> steps, enmRenderingIntent intent, const uint8_t* data,
                 size_t size) {
    CColorLink link(nullptr);
    for (const Step& s : steps)
        if (!link.AddProfile(s.path->wstring().c_str(), s.kind, intent)) return;
    if (link.Tags().IsEmpty()) return;
    const Side in = SideOf(link.Tags().GetHead().InSpace, false);
    const Side out = SideOf(link.Tags().GetTail().OutSpace, true);
    if (!link.CreateLink(in.format, in.channels, out.format, out.channels)) return;
    RunPixels(link, data, size);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // Small fixed grids keep a link build short; the sizes do not change what is exercised.
    CColorLink::s_nGrid3 = -9;
    CColorLink::s_nGrid4 = -6;
    TheFiles();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // The first link of a process loads the built-in tables and the last one frees them: one
    // link kept for the whole run loads them once.
    static CColorLink resident(nullptr);
    if (size < 128 || size > (1u << 20)) return 0;
    const Files& f = TheFiles();
    {
        std::ofstream out(f.input, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(data), std::streamsize(size));
        if (!out) return 0;
    }
    // The header's intent byte chooses the intents, so that inputs reach each of them.
    const unsigned pick = data[67];
    auto intent = [pick](unsigned k) { return enmRenderingIntent((pick + k) % 6); };

    using L = CMdlColorLink;
    for (int kind : {L::ProfStepDevToPcs, L::ProfStepPcsToDev, L::ProfStepPreview, L::ProfStepGamut,
                     L::ProfStepAbstract})
        BuildAndRun({{&f.input, kind}}, intent(unsigned(kind)), data, size);
    BuildAndRun({{&f.input, L::ProfStepDevToPcs}, {&f.printer, L::ProfStepPcsToDev}}, intent(6),
                data, size);
    BuildAndRun({{&f.rgb, L::ProfStepDevToPcs}, {&f.input, L::ProfStepPcsToDev}}, intent(7), data,
                size);
    BuildAndRun({{&f.rgb, L::ProfStepDevToPcs},
                 {&f.input, L::ProfStepAbstract},
                 {&f.printer, L::ProfStepPcsToDev}},
                intent(8), data, size);
    BuildAndRun({{&f.rgb, L::ProfStepDevToPcs}, {&f.input, L::ProfStepGamut}}, intent(9), data,
                size);
    return 0;
}
