// Profile use: which object each tag type gives, how its tables are filled, the matrix/TRC
// functions in both directions, media white, illuminant, description, the concatenation into a
// new pipeline, and clean null results for damaged blocks. Profiles are made here with the
// profile generator and read back through the reader.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "colorfunc/Func16GrayToXYZ.h"
#include "gridtable/TabMft.h"
#include "gridtable/TabMftX.h"
#include "icc/IccProfileGen.h"
#include "icc/IccProfileUse.h"
#include "support/FuncTab.h"
#include "support/IccSig.h"
#include "support/TestData.h"

namespace {

using kvrtest::Sig;

// A tag block in host order, built field by field.
class HostBlock {
public:
    explicit HostBlock(const char (&type)[5]) { u32(Sig(type)).u32(0); }
    HostBlock() = default;
    HostBlock& u8(uint32_t v) {
        b.push_back(uint8_t(v));
        return *this;
    }
    HostBlock& u16(uint32_t v) { return raw(uint16_t(v)); }
    HostBlock& u32(uint32_t v) { return raw(uint32_t(v)); }
    HostBlock& s15(double v) { return raw(int32_t(std::lround(v * 65536.0))); }
    HostBlock& bytes(const std::vector<uint8_t>& v) {
        b.insert(b.end(), v.begin(), v.end());
        return *this;
    }
    HostBlock& text(const char* s) {
        b.insert(b.end(), s, s + std::strlen(s) + 1);
        return *this;
    }
    HostBlock& pad4() {
        while (b.size() % 4) b.push_back(0);
        return *this;
    }
    size_t size() const { return b.size(); }
    void put32(size_t at, uint32_t v) { std::memcpy(&b[at], &v, 4); }

    std::vector<uint8_t> b;

private:
    template <class V> HostBlock& raw(V v) {
        const auto* p = reinterpret_cast<const uint8_t*>(&v);
        b.insert(b.end(), p, p + sizeof v);
        return *this;
    }
};

// A curv record of the given entries, padded to four bytes.
std::vector<uint8_t> CurvRecord(const std::vector<uint16_t>& entries) {
    HostBlock h("curv");
    h.u32(uint32_t(entries.size()));
    for (uint16_t e : entries) h.u16(e);
    return h.pad4().b;
}

std::vector<uint8_t> ParaRecord(uint16_t type, const std::vector<double>& params) {
    HostBlock h("para");
    h.u16(type).u16(0);
    for (double p : params) h.s15(p);
    return h.b;
}

// Twelve s15Fixed16 numbers: 3x3 by rows, then three offsets.
std::vector<uint8_t> MatrixElement(const std::vector<double>& v) {
    HostBlock h;
    for (double x : v) h.s15(x);
    return h.b;
}

// A grid element with `points` on every one of `inputs` axes.
std::vector<uint8_t> ClutElement(unsigned inputs, uint8_t points, uint8_t prec,
                                 const std::vector<uint16_t>& values) {
    HostBlock h;
    for (unsigned i = 0; i < 16; ++i) h.u8(i < inputs ? points : 0);
    h.u8(prec).u8(0).u8(0).u8(0);
    for (uint16_t v : values) prec == 2 ? h.u16(v) : h.u8(v);
    return h.pad4().b;
}

// An mAB  or mBA  block: elements placed behind the head in the order B, matrix, M, grid, A.
struct LutAB {
    const char* type = "mAB ";
    uint8_t in = 3, out = 3;
    std::vector<uint8_t> B, matrix, M, clut, A;
    uint32_t offsets[5] = {}; // B, matrix, M, grid, A as placed

    std::vector<uint8_t> Build() {
        HostBlock h;
        uint32_t typeSig = 0;
        for (int i = 0; i < 4; ++i) typeSig = typeSig << 8 | uint8_t(type[i]);
        h.u32(typeSig).u32(0);
        h.u8(in).u8(out).u16(0);
        for (int i = 0; i < 5; ++i) h.u32(0);
        const std::vector<uint8_t>* parts[5] = {&B, &matrix, &M, &clut, &A};
        std::fill(std::begin(offsets), std::end(offsets), 0u);
        for (int i = 0; i < 5; ++i) {
            if (parts[i]->empty()) continue;
            h.pad4();
            offsets[i] = uint32_t(h.size());
            h.bytes(*parts[i]);
        }
        h.pad4();
        for (int i = 0; i < 5; ++i) h.put32(12 + 4 * i, offsets[i]);
        return h.b;
    }
};

// A table source for the generator whose grid comes from `node`: linear-ramp curves, the 8-bit
// grid the high bytes of the 16-bit one.
kvrtest::FuncTab FnTab(unsigned in, unsigned out, unsigned points, unsigned inEnt, unsigned outEnt,
                       std::function<void(unsigned node, unsigned short* values)> node) {
    kvrtest::FuncTab tab(in, out, points, inEnt, outEnt);
    tab.Nodes16([node = std::move(node)](unsigned n, unsigned short* values) {
        node(n, values);
        return 1;
    });
    return tab;
}

// A profile made by the generator, saved to memory and loaded through the reader.
class UseProfile {
public:
    explicit UseProfile(CIccProfileGen1& gen) {
        size_t n = 132 + 12 * size_t(gen.GetCount());
        for (unsigned i = 0; i < gen.GetCount(); ++i) n += gen.Tag(i).size;
        m_bytes.resize(n);
        gen.CopyToMemory(reinterpret_cast<char*>(m_bytes.data()));
        m_loaded = use.Open(m_bytes.data(), int(m_bytes.size())) != 0;
    }
    bool loaded() const { return m_loaded; }

