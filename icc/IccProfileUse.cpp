#include "icc/IccProfileUse.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <memory>
#include <string_view>
#include <vector>

#include "colorfunc/ConcatFunc.h"
#include "colorfunc/Func16GrayToXYZ.h"
#include "colorfunc/Func16Tab.h"
#include "icc/IccLayout.h"

IMPLEMENT_DYNAMIC(CIccProfileUse, CIccProfileRead)

namespace {

constexpr unsigned kMaxOutputs = CFunc_16TabBaseMft::kMaxOutputs;
constexpr unsigned kTrcEntries = CFunc_16Tab::kFastEntries; // forward TRC expansion
constexpr unsigned kInvTrcEntries = 256;                    // inverse TRC tables

using IccLayout::Order;
using IccLayout::Span;

// A loaded tag block: host order, `size` bytes.
Span HostBlock(const void* block, uint64_t size) {
    return Span(block, size, Order::Host);
}

// `count` u16 values from `offset` of the span, copied out of the block (which is not declared
// as u16 memory). The caller has checked that they fit.
std::vector<uint16_t> ReadU16(const Span& s, uint64_t offset, uint64_t count) {
    std::vector<uint16_t> v(count);
    s.U16Run(offset, count, v.data());
    return v;
}

// Whether the grid record at `offset` with G points on `inputs` axes and `outputs` samples a
// node lies inside the block, as far as DefineClut reads it. A precision other than 1 or 2
// carries no samples that could fill the grid: such a record is refused before the grid is
// allocated, so that a few bytes cannot ask for a grid of up to 255^4 nodes with nothing
// behind it. The sample count is checked in 64 bits against the block.
bool ClutFits(const Span& s, uint64_t offset, unsigned points, unsigned inputs, unsigned outputs) {
    IccLayout::ClutRecord clut;
    if (!IccLayout::ReadClutHead(s, offset, clut)) return false;
    if (clut.precision != 1 && clut.precision != 2) return false;
    uint64_t samples;
    if (!IccLayout::GridSampleCount(points, inputs, outputs, samples)) return false;
    return s.Has(clut.samplesAt, samples * clut.precision);
}

// The grid points of the grid record at `offset`, one count for all `inputs` axes. The grid
// objects have one count for every axis, so a record whose axes differ cannot be read into
// them and is refused (false), as is a record whose head does not fit.
bool UniformGridPoints(const Span& s, uint64_t offset, unsigned inputs, unsigned& points) {
    IccLayout::ClutRecord clut;
    if (!IccLayout::ReadClutHead(s, offset, clut) || inputs > IccLayout::kMaxGridAxes) return false;
    for (unsigned k = 1; k < inputs; ++k)
        if (clut.gridPoints[k] != clut.gridPoints[0]) return false;
    points = clut.gridPoints[0];
    return true;
}

// Where the five elements of an mAB  or mBA  block stand (0: absent), in the roles of the object
// built from it, with the number of curves that object reads from each curve set.
struct LutABLayout {
    uint32_t offIn, offMiddle, offOut, offClut, offMatrix;
    unsigned nIn, nMiddle, nOut;
};

// Whether the elements present lie inside the block, as far as the object reads them.
bool LutABFits(const Span& s, const LutABLayout& l, unsigned points, unsigned inputs,
               unsigned outputs) {
    using IccLayout::CurveSetFits;
    if (l.offIn && !CurveSetFits(s, l.offIn, l.nIn)) return false;
    if (l.offMiddle && !CurveSetFits(s, l.offMiddle, l.nMiddle)) return false;
    if (l.offOut && !CurveSetFits(s, l.offOut, l.nOut)) return false;
    if (l.offClut && !ClutFits(s, l.offClut, points, inputs, outputs)) return false;
    if (l.offMatrix && !s.Has(l.offMatrix, IccLayout::LutAB::kMatrixBytes)) return false;
    return true;
}

// Defines the elements present; Func is CFunc_16Tab3MftX or CFunc_16Tab4MftX.
template <class Func> void DefineLutAB(Func& f, const uint8_t* block, const LutABLayout& l) {
    if (l.offIn) f.DefineInputTabByIccTag(block + l.offIn);
    if (l.offMiddle) f.DefineMiddleTabByIccTag(block + l.offMiddle);
    if (l.offOut) f.DefineOutputTabByIccTag(block + l.offOut);
    if (l.offClut) f.DefineClut(reinterpret_cast<const icCLutStruct*>(block + l.offClut));
    if (l.offMatrix) f.DefineMatrix(block + l.offMatrix);
}

// Inverse of one TRC stored as a curv of `count` entries (count >= 1), at 256 places. The
// caller has checked that the entries fit.
void InvertTrc(const Span& record, uint32_t count, uint16_t* out) {
    constexpr uint64_t kEntries = IccLayout::Curv::kEntriesAt;
    if (count == 1) {
        // A gamma in units of 1/256, taken as its raw number: 1 / (g / 256).
        uint16_t gamma = 0;
        record.U16(kEntries, gamma);
        const double exponent = 256.0 / gamma;
        for (uint32_t i = 0; i < kInvTrcEntries; ++i) {
            const double base = (i * 65535 / 255) / 65535.0;
            out[i] = static_cast<uint16_t>(std::floor(std::pow(base, exponent) * 65535.0 + 0.5));
        }
        return;
    }
    const std::vector<uint16_t> e = ReadU16(record, kEntries, count);
    for (uint32_t i = 0; i < kInvTrcEntries; ++i) {
        const uint64_t t = uint64_t(i) * 65535 / 255;
        // The first entry above t: a flat stretch thus never divides by zero, and the result
        // belongs to the entry that ends it.
        uint32_t j = 0;
        while (j < count && !(e[j] > t)) ++j;
        if (j == count) {
            out[i] = 65535;
        } else if (j == 0) {
            out[i] = 0;
        } else {
            const uint64_t y0 = e[j - 1], y1 = e[j];
            out[i] = static_cast<uint16_t>(
                ((t - y0) * 65535 / (y1 - y0) + (j - 1) * uint64_t(65535)) / (count - 1));
        }
    }
}

// Node value of one colorant component on XYZ 1.15: negative components become 0. An
// s15Fixed16 component is below 32768, so the value stays below 2^30.
uint32_t ColorantNode(double c) {
    const double v = c * 32768.0;
    return v > 0 ? static_cast<uint32_t>(v) : 0;
}

// The 16-bit and 8-bit sides of CreateConcatFunc.
template <class Tab3, class Tab4, class Concat, class Func, class BaseMft>
BaseMft* ConcatInto(Func& pre, BaseMft* lut, unsigned gridPoints) {
    if (!lut || gridPoints < 2) return nullptr;
    const unsigned inputs = pre.inputChan();
    if ((inputs != 3 && inputs != 4) || pre.outputChan() != lut->inputChan()) return nullptr;

    lut->InitMftTrn();
    std::unique_ptr<BaseMft> clone(lut->CreateClone());
    clone->SetSkipOutputTab(true);
    // pre first, then the pipeline without its output curves; the concatenation owns the clone.
    const Concat concat(static_cast<Func*>(clone.release()), pre);

    if (inputs == 3) {
        auto result = std::make_unique<Tab3>(gridPoints, lut->outputChan());
        result->DefineByFunc(concat);
        return result.release();
    }
    auto result = std::make_unique<Tab4>(gridPoints, lut->outputChan());
    result->DefineByFunc(concat);
    return result.release();
}

} // namespace

