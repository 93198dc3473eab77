// The profile dump text: header, tag table, tag heads and descriptions, and every supported tag
// type, compared with texts written out here from the dump's line formats.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "icc/IccDump.h"
#include "icc/IccProfileGen.h"
#include "support/IccSig.h"

using namespace std::string_literals;

namespace {

using kvrtest::Sig;

using kvrtest::SigOf;

// A tag block in host order, built at byte offsets.
class Block {
public:
    explicit Block(size_t bytes)
        : m_words((std::max<size_t>(bytes, 8) + 3) / 4, 0), m_size(bytes) {}
    Block& u32(size_t off, uint32_t v) { return put(off, &v, 4); }
    Block& u16(size_t off, uint16_t v) { return put(off, &v, 2); }
    Block& u8(size_t off, uint8_t v) { return put(off, &v, 1); }
    Block& type(const char (&s)[5]) { return u32(0, MakeIccSignature(s)); }
    Block& text(size_t off, const char* s) { return put(off, s, std::strlen(s)); }
    const uint32_t* p() const { return m_words.data(); }
    unsigned size() const { return static_cast<unsigned>(m_size); }
    template <class T> const T* as() const { return reinterpret_cast<const T*>(m_words.data()); }

private:
    Block& put(size_t off, const void* v, size_t n) {
        if (off + n > m_words.size() * 4) throw std::out_of_range("test block");
        std::memcpy(reinterpret_cast<uint8_t*>(m_words.data()) + off, v, n);
        return *this;
    }
    std::vector<uint32_t> m_words;
    size_t m_size;
};

class TestGen : public CIccProfileGen1 {
public:
    TestGen() : CIccProfileGen1(nullptr) {}
    void SetHeaderField(const icHeader& h) { m_Header = h; }
};

// The three lines of a matrix that is the identity.
const std::wstring kIdentityMatrix =
    L"Matrix:\r\n"
    L"   1.0000   0.0000   0.0000  (0x00010000, 0x00000000, 0x00000000)\r\n"
    L"   0.0000   1.0000   0.0000  (0x00000000, 0x00010000, 0x00000000)\r\n"
    L"   0.0000   0.0000   1.0000  (0x00000000, 0x00000000, 0x00010000)\r\n";

void PutIdentity(Block& b) {
    b.u32(12, 65536).u32(28, 65536).u32(44, 65536);
}

// One line of an 8-bit table: five blanks and 16 values of the form " %3u".
std::wstring Line8(const std::vector<unsigned>& values) {
    std::wstring s = L"     ";
    for (unsigned v : values) {
        wchar_t buf[16];
        std::swprintf(buf, 16, L" %3u", v);
        s += buf;
    }
    return s + L"\r\n";
}

// 256 entries f(k) as 16 lines of 16.
template <class F> std::wstring Table8(F f) {
    std::wstring s;
    for (unsigned line = 0; line < 16; ++line) {
        std::vector<unsigned> v;
        for (unsigned k = 0; k < 16; ++k) v.push_back(f(16 * line + k));
        s += Line8(v);
    }
    return s;
}

} // namespace

// ---------------------------------------------------------------------------------------------
// Header and table

TEST(IccDumpHeader, EveryFieldInOrder) {
    icHeader h{};
    h.size = 1234;
    h.cmmId = Sig("TCMS");
    h.version = 0x02100000;
    h.deviceClass = Sig("prtr");
    h.colorSpace = Sig("CMYK");
    h.pcs = Sig("Lab ");
    h.date = {2024, 5, 17, 13, 45, 59};
    h.magic = Sig("acsp");
    h.platform = Sig("APPL");
    h.flags = 0x10002;
    h.manufacturer = Sig("TEST");
    h.model = 0x41E94200u; // 'A', a byte from 0x80, 'B', zero
    h.attributes[0] = 0x11223344;
    h.attributes[1] = 0xAABBCCDD;
    h.renderingIntent = 3;
    h.illuminant = {1, 2, 3};
    h.creator = Sig("XXXX");
    h.reserved[0] = 'R';

    const std::wstring expected = L"---icHeader---\r\n"
                                  L"size             1234\r\n"
                                  L"cmmId            TCMS\r\n"
                                  L"version          2100000\r\n"
                                  L"deviceClass      prtr\r\n"
                                  L"colorSpace       CMYK\r\n"
                                  L"pcs              Lab \r\n"
                                  L"date             2024/5/17-13.45.59\r\n"
                                  L"magic            acsp\r\n"
                                  L"platform         APPL\r\n"
                                  L"flags            10002\r\n"
                                  L"manufacturer     TEST\r\n"
                                  L"model            A\xFFE9"
                                  L"B\0\r\n"
                                  L"attributes[0]    11223344\r\n"
                                  L"attributes[1]    aabbccdd\r\n"
                                  L"renderingIntent  3\r\n"s;
    EXPECT_EQ(expected, DumpHeader(h));
}

