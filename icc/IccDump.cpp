#include "icc/IccDump.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string_view>
#include <type_traits>

#include "base/WideString.h"
#include "icc/IccProfile.h"

namespace {

// ---------------------------------------------------------------------------------------------
// Formatted output
//
// PrintApp appends text made from a printf-style format and its arguments, checked at run time
// against the conversions: %d, %u, %x, %X (32-bit integers), %f (double), %c (one character of
// a signature, or a character code), %s (a wide text). Flags, width and precision as in printf.
// Integers and fixed-point numbers come out the same in every locale.

// A signature whose four characters feed four %c conversions, first character first.
struct SigArg {
    uint32_t sig;
};

struct FmtArg {
    enum Kind { kInt, kDouble, kSig, kText } kind = kInt;
    int64_t i = 0;
    double d = 0;
    uint32_t sig = 0;
    std::wstring_view text;

    FmtArg() = default;
    template <class T, std::enable_if_t<std::is_integral_v<T>, int> = 0>
    FmtArg(T v) : kind(kInt), i(static_cast<int64_t>(v)) {}
    FmtArg(double v) : kind(kDouble), d(v) {}
    FmtArg(SigArg s) : kind(kSig), sig(s.sig) {}
    FmtArg(std::wstring_view t) : kind(kText), text(t) {}
    FmtArg(const std::wstring& t) : kind(kText), text(t) {}
};

// A character as a signed 8-bit value widened to a 16-bit wide character.
wchar_t WidenSigned8(uint8_t c) {
    return static_cast<wchar_t>(
        static_cast<uint16_t>(static_cast<int16_t>(static_cast<int8_t>(c))));
}

void AppendAscii(std::wstring& out, const char* s, size_t n) {
    for (size_t k = 0; k < n; ++k) out.push_back(static_cast<wchar_t>(static_cast<uint8_t>(s[k])));
}

[[noreturn]] void FormatMismatch(const char* format) {
    ThrowStringException(std::string("dump format and arguments disagree: ") + format);
}

void Format(std::wstring& out, const char* format, const FmtArg* args, size_t count) {
    size_t next = 0;
    int sigChar = 0; // characters of the current signature argument already used
    for (const char* p = format; *p; ++p) {
        if (*p != '%') {
            out.push_back(static_cast<wchar_t>(static_cast<uint8_t>(*p)));
            continue;
        }
        ++p;
        if (*p == '%') {
            out.push_back(L'%');
            continue;
        }
        std::string directive = "%";
        bool left = false;
        while (*p && std::strchr("-+ #0", *p)) {
            left = left || *p == '-';
            directive += *p++;
        }
        int width = 0;
        while (*p >= '0' && *p <= '9') {
            width = width * 10 + (*p - '0');
            directive += *p++;
        }
        int precision = -1;
        if (*p == '.') {
            directive += *p++;
            precision = 0;
            while (*p >= '0' && *p <= '9') {
                precision = precision * 10 + (*p - '0');
                directive += *p++;
            }
        }
        const char conv = *p;
        if (conv == 0 || next >= count) FormatMismatch(format);
        const FmtArg& a = args[next];
        char buf[128];
        switch (conv) {
        case 'c':
            if (a.kind == FmtArg::kSig) {
                out.push_back(WidenSigned8(static_cast<uint8_t>(a.sig >> (24 - 8 * sigChar))));
                if (++sigChar == 4) {
                    sigChar = 0;
                    ++next;
                }
            } else if (a.kind == FmtArg::kInt) {
                out.push_back(WidenSigned8(static_cast<uint8_t>(a.i)));
                ++next;
            } else {
                FormatMismatch(format);
            }
            break;
        case 's':
            if (a.kind != FmtArg::kText) FormatMismatch(format);
            out.append(a.text);
            ++next;
            break;
        case 'd':
        case 'u':
        case 'x':
        case 'X': {
            if (a.kind != FmtArg::kInt) FormatMismatch(format);
            directive += conv;
            int n = conv == 'd' ? std::snprintf(buf, sizeof buf, directive.c_str(),
                                                static_cast<int32_t>(a.i))
                                : std::snprintf(buf, sizeof buf, directive.c_str(),
                                                static_cast<uint32_t>(static_cast<uint64_t>(a.i)));
            AppendAscii(out, buf, static_cast<size_t>(std::clamp(n, 0, int(sizeof buf) - 1)));
            ++next;
            break;
        }
        case 'f': {
            if (a.kind != FmtArg::kDouble) FormatMismatch(format);
            auto r = std::to_chars(buf, buf + sizeof buf, a.d, std::chars_format::fixed,
                                   precision < 0 ? 6 : precision);
            const size_t n = r.ec == std::errc() ? size_t(r.ptr - buf) : 0;
            const size_t pad = width > int(n) ? size_t(width) - n : 0;
            if (!left) out.append(pad, L' ');
            AppendAscii(out, buf, n);
            if (left) out.append(pad, L' ');
            ++next;
            break;
        }
        default:
            FormatMismatch(format);
        }
    }
    if (next != count || sigChar != 0) FormatMismatch(format);
}

template <class... A> void PrintApp(std::wstring& out, const char* format, const A&... args) {
    const FmtArg list[sizeof...(A) + 1] = {FmtArg(args)..., FmtArg()};
    Format(out, format, list, sizeof...(A));
}

// ---------------------------------------------------------------------------------------------
// Reading a block

// Raised where a value lies beyond the bytes that may be read; the dump of the tag ends there.
struct DataEnds {};

constexpr size_t kTrusted = std::numeric_limits<size_t>::max();

class CBlock {
public:
    CBlock(const void* data, size_t available)
        : m_p(static_cast<const uint8_t*>(data)), m_avail(data ? available : 0) {}

