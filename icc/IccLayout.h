// Where the fields of the ICC records stand, and checked reading of them.
//
// One place for the layout of the records that more than one reader walks: the curve records
// (curv, para), the lookup tables (mft1, mft2, mAB , mBA ) with their grid, XYZ numbers, the
// named colours (ncl2), and the counted records that the byte-order conversion walks (clrt,
// bfd ). Every offset counts from the
// start of the tag block, type signature included. A Span is a byte range with its byte order;
// each of its reads answers false instead of reading past the end. The record readers fill a
// plain struct and answer false when the record, as far as its counts reach, does not fit.
//
// Header-only on IccRecords.h and the standard library alone: colorfunc and gridtable, which sit
// below icc/, expand curve and grid records and must not link upwards to do so.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "icc/IccRecords.h"

namespace IccLayout {

// ---------------------------------------------------------------------------------------------
// Limits

// Samples of a grid: a tag block is at most 4 GiB, so no grid it holds has more samples.
inline constexpr uint64_t kMaxGridSamples = uint64_t(1) << 32;
// Input axes of an mAB /mBA grid: the grid record has 16 grid-point bytes.
inline constexpr unsigned kMaxGridAxes = icMaxCLutChannels;
// Parameters of a para record: function type 4 has the most, g a b c d e f.
inline constexpr unsigned kMaxParaParameters = 7;
// Known para function types, 0..4; a record of another type has no known length.
inline constexpr unsigned kParaFunctions = 5;
// Entries of every curve of an 8-bit table: one per 8-bit input value.
inline constexpr unsigned kLut8CurveEntries = 256;

// ---------------------------------------------------------------------------------------------
// Named offsets and sizes

// Every tag block: type signature, then a reserved word.
inline constexpr uint64_t kTypeAt = 0;
inline constexpr uint64_t kTypeHeadBytes = 8;

namespace Curv { // curv: u32 count, then count u16 entries padded to four bytes
inline constexpr uint64_t kCountAt = offsetof(icCurveType, curve.count);
inline constexpr uint64_t kEntriesAt = offsetof(icCurveType, curve.data);
inline constexpr uint64_t kHeadBytes = sizeof(icCurveType);
} // namespace Curv

namespace Para { // para: u16 function type, u16 reserved, s15Fixed16 parameters
inline constexpr uint64_t kFunctionAt = offsetof(parametricCurveType, functionType);
inline constexpr uint64_t kParametersAt = offsetof(parametricCurveType, parameters);
inline constexpr uint64_t kHeadBytes = sizeof(parametricCurveType);
} // namespace Para

namespace Lut8 { // mft1: head, then input curves, grid and output curves as bytes
inline constexpr uint64_t kInputChanAt = offsetof(icLut8Type, lut.inputChan);
inline constexpr uint64_t kOutputChanAt = offsetof(icLut8Type, lut.outputChan);
inline constexpr uint64_t kClutPointsAt = offsetof(icLut8Type, lut.clutPoints);
inline constexpr uint64_t kMatrixAt = offsetof(icLut8Type, lut.e00); // 9 s15Fixed16 by rows
inline constexpr uint64_t kHeadBytes = sizeof(icLut8Type);
} // namespace Lut8

namespace Lut16 { // mft2: head, then input curves, grid and output curves as u16
inline constexpr uint64_t kInputChanAt = offsetof(icLut16Type, lut.inputChan);
inline constexpr uint64_t kOutputChanAt = offsetof(icLut16Type, lut.outputChan);
inline constexpr uint64_t kClutPointsAt = offsetof(icLut16Type, lut.clutPoints);
inline constexpr uint64_t kMatrixAt = offsetof(icLut16Type, lut.e00); // 9 s15Fixed16 by rows
inline constexpr uint64_t kInputEntAt = offsetof(icLut16Type, lut.inputEnt);
inline constexpr uint64_t kOutputEntAt = offsetof(icLut16Type, lut.outputEnt);
inline constexpr uint64_t kHeadBytes = sizeof(icLut16Type);
} // namespace Lut16

namespace LutAB { // mAB  and mBA : channel counts and five element offsets (0: absent)
inline constexpr uint64_t kInputChanAt = offsetof(lutAToBType, inputChan);
inline constexpr uint64_t kOutputChanAt = offsetof(lutAToBType, outputChan);
inline constexpr uint64_t kOffsetsAt = offsetof(lutAToBType, offsetB); // B, matrix, M, grid, A
inline constexpr unsigned kOffsetCount = 5;
inline constexpr uint64_t kHeadBytes = sizeof(lutAToBType);
inline constexpr uint64_t kMatrixBytes = 12 * 4; // 3 x 3 s15Fixed16 by rows, then 3 offsets
} // namespace LutAB

namespace Clut { // grid of mAB /mBA : grid points per axis, precision, padding, samples
inline constexpr uint64_t kGridPointsAt = offsetof(icCLutStruct, gridPoints);
inline constexpr uint64_t kPrecisionAt = offsetof(icCLutStruct, prec);
inline constexpr uint64_t kHeadBytes = sizeof(icCLutStruct);
} // namespace Clut

namespace Ncl2 { // ncl2: flags, count, device coordinates, prefix, suffix, entries
inline constexpr uint64_t kVendorFlagAt = offsetof(icNamedColor2Type, ncolor.vendorFlag);
inline constexpr uint64_t kCountAt = offsetof(icNamedColor2Type, ncolor.count);
inline constexpr uint64_t kDeviceCoordsAt = offsetof(icNamedColor2Type, ncolor.nDeviceCoords);
inline constexpr uint64_t kPrefixAt = offsetof(icNamedColor2Type, ncolor.prefix);
inline constexpr uint64_t kSuffixAt = offsetof(icNamedColor2Type, ncolor.suffix);
inline constexpr uint64_t kAffixBytes = 32; // prefix and suffix, zero-terminated in the field
inline constexpr uint64_t kHeadBytes = sizeof(icNamedColor2Type);
inline constexpr uint64_t kRootNameBytes = 32; // each entry: name, then 3 + coords u16 values
inline constexpr unsigned kPcsValues = 3;
} // namespace Ncl2

namespace Clrt { // clrt: count, then entries of a 32-byte name and three u16 values
inline constexpr uint64_t kCountAt = offsetof(colorantTableType, count);
inline constexpr uint64_t kHeadBytes = sizeof(colorantTableType);
inline constexpr uint64_t kEntryBytes = sizeof(icColorantTableEntry);
inline constexpr uint64_t kEntryPcsAt = offsetof(icColorantTableEntry, pcs);
} // namespace Clrt

namespace UcrBg { // bfd : count and u16 values, then a second count and its values
inline constexpr uint64_t kCountAt = offsetof(icUcrBgType, data.count);
inline constexpr uint64_t kCurveAt = offsetof(icUcrBgType, data.curve);
} // namespace UcrBg

namespace Xyz { // XYZ : three s15Fixed16 numbers each, to the end of the block
inline constexpr uint64_t kNumbersAt = offsetof(icXYZType, data);
inline constexpr uint64_t kNumberBytes = sizeof(icXYZNumber);
} // namespace Xyz

namespace Header { // the 128-byte profile header
inline constexpr uint64_t kDateAt = offsetof(icHeader, date);
inline constexpr uint64_t kMagicAt = offsetof(icHeader, magic);
inline constexpr uint64_t kReservedAt = offsetof(icHeader, reserved);
inline constexpr uint64_t kBytes = sizeof(icHeader);
} // namespace Header

static_assert(Curv::kCountAt == 8 && Curv::kEntriesAt == 12 && Curv::kHeadBytes == 12);
static_assert(Para::kFunctionAt == 8 && Para::kParametersAt == 12 && Para::kHeadBytes == 12);
static_assert(Lut8::kMatrixAt == 12 && Lut8::kHeadBytes == 48);
static_assert(Lut16::kInputEntAt == 48 && Lut16::kOutputEntAt == 50 && Lut16::kHeadBytes == 52);
static_assert(LutAB::kInputChanAt == 8 && LutAB::kOffsetsAt == 12 && LutAB::kHeadBytes == 32);
static_assert(Clut::kPrecisionAt == 16 && Clut::kHeadBytes == 20);
static_assert(Ncl2::kCountAt == 12 && Ncl2::kDeviceCoordsAt == 16 && Ncl2::kHeadBytes == 84);
static_assert(Ncl2::kPrefixAt == 20 && Ncl2::kSuffixAt == 52);
static_assert(Clrt::kCountAt == 8 && Clrt::kEntryBytes == 38 && Clrt::kEntryPcsAt == 32);
static_assert(UcrBg::kCountAt == 8 && UcrBg::kCurveAt == 12);
static_assert(Xyz::kNumbersAt == 8 && Xyz::kNumberBytes == 12);
static_assert(Header::kDateAt == 24 && Header::kMagicAt == 36 && Header::kReservedAt == 84);

// Parameters of para function type `function`; 0 for a type without a known form.
constexpr unsigned ParaParameterCount(unsigned function) {
    constexpr unsigned kCounts[kParaFunctions] = {1, 3, 4, 5, 7};
    return function < kParaFunctions ? kCounts[function] : 0;
}

// ---------------------------------------------------------------------------------------------
// Grid sample counts

// outputs * the product of the points of `inputs` axes, where pointsOf(k) gives axis k. False,
// with `count` untouched, when the product passes kMaxGridSamples; a product with a zero factor
// is 0 whatever the other factors are. The one computation behind the two forms below.
template <class PointsOf>
constexpr bool GridSampleCountOf(PointsOf pointsOf, unsigned inputs, uint64_t outputs,
                                 uint64_t& count) {
    for (unsigned k = 0; k < inputs; ++k) {
        if (pointsOf(k) == 0) {
            count = 0;
            return true;
        }
    }
    uint64_t n = outputs;
    if (n > kMaxGridSamples) return false;
    for (unsigned k = 0; k < inputs; ++k) {
        const uint64_t f = pointsOf(k);
        if (n > kMaxGridSamples / f) return false; // checked before the product can wrap
        n *= f;
    }
    count = n;
    return true;
}

// A grid of `points` points on each of `inputs` axes.
constexpr bool GridSampleCount(uint64_t points, unsigned inputs, uint64_t outputs,
                               uint64_t& count) {
    return GridSampleCountOf([points](unsigned) { return points; }, inputs, outputs, count);
}

// A grid with the points of axis k in gridPoints[k], as in the grid record of mAB /mBA .
constexpr bool GridSampleCount(const uint8_t* gridPoints, unsigned inputs, uint64_t outputs,
                               uint64_t& count) {
    return GridSampleCountOf([gridPoints](unsigned k) { return uint64_t(gridPoints[k]); }, inputs,
                             outputs, count);
}

// ---------------------------------------------------------------------------------------------
// Checked reading

// Byte order of the numbers in a span: as in the file (big-endian), or as SwapTagData leaves a
// loaded tag block (host order).
enum class Order { File, Host };

// A byte range and its byte order. Reads answer false, leaving the value untouched, when any of
// their bytes lies beyond the end; fields need not be aligned.
class Span {
public:
    Span() = default;
    Span(const void* data, uint64_t size, Order order)
        : m_data(static_cast<const uint8_t*>(data)), m_size(data ? size : 0), m_order(order) {}
    // A span without a known end, for a record whose caller has checked it against its block
    // already (or trusts it, as the forms without a length do). Every read succeeds.
    static Span Trusted(const void* data, Order order) { return Span(data, UINT64_MAX, order); }

