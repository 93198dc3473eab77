// The functions made from profiles, compared with lcms2's evaluation of the same tags.
//
// Lookup tags. For every lookup tag (A2B0-A2B2, B2A0-B2A2, pre0-pre2, gamt) of every real
// table-based profile (those under /usr/share/color and the committed corpus), and of a few
// profiles made here with the generator to cover mAB  and further mBA  shapes (no real profile
// has an mAB ), the function from CreateMft16Func (else CreateMft8Func) is evaluated after
// InitMftTrn on 4096 random inputs and on the grid nodes, and compared with cmsPipelineEval16 of
// the pipeline that cmsReadTag gives for the tag. cmsReadTag hands out the tag's own stages, with
// no change of Lab encoding (lcms2 inserts its version-2 to version-4 Lab stages only when it
// builds a transform from a profile), so both sides apply the table to the same numbers and no Lab
// conversion is needed. 8-bit functions get 8-bit inputs; lcms2 gets them times 257 and the
// difference is taken on 16 bits, against the 8-bit result times 257.
//
// Matrix/TRC profiles. The forward function is compared with an lcms2 pipeline of the profile's
// tone curves and its colorant matrix scaled to 16-bit XYZ (1.0 at 32768); the inverse with
// lcms2's reversed tone curves behind the inverted colorant matrix.
//
// The bounds are the largest differences seen on the installed profiles and the generated ones,
// with a small margin. Where they come from: the 16-bit curves are read at 12-bit resolution (a
// steep curve start costs most), the 8-bit pipelines work on 8-bit samples, and the inverse
// matrix/TRC direction uses 256-entry inverse curves.
#include <gtest/gtest.h>
#include <lcms2.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "icc/IccProfileGen.h"
#include "icc/IccProfileUse.h"
#include "support/TestData.h"

namespace fs = std::filesystem;

