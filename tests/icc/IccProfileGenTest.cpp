// The profile generator: every Add... operation and its block layout, the header, the fixed-point
// conversions, shared tags, saving and copying to memory.
#include <gtest/gtest.h>

#include <unistd.h>

#include <atomic>
#include <cmath>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "gridtable/TabMft.h"
#include "icc/IccProfileGen.h"
#include "support/FuncTab.h"
#include "support/IccSig.h"
#include "support/TempDir.h"

namespace fs = std::filesystem;

namespace {

using kvrtest::Sig;

constexpr uint32_t Round4Of(uint32_t x) {
    return (x + 3) & ~3u;
}

// Numbers of a host-order block, read at any offset.
uint32_t H32(const void* block, size_t off) {
    uint32_t v;
    std::memcpy(&v, static_cast<const uint8_t*>(block) + off, 4);
    return v;
}
uint16_t H16(const void* block, size_t off) {
    uint16_t v;
    std::memcpy(&v, static_cast<const uint8_t*>(block) + off, 2);
    return v;
}
uint8_t H8(const void* block, size_t off) {
    return static_cast<const uint8_t*>(block)[off];
}
std::string HText(const void* block, size_t off, size_t n) {
    return std::string(static_cast<const char*>(block) + off, n);
}

// Big-endian numbers of a file image.
uint32_t Be32(const std::vector<uint8_t>& b, size_t off) {
    return (uint32_t(b[off]) << 24) | (uint32_t(b[off + 1]) << 16) | (uint32_t(b[off + 2]) << 8) |
           b[off + 3];
}

// Gives the protected parts to the tests.
class TestGen : public CIccProfileGen1 {
public:
    TestGen() : CIccProfileGen1(nullptr) {}
    using CIccProfileRead::m_Tags;
    void SetHeaderField(icHeader h) { m_Header = h; }
};

std::vector<uint8_t> ReadFile(const fs::path& p) {
    std::ifstream f(p, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(f), {});
}

// Table entries and size agree with the rule: offsets from 132 + 12 * count, each owner on a
// 4-byte boundary in node order, shared tags at their owner's offset, size the end of the last.
void ExpectConsistentLayout(TestGen& g) {
    const unsigned n = g.GetCount();
    ASSERT_EQ(g.m_Tags.size(), n);
    uint64_t run = 132 + 12 * uint64_t(n);
    for (unsigned i = 0; i < n; ++i) {
        const auto& node = *g.m_Tags[i];
        EXPECT_EQ(node.sig, g.Tag(i).sig) << i;
        EXPECT_EQ(node.size, g.Tag(i).size) << i;
        run = (run + 3) & ~uint64_t(3);
        if (node.bIsRef()) {
            EXPECT_EQ(node.pRef->offset + 132 + 12 * n, g.Tag(i).offset) << i;
        } else {
            EXPECT_EQ(run, g.Tag(i).offset) << i;
            run += node.size;
        }
    }
    EXPECT_EQ(run, g.Header().size);
}

// What a test table source was asked for, and how many grid nodes it has.
struct TabProbe {
    unsigned nodesAvailable = 0xFFFFFFFFu;
    int maxInputEntry = -1;
    int maxOutputEntry = -1;
};

// A table source of fixed values that notes in `probe` which entries were asked for.
kvrtest::FuncTab TestTab(TabProbe& probe, unsigned in, unsigned out, unsigned points,
                         unsigned inEnt, unsigned outEnt) {
    kvrtest::FuncTab tab(in, out, points, inEnt, outEnt);
    tab.Input([&probe](unsigned entry, unsigned channel) {
        probe.maxInputEntry = std::max(probe.maxInputEntry, int(entry));
        return static_cast<unsigned short>(entry * 64 + channel * 7);
    });
    tab.Nodes16([&probe, out](unsigned node, unsigned short* values) {
        if (node >= probe.nodesAvailable) return 0;
        for (unsigned o = 0; o < out; ++o) values[o] = static_cast<unsigned short>(node * 100 + o);
        return 1;
    });
    tab.Nodes8([&probe, out](unsigned node, unsigned char* values) {
        if (node >= probe.nodesAvailable) return 0;
        for (unsigned o = 0; o < out; ++o) values[o] = static_cast<unsigned char>(node * 3 + o);
        return 1;
    });
    tab.Output([&probe](unsigned entry, unsigned channel) {
        probe.maxOutputEntry = std::max(probe.maxOutputEntry, int(entry));
        return static_cast<unsigned short>(65535 - entry * 32 - channel);
    });
    return tab;
}

} // namespace

// ---------------------------------------------------------------------------------------------
// Constants and conversions

TEST(IccProfileGenConstants, CopyrightLineHas44Characters) {
    ASSERT_NE(nullptr, CIccProfileGen1::szCopyRight);
    EXPECT_EQ(44u, std::strlen(CIccProfileGen1::szCopyRight));
}

TEST(IccProfileGenConstants, BradfordMatrices) {
    const double identity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    const double d55[9] = {1.0184567,  0.0093864,  -0.0213199, 0.0120291, 0.995146,
                           -0.0072228, -0.0039673, 0.0064899,  0.8925936};
    const double d65[9] = {1.0478112,  0.0228866,  -0.050127, 0.0295424, 0.9904844,
                           -0.0170491, -0.0092345, 0.0150436, 0.7521316};
    for (int i = 0; i < 9; ++i) {
        EXPECT_EQ(identity[i], CIccProfileGen1::sc_BradfordD50ToD50[i]) << i;
        EXPECT_EQ(d55[i], CIccProfileGen1::sc_BradfordD55ToD50[i]) << i;
        EXPECT_EQ(d65[i], CIccProfileGen1::sc_BradfordD65ToD50[i]) << i;
    }
}