// ---------------------------------------------------------------------------------------------
// Free functions

CFunc_16TabBaseMft* CreateMft16Func(icLut16Type* tag, bool bUseMatrix) {
    return CreateMft16Func(tag, std::numeric_limits<uint32_t>::max(), bUseMatrix);
}

CFunc_16TabBaseMft* CreateMft16Func(const icLut16Type* tag, uint32_t size, bool bUseMatrix) {
    if (!tag) return nullptr;
    const Span s = HostBlock(tag, size);
    IccLayout::LutRecord lut;
    if (!IccLayout::ReadLut16(s, lut)) return nullptr;
    const unsigned in = lut.inputChan, out = lut.outputChan, points = lut.clutPoints;
    if (in != 3 && in != 4) return nullptr;
    if (out == 0 || out > kMaxOutputs || points < 2) return nullptr;

    const std::vector<uint16_t> inTab = ReadU16(s, lut.inputAt, lut.inputValues);
    const std::vector<uint16_t> table = ReadU16(s, lut.gridAt, lut.gridValues);
    const std::vector<uint16_t> outTab = ReadU16(s, lut.outputAt, lut.outputValues);

    if (in == 3) {
        auto f = std::make_unique<CFunc_16Tab3LUTMft>(points, out);
        if (bUseMatrix) {
            const int32_t* e = lut.matrix;
            CMatrix3 m(e[0], e[1], e[2], e[3], e[4], e[5], e[6], e[7], e[8]);
            m *= icFixed16Unit;
            f->DefineMatrix(m);
        }
        f->DefineInputTab(inTab.data(), lut.inputEntries);
        f->Mft().Define(table.data());
        f->DefineOutputTab(outTab.data(), lut.outputEntries);
        return f.release();
    }
    // Four inputs: the matrix is left aside whatever bUseMatrix says.
    auto f = std::make_unique<CFunc_16Tab4Mft>(points, out);
    f->DefineInputTab(inTab.data(), lut.inputEntries);
    f->Mft().Define(table.data());
    f->DefineOutputTab(outTab.data(), lut.outputEntries);
    return f.release();
}

