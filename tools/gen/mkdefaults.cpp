// mkdefaults: writes the library's default profiles.
//
//     kvrmkdefaults <profile folder>
//
// writes, in the folder layout below the setting BasePath:
//
// InputRgb/kvr-srgb.icc: sRGB (tools/gen/PrinterModel.h) as a version-2 display profile of matrix
// and curves on an XYZ connection space. The colorants are the sRGB primaries adapted to D50 by
// Bradford, so the media white is D50; chad holds that adaptation. The three TRCs share one
// curve of 1024 entries of the sRGB transfer function.
//
// InputGray/kvr-gray.icc: a grey display profile whose kTRC is the same sRGB curve, for grey
// images, which are usually encoded like the channels of sRGB.
//
// Printer/kvr-cmyk.icc: a version-2 CMYK output profile of the press model on a Lab connection
// space, in the 16-bit Lab encoding of version 2 (L 100 at 0xFF00, a and b 0 at 0x8000):
//   A2B1  CMYK to Lab, the press model on 17 points per ink, relative to the paper.
//   B2A1  Lab to CMYK on 33 points per axis: the separation of CPrinterSeparation
//         (Separation.h: gamut mapping, then black generation, 300% total ink) with colours
//         outside the gamut mapped to the nearest printable colour of the same Oklab hue;
//         below the darkest neutral, near-neutral colours lose most of their chroma.
//   A2B0  perceptual: the press's colours with black point scaling (CBlackScaling); A2B2
//         shares its data.
//   B2A0  perceptual: black point scaling, then lightness toward the press's cusp and chroma
//         compressed with a knee, at constant Oklab hue (GamutMapping.h).
//   B2A2  saturation: the same black point scaling and lightness move, then clipping toward
//         the cusp lightness: the most chroma of the hue.
//   gamt  Lab to one value: 0 where the press prints the node, elsewhere 256 per unit of CIE76
//         difference between the node and the colour its separation prints, so that a reader
//         of the high byte sees the distance in whole units.
//   pre0, pre1, pre2  Lab to Lab: the colour that the press prints, relative to the paper,
//         for the node's separation as stored in B2A0, B2A1 or B2A2 (B2Ax followed by A2B1,
//         with the model in place of the A2B1 grid).
//   wtpt  the paper. The press's measured colours are relative to it, so it is the D50 white
//         and absolute colorimetry equals relative.
//
// The Lab grids take L through an input curve that puts L 100 (0xFF00) on the last grid point,
// so that paper white is a node and prints no ink; a and b pass unchanged.
//
// All headers carry no creation time and no identifier, so that every run writes the same
// bytes. The nodes of one grid line along b are separated in sequence (each search starts from
// the last node's inks), and the lines are shared out among threads: the output does not depend
// on their number. Files are written under a temporary name and then renamed.
#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "base/Colorimetry.h"
#include "icc/IccProfileGen.h"
#include "tools/gen/PrinterModel.h"
#include "tools/gen/Separation.h"

namespace fs = std::filesystem;

namespace {

constexpr unsigned kTrcEntries = 1024;
constexpr unsigned kCmykPoints = 17;       // grid points per ink of the A2B tables
constexpr unsigned kLabPoints = 33;        // grid points per axis of the Lab tables
constexpr unsigned kLabCurveEntries = 258; // 257 steps of 255: 0xFF00 is entry 256
constexpr unsigned kCurveEntries = 256;

// ---------------------------------------------------------------------------------------------
// Tables

// A lookup table for the generator: input curves (one per channel), grid nodes in ICC order
// (first input slowest), identity output curves.
class CGridTab : public CMTab {
public:
    CGridTab(unsigned in, unsigned out, unsigned points, unsigned inEntries) {
        inputChan = static_cast<uint8_t>(in);
        outputChan = static_cast<uint8_t>(out);
        clutPoints = static_cast<uint8_t>(points);
        inputEnt = static_cast<uint16_t>(inEntries);
        outputEnt = kCurveEntries;
        unsigned nodes = 1;
        for (unsigned i = 0; i < in; ++i) nodes *= points;
        grid.assign(size_t(nodes) * out, 0);
        curves.assign(in, std::vector<uint16_t>(inEntries));
        for (auto& c : curves)
            for (unsigned e = 0; e < inEntries; ++e) c[e] = Identity(e, inEntries);
    }

