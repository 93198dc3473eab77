// Helpers of the native link tests: small generated profiles with exactly the tags a case
// needs, the grid-size statics set for one test, and the pieces to build the table a link must
// end up with by hand, from the library's colour functions, for comparison with the built one.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <typeinfo>
#include <vector>

#include "colorfunc/Colorimetric.h"
#include "colorfunc/ConcatFunc.h"
#include "colorfunc/InversFunc.h"
#include "colorlink/native/ColorLink.h"
#include "gridtable/TabMft.h"
#include "gridtable/TabMftX.h"
#include "icc/IccProfileGen.h"
#include "icc/IccProfileUse.h"
#include "support/FuncTab.h"
#include "support/IccSig.h"
#include "support/ProfileBuilder.h"
#include "support/TempDir.h"

namespace linktest {

// Short names of the link's step kinds and pixel formats, as the tests of links write them.
constexpr int kDevToPcs = CMdlColorLink::ProfStepDevToPcs;
constexpr int kPcsToDev = CMdlColorLink::ProfStepPcsToDev;
constexpr int kPreview = CMdlColorLink::ProfStepPreview;
constexpr int kGamut = CMdlColorLink::ProfStepGamut;
constexpr int kAbstract = CMdlColorLink::ProfStepAbstract;
constexpr unsigned kFmtRgb = CMdlColorLink::LinkFmtRgb;
constexpr unsigned kFmtCmyk = CMdlColorLink::LinkFmtCmyk;
constexpr unsigned kFmtGamut = CMdlColorLink::LinkFmtGamut;
constexpr unsigned kFmtNColor = CMdlColorLink::LinkFmtNColor;
constexpr unsigned kFmtLab = CMdlColorLink::LinkFmtLab;
constexpr unsigned kFmtGray = CMdlColorLink::LinkFmtGray;

using kvrtest::TempDir;

// Sets the configured grid sizes of the native link for one test and restores them after.
// Negative: fixed size; positive: least size.
class GridSizes {
public:
    GridSizes(int grid3, int grid4) : m_old3(CColorLink::s_nGrid3), m_old4(CColorLink::s_nGrid4) {
        CColorLink::s_nGrid3 = grid3;
        CColorLink::s_nGrid4 = grid4;
    }
    ~GridSizes() {
        CColorLink::s_nGrid3 = m_old3;
        CColorLink::s_nGrid4 = m_old4;
    }
    GridSizes(const GridSizes&) = delete;
    GridSizes& operator=(const GridSizes&) = delete;

private:
    int m_old3, m_old4;
};

// Holds one native link for as long as it lives, so that the built-in tables which the first
// link of a process loads and the last one frees are loaded once for a whole test, not once
// for each of its links.
class ResidentLink {
public:
    ResidentLink() : m_link(nullptr) {}

private:
    CColorLink m_link;
};

// The generated profiles of these tests, from the support library.
using kvrtest::ProfileSpec;
using kvrtest::SpecTab;
using kvrtest::TableSpec;
using kvrtest::U16;
using kvrtest::WriteProfile;

// ---------------------------------------------------------------------------------------------
// The table a link must build, made by hand.

// A step's function as the link reads it: a 16-bit table of `sig`, else the 8-bit one widened
// to 16 bits; prepared. `from8` tells which.
struct StepFunc {
    std::unique_ptr<CFunc_16TabBaseMft> f;
    bool from8 = false;
};

inline StepFunc LoadStep(const std::wstring& path, uint32_t sig, uint32_t in, uint32_t out) {
    StepFunc s;
    CIccProfileUse p(nullptr);
    if (!p.Open(path.c_str())) return s;
    const bool xyz = p.Header().pcs == icSigXYZData;
    s.f.reset(p.CreateMft16Func(sig, xyz, icColorSpaceSignature(in), icColorSpaceSignature(out)));
    if (!s.f) {
        std::unique_ptr<CFunc_8TabBaseMft> f8(p.CreateMft8Func(sig));
        if (auto* t3 = dynamic_cast<CFunc_8Tab3Mft*>(f8.get()))
            s.f = std::make_unique<CFunc_16Tab3Mft>(*t3);
        else if (auto* t4 = dynamic_cast<CFunc_8Tab4Mft*>(f8.get()))
            s.f = std::make_unique<CFunc_16Tab4Mft>(*t4);
        s.from8 = s.f != nullptr;
    }
    if (s.f) s.f->InitMftTrn();
    return s;
}

// A prepared copy of a step's table with the chosen curve sets bypassed.
inline std::unique_ptr<CFunc_16TabBaseMft> Bypassed(const CFunc_16TabBaseMft& f, bool skipIn,
                                                    bool skipOut) {
    std::unique_ptr<CFunc_16TabBaseMft> c(f.CreateClone());
    c->SetSkipInputTab(skipIn);
    c->SetSkipOutputTab(skipOut);
    c->InitMftTrn();
    return c;
}

// A composition built stage by stage; keeps every stage alive and composes by reference.
class Chain {
public:
    explicit Chain(std::unique_ptr<CFunc_16> first) { m_head = Keep(std::move(first)); }
    explicit Chain(const CFunc_16& first) : m_head(&first) {}