TEST(IccDumpTable, CountAndThreeLinesPerEntry) {
    uint32_t raw[1 + 6] = {2, Sig("desc"), 0x90, 0x64, Sig("wtpt"), 0xF4, 0x14};
    const std::wstring expected = L"---icTagTable---\r\n"
                                  L"count            2\r\n"
                                  L"sig              desc\r\n"
                                  L"offset           90\r\n"
                                  L"size             64\r\n"
                                  L"sig              wtpt\r\n"
                                  L"offset           f4\r\n"
                                  L"size             14\r\n";
    EXPECT_EQ(expected, DumpTagTable(reinterpret_cast<const icTagTable*>(raw)));
}

TEST(IccDumpText, ProfileWithoutTagsGivesHeaderAndCountZeroOnly) {
    TestGen g;
    const std::wstring expected = L"---icHeader---\r\n"
                                  L"size             0\r\n"
                                  L"cmmId            \0\0\0\0\r\n"
                                  L"version          0\r\n"
                                  L"deviceClass      \0\0\0\0\r\n"
                                  L"colorSpace       \0\0\0\0\r\n"
                                  L"pcs              \0\0\0\0\r\n"
                                  L"date             0/0/0-0.0.0\r\n"
                                  L"magic            \0\0\0\0\r\n"
                                  L"platform         \0\0\0\0\r\n"
                                  L"flags            0\r\n"
                                  L"manufacturer     \0\0\0\0\r\n"
                                  L"model            \0\0\0\0\r\n"
                                  L"attributes[0]    0\r\n"
                                  L"attributes[1]    0\r\n"
                                  L"renderingIntent  0\r\n"
                                  L"---icTagTable---\r\n"
                                  L"count            0\r\n"s;
    EXPECT_EQ(expected, g.DumpText());
    EXPECT_EQ(DumpHeader(g) + DumpTagTable(g), g.DumpText());
}

TEST(IccDumpText, GeneratedProfileWithOffsetsFromTheEndOfTheTable) {
    TestGen g;
    g.AddTextTag(icSigCopyrightTag, "abc");
    g.AddXYZTag(icSigMediaWhitePointTag, 63190, 65536, 54061);
    g.DupTagAs(icSigMediaBlackPointTag, icSigMediaWhitePointTag);
    icHeader h = g.Header();
    h.cmmId = Sig("TCMS");
    h.version = 0x02000000;
    h.deviceClass = Sig("mntr");
    h.colorSpace = Sig("RGB ");
    h.pcs = Sig("XYZ ");
    h.date = {2026, 1, 2, 3, 4, 5};
    h.magic = Sig("acsp");
    h.platform = Sig("MSFT");
    h.manufacturer = Sig("TARV");
    h.model = Sig("M1  ");
    h.renderingIntent = 1;
    g.SetHeaderField(h);
    ASSERT_EQ(132u + 36 + 12 + 20, g.Header().size);

    const std::wstring expected =
        L"---icHeader---\r\n"
        L"size             200\r\n"
        L"cmmId            TCMS\r\n"
        L"version          2000000\r\n"
        L"deviceClass      mntr\r\n"
        L"colorSpace       RGB \r\n"
        L"pcs              XYZ \r\n"
        L"date             2026/1/2-3.4.5\r\n"
        L"magic            acsp\r\n"
        L"platform         MSFT\r\n"
        L"flags            0\r\n"
        L"manufacturer     TARV\r\n"
        L"model            M1  \r\n"
        L"attributes[0]    0\r\n"
        L"attributes[1]    0\r\n"
        L"renderingIntent  1\r\n"
        L"---icTagTable---\r\n"
        L"count            3\r\n"
        L"sig              cprt\r\n"
        L"offset           a8\r\n"
        L"size             c\r\n"
        L"sig              wtpt\r\n"
        L"offset           b4\r\n"
        L"size             14\r\n"
        L"sig              bkpt\r\n"
        L"offset           b4\r\n"
        L"size             14\r\n"
        L"--- tag at offset 0x0 size 0xc ---\r\n"
        L"sig              cprt\r\n"
        L"7 bit ASCII profile copyright information\r\n"
        L"type             text\r\n"
        L"abc\r\n"
        L"--- tag at offset 0xc size 0x14 ---\r\n"
        L"sig              wtpt\r\n"
        L"Media XYZ white point\r\n"
        L"type             XYZ \r\n"
        L"   0.9642   1.0000   0.8249  (0x0000F6D6, 0x00010000, 0x0000D32D)\r\n"
        // A sharing node keeps offset 0 of its own.
        L"--- tag at offset 0x0 size 0x14 ---\r\n"
        L"sig              bkpt\r\n"
        L"Media XYZ black point\r\n"
        L"type             XYZ \r\n"
        L"   0.9642   1.0000   0.8249  (0x0000F6D6, 0x00010000, 0x0000D32D)\r\n";
    EXPECT_EQ(expected, g.DumpText());
}