    bool Trusted() const { return m_avail == kTrusted; }
    size_t Available() const { return m_avail; }

    uint8_t U8(uint64_t off) const { return Read<uint8_t>(off); }
    uint16_t U16(uint64_t off) const { return Read<uint16_t>(off); }
    uint32_t U32(uint64_t off) const { return Read<uint32_t>(off); }
    int32_t S32(uint64_t off) const { return Read<int32_t>(off); }

    // The 8-bit text from `off` up to its zero, or up to `limit` bytes or the end of the data.
    std::wstring Text(uint64_t off, uint64_t limit = kTrusted) const {
        if (!Trusted() && off >= m_avail) return std::wstring();
        const uint64_t room = Trusted() ? limit : std::min<uint64_t>(limit, m_avail - off);
        const uint8_t* s = m_p + off;
        size_t n = 0;
        while (n < room && s[n] != 0) ++n;
        return DecodeText(std::string_view(reinterpret_cast<const char*>(s), n));
    }

private:
    template <class V> V Read(uint64_t off) const {
        if (!Trusted() && (off > m_avail || m_avail - off < sizeof(V))) throw DataEnds{};
        V v;
        std::memcpy(&v, m_p + off, sizeof v);
        return v;
    }

    static bool IsUtf8(std::string_view s) {
        size_t i = 0;
        while (i < s.size()) {
            const uint8_t c = static_cast<uint8_t>(s[i]);
            size_t extra;
            uint32_t min;
            if (c < 0x80) {
                ++i;
                continue;
            } else if ((c & 0xE0) == 0xC0) {
                extra = 1;
                min = 0x80;
            } else if ((c & 0xF0) == 0xE0) {
                extra = 2;
                min = 0x800;
            } else if ((c & 0xF8) == 0xF0) {
                extra = 3;
                min = 0x10000;
            } else {
                return false;
            }
            if (i + extra >= s.size()) return false;
            uint32_t cp = c & (0x3F >> extra);
            for (size_t k = 1; k <= extra; ++k) {
                const uint8_t t = static_cast<uint8_t>(s[i + k]);
                if ((t & 0xC0) != 0x80) return false;
                cp = (cp << 6) | (t & 0x3F);
            }
            if (cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return false;
            i += extra + 1;
        }
        return true;
    }

    // UTF-8 where the bytes are valid UTF-8, else Windows-1252.
    static std::wstring DecodeText(std::string_view s) {
        return IsUtf8(s) ? Utf8ToWide(s) : CodePageToWide(s);
    }

    const uint8_t* m_p;
    size_t m_avail;
};

// In a dump bounded by the tag's data, a count of lines that the data cannot fill means the
// counts are wrong: the dump ends instead of printing lines without data.
void CheckLineCount(const CBlock& b, uint64_t lines) {
    if (!b.Trusted() && lines > b.Available()) throw DataEnds{};
}

uint64_t Power(uint64_t base, unsigned exponent) {
    uint64_t n = 1;
    for (unsigned k = 0; k < exponent; ++k) {
        if (base != 0 && n > std::numeric_limits<uint64_t>::max() / base)
            return std::numeric_limits<uint64_t>::max();
        n *= base;
    }
    return n;
}

// ---------------------------------------------------------------------------------------------
// Tag types

void TypeLine(std::wstring& out, const CBlock& b) {
    PrintApp(out, "type             %c%c%c%c\r\n", SigArg{b.U32(0)});
}

void XYZLine(std::wstring& out, int32_t x, int32_t y, int32_t z) {
    PrintApp(out, "  %7.4f  %7.4f  %7.4f  (0x%08X, 0x%08X, 0x%08X)\r\n", x * icFixed16Unit,
             y * icFixed16Unit, z * icFixed16Unit, x, y, z);
}

// Every 16-bit entry k of a table of n entries from `off` for which 25 * k reaches a mark that
// starts at 0 and grows by n with each entry shown: never more than 25 values, a table of up
// to 25 entries in full.
void SampledTable(std::wstring& out, const CBlock& b, uint64_t off, uint32_t n) {
    PrintApp(out, "max %u shown\r\n", 25u);
    out += L"     ";
    uint64_t mark = 0;
    for (uint64_t k = 0; k < n; ++k) {
        if (25 * k >= mark) {
            PrintApp(out, " %5u", b.U16(off + 2 * k));
            mark += n;
        }
    }
    out += L"\r\n";
}

// 256 8-bit entries from `off` in 16 lines of 16.
void FullTable8(std::wstring& out, const CBlock& b, uint64_t off) {
    for (unsigned line = 0; line < 16; ++line) {
        out += L"     ";
        for (unsigned k = 0; k < 16; ++k) PrintApp(out, " %3u", b.U8(off + 16 * line + k));
        out += L"\r\n";
    }
}

// The grid by rows: a row is clutPoints nodes along the last input, one line per output
// channel. width 1 or 2 bytes a value.
void GridRows(std::wstring& out, const CBlock& b, uint64_t off, unsigned inputChan,
              unsigned outputChan, unsigned clutPoints, unsigned width) {
    out += L"\r\nCLUTable:\r\n";
    const uint64_t rows = inputChan > 1 ? Power(clutPoints, inputChan - 1) : 1;
    CheckLineCount(b, rows);
    const uint64_t rowValues = uint64_t(clutPoints) * outputChan;
    for (uint64_t r = 0; r < rows; ++r) {
        PrintApp(out, "Row %u:\r\n", r);
        for (unsigned o = 0; o < outputChan; ++o) {
            for (unsigned j = 0; j < clutPoints; ++j) {
                const uint64_t at = r * rowValues + uint64_t(j) * outputChan + o;
                if (width == 2)
                    PrintApp(out, " %5u", b.U16(off + 2 * at));
                else
                    PrintApp(out, " %3u", b.U8(off + at));
            }
            out += L"\r\n";
        }
        out += L"\r\n";
    }
}

void LutHead(std::wstring& out, const CBlock& b) {
    PrintApp(out, "inputChan: %3u  outputChan: %3u   clutPoints: %3u\r\n", b.U8(8), b.U8(9),
             b.U8(10));
    out += L"Matrix:\r\n";
    for (unsigned row = 0; row < 3; ++row)
        XYZLine(out, b.S32(12 + 12 * row), b.S32(16 + 12 * row), b.S32(20 + 12 * row));
}

void Curve(std::wstring& out, const CBlock& b) {
    TypeLine(out, b);
    const uint32_t count = b.U32(8);
    PrintApp(out, "count            %u\r\n", count);
    if (count == 1) {
        PrintApp(out, "gamma:\t\t%5.3f\r\n", b.U16(12) * 0.00390625);
    } else if (count > 1) {
        for (uint64_t i = 0; i < count; ++i) PrintApp(out, "       %8u\r\n", b.U16(12 + 2 * i));
    }
}

void Data(std::wstring& out, const CBlock& b, uint32_t count) {
    TypeLine(out, b);
    PrintApp(out, "dataFlag         %u\r\n", b.U32(8));
    PrintApp(out, "%u bytes not printed\r\n", count);
}

void DateTime(std::wstring& out, const CBlock& b) {
    TypeLine(out, b);
    PrintApp(out, "date             %u/%u/%u-%u.%u.%u\r\n", b.U16(8), b.U16(10), b.U16(12),
             b.U16(14), b.U16(16), b.U16(18));
}

void Lut16(std::wstring& out, const CBlock& b) {
    TypeLine(out, b);
    LutHead(out, b);
    const unsigned in = b.U8(8), outCh = b.U8(9), points = b.U8(10);
    const uint32_t inEnt = b.U16(48), outEnt = b.U16(50);
    PrintApp(out, "inputEnt: %3u  outputEnt: %3u\r\n", inEnt, outEnt);
    uint64_t off = sizeof(icLut16Type);
    for (unsigned c = 1; c <= in; ++c) {
        PrintApp(out, "InputTable %u (%u Entries):\r\n", c, inEnt);
        SampledTable(out, b, off, inEnt);
        off += 2 * uint64_t(inEnt);
    }
    GridRows(out, b, off, in, outCh, points, 2);
    const uint64_t nodes = Power(points, in);
    if (nodes > std::numeric_limits<uint64_t>::max() / 2 / std::max(outCh, 1u)) throw DataEnds{};
    off += 2 * nodes * outCh;
    for (unsigned c = 1; c <= outCh; ++c) {
        PrintApp(out, "OutputTable %u: (%u Entries )\r\n", c, outEnt);
        SampledTable(out, b, off, outEnt);
        off += 2 * uint64_t(outEnt);
    }
}

void Lut8(std::wstring& out, const CBlock& b) {
    TypeLine(out, b);
    LutHead(out, b);
    const unsigned in = b.U8(8), outCh = b.U8(9), points = b.U8(10);
    uint64_t off = sizeof(icLut8Type);
    for (unsigned c = 1; c <= in; ++c) {
        PrintApp(out, "InputTable %u:\r\n", c);
        FullTable8(out, b, off);
        off += 256;
    }
    // Up to 5 grid points the grid is shown; a larger grid is only announced.
    if (points <= 5)
        GridRows(out, b, off, in, outCh, points, 1);
    else
        PrintApp(out, "table with %d clutpoints\r\n", static_cast<int>(points));
    const uint64_t nodes = Power(points, in);
    if (nodes > std::numeric_limits<uint64_t>::max() / std::max(outCh, 1u)) throw DataEnds{};
    off += nodes * outCh;
    for (unsigned c = 1; c <= outCh; ++c) {
        PrintApp(out, "OutputTable %u:\r\n", c);
        FullTable8(out, b, off);
        off += 256;
    }
}

void Measurement(std::wstring& out, const CBlock& b) {
    TypeLine(out, b);
    PrintApp(out, "stdObserver      %x\r\n", b.U32(8));
    XYZLine(out, b.S32(12), b.S32(16), b.S32(20));
    PrintApp(out, "geometry         %x\r\n", b.U32(24));
    PrintApp(out, "flare            %x\r\n", b.U32(28));
    PrintApp(out, "illuminant       %x\r\n", b.U32(32));
}

void Description(std::wstring& out, const CBlock& b) {
    TypeLine(out, b);
    PrintApp(out, "%s\r\n", b.Text(12));
}

void S15Fixed16Array(std::wstring& out, const CBlock& b, uint32_t count) {
    TypeLine(out, b);
    for (uint64_t i = 0; i < count; ++i) {
        const int32_t v = b.S32(8 + 4 * i);
        // Integer part by an arithmetic shift: a negative value prints its floor with a
        // positive fraction.
        const int32_t whole = static_cast<int32_t>(v >> 16);
        const uint32_t frac = ((static_cast<uint32_t>(v) & 0xFFFFu) * 10000u) >> 16;
        PrintApp(out, "          %d.%04u\r\n", whole, frac);
    }
}

void Signature(std::wstring& out, const CBlock& b) {
    TypeLine(out, b);
    PrintApp(out, "signature        %c%c%c%c\r\n", SigArg{b.U32(8)});
}

void Text(std::wstring& out, const CBlock& b, uint32_t count) {
    TypeLine(out, b);
    PrintApp(out, "%s\r\n", b.Text(8, count));
}

void U16Fixed16Array(std::wstring& out, const CBlock& b, uint32_t count) {
    TypeLine(out, b);
    for (uint64_t i = 0; i < count; ++i) {
        const uint32_t v = b.U32(8 + 4 * i);
        PrintApp(out, "          %u.%04u\r\n", v >> 16, ((v & 0xFFFFu) * 10000u) >> 16);
    }
}

void UInt8Array(std::wstring& out, const CBlock& b, uint32_t count) {
    TypeLine(out, b);
    for (uint64_t i = 0; i < count; ++i) PrintApp(out, "    %u\r\n", b.U8(8 + i));
}

void UInt16Array(std::wstring& out, const CBlock& b, uint32_t count) {
    TypeLine(out, b);
    for (uint64_t i = 0; i < count; ++i) PrintApp(out, "    %u\r\n", b.U16(8 + 2 * i));
}

void UInt32Array(std::wstring& out, const CBlock& b, uint32_t count) {
    TypeLine(out, b);
    for (uint64_t i = 0; i < count; ++i) PrintApp(out, "    %u\r\n", b.U32(8 + 4 * i));
}

void UInt64Array(std::wstring& out, const CBlock& b, uint32_t count) {
    TypeLine(out, b);
    // Each value as its two words in the order they stand.
    for (uint64_t i = 0; i < count; ++i)
        PrintApp(out, "    %10u, %10u\r\n", b.U32(8 + 8 * i), b.U32(12 + 8 * i));
}

void UcrBg(std::wstring& out, const CBlock& b) {
    TypeLine(out, b);
    const uint32_t ucr = b.U32(8);
    PrintApp(out, "%u Ucr curve values:\r\n", ucr);
    for (uint64_t i = 0; i < ucr; ++i) PrintApp(out, "       %8u\r\n", b.U16(12 + 2 * i));
    // The black generation count follows the values directly, possibly on a 2-byte boundary.
    const uint64_t bgAt = 12 + 2 * uint64_t(ucr);
    const uint32_t bg = b.U32(bgAt);
    PrintApp(out, "%u Bg curve values:\r\n", bg);
    for (uint64_t i = 0; i < bg; ++i) PrintApp(out, "       %8u\r\n", b.U16(bgAt + 4 + 2 * i));
}

void XYZArray(std::wstring& out, const CBlock& b, uint32_t count) {
    TypeLine(out, b);
    for (uint64_t i = 0; i < count; ++i)
        XYZLine(out, b.S32(8 + 12 * i), b.S32(12 + 12 * i), b.S32(16 + 12 * i));
}

// A line end after text that a short block cut off in the middle of a line.
void CloseLine(std::wstring& out) {
    if (!out.empty() && out.back() != L'\n') out += L"\r\n";
}

// Runs one of the functions above on a block that is trusted to hold what its counts say.
template <class F, class... A> std::wstring Trusted(const void* block, F f, A... args) {
    std::wstring out;
    try {
        f(out, CBlock(block, kTrusted), args...);
    } catch (const DataEnds&) { // counts beyond any size that a block can have
        CloseLine(out);
    }
    return out;
}

void DumpByType(std::wstring& out, const CBlock& b, uint32_t size) {
    const uint32_t type = b.U32(0);
    switch (type) {
    case icSigCurveType:
        return Curve(out, b);
    case icSigDataType:
        return Data(out, b, size - 12);
    case icSigDateTimeType:
        return DateTime(out, b);
    case icSigLut16Type:
        return Lut16(out, b);
    case icSigLut8Type:
        return Lut8(out, b);
    case icSigMeasurementType:
        return Measurement(out, b);
    case icSigTextDescriptionType:
        return Description(out, b);
    case icSigS15Fixed16ArrayType:
        return S15Fixed16Array(out, b, (size - 8) / 4);
    case icSigSignatureType:
        return Signature(out, b);
    case icSigTextType:
        return Text(out, b, size - 8);
    case icSigU16Fixed16ArrayType:
        return U16Fixed16Array(out, b, (size - 8) / 4);
    case icSigUInt8ArrayType:
        return UInt8Array(out, b, size - 8);
    case icSigUInt16ArrayType:
        return UInt16Array(out, b, (size - 8) / 2);
    case icSigUInt32ArrayType:
        return UInt32Array(out, b, (size - 8) / 4);
    case icSigUInt64ArrayType:
        return UInt64Array(out, b, (size - 8) / 8);
    case icSigUcrBgType:
        return UcrBg(out, b);
    case icSigXYZType:
        return XYZArray(out, b, (size - 8) / 12);
    default:
        PrintApp(out, "type unsupported %c%c%c%c\r\n", SigArg{type});
    }
}

struct TagDescription {
    icTagSignature sig;
    const wchar_t* text;
};

const TagDescription kTagDescriptions[] = {
    {MakeIccSignature("A2B0"), L"Device to PCS, intent perceptual"},
    {MakeIccSignature("A2B1"), L"Device to PCS, intent of relative colorimetric"},
    {MakeIccSignature("A2B2"), L"Device to PCS, intent of saturation"},
    {MakeIccSignature("B2A0"), L"PCS to Device, intent of perceptual"},
    {MakeIccSignature("B2A1"), L"PCS to Device, intent of relative colorimetric"},
    {MakeIccSignature("B2A2"), L"PCS to Device, intent of saturation"},
    {MakeIccSignature("bTRC"), L"Blue channel tone reproduction curve"},
    {MakeIccSignature("bXYZ"), L"Blue colorant or phospor XYZ relative tristimulus values"},
    {MakeIccSignature("bfd "), L"Under color removal curve"},
    {MakeIccSignature("bkpt"), L"Media XYZ black point"},
    {MakeIccSignature("calt"), L"Profile calibration date and time"},
    {MakeIccSignature("cprt"), L"7 bit ASCII profile copyright information"},
    {MakeIccSignature("desc"), L"Structure containing invariant and localizable versions of the "
                               L"profile name for display"},
    {MakeIccSignature("dmdd"), L"displayable description of device model"},
    {MakeIccSignature("dmnd"), L"displayable description of device manufacturer"},
    {MakeIccSignature("gTRC"), L"Green channel tone reproduction curve"},
    {MakeIccSignature("gXYZ"), L"Green colorant or phospor XYZ relative tristimulus values"},
    {MakeIccSignature("gamt"), L"Out of Gamut"},
    {MakeIccSignature("kTRC"), L"Gray tone reproduction curve"},
    {MakeIccSignature("lumi"), L"Absolute luminance for emissive device"},
    {MakeIccSignature("meas"), L"Alternative measurement specification information"},
    {MakeIccSignature("ncol"), L"Dictionary for converting between named colors and interchange "
                               L"or device color spaces"},
    {MakeIccSignature("pre0"), L"Preview transformation PCS->Device->PCS, perceptual"},
    {MakeIccSignature("pre1"), L"Preview transformation PCS->Device->PCS, relative colorimetric"},
    {MakeIccSignature("pre2"), L"Preview transformation PCS->Device->PCS, saturation"},
    {MakeIccSignature("ps2i"), L"PostScript Level 2 Rendering Intent"},
    {MakeIccSignature("ps2s"), L"PostScript Level 2 color space array"},
    {MakeIccSignature("psd0"), L"PostScript Level 2 color rendering dictionary: perceptual"},
    {MakeIccSignature("psd1"), L"PostScript Level 2 color rendering dictionary: colorimetric"},
    {MakeIccSignature("psd2"), L"PostScript Level 2 color rendering dictionary: saturation"},
    {MakeIccSignature("psd3"), L"PostScript Level 2 color rendering dictionary: absolut"},
    {MakeIccSignature("pseq"), L"An array of descriptions of the profile sequence"},
    {MakeIccSignature("rTRC"), L"Red channel tone reproduction curve"},
    {MakeIccSignature("rXYZ"), L"Red colorant or phospor XYZ relative tristimulus values"},
    {MakeIccSignature("scrd"), L"Screening attributes description"},
    {MakeIccSignature("scrn"), L"Screening attributes such as frequency, angle and spot"},
    {MakeIccSignature("targ"), L"Characterization target such as IT8/7.2"},
    {MakeIccSignature("tech"),
     L"Device technology information such as LCD, CRT, Dye Sublimation, etc."},
    {MakeIccSignature("view"), L"Specifies viewing condition parameters"},
    {MakeIccSignature("vued"), L"Specifies viewing condition description"},
    {MakeIccSignature("wtpt"), L"Media XYZ white point"},
};

} // namespace

// ---------------------------------------------------------------------------------------------
// Header and table

std::wstring DumpHeader(const icHeader& h) {
    std::wstring out;
    out += L"---icHeader---\r\n";
    PrintApp(out, "size             %u\r\n", h.size);
    PrintApp(out, "cmmId            %c%c%c%c\r\n", SigArg{h.cmmId});
    PrintApp(out, "version          %x\r\n", h.version);
    PrintApp(out, "deviceClass      %c%c%c%c\r\n", SigArg{h.deviceClass});
    PrintApp(out, "colorSpace       %c%c%c%c\r\n", SigArg{h.colorSpace});
    PrintApp(out, "pcs              %c%c%c%c\r\n", SigArg{h.pcs});
    PrintApp(out, "date             %u/%u/%u-%u.%u.%u\r\n", h.date.year, h.date.month, h.date.day,
             h.date.hours, h.date.minutes, h.date.seconds);
    PrintApp(out, "magic            %c%c%c%c\r\n", SigArg{h.magic});
    PrintApp(out, "platform         %c%c%c%c\r\n", SigArg{h.platform});
    PrintApp(out, "flags            %x\r\n", h.flags);
    PrintApp(out, "manufacturer     %c%c%c%c\r\n", SigArg{h.manufacturer});
    PrintApp(out, "model            %c%c%c%c\r\n", SigArg{h.model});
    PrintApp(out, "attributes[0]    %x\r\n", h.attributes[0]);
    PrintApp(out, "attributes[1]    %x\r\n", h.attributes[1]);
    PrintApp(out, "renderingIntent  %x\r\n", h.renderingIntent);
    return out;
}

std::wstring DumpHeader(const CIccProfile& profile) {
    return DumpHeader(profile.Header());
}

std::wstring DumpTagTable(const icTagTable* table) {
    std::wstring out;
    out += L"---icTagTable---\r\n";
    const uint32_t count = table ? table->count : 0;
    PrintApp(out, "count            %u\r\n", count);
    for (uint32_t i = 0; i < count; ++i) {
        const icTag& tag = table->tags[i];
        PrintApp(out, "sig              %c%c%c%c\r\n", SigArg{tag.sig});
        PrintApp(out, "offset           %x\r\n", tag.offset);
        PrintApp(out, "size             %x\r\n", tag.size);
    }
    return out;
}

std::wstring DumpTagTable(const CIccProfile& profile) {
    return DumpTagTable(profile.pTagTable());
}

// ---------------------------------------------------------------------------------------------
// Tags

const wchar_t* IccTagDescription(icTagSignature sig) {
    for (const TagDescription& d : kTagDescriptions)
        if (d.sig == sig) return d.text;
    return nullptr;
}

std::wstring DumpTagData(const uint32_t* block, icTag tag) {
    return DumpTagData(block, tag, tag.size);
}

std::wstring DumpTagData(const uint32_t* block, icTag tag, size_t blockBytes) {
    std::wstring out;
    PrintApp(out, "--- tag at offset 0x%x size 0x%x ---\r\n", tag.offset, tag.size);
    PrintApp(out, "sig              %c%c%c%c\r\n", SigArg{tag.sig});
    if (const wchar_t* description = IccTagDescription(tag.sig)) {
        out += description;
        out += L"\r\n";
    }
    out += DumpTag(block, tag.size, blockBytes);
    return out;
}

std::wstring DumpTag(const uint32_t* block, unsigned size) {
    return DumpTag(block, size, size);
}

std::wstring DumpTag(const uint32_t* block, unsigned size, size_t blockBytes) {
    std::wstring out;
    try {
        DumpByType(out, CBlock(block, std::min<size_t>(size, blockBytes)), size);
    } catch (const DataEnds&) {
        CloseLine(out);
    }
    return out;
}

std::wstring DumpTagType(const icCurveType* block) {
    return Trusted(block, Curve);
}
std::wstring DumpTagType(const icDataType* block, uint32_t count) {
    return Trusted(block, Data, count);
}
std::wstring DumpTagType(const icDateTimeType* block) {
    return Trusted(block, DateTime);
}
std::wstring DumpTagType(const icLut16Type* block) {
    return Trusted(block, Lut16);
}
std::wstring DumpTagType(const icLut8Type* block) {
    return Trusted(block, Lut8);
}
std::wstring DumpTagType(const icMeasurmentType* block) {
    return Trusted(block, Measurement);
}
std::wstring DumpTagType(const icProfileDescriptionType* block) {
    return Trusted(block, Description);
}
std::wstring DumpTagType(const icS15Fixed16ArrayType* block, uint32_t count) {
    return Trusted(block, S15Fixed16Array, count);
}
std::wstring DumpTagType(const icSignatureType* block) {
    return Trusted(block, Signature);
}
std::wstring DumpTagType(const icTextType* block, uint32_t count) {
    return Trusted(block, Text, count);
}
std::wstring DumpTagType(const icU16Fixed16ArrayType* block, uint32_t count) {
    return Trusted(block, U16Fixed16Array, count);
}
std::wstring DumpTagType(const icUInt8ArrayType* block, uint32_t count) {
    return Trusted(block, UInt8Array, count);
}
std::wstring DumpTagType(const icUInt16ArrayType* block, uint32_t count) {
    return Trusted(block, UInt16Array, count);
}
std::wstring DumpTagType(const icUInt32ArrayType* block, uint32_t count) {
    return Trusted(block, UInt32Array, count);
}
std::wstring DumpTagType(const icUInt64ArrayType* block, uint32_t count) {
    return Trusted(block, UInt64Array, count);
}
std::wstring DumpTagType(const icUcrBgType* block) {
    return Trusted(block, UcrBg);
}
std::wstring DumpTagType(const icXYZType* block, uint32_t count) {
    return Trusted(block, XYZArray, count);
}
