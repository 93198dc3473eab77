// Profile use on damaged lookup tags and extreme colorants: grids whose axes have different
// point counts, grids whose precision byte announces no samples, and colorants whose node sums
// leave 32 bits. Each case ends in a clean null (or in the stated node values) without large
// allocations; the allocation probe of this test program shows the latter.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "IccTestUtil.h"
#include "gridtable/TabMft.h"
#include "icc/IccProfileUse.h"
#include "support/AllocProbe.h"

using namespace icctest;

namespace {

constexpr size_t kSmallRequest = size_t(1) << 20; // what a refused record may allocate at most
constexpr size_t kProbeCap = size_t(64) << 20;    // larger requests fail at once

class Use : public CIccProfileUse {
public:
    Use() : CIccProfileUse(nullptr) {}
    int OpenBytes(Bytes& b) { return Open(b.data(), int(b.size())); }
};

uint32_t SigOf(const char* s) {
    return uint32_t(uint8_t(s[0])) << 24 | uint32_t(uint8_t(s[1])) << 16 |
           uint32_t(uint8_t(s[2])) << 8 | uint8_t(s[3]);
}

// A profile holding one lookup tag `sig`.
Bytes LookupProfile(const char* sig, const Bytes& lut, const char* space = "CMYK") {
    Profile p;
    p.colorSpace = space;
    p.Add("wtpt", Be().head("XYZ ").u32(63190).u32(65536).u32(54061).b);
    p.Add(sig, lut);
    return p.Build();
}

// Samples of a grid with the given points per axis and `outputs` values a node.
std::vector<uint16_t> Ramp(const std::vector<uint8_t>& points, unsigned outputs) {
    size_t n = outputs;
    for (uint8_t p : points) n *= p;
    std::vector<uint16_t> v(n);
    for (size_t i = 0; i < n; ++i) v[i] = uint16_t(i * 977u);
    return v;
}

Bytes LutWithGrid(const char* type, uint8_t in, uint8_t out, const std::vector<uint8_t>& points,
                  uint8_t prec, const std::vector<uint16_t>& values) {
    LutAB lut;
    lut.type = type;
    lut.in = in;
    lut.out = out;
    lut.clut = Clut(points, prec, values);
    return lut.Build();
}

// The function of tag `sig` made under the armed probe.
struct Made {
    std::unique_ptr<CFunc_16TabBaseMft> f;
    bool threw = false;
    size_t largest = 0;
};

Made MakeProbed(Bytes profile, uint32_t sig, icColorSpaceSignature src) {
    Made m;
    Use use;
    if (use.OpenBytes(profile) != 1) {
        ADD_FAILURE() << "the profile does not load";
        return m;
    }
    AllocProbe::Armed probe(kProbeCap);
    try {
        m.f.reset(use.CreateMft16Func(sig, false, src, icSigLabData));
    } catch (const std::bad_alloc&) {
        m.threw = true;
    }
    m.largest = probe.largest();
    return m;
}

} // namespace

// ---------------------------------------------------------------------------------------------
// Grid points per axis