// ---------------------------------------------------------------------------------------------
// Tag heads

TEST(IccDumpTagData, HeadSignatureDescriptionAndContents) {
    Block b(20);
    b.type("XYZ ").u32(8, 63190).u32(12, 65536).u32(16, 54061);
    const std::wstring expected =
        L"--- tag at offset 0x1000 size 0x14 ---\r\n"
        L"sig              wtpt\r\n"
        L"Media XYZ white point\r\n"
        L"type             XYZ \r\n"
        L"   0.9642   1.0000   0.8249  (0x0000F6D6, 0x00010000, 0x0000D32D)\r\n";
    EXPECT_EQ(expected, DumpTagData(b.p(), icTag{Sig("wtpt"), 0x1000, 20}));
}

TEST(IccDumpTagData, UnknownTagWithKnownTypePrintsNoDescription) {
    Block b(11);
    b.type("text").text(8, "hi");
    const std::wstring expected = L"--- tag at offset 0x84 size 0xb ---\r\n"
                                  L"sig              zzzz\r\n"
                                  L"type             text\r\n"
                                  L"hi\r\n";
    EXPECT_EQ(expected, DumpTagData(b.p(), icTag{Sig("zzzz"), 0x84, 11}));
    // Neither do the private tags nor ncl2.
    EXPECT_EQ(nullptr, IccTagDescription(Sig("Tvr2")));
    EXPECT_EQ(nullptr, IccTagDescription(Sig("ncl2")));
}

TEST(IccDumpTagData, PostScriptDescriptions) {
    Block s(12);
    s.type("sig ").u32(8, Sig("abcd"));
    EXPECT_EQ(L"--- tag at offset 0x0 size 0xc ---\r\n"
              L"sig              ps2i\r\n"
              L"PostScript Level 2 Rendering Intent\r\n"
              L"type             sig \r\n"
              L"signature        abcd\r\n",
              DumpTagData(s.p(), icTag{Sig("ps2i"), 0, 12}));
    Block d(16);
    d.type("data").u32(8, 0);
    EXPECT_EQ(L"--- tag at offset 0x200 size 0x10 ---\r\n"
              L"sig              psd3\r\n"
              L"PostScript Level 2 color rendering dictionary: absolut\r\n"
              L"type             data\r\n"
              L"dataFlag         0\r\n"
              L"4 bytes not printed\r\n",
              DumpTagData(d.p(), icTag{Sig("psd3"), 0x200, 16}));
}

TEST(IccDumpTagData, EveryDescription) {
    const std::pair<const char*, const wchar_t*> table[] = {
        {"A2B0", L"Device to PCS, intent perceptual"},
        {"A2B1", L"Device to PCS, intent of relative colorimetric"},
        {"A2B2", L"Device to PCS, intent of saturation"},
        {"B2A0", L"PCS to Device, intent of perceptual"},
        {"B2A1", L"PCS to Device, intent of relative colorimetric"},
        {"B2A2", L"PCS to Device, intent of saturation"},
        {"bTRC", L"Blue channel tone reproduction curve"},
        {"bXYZ", L"Blue colorant or phospor XYZ relative tristimulus values"},
        {"bfd ", L"Under color removal curve"},
        {"bkpt", L"Media XYZ black point"},
        {"calt", L"Profile calibration date and time"},
        {"cprt", L"7 bit ASCII profile copyright information"},
        {"desc", L"Structure containing invariant and localizable versions of the profile name "
                 L"for display"},
        {"dmdd", L"displayable description of device model"},
        {"dmnd", L"displayable description of device manufacturer"},
        {"gTRC", L"Green channel tone reproduction curve"},
        {"gXYZ", L"Green colorant or phospor XYZ relative tristimulus values"},
        {"gamt", L"Out of Gamut"},
        {"kTRC", L"Gray tone reproduction curve"},
        {"lumi", L"Absolute luminance for emissive device"},
        {"meas", L"Alternative measurement specification information"},
        {"ncol", L"Dictionary for converting between named colors and interchange or device "
                 L"color spaces"},
        {"pre0", L"Preview transformation PCS->Device->PCS, perceptual"},
        {"pre1", L"Preview transformation PCS->Device->PCS, relative colorimetric"},
        {"pre2", L"Preview transformation PCS->Device->PCS, saturation"},
        {"ps2i", L"PostScript Level 2 Rendering Intent"},
        {"ps2s", L"PostScript Level 2 color space array"},
        {"psd0", L"PostScript Level 2 color rendering dictionary: perceptual"},
        {"psd1", L"PostScript Level 2 color rendering dictionary: colorimetric"},
        {"psd2", L"PostScript Level 2 color rendering dictionary: saturation"},
        {"psd3", L"PostScript Level 2 color rendering dictionary: absolut"},
        {"pseq", L"An array of descriptions of the profile sequence"},
        {"rTRC", L"Red channel tone reproduction curve"},
        {"rXYZ", L"Red colorant or phospor XYZ relative tristimulus values"},
        {"scrd", L"Screening attributes description"},
        {"scrn", L"Screening attributes such as frequency, angle and spot"},
        {"targ", L"Characterization target such as IT8/7.2"},
        {"tech", L"Device technology information such as LCD, CRT, Dye Sublimation, etc."},
        {"view", L"Specifies viewing condition parameters"},
        {"vued", L"Specifies viewing condition description"},
        {"wtpt", L"Media XYZ white point"},
    };
    Block b(12);
    b.type("ui32").u32(8, 5);
    for (const auto& [name, text] : table) {
        const uint32_t sig = SigOf(name);
        std::wstring wname(name, name + 4);
        const std::wstring expected = L"--- tag at offset 0x0 size 0xc ---\r\n"
                                      L"sig              " +
                                      wname + L"\r\n" + text +
                                      L"\r\n"
                                      L"type             ui32\r\n"
                                      L"    5\r\n";
        EXPECT_EQ(expected, DumpTagData(b.p(), icTag{sig, 0, 12})) << name;
    }
}