    const uint8_t* data() const { return m_data; }
    uint64_t size() const { return m_size; }
    Order order() const { return m_order; }

    // Whether `bytes` bytes from `offset` lie inside the span.
    bool Has(uint64_t offset, uint64_t bytes) const {
        return offset <= m_size && bytes <= m_size - offset;
    }
    // The address of `offset`; the caller has checked it with Has.
    const uint8_t* At(uint64_t offset) const { return m_data + offset; }

    bool U8(uint64_t offset, uint8_t& v) const {
        if (!Has(offset, 1)) return false;
        v = m_data[offset];
        return true;
    }
    bool U16(uint64_t offset, uint16_t& v) const {
        if (!Has(offset, 2)) return false;
        v = static_cast<uint16_t>(Load(m_data + offset, 2));
        return true;
    }
    bool U32(uint64_t offset, uint32_t& v) const {
        if (!Has(offset, 4)) return false;
        v = static_cast<uint32_t>(Load(m_data + offset, 4));
        return true;
    }
    bool S32(uint64_t offset, int32_t& v) const {
        uint32_t u;
        if (!U32(offset, u)) return false;
        v = static_cast<int32_t>(u);
        return true;
    }
    // `count` u16 values from `offset` into `out`, in host order.
    bool U16Run(uint64_t offset, uint64_t count, uint16_t* out) const {
        if (count > UINT64_MAX / 2 || !Has(offset, 2 * count)) return false;
        if (count == 0) return true;
        if (IsHost()) {
            std::memcpy(out, m_data + offset, size_t(count) * 2);
        } else {
            for (uint64_t i = 0; i < count; ++i)
                out[i] = static_cast<uint16_t>(Load(m_data + offset + 2 * i, 2));
        }
        return true;
    }

private:
    bool IsHost() const {
        return m_order == Order::Host || std::endian::native == std::endian::big;
    }
    // An unsigned number of `bytes` (2 or 4) bytes at p, in the span's order.
    uint32_t Load(const uint8_t* p, unsigned bytes) const {
        if (IsHost()) {
            if (bytes == 2) {
                uint16_t v;
                std::memcpy(&v, p, 2);
                return v;
            }
            uint32_t v;
            std::memcpy(&v, p, 4);
            return v;
        }
        uint32_t v = 0;
        for (unsigned i = 0; i < bytes; ++i) v = (v << 8) | p[i];
        return v;
    }

