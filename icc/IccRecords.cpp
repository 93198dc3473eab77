#include "icc/IccRecords.h"

#include "icc/IccLayout.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <memory>
#include <utility>

namespace {

namespace L = IccLayout;

// The file is big-endian: on a little-endian host converting means reversing the bytes of every
// number, on a big-endian host nothing changes.
constexpr bool kReverse = std::endian::native == std::endian::little;

// All access goes through byte pointers and memcpy: fields inside a block need not be aligned
// (a bfd second count may stand on a two-byte boundary, curve offsets come from the data).
// W false: a dry run that converts nothing; the readers below then answer what the converted
// block would hold, so that a walk can check a block without changing it.
template <bool W = true> inline void Rev32(uint8_t* p) {
    if constexpr (kReverse && W) {
        std::swap(p[0], p[3]);
        std::swap(p[1], p[2]);
    }
}

template <bool W = true> inline void Rev16(uint8_t* p) {
    if constexpr (kReverse && W) std::swap(p[0], p[1]);
}

template <bool W = true> inline void Rev32Run(uint8_t* p, size_t words) {
    if constexpr (W)
        for (size_t i = 0; i < words; ++i) Rev32(p + 4 * i);
}

template <bool W = true> inline void Rev16Run(uint8_t* p, size_t values) {
    if constexpr (kReverse && W) {
        for (size_t i = 0; i < values; ++i) {
            uint16_t v;
            std::memcpy(&v, p + 2 * i, 2);
            v = static_cast<uint16_t>((v << 8) | (v >> 8));
            std::memcpy(p + 2 * i, &v, 2);
        }
    }
}

inline uint32_t Load32(const uint8_t* p) {
    uint32_t v;
    std::memcpy(&v, p, 4);
    return v;
}

inline uint16_t Load16(const uint8_t* p) {
    uint16_t v;
    std::memcpy(&v, p, 2);
    return v;
}

// Converts the u32 at p and answers its host value, whichever the direction.
template <bool W = true> inline uint32_t Swap32Get(uint8_t* p, bool toHost) {
    if constexpr (!W) return kReverse ? __builtin_bswap32(Load32(p)) : Load32(p); // towards host
    if (toHost) {
        Rev32(p);
        return Load32(p);
    }
    uint32_t v = Load32(p);
    Rev32(p);
    return v;
}

template <bool W = true> inline uint16_t Swap16Get(uint8_t* p, bool toHost) {
    if constexpr (!W) return kReverse ? __builtin_bswap16(Load16(p)) : Load16(p);
    if (toHost) {
        Rev16(p);
        return Load16(p);
    }
    uint16_t v = Load16(p);
    Rev16(p);
    return v;
}

// A table size taken from the data that no block can hold: it stands in for a grid whose sample
// count IccLayout refuses, and compares above every room in a block.
constexpr uint64_t kSaturated = std::numeric_limits<uint64_t>::max();

// One curv or para record of at most `avail` bytes. Sets ok to false when the record does not
// fit; answers the bytes the record occupies.
template <bool W>
uint64_t SwapCurve(bool toHost, uint8_t* p, bool typeDone, uint64_t avail, bool& ok) {
    if (avail < 4) {
        ok = false;
        return 0;
    }
    uint32_t sig;
    if (typeDone && W)
        sig = Load32(p);
    else
        sig = Swap32Get<W>(p, toHost);

    if (sig == icSigCurveType) {
        if (avail < L::Curv::kHeadBytes) {
            ok = false;
            return 0;
        }
        uint64_t n = Swap32Get<W>(p + L::Curv::kCountAt, toHost);
        uint64_t room = (avail - L::Curv::kHeadBytes) / 2;
        if (n > room) ok = false;
        if (n >= 2) Rev16Run<W>(p + L::Curv::kEntriesAt, std::min(n, room));
        return L::Curv::kHeadBytes + 2 * (n + (n & 1));
    }
    if (sig == icSigParametricCurveType) {
        // An unknown function type has no parameters here, and the walk steps over the head.
        if (avail < L::Para::kHeadBytes) {
            ok = false;
            if (avail >= L::Para::kFunctionAt + 2) Swap16Get<W>(p + L::Para::kFunctionAt, toHost);
            return 0;
        }
        unsigned k = L::ParaParameterCount(Swap16Get<W>(p + L::Para::kFunctionAt, toHost));
        uint64_t room = (avail - L::Para::kHeadBytes) / 4;
        if (k > room) ok = false;
        Rev32Run<W>(p + L::Para::kParametersAt, std::min<uint64_t>(k, room));
        return L::Para::kHeadBytes + 4 * uint64_t(k);
    }
    return 0;
}

// A run of n curve records from `offset`; each call converts its own signature. Answers the
// end of the bytes the run touched, the end of the block where it does not fit. A record of
// unknown type does not advance the walk, so the next one reads the signature it converted: a
// dry run (W false) then sets *overlap, as it cannot see that.
template <bool W>
uint64_t SwapCurveSet(bool toHost, uint8_t* block, uint64_t size, uint64_t offset, unsigned n,
                      bool& ok, bool* overlap) {
    uint64_t pos = offset, end = offset;
    for (unsigned i = 0; i < n; ++i) {
        if (pos > size) {
            ok = false;
            return size;
        }
        bool fits = true;
        uint64_t advance = SwapCurve<W>(toHost, block + pos, false, size - pos, fits);
        if (!fits) {
            ok = false;
            return size;
        }
        end = std::max(end, pos + 4); // a record of unknown type: its signature only
        if (!W && advance == 0 && i + 1 < n && overlap) *overlap = true;
        pos += advance;
    }
    return std::min(std::max(pos, end), size);
}

// lutAToBType and lutBToAType. A dry run (W false) sets *overlap when two elements share bytes:
// a conversion would then read bytes that an earlier element had converted, which a dry run
// cannot see, so its answer may differ from the conversion's.
template <bool W>
void SwapLutAB(bool toHost, uint8_t* b, uint64_t size, bool isAToB, bool& ok, bool* overlap) {
    constexpr uint64_t kOffsets = L::LutAB::kOffsetsAt;
    if (size < L::LutAB::kHeadBytes) {
        ok = false;
        Rev32Run<W>(b + kOffsets, size >= kOffsets ? (size - kOffsets) / 4 : 0);
        return;
    }
    const unsigned inCh = b[L::LutAB::kInputChanAt];
    const unsigned outCh = b[L::LutAB::kOutputChanAt];
    // The offsets in host order, whichever the direction.
    uint32_t off[L::LutAB::kOffsetCount];
    for (unsigned i = 0; i < L::LutAB::kOffsetCount; ++i) {
        uint32_t v = Load32(b + kOffsets + 4 * i);
        off[i] = (toHost && kReverse) ? __builtin_bswap32(v) : v;
    }
    const uint32_t offB = off[0], offMatrix = off[1], offM = off[2], offCLUT = off[3],
                   offA = off[4];

    // An element must lie behind the 32-byte head and start inside the block.
    auto valid = [&](uint32_t o) {
        if (o >= L::LutAB::kHeadBytes && o < size) return true;
        ok = false;
        return false;
    };

    const unsigned nB = isAToB ? outCh : inCh;
    const unsigned nA = isAToB ? inCh : outCh;

    // The byte ranges the elements read or convert, kept by a dry run only.
    std::pair<uint64_t, uint64_t> spans[5];
    unsigned nSpans = 0;
    auto span = [&](uint64_t from, uint64_t to) {
        if constexpr (!W) spans[nSpans++] = {from, std::max(from, to)};
    };

    auto offsets = [&] { Rev32Run<W>(b + kOffsets, L::LutAB::kOffsetCount); };
    auto curvesB = [&] {
        if (offB != 0 && nB != 0 && valid(offB))
            span(offB, SwapCurveSet<W>(toHost, b, size, offB, nB, ok, overlap));
    };
    auto curvesM = [&] {
        if (offM != 0 && offM != offB && nB != 0 && valid(offM))
            span(offM, SwapCurveSet<W>(toHost, b, size, offM, nB, ok, overlap));
    };
    auto curvesA = [&] {
        if (offA != 0 && offA != offB && offA != offM && nA != 0 && valid(offA))
            span(offA, SwapCurveSet<W>(toHost, b, size, offA, nA, ok, overlap));
    };
    auto grid = [&] {
        if (offCLUT == 0 || !valid(offCLUT)) return;
        if (size - offCLUT < L::Clut::kHeadBytes || inCh > L::kMaxGridAxes) {
            ok = false;
            span(offCLUT, size);
            return;
        }
        const uint8_t* g = b + offCLUT;
        uint64_t count;
        if (!L::GridSampleCount(g + L::Clut::kGridPointsAt, inCh, outCh, count)) count = kSaturated;
        const uint8_t prec = g[L::Clut::kPrecisionAt];
        const uint64_t room = size - offCLUT - L::Clut::kHeadBytes;
        span(offCLUT,
             offCLUT + L::Clut::kHeadBytes + (prec == 2 ? 2 * std::min(count, room / 2) : 0));
        if (prec == 2) {
            if (count > room / 2) ok = false;
            Rev16Run<W>(b + offCLUT + L::Clut::kHeadBytes, std::min(count, room / 2));
        } else if (prec == 1) {
            if (count > room) ok = false; // no conversion, but the table must be there
        }
    };
    auto matrix = [&] {
        if (offMatrix == 0 || !valid(offMatrix)) return;
        constexpr uint64_t kWords = L::LutAB::kMatrixBytes / 4;
        if (size - offMatrix < L::LutAB::kMatrixBytes) ok = false;
        span(offMatrix, std::min<uint64_t>(size, offMatrix + L::LutAB::kMatrixBytes));
        Rev32Run<W>(b + offMatrix, std::min<uint64_t>(kWords, (size - offMatrix) / 4));
    };

    // Towards the host the steps run in their order; towards the file in the reverse order, so
    // that the conversion back is the exact inverse even where elements of a malformed block
    // overlap. For blocks whose elements are apart the order makes no difference.
    if (toHost) {
        offsets();
        curvesB();
        curvesM();
        curvesA();
        grid();
        matrix();
    } else {
        matrix();
        grid();
        curvesA();
        curvesM();
        curvesB();
        offsets();
    }
    if constexpr (!W) {
        for (unsigned i = 0; i < nSpans; ++i)
            for (unsigned j = i + 1; j < nSpans; ++j)
                if (spans[i].first < spans[j].second && spans[j].first < spans[i].second && overlap)
                    *overlap = true;
    }
}

// Everything behind the type signature; `type` is its host value.
template <bool W>
void SwapTagBody(bool toHost, uint8_t* b, uint64_t size, uint32_t type, bool& ok, bool* overlap) {
    constexpr uint64_t kBody = L::kTypeHeadBytes; // first byte behind the type head
    const uint64_t wordsFrom8 = size >= kBody + 4 ? (size - kBody) / 4 : 0;
    switch (type) {
    case icSigXYZType:
    case icSigS15Fixed16ArrayType:
    case icSigU16Fixed16ArrayType:
    case icSigUInt32ArrayType:
    case icSigUInt64ArrayType:
    case icSigMeasurementType:
        Rev32Run<W>(b + kBody, wordsFrom8);
        break;

    case icSigUInt16ArrayType:
        if (size >= kBody + 2) Rev16Run<W>(b + kBody, (size - kBody) / 2);
        break;

    case icSigSignatureType:
    case icSigDataType:
    case icSigTextDescriptionType:
        if (size >= kBody + 4) Rev32<W>(b + kBody);
        break;

    case icSigDateTimeType:
        if (size >= kBody + 2) Rev16Run<W>(b + kBody, std::min<uint64_t>(6, (size - kBody) / 2));
        break;

    case icSigCurveType: {
        // Unlike a curv inside a curve set, a single entry (the gamma) is converted too.
        if (size < L::Curv::kHeadBytes) {
            ok = false;
            break;
        }
        uint64_t n = Swap32Get<W>(b + L::Curv::kCountAt, toHost);
        uint64_t room = (size - L::Curv::kHeadBytes) / 2;
        if (n > room) ok = false;
        Rev16Run<W>(b + L::Curv::kEntriesAt, std::min(n, room));
        break;
    }

    case icSigParametricCurveType: {
        bool fits = true;
        SwapCurve<W>(toHost, b, true, size, fits);
        if (!fits) ok = false;
        break;
    }

    case icSigUcrBgType: {
        if (size < L::UcrBg::kCurveAt) {
            ok = false;
            break;
        }
        uint64_t n = Swap32Get<W>(b + L::UcrBg::kCountAt, toHost);
        uint64_t room = (size - L::UcrBg::kCurveAt) / 2;
        if (n > room) {
            ok = false;
            Rev16Run<W>(b + L::UcrBg::kCurveAt, room);
            break;
        }
        Rev16Run<W>(b + L::UcrBg::kCurveAt, n);
        uint64_t mAt = L::UcrBg::kCurveAt + 2 * n; // the second count
        if (size - mAt < 4) {
            ok = false;
            break;
        }
        uint64_t m = Swap32Get<W>(b + mAt, toHost);
        uint64_t roomM = (size - mAt - 4) / 2;
        if (m > roomM) ok = false;
        Rev16Run<W>(b + mAt + 4, std::min(m, roomM));
        break;
    }

    case icSigColorantTableType: {
        if (size < L::Clrt::kHeadBytes) {
            ok = false;
            break;
        }
        uint64_t n = Swap32Get<W>(b + L::Clrt::kCountAt, toHost);
        uint64_t room = (size - L::Clrt::kHeadBytes) / L::Clrt::kEntryBytes;
        if (n > room) ok = false;
        n = std::min(n, room);
        for (uint64_t i = 0; i < n; ++i)
            Rev16Run<W>(b + L::Clrt::kHeadBytes + i * L::Clrt::kEntryBytes + L::Clrt::kEntryPcsAt,
                        3);
        break;
    }

    case icSigNamedColor2Type: {
        if (size < L::Ncl2::kHeadBytes) {
            ok = false;
            Rev32Run<W>(b + L::Ncl2::kVendorFlagAt, std::min<uint64_t>(3, wordsFrom8));
            break;
        }
        Swap32Get<W>(b + L::Ncl2::kVendorFlagAt, toHost);
        uint64_t count = Swap32Get<W>(b + L::Ncl2::kCountAt, toHost);
        uint64_t coords = Swap32Get<W>(b + L::Ncl2::kDeviceCoordsAt, toHost);
        uint64_t perEntry = coords + L::Ncl2::kPcsValues; // u16 values behind the root name
        uint64_t stride = L::Ncl2::kRootNameBytes + 2 * perEntry;
        uint64_t room = (size - L::Ncl2::kHeadBytes) / stride;
        if (count > room) ok = false;
        count = std::min(count, room);
        uint8_t* e = b + L::Ncl2::kHeadBytes;
        for (uint64_t i = 0; i < count; ++i, e += stride)
            Rev16Run<W>(e + L::Ncl2::kRootNameBytes, perEntry);
        break;
    }

    case icSigLut8Type:
    case icSigLut16Type: {
        // mft1 and mft2 share the head up to the matrix.
        constexpr uint64_t kMatrix = L::Lut8::kMatrixAt;
        const uint64_t head = type == icSigLut8Type ? L::Lut8::kHeadBytes : L::Lut16::kHeadBytes;
        if (size < head) {
            ok = false;
            Rev32Run<W>(b + kMatrix,
                        size >= kMatrix + 4 ? std::min<uint64_t>(9, (size - kMatrix) / 4) : 0);
            break;
        }
        Rev32Run<W>(b + kMatrix, 9);
        const unsigned in = b[L::Lut8::kInputChanAt], out = b[L::Lut8::kOutputChanAt];
        const unsigned points = b[L::Lut8::kClutPointsAt];
        if (type == icSigLut8Type) {
            // The tables are bytes; they are checked only so that readers can rely on them.
            uint64_t need;
            if (!L::Lut8TableBytes(in, out, points, need)) need = kSaturated;
            if (need > size - head) ok = false;
            break;
        }
        const unsigned inEnt = Swap16Get<W>(b + L::Lut16::kInputEntAt, toHost);
        const unsigned outEnt = Swap16Get<W>(b + L::Lut16::kOutputEntAt, toHost);
        uint64_t values;
        if (!L::Lut16TableValues(in, out, points, inEnt, outEnt, values)) values = kSaturated;
        uint64_t room = (size - head) / 2;
        if (values > room) ok = false;
        Rev16Run<W>(b + head, std::min(values, room));
        break;
    }

    case icSigLutAtoBType:
        SwapLutAB<W>(toHost, b, size, true, ok, overlap);
        break;
    case icSigLutBtoAType:
        SwapLutAB<W>(toHost, b, size, false, ok, overlap);
        break;

    default:
        break; // text, ui08, mluc and unknown types: nothing beyond the signature
    }
}

bool SwapTagDataImpl(uint8_t* b, uint64_t size, bool toHost) {
    if (b == nullptr || size < 4) return true;
    bool ok = true;
    uint32_t type;
    if (toHost) {
        Rev32(b);
        type = Load32(b);
        SwapTagBody<true>(true, b, size, type, ok, nullptr);
    } else {
        type = Load32(b);
        SwapTagBody<true>(false, b, size, type, ok, nullptr);
        Rev32(b);
    }
    return ok;
}

} // namespace