    // Exposes the protected parts that the tests look at.
    class Use : public CIccProfileUse {
    public:
        Use() : CIccProfileUse(nullptr) {}
        using CIccProfileUse::GetMatrix;
    };
    Use use;

private:
    std::vector<uint8_t> m_bytes; // must outlive the reader's file
    bool m_loaded = false;
};

void AddBlock(CIccProfileGen1& gen, uint32_t sig, std::vector<uint8_t> data) {
    while (data.size() % 4) data.push_back(0);
    icTag tag{sig, 0, uint32_t(data.size())};
    gen.AddTagAndData(tag, data.data());
}

void AddXYZ(CIccProfileGen1& gen, uint32_t sig, double x, double y, double z) {
    gen.AddXYZTag(sig, uint32_t(CIccProfileGen1::ConvertDoubleToS15Fixed16(x)),
                  uint32_t(CIccProfileGen1::ConvertDoubleToS15Fixed16(y)),
                  uint32_t(CIccProfileGen1::ConvertDoubleToS15Fixed16(z)));
}

// Sets the nine matrix words of an mft1/mft2 block, by rows.
void SetLutMatrix(uint32_t* block, const double (&m)[9]) {
    for (int i = 0; i < 9; ++i)
        block[3 + i] = uint32_t(CIccProfileGen1::ConvertDoubleToS15Fixed16(m[i]));
}

// A smooth three-channel test function on 16 bits.
void Smooth3(const uint16_t* in, uint16_t* out) {
    const double x = in[0] / 65535.0, y = in[1] / 65535.0, z = in[2] / 65535.0;
    out[0] = uint16_t(std::lround(65535.0 * (0.6 * x + 0.3 * y * y + 0.1 * z)));
    out[1] = uint16_t(std::lround(65535.0 * (0.2 * x * y + 0.7 * y + 0.1 * std::sqrt(z))));
    out[2] = uint16_t(std::lround(65535.0 * (0.1 * x + 0.1 * y + 0.8 * z * z)));
}

// Grid node n of P points per axis on `inputs` axes, the first axis slowest, as 16-bit inputs.
std::vector<uint16_t> NodeInput(unsigned n, unsigned points, unsigned inputs) {
    std::vector<uint16_t> v(inputs);
    for (int k = int(inputs) - 1; k >= 0; --k) {
        v[k] = uint16_t(std::lround((n % points) * 65535.0 / (points - 1)));
        n /= points;
    }
    return v;
}

// A 3-input mft2 of 5 points whose grid is Smooth3 at its nodes, identity curves.
kvrtest::FuncTab SmoothLut16(uint8_t points = 5) {
    return FnTab(3, 3, points, 2, 2, [points](unsigned node, unsigned short* v) {
        const std::vector<uint16_t> in = NodeInput(node, points, 3);
        Smooth3(in.data(), v);
    });
}

void NewGen(CIccProfileGen1& gen, uint32_t colorSpace, uint32_t pcs) {
    gen.SetHeader(icSigOutputClass, colorSpace, pcs, icPerceptual);
}

// ---------------------------------------------------------------------------------------------
// Lookup tags

TEST(IccProfileUse, Mft2WithOneInputGivesNullInBothWidths) {
    CIccProfileGen1 gen(nullptr);
    NewGen(gen, icSigGrayData, icSigLabData);
    gen.AddLut16Tag(icSigAToB0Tag, FnTab(1, 3, 9, 2, 2, [](unsigned n, unsigned short* v) {
                        v[0] = v[1] = v[2] = uint16_t(n * 8000);
                    }));
    UseProfile p(gen);
    ASSERT_TRUE(p.loaded());
    std::unique_ptr<CFunc_16TabBaseMft> f16(
        p.use.CreateMft16Func(icSigAToB0Tag, false, icSigGrayData, icSigLabData));
    EXPECT_EQ(f16, nullptr);
    std::unique_ptr<CFunc_8TabBaseMft> f8(p.use.CreateMft8Func(icSigAToB0Tag));
    EXPECT_EQ(f8, nullptr);
}

TEST(IccProfileUse, AbsentTagGivesNull) {
    CIccProfileGen1 gen(nullptr);
    NewGen(gen, icSigRgbData, icSigLabData);
    gen.AddLut16Tag(icSigAToB0Tag, SmoothLut16());
    UseProfile p(gen);
    ASSERT_TRUE(p.loaded());
    EXPECT_EQ(std::unique_ptr<CFunc_16TabBaseMft>(
                  p.use.CreateMft16Func(icSigAToB1Tag, false, icSigRgbData, icSigLabData)),
              nullptr);
    EXPECT_EQ(std::unique_ptr<CFunc_8TabBaseMft>(p.use.CreateMft8Func(icSigAToB1Tag)), nullptr);
    // A tag of another type (here text) gives nothing either.
    gen.AddTextTag(icSigGamutTag, "not a table");
    UseProfile q(gen);
    ASSERT_TRUE(q.loaded());
    EXPECT_EQ(std::unique_ptr<CFunc_16TabBaseMft>(
                  q.use.CreateMft16Func(icSigGamutTag, false, icSigLabData, icSigGamutTag)),
              nullptr);
    EXPECT_EQ(std::unique_ptr<CFunc_8TabBaseMft>(q.use.CreateMft8Func(icSigGamutTag)), nullptr);
}

TEST(IccProfileUse, Mft2ThreeInputsFillsCurvesGridAndOutputCurves) {
    CIccProfileGen1 gen(nullptr);
    NewGen(gen, icSigRgbData, icSigLabData);
    // Input curves of 3 entries and output curves of 4, with distinct values per channel.
    kvrtest::FuncTab tab(3, 3, 3, 3, 4);
    tab.Input(
           [](unsigned e, unsigned c) { return static_cast<unsigned short>(e * 30000 + c * 100); })
        .Nodes16([](unsigned n, unsigned short* v) {
            for (unsigned c = 0; c < 3; ++c) v[c] = static_cast<unsigned short>(n * 2000 + c);
            return 1;
        })
        .Nodes8([](unsigned, unsigned char*) { return 0; })
        .Output(
            [](unsigned e, unsigned c) { return static_cast<unsigned short>(e * 20000 + c * 7); });
    gen.AddLut16Tag(icSigAToB0Tag, tab);
    UseProfile p(gen);
    ASSERT_TRUE(p.loaded());
    std::unique_ptr<CFunc_16TabBaseMft> f(
        p.use.CreateMft16Func(icSigAToB0Tag, false, icSigRgbData, icSigLabData));
    auto* lut = dynamic_cast<CFunc_16Tab3LUTMft*>(f.get());
    ASSERT_NE(lut, nullptr);
    EXPECT_EQ(lut->inputChan(), 3u);
    EXPECT_EQ(lut->outputChan(), 3u);
    EXPECT_EQ(lut->Mft().clutPoints(), 3u);
    ASSERT_EQ(lut->FuncInputTab().entries(), 3u);
    ASSERT_EQ(lut->FuncOutputTab().entries(), 4u);
    for (unsigned c = 0; c < 3; ++c)
        for (unsigned e = 0; e < 3; ++e)
            EXPECT_EQ(lut->FuncInputTab().pRawTab()[c * 3 + e], tab.InputValue(e, c));
    for (unsigned c = 0; c < 3; ++c)
        for (unsigned e = 0; e < 4; ++e)
            EXPECT_EQ(lut->FuncOutputTab().pRawTab()[c * 4 + e], tab.OutputValue(e, c));
    const uint16_t* grid = lut->Mft().Table();
    for (unsigned n = 0; n < 27; ++n)
        for (unsigned c = 0; c < 3; ++c) EXPECT_EQ(grid[n * 3 + c], n * 2000 + c);
    EXPECT_EQ(lut->matrixFunc(), nullptr);
}

TEST(IccProfileUse, Mft2OnLabIgnoresItsMatrix) {
    CIccProfileGen1 gen(nullptr);
    NewGen(gen, icSigRgbData, icSigLabData);
    uint32_t* block = gen.AddLut16Tag(icSigAToB0Tag, SmoothLut16());
    SetLutMatrix(block, {0, 1, 0, 0, 0, 1, 1, 0, 0}); // a channel rotation
    UseProfile p(gen);
    ASSERT_TRUE(p.loaded());
    std::unique_ptr<CFunc_16TabBaseMft> f(
        p.use.CreateMft16Func(icSigAToB0Tag, false, icSigRgbData, icSigLabData));
    auto* lut = dynamic_cast<CFunc_16Tab3LUTMft*>(f.get());
    ASSERT_NE(lut, nullptr);
    EXPECT_EQ(lut->matrixFunc(), nullptr);
    lut->InitMftTrn();
    // At the grid nodes the pipeline gives the grid's values: no rotation in front.
    for (unsigned n = 0; n < 125; n += 7) {
        const std::vector<uint16_t> in = NodeInput(n, 5, 3);
        uint16_t expect[3], out[3];
        Smooth3(in.data(), expect);
        lut->Trn(in.data(), out);
        for (int c = 0; c < 3; ++c) EXPECT_NEAR(out[c], expect[c], 40) << n;
    }
}

TEST(IccProfileUse, Mft2OnXYZDefinesItsMatrixEvenTheIdentity) {
    const double rotation[9] = {0, 1, 0, 0, 0, 1, 1, 0, 0};
    CIccProfileGen1 gen(nullptr);
    NewGen(gen, icSigXYZData, icSigXYZData);
    uint32_t* block = gen.AddLut16Tag(icSigBToA0Tag, SmoothLut16());
    SetLutMatrix(block, rotation);
    gen.AddLut16Tag(icSigBToA1Tag, SmoothLut16()); // identity matrix as written
    UseProfile p(gen);
    ASSERT_TRUE(p.loaded());

    std::unique_ptr<CFunc_16TabBaseMft> f(
        p.use.CreateMft16Func(icSigBToA0Tag, true, icSigXYZData, icSigXYZData));
    auto* lut = dynamic_cast<CFunc_16Tab3LUTMft*>(f.get());
    ASSERT_NE(lut, nullptr);
    ASSERT_NE(lut->matrixFunc(), nullptr);
    // The matrix goes in by rows and CFunc_16Matrix applies it transposed: coefficient (r, c)
    // is e_cr in 16.16.
    const int32_t* m = lut->matrixFunc()->matrix();
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c)
            EXPECT_EQ(m[r * 3 + c], int32_t(rotation[c * 3 + r] * 65536)) << r << c;
    lut->InitMftTrn();
    // So the input (x, y, z) reaches the grid as (z, x, y).
    for (unsigned n = 0; n < 125; n += 11) {
        const std::vector<uint16_t> node = NodeInput(n, 5, 3);
        const uint16_t in[3] = {node[1], node[2], node[0]};
        uint16_t expect[3], out[3];
        Smooth3(node.data(), expect);
        lut->Trn(in, out);
        for (int c = 0; c < 3; ++c) EXPECT_NEAR(out[c], expect[c], 40) << n;
    }

    // The identity is defined as well, and DefineMatrix keeps no stage for it.
    std::unique_ptr<CFunc_16TabBaseMft> g(
        p.use.CreateMft16Func(icSigBToA1Tag, true, icSigXYZData, icSigXYZData));
    auto* ident = dynamic_cast<CFunc_16Tab3LUTMft*>(g.get());
    ASSERT_NE(ident, nullptr);
    EXPECT_EQ(ident->matrixFunc(), nullptr);
}

TEST(IccProfileUse, Mft2WithFourInputsLeavesTheMatrixAside) {
    CIccProfileGen1 gen(nullptr);
    NewGen(gen, icSigCmykData, icSigXYZData);
    uint32_t* block =
        gen.AddLut16Tag(icSigAToB0Tag, FnTab(4, 3, 3, 2, 2, [](unsigned n, unsigned short* v) {
                            v[0] = uint16_t(n * 800);
                            v[1] = uint16_t(n * 700);
                            v[2] = uint16_t(n * 600);
                        }));
    SetLutMatrix(block, {0, 1, 0, 0, 0, 1, 1, 0, 0});
    UseProfile p(gen);
    ASSERT_TRUE(p.loaded());
    std::unique_ptr<CFunc_16TabBaseMft> f(
        p.use.CreateMft16Func(icSigAToB0Tag, true, icSigCmykData, icSigXYZData));
    auto* lut = dynamic_cast<CFunc_16Tab4Mft*>(f.get());
    ASSERT_NE(lut, nullptr);
    EXPECT_EQ(lut->inputChan(), 4u);
    EXPECT_EQ(lut->Mft().clutPoints(), 3u);
    EXPECT_EQ(lut->clutEntries(), 81u);
    for (unsigned n = 0; n < 81; ++n) EXPECT_EQ(lut->Mft().Table()[n * 3 + 1], uint16_t(n * 700));
    lut->InitMftTrn();
    const uint16_t in[4] = {65535, 0, 32768, 65535}; // node (2, 0, 1, 2) = 54 + 0 + 3 + 2
    uint16_t out[3];
    lut->Trn(in, out);
    EXPECT_NEAR(out[0], 59 * 800, 20);
}

TEST(IccProfileUse, Mft1GivesOnly8BitAndIgnoresItsMatrixOnXYZ) {
    auto build = [](CIccProfileGen1& gen, bool rotate) {
        CFunc_8Tab3Mft tab(5, 3);
        std::vector<uint8_t> grid(125 * 3);
        for (unsigned n = 0; n < 125; ++n) {
            const std::vector<uint16_t> in = NodeInput(n, 5, 3);
            uint16_t v[3];
            Smooth3(in.data(), v);
            for (int c = 0; c < 3; ++c) grid[n * 3 + c] = uint8_t(v[c] >> 8);
        }
        tab.Mft().Define(grid.data());
        uint32_t* block = gen.AddLut8Tag(icSigBToA0Tag, tab);
        if (rotate) SetLutMatrix(block, {0, 1, 0, 0, 0, 1, 1, 0, 0});
    };
    CIccProfileGen1 genA(nullptr);
    NewGen(genA, icSigRgbData, icSigXYZData);
    build(genA, true);
    CIccProfileGen1 genB(nullptr);
    NewGen(genB, icSigRgbData, icSigXYZData);
    build(genB, false);
    UseProfile a(genA), b(genB);
    ASSERT_TRUE(a.loaded() && b.loaded());
    EXPECT_EQ(std::unique_ptr<CFunc_16TabBaseMft>(
                  a.use.CreateMft16Func(icSigBToA0Tag, true, icSigXYZData, icSigRgbData)),
              nullptr);
    std::unique_ptr<CFunc_8TabBaseMft> fa(a.use.CreateMft8Func(icSigBToA0Tag));
    std::unique_ptr<CFunc_8TabBaseMft> fb(b.use.CreateMft8Func(icSigBToA0Tag));
    ASSERT_NE(dynamic_cast<CFunc_8Tab3Mft*>(fa.get()), nullptr);
    ASSERT_NE(dynamic_cast<CFunc_8Tab3Mft*>(fb.get()), nullptr);
    fa->InitMftTrn();
    fb->InitMftTrn();
    // The rotation in the tag changes nothing.
    std::mt19937 rng(7);
    for (int i = 0; i < 2000; ++i) {
        const uint8_t in[3] = {uint8_t(rng()), uint8_t(rng()), uint8_t(rng())};
        uint8_t oa[3], ob[3];
        fa->Trn(in, oa);
        fb->Trn(in, ob);
        ASSERT_EQ(std::memcmp(oa, ob, 3), 0);
    }
    // And the node values are the tag's.
    uint8_t out[3];
    const uint8_t corner[3] = {255, 255, 255};
    fa->Trn(corner, out);
    uint16_t expect[3];
    const uint16_t c16[3] = {65535, 65535, 65535};
    Smooth3(c16, expect);
    for (int c = 0; c < 3; ++c) EXPECT_EQ(out[c], expect[c] >> 8);
}