CFunc_8TabBaseMft* CreateMft8Func(icLut8Type* tag) {
    return CreateMft8Func(tag, std::numeric_limits<uint32_t>::max());
}

CFunc_8TabBaseMft* CreateMft8Func(const icLut8Type* tag, uint32_t size) {
    if (!tag) return nullptr;
    const Span s = HostBlock(tag, size);
    IccLayout::LutRecord lut;
    if (!IccLayout::ReadLut8(s, lut)) return nullptr;
    const unsigned in = lut.inputChan, out = lut.outputChan, points = lut.clutPoints;
    if (in != 3 && in != 4) return nullptr;
    if (out == 0 || out > kMaxOutputs || points < 2) return nullptr;

    // The matrix of an 8-bit table is never used, not even for an XYZ connection space.
    if (in == 3) {
        auto f = std::make_unique<CFunc_8Tab3Mft>(points, out);
        f->DefineInputTab(s.At(lut.inputAt));
        f->Mft().Define(s.At(lut.gridAt));
        f->DefineOutputTab(s.At(lut.outputAt));
        return f.release();
    }
    auto f = std::make_unique<CFunc_8Tab4Mft>(points, out);
    f->DefineInputTab(s.At(lut.inputAt));
    f->Mft().Define(s.At(lut.gridAt));
    f->DefineOutputTab(s.At(lut.outputAt));
    return f.release();
}

CFunc_16TabBaseMft* CreateConcatFunc(CFunc_16& pre, CFunc_16TabBaseMft* lut, unsigned gridPoints) {
    CFunc_16TabBaseMft* result =
        ConcatInto<CFunc_16Tab3Mft, CFunc_16Tab4Mft, CConcatFunc_16>(pre, lut, gridPoints);
    if (result) {
        const CFunc_16Tab& outTab = lut->FuncOutputTab();
        result->DefineOutputTab(outTab.pRawTab(), outTab.entries());
    }
    return result;
}