TEST(IccProfileGenConversion, DoubleToS15Fixed16TruncatesTowardZeroAfterAddingAHalf) {
    EXPECT_EQ(65536, CIccProfileGen1::ConvertDoubleToS15Fixed16(1.0));
    EXPECT_EQ(63190, CIccProfileGen1::ConvertDoubleToS15Fixed16(0.9642));
    EXPECT_EQ(54061, CIccProfileGen1::ConvertDoubleToS15Fixed16(0.8249));
    // trunc(-65536 + 0.5): even whole negative numbers come out one unit towards zero.
    EXPECT_EQ(-65535, CIccProfileGen1::ConvertDoubleToS15Fixed16(-1.0));
    EXPECT_EQ(-32767, CIccProfileGen1::ConvertDoubleToS15Fixed16(-0.5));
    // Negative values are not rounded to nearest.
    EXPECT_EQ(-1, CIccProfileGen1::ConvertDoubleToS15Fixed16(-1.75 / 65536));
    EXPECT_EQ(0, CIccProfileGen1::ConvertDoubleToS15Fixed16(-0.25 / 65536));
    EXPECT_EQ(0, CIccProfileGen1::ConvertDoubleToS15Fixed16(-0.75 / 65536));
    EXPECT_EQ(2, CIccProfileGen1::ConvertDoubleToS15Fixed16(1.5 / 65536));
    EXPECT_EQ(1, CIccProfileGen1::ConvertDoubleToS15Fixed16(1.49 / 65536));
    // Outside the 32-bit range the result saturates; NaN gives 0.
    EXPECT_EQ(INT32_MAX, CIccProfileGen1::ConvertDoubleToS15Fixed16(1e9));
    EXPECT_EQ(INT32_MIN, CIccProfileGen1::ConvertDoubleToS15Fixed16(-1e9));
    EXPECT_EQ(0, CIccProfileGen1::ConvertDoubleToS15Fixed16(std::nan("")));
}

TEST(IccProfileGenConversion, DoubleToU16Fixed16GoesThroughSixtyFourBits) {
    EXPECT_EQ(65536u, CIccProfileGen1::ConvertDoubleToU16Fixed16(1.0));
    EXPECT_EQ(0xFFFF0000u, CIccProfileGen1::ConvertDoubleToU16Fixed16(65535.0));
    EXPECT_EQ(0x80000000u, CIccProfileGen1::ConvertDoubleToU16Fixed16(32768.0));
    // 65536.0 is 2^32: the low 32 bits are kept.
    EXPECT_EQ(0u, CIccProfileGen1::ConvertDoubleToU16Fixed16(65536.0));
    EXPECT_EQ(32768u, CIccProfileGen1::ConvertDoubleToU16Fixed16(0.5));
}

TEST(IccProfileGenConversion, FixedToDouble) {
    EXPECT_EQ(1.0, CIccProfileGen1::ConvertS15Fixed16ToDouble(65536));
    EXPECT_EQ(-0.5, CIccProfileGen1::ConvertS15Fixed16ToDouble(-32768));
    EXPECT_EQ(1.52587890625e-5, CIccProfileGen1::ConvertS15Fixed16ToDouble(1));
    EXPECT_EQ(65535.0, CIccProfileGen1::ConvertU16Fixed16ToDouble(0xFFFF0000u));
    EXPECT_EQ(0.75, CIccProfileGen1::ConvertU16Fixed16ToDouble(49152));
}

TEST(IccProfileGenConversion, ArrayConversionElementwiseAndNothingForCountZeroOrBelow) {
    const double in[4] = {1.0, -0.5, 0.25, -1.75 / 65536};
    int32_t out[4] = {7, 7, 7, 7};
    CIccProfileGen1::ConvertArrayDoubleToS15Fixed16(0, in, out);
    CIccProfileGen1::ConvertArrayDoubleToS15Fixed16(-3, in, out);
    for (int32_t v : out) EXPECT_EQ(7, v);
    CIccProfileGen1::ConvertArrayDoubleToS15Fixed16(4, in, out);
    EXPECT_EQ(65536, out[0]);
    EXPECT_EQ(-32767, out[1]);
    EXPECT_EQ(16384, out[2]);
    EXPECT_EQ(-1, out[3]);
}

// ---------------------------------------------------------------------------------------------
// Header

TEST(IccProfileGenHeader, SetHeaderWritesItsFieldsAndLeavesTheRest) {
    TestGen g;
    g.AddXYZTag(icSigMediaWhitePointTag, 1, 2, 3);
    const uint32_t size = g.Header().size;
    icHeader preset{};
    preset = g.Header();
    preset.flags = 0x5;
    preset.creator = Sig("ABCD");
    g.SetHeaderField(preset);

    std::tm before{};
    const time_t t0 = std::time(nullptr);
    localtime_r(&t0, &before);
    g.SetHeader(icSigOutputClass, icSigCmykData, icSigLabData, icRelativeColorimetric);
    const time_t t1 = std::time(nullptr);

    const icHeader& h = g.Header();
    EXPECT_EQ(size, h.size); // survives
    EXPECT_EQ(icRelativeColorimetric, h.renderingIntent);
    EXPECT_EQ(Sig("TCMS"), h.cmmId);
    EXPECT_EQ(0x02000000u, h.version);
    EXPECT_EQ(icSigOutputClass, h.deviceClass);
    EXPECT_EQ(icSigCmykData, h.colorSpace);
    EXPECT_EQ(icSigLabData, h.pcs);
    EXPECT_EQ(Sig("acsp"), h.magic);
    EXPECT_EQ(Sig("MSFT"), h.platform);
    EXPECT_EQ(Sig("TARV"), h.manufacturer);
    EXPECT_EQ(63190, h.illuminant.X);
    EXPECT_EQ(65536, h.illuminant.Y);
    EXPECT_EQ(54061, h.illuminant.Z);
    EXPECT_EQ(0x5u, h.flags);          // not touched
    EXPECT_EQ(Sig("ABCD"), h.creator); // not touched
    EXPECT_EQ(0u, h.model);
    EXPECT_EQ(0u, h.attributes[0]);
    EXPECT_EQ(0u, h.attributes[1]);

    // The current local time, taken between the two clock readings.
    std::tm tm{};
    tm.tm_year = h.date.year - 1900;
    tm.tm_mon = h.date.month - 1;
    tm.tm_mday = h.date.day;
    tm.tm_hour = h.date.hours;
    tm.tm_min = h.date.minutes;
    tm.tm_sec = h.date.seconds;
    tm.tm_isdst = before.tm_isdst;
    const time_t stamped = std::mktime(&tm);
    EXPECT_GE(stamped, t0 - 1);
    EXPECT_LE(stamped, t1 + 1);
    EXPECT_GE(h.date.month, 1);
    EXPECT_LE(h.date.month, 12);

    // An identifier in the first 16 reserved bytes, the other 28 stay zero.
    bool anyNonZero = false;
    for (int i = 0; i < 16; ++i) anyNonZero = anyNonZero || h.reserved[i] != 0;
    EXPECT_TRUE(anyNonZero);
    for (int i = 16; i < 44; ++i) EXPECT_EQ(0, h.reserved[i]) << i;
}