TEST(IccProfileUse, Mft1WithFourInputs) {
    CIccProfileGen1 gen(nullptr);
    NewGen(gen, icSigCmykData, icSigLabData);
    gen.AddLut8Tag(icSigAToB0Tag, FnTab(4, 3, 2, 256, 256, [](unsigned n, unsigned short* v) {
                       v[0] = uint16_t(n * 4096);
                       v[1] = uint16_t(65535 - n * 4096);
                       v[2] = 0x8000;
                   }));
    UseProfile p(gen);
    ASSERT_TRUE(p.loaded());
    std::unique_ptr<CFunc_8TabBaseMft> f(p.use.CreateMft8Func(icSigAToB0Tag));
    auto* lut = dynamic_cast<CFunc_8Tab4Mft*>(f.get());
    ASSERT_NE(lut, nullptr);
    EXPECT_EQ(lut->clutEntries(), 16u);
    for (unsigned n = 0; n < 16; ++n)
        EXPECT_EQ(lut->Mft().Table()[n * 3], uint8_t((n * 4096) >> 8));
    // An 8-bit table is no 16-bit one.
    EXPECT_EQ(std::unique_ptr<CFunc_16TabBaseMft>(
                  p.use.CreateMft16Func(icSigAToB0Tag, false, icSigCmykData, icSigLabData)),
              nullptr);
}

TEST(IccProfileUse, GrayCurveServesBothDirections) {
    CIccProfileGen1 gen(nullptr);
    NewGen(gen, icSigGrayData, icSigXYZData);
    gen.AddCurveTag(icSigGrayTRCTag, CIccProfileGen1::ConvertDoubleToS15Fixed16(2.2), 256);
    UseProfile p(gen);
    ASSERT_TRUE(p.loaded());
    std::unique_ptr<CFunc_16TabBaseMft> fwd(
        p.use.CreateMft16Func(icSigGrayTRCTag, false, icSigGrayData, icSigXYZData));
    auto* g = dynamic_cast<CFunc_16GrayToXYZ*>(fwd.get());
    ASSERT_NE(g, nullptr);
    EXPECT_EQ(g->inverse(), 0);
    EXPECT_EQ(g->inputChan(), 1u);
    EXPECT_EQ(g->outputChan(), 3u);
    std::unique_ptr<CFunc_16TabBaseMft> inv(
        p.use.CreateMft16Func(icSigGrayTRCTag, false, icSigXYZData, icSigGrayData));
    auto* h = dynamic_cast<CFunc_16GrayToXYZ*>(inv.get());
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(h->inverse(), 1);
    EXPECT_EQ(h->inputChan(), 3u);
    // Any input space but GRAY makes the inverse, whatever the output space.
    std::unique_ptr<CFunc_16TabBaseMft> lab(
        p.use.CreateMft16Func(icSigGrayTRCTag, false, icSigLabData, icSigLabData));
    ASSERT_NE(dynamic_cast<CFunc_16GrayToXYZ*>(lab.get()), nullptr);
    EXPECT_EQ(dynamic_cast<CFunc_16GrayToXYZ*>(lab.get())->inverse(), 1);
    // Forward at mid gray: Y = 0.5^2.2 on XYZ 1.15.
    const uint16_t in = 32768;
    uint16_t out[3];
    g->Trn(&in, out);
    EXPECT_NEAR(out[1], std::pow(0.5, 2.2) * 32767, 40);
}

// ---------------------------------------------------------------------------------------------
// mAB  and mBA

TEST(IccProfileUse, MabThreeInputsAllElements) {
    LutAB ab;
    for (int c = 0; c < 3; ++c) { // identity tables
        auto a = CurvRecord({0, 65535});
        ab.A.insert(ab.A.end(), a.begin(), a.end());
    }
    std::vector<uint16_t> grid;
    for (unsigned n = 0; n < 27; ++n) {
        const std::vector<uint16_t> in = NodeInput(n, 3, 3);
        uint16_t v[3];
        Smooth3(in.data(), v);
        grid.insert(grid.end(), v, v + 3);
    }
    ab.clut = ClutElement(3, 3, 2, grid);
    for (int c = 0; c < 3; ++c) {
        auto r = ParaRecord(0, {1.0});
        ab.M.insert(ab.M.end(), r.begin(), r.end());
        auto b = CurvRecord({0, 65535});
        ab.B.insert(ab.B.end(), b.begin(), b.end());
    }
    ab.matrix = MatrixElement({0.5, 0, 0, 0, 0.5, 0, 0, 0, 0.5, 0.25, 0, 0});
    std::vector<uint8_t> block = ab.Build();
    std::unique_ptr<CFunc_16TabBaseMft> f(CIccProfileUse::CreateMftXFromAToB(
        reinterpret_cast<const lutAToBType*>(block.data()), uint32_t(block.size())));
    auto* x = dynamic_cast<CFunc_16Tab3MftX*>(f.get());
    ASSERT_NE(x, nullptr);
    EXPECT_FALSE(x->matrixFirst());
    EXPECT_EQ(x->Mft().clutPoints(), 3u);
    for (size_t i = 0; i < grid.size(); ++i) EXPECT_EQ(x->Mft().Table()[i], grid[i]);
    EXPECT_EQ(x->MatrixX().matrix()[0], 32768);
    EXPECT_EQ(x->MatrixX().offsets()[0], int64_t(16384) << 16);
    EXPECT_EQ(x->FuncInputTab().entries(), 4096u);
    EXPECT_EQ(x->FuncMiddleTab().entries(), 4096u);
    EXPECT_EQ(x->FuncOutputTab().entries(), 4096u);
    x->InitMftTrn();
    const uint16_t in[3] = {65535, 0, 65535};
    uint16_t expect[3], out[3];
    Smooth3(in, expect);
    x->Trn(in, out);
    EXPECT_NEAR(out[0], expect[0] / 2 + 16384, 20);
    EXPECT_NEAR(out[1], expect[1] / 2, 20);
    EXPECT_NEAR(out[2], expect[2] / 2, 20);
}

TEST(IccProfileUse, MabWithGridOffsetZeroHasGridSizeZeroWithCurvesAndMatrix) {
    LutAB ab;
    for (int c = 0; c < 3; ++c) {
        auto a = CurvRecord({0, 32768, 65535});
        ab.A.insert(ab.A.end(), a.begin(), a.end());
        auto b = ParaRecord(0, {1.0});
        ab.B.insert(ab.B.end(), b.begin(), b.end());
    }
    ab.matrix = MatrixElement({0, 1, 0, 0, 0, 1, 1, 0, 0, 0, 0, 0});
    std::vector<uint8_t> block = ab.Build();
    ASSERT_EQ(ab.offsets[3], 0u);
    std::unique_ptr<CFunc_16TabBaseMft> f(CIccProfileUse::CreateMftXFromAToB(
        reinterpret_cast<const lutAToBType*>(block.data()), uint32_t(block.size())));
    auto* x = dynamic_cast<CFunc_16Tab3MftX*>(f.get());
    ASSERT_NE(x, nullptr);
    EXPECT_EQ(x->Mft().clutPoints(), 0u);
    EXPECT_EQ(x->clutEntries(), 0u);
    EXPECT_EQ(x->FuncInputTab().entries(), 4096u);
    EXPECT_EQ(x->MatrixX().matrix()[1], 65536);
    x->InitMftTrn();
    // Curves are identities, the matrix rotates: (a, b, c) -> (b, c, a).
    const uint16_t in[3] = {1000 * 16, 2000 * 16, 3000 * 16};
    uint16_t out[3];
    x->Trn(in, out);
    EXPECT_NEAR(out[0], in[1], 32);
    EXPECT_NEAR(out[1], in[2], 32);
    EXPECT_NEAR(out[2], in[0], 32);
}

TEST(IccProfileUse, MabWithFourInputs) {
    LutAB ab;
    ab.in = 4;
    ab.out = 4;
    std::vector<uint16_t> grid(16 * 4);
    for (size_t i = 0; i < grid.size(); ++i) grid[i] = uint16_t(i * 1000);
    ab.clut = ClutElement(4, 2, 2, grid);
    ab.matrix = MatrixElement({1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0});
    std::vector<uint8_t> block = ab.Build();
    // Four inputs, four outputs and a matrix: null.
    EXPECT_EQ(std::unique_ptr<CFunc_16TabBaseMft>(CIccProfileUse::CreateMftXFromAToB(
                  reinterpret_cast<const lutAToBType*>(block.data()), uint32_t(block.size()))),
              nullptr);
    // The same without the matrix is accepted.
    ab.matrix.clear();
    block = ab.Build();
    std::unique_ptr<CFunc_16TabBaseMft> f(CIccProfileUse::CreateMftXFromAToB(
        reinterpret_cast<const lutAToBType*>(block.data()), uint32_t(block.size())));
    auto* x = dynamic_cast<CFunc_16Tab4MftX*>(f.get());
    ASSERT_NE(x, nullptr);
    EXPECT_EQ(x->outputChan(), 4u);
    EXPECT_EQ(x->Mft().clutPoints(), 2u);
    EXPECT_EQ(x->clutEntries(), 0u); // this class answers the base's 0
    for (size_t i = 0; i < grid.size(); ++i) EXPECT_EQ(x->Mft().Table()[i], grid[i]);
    // Four inputs, three outputs and a matrix: accepted.
    ab.out = 3;
    ab.clut = ClutElement(4, 2, 1, std::vector<uint16_t>(16 * 3, 255));
    ab.matrix = MatrixElement({1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0});
    block = ab.Build();
    std::unique_ptr<CFunc_16TabBaseMft> g(CIccProfileUse::CreateMftXFromAToB(
        reinterpret_cast<const lutAToBType*>(block.data()), uint32_t(block.size())));
    auto* y = dynamic_cast<CFunc_16Tab4MftX*>(g.get());
    ASSERT_NE(y, nullptr);
    EXPECT_EQ(y->Mft().Table()[5], 65535); // precision 1 widened by 257
}