CFunc_8TabBaseMft* CreateConcatFunc(CFunc_8& pre, CFunc_8TabBaseMft* lut, unsigned gridPoints) {
    CFunc_8TabBaseMft* result =
        ConcatInto<CFunc_8Tab3Mft, CFunc_8Tab4Mft, CConcatFunc_8>(pre, lut, gridPoints);
    if (result) result->DefineOutputTab(lut->FuncOutputTab().pTab());
    return result;
}

// ---------------------------------------------------------------------------------------------
// CIccProfileUse

CIccProfileUse::CIccProfileUse(CUserSettingsMgr* usm) : CIccProfileRead(usm) {}

CIccProfileUse::~CIccProfileUse() = default;

CFunc_16TabBaseMft* CIccProfileUse::CreateMft16Func(uint32_t sig, bool bUseMatrix,
                                                    icColorSpaceSignature src,
                                                    icColorSpaceSignature /*dst*/) {
    uint32_t size = 0;
    const uint32_t* block = FindTagData(sig, nullptr, &size);
    if (!block) return nullptr;
    switch (block[0]) {
    case icSigLut16Type:
        return ::CreateMft16Func(reinterpret_cast<const icLut16Type*>(block), size, bUseMatrix);
    case icSigLutAtoBType:
        return CreateMftXFromAToB(reinterpret_cast<const lutAToBType*>(block), size);
    case icSigLutBtoAType:
        return CreateMftXFromBToA(reinterpret_cast<const lutBToAType*>(block), size);
    case icSigCurveType:
    case icSigParametricCurveType: {
        IccLayout::CurveRecord curve;
        if (!IccLayout::ReadCurveRecord(HostBlock(block, size), 0, curve)) return nullptr;
        // One gray curve serves both directions: inverse unless the input is the gray side.
        return new CFunc_16GrayToXYZ(block, src != icSigGrayData);
    }
    default:
        return nullptr;
    }
}

CFunc_8TabBaseMft* CIccProfileUse::CreateMft8Func(uint32_t sig) {
    uint32_t size = 0;
    const uint32_t* block = FindTagData(sig, nullptr, &size);
    if (!block || block[0] != icSigLut8Type) return nullptr;
    return ::CreateMft8Func(reinterpret_cast<const icLut8Type*>(block), size);
}

CFunc_16TabBaseMft* CIccProfileUse::CreateMftXFromAToB(const lutAToBType* tag, uint32_t size) {
    if (!tag) return nullptr;
    const Span s = HostBlock(tag, size);
    IccLayout::LutABRecord lut;
    if (!IccLayout::ReadLutAB(s, lut) || tag->base != icSigLutAtoBType) return nullptr;
    const unsigned n = lut.inputChan, m = lut.outputChan;
    if ((n != 3 && n != 4) || m == 0 || m > kMaxOutputs) return nullptr;
    // Four inputs with a matrix: the matrix stage has three channels.
    if (n == 4 && lut.offsetMatrix != 0 && m != 3) return nullptr;

    unsigned points = 0;
    if (lut.offsetCLUT != 0) {
        if (!UniformGridPoints(s, lut.offsetCLUT, n, points)) return nullptr;
        if (points == 1) return nullptr; // a grid needs two points per axis
    }
    // A curves feed the input curves, M the middle curves (three in the three-input object),
    // B the output curves.
    const LutABLayout layout{lut.offsetA,      lut.offsetM, lut.offsetB,     lut.offsetCLUT,
                             lut.offsetMatrix, n,           n == 3 ? 3u : m, m};

    if (n == 3) {
        if (!LutABFits(s, layout, points, 3, m)) return nullptr;
        auto f = std::make_unique<CFunc_16Tab3MftX>(points, m, false);
        DefineLutAB(*f, s.data(), layout);
        return f.release();
    }
    if (!LutABFits(s, layout, points, 4, m)) return nullptr;
    auto f = std::make_unique<CFunc_16Tab4MftX>(points, m);
    DefineLutAB(*f, s.data(), layout);
    return f.release();
}