TEST(IccProfileGenHeader, NewObjectHasZeroHeaderAndIdentifiersDifferBetweenCalls) {
    TestGen g;
    const icHeader zero{};
    EXPECT_EQ(0, std::memcmp(&zero, &g.Header(), sizeof zero));
    g.SetHeader(icSigDisplayClass, icSigRgbData, icSigXYZData, icPerceptual);
    unsigned char first[16];
    std::memcpy(first, g.Header().reserved, 16);
    // The identifier is made of the time and a millisecond tick count.
    ::usleep(3000);
    g.SetHeader(icSigDisplayClass, icSigRgbData, icSigXYZData, icPerceptual);
    EXPECT_NE(0, std::memcmp(first, g.Header().reserved, 16));
}

TEST(IccProfileGenHeader, SetHeaderThenSerializeWithoutTagsWrites132BytesWithCountZero) {
    TestGen g;
    g.SetHeader(icSigOutputClass, icSigCmykData, icSigLabData, icPerceptual);
    kvrtest::TempDir dir("kvr-gen");
    const fs::path path = dir / "empty.icc";
    ASSERT_EQ(1, g.OnSaveDocument(path.wstring().c_str()));
    const std::vector<uint8_t> file = ReadFile(path);
    ASSERT_EQ(132u, file.size());
    EXPECT_EQ(0u, Be32(file, 128)); // count
    // size is written only by the table update, which no call has made: it stays 0.
    EXPECT_EQ(0u, Be32(file, 0));
    EXPECT_EQ(Sig("TCMS"), Be32(file, 4));
    EXPECT_EQ(0x02000000u, Be32(file, 8));
    EXPECT_EQ(Sig("prtr"), Be32(file, 12));
    EXPECT_EQ(Sig("acsp"), Be32(file, 36));
    EXPECT_EQ(Sig("MSFT"), Be32(file, 40));
    EXPECT_EQ(Sig("TARV"), Be32(file, 48));
    EXPECT_EQ(63190u, Be32(file, 68));

    // Serialize on a storing archive writes the same bytes.
    CMemFile mem;
    {
        CArchive ar(&mem, CArchive::store);
        g.Serialize(ar);
    }
    ASSERT_EQ(132u, mem.GetLength());
    EXPECT_EQ(0, std::memcmp(mem.GetBuffer(), file.data(), 132));
}

// ---------------------------------------------------------------------------------------------
// Curves

TEST(IccProfileGenCurve, CountOneHoldsTheGammaAsU8Fixed8) {
    TestGen g;
    g.AddCurveTag(icSigGrayTRCTag, 144179, 1); // 2.2 in s15Fixed16
    const uint32_t* b = g.pTagDataFind(icSigGrayTRCTag);
    ASSERT_NE(nullptr, b);
    EXPECT_EQ(icSigCurveType, H32(b, 0));
    EXPECT_EQ(0u, H32(b, 4));
    EXPECT_EQ(1u, H32(b, 8));
    EXPECT_EQ(563, H16(b, 12));
    EXPECT_EQ(0, H16(b, 14)); // padding
    EXPECT_EQ(16u, g.Tag(0).size);
}

TEST(IccProfileGenCurve, CountThreeGammaOne) {
    TestGen g;
    g.AddCurveTag(icSigRedTRCTag, 65536, 3);
    const uint32_t* b = g.pTagDataFind(icSigRedTRCTag);
    ASSERT_NE(nullptr, b);
    EXPECT_EQ(3u, H32(b, 8));
    EXPECT_EQ(0, H16(b, 12));
    EXPECT_EQ(32768, H16(b, 14));
    EXPECT_EQ(65535, H16(b, 16));
    // An odd count is padded to a multiple of 4 with a zero entry.
    EXPECT_EQ(20u, g.Tag(0).size);
    EXPECT_EQ(0, H16(b, 18));
}

TEST(IccProfileGenCurve, CountZeroIsABlockOf12Bytes) {
    TestGen g;
    g.AddCurveTag(icSigGreenTRCTag, 65536 * 3, 0);
    EXPECT_EQ(12u, g.Tag(0).size);
    const uint32_t* b = g.pTagDataFind(icSigGreenTRCTag);
    EXPECT_EQ(icSigCurveType, H32(b, 0));
    EXPECT_EQ(0u, H32(b, 8));
    EXPECT_EQ(132u + 12 + 12, g.Header().size);
}

TEST(IccProfileGenCurve, EntriesFollowThePowerRule) {
    TestGen g;
    const int32_t gamma = 115343; // about 1.76
    const uint32_t count = 256;
    g.AddCurveTag(icSigBlueTRCTag, gamma, count);
    const uint32_t* b = g.pTagDataFind(icSigBlueTRCTag);
    EXPECT_EQ(Round4Of(2 * count + 12), g.Tag(0).size);
    const double gg = gamma / 65536.0;
    for (uint32_t i = 0; i < count; ++i) {
        const double expected = std::floor(std::pow(i / 255.0, gg) * 65535.0 + 0.5);
        EXPECT_EQ(uint16_t(expected), H16(b, 12 + 2 * i)) << i;
    }
    EXPECT_EQ(0, H16(b, 12));
    EXPECT_EQ(65535, H16(b, 12 + 2 * 255));
}

// ---------------------------------------------------------------------------------------------
// Text and description

TEST(IccProfileGenText, BlockSizeIsRoundedTextPlusEight) {
    TestGen g;
    g.AddTextTag(icSigCopyrightTag, "abc");
    EXPECT_EQ(12u, g.Tag(0).size);
    g.AddTextTag(icSigCharTargetTag, "abcd");
    EXPECT_EQ(16u, g.Tag(1).size);
    const uint32_t* b = g.pTagDataFind(icSigCopyrightTag);
    EXPECT_EQ(icSigTextType, H32(b, 0));
    EXPECT_EQ(std::string("abc", 4), HText(b, 8, 4));
    const uint32_t* c = g.pTagDataFind(icSigCharTargetTag);
    EXPECT_EQ(std::string("abcd\0\0\0\0", 8), HText(c, 8, 8));
    ExpectConsistentLayout(g);
}

TEST(IccProfileGenText, SecondTextOfASignatureReplacesItInPlaceAndLaterOffsetsMove) {
    TestGen g;
    g.AddTextTag(icSigCopyrightTag, "short");
    g.AddXYZTag(icSigMediaWhitePointTag, 1, 2, 3);
    const uint32_t wtptBefore = g.Tag(1).offset;
    const uint32_t sizeBefore = g.Header().size;
    g.AddTextTag(icSigCopyrightTag, "a considerably longer text");
    ASSERT_EQ(2u, g.GetCount());
    EXPECT_EQ(icSigCopyrightTag, g.Tag(0).sig);
    EXPECT_EQ(icSigMediaWhitePointTag, g.Tag(1).sig);
    EXPECT_EQ(Round4Of(27) + 8, g.Tag(0).size);
    EXPECT_EQ(wtptBefore + (Round4Of(27) - Round4Of(6)), g.Tag(1).offset);
    EXPECT_EQ(sizeBefore + (Round4Of(27) - Round4Of(6)), g.Header().size);
    const uint32_t* b = g.pTagDataFind(icSigCopyrightTag);
    EXPECT_STREQ("a considerably longer text", reinterpret_cast<const char*>(b) + 8);
    ExpectConsistentLayout(g);
}