TEST(IccProfileUse, MabWithOtherInputCountsGivesNull) {
    for (uint8_t in : {1, 2, 5}) {
        LutAB ab;
        ab.in = in;
        std::vector<uint8_t> block = ab.Build();
        EXPECT_EQ(std::unique_ptr<CFunc_16TabBaseMft>(CIccProfileUse::CreateMftXFromAToB(
                      reinterpret_cast<const lutAToBType*>(block.data()), uint32_t(block.size()))),
                  nullptr)
            << int(in);
    }
}

TEST(IccProfileUse, MbaWithFourInputsGivesNull) {
    LutAB ba;
    ba.type = "mBA ";
    ba.in = 4;
    ba.out = 3;
    ba.clut = ClutElement(4, 2, 2, std::vector<uint16_t>(16 * 3, 1));
    std::vector<uint8_t> block = ba.Build();
    EXPECT_EQ(std::unique_ptr<CFunc_16TabBaseMft>(CIccProfileUse::CreateMftXFromBToA(
                  reinterpret_cast<const lutBToAType*>(block.data()), uint32_t(block.size()))),
              nullptr);
}

TEST(IccProfileUse, MbaTakesBCurvesInAndACurvesOut) {
    LutAB ba;
    ba.type = "mBA ";
    ba.in = 3;
    ba.out = 4;
    for (int c = 0; c < 3; ++c) {
        auto b = CurvRecord({0, 65535});
        ba.B.insert(ba.B.end(), b.begin(), b.end());
        auto m = ParaRecord(0, {1.0});
        ba.M.insert(ba.M.end(), m.begin(), m.end());
    }
    for (int c = 0; c < 4; ++c) { // inverted output curves
        auto a = CurvRecord({65535, 0});
        ba.A.insert(ba.A.end(), a.begin(), a.end());
    }
    std::vector<uint16_t> grid(27 * 4);
    for (unsigned n = 0; n < 27; ++n)
        for (unsigned c = 0; c < 4; ++c) grid[n * 4 + c] = uint16_t(n * 2000 + c * 10);
    ba.clut = ClutElement(3, 3, 2, grid);
    ba.matrix = MatrixElement({1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0});
    std::vector<uint8_t> block = ba.Build();
    std::unique_ptr<CFunc_16TabBaseMft> f(CIccProfileUse::CreateMftXFromBToA(
        reinterpret_cast<const lutBToAType*>(block.data()), uint32_t(block.size())));
    auto* x = dynamic_cast<CFunc_16Tab3MftX*>(f.get());
    ASSERT_NE(x, nullptr);
    EXPECT_TRUE(x->matrixFirst());
    EXPECT_EQ(x->outputChan(), 4u);
    EXPECT_EQ(x->Mft().clutPoints(), 3u);
    x->InitMftTrn();
    const uint16_t in[3] = {65535, 0, 32768}; // node (2, 0, 1) = 19
    uint16_t out[4];
    x->Trn(in, out);
    for (int c = 0; c < 4; ++c) EXPECT_NEAR(out[c], 65535 - (19 * 2000 + c * 10), 40) << c;
}

TEST(IccProfileUse, MbaWithGridOffsetZeroTakesTheBlocksFirstByteAsSize) {
    LutAB ba;
    ba.type = "mBA ";
    for (int c = 0; c < 3; ++c) {
        auto b = CurvRecord({0, 65535});
        ba.B.insert(ba.B.end(), b.begin(), b.end());
    }
    ba.matrix = MatrixElement({1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0});
    std::vector<uint8_t> block = ba.Build();
    ASSERT_EQ(ba.offsets[3], 0u);
    std::unique_ptr<CFunc_16TabBaseMft> f(CIccProfileUse::CreateMftXFromBToA(
        reinterpret_cast<const lutBToAType*>(block.data()), uint32_t(block.size())));
    auto* x = dynamic_cast<CFunc_16Tab3MftX*>(f.get());
    ASSERT_NE(x, nullptr);
    // The first byte of the block in memory: a byte of the type signature, not a size.
    const unsigned firstByte = block[0];
    EXPECT_EQ(x->Mft().clutPoints(), firstByte);
    EXPECT_EQ(x->clutEntries(), firstByte * firstByte * firstByte);
    // No grid data was defined.
    const uint16_t* t = x->Mft().Table();
    for (unsigned i = 0; i < x->Mft().TabEntries(); ++i) ASSERT_EQ(t[i], 0) << i;
}

// ---------------------------------------------------------------------------------------------
// Matrix/TRC

// An RGB profile with the colorants given by rows (red, green, blue) and the TRCs given.
void MatrixProfile(CIccProfileGen1& gen, const double (&rows)[3][3], bool withGreen = true) {
    NewGen(gen, icSigRgbData, icSigXYZData);
    AddXYZ(gen, icSigRedColorantTag, rows[0][0], rows[0][1], rows[0][2]);
    if (withGreen) AddXYZ(gen, icSigGreenColorantTag, rows[1][0], rows[1][1], rows[1][2]);
    AddXYZ(gen, icSigBlueColorantTag, rows[2][0], rows[2][1], rows[2][2]);
}

const double kSrgbRows[3][3] = {
    {0.4361, 0.2225, 0.0139}, {0.3851, 0.7169, 0.0971}, {0.1431, 0.0606, 0.7141}};

TEST(IccProfileUse, GetMatrixRowsAreColorants) {
    CIccProfileGen1 gen(nullptr);
    MatrixProfile(gen, kSrgbRows);
    UseProfile p(gen);
    ASSERT_TRUE(p.loaded());
    CMatrix3 m;
    ASSERT_EQ(p.use.GetMatrix(m), 1);
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c) EXPECT_NEAR(m[r][c], kSrgbRows[r][c], 1e-5);

    CIccProfileGen1 gen2(nullptr);
    MatrixProfile(gen2, kSrgbRows, false);
    UseProfile q(gen2);
    ASSERT_TRUE(q.loaded());
    CMatrix3 untouched(1, 2, 3, 4, 5, 6, 7, 8, 9);
    EXPECT_EQ(q.use.GetMatrix(untouched), 0);
    EXPECT_EQ(untouched, CMatrix3(1, 2, 3, 4, 5, 6, 7, 8, 9));
}

TEST(IccProfileUse, MatrixTrcWithoutGreenColorantGivesNull) {
    CIccProfileGen1 gen(nullptr);
    MatrixProfile(gen, kSrgbRows, false);
    for (uint32_t sig : {icSigRedTRCTag, icSigGreenTRCTag, icSigBlueTRCTag})
        gen.AddCurveTag(sig, CIccProfileGen1::ConvertDoubleToS15Fixed16(2.2), 1);
    UseProfile p(gen);
    ASSERT_TRUE(p.loaded());
    EXPECT_EQ(std::unique_ptr<CFunc_16Tab3Mft>(p.use.CreateFromMatrixTRC()), nullptr);
    EXPECT_EQ(std::unique_ptr<CFunc_16Tab3MatrixMft>(p.use.CreateFromMatrixTRCInv()), nullptr);
}

TEST(IccProfileUse, MatrixTrcGridHoldsTheColorantSums) {
    CIccProfileGen1 gen(nullptr);
    MatrixProfile(gen, kSrgbRows);
    for (uint32_t sig : {icSigRedTRCTag, icSigGreenTRCTag, icSigBlueTRCTag})
        gen.AddCurveTag(sig, CIccProfileGen1::ConvertDoubleToS15Fixed16(2.2), 1);
    UseProfile p(gen);
    ASSERT_TRUE(p.loaded());
    std::unique_ptr<CFunc_16Tab3Mft> f(p.use.CreateFromMatrixTRC());
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(f->Mft().clutPoints(), 2u);
    EXPECT_EQ(f->FuncInputTab().entries(), 4096u);
    // Node values from the s15Fixed16 numbers as stored, times 32768, truncated.
    auto q = [](double v) { return int(std::trunc(std::lround(v * 65536.0) / 65536.0 * 32768.0)); };
    const uint16_t* t = f->Mft().Table();
    for (unsigned node = 0; node < 8; ++node) {
        for (int k = 0; k < 3; ++k) {
            int sum = 0;
            if (node & 4) sum += q(kSrgbRows[0][k]);
            if (node & 2) sum += q(kSrgbRows[1][k]);
            if (node & 1) sum += q(kSrgbRows[2][k]);
            EXPECT_EQ(t[node * 3 + k], sum) << node << k;
        }
    }
    // White of the device is the sum of the colorants, near D50.
    const uint16_t white[3] = {65535, 65535, 65535};
    uint16_t out[3];
    f->Trn(white, out);
    // (The grid's fixed-point interpolation reaches its far corner within a few units.)
    EXPECT_NEAR(out[0], 0.9642 * 32768, 16);
    EXPECT_NEAR(out[1], 1.0 * 32768, 16);
    EXPECT_NEAR(out[2], 0.8251 * 32768, 16);
    // Gamma 2.2 from the one-entry curve (u8Fixed8 2.2 = 563 / 256).
    const uint16_t mid[3] = {32768, 32768, 32768};
    f->Trn(mid, out);
    uint16_t stored;
    std::memcpy(&stored,
                reinterpret_cast<const uint8_t*>(p.use.FindTagData(icSigRedTRCTag, nullptr)) + 12,
                2);
    EXPECT_NEAR(out[1], std::pow(0.5, stored / 256.0) * 32768, 30);
}

