// Writes seed inputs for the fuzz targets with the library itself:
//   OUT/archive/  one archive of every creatable class, with small filled grids and curves;
//   OUT/profile/  generated profiles with 16- and 8-bit tables, curves and colorants.
// Usage: kvrfuzzseeds OUT
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "base/Archive.h"
#include "base/File.h"
#include "colorfunc/Func.h"
#include "colorfunc/Func8Tab.h"
#include "gridtable/Mft.h"
#include "gridtable/Mft3.h"
#include "gridtable/Mft4.h"
#include "gridtable/TabMft.h"
#include "icc/IccProfileGen.h"

namespace fs = std::filesystem;

namespace {

void Save(const fs::path& path, const CObject& obj) {
    CMemFile mem;
    {
        CArchive ar(&mem, CArchive::store);
        ar.WriteObject(&obj);
    }
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(mem.GetBuffer()), std::streamsize(mem.GetLength()));
}

// Deterministic samples that vary over the whole range.
template <class T> std::vector<T> Samples(size_t n, uint32_t seed) {
    std::vector<T> v(n);
    for (size_t i = 0; i < n; ++i) {
        seed = seed * 1664525u + 1013904223u;
        v[i] = T(seed >> (32 - 8 * sizeof(T)));
    }
    return v;
}

template <class M> void SaveGrid(const fs::path& path, M m, uint32_t seed) {
    const auto s = Samples<typename M::Sample>(m.TabEntries(), seed);
    m.Define(s.data());
    Save(path, m);
}

template <class P> void SavePipeline(const fs::path& path, P p, uint32_t seed) {
    const auto s = Samples<uint8_t>(p.Mft().TabEntries(), seed);
    p.Mft().Define(s.data());
    std::vector<uint8_t> curves(256 * 16);
    for (size_t i = 0; i < curves.size(); ++i) curves[i] = uint8_t(255 - i % 256);
    p.DefineInputTab(curves.data());
    p.DefineOutputTab(curves.data());
    Save(path, p);
}

void WriteArchives(const fs::path& dir) {
    fs::create_directories(dir);
    Save(dir / "CFunc_8", CFunc_8(3, 4));
    Save(dir / "CFunc_16", CFunc_16(4, 3));
    std::vector<uint8_t> curve(3 * 256);
    for (size_t i = 0; i < curve.size(); ++i) curve[i] = uint8_t((i % 256) * (i % 256) / 255);
    Save(dir / "CFunc_8Tab", CFunc_8Tab(3, curve.data()));
    SaveGrid(dir / "CMft_8", CMft_8(2, 3, 2), 1);
    SaveGrid(dir / "CMft_16", CMft_16(3, 2, 4), 2);
    SaveGrid(dir / "CMft3_8", CMft3_8(5, 4), 3);
    SaveGrid(dir / "CMft3_16", CMft3_16(4, 3), 4);
    SaveGrid(dir / "CMft4_8", CMft4_8(3, 3), 5);
    SaveGrid(dir / "CMft4_16", CMft4_16(3, 4), 6);
    SavePipeline(dir / "CFunc_8Tab3Mft", CFunc_8Tab3Mft(3, 4), 7);
    SavePipeline(dir / "CFunc_8Tab4Mft", CFunc_8Tab4Mft(2, 3), 8);
}

// Table source of a generated profile: curves that bend a little, grid from the node number.
class SeedTab : public CMTab {
public:
    SeedTab(unsigned in, unsigned out, unsigned points, unsigned entries) {
        inputChan = uint8_t(in);
        outputChan = uint8_t(out);
        clutPoints = uint8_t(points);
        inputEnt = outputEnt = uint16_t(entries);
    }
    unsigned short InputValue(unsigned e, unsigned) const override {
        const double t = double(e) / (inputEnt - 1);
        return static_cast<unsigned short>(t * t * 65535 + 0.5);
    }
    unsigned short OutputValue(unsigned e, unsigned) const override {
        return static_cast<unsigned short>(e * 65535u / (outputEnt - 1));
    }
    int NodeValues16(unsigned node, unsigned short* values) const override {
        for (unsigned c = 0; c < outputChan; ++c)
            values[c] = static_cast<unsigned short>((node * 7919u + c * 104729u) & 0xFFFF);
        return 1;
    }
    int NodeValues8(unsigned node, unsigned char* values) const override {
        unsigned short v[16];
        NodeValues16(node, v);
        for (unsigned c = 0; c < outputChan; ++c) values[c] = static_cast<unsigned char>(v[c] >> 8);
        return 1;
    }
};