    size_t Nodes() const { return grid.size() / outputChan; }
    uint16_t* Node(size_t n) { return &grid[n * outputChan]; }

    unsigned short InputValue(unsigned entry, unsigned channel) const override {
        return curves[channel][entry];
    }
    int NodeValues16(unsigned node, unsigned short* values) const override {
        if (node >= Nodes()) return 0;
        std::copy_n(&grid[size_t(node) * outputChan], outputChan, values);
        return 1;
    }
    int NodeValues8(unsigned node, unsigned char* values) const override {
        if (node >= Nodes()) return 0;
        for (unsigned c = 0; c < outputChan; ++c)
            values[c] = static_cast<unsigned char>(grid[size_t(node) * outputChan + c] / 257);
        return 1;
    }
    unsigned short OutputValue(unsigned entry, unsigned) const override {
        return Identity(entry, outputEnt);
    }

    static uint16_t Identity(unsigned entry, unsigned entries) {
        return static_cast<uint16_t>(std::lround(entry * 65535.0 / (entries - 1)));
    }

    std::vector<std::vector<uint16_t>> curves; // input curves
    std::vector<uint16_t> grid;
};

// A table on Lab: the L curve maps 0xFF00 (L 100) and above to the last grid point, so that
// grid point i stands for L = 100 i / (points - 1).
CGridTab LabTable(unsigned out) {
    CGridTab t(3, out, kLabPoints, kLabCurveEntries);
    for (unsigned e = 0; e < kLabCurveEntries; ++e) {
        const double in = e * 65535.0 / (kLabCurveEntries - 1);
        t.curves[0][e] =
            static_cast<uint16_t>(std::min(65535L, std::lround(in * 65535.0 / 65280.0)));
    }
    return t;
}

// The Lab of grid node (i, j, k) of a Lab table.
Vec3 LabOfNode(unsigned i, unsigned j, unsigned k) {
    const double step = 65535.0 / (kLabPoints - 1);
    return {i * 100.0 / (kLabPoints - 1), j * step / 256.0 - 128.0, k * step / 256.0 - 128.0};
}

void EncodeLab(const Vec3& lab, uint16_t* out) {
    IccEncodeLab16(lab.data(), out);
}

// Inks to 16 bits, rounded, with the total kept within the ink limit: rounding up could pass
// it by a few units, which are taken from the largest of C, M and Y.
void EncodeInk(const double* cmyk, uint16_t* out) {
    long sum = 0;
    for (int c = 0; c < 4; ++c) {
        out[c] = static_cast<uint16_t>(std::lround(std::clamp(cmyk[c], 0.0, 1.0) * 65535.0));
        sum += out[c];
    }
    const long limit = std::lround(kTotalInkLimit * 65535.0);
    if (sum > limit) {
        uint16_t* largest = std::max_element(out, out + 3);
        *largest = static_cast<uint16_t>(*largest - std::min<long>(*largest, sum - limit));
    }
}

void DecodeInk(const uint16_t* in, double* cmyk) {
    for (int c = 0; c < 4; ++c) cmyk[c] = in[c] / 65535.0;
}

// Runs work(0) to work(count - 1) on a few threads.
template <class F> void ForEach(size_t count, F work) {
    const unsigned threads = std::clamp(std::thread::hardware_concurrency(), 1u, 4u);
    std::atomic<size_t> next{0};
    std::vector<std::thread> pool;
    for (unsigned t = 0; t < threads; ++t)
        pool.emplace_back([&] {
            for (size_t n; (n = next++) < count;) work(n);
        });
    for (auto& th : pool) th.join();
}

// ---------------------------------------------------------------------------------------------
// Profiles

// A generator whose header carries no creation time and no identifier.
class CFixedProfileGen : public CIccProfileGen1 {
public:
    CFixedProfileGen(uint32_t deviceClass, uint32_t colorSpace, uint32_t pcs)
        : CIccProfileGen1(nullptr) {
        SetHeader(deviceClass, colorSpace, pcs, icPerceptual);
        std::memset(&m_Header.date, 0, sizeof m_Header.date);
        std::memset(m_Header.reserved, 0, sizeof m_Header.reserved);
    }
    // chad came with version 2.4; profiles that carry it say so.
    void SetVersion24() { m_Header.version = 0x02400000; }