TEST(IccProfileGenText, DescriptionTwiceGivesOneTagWithTheSecondTextAtTheSameIndex) {
    TestGen g;
    g.AddXYZTag(icSigMediaWhitePointTag, 1, 2, 3);
    g.AddProfileDescriptionTag("First");
    g.AddTextTag(icSigCopyrightTag, "c");
    EXPECT_EQ(Round4Of(6) + 91, g.Tag(1).size);
    g.AddProfileDescriptionTag("The second text");
    ASSERT_EQ(3u, g.GetCount());
    EXPECT_EQ(icSigProfileDescriptionTag, g.Tag(1).sig);
    for (unsigned i = 0; i < 3; ++i)
        if (i != 1) {
            EXPECT_NE(icSigProfileDescriptionTag, g.Tag(i).sig);
        }
    EXPECT_EQ(Round4Of(16) + 91, g.Tag(1).size);
    const uint32_t* b = g.pTagDataFind(icSigProfileDescriptionTag);
    EXPECT_EQ(icSigTextDescriptionType, H32(b, 0));
    EXPECT_EQ(16u, H32(b, 8)); // the rounded length, not the exact one
    EXPECT_STREQ("The second text", reinterpret_cast<const char*>(b) + 12);
    // Everything behind the text is zero.
    for (size_t k = 12 + 15; k < g.Tag(1).size; ++k) EXPECT_EQ(0, H8(b, k)) << k;
    ExpectConsistentLayout(g);
}

TEST(IccProfileGenText, ModifyingASharedTextLeavesTheSharingTagItsOldData) {
    TestGen g;
    g.AddTextTag(icSigCopyrightTag, "old");
    g.DupTagAs(icSigCharTargetTag, icSigCopyrightTag);
    g.AddTextTag(icSigCopyrightTag, "new text");
    ASSERT_EQ(2u, g.GetCount());
    EXPECT_STREQ("new text", reinterpret_cast<const char*>(g.pTagDataFind(icSigCopyrightTag)) + 8);
    EXPECT_STREQ("old", reinterpret_cast<const char*>(g.pTagDataFind(icSigCharTargetTag)) + 8);
    ExpectConsistentLayout(g);
}

TEST(IccProfileGenVersion, TarvelinVersionTagOnceWith350) {
    TestGen g;
    g.AddTarvelinVersionTag();
    g.AddTarvelinVersionTag();
    ASSERT_EQ(1u, g.GetCount());
    EXPECT_EQ(icSigTvr2Tag, g.Tag(0).sig);
    EXPECT_EQ(12u, g.Tag(0).size);
    const uint32_t* b = g.pTagDataFind(icSigTvr2Tag);
    EXPECT_EQ(icSigUInt32ArrayType, H32(b, 0));
    EXPECT_EQ(350u, H32(b, 8));
}

TEST(IccProfileGenTags, OtherAddsOfAnExistingSignatureMakeASecondEntry) {
    TestGen g;
    g.AddXYZTag(icSigMediaWhitePointTag, 1, 2, 3);
    g.AddXYZTag(icSigMediaWhitePointTag, 4, 5, 6);
    ASSERT_EQ(2u, g.GetCount());
    EXPECT_EQ(1u, H32(g.pTagDataFind(icSigMediaWhitePointTag), 8)); // the first is found
    ExpectConsistentLayout(g);
}

// ---------------------------------------------------------------------------------------------
// Measurement, XYZ, arrays, raw data

TEST(IccProfileGenMeasurement, IlluminantAndObserverCodes) {
    struct Case {
        enmIluminant il;
        enmObserver ob;
        uint32_t expectIl, expectOb;
    };
    const Case cases[] = {{IluminantD50, Observer2Degree, 1, 1},
                          {IluminantD65, Observer2Degree, 2, 1},
                          {IluminantD50, Observer10Degree, 1, 2},
                          {IluminantD65, Observer10Degree, 2, 2},
                          {static_cast<enmIluminant>(7), static_cast<enmObserver>(5), 1, 1}};
    for (const Case& c : cases) {
        TestGen g;
        g.AddMeasurementInfoTag(c.il, c.ob);
        ASSERT_EQ(1u, g.GetCount());
        EXPECT_EQ(icSigMeasurementTag, g.Tag(0).sig);
        EXPECT_EQ(36u, g.Tag(0).size);
        const uint32_t* b = g.pTagDataFind(icSigMeasurementTag);
        EXPECT_EQ(icSigMeasurementType, H32(b, 0));
        EXPECT_EQ(c.expectOb, H32(b, 8));
        for (size_t off = 12; off < 32; off += 4) EXPECT_EQ(0u, H32(b, off)) << off;
        EXPECT_EQ(c.expectIl, H32(b, 32));
        // The reader's view of the tag agrees.
        enmIluminant il;
        enmObserver ob;
        ASSERT_TRUE(g.GetMeasurementInfo(il, ob));
        EXPECT_EQ(c.expectIl == 2 ? IluminantD65 : IluminantD50, il);
        EXPECT_EQ(c.expectOb == 2 ? Observer10Degree : Observer2Degree, ob);
    }
}

TEST(IccProfileGenTags, XYZAndS15ArrayAndRawData) {
    TestGen g;
    g.AddXYZTag(icSigMediaWhitePointTag, 63190, 65536, 0xFFFF8000u);
    const int32_t values[3] = {65536, -32768, 7};
    g.AddS15Fixed16ArrayTag(icSigChromaticAdaptationTag, 3, values);
    const uint32_t raw[5] = {icSigDateTimeType, 0, 0x000507E8u, 0x000D0011u, 0x003B002Du};
    g.AddTagAndData(icTag{icSigCalibrationDateTimeTag, 999, 20}, raw);

    ASSERT_EQ(3u, g.GetCount());
    const uint32_t* xyz = g.pTagDataFind(icSigMediaWhitePointTag);
    EXPECT_EQ(20u, g.Tag(0).size);
    EXPECT_EQ(icSigXYZType, H32(xyz, 0));
    EXPECT_EQ(63190u, H32(xyz, 8));
    EXPECT_EQ(65536u, H32(xyz, 12));
    EXPECT_EQ(0xFFFF8000u, H32(xyz, 16));

    const uint32_t* sf = g.pTagDataFind(icSigChromaticAdaptationTag);
    EXPECT_EQ(20u, g.Tag(1).size);
    EXPECT_EQ(icSigS15Fixed16ArrayType, H32(sf, 0));
    EXPECT_EQ(65536u, H32(sf, 8));
    EXPECT_EQ(uint32_t(-32768), H32(sf, 12));
    EXPECT_EQ(7u, H32(sf, 16));

    const uint32_t* dt = g.pTagDataFind(icSigCalibrationDateTimeTag);
    EXPECT_EQ(20u, g.Tag(2).size);
    EXPECT_EQ(0, std::memcmp(raw, dt, 20));
    EXPECT_EQ(nullptr, g.pTagDataFind(icSigGamutTag));
    ExpectConsistentLayout(g);
}