namespace {

// Nodes evaluated per tag at most; larger grids are sampled with an even stride.
constexpr uint64_t kMaxNodesPerTag = 40000;
constexpr int kRandomInputs = 4096;

// Bounds on 16 bits: the largest differences observed, plus a margin of some 5 %. At the grid
// nodes the tables agree to within the 12-bit reading of the input curves (at most 18 for the
// 16-bit tables, 641 = 2.5 steps of 257 for the 8-bit ones); between the nodes the two
// libraries interpolate differently where a grid has four inputs (a simplex here, tetrahedra
// and a linear step in the fourth input in lcms2), which gives the large values on the coarse
// 5-point CMYK grids (ps_cmyk.icc A2B0 1231, a generated 4-input mAB  416).
constexpr int kBoundMft2 = 1300; // observed 1231
constexpr int kBoundMft1 = 820;  // observed 783
constexpr int kBoundMab = 440;   // observed 416 (generated profiles only)
constexpr int kBoundMba = 45;    // observed 37 (generated profiles; lcms2 reads no installed one)
// Matrix/TRC. Forward: the grid of truncated colorants behind 4096-entry curves. Inverse: the
// 256-entry inverse curves are coarse near black and on flat stretches (Cineon log curves),
// where lcms2 picks another inverse of equal merit; the round trip back to XYZ through lcms2's
// forward pipeline stays close.
constexpr int kBoundMatrixTrc = 85;       // observed 77
constexpr int kBoundMatrixTrcInv = 20500; // observed 19433
constexpr int kBoundMatrixTrcRound = 110; // observed 96

std::string SigText(uint32_t s) {
    std::string t;
    for (int i = 3; i >= 0; --i) t += char((s >> (8 * i)) & 0xFF);
    return t;
}

// A short name of a real profile for the report: its path below the system's colour folder,
// or "corpus/" and its file name.
std::string ShortName(const fs::path& file) {
    const std::string text = file.string();
    const std::string system = "/usr/share/color/";
    if (text.compare(0, system.size(), system) == 0) return text.substr(system.size());
    return "corpus/" + file.filename().string();
}

// One lcms2 profile handle, closed at the end.
struct LcmsProfile {
    cmsHPROFILE h = nullptr;
    ~LcmsProfile() {
        if (h) cmsCloseProfile(h);
    }
};

// Largest difference per tag type, and a line per tag for the table.
struct Maxima {
    std::map<std::string, int> byType;
    std::map<std::string, int> tagsByType;
    std::vector<std::string> lines;
};

// Grid points of a lookup block, 0 where it has no grid.
unsigned GridPoints(const uint8_t* block, uint32_t size) {
    uint32_t type;
    std::memcpy(&type, block, 4);
    if (type == icSigLut16Type || type == icSigLut8Type) return block[10];
    if ((type == icSigLutAtoBType || type == icSigLutBtoAType) && size >= 32) {
        uint32_t off;
        std::memcpy(&off, block + 24, 4);
        return off != 0 && off < size ? block[off] : 0;
    }
    return 0;
}

// Result of comparing one lookup tag.
struct TagResult {
    enum { kCompared, kNoLcms, kNoFunction } state = kNoFunction;
    std::string type;
    int randomMax = 0, nodeMax = 0;
    uint64_t nodesDone = 0, nodesAll = 0;
};

TagResult CompareTag(CIccProfileUse& use, cmsHPROFILE h, uint32_t sig, uint32_t src, uint32_t dst,
                     bool pcsIsXYZ) {
    TagResult r;
    uint32_t size = 0;
    const auto* block = reinterpret_cast<const uint8_t*>(use.FindTagData(sig, nullptr, &size));
    if (!block) return r;
    uint32_t typeSig;
    std::memcpy(&typeSig, block, 4);
    r.type = SigText(typeSig);
    std::unique_ptr<CFunc_16TabBaseMft> f16(use.CreateMft16Func(sig, pcsIsXYZ, src, dst));
    std::unique_ptr<CFunc_8TabBaseMft> f8;
    if (!f16) f8.reset(use.CreateMft8Func(sig));
    if (!f16 && !f8) return r;
    auto* pipe = static_cast<cmsPipeline*>(cmsReadTag(h, cmsTagSignature(sig)));
    if (!pipe) {
        r.state = TagResult::kNoLcms;
        return r;
    }
    r.state = TagResult::kCompared;
    const unsigned nIn = cmsPipelineInputChannels(pipe), nOut = cmsPipelineOutputChannels(pipe);

    if (f16) {
        f16->InitMftTrn();
        EXPECT_EQ(f16->inputChan(), nIn) << SigText(sig);
        EXPECT_EQ(f16->outputChan(), nOut) << SigText(sig);
    } else {
        f8->InitMftTrn();
        EXPECT_EQ(f8->inputChan(), nIn) << SigText(sig);
        EXPECT_EQ(f8->outputChan(), nOut) << SigText(sig);
    }

    int worst = 0;
    // in8 is used by the 8-bit function, in16 by the 16-bit one and by lcms2.
    auto evaluate = [&](const uint16_t* in16, const uint8_t* in8) {
        uint16_t ref[cmsMAXCHANNELS] = {}, out16[16] = {};
        uint8_t out8[16] = {};
        uint16_t lcmsIn[cmsMAXCHANNELS] = {};
        if (f16) {
            std::copy(in16, in16 + nIn, lcmsIn);
            f16->Trn(in16, out16);
        } else {
            for (unsigned c = 0; c < nIn; ++c) lcmsIn[c] = uint16_t(in8[c] * 257);
            f8->Trn(in8, out8);
            for (unsigned c = 0; c < nOut; ++c) out16[c] = uint16_t(out8[c] * 257);
        }
        cmsPipelineEval16(lcmsIn, ref, pipe);
        for (unsigned c = 0; c < nOut; ++c) worst = std::max(worst, std::abs(out16[c] - ref[c]));
    };

    std::mt19937 rng(sig ^ 0x5eed);
    uint16_t in16[4];
    uint8_t in8[4];
    for (int i = 0; i < kRandomInputs; ++i) {
        for (unsigned c = 0; c < nIn; ++c) {
            in16[c] = uint16_t(rng());
            in8[c] = uint8_t(rng());
        }
        evaluate(in16, in8);
    }
    r.randomMax = worst;
    worst = 0;
    // The grid nodes, at the grid's own coordinates.
    const unsigned points = GridPoints(block, size);
    if (points >= 2) {
        uint64_t total = 1;
        for (unsigned k = 0; k < nIn; ++k) total *= points;
        const uint64_t stride = (total + kMaxNodesPerTag - 1) / kMaxNodesPerTag;
        r.nodesAll = total;
        for (uint64_t n = 0; n < total; n += stride) {
            uint64_t rest = n;
            for (int k = int(nIn) - 1; k >= 0; --k) {
                const unsigned idx = unsigned(rest % points);
                rest /= points;
                in16[k] = uint16_t(std::lround(idx * 65535.0 / (points - 1)));
                in8[k] = uint8_t(std::lround(idx * 255.0 / (points - 1)));
            }
            evaluate(in16, in8);
            ++r.nodesDone;
        }
    }
    r.nodeMax = worst;
    return r;
}

const uint32_t kLookupTags[] = {icSigAToB0Tag,    icSigAToB1Tag, icSigAToB2Tag,    icSigBToA0Tag,
                                icSigBToA1Tag,    icSigBToA2Tag, icSigPreview0Tag, icSigPreview1Tag,
                                icSigPreview2Tag, icSigGamutTag};

// All lookup tags of one profile, in both libraries.
void CompareProfile(const std::string& name, CIccProfileUse& use, cmsHPROFILE h, Maxima& m) {
    const uint32_t cs = use.Header().colorSpace, pcs = use.Header().pcs;
    for (uint32_t sig : kLookupTags) {
        if (!use.FindTagData(sig, nullptr)) continue;
        const std::string s = SigText(sig);
        uint32_t src = pcs, dst = cs; // B2A
        if (s.rfind("A2B", 0) == 0) {
            src = cs;
            dst = pcs;
        } else if (s.rfind("pre", 0) == 0) {
            dst = pcs;
        } else if (sig == icSigGamutTag) {
            dst = icSigGamutTag;
        }
        const TagResult r = CompareTag(use, h, sig, src, dst, pcs == icSigXYZData);
        char line[256];
        if (r.state == TagResult::kNoFunction) {
            ADD_FAILURE() << name << " " << s << " " << r.type << ": no function made";
            continue;
        }
        if (r.state == TagResult::kNoLcms) {
            // lcms2 refuses the tag (an mBA  of 3 inputs and 1 output without a grid, in the
            // named-colour profiles): nothing to compare with.
            std::snprintf(line, sizeof line, "  %-40s %s %s  lcms2 reads no pipeline", name.c_str(),
                          s.c_str(), r.type.c_str());
            m.lines.push_back(line);
            continue;
        }
        std::snprintf(line, sizeof line, "  %-40s %s %s  random %5d  nodes %5d (%llu of %llu)",
                      name.c_str(), s.c_str(), r.type.c_str(), r.randomMax, r.nodeMax,
                      (unsigned long long)r.nodesDone, (unsigned long long)r.nodesAll);
        m.lines.push_back(line);
        const int d = std::max(r.randomMax, r.nodeMax);
        m.byType[r.type] = std::max(m.byType[r.type], d);
        ++m.tagsByType[r.type];
    }
}

// ---------------------------------------------------------------------------------------------
// Generated profiles with mAB  and mBA  tags.

class HostBlock {
public:
    HostBlock& u8(uint32_t v) {
        b.push_back(uint8_t(v));
        return *this;
    }
    HostBlock& u16(uint32_t v) { return raw(uint16_t(v)); }
    HostBlock& u32(uint32_t v) { return raw(uint32_t(v)); }
    HostBlock& s15(double v) { return raw(int32_t(std::lround(v * 65536.0))); }
    HostBlock& pad4() {
        while (b.size() % 4) b.push_back(0);
        return *this;
    }
    HostBlock& append(const HostBlock& o) {
        b.insert(b.end(), o.b.begin(), o.b.end());
        return *this;
    }
    std::vector<uint8_t> b;

private:
    template <class V> HostBlock& raw(V v) {
        const auto* p = reinterpret_cast<const uint8_t*>(&v);
        b.insert(b.end(), p, p + sizeof v);
        return *this;
    }
};

// A curv table of `n` entries of x^gamma, padded.
HostBlock CurvTable(unsigned n, double gamma) {
    HostBlock h;
    h.u32(icSigCurveType).u32(0).u32(n);
    for (unsigned i = 0; i < n; ++i)
        h.u16(uint16_t(std::lround(65535.0 * std::pow(i / double(n - 1), gamma))));
    return h.pad4();
}

HostBlock Para(uint16_t type, const std::vector<double>& params) {
    HostBlock h;
    h.u32(icSigParametricCurveType).u32(0).u16(type).u16(0);
    for (double p : params) h.s15(p);
    return h;
}

// A grid of `points` on `in` axes with `out` smooth outputs, at precision 1 or 2.
HostBlock Clut(unsigned in, unsigned points, unsigned out, unsigned prec) {
    HostBlock h;
    for (unsigned i = 0; i < 16; ++i) h.u8(i < in ? points : 0);
    h.u8(prec).u8(0).u8(0).u8(0);
    uint64_t nodes = 1;
    for (unsigned k = 0; k < in; ++k) nodes *= points;
    for (uint64_t n = 0; n < nodes; ++n) {
        double x[4] = {};
        uint64_t rest = n;
        for (int k = int(in) - 1; k >= 0; --k) {
            x[k] = double(rest % points) / (points - 1);
            rest /= points;
        }
        for (unsigned c = 0; c < out; ++c) {
            double v = 0.15 + 0.35 * x[c % in] + 0.2 * x[(c + 1) % in] * x[(c + 2) % in] +
                       0.15 * std::sin(3.0 * x[(c + in - 1) % in]) * (in == 4 ? 1 - x[3] : 1.0);
            v = std::clamp(v, 0.0, 1.0);
            if (prec == 2)
                h.u16(uint16_t(std::lround(v * 65535)));
            else
                h.u8(uint8_t(std::lround(v * 255)));
        }
    }
    return h.pad4();
}

HostBlock Matrix(const std::vector<double>& v) {
    HostBlock h;
    for (double x : v) h.s15(x);
    return h;
}

// An mAB  or mBA  block of the given elements (empty: absent), placed B, matrix, M, grid, A.
std::vector<uint8_t> LutAB(uint32_t type, unsigned in, unsigned out, const HostBlock& B,
                           const HostBlock& matrix, const HostBlock& M, const HostBlock& clut,
                           const HostBlock& A) {
    HostBlock h;
    h.u32(type).u32(0).u8(in).u8(out).u16(0);
    for (int i = 0; i < 5; ++i) h.u32(0);
    const HostBlock* parts[5] = {&B, &matrix, &M, &clut, &A};
    for (int i = 0; i < 5; ++i) {
        if (parts[i]->b.empty()) continue;
        h.pad4();
        const uint32_t off = uint32_t(h.b.size());
        std::memcpy(&h.b[12 + 4 * i], &off, 4);
        h.append(*parts[i]);
    }
    return h.pad4().b;
}

HostBlock Repeat(const HostBlock& one, unsigned n) {
    HostBlock h;
    for (unsigned i = 0; i < n; ++i) h.append(one);
    return h;
}

HostBlock Curves(std::initializer_list<HostBlock> list) {
    HostBlock h;
    for (const HostBlock& c : list) h.append(c);
    return h;
}

struct GeneratedProfile {
    std::string name;
    std::vector<uint8_t> bytes;
};

GeneratedProfile Generate(const std::string& name, uint32_t cs, uint32_t pcs,
                          const std::vector<std::pair<uint32_t, std::vector<uint8_t>>>& tags) {
    CIccProfileGen1 gen(nullptr);
    gen.SetHeader(icSigOutputClass, cs, pcs, icPerceptual);
    for (const auto& [sig, data] : tags) {
        icTag tag{sig, 0, uint32_t(data.size())};
        gen.AddTagAndData(tag, data.data());
    }
    size_t n = 132 + 12 * size_t(gen.GetCount());
    for (unsigned i = 0; i < gen.GetCount(); ++i) n += gen.Tag(i).size;
    GeneratedProfile g{name, std::vector<uint8_t>(n)};
    gen.CopyToMemory(reinterpret_cast<char*>(g.bytes.data()));
    return g;
}

std::vector<GeneratedProfile> GeneratedProfiles() {
    const HostBlock none;
    std::vector<GeneratedProfile> v;
    const HostBlock mat = Matrix({0.6, 0.2, 0.1, 0.1, 0.7, 0.1, 0.05, 0.15, 0.6, 0.05, 0.02, 0.1});
    // RGB to Lab: every element, curve tables in, parametric curves in the middle and out.
    v.push_back(Generate(
        "generated mAB 3-in all elements", icSigRgbData, icSigLabData,
        {{icSigAToB0Tag,
          LutAB(icSigLutAtoBType, 3, 3,
                Curves({Para(0, {1.0}), CurvTable(1024, 0.8), Para(3, {2.2, 1.0, 0.0, 0.5, 0.02})}),
                mat, Curves({Para(0, {1.3}), Para(0, {0.9}), CurvTable(256, 1.1)}),
                Clut(3, 9, 3, 2),
                Curves({CurvTable(256, 2.2), CurvTable(256, 1.8), CurvTable(4096, 1.0)}))},
         // Grid only, 8-bit grid.
         {icSigAToB1Tag, LutAB(icSigLutAtoBType, 3, 3, none, none, none, Clut(3, 17, 3, 1), none)},
         // No grid: A curves, M curves, matrix, B curves.
         {icSigAToB2Tag, LutAB(icSigLutAtoBType, 3, 3, Repeat(CurvTable(256, 1.0), 3), mat,
                               Repeat(Para(0, {1.5}), 3), none, Repeat(CurvTable(512, 0.7), 3))}}));
    // CMYK to Lab: four inputs with and without a matrix.
    v.push_back(
        Generate("generated mAB 4-in", icSigCmykData, icSigLabData,
                 {{icSigAToB0Tag, LutAB(icSigLutAtoBType, 4, 3, Repeat(Para(0, {1.0}), 3), none,
                                        none, Clut(4, 9, 3, 2), Repeat(CurvTable(256, 1.6), 4))},
                  {icSigAToB1Tag, LutAB(icSigLutAtoBType, 4, 3, Repeat(CurvTable(300, 1.2), 3), mat,
                                        Repeat(Para(0, {1.1}), 3), Clut(4, 7, 3, 1),
                                        Repeat(CurvTable(256, 1.3), 4))},
                  {icSigAToB2Tag, LutAB(icSigLutAtoBType, 4, 4, Repeat(CurvTable(2, 1.0), 4), none,
                                        none, Clut(4, 5, 4, 2), Repeat(CurvTable(2, 1.0), 4))}}));
    // Lab to CMYK and to RGB: the B-to-A order with all elements.
    v.push_back(
        Generate("generated mBA 3-in", icSigCmykData, icSigLabData,
                 {{icSigBToA0Tag, LutAB(icSigLutBtoAType, 3, 4, Repeat(CurvTable(256, 1.0), 3), mat,
                                        Repeat(Para(0, {0.9}), 3), Clut(3, 11, 4, 2),
                                        Repeat(CurvTable(1024, 1.4), 4))},
                  {icSigBToA1Tag, LutAB(icSigLutBtoAType, 3, 4, Repeat(Para(0, {1.0}), 3), none,
                                        none, Clut(3, 9, 4, 1), Repeat(CurvTable(256, 0.9), 4))}}));
    v.push_back(Generate(
        "generated mBA 3-in 3-out", icSigRgbData, icSigLabData,
        {{icSigBToA0Tag,
          LutAB(icSigLutBtoAType, 3, 3, Curves({Para(0, {1.0}), Para(0, {1.2}), Para(0, {0.8})}),
                mat, Repeat(CurvTable(256, 1.0), 3), Clut(3, 17, 3, 2),
                Repeat(Para(3, {2.4, 0.9479, 0.0521, 0.0774, 0.04045}), 3))}}));
    return v;
}

void PrintMaxima(const Maxima& m, const std::map<std::string, int>& bounds) {
    std::printf("Per tag (differences on 16 bits):\n");
    for (const std::string& l : m.lines) std::printf("%s\n", l.c_str());
    std::printf("\nLargest difference per tag type against lcms2 (16-bit units):\n");
    std::printf("  %-6s %6s %10s %8s\n", "type", "tags", "max diff", "bound");
    for (const auto& [type, d] : m.byType) {
        auto b = bounds.find(type);
        std::printf("  %-6s %6d %10d %8d\n", type.c_str(), m.tagsByType.at(type), d,
                    b == bounds.end() ? -1 : b->second);
    }
    std::fflush(stdout);
}

TEST(IccProfileUseLcms, LookupTagsAgreeWithLcms) {
    Maxima m;
    int profiles = 0;
    for (const fs::path& file : kvrtest::RealProfiles()) {
        CIccProfileUse use(nullptr);
        if (!use.Open(file.wstring().c_str())) continue;
        LcmsProfile lp;
        lp.h = cmsOpenProfileFromFile(file.string().c_str(), "r");
        if (!lp.h) continue;
        bool any = false;
        for (uint32_t sig : kLookupTags) any = any || use.FindTagData(sig, nullptr) != nullptr;
        if (!any) continue;
        ++profiles;
        CompareProfile(ShortName(file), use, lp.h, m);
    }
    for (GeneratedProfile& g : GeneratedProfiles()) {
        CIccProfileUse use(nullptr);
        ASSERT_NE(use.Open(g.bytes.data(), int(g.bytes.size())), 0) << g.name;
        LcmsProfile lp;
        lp.h = cmsOpenProfileFromMem(g.bytes.data(), cmsUInt32Number(g.bytes.size()));
        ASSERT_NE(lp.h, nullptr) << g.name;
        CompareProfile(g.name, use, lp.h, m);
    }
    const std::map<std::string, int> bounds = {
        {"mft2", kBoundMft2}, {"mft1", kBoundMft1}, {"mAB ", kBoundMab}, {"mBA ", kBoundMba}};
    PrintMaxima(m, bounds);
    std::printf("  (%d real table profiles)\n", profiles);
    ASSERT_GT(profiles, 0) << "no table profiles in " << kvrtest::CorpusDir();
    for (const auto& [type, d] : m.byType) {
        auto b = bounds.find(type);
        ASSERT_NE(b, bounds.end()) << "unexpected tag type " << type;
        EXPECT_LE(d, b->second) << type;
    }
    // Every kind was seen.
    for (const auto& [type, bound] : bounds) EXPECT_GT(m.tagsByType[type], 0) << type;
}

// ---------------------------------------------------------------------------------------------
// Matrix/TRC

struct MatrixTrcRef {
    cmsToneCurve* curves[3] = {};
    double colorant[3][3] = {}; // [channel][X, Y, Z]
    bool curvOnly = true;       // every TRC is a curv record
};

bool ReadMatrixTrc(cmsHPROFILE h, CIccProfileUse& use, MatrixTrcRef& r) {
    const cmsTagSignature trc[3] = {cmsSigRedTRCTag, cmsSigGreenTRCTag, cmsSigBlueTRCTag};
    const cmsTagSignature xyz[3] = {cmsSigRedColorantTag, cmsSigGreenColorantTag,
                                    cmsSigBlueColorantTag};
    for (int c = 0; c < 3; ++c) {
        r.curves[c] = static_cast<cmsToneCurve*>(cmsReadTag(h, trc[c]));
        auto* v = static_cast<cmsCIEXYZ*>(cmsReadTag(h, xyz[c]));
        if (!r.curves[c] || !v) return false;
        r.colorant[c][0] = v->X;
        r.colorant[c][1] = v->Y;
        r.colorant[c][2] = v->Z;
        const auto* block = use.FindTagData(trc[c], nullptr);
        if (!block || block[0] != icSigCurveType) r.curvOnly = false;
    }
    return true;
}

TEST(IccProfileUseLcms, MatrixTrcAgreesWithLcms) {
    int worstFwd = 0, worstInv = 0, worstRound = 0, profiles = 0, inverses = 0;
    std::vector<std::string> lines;
    for (const fs::path& file : kvrtest::RealProfiles()) {
        CIccProfileUse use(nullptr);
        if (!use.Open(file.wstring().c_str())) continue;
        if (use.Header().colorSpace != icSigRgbData || use.Header().pcs != icSigXYZData) continue;
        LcmsProfile lp;
        lp.h = cmsOpenProfileFromFile(file.string().c_str(), "r");
        if (!lp.h) continue;
        MatrixTrcRef ref;
        if (!ReadMatrixTrc(lp.h, use, ref)) continue;
        ++profiles;
        const std::string name = ShortName(file);

        // lcms2: tone curves, then the colorants as columns, scaled to XYZ 1.0 = 32768.
        cmsPipeline* pipe = cmsPipelineAlloc(nullptr, 3, 3);
        cmsFloat64Number mat[9];
        for (int k = 0; k < 3; ++k)
            for (int c = 0; c < 3; ++c) mat[k * 3 + c] = ref.colorant[c][k] * 32768.0 / 65535.0;
        cmsPipelineInsertStage(pipe, cmsAT_END, cmsStageAllocToneCurves(nullptr, 3, ref.curves));
        cmsPipelineInsertStage(pipe, cmsAT_END, cmsStageAllocMatrix(nullptr, 3, 3, mat, nullptr));

        std::unique_ptr<CFunc_16Tab3Mft> fwd(use.CreateFromMatrixTRC());
        ASSERT_NE(fwd, nullptr) << name;
        std::mt19937 rng(profiles);
        std::vector<std::array<uint16_t, 3>> xyzInputs;
        int dFwd = 0;
        auto forward = [&](const uint16_t* rgb) {
            uint16_t ours[3], theirs[3];
            fwd->Trn(rgb, ours);
            cmsPipelineEval16(rgb, theirs, pipe);
            for (int c = 0; c < 3; ++c) dFwd = std::max(dFwd, std::abs(ours[c] - theirs[c]));
            xyzInputs.push_back({theirs[0], theirs[1], theirs[2]});
        };
        for (int i = 0; i < kRandomInputs; ++i) {
            const uint16_t rgb[3] = {uint16_t(rng()), uint16_t(rng()), uint16_t(rng())};
            forward(rgb);
        }
        for (unsigned n = 0; n < 8; ++n) { // the grid's nodes
            const uint16_t rgb[3] = {uint16_t(n & 4 ? 65535 : 0), uint16_t(n & 2 ? 65535 : 0),
                                     uint16_t(n & 1 ? 65535 : 0)};
            forward(rgb);
        }
        worstFwd = std::max(worstFwd, dFwd);

        // The inverse: a para TRC has none here by decision, so only curv profiles compare.
        char line[256];
        if (!ref.curvOnly) {
            std::snprintf(line, sizeof line, "  %-40s forward %5d   inverse: para TRC, none",
                          name.c_str(), dFwd);
            lines.push_back(line);
            cmsPipelineFree(pipe);
            continue;
        }
        ++inverses;
        std::unique_ptr<CFunc_16Tab3MatrixMft> inv(use.CreateFromMatrixTRCInv());
        ASSERT_NE(inv, nullptr) << name;
        inv->InitMftTrn();
        cmsToneCurve* reversed[3];
        for (int c = 0; c < 3; ++c) reversed[c] = cmsReverseToneCurve(ref.curves[c]);
        // Inverse of the colorant matrix (colorants as columns), by cofactors.
        const double(&a)[3][3] = ref.colorant; // a[c][k]: element (k, c) of the matrix
        auto M = [&](int row, int col) { return a[col][row]; };
        const double det = M(0, 0) * (M(1, 1) * M(2, 2) - M(1, 2) * M(2, 1)) -
                           M(0, 1) * (M(1, 0) * M(2, 2) - M(1, 2) * M(2, 0)) +
                           M(0, 2) * (M(1, 0) * M(2, 1) - M(1, 1) * M(2, 0));
        double mi[3][3];
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j) {
                const int r0 = (j + 1) % 3, r1 = (j + 2) % 3, c0 = (i + 1) % 3, c1 = (i + 2) % 3;
                mi[i][j] = (M(r0, c0) * M(r1, c1) - M(r0, c1) * M(r1, c0)) / det;
            }
        // Also the way back to XYZ through the lcms2 forward pipeline: where a curve has a flat
        // stretch, any device value on it is an inverse, and the two libraries pick different
        // ones; the round trip shows whether the value found is one.
        cmsPipeline* back = cmsPipelineAlloc(nullptr, 3, 3);
        cmsPipelineInsertStage(back, cmsAT_END, cmsStageAllocToneCurves(nullptr, 3, ref.curves));
        cmsPipelineInsertStage(back, cmsAT_END, cmsStageAllocMatrix(nullptr, 3, 3, mat, nullptr));
        int dInv = 0, dRound = 0;
        for (const auto& xyz : xyzInputs) {
            uint16_t ours[3], again[3];
            inv->Trn(xyz.data(), ours);
            cmsPipelineEval16(ours, again, back);
            for (int c = 0; c < 3; ++c) dRound = std::max(dRound, std::abs(again[c] - xyz[c]));
            for (int c = 0; c < 3; ++c) {
                double lin = 0;
                for (int k = 0; k < 3; ++k) lin += mi[c][k] * xyz[k] / 32768.0;
                lin = std::clamp(lin, 0.0, 1.0);
                const double v = cmsEvalToneCurveFloat(reversed[c], cmsFloat32Number(lin));
                const int theirs = int(std::lround(std::clamp(v, 0.0, 1.0) * 65535.0));
                dInv = std::max(dInv, std::abs(ours[c] - theirs));
            }
        }
        for (cmsToneCurve* c : reversed) cmsFreeToneCurve(c);
        cmsPipelineFree(back);
        worstInv = std::max(worstInv, dInv);
        worstRound = std::max(worstRound, dRound);
        std::snprintf(line, sizeof line,
                      "  %-40s forward %5d   inverse %5d   XYZ after round trip %5d", name.c_str(),
                      dFwd, dInv, dRound);
        lines.push_back(line);
        cmsPipelineFree(pipe);
    }
    std::printf("Matrix/TRC profiles against lcms2 (16-bit units):\n");
    for (const std::string& l : lines) std::printf("%s\n", l.c_str());
    std::printf("  forward: %d profiles, max %d (bound %d); inverse: %d profiles, max %d "
                "(bound %d), XYZ after the round trip max %d (bound %d)\n",
                profiles, worstFwd, kBoundMatrixTrc, inverses, worstInv, kBoundMatrixTrcInv,
                worstRound, kBoundMatrixTrcRound);
    std::fflush(stdout);
    ASSERT_GT(profiles, 0) << "no matrix/TRC profiles in " << kvrtest::CorpusDir();
    EXPECT_LE(worstFwd, kBoundMatrixTrc);
    EXPECT_LE(worstInv, kBoundMatrixTrcInv);
    EXPECT_LE(worstRound, kBoundMatrixTrcRound);
}

} // namespace