TEST(IccProfileUse, MatrixTrcSumsWrapIn16Bits) {
    const double big[3][3] = {{1.5, 1.0, 0.5}, {0.6, 1.0, 0.5}, {0.5, 1.0, 0.5}};
    CIccProfileGen1 gen(nullptr);
    MatrixProfile(gen, big);
    UseProfile p(gen);
    ASSERT_TRUE(p.loaded());
    std::unique_ptr<CFunc_16Tab3Mft> f(p.use.CreateFromMatrixTRC());
    ASSERT_NE(f, nullptr);
    // X of white: (1.5 + 0.6 + 0.5) * 32768 = 85196, kept in 16 bits.
    auto q = [](double v) { return int(std::trunc(std::lround(v * 65536.0) / 65536.0 * 32768.0)); };
    const int sumX = q(1.5) + q(0.6) + q(0.5);
    EXPECT_EQ(f->Mft().Table()[7 * 3 + 0], uint16_t(sumX));
    EXPECT_EQ(f->Mft().Table()[7 * 3 + 1], uint16_t(3 * 32768));
}

TEST(IccProfileUse, MatrixTrcWithoutBlueCurveKeepsDefaultInputTables) {
    CIccProfileGen1 gen(nullptr);
    MatrixProfile(gen, kSrgbRows);
    gen.AddCurveTag(icSigRedTRCTag, CIccProfileGen1::ConvertDoubleToS15Fixed16(2.2), 1);
    gen.AddCurveTag(icSigGreenTRCTag, CIccProfileGen1::ConvertDoubleToS15Fixed16(2.2), 1);
    UseProfile p(gen);
    ASSERT_TRUE(p.loaded());
    std::unique_ptr<CFunc_16Tab3Mft> f(p.use.CreateFromMatrixTRC());
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(f->FuncInputTab().entries(), 2u); // the constructed identity
    const uint16_t mid[3] = {0, 32768, 0};
    uint16_t out[3];
    f->Trn(mid, out);
    // Linear: half the green colorant.
    EXPECT_NEAR(out[1], 0.7169 * 16384, 8);
}

TEST(IccProfileUse, MatrixTrcExpandsEachCurveForm) {
    CIccProfileGen1 gen(nullptr);
    MatrixProfile(gen, kSrgbRows);
    gen.AddCurveTag(icSigRedTRCTag, CIccProfileGen1::ConvertDoubleToS15Fixed16(1.8), 1);
    // Green: a table of 5 entries; blue: para type 3 (sRGB-like).
    AddBlock(gen, icSigGreenTRCTag, CurvRecord({0, 4000, 16000, 36000, 65535}));
    AddBlock(gen, icSigBlueTRCTag,
             ParaRecord(3, {2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045}));
    UseProfile p(gen);
    ASSERT_TRUE(p.loaded());
    std::unique_ptr<CFunc_16Tab3Mft> f(p.use.CreateFromMatrixTRC());
    ASSERT_NE(f, nullptr);
    const uint16_t* tab = f->FuncInputTab().pRawTab();
    ASSERT_NE(tab, nullptr);
    ASSERT_EQ(f->FuncInputTab().entries(), 4096u);
    // The gamma as the generator stored it, u8Fixed8 at 12 of the curv.
    uint16_t stored;
    std::memcpy(&stored,
                reinterpret_cast<const uint8_t*>(p.use.FindTagData(icSigRedTRCTag, nullptr)) + 12,
                2);
    const double gamma = stored / 256.0;
    for (unsigned i = 0; i < 4096; i += 273) {
        const double x = i / 4095.0;
        EXPECT_NEAR(tab[i], std::pow(x, gamma) * 65535.0, 1) << i;
        // Piecewise linear between the five entries.
        const double pos = x * 4;
        const uint16_t e[5] = {0, 4000, 16000, 36000, 65535};
        const int k = std::min(3, int(pos));
        EXPECT_NEAR(tab[4096 + i], e[k] + (e[k + 1] - e[k]) * (pos - k), 2) << i;
        const double s = x < 0.04045 ? x / 12.92 : std::pow((x + 0.055) / 1.055, 2.4);
        EXPECT_NEAR(tab[8192 + i], s * 65535.0, 3) << i;
    }
}

TEST(IccProfileUse, MatrixTrcInverseOfGammaCurves) {
    CIccProfileGen1 gen(nullptr);
    MatrixProfile(gen, kSrgbRows);
    for (uint32_t sig : {icSigRedTRCTag, icSigGreenTRCTag, icSigBlueTRCTag})
        gen.AddCurveTag(sig, CIccProfileGen1::ConvertDoubleToS15Fixed16(2.2), 1);
    UseProfile p(gen);
    ASSERT_TRUE(p.loaded());
    std::unique_ptr<CFunc_16Tab3MatrixMft> f(p.use.CreateFromMatrixTRCInv());
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(f->Mft().clutPoints(), 0u);
    ASSERT_EQ(f->FuncOutputTab().entries(), 256u);
    ASSERT_NE(f->matrixFunc(), nullptr);
    const uint16_t* tab = f->FuncOutputTab().pRawTab();
    uint16_t stored;
    std::memcpy(&stored,
                reinterpret_cast<const uint8_t*>(p.use.FindTagData(icSigRedTRCTag, nullptr)) + 12,
                2);
    for (unsigned i = 0; i < 256; i += 15)
        EXPECT_NEAR(tab[i], std::pow(i / 255.0, 256.0 / stored) * 65535.0, 1) << i;
    // The XYZ of device white (sum of the colorants) comes back near white.
    const uint16_t xyz[3] = {uint16_t(0.9642 * 32768), 32768, uint16_t(0.8251 * 32768)};
    uint16_t out[3];
    f->Trn(xyz, out);
    for (int c = 0; c < 3; ++c) EXPECT_GT(out[c], 65000) << c;
    // Round trip through the forward function, away from the dark end.
    std::unique_ptr<CFunc_16Tab3Mft> fwd(p.use.CreateFromMatrixTRC());
    ASSERT_NE(fwd, nullptr);
    const uint16_t rgb[3] = {50000, 30000, 20000};
    uint16_t x[3], back[3];
    fwd->Trn(rgb, x);
    f->Trn(x, back);
    for (int c = 0; c < 3; ++c) EXPECT_NEAR(back[c], rgb[c], 700) << c;
}

TEST(IccProfileUse, MatrixTrcInverseWithDifferentCurveLengthsHasNoOutputTables) {
    CIccProfileGen1 gen(nullptr);
    MatrixProfile(gen, kSrgbRows);
    gen.AddCurveTag(icSigRedTRCTag, CIccProfileGen1::ConvertDoubleToS15Fixed16(2.2), 256);
    gen.AddCurveTag(icSigGreenTRCTag, CIccProfileGen1::ConvertDoubleToS15Fixed16(2.2), 1024);
    gen.AddCurveTag(icSigBlueTRCTag, CIccProfileGen1::ConvertDoubleToS15Fixed16(2.2), 256);
    UseProfile p(gen);
    ASSERT_TRUE(p.loaded());
    std::unique_ptr<CFunc_16Tab3MatrixMft> f(p.use.CreateFromMatrixTRCInv());
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(f->FuncOutputTab().entries(), 2u);
    EXPECT_NE(f->matrixFunc(), nullptr);
    // The forward direction expands them all the same.
    std::unique_ptr<CFunc_16Tab3Mft> fwd(p.use.CreateFromMatrixTRC());
    ASSERT_NE(fwd, nullptr);
    EXPECT_EQ(fwd->FuncInputTab().entries(), 4096u);
}

TEST(IccProfileUse, MatrixTrcInverseWithoutACurveOrWithCountZeroHasNoOutputTables) {
    {
        CIccProfileGen1 gen(nullptr);
        MatrixProfile(gen, kSrgbRows);
        gen.AddCurveTag(icSigRedTRCTag, CIccProfileGen1::ConvertDoubleToS15Fixed16(2.2), 256);
        gen.AddCurveTag(icSigGreenTRCTag, CIccProfileGen1::ConvertDoubleToS15Fixed16(2.2), 256);
        UseProfile p(gen);
        ASSERT_TRUE(p.loaded());
        std::unique_ptr<CFunc_16Tab3MatrixMft> f(p.use.CreateFromMatrixTRCInv());
        ASSERT_NE(f, nullptr);
        EXPECT_EQ(f->FuncOutputTab().entries(), 2u);
    }
    {
        CIccProfileGen1 gen(nullptr);
        MatrixProfile(gen, kSrgbRows);
        for (uint32_t sig : {icSigRedTRCTag, icSigGreenTRCTag, icSigBlueTRCTag})
            gen.AddCurveTag(sig, 0, 0);
        UseProfile p(gen);
        ASSERT_TRUE(p.loaded());
        std::unique_ptr<CFunc_16Tab3MatrixMft> f(p.use.CreateFromMatrixTRCInv());
        ASSERT_NE(f, nullptr);
        EXPECT_EQ(f->FuncOutputTab().entries(), 2u);
    }
}

TEST(IccProfileUse, InverseCurveLookupEndsAndFlatStretch) {
    CIccProfileGen1 gen(nullptr);
    MatrixProfile(gen, kSrgbRows);
    // Entries that start above 0 and end below 65535, with a flat stretch at 2570 = 10 * 257.
    const std::vector<uint16_t> entries = {1000, 2570, 2570, 2570, 10280, 60000};
    for (uint32_t sig : {icSigRedTRCTag, icSigGreenTRCTag, icSigBlueTRCTag})
        AddBlock(gen, sig, CurvRecord(entries));
    UseProfile p(gen);
    ASSERT_TRUE(p.loaded());
    std::unique_ptr<CFunc_16Tab3MatrixMft> f(p.use.CreateFromMatrixTRCInv());
    ASSERT_NE(f, nullptr);
    ASSERT_EQ(f->FuncOutputTab().entries(), 256u);
    const uint16_t* tab = f->FuncOutputTab().pRawTab();
    for (int c = 0; c < 3; ++c) {
        const uint16_t* t = tab + 256 * c;
        // t = i * 257 below the first entry (i = 0, 1, 2, 3 give t up to 771 < 1000): 0.
        EXPECT_EQ(t[0], 0);
        EXPECT_EQ(t[3], 0);
        // Beyond the last entry (t = 60138 at i = 234 and above): 65535.
        EXPECT_EQ(t[234], 65535);
        EXPECT_EQ(t[255], 65535);
        // t = 2570 on the flat stretch: the first entry above is index 4, so the result is
        // the end of the stretch, position 3 of 5: 3 * 65535 / 5.
        EXPECT_EQ(t[10], 39321);
        // t = 1028 between entries 0 and 1: (28 * 65535 / 1570) / 5.
        EXPECT_EQ(t[4], (28 * 65535 / 1570) / 5);
    }
}