CFunc_16TabBaseMft* CIccProfileUse::CreateMftXFromBToA(const lutBToAType* tag, uint32_t size) {
    if (!tag) return nullptr;
    const Span s = HostBlock(tag, size);
    IccLayout::LutABRecord lut;
    if (!IccLayout::ReadLutAB(s, lut) || tag->base != icSigLutBtoAType) return nullptr;
    const unsigned n = lut.inputChan, m = lut.outputChan;
    if (n != 3 || m == 0 || m > kMaxOutputs) return nullptr;

    // G is read at the grid offset as it stands: with no grid that is the block's first byte,
    // which is no size. The grid is then allocated and stays empty.
    uint8_t points = 0;
    if (!s.U8(lut.offsetCLUT, points)) return nullptr;
    if (lut.offsetCLUT != 0) {
        unsigned uniform = 0;
        if (!UniformGridPoints(s, lut.offsetCLUT, n, uniform)) return nullptr;
        if (points == 1) return nullptr;
    }
    // The tag's data enter at B: B curves are the input curves, A curves the output curves.
    const LutABLayout layout{lut.offsetB,      lut.offsetM, lut.offsetA, lut.offsetCLUT,
                             lut.offsetMatrix, 3,           3,           m};
    if (!LutABFits(s, layout, points, 3, m)) return nullptr;
    auto f = std::make_unique<CFunc_16Tab3MftX>(points, m, true);
    DefineLutAB(*f, s.data(), layout);
    return f.release();
}

int CIccProfileUse::GetMatrix(CMatrix3& m) {
    static constexpr uint32_t kColorants[3] = {icSigRedColorantTag, icSigGreenColorantTag,
                                               icSigBlueColorantTag};
    CMatrix3 result;
    for (int row = 0; row < 3; ++row) {
        uint32_t size = 0;
        const uint32_t* block = FindTagData(kColorants[row], nullptr, &size);
        icXYZNumber xyz;
        if (!block || !IccLayout::ReadXYZNumber(HostBlock(block, size), 0, xyz)) return 0;
        result[row] = CVect3(xyz.X * icFixed16Unit, xyz.Y * icFixed16Unit, xyz.Z * icFixed16Unit);
    }
    m = result;
    return 1;
}

CFunc_16Tab3Mft* CIccProfileUse::CreateFromMatrixTRC() {
    CMatrix3 m;
    if (!GetMatrix(m)) return nullptr;

    // Node values on XYZ 1.15; sums of the truncated integers, kept in 16 bits. The sums are
    // formed in unsigned arithmetic, where wrapping is defined: three components near the top
    // of their range pass 2^31, and only the low 16 bits are kept in any case.
    uint32_t r[3], g[3], b[3];
    for (int k = 0; k < 3; ++k) {
        r[k] = ColorantNode(m[0][k]);
        g[k] = ColorantNode(m[1][k]);
        b[k] = ColorantNode(m[2][k]);
    }
    uint16_t nodes[8 * 3];
    for (unsigned node = 0; node < 8; ++node) { // red slowest, blue fastest
        for (int k = 0; k < 3; ++k) {
            uint32_t v = 0;
            if (node & 4) v += r[k];
            if (node & 2) v += g[k];
            if (node & 1) v += b[k];
            nodes[node * 3 + k] = static_cast<uint16_t>(v);
        }
    }

    // The curves, checked before anything is built.
    static constexpr uint32_t kTrcs[3] = {icSigRedTRCTag, icSigGreenTRCTag, icSigBlueTRCTag};
    const uint8_t* trc[3];
    bool allTrcs = true;
    for (int c = 0; c < 3; ++c) {
        uint32_t size = 0;
        trc[c] = reinterpret_cast<const uint8_t*>(FindTagData(kTrcs[c], nullptr, &size));
        IccLayout::CurveRecord curve;
        if (!trc[c])
            allTrcs = false;
        else if (!IccLayout::ReadCurveRecord(HostBlock(trc[c], size), 0, curve))
            return nullptr;
    }

    auto f = std::make_unique<CFunc_16Tab3Mft>(2, 3);
    f->Mft().Define(nodes);
    if (allTrcs) {
        std::vector<uint16_t> curves(3 * kTrcEntries);
        for (int c = 0; c < 3; ++c) {
            uint16_t* row = &curves[c * kTrcEntries];
            if (c > 0 && trc[c] == trc[c - 1]) // the tags share one block: the same curve
                std::copy(row - kTrcEntries, row, row);
            else
                CFunc_16Tab::ExpandIccCurve(trc[c], row);
        }
        f->DefineInputTab(curves.data(), kTrcEntries);
    }
    f->Mft().InitTrn();
    return f.release();
}