    void AddXYZ(icTagSignature sig, const double* xyz) {
        AddXYZTag(sig, static_cast<uint32_t>(ConvertDoubleToS15Fixed16(xyz[0])),
                  static_cast<uint32_t>(ConvertDoubleToS15Fixed16(xyz[1])),
                  static_cast<uint32_t>(ConvertDoubleToS15Fixed16(xyz[2])));
    }
    // curv tag of the sRGB transfer function (encoded value to linear light).
    void AddSRgbCurve(icTagSignature sig) {
        const uint32_t size = 12 + 2 * kTrcEntries;
        std::vector<uint32_t> block((size + 3) / 4, 0);
        auto* curve = reinterpret_cast<icCurveType*>(block.data());
        curve->base = icSigCurveType;
        curve->curve.count = kTrcEntries;
        for (unsigned i = 0; i < kTrcEntries; ++i)
            curve->curve.data[i] = static_cast<uint16_t>(
                std::lround(SRgb::Decode(i / double(kTrcEntries - 1)) * 65535.0));
        icTag tag{};
        tag.sig = sig;
        tag.size = size;
        AddTagAndData(tag, block.data());
    }
    void AddCopyright() { AddTextTag(icSigCopyrightTag, szCopyRight); }

    bool SaveAs(const fs::path& path) {
        std::error_code ec;
        fs::create_directories(path.parent_path(), ec);
        fs::path tmp = path;
        tmp += ".tmp";
        if (!OnSaveDocument(tmp.wstring().c_str())) return false;
        fs::rename(tmp, path, ec);
        return !ec;
    }
};

bool WriteRgbProfile(const fs::path& path) {
    const SRgb srgb;
    CFixedProfileGen gen(icSigDisplayClass, icSigRgbData, icSigXYZData);
    gen.SetVersion24();
    gen.AddProfileDescriptionTag("KVR sRGB IEC 61966-2-1 (D50 by Bradford)");
    const icTagSignature colorants[3] = {icSigRedColorantTag, icSigGreenColorantTag,
                                         icSigBlueColorantTag};
    for (int c = 0; c < 3; ++c) {
        const double xyz[3] = {srgb.toXyz[0][c], srgb.toXyz[1][c], srgb.toXyz[2][c]};
        gen.AddXYZ(colorants[c], xyz);
    }
    gen.AddSRgbCurve(icSigRedTRCTag);
    gen.DupTagAs(icSigGreenTRCTag, icSigRedTRCTag);
    gen.DupTagAs(icSigBlueTRCTag, icSigRedTRCTag);
    gen.AddXYZ(icSigMediaWhitePointTag, kD50White);
    int32_t chad[9];
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c)
            chad[3 * r + c] = CIccProfileGen1::ConvertDoubleToS15Fixed16(srgb.adaptation[r][c]);
    gen.AddS15Fixed16ArrayTag(icSigChromaticAdaptationTag, 9, chad);
    gen.AddCopyright();
    return gen.SaveAs(path);
}

bool WriteGrayProfile(const fs::path& path) {
    CFixedProfileGen gen(icSigDisplayClass, icSigGrayData, icSigXYZData);
    gen.AddProfileDescriptionTag("KVR Gray, sRGB tone curve (D50)");
    gen.AddSRgbCurve(icSigGrayTRCTag);
    gen.AddXYZ(icSigMediaWhitePointTag, kD50White);
    gen.AddCopyright();
    return gen.SaveAs(path);
}

// The tables of the CMYK profile.
struct SPrinterTables {
    SPrinterTables()
        : a2b0(4, 3, kCmykPoints, kCurveEntries), a2b1(4, 3, kCmykPoints, kCurveEntries),
          b2a0(LabTable(4)), b2a1(LabTable(4)), b2a2(LabTable(4)), gamt(LabTable(1)),
          pre0(LabTable(3)), pre1(LabTable(3)), pre2(LabTable(3)) {}
    CGridTab a2b0, a2b1, b2a0, b2a1, b2a2, gamt, pre0, pre1, pre2;
};