TEST(IccProfileUse, NegativeColorantIsZeroInTheGridAndKeptInTheInverseMatrix) {
    // Red has a negative Y; the inverse of these rows is [[2, 1, 0], [0, 2, 0], [0, 0, 2]].
    const double rows[3][3] = {{0.5, -0.25, 0}, {0, 0.5, 0}, {0, 0, 0.5}};
    CIccProfileGen1 gen(nullptr);
    MatrixProfile(gen, rows);
    UseProfile p(gen);
    ASSERT_TRUE(p.loaded());
    std::unique_ptr<CFunc_16Tab3Mft> fwd(p.use.CreateFromMatrixTRC());
    ASSERT_NE(fwd, nullptr);
    const uint16_t* t = fwd->Mft().Table();
    EXPECT_EQ(t[4 * 3 + 0], 16384); // red node
    EXPECT_EQ(t[4 * 3 + 1], 0);     // its negative Y as 0
    EXPECT_EQ(t[6 * 3 + 1], 16384); // red + green: only green's Y
    std::unique_ptr<CFunc_16Tab3MatrixMft> inv(p.use.CreateFromMatrixTRCInv());
    ASSERT_NE(inv, nullptr);
    ASSERT_NE(inv->matrixFunc(), nullptr);
    const int32_t* m = inv->matrixFunc()->matrix();
    // Doubled inverse [[4, 2, 0], [0, 4, 0], [0, 0, 4]] applied transposed: R = 4 X, G = 2 X +
    // 4 Y, B = 4 Z. Without the negative value G would not depend on X.
    EXPECT_NEAR(m[0], 4 * 65536, 1);
    EXPECT_NEAR(m[1], 0, 1);
    // The generator stores -0.25 as -16383 / 65536 (it truncates towards zero), hence the
    // inverse's element from the stored value.
    int32_t redY;
    std::memcpy(
        &redY,
        reinterpret_cast<const uint8_t*>(p.use.FindTagData(icSigRedColorantTag, nullptr)) + 12, 4);
    ASSERT_LT(redY, 0);
    EXPECT_NEAR(m[3], 2 * (-redY / 65536.0 / 0.25) * 65536, 1);
    EXPECT_NEAR(m[4], 4 * 65536, 1);
    EXPECT_NEAR(m[8], 4 * 65536, 1);
}

TEST(IccProfileUse, MatrixTrcInverseOfASingularMatrixGivesNull) {
    const double rows[3][3] = {{0.5, 0.25, 0}, {1.0, 0.5, 0}, {0, 0, 0.5}};
    CIccProfileGen1 gen(nullptr);
    MatrixProfile(gen, rows);
    UseProfile p(gen);
    ASSERT_TRUE(p.loaded());
    EXPECT_EQ(std::unique_ptr<CFunc_16Tab3MatrixMft>(p.use.CreateFromMatrixTRCInv()), nullptr);
    EXPECT_NE(std::unique_ptr<CFunc_16Tab3Mft>(p.use.CreateFromMatrixTRC()), nullptr);
}

// ---------------------------------------------------------------------------------------------
// White, illuminant, description

TEST(IccProfileUse, MediaWhiteAndIlluminant) {
    CIccProfileGen1 gen(nullptr);
    NewGen(gen, icSigRgbData, icSigXYZData);
    UseProfile p(gen);
    ASSERT_TRUE(p.loaded());
    icXYZNumber w{1, 2, 3};
    EXPECT_EQ(p.use.GetMediaWhite(w), 0);
    EXPECT_EQ(w.X, 1);
    icXYZNumber ill{};
    EXPECT_EQ(p.use.GetIlluminant(ill), 1);
    EXPECT_EQ(ill.X, p.use.Header().illuminant.X);
    EXPECT_EQ(ill.Y, 65536);
    EXPECT_EQ(ill.Z, p.use.Header().illuminant.Z);

    gen.AddXYZTag(icSigMediaWhitePointTag, 63000, 65536, 52000);
    UseProfile q(gen);
    ASSERT_TRUE(q.loaded());
    ASSERT_EQ(q.use.GetMediaWhite(w), 1);
    EXPECT_EQ(w.X, 63000);
    EXPECT_EQ(w.Y, 65536);
    EXPECT_EQ(w.Z, 52000);
}

TEST(IccProfileUse, MediaWhiteOfAnyTypeIsReadAtOffset8) {
    CIccProfileGen1 gen(nullptr);
    NewGen(gen, icSigRgbData, icSigXYZData);
    HostBlock h("sf32");
    h.u32(11).u32(22).u32(33);
    AddBlock(gen, icSigMediaWhitePointTag, h.b);
    UseProfile p(gen);
    ASSERT_TRUE(p.loaded());
    icXYZNumber w{};
    ASSERT_EQ(p.use.GetMediaWhite(w), 1);
    EXPECT_EQ(w.X, 11);
    EXPECT_EQ(w.Y, 22);
    EXPECT_EQ(w.Z, 33);
}

TEST(IccProfileUse, Description) {
    CIccProfileGen1 gen(nullptr);
    NewGen(gen, icSigRgbData, icSigXYZData);
    UseProfile empty(gen);
    ASSERT_TRUE(empty.loaded());
    EXPECT_EQ(empty.use.GetDescription(), L"");
    gen.AddProfileDescriptionTag("Caf\xe9 printer"); // Windows-1252
    UseProfile p(gen);
    ASSERT_TRUE(p.loaded());
    EXPECT_EQ(p.use.GetDescription(), L"Caf\u00e9 printer");
}

TEST(IccProfileUse, DescriptionOfAnMlucTagIsWhatItsBytesSpell) {
    // A version-4 mluc: record count 1 and record size 12 at 8 and 12, kept as stored (big-
    // endian) since mluc is not converted. The byte at 12 is the record size's high byte, 0.
    CIccProfileGen1 gen(nullptr);
    NewGen(gen, icSigRgbData, icSigXYZData);
    HostBlock h("mluc");
    for (int b :
         {0, 0, 0, 1, 0, 0, 0, 12, int('e'), int('n'), int('U'), int('S'), 0, 0, 0, 4, 0, 0, 0, 28})
        h.u8(b);
    for (int b : {0, int('H'), 0, int('i')}) h.u8(b);
    AddBlock(gen, icSigProfileDescriptionTag, h.b);
    UseProfile p(gen);
    ASSERT_TRUE(p.loaded());
    EXPECT_EQ(p.use.GetDescription(), L"");

    // From a real version-4 profile: the bytes at 12 of its desc, up to the first zero.
    ASSERT_TRUE(kvrtest::HaveCorpusProfile("colord-sRGB.icc"));
    const std::filesystem::path path = kvrtest::CorpusProfile("colord-sRGB.icc");
    CIccProfileUse real(nullptr);
    ASSERT_NE(real.Open(path.wstring().c_str()), 0);
    uint32_t size = 0;
    const auto* block =
        reinterpret_cast<const char*>(real.FindTagData(icSigProfileDescriptionTag, nullptr, &size));
    ASSERT_NE(block, nullptr);
    ASSERT_EQ(MakeIccSignature("mluc"), *reinterpret_cast<const uint32_t*>(block));
    std::wstring expect;
    for (uint32_t i = 12; i < size && block[i] != 0; ++i) expect += wchar_t(uint8_t(block[i]));
    EXPECT_EQ(real.GetDescription(), expect);
}

// ---------------------------------------------------------------------------------------------
// Concatenation

// A 3-to-3 function that mixes its inputs, as a stand-in for a colorimetric stage.
class Mix16 : public CFunc_16 {
public:
    Mix16() : CFunc_16(3, 3) {}
    int Trn(const uint16_t* in, uint16_t* out) const override {
        out[0] = uint16_t((in[0] * 3u + in[1]) / 4);
        out[1] = uint16_t((in[1] * 3u + in[2]) / 4);
        out[2] = uint16_t((in[2] * 3u + in[0]) / 4);
        return 1;
    }
};

class Mix8 : public CFunc_8 {
public:
    Mix8() : CFunc_8(3, 3) {}
    int Trn(const uint8_t* in, uint8_t* out) const override {
        out[0] = uint8_t((in[0] * 3u + in[1]) / 4);
        out[1] = uint8_t((in[1] * 3u + in[2]) / 4);
        out[2] = uint8_t((in[2] * 3u + in[0]) / 4);
        return 1;
    }
};

class Smooth16 : public CFunc_16 {
public:
    Smooth16() : CFunc_16(3, 3) {}
    int Trn(const uint16_t* in, uint16_t* out) const override {
        Smooth3(in, out);
        return 1;
    }
};

TEST(IccProfileUse, ConcatFunc16BakesPreInFrontAndKeepsOutputTables) {
    CFunc_16Tab3Mft lut(9, 3);
    lut.DefineByFunc(Smooth16());
    std::vector<uint16_t> outCurves(3 * 17);
    for (unsigned c = 0; c < 3; ++c)
        for (unsigned e = 0; e < 17; ++e)
            outCurves[c * 17 + e] = uint16_t(std::lround(65535.0 * std::sqrt(e / 16.0)));
    lut.DefineOutputTab(outCurves.data(), 17);
    Mix16 pre;
    std::unique_ptr<CFunc_16TabBaseMft> f(CreateConcatFunc(pre, &lut, 17));
    auto* t = dynamic_cast<CFunc_16Tab3Mft*>(f.get());
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(t->Mft().clutPoints(), 17u);
    EXPECT_EQ(t->outputChan(), 3u);
    ASSERT_EQ(t->FuncOutputTab().entries(), 17u);
    for (unsigned i = 0; i < outCurves.size(); ++i)
        EXPECT_EQ(t->FuncOutputTab().pRawTab()[i], outCurves[i]);
    EXPECT_FALSE(lut.skipOutputTab()); // the caller's pipeline keeps its flags
    t->InitMftTrn();
    std::mt19937 rng(3);
    int worst = 0;
    for (int i = 0; i < 3000; ++i) {
        const uint16_t in[3] = {uint16_t(rng()), uint16_t(rng()), uint16_t(rng())};
        uint16_t mid[3], expect[3], out[3];
        pre.Trn(in, mid);
        lut.Trn(mid, expect);
        t->Trn(in, out);
        for (int c = 0; c < 3; ++c) worst = std::max(worst, std::abs(out[c] - expect[c]));
    }
    EXPECT_LE(worst, 1500); // two grids and the square-root curve's steep start
}