// ---------------------------------------------------------------------------------------------
// Tag types

TEST(IccDumpType, CurveOfCountZeroPrintsTypeAndCount) {
    Block b(12);
    b.type("curv");
    EXPECT_EQ(L"type             curv\r\ncount            0\r\n", DumpTag(b.p(), b.size()));
}

TEST(IccDumpType, CurveOfCountOnePrintsTheGamma) {
    Block b(14);
    b.type("curv").u32(8, 1).u16(12, 563);
    EXPECT_EQ(L"type             curv\r\ncount            1\r\ngamma:\t\t2.199\r\n",
              DumpTag(b.p(), b.size()));
    EXPECT_EQ(L"type             curv\r\ncount            1\r\ngamma:\t\t2.199\r\n",
              DumpTagType(b.as<icCurveType>()));
}

TEST(IccDumpType, CurveTablePrintsEveryEntry) {
    Block b(20);
    b.type("curv").u32(8, 3).u16(12, 0).u16(14, 32768).u16(16, 65535);
    EXPECT_EQ(L"type             curv\r\n"
              L"count            3\r\n"
              L"              0\r\n"
              L"          32768\r\n"
              L"          65535\r\n",
              DumpTag(b.p(), b.size()));
}

TEST(IccDumpType, DataOf100BytesPrints88BytesNotPrinted) {
    Block b(100);
    b.type("data").u32(8, 1).text(12, "payload");
    EXPECT_EQ(L"type             data\r\n"
              L"dataFlag         1\r\n"
              L"88 bytes not printed\r\n",
              DumpTag(b.p(), 100));
}

TEST(IccDumpType, DateTime) {
    Block b(20);
    b.type("dtim").u16(8, 2026).u16(10, 11).u16(12, 21).u16(14, 23).u16(16, 5).u16(18, 9);
    EXPECT_EQ(L"type             dtim\r\ndate             2026/11/21-23.5.9\r\n",
              DumpTag(b.p(), 20));
}

TEST(IccDumpType, Measurement) {
    Block b(36);
    b.type("meas").u32(8, 2).u32(12, 65536).u32(16, 32768).u32(20, uint32_t(-16384));
    b.u32(24, 1).u32(28, 0x10000).u32(32, 0xA);
    EXPECT_EQ(L"type             meas\r\n"
              L"stdObserver      2\r\n"
              L"   1.0000   0.5000  -0.2500  (0x00010000, 0x00008000, 0xFFFFC000)\r\n"
              L"geometry         1\r\n"
              L"flare            10000\r\n"
              L"illuminant       a\r\n",
              DumpTag(b.p(), 36));
}

TEST(IccDumpType, Description) {
    Block b(12 + 12 + 79);
    b.type("desc").u32(8, 12).text(12, "My profile");
    EXPECT_EQ(L"type             desc\r\nMy profile\r\n", DumpTag(b.p(), b.size()));
}