void SwapHeader(icHeader* header) {
    auto* b = reinterpret_cast<uint8_t*>(header);
    Rev32Run(b, 6);                        // size .. pcs
    Rev16Run(b + L::Header::kDateAt, 6);   // date
    Rev32Run(b + L::Header::kMagicAt, 12); // magic .. creator; the two attribute words
                                           // each in its place
    // The 44 reserved bytes from offset 84 stay as they are.
}

void SwapTagTable(icTagTable* table) {
    Rev32Run(reinterpret_cast<uint8_t*>(table->tags), 3 * size_t(table->count));
}

void SwapTagTable(icTagTable* table, size_t blockBytes) {
    size_t room = blockBytes >= sizeof(icTagTable) ? (blockBytes - sizeof(icTagTable)) / 12 : 0;
    Rev32Run(reinterpret_cast<uint8_t*>(table->tags), 3 * std::min<size_t>(table->count, room));
}

void SwapTagData(uint32_t* data, uint32_t size, int bToHost) {
    SwapTagDataImpl(reinterpret_cast<uint8_t*>(data), size, bToHost != 0);
}

bool SwapTagDataChecked(uint32_t* data, uint32_t size, int bToHost) {
    return SwapTagDataImpl(reinterpret_cast<uint8_t*>(data), size, bToHost != 0);
}