TEST(IccProfileUse, ConcatFunc16FourInputsAndRefusals) {
    class Cmyk : public CFunc_16 {
    public:
        Cmyk() : CFunc_16(4, 3) {}
        int Trn(const uint16_t* in, uint16_t* out) const override {
            for (int c = 0; c < 3; ++c) out[c] = uint16_t(65535 - std::max(in[c], in[3]));
            return 1;
        }
    } cmyk;
    class Smooth2 : public CFunc_16 {
    public:
        Smooth2() : CFunc_16(3, 2) {}
        int Trn(const uint16_t* in, uint16_t* out) const override {
            uint16_t v[3];
            Smooth3(in, v);
            out[0] = v[0];
            out[1] = v[1];
            return 1;
        }
    };
    CFunc_16Tab3Mft lut(5, 2);
    lut.DefineByFunc(Smooth2());
    std::unique_ptr<CFunc_16TabBaseMft> f(CreateConcatFunc(cmyk, &lut, 5));
    auto* t = dynamic_cast<CFunc_16Tab4Mft*>(f.get());
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(t->outputChan(), 2u);
    EXPECT_EQ(t->clutEntries(), 625u);
    // Node 0 is the input (0, 0, 0, 0): cmyk gives white, the grid lut of white.
    uint16_t white[3] = {65535, 65535, 65535}, expect[3];
    Smooth3(white, expect);
    EXPECT_NEAR(t->Mft().Table()[0], expect[0], 1);
    EXPECT_NEAR(t->Mft().Table()[1], expect[1], 1);

    class Two : public CFunc_16 {
    public:
        Two() : CFunc_16(2, 3) {}
    } two;
    EXPECT_EQ(std::unique_ptr<CFunc_16TabBaseMft>(CreateConcatFunc(two, &lut, 5)), nullptr);
    Mix16 pre;
    EXPECT_EQ(std::unique_ptr<CFunc_16TabBaseMft>(CreateConcatFunc(pre, &lut, 1)), nullptr);
    EXPECT_EQ(std::unique_ptr<CFunc_16TabBaseMft>(CreateConcatFunc(pre, nullptr, 5)), nullptr);
    CFunc_16Tab4Mft four(3, 3);
    EXPECT_EQ(std::unique_ptr<CFunc_16TabBaseMft>(CreateConcatFunc(pre, &four, 5)), nullptr);
}

TEST(IccProfileUse, ConcatFunc8) {
    CFunc_16Tab3Mft wide(9, 3);
    wide.DefineByFunc(Smooth16());
    CFunc_8Tab3Mft lut(wide);
    std::vector<uint8_t> outCurves(3 * 256);
    for (unsigned i = 0; i < outCurves.size(); ++i) outCurves[i] = uint8_t(255 - i % 256);
    lut.DefineOutputTab(outCurves.data());
    Mix8 pre;
    std::unique_ptr<CFunc_8TabBaseMft> f(CreateConcatFunc(pre, &lut, 17));
    auto* t = dynamic_cast<CFunc_8Tab3Mft*>(f.get());
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(t->Mft().clutPoints(), 17u);
    ASSERT_NE(t->FuncOutputTab().pTab(), nullptr);
    EXPECT_EQ(std::memcmp(t->FuncOutputTab().pTab(), outCurves.data(), outCurves.size()), 0);
    t->InitMftTrn();
    std::mt19937 rng(5);
    int worst = 0;
    for (int i = 0; i < 3000; ++i) {
        const uint8_t in[3] = {uint8_t(rng()), uint8_t(rng()), uint8_t(rng())};
        uint8_t mid[3], expect[3], out[3];
        pre.Trn(in, mid);
        lut.Trn(mid, expect);
        t->Trn(in, out);
        for (int c = 0; c < 3; ++c) worst = std::max(worst, std::abs(out[c] - expect[c]));
    }
    EXPECT_LE(worst, 4);
    class Two : public CFunc_8 {
    public:
        Two() : CFunc_8(2, 3) {}
    } two;
    EXPECT_EQ(std::unique_ptr<CFunc_8TabBaseMft>(CreateConcatFunc(two, &lut, 5)), nullptr);
}

// ---------------------------------------------------------------------------------------------
// Damaged blocks: counts, sizes and offsets that do not fit give null, never a read outside.

// A reader whose blocks are written directly, bypassing the load checks.
class RawUse : public CIccProfileUse {
public:
    RawUse() : CIccProfileUse(nullptr) { m_Header.pcs = icSigLabData; }
    void Put(uint32_t sig, const std::vector<uint8_t>& data, uint32_t size) {
        uint32_t* block = AddTag(sig, size, 0);
        std::memcpy(block, data.data(), std::min<size_t>(data.size(), size));
        UpdateTagTableAndHeader();
    }
    void Put(uint32_t sig, const std::vector<uint8_t>& data) {
        Put(sig, data, uint32_t(data.size()));
    }
};

std::vector<uint8_t> Lut16Block(uint8_t in, uint8_t out, uint8_t points, uint16_t inEnt,
                                uint16_t outEnt) {
    HostBlock h("mft2");
    h.u8(in).u8(out).u8(points).u8(0);
    for (int i = 0; i < 9; ++i) h.s15(i % 4 == 0 ? 1.0 : 0.0);
    h.u16(inEnt).u16(outEnt);
    size_t n = size_t(in) * inEnt + size_t(out) * outEnt;
    size_t g = out;
    for (int k = 0; k < in; ++k) g *= points;
    for (size_t i = 0; i < n + g; ++i) h.u16(uint16_t(i * 37));
    return h.b;
}

TEST(IccProfileUse, DamagedMft2AndMft1GiveNull) {
    RawUse u;
    std::vector<uint8_t> good = Lut16Block(3, 3, 5, 16, 16);
    u.Put(icSigAToB0Tag, good);
    u.Put(icSigAToB1Tag, good, uint32_t(good.size() - 2)); // one sample short
    u.Put(icSigAToB2Tag, Lut16Block(3, 3, 1, 16, 16));     // one grid point
    u.Put(icSigBToA0Tag, Lut16Block(3, 17, 2, 2, 2));      // more outputs than served
    u.Put(icSigBToA1Tag, std::vector<uint8_t>(good.begin(), good.begin() + 40)); // head cut
    std::unique_ptr<CFunc_16TabBaseMft> ok(
        u.CreateMft16Func(icSigAToB0Tag, false, icSigRgbData, icSigLabData));
    EXPECT_NE(ok, nullptr);
    for (uint32_t sig : {icSigAToB1Tag, icSigAToB2Tag, icSigBToA0Tag, icSigBToA1Tag})
        EXPECT_EQ(std::unique_ptr<CFunc_16TabBaseMft>(
                      u.CreateMft16Func(sig, false, icSigRgbData, icSigLabData)),
                  nullptr);
    // The sized free function checks too; huge counts do not allocate.
    std::vector<uint8_t> huge = Lut16Block(4, 16, 2, 2, 2);
    huge[10] = 255; // 255^4 grid points
    EXPECT_EQ(std::unique_ptr<CFunc_16TabBaseMft>(CreateMft16Func(
                  reinterpret_cast<const icLut16Type*>(huge.data()), uint32_t(huge.size()), false)),
              nullptr);

    HostBlock l8("mft1");
    l8.u8(3).u8(3).u8(2).u8(0);
    for (int i = 0; i < 9; ++i) l8.s15(0);
    std::vector<uint8_t> b8 = l8.b;
    b8.resize(48 + 3 * 256 + 8 * 3 + 3 * 256, 7);
    RawUse v;
    v.Put(icSigAToB0Tag, b8);
    v.Put(icSigAToB1Tag, b8, uint32_t(b8.size() - 1));
    EXPECT_NE(std::unique_ptr<CFunc_8TabBaseMft>(v.CreateMft8Func(icSigAToB0Tag)), nullptr);
    EXPECT_EQ(std::unique_ptr<CFunc_8TabBaseMft>(v.CreateMft8Func(icSigAToB1Tag)), nullptr);
}

TEST(IccProfileUse, DamagedMabAndMbaGiveNull) {
    auto make = [](const char* type) {
        LutAB ab;
        ab.type = type;
        for (int c = 0; c < 3; ++c) {
            auto r = CurvRecord({0, 30000, 65535});
            ab.A.insert(ab.A.end(), r.begin(), r.end());
            ab.B.insert(ab.B.end(), r.begin(), r.end());
            ab.M.insert(ab.M.end(), r.begin(), r.end());
        }
        ab.clut = ClutElement(3, 3, 2, std::vector<uint16_t>(81, 500));
        ab.matrix = MatrixElement({1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0});
        return ab;
    };
    for (const char* type : {"mAB ", "mBA "}) {
        const bool atob = type[1] == 'A';
        auto create = [atob](const std::vector<uint8_t>& b, size_t size) {
            const auto n = uint32_t(size);
            return std::unique_ptr<CFunc_16TabBaseMft>(
                atob ? CIccProfileUse::CreateMftXFromAToB(
                           reinterpret_cast<const lutAToBType*>(b.data()), n)
                     : CIccProfileUse::CreateMftXFromBToA(
                           reinterpret_cast<const lutBToAType*>(b.data()), n));
        };
        LutAB ab = make(type);
        const std::vector<uint8_t> good = ab.Build();
        ASSERT_NE(create(good, good.size()), nullptr) << type;
        // Every cut of the block short of its end gives null; none reads beyond.
        for (size_t cut = 0; cut + 4 <= good.size(); cut += 4) {
            std::vector<uint8_t> shortBlock(good.begin(), good.begin() + cut);
            shortBlock.shrink_to_fit();
            EXPECT_EQ(create(shortBlock, shortBlock.size()), nullptr) << type << cut;
        }
        // Offsets beyond the block, one element at a time.
        for (int e = 0; e < 5; ++e) {
            std::vector<uint8_t> b = good;
            const uint32_t far = uint32_t(b.size()) + 100;
            std::memcpy(&b[12 + 4 * e], &far, 4);
            EXPECT_EQ(create(b, b.size()), nullptr) << type << e;
        }
        // A curve count that reaches beyond the block.
        std::vector<uint8_t> b = good;
        const uint32_t count = 1u << 30;
        std::memcpy(&b[ab.offsets[4] + 8], &count, 4);
        EXPECT_EQ(create(b, b.size()), nullptr) << type;
        // A grid of more points than the block holds.
        b = good;
        b[ab.offsets[3]] = 200;
        EXPECT_EQ(create(b, b.size()), nullptr) << type;
        // The wrong type signature.
        b = good;
        b[0] ^= 1;
        EXPECT_EQ(create(b, b.size()), nullptr) << type;
    }
}