    const uint8_t* m_data = nullptr;
    uint64_t m_size = 0;
    Order m_order = Order::Host;
};

// ---------------------------------------------------------------------------------------------
// Records

// The type signature of the block; false for a span shorter than a signature.
inline bool ReadType(const Span& s, uint64_t offset, icTagTypeSignature& type) {
    return s.U32(offset + kTypeAt, type);
}

// XYZ number `index` of an XYZ  block (the type is not looked at); false when it does not fit.
inline bool ReadXYZNumber(const Span& s, uint64_t index, icXYZNumber& xyz) {
    const uint64_t at = Xyz::kNumbersAt + index * Xyz::kNumberBytes;
    if (index > UINT32_MAX || !s.Has(at, Xyz::kNumberBytes)) return false;
    s.S32(at, xyz.X);
    s.S32(at + 4, xyz.Y);
    s.S32(at + 8, xyz.Z);
    return true;
}

enum class CurveKind { Other, Curv, Para };

// One curve record as its readers take it. A record of another type, and a para of an unknown
// function type, count as identity curves without a length: `length` is 0, and a curve set
// reads the same bytes again for its next curve.
struct CurveRecord {
    CurveKind kind = CurveKind::Other;
    uint32_t count = 0;      // curv: entries (0 identity, 1 a u8Fixed8 gamma, else a table)
    uint64_t entriesAt = 0;  // curv: offset of the first entry in the span
    unsigned function = 0;   // para: function type as stored
    unsigned parameters = 0; // para: parameters of that type, 0 for an unknown type
    int32_t parameter[kMaxParaParameters] = {}; // para: s15Fixed16 values, the rest 0
    uint64_t length = 0;                        // bytes up to the next record of a curve set
};

// The curve record at `offset`. False when its type, its head, the entries of a curv (not the
// padding behind them) or the parameters of a known para function lie beyond the span.
inline bool ReadCurveRecord(const Span& s, uint64_t offset, CurveRecord& rec) {
    rec = CurveRecord{};
    icTagTypeSignature type;
    if (!ReadType(s, offset, type)) return false;
    if (type == icSigCurveType) {
        uint32_t count;
        if (!s.Has(offset, Curv::kHeadBytes) || !s.U32(offset + Curv::kCountAt, count))
            return false;
        if (!s.Has(offset, Curv::kHeadBytes + 2 * uint64_t(count))) return false;
        rec.kind = CurveKind::Curv;
        rec.count = count;
        rec.entriesAt = offset + Curv::kEntriesAt;
        rec.length = Curv::kHeadBytes + 2 * (uint64_t(count) + count % 2);
        return true;
    }
    if (type == icSigParametricCurveType) {
        uint16_t function;
        if (!s.Has(offset, Para::kHeadBytes) || !s.U16(offset + Para::kFunctionAt, function))
            return false;
        const unsigned n = ParaParameterCount(function);
        if (n == 0) return true; // unknown function: identity, no length
        if (!s.Has(offset, Para::kHeadBytes + 4 * n)) return false;
        rec.kind = CurveKind::Para;
        rec.function = function;
        rec.parameters = n;
        for (unsigned k = 0; k < n; ++k)
            s.S32(offset + Para::kParametersAt + 4 * k, rec.parameter[k]);
        rec.length = Para::kHeadBytes + 4 * n;
        return true;
    }
    return true; // another type: identity, no length
}

// Whether `curves` consecutive curve records from `offset` lie inside the span.
inline bool CurveSetFits(const Span& s, uint64_t offset, unsigned curves) {
    uint64_t pos = offset;
    for (unsigned c = 0; c < curves; ++c) {
        CurveRecord rec;
        if (!ReadCurveRecord(s, pos, rec)) return false;
        pos += rec.length;
    }
    return true;
}

// An mft1 or mft2 record: channel counts, matrix, and where its three tables stand.
struct LutRecord {
    unsigned inputChan = 0, outputChan = 0, clutPoints = 0;
    unsigned inputEntries = 0, outputEntries = 0; // entries of every input/output curve
    int32_t matrix[9] = {};                       // s15Fixed16, by rows
    uint64_t inputValues = 0, gridValues = 0, outputValues = 0; // values of the three tables
    uint64_t inputAt = 0, gridAt = 0, outputAt = 0;             // their offsets in the span
};

namespace Detail {
inline void ReadLutHead(const Span& s, uint64_t matrixAt, LutRecord& rec) {
    uint8_t in = 0, out = 0, points = 0;
    s.U8(Lut8::kInputChanAt, in); // the same places in mft1 and mft2
    s.U8(Lut8::kOutputChanAt, out);
    s.U8(Lut8::kClutPointsAt, points);
    rec.inputChan = in;
    rec.outputChan = out;
    rec.clutPoints = points;
    for (unsigned k = 0; k < 9; ++k) s.S32(matrixAt + 4 * k, rec.matrix[k]);
}
static_assert(Lut8::kInputChanAt == Lut16::kInputChanAt && Lut8::kMatrixAt == Lut16::kMatrixAt);
} // namespace Detail

// Bytes of the three tables of an mft1 record, or false when its grid passes kMaxGridSamples.
inline bool Lut8TableBytes(unsigned in, unsigned out, unsigned points, uint64_t& bytes) {
    uint64_t grid;
    if (!GridSampleCount(points, in, out, grid)) return false;
    bytes = uint64_t(kLut8CurveEntries) * in + grid + uint64_t(kLut8CurveEntries) * out;
    return true;
}

// u16 values of the three tables of an mft2 record, or false when its grid passes
// kMaxGridSamples.
inline bool Lut16TableValues(unsigned in, unsigned out, unsigned points, unsigned inEnt,
                             unsigned outEnt, uint64_t& values) {
    uint64_t grid;
    if (!GridSampleCount(points, in, out, grid)) return false;
    values = uint64_t(in) * inEnt + grid + uint64_t(out) * outEnt;
    return true;
}

// The mft1 record at the start of the span. False when its head or its tables lie beyond the
// span or its grid passes kMaxGridSamples.
inline bool ReadLut8(const Span& s, LutRecord& rec) {
    rec = LutRecord{};
    if (!s.Has(0, Lut8::kHeadBytes)) return false;
    Detail::ReadLutHead(s, Lut8::kMatrixAt, rec);
    rec.inputEntries = rec.outputEntries = kLut8CurveEntries;
    uint64_t bytes;
    if (!Lut8TableBytes(rec.inputChan, rec.outputChan, rec.clutPoints, bytes)) return false;
    if (!s.Has(Lut8::kHeadBytes, bytes)) return false;
    rec.inputValues = uint64_t(kLut8CurveEntries) * rec.inputChan;
    rec.outputValues = uint64_t(kLut8CurveEntries) * rec.outputChan;
    rec.gridValues = bytes - rec.inputValues - rec.outputValues;
    rec.inputAt = Lut8::kHeadBytes;
    rec.gridAt = rec.inputAt + rec.inputValues;
    rec.outputAt = rec.gridAt + rec.gridValues;
    return true;
}

// The mft2 record at the start of the span; false as for ReadLut8.
inline bool ReadLut16(const Span& s, LutRecord& rec) {
    rec = LutRecord{};
    if (!s.Has(0, Lut16::kHeadBytes)) return false;
    Detail::ReadLutHead(s, Lut16::kMatrixAt, rec);
    uint16_t inEnt = 0, outEnt = 0;
    s.U16(Lut16::kInputEntAt, inEnt);
    s.U16(Lut16::kOutputEntAt, outEnt);
    rec.inputEntries = inEnt;
    rec.outputEntries = outEnt;
    uint64_t values;
    if (!Lut16TableValues(rec.inputChan, rec.outputChan, rec.clutPoints, inEnt, outEnt, values))
        return false;
    if (!s.Has(Lut16::kHeadBytes, 2 * values)) return false;
    rec.inputValues = uint64_t(rec.inputChan) * inEnt;
    rec.outputValues = uint64_t(rec.outputChan) * outEnt;
    rec.gridValues = values - rec.inputValues - rec.outputValues;
    rec.inputAt = Lut16::kHeadBytes;
    rec.gridAt = rec.inputAt + 2 * rec.inputValues;
    rec.outputAt = rec.gridAt + 2 * rec.gridValues;
    return true;
}

// The head of an mAB  or mBA  record. Offsets count from the start of the block; 0: absent.
struct LutABRecord {
    unsigned inputChan = 0, outputChan = 0;
    uint32_t offsetB = 0, offsetMatrix = 0, offsetM = 0, offsetCLUT = 0, offsetA = 0;
};

// The head of the mAB /mBA record at the start of the span; false when it does not fit. The
// elements are not looked at: their readers check each against the span.
inline bool ReadLutAB(const Span& s, LutABRecord& rec) {
    rec = LutABRecord{};
    if (!s.Has(0, LutAB::kHeadBytes)) return false;
    uint8_t in = 0, out = 0;
    s.U8(LutAB::kInputChanAt, in);
    s.U8(LutAB::kOutputChanAt, out);
    rec.inputChan = in;
    rec.outputChan = out;
    uint32_t* offsets[LutAB::kOffsetCount] = {&rec.offsetB, &rec.offsetMatrix, &rec.offsetM,
                                              &rec.offsetCLUT, &rec.offsetA};
    for (unsigned k = 0; k < LutAB::kOffsetCount; ++k)
        s.U32(LutAB::kOffsetsAt + 4 * k, *offsets[k]);
    return true;
}

// The head of a grid record of mAB /mBA.
struct ClutRecord {
    uint8_t gridPoints[kMaxGridAxes] = {};
    unsigned precision = 0; // bytes a sample: 1 or 2; other values carry no samples
    uint64_t samplesAt = 0; // offset of the first sample in the span
};

// The grid record head at `offset`; false when its 20 bytes do not fit.
inline bool ReadClutHead(const Span& s, uint64_t offset, ClutRecord& rec) {
    rec = ClutRecord{};
    if (!s.Has(offset, Clut::kHeadBytes)) return false;
    std::memcpy(rec.gridPoints, s.At(offset + Clut::kGridPointsAt), kMaxGridAxes);
    uint8_t prec = 0;
    s.U8(offset + Clut::kPrecisionAt, prec);
    rec.precision = prec;
    rec.samplesAt = offset + Clut::kHeadBytes;
    return true;
}

// The head of an ncl2 record and where its entries stand.
struct NamedColor2Record {
    uint32_t vendorFlag = 0, count = 0, deviceCoords = 0;
    uint64_t entriesAt = 0;  // offset of the first entry in the span
    uint64_t entryBytes = 0; // root name, then 3 connection-space and deviceCoords u16 values
};

// The ncl2 record at the start of the span. False when its head or its `count` entries do not
// fit; the names are not looked at.
inline bool ReadNamedColor2(const Span& s, NamedColor2Record& rec) {
    rec = NamedColor2Record{};
    if (!s.Has(0, Ncl2::kHeadBytes)) return false;
    s.U32(Ncl2::kVendorFlagAt, rec.vendorFlag);
    s.U32(Ncl2::kCountAt, rec.count);
    s.U32(Ncl2::kDeviceCoordsAt, rec.deviceCoords);
    rec.entriesAt = Ncl2::kHeadBytes;
    rec.entryBytes = Ncl2::kRootNameBytes + 2 * (uint64_t(Ncl2::kPcsValues) + rec.deviceCoords);
    // Divided rather than multiplied: count * entryBytes can pass 64 bits.
    return rec.count <= (s.size() - Ncl2::kHeadBytes) / rec.entryBytes;
}

} // namespace IccLayout