// ---------------------------------------------------------------------------------------------
// Named colours and colorants

TEST(IccProfileGenNamedColor, LayoutOfTheBlock) {
    TestGen g;
    const std::vector<std::wstring> names = {L"Red", L"Gr\u00fcn"};
    const std::vector<ICC_threecolors> pcs = {{{1, 2, 3}}, {{4, 5, 6}}};
    const std::vector<unsigned short> device = {10, 11, 12, 13, 20, 21, 22, 23};
    g.AddNamedColor2Tag(2, 4, L"PRE ", L" SUF", names, pcs, device);
    ASSERT_EQ(1u, g.GetCount());
    EXPECT_EQ(icSigNamedColor2Tag, g.Tag(0).sig);
    EXPECT_EQ(84u + 2 * 2 * (4 + 19), g.Tag(0).size);
    const uint32_t* b = g.pTagDataFind(icSigNamedColor2Tag);
    EXPECT_EQ(icSigNamedColor2Type, H32(b, 0));
    EXPECT_EQ(0x80000000u, H32(b, 8));
    EXPECT_EQ(2u, H32(b, 12));
    EXPECT_EQ(4u, H32(b, 16));
    EXPECT_EQ(std::string("PRE \0", 5), HText(b, 20, 5));
    EXPECT_EQ(std::string(" SUF\0", 5), HText(b, 52, 5));
    const size_t stride = 38 + 2 * 4;
    EXPECT_EQ(std::string("Red\0", 4), HText(b, 84, 4));
    EXPECT_EQ(std::string("Gr\xC3\xBCn\0", 6), HText(b, 84 + stride, 6));
    for (int c = 0; c < 2; ++c) {
        const size_t e = 84 + c * stride;
        for (int k = 0; k < 3; ++k) EXPECT_EQ(pcs[c].v[k], H16(b, e + 32 + 2 * k));
        for (int k = 0; k < 4; ++k) EXPECT_EQ(device[c * 4 + k], H16(b, e + 38 + 2 * k));
    }
}

TEST(IccProfileGenNamedColor, NameOf33BytesLosesItsWholeLastCharacter) {
    // 31 ASCII bytes and a two-byte character: byte 32 is a continuation byte.
    const std::wstring name = std::wstring(31, L'a') + L"\u00e9";
    ASSERT_EQ(33u, std::string(31, 'a').size() + 2);
    TestGen g;
    g.AddNamedColor2Tag(1, 0, name, L"", {name}, {{{0, 0, 0}}}, {});
    const uint32_t* b = g.pTagDataFind(icSigNamedColor2Tag);
    // Built with append: g++ 12 warns falsely about a string + char (-Warray-bounds).
    const std::string expected = std::string(31, 'a').append(1, '\0');
    EXPECT_EQ(expected, HText(b, 20, 32)); // prefix
    EXPECT_EQ(expected, HText(b, 84, 32)); // name
}

TEST(IccProfileGenNamedColor, CutStepsBackOverEveryContinuationByte) {
    // 30 ASCII bytes and a three-byte character (bytes 30..32): cut at 30.
    const std::wstring name = std::wstring(30, L'b') + L"\u20ac";
    TestGen g;
    g.AddNamedColor2Tag(1, 1, L"", name, {name}, {}, {});
    const uint32_t* b = g.pTagDataFind(icSigNamedColor2Tag);
    EXPECT_EQ(std::string(30, 'b') + std::string(2, '\0'), HText(b, 52, 32));
    EXPECT_EQ(std::string(30, 'b') + std::string(2, '\0'), HText(b, 84, 32));
    // Missing values are written as zero.
    for (int k = 0; k < 4; ++k) EXPECT_EQ(0, H16(b, 84 + 32 + 2 * k));
}

TEST(IccProfileGenNamedColor, TextOfExactly32BytesHasNoTerminator) {
    const std::wstring name(32, L'x');
    TestGen g;
    g.AddNamedColor2Tag(1, 0, name, L"", {name, L"unused"}, {{{7, 8, 9}}}, {});
    ASSERT_EQ(84u + 38, g.Tag(0).size);
    const uint32_t* b = g.pTagDataFind(icSigNamedColor2Tag);
    EXPECT_EQ(std::string(32, 'x'), HText(b, 20, 32));
    EXPECT_EQ(0, H8(b, 52)); // the suffix field is empty
    EXPECT_EQ(std::string(32, 'x'), HText(b, 84, 32));
    EXPECT_EQ(7, H16(b, 84 + 32));
    // 122 bytes: the size stays unrounded, the table still places the next tag on 4 bytes.
    g.AddTextTag(icSigCopyrightTag, "c");
    ExpectConsistentLayout(g);
    EXPECT_EQ(0u, g.Tag(1).offset % 4);
}

TEST(IccProfileGenColorant, LayoutAndNamesCutAt31BytesWithoutRegardToCharacters) {
    TestGen g;
    // 30 ASCII bytes and a two-byte character: the cut at 31 bytes splits the character.
    const std::wstring longName = std::wstring(30, L'c') + L"\u00e9";
    g.AddColorantTableTag({L"Cyan", longName, L"Black"},
                          {{{100, 200, 300}}, {{400, 500, 600}}, {{700, 800, 900}}});
    ASSERT_EQ(1u, g.GetCount());
    EXPECT_EQ(icSigColorantTableTag, g.Tag(0).sig);
    EXPECT_EQ(12u + 38 * 3, g.Tag(0).size);
    const uint32_t* b = g.pTagDataFind(icSigColorantTableTag);
    EXPECT_EQ(icSigColorantTableType, H32(b, 0));
    EXPECT_EQ(3u, H32(b, 8));
    EXPECT_EQ(std::string("Cyan") + std::string(28, '\0'), HText(b, 12, 32));
    EXPECT_EQ(std::string(30, 'c').append("\xC3").append(1, '\0'), HText(b, 12 + 38, 32));
    EXPECT_EQ(std::string("Black\0", 6), HText(b, 12 + 76, 6));
    const unsigned short expect[9] = {100, 200, 300, 400, 500, 600, 700, 800, 900};
    for (int e = 0; e < 3; ++e)
        for (int k = 0; k < 3; ++k) EXPECT_EQ(expect[e * 3 + k], H16(b, 12 + 38 * e + 32 + 2 * k));
}