TEST(IccProfileUse, DamagedTrcColorantWhiteAndDescription) {
    RawUse u;
    HostBlock xyz("XYZ ");
    xyz.s15(0.4).s15(0.2).s15(0.02);
    u.Put(icSigRedColorantTag, xyz.b);
    u.Put(icSigGreenColorantTag, xyz.b, 16); // too short for its number
    u.Put(icSigBlueColorantTag, xyz.b);
    EXPECT_EQ(std::unique_ptr<CFunc_16Tab3Mft>(u.CreateFromMatrixTRC()), nullptr);
    EXPECT_EQ(std::unique_ptr<CFunc_16Tab3MatrixMft>(u.CreateFromMatrixTRCInv()), nullptr);
    u.Put(icSigMediaWhitePointTag, xyz.b, 12);
    icXYZNumber w{};
    EXPECT_EQ(u.GetMediaWhite(w), 0);

    RawUse v;
    const double rows[3][3] = {{0.4, 0.2, 0.02}, {0.35, 0.7, 0.1}, {0.15, 0.06, 0.7}};
    const uint32_t colorants[3] = {icSigRedColorantTag, icSigGreenColorantTag,
                                   icSigBlueColorantTag};
    for (int r = 0; r < 3; ++r) {
        HostBlock h("XYZ ");
        h.s15(rows[r][0]).s15(rows[r][1]).s15(rows[r][2]);
        v.Put(colorants[r], h.b);
    }
    std::vector<uint8_t> curve = CurvRecord(std::vector<uint16_t>(300, 1000));
    v.Put(icSigRedTRCTag, curve);
    v.Put(icSigGreenTRCTag, curve);
    v.Put(icSigBlueTRCTag, curve, uint32_t(curve.size() - 8)); // count beyond the block
    EXPECT_EQ(std::unique_ptr<CFunc_16Tab3Mft>(v.CreateFromMatrixTRC()), nullptr);
    EXPECT_EQ(std::unique_ptr<CFunc_16Tab3MatrixMft>(v.CreateFromMatrixTRCInv()), nullptr);

    // A gray curve that does not fit.
    RawUse g;
    g.Put(icSigGrayTRCTag, curve, 100);
    EXPECT_EQ(std::unique_ptr<CFunc_16TabBaseMft>(
                  g.CreateMft16Func(icSigGrayTRCTag, false, icSigGrayData, icSigXYZData)),
              nullptr);

    // A description without a terminator stops at the end of its block.
    RawUse d;
    HostBlock desc("desc");
    desc.u32(8);
    for (char c : std::string("ABCDEFGH")) desc.u8(uint8_t(c));
    d.Put(icSigProfileDescriptionTag, desc.b);
    EXPECT_EQ(d.GetDescription(), L"ABCDEFGH");
    RawUse e;
    e.Put(icSigProfileDescriptionTag, desc.b, 12);
    EXPECT_EQ(e.GetDescription(), L"");
}

// Real lookup tags with random damage in memory: every function either builds or answers
// null. Meant to run under the address sanitizer, where a read outside a block fails.
TEST(IccProfileUse, RandomDamageToRealTablesIsSafe) {
    const char* files[] = {"default_cmyk.icc", "Crayons.icc", "LCMSLABI.ICM", "sRGB.icc"};
    std::mt19937 rng(11);
    int opened = 0;
    for (const char* file : files) {
        ASSERT_TRUE(kvrtest::HaveCorpusProfile(file));
        const std::wstring path = kvrtest::CorpusProfile(file).wstring();
        for (int round = 0; round < 60; ++round) {
            CIccProfileUse p(nullptr);
            ASSERT_NE(p.Open(path.c_str()), 0) << file;
            ++opened;
            for (unsigned i = 0; i < p.GetTagNodeCount(); ++i) {
                auto* block = reinterpret_cast<uint8_t*>(p.GetTagData(i));
                const uint32_t size = p.GetTagDataSize(i);
                for (int k = 0; k < 6 && size > 8; ++k)
                    block[8 + rng() % std::min<uint32_t>(size - 8, 64)] = uint8_t(rng());
            }
            for (unsigned i = 0; i < p.GetCount(); ++i) {
                const uint32_t sig = p.Tag(i).sig;
                std::unique_ptr<CFunc_16TabBaseMft> f(
                    p.CreateMft16Func(sig, true, icSigLabData, icSigCmykData));
                if (f) f->InitMftTrn();
                std::unique_ptr<CFunc_8TabBaseMft> g(p.CreateMft8Func(sig));
                if (g) g->InitMftTrn();
            }
            std::unique_ptr<CFunc_16Tab3Mft> m(p.CreateFromMatrixTRC());
            std::unique_ptr<CFunc_16Tab3MatrixMft> n(p.CreateFromMatrixTRCInv());
            (void)p.GetDescription();
        }
    }
    EXPECT_EQ(opened, 4 * 60);
}

} // namespace

namespace {

// The named-colour profiles of colord carry exactly such an mBA : 3 inputs, 1 output, B curves,
// matrix and M curves, no grid. Through the profile's own lookup it gives the object whose
// grid size is the block's first byte, with no grid data.
TEST(IccProfileUse, InstalledMbaWithoutGridThroughTheProfile) {
    ASSERT_TRUE(kvrtest::HaveCorpusProfile("Crayons.icc"));
    const std::filesystem::path path = kvrtest::CorpusProfile("Crayons.icc");
    CIccProfileUse p(nullptr);
    ASSERT_NE(p.Open(path.wstring().c_str()), 0);
    const auto* block = reinterpret_cast<const uint8_t*>(p.FindTagData(icSigBToA0Tag, nullptr));
    ASSERT_NE(block, nullptr);
    std::unique_ptr<CFunc_16TabBaseMft> f(
        p.CreateMft16Func(icSigBToA0Tag, false, icSigLabData, icSigLabData));
    auto* x = dynamic_cast<CFunc_16Tab3MftX*>(f.get());
    ASSERT_NE(x, nullptr);
    EXPECT_TRUE(x->matrixFirst());
    EXPECT_EQ(x->outputChan(), 1u);
    EXPECT_EQ(x->Mft().clutPoints(), unsigned(block[0]));
    const uint16_t* t = x->Mft().Table();
    for (unsigned i = 0; i < x->Mft().TabEntries(); ++i) ASSERT_EQ(t[i], 0) << i;
}

// The free functions on bare records: the same objects as through a profile.
TEST(IccProfileUse, FreeFunctionsOnRecords) {
    std::vector<uint8_t> b16 = Lut16Block(3, 3, 5, 16, 16);
    std::vector<uint32_t> aligned((b16.size() + 3) / 4);
    std::memcpy(aligned.data(), b16.data(), b16.size());
    auto* rec16 = reinterpret_cast<icLut16Type*>(aligned.data());
    std::unique_ptr<CFunc_16TabBaseMft> f(CreateMft16Func(rec16, false));
    auto* lut = dynamic_cast<CFunc_16Tab3LUTMft*>(f.get());
    ASSERT_NE(lut, nullptr);
    EXPECT_EQ(lut->Mft().clutPoints(), 5u);
    EXPECT_EQ(lut->FuncInputTab().entries(), 16u);
    // Grid samples stand behind 3 * 16 input entries, i * 37 from the first input entry.
    EXPECT_EQ(lut->Mft().Table()[0], uint16_t(48 * 37));
    std::unique_ptr<CFunc_16TabBaseMft> sized(CreateMft16Func(rec16, uint32_t(b16.size()), false));
    ASSERT_NE(dynamic_cast<CFunc_16Tab3LUTMft*>(sized.get()), nullptr);
    EXPECT_EQ(std::memcmp(dynamic_cast<CFunc_16Tab3LUTMft*>(sized.get())->Mft().Table(),
                          lut->Mft().Table(), lut->Mft().TabEntries() * 2),
              0);

    std::vector<uint32_t> b8((48 + 4 * 256 + 16 * 2 + 2 * 256 + 3) / 4);
    auto* rec8 = reinterpret_cast<icLut8Type*>(b8.data());
    rec8->base = icSigLut8Type;
    rec8->lut.inputChan = 4;
    rec8->lut.outputChan = 2;
    rec8->lut.clutPoints = 2;
    auto* bytes = reinterpret_cast<uint8_t*>(b8.data());
    for (unsigned i = 0; i < 16 * 2; ++i) bytes[48 + 4 * 256 + i] = uint8_t(i * 8);
    std::unique_ptr<CFunc_8TabBaseMft> g(CreateMft8Func(rec8));
    auto* lut8 = dynamic_cast<CFunc_8Tab4Mft*>(g.get());
    ASSERT_NE(lut8, nullptr);
    EXPECT_EQ(lut8->outputChan(), 2u);
    for (unsigned i = 0; i < 32; ++i) EXPECT_EQ(lut8->Mft().Table()[i], uint8_t(i * 8));
    EXPECT_EQ(
        std::unique_ptr<CFunc_8TabBaseMft>(CreateMft8Func(rec8, uint32_t(b8.size() * 4 - 600))),
        nullptr);
}

} // namespace