bool TagDataFits(const uint8_t* data, uint32_t size) {
    if (data == nullptr || size < 4) return true;
    // The walk of a dry run only reads; the block is not changed.
    auto* b = const_cast<uint8_t*>(data);
    bool ok = true, overlap = false;
    SwapTagBody<false>(true, b, size, Swap32Get<false>(b, true), ok, &overlap);
    if (!overlap) return ok;
    // Elements that share bytes: the conversion itself decides, on a copy.
    std::unique_ptr<uint32_t[]> copy(new uint32_t[(uint64_t(size) + 3) / 4]);
    std::memcpy(copy.get(), data, size);
    return SwapTagDataImpl(reinterpret_cast<uint8_t*>(copy.get()), size, true);
}

size_t SwapCurveData(int bToHost, void* curve, bool bTypeDone) {
    bool fits = true;
    return static_cast<size_t>(SwapCurve<true>(bToHost != 0, static_cast<uint8_t*>(curve),
                                               bTypeDone, std::numeric_limits<uint64_t>::max(),
                                               fits));
}

size_t SwapCurveData(int bToHost, void* curve, bool bTypeDone, size_t available, bool* pbFits) {
    bool fits = true;
    uint64_t n =
        SwapCurve<true>(bToHost != 0, static_cast<uint8_t*>(curve), bTypeDone, available, fits);
    if (pbFits) *pbFits = fits;
    return static_cast<size_t>(n);
}