CFunc_16Tab3MatrixMft* CIccProfileUse::CreateFromMatrixTRCInv() {
    CMatrix3 m;
    if (!GetMatrix(m)) return nullptr;
    CMatrix3 inverse;
    if (!m.Invers(inverse)) return nullptr;
    // XYZ at 1.0 = 32768 to device values at 1.0 = 65536.
    inverse *= 2.0;
    auto f = std::make_unique<CFunc_16Tab3MatrixMft>(inverse, 3, 0);

    // The TRCs are read as curv records whatever their type.
    static constexpr uint32_t kTrcs[3] = {icSigRedTRCTag, icSigGreenTRCTag, icSigBlueTRCTag};
    Span trc[3];
    uint32_t counts[3];
    for (int c = 0; c < 3; ++c) {
        uint32_t size = 0;
        const uint32_t* block = FindTagData(kTrcs[c], nullptr, &size);
        if (!block) return f.release();
        trc[c] = HostBlock(block, size);
    }
    for (int c = 0; c < 3; ++c) {
        if (!trc[c].Has(0, IccLayout::Curv::kHeadBytes)) return nullptr;
        trc[c].U32(IccLayout::Curv::kCountAt, counts[c]);
    }
    if (counts[0] != counts[1] || counts[0] != counts[2] || counts[0] == 0) return f.release();
    const uint32_t count = counts[0];
    for (int c = 0; c < 3; ++c)
        if (!trc[c].Has(IccLayout::Curv::kEntriesAt, 2 * uint64_t(count))) return nullptr;

    std::vector<uint16_t> curves(3 * kInvTrcEntries);
    for (int c = 0; c < 3; ++c) InvertTrc(trc[c], count, &curves[c * kInvTrcEntries]);
    f->DefineOutputTab(curves.data(), kInvTrcEntries);
    return f.release();
}

int CIccProfileUse::GetMediaWhite(icXYZNumber& white) {
    uint32_t size = 0;
    const uint32_t* block = FindTagData(icSigMediaWhitePointTag, nullptr, &size);
    if (!block || !IccLayout::ReadXYZNumber(HostBlock(block, size), 0, white)) return 0;
    return 1;
}

int CIccProfileUse::GetIlluminant(icXYZNumber& illuminant) {
    illuminant = m_Header.illuminant;
    return 1;
}

CMfxStringW CIccProfileUse::GetDescription() {
    uint32_t size = 0;
    const auto* block =
        reinterpret_cast<const char*>(FindTagData(icSigProfileDescriptionTag, nullptr, &size));
    constexpr size_t kText = offsetof(icProfileDescriptionType, desc.data);
    if (!block || size <= kText) return CMfxStringW();
    // Up to the terminator, or to the end of the block if there is none.
    const size_t available = size - kText;
    const char* text = block + kText;
    const void* end = std::memchr(text, 0, available);
    const size_t length = end ? size_t(static_cast<const char*>(end) - text) : available;
    return CodePageToWide(std::string_view(text, length));
}