TEST(IccDumpType, S15Fixed16ArrayNegativeValuesPrintTheirFloorWithAPositiveFraction) {
    Block b(28);
    b.type("sf32").u32(8, 65536).u32(12, uint32_t(-32768)).u32(16, 0x18000).u32(20, 1);
    b.u32(24, uint32_t(-65536));
    EXPECT_EQ(L"type             sf32\r\n"
              L"          1.0000\r\n"
              L"          -1.5000\r\n"
              L"          1.5000\r\n"
              L"          0.0000\r\n"
              L"          -1.0000\r\n",
              DumpTag(b.p(), 28));
}

TEST(IccDumpType, Signature) {
    Block b(12);
    b.type("sig ").u32(8, Sig("CRT "));
    EXPECT_EQ(L"type             sig \r\nsignature        CRT \r\n", DumpTag(b.p(), 12));
}

TEST(IccDumpType, TextShownAsUtf8OrElseWindows1252) {
    Block b(21);
    b.type("text").text(8, "Hello, world");
    EXPECT_EQ(L"type             text\r\nHello, world\r\n", DumpTag(b.p(), 21));
    Block narrow(13);
    narrow.type("text").text(8, "caf\xE9");
    EXPECT_EQ(L"type             text\r\ncaf\u00e9\r\n", DumpTag(narrow.p(), 13));
    Block utf8(14);
    utf8.type("text").text(8, "caf\xC3\xA9");
    EXPECT_EQ(L"type             text\r\ncaf\u00e9\r\n", DumpTag(utf8.p(), 14));
    // The count of the type function bounds a text without terminator.
    Block cut(12);
    cut.type("text").text(8, "abcd");
    EXPECT_EQ(L"type             text\r\nab\r\n", DumpTagType(cut.as<icTextType>(), 2));
}

TEST(IccDumpType, U16Fixed16Array) {
    Block b(20);
    b.type("uf32").u32(8, 0x28000).u32(12, 0xFFFF0001u).u32(16, 0x4000);
    EXPECT_EQ(L"type             uf32\r\n"
              L"          2.5000\r\n"
              L"          65535.0000\r\n"
              L"          0.2500\r\n",
              DumpTag(b.p(), 20));
}

TEST(IccDumpType, UInt8Array) {
    Block b(11);
    b.type("ui08").u8(8, 0).u8(9, 7).u8(10, 255);
    EXPECT_EQ(L"type             ui08\r\n    0\r\n    7\r\n    255\r\n", DumpTag(b.p(), 11));
}

TEST(IccDumpType, UInt16Array) {
    Block b(12);
    b.type("ui16").u16(8, 1).u16(10, 65535);
    EXPECT_EQ(L"type             ui16\r\n    1\r\n    65535\r\n", DumpTag(b.p(), 12));
    EXPECT_EQ(L"type             ui16\r\n", DumpTag(b.p(), 9));
    EXPECT_EQ(L"type             ui16\r\n", DumpTag(b.p(), 8));
}

TEST(IccDumpType, UInt32Array) {
    Block b(16);
    b.type("ui32").u32(8, 350).u32(12, 4294967295u);
    EXPECT_EQ(L"type             ui32\r\n    350\r\n    4294967295\r\n", DumpTag(b.p(), 16));
}

TEST(IccDumpType, UInt64ArrayOfOneValuePrintsOneLineWithTwoNumbers) {
    Block b(16);
    b.type("ui64").u32(8, 1).u32(12, 4000000000u);
    EXPECT_EQ(L"type             ui64\r\n             1, 4000000000\r\n", DumpTag(b.p(), 16));
}

TEST(IccDumpType, UcrBgWithBlackGenerationOnATwoByteBoundary) {
    Block b(24);
    b.type("bfd ").u32(8, 1).u16(12, 5).u32(14, 2).u16(18, 6).u16(20, 7).text(22, "x");
    EXPECT_EQ(L"type             bfd \r\n"
              L"1 Ucr curve values:\r\n"
              L"              5\r\n"
              L"2 Bg curve values:\r\n"
              L"              6\r\n"
              L"              7\r\n",
              DumpTag(b.p(), 24));
}

TEST(IccDumpType, XYZArray) {
    Block b(32);
    b.type("XYZ ").u32(8, 65536).u32(12, 0).u32(16, uint32_t(-65536));
    b.u32(20, 13107).u32(24, 0x7FFFFFFF).u32(28, 6554);
    EXPECT_EQ(L"type             XYZ \r\n"
              L"   1.0000   0.0000  -1.0000  (0x00010000, 0x00000000, 0xFFFF0000)\r\n"
              L"   0.2000  32768.0000   0.1000  (0x00003333, 0x7FFFFFFF, 0x0000199A)\r\n",
              DumpTag(b.p(), 32));
}