// ---------------------------------------------------------------------------------------------
// Lookup tables

TEST(IccProfileGenLut, Lut16FromPipelineCopiesItsTables) {
    CFunc_16Tab3Mft f(3, 2); // 3 grid points, 2 outputs
    std::vector<uint16_t> in(3 * 4), out(2 * 5), grid(27 * 2);
    for (size_t i = 0; i < in.size(); ++i) in[i] = uint16_t(1000 + i);
    for (size_t i = 0; i < out.size(); ++i) out[i] = uint16_t(5000 + 3 * i);
    for (size_t i = 0; i < grid.size(); ++i) grid[i] = uint16_t(20000 + 11 * i);
    f.DefineInputTab(in.data(), 4);
    f.DefineOutputTab(out.data(), 5);
    f.Mft().Define(grid.data());

    TestGen g;
    uint32_t* b = g.AddLut16Tag(icSigAToB0Tag, f);
    ASSERT_EQ(b, g.pTagDataFind(icSigAToB0Tag));
    const uint32_t expectSize = Round4Of(2 * (4 * 3 + (27 + 5) * 2) + 52);
    EXPECT_EQ(expectSize, g.Tag(0).size);
    EXPECT_EQ(icSigLut16Type, H32(b, 0));
    EXPECT_EQ(3, H8(b, 8));
    EXPECT_EQ(2, H8(b, 9));
    EXPECT_EQ(3, H8(b, 10));
    const uint32_t identity[9] = {65536, 0, 0, 0, 65536, 0, 0, 0, 65536};
    for (int k = 0; k < 9; ++k) EXPECT_EQ(identity[k], H32(b, 12 + 4 * k)) << k;
    EXPECT_EQ(4, H16(b, 48));
    EXPECT_EQ(5, H16(b, 50));
    size_t at = 52;
    for (uint16_t v : in) EXPECT_EQ(v, H16(b, (at += 2) - 2));
    for (uint16_t v : grid) EXPECT_EQ(v, H16(b, (at += 2) - 2));
    for (uint16_t v : out) EXPECT_EQ(v, H16(b, (at += 2) - 2));
    for (; at < expectSize; ++at) EXPECT_EQ(0, H8(b, at));
}

TEST(IccProfileGenLut, Lut16FromPipelineWithIdentityCurvesWritesTwoEntries) {
    CFunc_16Tab3Mft f(2, 3);
    std::vector<uint16_t> grid(8 * 3, 4242);
    f.Mft().Define(grid.data());
    TestGen g;
    uint32_t* b = g.AddLut16Tag(icSigBToA0Tag, f);
    EXPECT_EQ(2, H16(b, 48));
    EXPECT_EQ(2, H16(b, 50));
    for (int c = 0; c < 3; ++c) {
        EXPECT_EQ(0, H16(b, 52 + 4 * c));
        EXPECT_EQ(65535, H16(b, 54 + 4 * c));
    }
    EXPECT_EQ(4242, H16(b, 52 + 12));
}

TEST(IccProfileGenLut, Lut8FromPipelineCopiesItsTables) {
    CFunc_8Tab3Mft f(2, 4); // 2 grid points, 4 outputs
    std::vector<uint8_t> in(3 * 256), out(4 * 256), grid(8 * 4);
    for (size_t i = 0; i < in.size(); ++i) in[i] = uint8_t(255 - i % 256);
    for (size_t i = 0; i < out.size(); ++i) out[i] = uint8_t((i * 7) % 256);
    for (size_t i = 0; i < grid.size(); ++i) grid[i] = uint8_t(3 * i + 1);
    f.DefineInputTab(in.data());
    f.DefineOutputTab(out.data());
    f.Mft().Define(grid.data());

    TestGen g;
    uint32_t* b = g.AddLut8Tag(icSigBToA0Tag, f);
    const uint32_t expectSize = Round4Of(48 + 256 * (3 + 4) + 8 * 4);
    EXPECT_EQ(expectSize, g.Tag(0).size);
    EXPECT_EQ(icSigLut8Type, H32(b, 0));
    EXPECT_EQ(3, H8(b, 8));
    EXPECT_EQ(4, H8(b, 9));
    EXPECT_EQ(2, H8(b, 10));
    EXPECT_EQ(65536u, H32(b, 12));
    EXPECT_EQ(0u, H32(b, 16));
    EXPECT_EQ(65536u, H32(b, 28));
    EXPECT_EQ(65536u, H32(b, 44));
    size_t at = 48;
    for (uint8_t v : in) EXPECT_EQ(v, H8(b, at++));
    for (uint8_t v : grid) EXPECT_EQ(v, H8(b, at++));
    for (uint8_t v : out) EXPECT_EQ(v, H8(b, at++));
}

TEST(IccProfileGenLut, Lut16FromTableSourceFillsInOrder) {
    TabProbe probe;
    const kvrtest::FuncTab t = TestTab(probe, 3, 2, 2, 5, 3);
    TestGen g;
    uint32_t* b = g.AddLut16Tag(icSigAToB1Tag, t);
    const uint32_t expectSize = Round4Of(2 * (5 * 3 + (8 + 3) * 2) + 52);
    EXPECT_EQ(expectSize, g.Tag(0).size);
    EXPECT_EQ(icSigLut16Type, H32(b, 0));
    EXPECT_EQ(3, H8(b, 8));
    EXPECT_EQ(2, H8(b, 9));
    EXPECT_EQ(2, H8(b, 10));
    EXPECT_EQ(65536u, H32(b, 12));
    EXPECT_EQ(65536u, H32(b, 28));
    EXPECT_EQ(65536u, H32(b, 44));
    EXPECT_EQ(5, H16(b, 48));
    EXPECT_EQ(3, H16(b, 50));
    size_t at = 52;
    for (unsigned c = 0; c < 3; ++c)
        for (unsigned e = 0; e < 5; ++e) EXPECT_EQ(e * 64 + c * 7, H16(b, (at += 2) - 2));
    for (unsigned k = 0; k < 8; ++k)
        for (unsigned o = 0; o < 2; ++o) EXPECT_EQ(k * 100 + o, H16(b, (at += 2) - 2));
    for (unsigned c = 0; c < 2; ++c)
        for (unsigned e = 0; e < 3; ++e) EXPECT_EQ(65535 - e * 32 - c, H16(b, (at += 2) - 2));
    EXPECT_EQ(expectSize - 2, at); // 126 bytes, padded to 128 with zero
    EXPECT_EQ(0, H16(b, at));
}