void ComputePrinterTables(SPrinterTables& t) {
    const CPrinterGamut gamut;
    const CPressModel& press = gamut.Press();
    const CBlackScaling& scaling = gamut.Scaling();

    // CMYK to Lab.
    for (size_t n = 0; n < t.a2b1.Nodes(); ++n) {
        double ink[4];
        size_t rest = n;
        for (int c = 3; c >= 0; --c) { // the last ink varies fastest
            ink[c] = double(rest % kCmykPoints) / (kCmykPoints - 1);
            rest /= kCmykPoints;
        }
        const Vec3 lab = press.Lab(ink);
        EncodeLab(lab, t.a2b1.Node(n));
        EncodeLab(scaling.ToPerceptual(lab), t.a2b0.Node(n));
    }

    // Lab to CMYK, the gamut and the previews, line by line along b.
    ForEach(size_t(kLabPoints) * kLabPoints, [&](size_t line) {
        const unsigned i = unsigned(line / kLabPoints), j = unsigned(line % kLabPoints);
        CPrinterSeparation relative(gamut, EIntent::Relative);
        CPrinterSeparation perceptual(gamut, EIntent::Perceptual);
        CPrinterSeparation saturation(gamut, EIntent::Saturation);
        for (unsigned k = 0; k < kLabPoints; ++k) {
            const size_t n = line * kLabPoints + k;
            const Vec3 lab = LabOfNode(i, j, k);
            double cmyk[4];
            Vec3 mapped;
            relative.Separate(lab, cmyk, mapped);
            EncodeInk(cmyk, t.b2a1.Node(n));
            const double dE =
                std::hypot(lab[0] - mapped[0], lab[1] - mapped[1], lab[2] - mapped[2]);
            t.gamt.Node(n)[0] =
                static_cast<uint16_t>(std::min(65535L, std::lround(std::ceil(dE * 256.0))));
            DecodeInk(t.b2a1.Node(n), cmyk);
            EncodeLab(press.Lab(cmyk), t.pre1.Node(n));

            perceptual.Separate(lab, cmyk, mapped);
            EncodeInk(cmyk, t.b2a0.Node(n));
            DecodeInk(t.b2a0.Node(n), cmyk);
            EncodeLab(press.Lab(cmyk), t.pre0.Node(n));

            saturation.Separate(lab, cmyk, mapped);
            EncodeInk(cmyk, t.b2a2.Node(n));
            DecodeInk(t.b2a2.Node(n), cmyk);
            EncodeLab(press.Lab(cmyk), t.pre2.Node(n));
        }
    });
}

bool WriteCmykProfile(const fs::path& path) {
    SPrinterTables t;
    ComputePrinterTables(t);
    CFixedProfileGen gen(icSigOutputClass, icSigCmykData, icSigLabData);
    gen.AddProfileDescriptionTag("KVR CMYK coated press, GCR, 300% total ink");
    gen.AddLut16Tag(icSigAToB0Tag, t.a2b0);
    gen.AddLut16Tag(icSigAToB1Tag, t.a2b1);
    gen.DupTagAs(icSigAToB2Tag, icSigAToB0Tag);
    gen.AddLut16Tag(icSigBToA0Tag, t.b2a0);
    gen.AddLut16Tag(icSigBToA1Tag, t.b2a1);
    gen.AddLut16Tag(icSigBToA2Tag, t.b2a2);
    gen.AddLut16Tag(icSigGamutTag, t.gamt);
    gen.AddLut16Tag(icSigPreview0Tag, t.pre0);
    gen.AddLut16Tag(icSigPreview1Tag, t.pre1);
    gen.AddLut16Tag(icSigPreview2Tag, t.pre2);
    gen.AddXYZ(icSigMediaWhitePointTag, kD50White);
    gen.AddCopyright();
    return gen.SaveAs(path);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <profile folder>\n", argv[0]);
        return 2;
    }
    const fs::path dir(argv[1]);
    bool ok = WriteRgbProfile(dir / "InputRgb" / "kvr-srgb.icc");
    ok &= WriteGrayProfile(dir / "InputGray" / "kvr-gray.icc");
    ok &= WriteCmykProfile(dir / "Printer" / "kvr-cmyk.icc");
    if (!ok) {
        std::fprintf(stderr, "%s: cannot write the default profiles to %s\n", argv[0],
                     dir.string().c_str());
        return 1;
    }
    return 0;
}