TEST(IccProfileUseMalformed, AToBGridWithDifferentPointsPerAxisGivesNull) {
    // The samples are all there for a grid of 2 x 3 x 3 x 3 points: only the single count
    // per axis of the grid objects cannot hold it.
    const std::vector<uint8_t> points = {2, 3, 3, 3};
    Bytes uneven = LookupProfile("A2B0", LutWithGrid("mAB ", 4, 3, points, 2, Ramp(points, 3)));
    Made m = MakeProbed(uneven, Sig("A2B0"), icSigCmykData);
    EXPECT_FALSE(m.threw);
    EXPECT_EQ(m.f, nullptr);

    // The last axis differing alone is enough, and so is a larger first axis.
    for (std::vector<uint8_t> p : {std::vector<uint8_t>{3, 3, 3, 2}, {3, 2, 2, 2}}) {
        Made n = MakeProbed(LookupProfile("A2B0", LutWithGrid("mAB ", 4, 3, p, 2, Ramp(p, 3))),
                            Sig("A2B0"), icSigCmykData);
        EXPECT_EQ(n.f, nullptr) << int(p[0]) << int(p[1]) << int(p[2]) << int(p[3]);
    }
    const std::vector<uint8_t> three = {2, 3, 3};
    Made t = MakeProbed(
        LookupProfile("A2B0", LutWithGrid("mAB ", 3, 3, three, 1, Ramp(three, 3)), "RGB "),
        Sig("A2B0"), icSigRgbData);
    EXPECT_EQ(t.f, nullptr);

    // The same grid with one count on every axis is read.
    const std::vector<uint8_t> even = {3, 3, 3, 3};
    Made e = MakeProbed(LookupProfile("A2B0", LutWithGrid("mAB ", 4, 3, even, 2, Ramp(even, 3))),
                        Sig("A2B0"), icSigCmykData);
    ASSERT_NE(e.f, nullptr);
    auto* x = dynamic_cast<CFunc_16Tab4MftX*>(e.f.get());
    ASSERT_NE(x, nullptr);
    EXPECT_EQ(x->Mft().clutPoints(), 3u);
    EXPECT_EQ(x->Mft().Table()[5], uint16_t(5 * 977u));
}

TEST(IccProfileUseMalformed, BToAGridWithDifferentPointsPerAxisGivesNull) {
    for (std::vector<uint8_t> p : {std::vector<uint8_t>{2, 3, 3}, {3, 3, 2}, {3, 2, 2}}) {
        Bytes profile = LookupProfile("B2A0", LutWithGrid("mBA ", 3, 4, p, 2, Ramp(p, 4)), "CMYK");
        Made m = MakeProbed(profile, Sig("B2A0"), icSigLabData);
        EXPECT_FALSE(m.threw);
        EXPECT_EQ(m.f, nullptr) << int(p[0]) << int(p[1]) << int(p[2]);
    }
    const std::vector<uint8_t> even = {3, 3, 3};
    Made e = MakeProbed(LookupProfile("B2A0", LutWithGrid("mBA ", 3, 4, even, 2, Ramp(even, 4))),
                        Sig("B2A0"), icSigLabData);
    ASSERT_NE(e.f, nullptr);
    auto* x = dynamic_cast<CFunc_16Tab3MftX*>(e.f.get());
    ASSERT_NE(x, nullptr);
    EXPECT_EQ(x->Mft().clutPoints(), 3u);
    EXPECT_EQ(x->Mft().Table()[7], uint16_t(7 * 977u));
}

// ---------------------------------------------------------------------------------------------
// Grid precision

TEST(IccProfileUseMalformed, GridWithoutSamplesIsRefusedBeforeAllocating) {
    struct Case {
        const char *type, *sig, *space;
        uint8_t in, out, points, prec;
        icColorSpaceSignature src;
    };
    const Case cases[] = {
        {"mAB ", "A2B0", "CMYK", 4, 15, 255, 0, icSigCmykData}, // 255^4 nodes, wraps 32 bits
        {"mAB ", "A2B0", "CMYK", 4, 3, 200, 3, icSigCmykData},
        {"mAB ", "A2B0", "RGB ", 3, 15, 255, 0, icSigRgbData},
        {"mBA ", "B2A0", "CMYK", 3, 15, 255, 4, icSigLabData},
        {"mBA ", "B2A0", "CMYK", 3, 4, 128, 255, icSigLabData},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.type) + " precision " + std::to_string(c.prec));
        const std::vector<uint8_t> points(c.in, c.points);
        Bytes profile =
            LookupProfile(c.sig, LutWithGrid(c.type, c.in, c.out, points, c.prec, {}), c.space);
        ASSERT_LT(profile.size(), 400u) << "a few bytes";
        Made m = MakeProbed(profile, SigOf(c.sig), c.src);
        EXPECT_FALSE(m.threw) << "asked for " << m.largest << " bytes at once";
        EXPECT_EQ(m.f, nullptr);
        EXPECT_LT(m.largest, kSmallRequest);
    }
}

