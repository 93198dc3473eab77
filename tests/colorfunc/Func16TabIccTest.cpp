// The ICC curve expansion of the 16-bit curves against lcms2, an independent evaluator: every
// curv and para record in the TRC tags of every real profile (the committed corpus and those under
// /usr/share/color), expanded by DefineByIccCurves, is compared with cmsEvalToneCurve16 of the same
// tag at the same 4096 inputs.
#include <gtest/gtest.h>
#include <lcms2.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "colorfunc/Func16Tab.h"
#include "icc/IccRecords.h"
#include "support/TestData.h"

namespace {

namespace fs = std::filesystem;

uint32_t ReadBE32(const uint8_t* p) {
    return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | p[3];
}
uint16_t ReadBE16(const uint8_t* p) {
    return uint16_t((p[0] << 8) | p[1]);
}

template <class V> void PutHost(std::vector<uint8_t>& out, size_t at, V v) {
    std::memcpy(out.data() + at, &v, sizeof(V));
}

// A curv or para record of a file turned into the host-order record that DefineByIccCurves
// reads; empty if the block is of another type, of an unknown function type, or too short.
// Written here from the published layout, so that the test does not lean on the library's own
// byte-order code.
std::vector<uint8_t> HostRecord(const uint8_t* block, size_t size, std::string& kind) {
    if (size < 12) return {};
    const uint32_t sig = ReadBE32(block);
    std::vector<uint8_t> rec(size, 0);
    PutHost<uint32_t>(rec, 0, sig);
    if (sig == MakeIccSignature("curv")) {
        const uint32_t count = ReadBE32(block + 8);
        if (size < 12 + 2 * size_t(count)) return {};
        PutHost<uint32_t>(rec, 8, count);
        for (uint32_t i = 0; i < count; ++i)
            PutHost<uint16_t>(rec, 12 + 2 * i, ReadBE16(block + 12 + 2 * i));
        kind = count == 1 ? "curv gamma" : "curv table";
        return rec;
    }
    if (sig == MakeIccSignature("para")) {
        static const unsigned params[] = {1, 3, 4, 5, 7};
        const uint16_t type = ReadBE16(block + 8);
        if (type > 4 || size < 12 + 4 * size_t(params[type])) return {};
        PutHost<uint16_t>(rec, 8, type);
        for (unsigned k = 0; k < params[type]; ++k)
            PutHost<int32_t>(rec, 12 + 4 * k, int32_t(ReadBE32(block + 12 + 4 * k)));
        kind = "para " + std::to_string(type);
        return rec;
    }
    return {};
}

struct Worst {
    int diff = -1;
    std::string where;
    int curves = 0;
};

// Largest difference, in 16-bit units, found between the expansion and lcms2 over all the
// curves of the installed profiles, per kind of record; kept as the bound of each kind. The
// installed profiles hold curv records of both kinds and para records of types 0 and 3 only;
// types 1, 2 and 4 are compared on records made here (ParametricTypesAgreeWithLcms), where the
// largest difference found is the same single unit.
// - curv gamma: both evaluate the same power; they differ by rounding only.
// - curv table: both interpolate the same table linearly at the same inputs.
// - para: lcms2 evaluates in its own precision and rounds in its own way.
const std::map<std::string, int> kBound = {
    {"curv gamma", 1}, {"curv table", 1}, {"para 0", 1}, {"para 1", 1},
    {"para 2", 1},     {"para 3", 1},     {"para 4", 1},
};

// The largest difference between the expansion of a host-order record and an lcms2 curve.
int LargestDifference(const std::vector<uint8_t>& rec, const cmsToneCurve* curve) {
    CFunc_16Tab tab(1, nullptr, 0);
    tab.DefineByIccCurves(rec.data());
    int worst = 0;
    for (unsigned i = 0; i < 4096; ++i) {
        const auto x = cmsUInt16Number(std::trunc(i * 65535.0 / 4095.0 + 0.5));
        worst =
            std::max(worst, std::abs(int(tab.pRawTab()[i]) - int(cmsEvalToneCurve16(curve, x))));
    }
    return worst;
}

TEST(CurveTabIcc, ParametricTypesAgreeWithLcms) {
    // Parameters g, a, b, c, d, e, f of curves of the shapes found in practice: a plain power,
    // a power with a cut-off (CIE 122), with an offset (IEC 61966-3), sRGB-like with a linear
    // foot, and the full form with offsets on both segments. All are continuous: at a jump
    // lcms2 interpolates across its own sampling of the curve, and the comparison would measure
    // that sampling rather than the expansion.
    const std::vector<std::vector<double>> cases[5] = {
        {{2.2}, {1.8}, {0.45}, {1.0}},
        {{2.2, 1.1, -0.1}, {2.4, 0.9, 0.05}, {1.8, 1.0, 0.0}},
        {{2.2, 1.1, -0.1, 0.05}, {2.4, 0.9, 0.05, 0.02}, {1.0, 1.0, -0.5, 0.25}},
        {{2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045}, {2.2, 0.95, 0.05, 0.1429, 0.1}},
        {{2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045, 0.01, 0.01},
         {2.0, 0.5, 0.25, 0.5, 0.5, 0.125, 0.125}},
    };
    int worst[5] = {};
    for (unsigned type = 0; type < 5; ++type) {
        for (const auto& prm : cases[type]) {
            std::vector<uint8_t> rec(12 + 4 * prm.size());
            PutHost<uint32_t>(rec, 0, MakeIccSignature("para"));
            PutHost<uint16_t>(rec, 8, uint16_t(type));
            // Both sides get the parameters as the 16.16 numbers of a record.
            double quantised[10] = {};
            for (size_t k = 0; k < prm.size(); ++k) {
                const auto v = int32_t(std::lround(prm[k] * 65536.0));
                PutHost<int32_t>(rec, 12 + 4 * k, v);
                quantised[k] = v / 65536.0;
            }
            cmsToneCurve* curve = cmsBuildParametricToneCurve(nullptr, int(type) + 1, quantised);
            ASSERT_NE(curve, nullptr);
            worst[type] = std::max(worst[type], LargestDifference(rec, curve));
            cmsFreeToneCurve(curve);
        }
    }
    for (unsigned type = 0; type < 5; ++type) {
        std::printf("para %u     made records, largest difference %d\n", type, worst[type]);
        EXPECT_LE(worst[type], kBound.at("para " + std::to_string(type))) << type;
    }
}

TEST(CurveTabIcc, TrcCurvesAgreeWithLcms) {
    const cmsTagSignature trcTags[] = {cmsSigRedTRCTag, cmsSigGreenTRCTag, cmsSigBlueTRCTag,
                                       cmsSigGrayTRCTag};
    std::map<std::string, Worst> worst;
    int profiles = 0;
    const std::vector<fs::path> real = kvrtest::RealProfiles();
    const size_t corpus = kvrtest::CorpusProfiles().size();
    ASSERT_GT(corpus, 0u) << "no profiles in " << kvrtest::CorpusDir();
    for (const fs::path& path : real) {
        std::ifstream file(path, std::ios::binary);
        const std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(file)),
                                         std::istreambuf_iterator<char>());
        if (bytes.size() < 132 || ReadBE32(bytes.data() + 36) != MakeIccSignature("acsp")) continue;
        cmsHPROFILE profile = cmsOpenProfileFromMem(bytes.data(), cmsUInt32Number(bytes.size()));
        if (!profile) continue;
        ++profiles;