TEST(IccDumpType, ParametricCurveIsUnsupported) {
    Block b(16);
    b.type("para").u32(12, 65536);
    EXPECT_EQ(L"type unsupported para\r\n", DumpTag(b.p(), 16));
    EXPECT_EQ(L"--- tag at offset 0x0 size 0x10 ---\r\n"
              L"sig              rTRC\r\n"
              L"Red channel tone reproduction curve\r\n"
              L"type unsupported para\r\n",
              DumpTagData(b.p(), icTag{Sig("rTRC"), 0, 16}));
    for (const char* t : {"mAB ", "mBA ", "ncl2", "clrt"}) {
        Block o(40);
        o.u32(0, SigOf(t));
        EXPECT_EQ(L"type unsupported "s + std::wstring(t, t + 4) + L"\r\n", DumpTag(o.p(), 40));
    }
}

// ---------------------------------------------------------------------------------------------
// Lookup tables

TEST(IccDumpLut16, OneInputChannelHasOneRow) {
    // 1 input, 2 outputs, 3 grid points; 2 input entries, 3 output entries.
    Block b(52 + 2 * (2 + 6 + 6));
    b.type("mft2").u8(8, 1).u8(9, 2).u8(10, 3);
    PutIdentity(b);
    b.u16(48, 2).u16(50, 3);
    b.u16(52, 0).u16(54, 65535);
    const uint16_t grid[6] = {100, 200, 300, 400, 500, 600};
    for (int i = 0; i < 6; ++i) b.u16(56 + 2 * i, grid[i]);
    const uint16_t outTabs[6] = {1, 2, 3, 4, 5, 6};
    for (int i = 0; i < 6; ++i) b.u16(68 + 2 * i, outTabs[i]);

    const std::wstring expected = L"type             mft2\r\n"
                                  L"inputChan:   1  outputChan:   2   clutPoints:   3\r\n" +
                                  kIdentityMatrix +
                                  L"inputEnt:   2  outputEnt:   3\r\n"
                                  L"InputTable 1 (2 Entries):\r\n"
                                  L"max 25 shown\r\n"
                                  L"          0 65535\r\n"
                                  L"\r\n"
                                  L"CLUTable:\r\n"
                                  L"Row 0:\r\n"
                                  L"   100   300   500\r\n"
                                  L"   200   400   600\r\n"
                                  L"\r\n"
                                  L"OutputTable 1: (3 Entries )\r\n"
                                  L"max 25 shown\r\n"
                                  L"          1     2     3\r\n"
                                  L"OutputTable 2: (3 Entries )\r\n"
                                  L"max 25 shown\r\n"
                                  L"          4     5     6\r\n";
    EXPECT_EQ(expected, DumpTag(b.p(), b.size()));
    EXPECT_EQ(expected, DumpTagType(b.as<icLut16Type>()));
}

TEST(IccDumpLut16, Pre0PrintsItsDescriptionThenTheTableWithOneRowPerFirstInputs) {
    // 2 inputs, 1 output, 2 grid points: 2 rows of 2 nodes.
    Block b(52 + 2 * (2 * 2 + 4 + 2));
    b.type("mft2").u8(8, 2).u8(9, 1).u8(10, 2);
    PutIdentity(b);
    b.u16(48, 2).u16(50, 2);
    b.u16(52, 0).u16(54, 65535).u16(56, 10).u16(58, 20);
    b.u16(60, 1).u16(62, 2).u16(64, 3).u16(66, 4);
    b.u16(68, 65535).u16(70, 0);
    const std::wstring expected = L"--- tag at offset 0x2c0 size 0x48 ---\r\n"
                                  L"sig              pre0\r\n"
                                  L"Preview transformation PCS->Device->PCS, perceptual\r\n"
                                  L"type             mft2\r\n"
                                  L"inputChan:   2  outputChan:   1   clutPoints:   2\r\n" +
                                  kIdentityMatrix +
                                  L"inputEnt:   2  outputEnt:   2\r\n"
                                  L"InputTable 1 (2 Entries):\r\n"
                                  L"max 25 shown\r\n"
                                  L"          0 65535\r\n"
                                  L"InputTable 2 (2 Entries):\r\n"
                                  L"max 25 shown\r\n"
                                  L"         10    20\r\n"
                                  L"\r\n"
                                  L"CLUTable:\r\n"
                                  L"Row 0:\r\n"
                                  L"     1     2\r\n"
                                  L"\r\n"
                                  L"Row 1:\r\n"
                                  L"     3     4\r\n"
                                  L"\r\n"
                                  L"OutputTable 1: (2 Entries )\r\n"
                                  L"max 25 shown\r\n"
                                  L"      65535     0\r\n";
    EXPECT_EQ(expected, DumpTagData(b.p(), icTag{Sig("pre0"), 0x2C0, 0x48}));
}

