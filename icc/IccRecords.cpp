#include "icc/IccRecords.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>

namespace {

// The file is big-endian: on a little-endian host converting means reversing the bytes of every
// number, on a big-endian host nothing changes.
constexpr bool kReverse = std::endian::native == std::endian::little;

// All access goes through byte pointers and memcpy: fields inside a block need not be aligned
// (a bfd second count may stand on a two-byte boundary, curve offsets come from the data).
inline void Rev32(uint8_t* p) {
    if constexpr (kReverse) {
        std::swap(p[0], p[3]);
        std::swap(p[1], p[2]);
    }
}

inline void Rev16(uint8_t* p) {
    if constexpr (kReverse) std::swap(p[0], p[1]);
}

inline void Rev32Run(uint8_t* p, size_t words) {
    for (size_t i = 0; i < words; ++i) Rev32(p + 4 * i);
}

inline void Rev16Run(uint8_t* p, size_t values) {
    if constexpr (kReverse) {
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
inline uint32_t Swap32Get(uint8_t* p, bool toHost) {
    if (toHost) {
        Rev32(p);
        return Load32(p);
    }
    uint32_t v = Load32(p);
    Rev32(p);
    return v;
}

inline uint16_t Swap16Get(uint8_t* p, bool toHost) {
    if (toHost) {
        Rev16(p);
        return Load16(p);
    }
    uint16_t v = Load16(p);
    Rev16(p);
    return v;
}

// Products of counts taken from the data, saturating instead of wrapping.
constexpr uint64_t kSaturated = std::numeric_limits<uint64_t>::max();

inline uint64_t MulSat(uint64_t a, uint64_t b) {
    if (a != 0 && b > kSaturated / a) return kSaturated;
    return a * b;
}

inline uint64_t AddSat(uint64_t a, uint64_t b) {
    return b > kSaturated - a ? kSaturated : a + b;
}

inline uint64_t PowSat(uint64_t base, unsigned exp) {
    uint64_t r = 1;
    for (unsigned i = 0; i < exp; ++i) r = MulSat(r, base);
    return r;
}

inline unsigned ParaParameterCount(uint16_t functionType) {
    switch (functionType) {
    case 0:
        return 1;
    case 1:
        return 3;
    case 2:
        return 4;
    case 3:
        return 5;
    case 4:
        return 7;
    default:
        return 0;
    }
}

// One curv or para record of at most `avail` bytes. Sets ok to false when the record does not
// fit; answers the bytes the record occupies.
uint64_t SwapCurve(bool toHost, uint8_t* p, bool typeDone, uint64_t avail, bool& ok) {
    if (avail < 4) {
        ok = false;
        return 0;
    }
    uint32_t sig;
    if (typeDone)
        sig = Load32(p);
    else
        sig = Swap32Get(p, toHost);

    if (sig == icSigCurveType) {
        if (avail < 12) {
            ok = false;
            return 0;
        }
        uint64_t n = Swap32Get(p + 8, toHost);
        uint64_t room = (avail - 12) / 2;
        if (n > room) ok = false;
        if (n >= 2) Rev16Run(p + 12, std::min(n, room));
        return 12 + 2 * (n + (n & 1));
    }
    if (sig == icSigParametricCurveType) {
        if (avail < 12) {
            ok = false;
            if (avail >= 10) Swap16Get(p + 8, toHost);
            return 0;
        }
        unsigned k = ParaParameterCount(Swap16Get(p + 8, toHost));
        uint64_t room = (avail - 12) / 4;
        if (k > room) ok = false;
        Rev32Run(p + 12, std::min<uint64_t>(k, room));
        return 12 + 4 * uint64_t(k);
    }
    return 0;
}

// A run of n curve records from `offset`; each call converts its own signature.
void SwapCurveSet(bool toHost, uint8_t* block, uint64_t size, uint64_t offset, unsigned n,
                  bool& ok) {
    uint64_t pos = offset;
    for (unsigned i = 0; i < n; ++i) {
        if (pos > size) {
            ok = false;
            return;
        }
        bool fits = true;
        uint64_t advance = SwapCurve(toHost, block + pos, false, size - pos, fits);
        if (!fits) {
            ok = false;
            return;
        }
        pos += advance;
    }
}

// lutAToBType and lutBToAType.
void SwapLutAB(bool toHost, uint8_t* b, uint64_t size, bool isAToB, bool& ok) {
    if (size < sizeof(lutAToBType)) {
        ok = false;
        Rev32Run(b + 12, size >= 12 ? (size - 12) / 4 : 0);
        return;
    }
    const unsigned inCh = b[8];
    const unsigned outCh = b[9];
    // The offsets in host order, whichever the direction.
    uint32_t off[5];
    for (int i = 0; i < 5; ++i) {
        uint32_t v = Load32(b + 12 + 4 * i);
        off[i] = (toHost && kReverse) ? __builtin_bswap32(v) : v;
    }
    const uint32_t offB = off[0], offMatrix = off[1], offM = off[2], offCLUT = off[3],
                   offA = off[4];

    // An element must lie behind the 32-byte head and start inside the block.
    auto valid = [&](uint32_t o) {
        if (o >= sizeof(lutAToBType) && o < size) return true;
        ok = false;
        return false;
    };

    const unsigned nB = isAToB ? outCh : inCh;
    const unsigned nA = isAToB ? inCh : outCh;

    auto offsets = [&] { Rev32Run(b + 12, 5); };
    auto curvesB = [&] {
        if (offB != 0 && nB != 0 && valid(offB)) SwapCurveSet(toHost, b, size, offB, nB, ok);
    };
    auto curvesM = [&] {
        if (offM != 0 && offM != offB && nB != 0 && valid(offM))
            SwapCurveSet(toHost, b, size, offM, nB, ok);
    };
    auto curvesA = [&] {
        if (offA != 0 && offA != offB && offA != offM && nA != 0 && valid(offA))
            SwapCurveSet(toHost, b, size, offA, nA, ok);
    };
    auto grid = [&] {
        if (offCLUT == 0 || !valid(offCLUT)) return;
        if (size - offCLUT < sizeof(icCLutStruct) || inCh > icMaxCLutChannels) {
            ok = false;
            return;
        }
        const uint8_t* g = b + offCLUT;
        uint64_t count = outCh;
        for (unsigned i = 0; i < inCh; ++i) count = MulSat(count, g[i]);
        const uint8_t prec = g[16];
        const uint64_t room = size - offCLUT - sizeof(icCLutStruct);
        if (prec == 2) {
            if (count > room / 2) ok = false;
            Rev16Run(b + offCLUT + sizeof(icCLutStruct), std::min(count, room / 2));
        } else if (prec == 1) {
            if (count > room) ok = false; // no conversion, but the table must be there
        }
    };
    auto matrix = [&] {
        if (offMatrix == 0 || !valid(offMatrix)) return;
        if (size - offMatrix < 48) ok = false;
        Rev32Run(b + offMatrix, std::min<uint64_t>(12, (size - offMatrix) / 4));
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
}

// Everything behind the type signature; `type` is its host value.
void SwapTagBody(bool toHost, uint8_t* b, uint64_t size, uint32_t type, bool& ok) {
    const uint64_t wordsFrom8 = size >= 12 ? (size - 8) / 4 : 0;
    switch (type) {
    case icSigXYZType:
    case icSigS15Fixed16ArrayType:
    case icSigU16Fixed16ArrayType:
    case icSigUInt32ArrayType:
    case icSigUInt64ArrayType:
    case icSigMeasurementType:
        Rev32Run(b + 8, wordsFrom8);
        break;

    case icSigUInt16ArrayType:
        if (size >= 10) Rev16Run(b + 8, (size - 8) / 2);
        break;

    case icSigSignatureType:
    case icSigDataType:
    case icSigTextDescriptionType:
        if (size >= 12) Rev32(b + 8);
        break;

    case icSigDateTimeType:
        if (size >= 10) Rev16Run(b + 8, std::min<uint64_t>(6, (size - 8) / 2));
        break;

    case icSigCurveType: {
        if (size < 12) {
            ok = false;
            break;
        }
        uint64_t n = Swap32Get(b + 8, toHost);
        uint64_t room = (size - 12) / 2;
        if (n > room) ok = false;
        Rev16Run(b + 12, std::min(n, room));
        break;
    }

    case icSigParametricCurveType: {
        bool fits = true;
        SwapCurve(toHost, b, true, size, fits);
        if (!fits) ok = false;
        break;
    }

    case icSigUcrBgType: {
        if (size < 12) {
            ok = false;
            break;
        }
        uint64_t n = Swap32Get(b + 8, toHost);
        uint64_t room = (size - 12) / 2;
        if (n > room) {
            ok = false;
            Rev16Run(b + 12, room);
            break;
        }
        Rev16Run(b + 12, n);
        uint64_t mAt = 12 + 2 * n;
        if (size - mAt < 4) {
            ok = false;
            break;
        }
        uint64_t m = Swap32Get(b + mAt, toHost);
        uint64_t roomM = (size - mAt - 4) / 2;
        if (m > roomM) ok = false;
        Rev16Run(b + mAt + 4, std::min(m, roomM));
        break;
    }

    case icSigColorantTableType: {
        if (size < 12) {
            ok = false;
            break;
        }
        uint64_t n = Swap32Get(b + 8, toHost);
        uint64_t room = (size - 12) / sizeof(icColorantTableEntry);
        if (n > room) ok = false;
        n = std::min(n, room);
        for (uint64_t i = 0; i < n; ++i)
            Rev16Run(b + 12 + i * sizeof(icColorantTableEntry) + 32, 3);
        break;
    }

    case icSigNamedColor2Type: {
        if (size < sizeof(icNamedColor2Type)) {
            ok = false;
            Rev32Run(b + 8, std::min<uint64_t>(3, wordsFrom8));
            break;
        }
        Swap32Get(b + 8, toHost);
        uint64_t count = Swap32Get(b + 12, toHost);
        uint64_t coords = Swap32Get(b + 16, toHost);
        uint64_t perEntry = coords + 3; // u16 values from entry offset 32
        uint64_t stride = 32 + 2 * perEntry;
        uint64_t room = (size - sizeof(icNamedColor2Type)) / stride;
        if (count > room) ok = false;
        count = std::min(count, room);
        uint8_t* e = b + sizeof(icNamedColor2Type);
        for (uint64_t i = 0; i < count; ++i, e += stride) Rev16Run(e + 32, perEntry);
        break;
    }

    case icSigLut8Type: {
        if (size < sizeof(icLut8Type)) {
            ok = false;
            Rev32Run(b + 12, size >= 16 ? std::min<uint64_t>(9, (size - 12) / 4) : 0);
            break;
        }
        Rev32Run(b + 12, 9);
        // The tables are bytes; they are checked only so that readers can rely on them.
        uint64_t in = b[8], out = b[9], points = b[10];
        uint64_t need = AddSat(AddSat(256 * in, MulSat(PowSat(points, b[8]), out)), 256 * out);
        if (need > size - sizeof(icLut8Type)) ok = false;
        break;
    }

    case icSigLut16Type: {
        if (size < sizeof(icLut16Type)) {
            ok = false;
            Rev32Run(b + 12, size >= 16 ? std::min<uint64_t>(9, (size - 12) / 4) : 0);
            break;
        }
        Rev32Run(b + 12, 9);
        uint64_t inEnt = Swap16Get(b + 48, toHost);
        uint64_t outEnt = Swap16Get(b + 50, toHost);
        uint64_t in = b[8], out = b[9], points = b[10];
        uint64_t values = AddSat(in * inEnt, MulSat(AddSat(PowSat(points, b[8]), outEnt), out));
        uint64_t room = (size - sizeof(icLut16Type)) / 2;
        if (values > room) ok = false;
        Rev16Run(b + sizeof(icLut16Type), std::min(values, room));
        break;
    }

    case icSigLutAtoBType:
        SwapLutAB(toHost, b, size, true, ok);
        break;
    case icSigLutBtoAType:
        SwapLutAB(toHost, b, size, false, ok);
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
        SwapTagBody(true, b, size, type, ok);
    } else {
        type = Load32(b);
        SwapTagBody(false, b, size, type, ok);
        Rev32(b);
    }
    return ok;
}

} // namespace

void SwapHeader(icHeader* header) {
    auto* b = reinterpret_cast<uint8_t*>(header);
    Rev32Run(b, 6);       // size .. pcs
    Rev16Run(b + 24, 6);  // date
    Rev32Run(b + 36, 12); // magic .. creator; the two attribute words each in its place
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

size_t SwapCurveData(int bToHost, void* curve, bool bTypeDone) {
    bool fits = true;
    return static_cast<size_t>(SwapCurve(bToHost != 0, static_cast<uint8_t*>(curve), bTypeDone,
                                         std::numeric_limits<uint64_t>::max(), fits));
}

size_t SwapCurveData(int bToHost, void* curve, bool bTypeDone, size_t available, bool* pbFits) {
    bool fits = true;
    uint64_t n = SwapCurve(bToHost != 0, static_cast<uint8_t*>(curve), bTypeDone, available, fits);
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