unsigned GetChannelCountOfSignature(icColorSpaceSignature sig) {
    return GetChannelCountOfSignature(sig, true);
}

unsigned GetChannelCountOfSignature(icColorSpaceSignature sig, bool bGamutCounts) {
    switch (sig) {
    case icSigGrayData:
        return 1;
    case icSig2colorData:
        return 2;
    case icSig3colorData:
    case icSigLabData:
    case icSigLuvData:
    case icSigRgbData:
    case icSigXYZData:
    case icSigYCbCrData:
    case icSigYxyData:
    case icSigHlsData:
    case icSigHsvData:
    case icSigCmyData:
        return 3;
    case icSig4colorData:
    case icSigCmykData:
        return 4;
    case icSig5colorData:
        return 5;
    case icSig6colorData:
        return 6;
    case icSig7colorData:
        return 7;
    case icSig8colorData:
        return 8;
    case icSig9colorData:
        return 9;
    case icSig10colorData:
        return 10;
    case icSig11colorData:
        return 11;
    case icSig12colorData:
        return 12;
    case icSig13colorData:
        return 13;
    case icSig14colorData:
        return 14;
    case icSig15colorData:
        return 15;
    case icSigGamutTag:
        return bGamutCounts ? 1 : 0;
    default:
        return 0;
    }
}
