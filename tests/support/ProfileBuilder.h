// Profiles made with the library's generator for the tests: lookup tables given as functions
// of the node's position, curves as functions of the entry's position, and a whole profile with
// exactly the tags a test needs.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "icc/IccProfileGen.h"
#include "support/FuncTab.h"
#include "support/TempDir.h"

namespace kvrtest {

// A sample in [0, 1] as a 16-bit value, rounded and limited.
inline uint16_t U16(double v) {
    const double s = std::round(v * 65535.0);
    return static_cast<uint16_t>(s < 0 ? 0 : s > 65535 ? 65535 : s);
}

// One lookup table of a generated profile. The grid is given as a function of the node's
// position (each input in [0, 1]) answering the 16-bit outputs; curves as a function of the
// entry's position in [0, 1] and the channel (identity when not given).
struct TableSpec {
    uint32_t sig = 0;
    unsigned in = 3, out = 3, points = 2;
    int bits = 16; // 16: mft2, 8: mft1
    std::function<void(const double* x, uint16_t* y)> node{};
    std::function<uint16_t(double t, unsigned c)> inCurve{};
    std::function<uint16_t(double t, unsigned c)> outCurve{};
    unsigned inEntries = 2, outEntries = 2; // 8-bit tables always get 256
};

// The table source that the generator reads.
inline kvrtest::FuncTab SpecTab(const TableSpec& s) {
    const unsigned inEnt = s.bits == 8 ? 256 : s.inEntries;
    const unsigned outEnt = s.bits == 8 ? 256 : s.outEntries;
    kvrtest::FuncTab tab(s.in, s.out, s.points, inEnt, outEnt);
    tab.Input([f = s.inCurve, inEnt](unsigned e, unsigned c) {
        const double t = double(e) / (inEnt - 1);
        return f ? f(t, c) : U16(t);
    });
    tab.Output([f = s.outCurve, outEnt](unsigned e, unsigned c) {
        const double t = double(e) / (outEnt - 1);
        return f ? f(t, c) : U16(t);
    });
    tab.Grid(s.node).Narrowing(kvrtest::FuncTab::Narrow::Div257);
    return tab;
}

// A whole generated profile.
struct ProfileSpec {
    uint32_t deviceClass = icSigOutputClass;
    uint32_t colorSpace = icSigCmykData;
    uint32_t pcs = icSigLabData;
    std::vector<TableSpec> tables;
    std::optional<icXYZNumber> mediaWhite;
    // A kTRC curve of this gamma (s15Fixed16) and entry count, when set.
    std::optional<std::pair<int32_t, uint32_t>> grayTrc;
};

// Writes the profile to `dir`/`name` and answers its path.
inline std::wstring WriteProfile(const TempDir& dir, const std::string& name,
                                 const ProfileSpec& spec) {
    CIccProfileGen1 gen(nullptr);
    gen.SetHeader(spec.deviceClass, spec.colorSpace, spec.pcs, icPerceptual);
    gen.AddProfileDescriptionTag(name.c_str());
    if (spec.mediaWhite)
        gen.AddXYZTag(icSigMediaWhitePointTag, uint32_t(spec.mediaWhite->X),
                      uint32_t(spec.mediaWhite->Y), uint32_t(spec.mediaWhite->Z));
    if (spec.grayTrc) gen.AddCurveTag(icSigGrayTRCTag, spec.grayTrc->first, spec.grayTrc->second);
    for (const TableSpec& t : spec.tables) {
        const kvrtest::FuncTab tab = SpecTab(t);
        if (t.bits == 8)
            gen.AddLut8Tag(icTagSignature(t.sig), tab);
        else
            gen.AddLut16Tag(icTagSignature(t.sig), tab);
    }
    const std::wstring path = (dir / name).wstring();
    EXPECT_NE(gen.OnSaveDocument(path.c_str()), 0) << name;
    return path;
}

} // namespace kvrtest