TEST(IccDumpLut16, TablesOf256EntriesShow25SampledValues) {
    // Entry k holds 1000 + k; the values shown are 0, 11, 21, 31, 41, 52, ..., 246: the j-th
    // shown entry is the first k with 25 k >= j * 256.
    const unsigned n = 256;
    Block b(52 + 2 * (n + 1 + n));
    b.type("mft2").u8(8, 1).u8(9, 1).u8(10, 1);
    PutIdentity(b);
    b.u16(48, n).u16(50, n);
    for (unsigned k = 0; k < n; ++k) b.u16(52 + 2 * k, uint16_t(1000 + k));
    b.u16(52 + 2 * n, 7);
    for (unsigned k = 0; k < n; ++k) b.u16(52 + 2 * (n + 1) + 2 * k, uint16_t(2000 + k));

    std::vector<unsigned> shown;
    for (unsigned j = 0; j < 25; ++j) shown.push_back((j * n + 24) / 25); // ceil(j * n / 25)
    ASSERT_EQ((std::vector<unsigned>{0, 11, 21, 31, 41, 52}),
              std::vector<unsigned>(shown.begin(), shown.begin() + 6));
    ASSERT_EQ(246u, shown.back());
    std::wstring inLine = L"     ", outLine = L"     ";
    for (unsigned k : shown) {
        inLine += L"  " + std::to_wstring(1000 + k);
        outLine += L"  " + std::to_wstring(2000 + k);
    }
    const std::wstring expected = L"type             mft2\r\n"
                                  L"inputChan:   1  outputChan:   1   clutPoints:   1\r\n" +
                                  kIdentityMatrix +
                                  L"inputEnt: 256  outputEnt: 256\r\n"
                                  L"InputTable 1 (256 Entries):\r\n"
                                  L"max 25 shown\r\n" +
                                  inLine +
                                  L"\r\n"
                                  L"\r\n"
                                  L"CLUTable:\r\n"
                                  L"Row 0:\r\n"
                                  L"     7\r\n"
                                  L"\r\n"
                                  L"OutputTable 1: (256 Entries )\r\n"
                                  L"max 25 shown\r\n" +
                                  outLine + L"\r\n";
    EXPECT_EQ(expected, DumpTag(b.p(), b.size()));
}

TEST(IccDumpLut16, TableOf25EntriesPrintsInFullAnd26Entries25Values) {
    for (unsigned n : {25u, 26u}) {
        Block b(52 + 2 * (n + 1 + n));
        b.type("mft2").u8(8, 1).u8(9, 1).u8(10, 1);
        PutIdentity(b);
        b.u16(48, n).u16(50, n);
        for (unsigned k = 0; k < n; ++k) b.u16(52 + 2 * k, uint16_t(k));
        const std::wstring text = DumpTag(b.p(), b.size());
        const size_t at = text.find(L"max 25 shown\r\n");
        ASSERT_NE(std::wstring::npos, at);
        const size_t lineStart = at + 14;
        const std::wstring line = text.substr(lineStart, text.find(L"\r\n", lineStart) - lineStart);
        std::wstring expected = L"     ";
        for (unsigned j = 0; j < 25; ++j) {
            // 25: every entry; 26: entry 1 is passed over (25 < 26), then one in each step.
            const unsigned k = (j * n + 24) / 25;
            wchar_t buf[16];
            std::swprintf(buf, 16, L" %5u", k);
            expected += buf;
        }
        EXPECT_EQ(expected, line) << n;
    }
}

TEST(IccDumpLut8, FullTablesAndGridUpToFivePoints) {
    // 1 input, 1 output, 2 grid points.
    Block b(48 + 256 + 2 + 256);
    b.type("mft1").u8(8, 1).u8(9, 1).u8(10, 2);
    PutIdentity(b);
    for (unsigned k = 0; k < 256; ++k) b.u8(48 + k, uint8_t(k));
    b.u8(48 + 256, 9).u8(48 + 257, 250);
    for (unsigned k = 0; k < 256; ++k) b.u8(48 + 258 + k, uint8_t(255 - k));
    const std::wstring expected = L"type             mft1\r\n"
                                  L"inputChan:   1  outputChan:   1   clutPoints:   2\r\n" +
                                  kIdentityMatrix + L"InputTable 1:\r\n" +
                                  Table8([](unsigned k) { return k; }) +
                                  L"\r\n"
                                  L"CLUTable:\r\n"
                                  L"Row 0:\r\n"
                                  L"   9 250\r\n"
                                  L"\r\n"
                                  L"OutputTable 1:\r\n" +
                                  Table8([](unsigned k) { return 255 - k; });
    EXPECT_EQ(expected, DumpTag(b.p(), b.size()));
    EXPECT_EQ(expected, DumpTagType(b.as<icLut8Type>()));
    // The first line literally.
    EXPECT_NE(
        std::wstring::npos,
        expected.find(L"InputTable 1:\r\n        0   1   2   3   4   5   6   7   8   9  10  11  "
                      L"12  13  14  15\r\n"));
}