    // f applied after what is there.
    Chain& Then(std::unique_ptr<CFunc_16> f) { return ThenRef(*Keep(std::move(f))); }
    Chain& ThenRef(const CFunc_16& f) {
        m_head = Keep(std::make_unique<CConcatFunc_16>(f, *m_head));
        return *this;
    }
    // f applied before what is there.
    Chain& Before(std::unique_ptr<CFunc_16> f) { return BeforeRef(*Keep(std::move(f))); }
    Chain& BeforeRef(const CFunc_16& f) {
        m_head = Keep(std::make_unique<CConcatFunc_16>(*m_head, f));
        return *this;
    }
    const CFunc_16& Func() const { return *m_head; }
    // Keeps an object alive as long as the chain.
    template <class F> F* Keep(std::unique_ptr<F> f) {
        F* p = f.get();
        m_owned.emplace_back(std::move(f));
        return p;
    }

private:
    std::vector<std::unique_ptr<CFunc_16>> m_owned;
    const CFunc_16* m_head = nullptr;
};

// Legacy Lab to the ICC encoding of XYZ, and its inverse.
inline std::unique_ptr<CFunc_16> LabToIccXYZ() {
    return std::make_unique<CConcatFunc_16>(new CXYZRelToIcc, new CLabXYZ16);
}
inline std::unique_ptr<CFunc_16> IccXYZToLab() {
    return std::make_unique<CInversFunc_16>(LabToIccXYZ().release());
}

// The grid node that `white` falls on gets the samples whose output curves give no ink.
inline void ZeroInkNode(CMft_16& mft, const uint16_t* white, const CFunc_16Tab* outCurves,
                        unsigned nOut) {
    uint16_t zeros[16] = {}, buf[16] = {};
    if (outCurves) outCurves->Inv(zeros, buf);
    std::vector<uint16_t> samples(mft.Table(), mft.Table() + mft.TabEntries());
    const unsigned at = mft.QuantizeToGridPoint(white);
    for (unsigned c = 0; c < nOut; ++c) samples[at + c] = buf[c];
    mft.Define(samples.data());
}

inline void CopyCurves(CFunc_16TabBaseMft& t, const CFunc_16Tab* in, const CFunc_16Tab* out) {
    if (out) t.DefineOutputTab(out->pRawTab(), out->entries());
    if (in) t.DefineInputTab(in->pRawTab(), in->entries());
}

// Samples `chain` into a three- or four-input table of `grid` points, as the link's build does.
inline std::unique_ptr<CFunc_16Tab3Mft> Sample3(const CFunc_16& chain, unsigned grid) {
    auto t = std::make_unique<CFunc_16Tab3Mft>(grid, chain.outputChan());
    t->DefineByFunc(chain);
    return t;
}
inline std::unique_ptr<CFunc_16Tab4Mft> Sample4(const CFunc_16& chain, unsigned grid) {
    auto t = std::make_unique<CFunc_16Tab4Mft>(grid, chain.outputChan());
    t->DefineByFunc(chain);
    return t;
}

inline ::testing::AssertionResult SameCurves(const char* what, const CFunc_16Tab& a,
                                             const CFunc_16Tab& b) {
    if (a.entries() != b.entries() || a.inputChan() != b.inputChan())
        return ::testing::AssertionFailure()
               << what << ": " << a.entries() << " entries on " << a.inputChan()
               << " channels against " << b.entries() << " on " << b.inputChan();
    const size_t n = size_t(a.entries()) * a.inputChan();
    if (n && !std::equal(a.pRawTab(), a.pRawTab() + n, b.pRawTab()))
        return ::testing::AssertionFailure() << what << " differ";
    return ::testing::AssertionSuccess();
}

// The built table equals the expected one: same kind, counts, grid samples and curves.
inline ::testing::AssertionResult SameTable(const CFunc_16TabBaseMft* built,
                                            const CFunc_16TabBaseMft& expected) {
    if (!built) return ::testing::AssertionFailure() << "the link has no table";
    if (typeid(*built) != typeid(expected))
        return ::testing::AssertionFailure() << "table of kind " << typeid(*built).name()
                                             << ", expected " << typeid(expected).name();
    if (built->inputChan() != expected.inputChan() || built->outputChan() != expected.outputChan())
        return ::testing::AssertionFailure()
               << built->inputChan() << " to " << built->outputChan() << " channels, expected "
               << expected.inputChan() << " to " << expected.outputChan();
    auto grids = [](const auto* a, const auto* b) -> ::testing::AssertionResult {
        if (a->Mft().clutPoints() != b->Mft().clutPoints())
            return ::testing::AssertionFailure() << "grid of " << a->Mft().clutPoints()
                                                 << " points, expected " << b->Mft().clutPoints();
        const unsigned n = a->Mft().TabEntries();
        size_t bad = 0, first = n;
        for (unsigned i = 0; i < n; ++i)
            if (a->Mft().Table()[i] != b->Mft().Table()[i]) {
                if (!bad) first = i;
                ++bad;
            }
        if (bad)
            return ::testing::AssertionFailure()
                   << bad << " of " << n << " grid samples differ, first at " << first << ": "
                   << a->Mft().Table()[first] << " against " << b->Mft().Table()[first];
        return ::testing::AssertionSuccess();
    };
    if (auto* e3 = dynamic_cast<const CFunc_16Tab3Mft*>(&expected)) {
        if (auto r = grids(static_cast<const CFunc_16Tab3Mft*>(built), e3); !r) return r;
    } else if (auto* e4 = dynamic_cast<const CFunc_16Tab4Mft*>(&expected)) {
        if (auto r = grids(static_cast<const CFunc_16Tab4Mft*>(built), e4); !r) return r;
    } else if (auto* e1 = dynamic_cast<const CFunc_16Tab1Mft*>(&expected)) {
        auto r =
            SameCurves("middle curves", static_cast<const CFunc_16Tab1Mft*>(built)->FuncMiddleTab(),
                       e1->FuncMiddleTab());
        if (!r) return r;
    }
    if (auto r = SameCurves("input curves", built->FuncInputTab(), expected.FuncInputTab()); !r)
        return r;
    return SameCurves("output curves", built->FuncOutputTab(), expected.FuncOutputTab());
}

// Grid samples of the built table (three or four inputs), empty without one.
inline std::vector<uint16_t> GridOf(const CFunc_16TabBaseMft* t) {
    if (auto* t3 = dynamic_cast<const CFunc_16Tab3Mft*>(t))
        return {t3->Mft().Table(), t3->Mft().Table() + t3->Mft().TabEntries()};
    if (auto* t4 = dynamic_cast<const CFunc_16Tab4Mft*>(t))
        return {t4->Mft().Table(), t4->Mft().Table() + t4->Mft().TabEntries()};
    return {};
}

inline unsigned GridPointsOf(const CFunc_16TabBaseMft* t) {
    if (auto* t3 = dynamic_cast<const CFunc_16Tab3Mft*>(t)) return t3->Mft().clutPoints();
    if (auto* t4 = dynamic_cast<const CFunc_16Tab4Mft*>(t)) return t4->Mft().clutPoints();
    return 0;
}

// ---------------------------------------------------------------------------------------------
// Tables of the generated profiles. Each is a smooth, plainly made-up device behaviour; the
// tests only need tables that differ from each other and from the identity.

// RGB to Lab, as an input profile's A2B: lightness mostly from green, a and b from the channel
// differences. `shade` darkens the whole table, to tell tables of one profile apart.
inline TableSpec RgbToLab(uint32_t sig, unsigned points, double shade = 1.0, int bits = 16) {
    TableSpec t;
    t.sig = sig;
    t.in = 3;
    t.out = 3;
    t.points = points;
    t.bits = bits;
    t.node = [shade](const double* x, uint16_t* y) {
        y[0] = U16(shade * (0.3 * x[0] + 0.55 * x[1] + 0.15 * x[2]));
        y[1] = U16(0.5 + 0.2 * (x[0] - x[1]));
        y[2] = U16(0.5 + 0.2 * (x[1] - x[2]));
    };
    return t;
}

// Lab to CMYK, as a printer's B2A: ink grows as lightness falls, black with its square; even the
// white of the connection space gets a little cyan, magenta and yellow.
inline TableSpec LabToCmyk(uint32_t sig, unsigned points, double strength = 1.0, int bits = 16) {
    TableSpec t;
    t.sig = sig;
    t.in = 3;
    t.out = 4;
    t.points = points;
    t.bits = bits;
    t.node = [strength](const double* x, uint16_t* y) {
        const double ink = 1.0 - x[0];
        y[0] = U16(0.05 + 0.8 * strength * ink + 0.04 * (x[1] - 0.5));
        y[1] = U16(0.05 + 0.8 * strength * ink + 0.04 * (x[2] - 0.5));
        y[2] = U16(0.04 + 0.7 * strength * ink + 0.02 * (x[1] + x[2] - 1.0));
        y[3] = U16(ink * ink);
    };
    return t;
}

// CMYK to Lab, as a printer's A2B: the darkest ink still reflects a little.
inline TableSpec CmykToLab(uint32_t sig, unsigned points, double shade = 1.0, int bits = 16) {
    TableSpec t;
    t.sig = sig;
    t.in = 4;
    t.out = 3;
    t.points = points;
    t.bits = bits;
    t.node = [shade](const double* x, uint16_t* y) {
        y[0] = U16(shade * (1.0 - 0.1 * (x[0] + x[1] + x[2]) - 0.62 * x[3]));
        y[1] = U16(0.5 + 0.15 * (x[0] - x[1]));
        y[2] = U16(0.5 + 0.15 * (x[1] - x[2]));
    };
    return t;
}

// Lab to RGB, as a display's B2A: reaches 0 and 65535 at the edges of the connection space.
inline TableSpec LabToRgb(uint32_t sig, unsigned points, int bits = 16) {
    TableSpec t;
    t.sig = sig;
    t.in = 3;
    t.out = 3;
    t.points = points;
    t.bits = bits;
    t.node = [](const double* x, uint16_t* y) {
        y[0] = U16(x[0] + 0.9 * (x[1] - 0.5));
        y[1] = U16(x[0] - 0.5 * (x[1] - 0.5) + 0.3 * (x[2] - 0.5));
        y[2] = U16(x[0] - 0.9 * (x[2] - 0.5));
    };
    return t;
}

// Lab to an n-ink device, as an n-colour printer's B2A: every ink is above 1/8 everywhere.
inline TableSpec LabToInks(uint32_t sig, unsigned points, unsigned inks) {
    TableSpec t;
    t.sig = sig;
    t.in = 3;
    t.out = inks;
    t.points = points;
    t.node = [inks](const double* x, uint16_t* y) {
        for (unsigned c = 0; c < inks; ++c)
            y[c] = U16(0.125 + 0.7 * (1.0 - x[0]) * (1.0 + 0.05 * c) / 1.4 + 0.02 * x[1]);
    };
    return t;
}

// Device to device, as a device link's A2B0: every channel changed a little, paper gets ink.
inline TableSpec DeviceToDevice(uint32_t sig, unsigned in, unsigned out, unsigned points) {
    TableSpec t;
    t.sig = sig;
    t.in = in;
    t.out = out;
    t.points = points;
    t.node = [in, out](const double* x, uint16_t* y) {
        for (unsigned c = 0; c < out; ++c)
            y[c] = U16(0.02 + 0.9 * x[c % in] + 0.05 * x[(c + 1) % in]);
    };
    return t;
}

// Connection space to itself, as a preview or abstract table: lightness through `lightness`,
// a and b slightly moved.
inline TableSpec PcsToPcs(uint32_t sig, unsigned points, std::function<double(double)> lightness,
                          int bits = 16) {
    TableSpec t;
    t.sig = sig;
    t.in = 3;
    t.out = 3;
    t.points = points;
    t.bits = bits;
    t.node = [lightness](const double* x, uint16_t* y) {
        y[0] = U16(lightness(x[0]));
        y[1] = U16(0.5 + 0.9 * (x[1] - 0.5));
        y[2] = U16(0.5 + 0.8 * (x[2] - 0.5));
    };
    return t;
}

// Connection space to the gamut answer, as a gamt tag: out of gamut (65535) where a is high.
inline TableSpec GamutTable(unsigned points) {
    TableSpec t;
    t.sig = icSigGamutTag;
    t.in = 3;
    t.out = 1;
    t.points = points;
    t.node = [](const double* x, uint16_t* y) { y[0] = x[1] > 0.9 ? 65535 : 0; };
    return t;
}

// A CMYK printer with A2B0, A2B1 (tables of 4 and 3 points) and B2A0, B2A1 (3 and 2 points).
inline ProfileSpec CmykPrinter() {
    ProfileSpec p;
    p.tables = {CmykToLab(icSigAToB0Tag, 4), CmykToLab(icSigAToB1Tag, 3, 0.97),
                LabToCmyk(icSigBToA0Tag, 3), LabToCmyk(icSigBToA1Tag, 2, 0.9)};
    return p;
}

// An RGB input profile with one A2B0 of `points` points.
inline ProfileSpec RgbInput(unsigned points = 3, int bits = 16) {
    ProfileSpec p;
    p.deviceClass = icSigInputClass;
    p.colorSpace = icSigRgbData;
    p.tables = {RgbToLab(icSigAToB0Tag, points, 1.0, bits)};
    return p;
}

// Signatures and colour spaces as the link compares them.
using kvrtest::kCmyk;
using kvrtest::kGray;
using kvrtest::kLab;
using kvrtest::kRgb;
using kvrtest::kXyz;
using kvrtest::Sig;
using kvrtest::SigOf;

} // namespace linktest