TEST(IccProfileGenLut, Lut16FromTableSourceThatEndsEarlyLeavesTheRestZero) {
    TabProbe probe;
    const kvrtest::FuncTab t = TestTab(probe, 3, 2, 2, 2, 2);
    probe.nodesAvailable = 3;
    TestGen g;
    uint32_t* b = g.AddLut16Tag(icSigAToB0Tag, t);
    ASSERT_EQ(1u, g.GetCount());
    const uint32_t size = g.Tag(0).size;
    EXPECT_EQ(Round4Of(2 * (2 * 3 + (8 + 2) * 2) + 52), size);
    const size_t grid = 52 + 2 * 6;
    for (unsigned k = 0; k < 3; ++k)
        for (unsigned o = 0; o < 2; ++o) EXPECT_EQ(k * 100 + o, H16(b, grid + 4 * k + 2 * o));
    for (size_t at = grid + 4 * 3; at < size; ++at) EXPECT_EQ(0, H8(b, at)) << at;
    EXPECT_EQ(g.Header().size, 132 + 12 + size);
}

TEST(IccProfileGenLut, Lut8FromTableSourceReadsOnly256EntriesAndDividesBy257) {
    TabProbe probe;
    const kvrtest::FuncTab t = TestTab(probe, 1, 2, 3, 1024, 4096);
    TestGen g;
    uint32_t* b = g.AddLut8Tag(icSigBToA0Tag, t);
    EXPECT_EQ(255, probe.maxInputEntry);
    EXPECT_EQ(255, probe.maxOutputEntry);
    const uint32_t expectSize = Round4Of(48 + 256 * 3 + 3 * 2);
    EXPECT_EQ(expectSize, g.Tag(0).size);
    EXPECT_EQ(1, H8(b, 8));
    EXPECT_EQ(2, H8(b, 9));
    EXPECT_EQ(3, H8(b, 10));
    size_t at = 48;
    for (unsigned e = 0; e < 256; ++e) EXPECT_EQ((e * 64) % 65536 / 257, H8(b, at++)) << e;
    for (unsigned k = 0; k < 3; ++k)
        for (unsigned o = 0; o < 2; ++o) EXPECT_EQ(k * 3 + o, H8(b, at++));
    for (unsigned c = 0; c < 2; ++c)
        for (unsigned e = 0; e < 256; ++e) EXPECT_EQ((65535 - e * 32 - c) / 257, H8(b, at++));
}

TEST(IccProfileGenLut, Lut8FromTableSourceThatEndsEarlySkipsTheOutputTables) {
    TabProbe probe;
    const kvrtest::FuncTab t = TestTab(probe, 2, 1, 2, 256, 256);
    probe.nodesAvailable = 0;
    TestGen g;
    uint32_t* b = g.AddLut8Tag(icSigBToA0Tag, t);
    EXPECT_EQ(-1, probe.maxOutputEntry);
    for (size_t at = 48 + 512; at < g.Tag(0).size; ++at) EXPECT_EQ(0, H8(b, at));
    EXPECT_EQ(64 / 257, H8(b, 48 + 1));
    EXPECT_EQ((255 * 64 + 7) / 257, H8(b, 48 + 256 + 255));
}

// ---------------------------------------------------------------------------------------------
// Shared tags, saving, copying

TEST(IccProfileGenDup, UnknownExistingSignatureAddsNothing) {
    TestGen g;
    g.AddXYZTag(icSigMediaWhitePointTag, 1, 2, 3);
    g.AddCurveTag(icSigRedTRCTag, 65536, 3);
    const uint32_t size = g.Header().size;
    g.DupTagAs(icSigGreenTRCTag, icSigBlueTRCTag);
    EXPECT_EQ(2u, g.GetCount());
    EXPECT_EQ(size, g.Header().size);
    ExpectConsistentLayout(g);
}

TEST(IccProfileGenDup, SharedTagHasTheOwnersOffsetInTableAndFileAndLoadsAsSharingNode) {
    TestGen g;
    g.SetHeader(icSigDisplayClass, icSigRgbData, icSigXYZData, icPerceptual);
    g.AddCurveTag(icSigRedTRCTag, 144179, 5);
    g.AddXYZTag(icSigMediaWhitePointTag, 63190, 65536, 54061);
    g.DupTagAs(icSigGreenTRCTag, icSigRedTRCTag);
    g.DupTagAs(icSigBlueTRCTag, icSigGreenTRCTag); // a sharing tag shared again
    ASSERT_EQ(4u, g.GetCount());
    EXPECT_EQ(g.Tag(0).offset, g.Tag(2).offset);
    EXPECT_EQ(g.Tag(0).offset, g.Tag(3).offset);
    EXPECT_EQ(g.Tag(0).size, g.Tag(2).size);
    EXPECT_EQ(g.pTagDataFind(icSigRedTRCTag), g.pTagDataFind(icSigGreenTRCTag));
    EXPECT_EQ(g.pTagDataFind(icSigRedTRCTag), g.pTagDataFind(icSigBlueTRCTag));
    ExpectConsistentLayout(g);
    // The data is in the file once: size ends behind the XYZ tag.
    EXPECT_EQ(132u + 12 * 4 + 24 + 20, g.Header().size);

    kvrtest::TempDir dir("kvr-gen");
    const fs::path path = dir / "dup.icc";
    ASSERT_EQ(1, g.OnSaveDocument(path.wstring().c_str()));
    const std::vector<uint8_t> file = ReadFile(path);
    ASSERT_EQ(g.Header().size, file.size());
    EXPECT_EQ(Be32(file, 132 + 4), Be32(file, 132 + 24 + 4));
    EXPECT_EQ(Be32(file, 132 + 4), Be32(file, 132 + 36 + 4));

    CIccProfileRead r(nullptr);
    ASSERT_EQ(1, r.Open(path.wstring().c_str()));
    ASSERT_EQ(4u, r.GetCount());
    EXPECT_EQ(r.GetTagData(0), r.GetTagData(2));
    EXPECT_EQ(r.GetTagData(0), r.GetTagData(3));
    EXPECT_NE(r.GetTagData(0), r.GetTagData(1));
    EXPECT_EQ(0, std::memcmp(r.GetTagData(0), g.pTagDataFind(icSigRedTRCTag), 24));
}