        const uint32_t count = ReadBE32(bytes.data() + 128);
        for (uint32_t t = 0; t < count && 132 + 12 * (size_t(t) + 1) <= bytes.size(); ++t) {
            const uint8_t* tag = bytes.data() + 132 + 12 * t;
            const uint32_t sig = ReadBE32(tag), offset = ReadBE32(tag + 4),
                           size = ReadBE32(tag + 8);
            if (std::find(std::begin(trcTags), std::end(trcTags), cmsTagSignature(sig)) ==
                std::end(trcTags))
                continue;
            if (size_t(offset) + size > bytes.size()) continue;
            std::string kind;
            const std::vector<uint8_t> rec = HostRecord(bytes.data() + offset, size, kind);
            if (rec.empty()) continue;
            auto* curve = static_cast<cmsToneCurve*>(cmsReadTag(profile, cmsTagSignature(sig)));
            if (!curve) continue;

            Worst& w = worst[kind];
            ++w.curves;
            const int d = LargestDifference(rec, curve);
            if (d > w.diff) {
                w.diff = d;
                w.where = path.string() + " tag " + std::to_string(t);
            }
        }
        cmsCloseProfile(profile);
    }
    // Every profile of the corpus is one lcms2 opens.
    EXPECT_GE(size_t(profiles), corpus);
    for (const auto& [kind, w] : worst) {
        std::printf("%-10s %4d curves, largest difference %d (%s)\n", kind.c_str(), w.curves,
                    w.diff, w.where.c_str());
        const auto bound = kBound.find(kind);
        ASSERT_NE(bound, kBound.end()) << kind;
        EXPECT_LE(w.diff, bound->second) << kind << ": " << w.where;
    }
}

} // namespace