TEST(IccProfileUseMalformed, GridWithItsSamplesAllocatesWhatItHolds) {
    // The control of the case above: the same grid with its samples in one byte each.
    const std::vector<uint8_t> points(3, 17);
    std::vector<uint16_t> values(17 * 17 * 17 * 3);
    for (size_t i = 0; i < values.size(); ++i) values[i] = uint16_t(i % 251);
    Made m = MakeProbed(LookupProfile("A2B0", LutWithGrid("mAB ", 3, 3, points, 1, values), "RGB "),
                        Sig("A2B0"), icSigRgbData);
    ASSERT_NE(m.f, nullptr);
    EXPECT_LT(m.largest, kSmallRequest);
    auto* x = dynamic_cast<CFunc_16Tab3MftX*>(m.f.get());
    ASSERT_NE(x, nullptr);
    EXPECT_EQ(x->Mft().Table()[300], uint16_t((300 % 251) * 257));
}

// ---------------------------------------------------------------------------------------------
// Colorant sums

namespace {

// The node component of one s15Fixed16 colorant value, and the eight nodes, computed plainly:
// sums in 64 bits, then the low 16 bits.
int64_t PlainNode(int32_t raw) {
    const double v = raw * (1.0 / 65536.0) * 32768.0;
    return v > 0 ? int64_t(v) : 0;
}

std::vector<uint16_t> PlainNodes(const int32_t (&rows)[3][3]) {
    std::vector<uint16_t> nodes;
    for (unsigned node = 0; node < 8; ++node) {
        for (int k = 0; k < 3; ++k) {
            int64_t v = 0;
            if (node & 4) v += PlainNode(rows[0][k]);
            if (node & 2) v += PlainNode(rows[1][k]);
            if (node & 1) v += PlainNode(rows[2][k]);
            nodes.push_back(uint16_t(v & 0xFFFF));
        }
    }
    return nodes;
}

Bytes ColorantProfile(const int32_t (&rows)[3][3]) {
    Profile p;
    p.colorSpace = "RGB ";
    p.pcs = "XYZ ";
    p.deviceClass = "mntr";
    const char* sigs[3] = {"rXYZ", "gXYZ", "bXYZ"};
    for (int r = 0; r < 3; ++r)
        p.Add(sigs[r], Be().head("XYZ ")
                           .u32(uint32_t(rows[r][0]))
                           .u32(uint32_t(rows[r][1]))
                           .u32(uint32_t(rows[r][2]))
                           .b);
    return p.Build();
}

} // namespace

TEST(IccProfileUseMalformed, ColorantSumsKeepTheirLow16BitsAtTheExtremes) {
    constexpr int32_t kMax = INT32_MAX, kMin = INT32_MIN;
    const int32_t sets[][3][3] = {
        {{kMax, kMax, kMax}, {kMax, kMax, kMax}, {kMax, kMax, kMax}},
        {{kMax, kMax - 1, 0x7FFF0001}, {kMax, 0x40000000, kMax}, {0x7FFFFFFE, kMax, kMax}},
        {{kMax, kMin, 0x12345678}, {kMin, kMax, 0x6EDCBA98}, {kMax, kMax, kMin}},
        {{0x0000F6D6, 0x00010000, 0x0000D32D},
         {0x00006FA2, 0x00003905, 0x0000062F},
         {0x0000B876, 0x00000000, 0x00002F11}}, // ordinary colorants, for comparison
    };
    for (const auto& rows : sets) {
        Bytes profile = ColorantProfile(rows);
        Use use;
        ASSERT_EQ(1, use.OpenBytes(profile));
        std::unique_ptr<CFunc_16Tab3Mft> f(use.CreateFromMatrixTRC());
        ASSERT_NE(f, nullptr);
        ASSERT_EQ(f->Mft().TabEntries(), 24u);
        const std::vector<uint16_t> expected = PlainNodes(rows);
        const std::vector<uint16_t> got(f->Mft().Table(), f->Mft().Table() + 24);
        EXPECT_EQ(got, expected);
    }
}