TEST(IccProfileGenSave, SavedFileLoadsBackWithEveryBlockEqual) {
    TestGen g;
    g.SetHeader(icSigOutputClass, icSigCmykData, icSigLabData, icSaturation);
    g.AddProfileDescriptionTag("Saved");
    g.AddCurveTag(icSigGrayTRCTag, 144179, 1);
    g.AddNamedColor2Tag(1, 4, L"", L"", {L"N"}, {{{1, 2, 3}}}, {4, 5, 6, 7});
    g.AddColorantTableTag({L"C"}, {{{9, 8, 7}}});
    g.AddTarvelinVersionTag();
    kvrtest::TempDir dir("kvr-gen");
    const fs::path path = dir / "saved.icc";
    ASSERT_EQ(1, g.OnSaveDocument(path.wstring().c_str()));
    EXPECT_EQ(g.Header().size, ReadFile(path).size());
    CIccProfileRead r(nullptr);
    ASSERT_EQ(1, r.Open(path.wstring().c_str()));
    EXPECT_EQ(0, std::memcmp(&g.Header(), &r.Header(), sizeof(icHeader)));
    ASSERT_EQ(g.GetCount(), r.GetCount());
    for (unsigned i = 0; i < g.GetCount(); ++i) {
        EXPECT_EQ(g.Tag(i).sig, r.Tag(i).sig);
        EXPECT_EQ(g.Tag(i).offset, r.Tag(i).offset);
        EXPECT_EQ(g.Tag(i).size, r.Tag(i).size);
        EXPECT_EQ(0, std::memcmp(g.GetTagData(i), r.GetTagData(i), g.Tag(i).size)) << i;
    }
}

TEST(IccProfileGenCopy, CopyToMemoryEqualsTheFileWhenSizesAreMultiplesOfFour) {
    TestGen g;
    g.SetHeader(icSigDisplayClass, icSigRgbData, icSigXYZData, icPerceptual);
    g.AddTextTag(icSigCopyrightTag, CIccProfileGen1::szCopyRight);
    g.AddCurveTag(icSigRedTRCTag, 65536, 4);
    g.AddXYZTag(icSigMediaWhitePointTag, 63190, 65536, 54061);
    g.AddMeasurementInfoTag(IluminantD65, Observer10Degree);
    uint32_t sum = 0;
    for (unsigned i = 0; i < g.GetCount(); ++i) {
        ASSERT_EQ(0u, g.Tag(i).size % 4);
        sum += g.Tag(i).size;
    }
    const size_t total = 132 + 12 * g.GetCount() + sum;
    ASSERT_EQ(g.Header().size, total);
    std::vector<char> mem(total + 8, char(0x55));
    const icHeader headerBefore = g.Header();
    g.CopyToMemory(mem.data());
    // Nothing written beyond, the profile unchanged.
    for (size_t k = total; k < mem.size(); ++k) EXPECT_EQ(char(0x55), mem[k]);
    EXPECT_EQ(0, std::memcmp(&headerBefore, &g.Header(), sizeof headerBefore));
    EXPECT_EQ(icSigTextType, H32(g.pTagDataFind(icSigCopyrightTag), 0));

    kvrtest::TempDir dir("kvr-gen");
    const fs::path path = dir / "copy.icc";
    ASSERT_EQ(1, g.OnSaveDocument(path.wstring().c_str()));
    const std::vector<uint8_t> file = ReadFile(path);
    ASSERT_EQ(total, file.size());
    EXPECT_EQ(0, std::memcmp(file.data(), mem.data(), total));
}

TEST(IccProfileGenCopy, CopyToMemoryHonoursNoOffsetsAndRepeatsSharedData) {
    TestGen g;
    g.AddTextTag(icSigCopyrightTag, "ab");   // 12 bytes
    g.AddCurveTag(icSigRedTRCTag, 65536, 3); // 20 bytes
    g.DupTagAs(icSigGreenTRCTag, icSigRedTRCTag);
    g.AddColorantTableTag({L"X"}, {{{1, 2, 3}}}); // 50 bytes
    g.AddXYZTag(icSigMediaWhitePointTag, 1, 2, 3);
    const unsigned n = g.GetCount();
    ASSERT_EQ(5u, n);
    std::vector<uint8_t> mem(132 + 12 * n + 12 + 20 + 20 + 50 + 20);
    g.CopyToMemory(reinterpret_cast<char*>(mem.data()));
    EXPECT_EQ(n, Be32(mem, 128));
    // The table says what UpdateTagTableAndHeader made of it...
    for (unsigned i = 0; i < n; ++i) {
        EXPECT_EQ(g.Tag(i).sig, Be32(mem, 132 + 12 * i));
        EXPECT_EQ(g.Tag(i).offset, Be32(mem, 136 + 12 * i));
        EXPECT_EQ(g.Tag(i).size, Be32(mem, 140 + 12 * i));
    }
    // ...while the data stand one behind the other: curve, shared curve again, colorants, XYZ.
    size_t at = 132 + 12 * n;
    EXPECT_EQ(icSigTextType, Be32(mem, at));
    at += 12;
    EXPECT_EQ(icSigCurveType, Be32(mem, at));
    EXPECT_EQ(3u, Be32(mem, at + 8));
    at += 20;
    EXPECT_EQ(icSigCurveType, Be32(mem, at));
    at += 20;
    EXPECT_EQ(icSigColorantTableType, Be32(mem, at));
    at += 50;
    EXPECT_EQ(icSigXYZType, Be32(mem, at)); // on a 2-byte boundary, unlike the file
    EXPECT_NE(at + 0u, g.Tag(4).offset);
}

TEST(IccProfileGenLayout, EveryAddKeepsTableAndSizeUpToDate) {
    TestGen g;
    g.AddColorantTableTag({L"A", L"B", L"C"}, {}); // 126 bytes
    ExpectConsistentLayout(g);
    g.AddNamedColor2Tag(1, 0, L"", L"", {}, {}, {}); // 122 bytes
    ExpectConsistentLayout(g);
    g.AddCurveTag(icSigRedTRCTag, 65536, 7);
    ExpectConsistentLayout(g);
    g.AddProfileDescriptionTag("x");
    ExpectConsistentLayout(g);
    g.AddTarvelinVersionTag();
    ExpectConsistentLayout(g);
    EXPECT_EQ(1, g.bAllOffsetsDwordAligned());
}