TEST(IccDumpLut8, SixGridPointsAreOnlyAnnouncedAndTheOutputTablesStillShowCorrectly) {
    // 2 inputs, 2 outputs, 6 grid points: 36 nodes, 72 grid bytes.
    const size_t grid = 48 + 2 * 256;
    Block b(grid + 72 + 2 * 256);
    b.type("mft1").u8(8, 2).u8(9, 2).u8(10, 6);
    PutIdentity(b);
    for (unsigned k = 0; k < 512; ++k) b.u8(48 + k, uint8_t(k % 256));
    for (unsigned k = 0; k < 72; ++k) b.u8(grid + k, 0xEE);
    for (unsigned k = 0; k < 512; ++k) b.u8(grid + 72 + k, uint8_t(k < 256 ? 255 - k : k / 4));
    const auto identity = [](unsigned k) { return k; };
    const std::wstring expected = L"type             mft1\r\n"
                                  L"inputChan:   2  outputChan:   2   clutPoints:   6\r\n" +
                                  kIdentityMatrix + L"InputTable 1:\r\n" + Table8(identity) +
                                  L"InputTable 2:\r\n" + Table8(identity) +
                                  L"table with 6 clutpoints\r\n"
                                  L"OutputTable 1:\r\n" +
                                  Table8([](unsigned k) { return 255 - k; }) +
                                  L"OutputTable 2:\r\n" +
                                  Table8([](unsigned k) { return (k + 256) / 4; });
    EXPECT_EQ(expected, DumpTag(b.p(), b.size()));
}

TEST(IccDumpLut8, TwoInputsFivePointsShowsTheGridByRows) {
    // 2 inputs, 1 output, 5 grid points: 5 rows of 5 values.
    const size_t grid = 48 + 2 * 256;
    Block b(grid + 25 + 256);
    b.type("mft1").u8(8, 2).u8(9, 1).u8(10, 5);
    for (unsigned k = 0; k < 25; ++k) b.u8(grid + k, uint8_t(10 * k));
    const std::wstring text = DumpTag(b.p(), b.size());
    EXPECT_NE(std::wstring::npos, text.find(L"\r\n\r\nCLUTable:\r\n"
                                            L"Row 0:\r\n   0  10  20  30  40\r\n\r\n"
                                            L"Row 1:\r\n  50  60  70  80  90\r\n\r\n"
                                            L"Row 2:\r\n 100 110 120 130 140\r\n\r\n"
                                            L"Row 3:\r\n 150 160 170 180 190\r\n\r\n"
                                            L"Row 4:\r\n 200 210 220 230 240\r\n\r\n"
                                            L"OutputTable 1:\r\n"));
}

// ---------------------------------------------------------------------------------------------
// Bounds

TEST(IccDumpBounds, ValuesBeyondTheTagSizeAreNotRead) {
    Block b(16);
    b.type("curv").u32(8, 1000).u16(12, 1).u16(14, 2);
    EXPECT_EQ(L"type             curv\r\n"
              L"count            1000\r\n"
              L"              1\r\n"
              L"              2\r\n",
              DumpTag(b.p(), 16));
    // A size below the block's head: only what lies within is shown.
    EXPECT_EQ(L"", DumpTag(b.p(), 2));
    // A block shorter than its table entry says, as a shared block can be.
    Block x(20);
    x.type("XYZ ").u32(8, 65536).u32(12, 65536).u32(16, 65536);
    EXPECT_EQ(L"--- tag at offset 0x0 size 0x2c ---\r\n"
              L"sig              wtpt\r\n"
              L"Media XYZ white point\r\n"
              L"type             XYZ \r\n"
              L"   1.0000   1.0000   1.0000  (0x00010000, 0x00010000, 0x00010000)\r\n",
              DumpTagData(x.p(), icTag{Sig("wtpt"), 0, 44}, 20));
}

TEST(IccDumpBounds, DumpLeavesTheBlockUnchanged) {
    Block b(20);
    b.type("curv").u32(8, 3).u16(12, 7).u16(14, 8).u16(16, 9);
    std::vector<uint32_t> before(b.p(), b.p() + 5);
    DumpTag(b.p(), 20);
    EXPECT_EQ(before, std::vector<uint32_t>(b.p(), b.p() + 5));
}