void SaveProfile(CIccProfileGen1& gen, const fs::path& path) {
    if (!gen.OnSaveDocument(path.wstring().c_str()))
        std::fprintf(stderr, "cannot write %s\n", path.c_str());
}

void WriteProfiles(const fs::path& dir) {
    fs::create_directories(dir);
    {
        // CMYK printer on Lab with 16-bit tables both ways and a gamut tag.
        CIccProfileGen1 gen(nullptr);
        gen.SetHeader(icSigOutputClass, icSigCmykData, icSigLabData, icPerceptual);
        gen.AddProfileDescriptionTag("seed printer 16");
        gen.AddXYZTag(icSigMediaWhitePointTag, 0xF6D6, 0x10000, 0xD32D);
        gen.AddLut16Tag(icSigAToB0Tag, SeedTab(4, 3, 3, 16));
        gen.AddLut16Tag(icSigBToA0Tag, SeedTab(3, 4, 5, 16));
        gen.AddLut16Tag(icSigGamutTag, SeedTab(3, 1, 3, 2));
        gen.AddMeasurementInfoTag(IluminantD50, Observer2Degree);
        SaveProfile(gen, dir / "gen-cmyk-mft2.icc");
    }
    {
        // RGB on Lab with 8-bit tables, a preview tag and a shared tag.
        CIccProfileGen1 gen(nullptr);
        gen.SetHeader(icSigOutputClass, icSigRgbData, icSigLabData, icRelativeColorimetric);
        gen.AddProfileDescriptionTag("seed rgb 8");
        gen.AddLut8Tag(icSigAToB0Tag, SeedTab(3, 3, 4, 256));
        gen.AddLut8Tag(icSigBToA0Tag, SeedTab(3, 3, 4, 256));
        gen.AddLut8Tag(icSigPreview0Tag, SeedTab(3, 3, 3, 256));
        gen.DupTagAs(icSigAToB1Tag, icSigAToB0Tag);
        SaveProfile(gen, dir / "gen-rgb-mft1.icc");
    }
    {
        // Matrix/TRC RGB on XYZ.
        CIccProfileGen1 gen(nullptr);
        gen.SetHeader(icSigDisplayClass, icSigRgbData, icSigXYZData, icPerceptual);
        gen.AddProfileDescriptionTag("seed matrix");
        gen.AddXYZTag(icSigMediaWhitePointTag, 0xF6D6, 0x10000, 0xD32D);
        gen.AddXYZTag(icSigRedColorantTag, 0x6FA2, 0x38F5, 0x0390);
        gen.AddXYZTag(icSigGreenColorantTag, 0x6299, 0xB785, 0x18DA);
        gen.AddXYZTag(icSigBlueColorantTag, 0x24A0, 0x0F84, 0xB6CF);
        gen.AddCurveTag(icSigRedTRCTag, 0x23333, 1);
        gen.AddCurveTag(icSigGreenTRCTag, 0x23333, 16);
        gen.AddCurveTag(icSigBlueTRCTag, 0x23333, 256);
        SaveProfile(gen, dir / "gen-rgb-matrix.icc");
    }
    {
        // Gray with a curve, named colours and a colorant table.
        CIccProfileGen1 gen(nullptr);
        gen.SetHeader(icSigOutputClass, icSigGrayData, icSigXYZData, icPerceptual);
        gen.AddProfileDescriptionTag("seed gray");
        gen.AddCurveTag(icSigGrayTRCTag, 0x1CCCC, 32);
        gen.AddNamedColor2Tag(2, 1, L"pre", L"suf", {L"one", L"two"}, {{{1, 2, 3}}, {{4, 5, 6}}},
                              {100, 200});
        gen.AddColorantTableTag({L"K"}, {{{10, 20, 30}}});
        gen.AddTextTag(icSigCopyrightTag, CIccProfileGen1::szCopyRight);
        SaveProfile(gen, dir / "gen-gray.icc");
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s OUT\n", argv[0]);
        return 2;
    }
    const fs::path out(argv[1]);
    WriteArchives(out / "archive");
    WriteProfiles(out / "profile");
    return 0;
}
