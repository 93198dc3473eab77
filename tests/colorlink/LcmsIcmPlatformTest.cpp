// The platform calls of the ICM back-end carried out by lcms2: pixels of every bitmap format
// against lcms2 itself on the same chain, the refusals, the handles and the resources.
#include <gtest/gtest.h>

#include <cstring>
#include <thread>

#include "colorlink/IcmLcmsUtil.h"
#include "colorlink/icm/LcmsIcmPlatform.h"

namespace {

using namespace icmtest;
using kvrtest::CorpusProfile;
using kvrtest::SourcePixels;
using kvrtest::TempDir;

constexpr unsigned kPixels = 4096;

class LcmsIcmPlatformTest : public ::testing::Test {
protected:
    LcmsIcmPlatformTest() : lab(LabProfileBytes()) {}

    ~LcmsIcmPlatformTest() override {
        // Every test closes what it opened.
        EXPECT_EQ(icm.OpenProfileCount(), 0u);
    }

    icm::HPROFILE OpenFile(const std::wstring& path) {
        icm::PROFILE p{icm::kProfileFileName, const_cast<wchar_t*>(path.c_str()),
                       uint32_t((path.size() + 1) * sizeof(wchar_t))};
        return icm.OpenColorProfileW(&p, icm::kProfileRead, icm::kFileShareRead,
                                     icm::kOpenExisting);
    }
    icm::HPROFILE OpenMemory(const Bytes& bytes) {
        icm::PROFILE p{icm::kProfileMemBuffer, const_cast<uint8_t*>(bytes.data()),
                       uint32_t(bytes.size())};
        return icm.OpenColorProfileW(&p, icm::kProfileRead, 0, icm::kOpenExisting);
    }

    // A profile of the chain, for the platform and for lcms2 alike: a file or the Lab profile.
    struct Step {
        std::wstring path; // empty: the built-in Lab profile
    };
    static Step File(const std::wstring& p) { return {p}; }
    static Step Lab() { return {}; }

    // Opens the chain on the platform and makes one transform with `intents`.
    icm::HTRANSFORM Build(const std::vector<Step>& chain, std::vector<uint32_t> intents) {
        std::vector<icm::HPROFILE> handles;
        for (const Step& s : chain) {
            handles.push_back(s.path.empty() ? OpenMemory(lab) : OpenFile(s.path));
            EXPECT_NE(handles.back(), nullptr) << WideToUtf8(s.path);
        }
        icm::HTRANSFORM t =
            icm.CreateMultiProfileTransform(handles.data(), uint32_t(handles.size()),
                                            intents.data(), uint32_t(intents.size()), 0, 0);
        for (icm::HPROFILE h : handles) icm.CloseColorProfile(h);
        return t;
    }

    // The chain converted by lcms2 directly, in the colour spaces' own order.
    std::vector<uint8_t> Reference(const std::vector<Step>& chain, uint32_t intent,
                                   cmsUInt32Number inFormat, cmsUInt32Number outFormat,
                                   const std::vector<uint8_t>& src) {
        std::vector<RefProfile> open;
        std::vector<cmsHPROFILE> handles;
        for (const Step& s : chain) {
            open.push_back(s.path.empty() ? RefOpen(lab) : RefOpen(s.path));
            handles.push_back(open.back().get());
        }
        return RefConvert(handles, intent, inFormat, outFormat, src,
                          unsigned(src.size() / T_CHANNELS(inFormat)));
    }

    // One format case: the platform's run in bitmap formats against lcms2's in its own order,
    // the bytes of reversed formats turned around on the way in and out.
    void ExpectAgrees(const std::vector<Step>& chain, uint32_t intent, icm::BMFORMAT bmIn,
                      bool reverseIn, cmsUInt32Number refIn, icm::BMFORMAT bmOut, bool reverseOut,
                      cmsUInt32Number refOut) {
        SCOPED_TRACE("bitmap formats " + std::to_string(bmIn) + " to " + std::to_string(bmOut));
        const unsigned nIn = T_CHANNELS(refIn), nOut = T_CHANNELS(refOut);
        const std::vector<uint8_t> src = SourcePixels<uint8_t>(kPixels, nIn);
        icm::HTRANSFORM t = Build(chain, {intent});
        ASSERT_NE(t, nullptr);
        std::vector<uint8_t> got(size_t(kPixels) * nOut);
        ASSERT_EQ(icm.TranslateBitmapBits(t, src.data(), bmIn, kPixels, 1, 0, got.data(), bmOut, 0,
                                          nullptr, 0),
                  1);
        std::vector<uint8_t> ref =
            Reference(chain, intent, refIn, refOut, reverseIn ? Reversed(src, nIn) : src);
        if (reverseOut) ref = Reversed(ref, nOut);
        EXPECT_LE(MaxDiff(got, ref), 1);
    }

    TempDir dir{"kvr-icm"};
    CLcmsIcmPlatform icm;
    const Bytes lab;
};

std::wstring Corpus(const char* name) {
    return CorpusProfile(name).wstring();
}

// ---------------------------------------------------------------------------------------------
// Each bitmap format agrees with lcms2.

TEST_F(LcmsIcmPlatformTest, BlueGreenRedTripletsInAndCmykQuadsOutAgreeWithLcms) {
    ExpectAgrees({File(Corpus("sRGB.icc")), File(Corpus("default_cmyk.icc"))},
                 icm::kIntentPerceptual, icm::BM_BGRTRIPLETS, true, TYPE_RGB_8, icm::BM_CMYKQUADS,
                 false, TYPE_CMYK_8);
}

TEST_F(LcmsIcmPlatformTest, KymcQuadsInAndBlueGreenRedTripletsOutAgreeWithLcms) {
    ExpectAgrees({File(Corpus("default_cmyk.icc")), File(Corpus("sRGB.icc"))},
                 icm::kIntentRelativeColorimetric, icm::BM_KYMCQUADS, true, TYPE_CMYK_8,
                 icm::BM_BGRTRIPLETS, true, TYPE_RGB_8);
}

TEST_F(LcmsIcmPlatformTest, CmykQuadsInAndLabTripletsOutAgreeWithLcms) {
    ExpectAgrees({File(Corpus("default_cmyk.icc")), Lab()}, icm::kIntentPerceptual,
                 icm::BM_CMYKQUADS, false, TYPE_CMYK_8, icm::BM_LabTRIPLETS, false, TYPE_Lab_8);
}

TEST_F(LcmsIcmPlatformTest, LabTripletsInAndKymcQuadsOutAgreeWithLcms) {
    ExpectAgrees({Lab(), File(Corpus("default_cmyk.icc"))}, icm::kIntentSaturation,
                 icm::BM_LabTRIPLETS, false, TYPE_Lab_8, icm::BM_KYMCQUADS, true, TYPE_CMYK_8);
}

TEST_F(LcmsIcmPlatformTest, GenericTripletsKeepTheProfilesOrderAndAgreeWithLcms) {
    ExpectAgrees({File(Corpus("sRGB.icc")), Lab()}, icm::kIntentAbsoluteColorimetric,
                 icm::BM_G3CHTRIPLETS, false, TYPE_RGB_8, icm::BM_G3CHTRIPLETS, false, TYPE_Lab_8);
}

// The format of `n` inks, as the platform and as lcms2 write it.
icm::BMFORMAT InkFormat(unsigned n) {
    return icm::BM_5CHANNEL + (n - 5);
}
cmsUInt32Number RefInkFormat(unsigned n) {
    return COLORSPACE_SH(PT_MCH5 + (n - 5)) | CHANNELS_SH(n) | BYTES_SH(1);
}

TEST_F(LcmsIcmPlatformTest, FiveToEightChannelsOutAgreeWithLcms) {
    for (unsigned n = 5; n <= 8; ++n) {
        SCOPED_TRACE(std::to_string(n) + " inks");
        const std::wstring printer =
            linktest::WriteProfile(dir, std::to_string(n) + "clr.icc", InkPrinter(n));
        ExpectAgrees({File(Corpus("sRGB.icc")), File(printer)}, icm::kIntentPerceptual,
                     icm::BM_BGRTRIPLETS, true, TYPE_RGB_8, InkFormat(n), false, RefInkFormat(n));
    }
}

TEST_F(LcmsIcmPlatformTest, FiveToEightChannelsInAgreeWithLcms) {
    for (unsigned n = 5; n <= 8; ++n) {
        SCOPED_TRACE(std::to_string(n) + " inks");
        const std::wstring printer =
            linktest::WriteProfile(dir, std::to_string(n) + "clr.icc", InkPrinter(n));
        ExpectAgrees({File(printer), File(Corpus("sRGB.icc"))}, icm::kIntentPerceptual,
                     InkFormat(n), false, RefInkFormat(n), icm::BM_BGRTRIPLETS, true, TYPE_RGB_8);
    }
}

TEST_F(LcmsIcmPlatformTest, ADeviceLinkAloneAgreesWithLcms) {
    const std::wstring link = linktest::WriteProfile(dir, "link.icc", RgbToCmykLink());
    ExpectAgrees({File(link)}, icm::kIntentPerceptual, icm::BM_BGRTRIPLETS, true, TYPE_RGB_8,
                 icm::BM_KYMCQUADS, true, TYPE_CMYK_8);
}

TEST_F(LcmsIcmPlatformTest, OneIntentForEachProfileAgreesWithLcms) {
    const std::vector<Step> chain = {File(Corpus("sRGB.icc")), File(Corpus("default_cmyk.icc"))};
    icm::HTRANSFORM t = Build(chain, {icm::kIntentAbsoluteColorimetric, icm::kIntentPerceptual});
    ASSERT_NE(t, nullptr);
    const std::vector<uint8_t> src = SourcePixels<uint8_t>(kPixels, 3);
    std::vector<uint8_t> got(kPixels * 4);
    ASSERT_EQ(icm.TranslateBitmapBits(t, src.data(), icm::BM_BGRTRIPLETS, kPixels, 1, 0, got.data(),
                                      icm::BM_CMYKQUADS, 0, nullptr, 0),
              1);

    RefProfile rgb = RefOpen(Corpus("sRGB.icc")), cmyk = RefOpen(Corpus("default_cmyk.icc"));
    cmsHPROFILE profiles[] = {rgb.get(), cmyk.get()};
    cmsBool bpc[] = {FALSE, FALSE};
    cmsUInt32Number intents[] = {INTENT_ABSOLUTE_COLORIMETRIC, INTENT_PERCEPTUAL};
    cmsFloat64Number adaptation[] = {1.0, 1.0};
    RefTransform ref(cmsCreateExtendedTransform(nullptr, 2, profiles, bpc, intents, adaptation,
                                                nullptr, 0, TYPE_RGB_8, TYPE_CMYK_8, 0));
    ASSERT_NE(ref, nullptr);
    const std::vector<uint8_t> rgbSrc = Reversed(src, 3);
    std::vector<uint8_t> want(kPixels * 4);
    cmsDoTransform(ref.get(), rgbSrc.data(), want.data(), kPixels);
    EXPECT_LE(MaxDiff(got, want), 1);
}

// ---------------------------------------------------------------------------------------------
// Rows, strides and threads.

TEST_F(LcmsIcmPlatformTest, RowsWithoutStrideArePaddedToFourBytes) {
    icm::HTRANSFORM t = Build({File(Corpus("sRGB.icc")), File(Corpus("default_cmyk.icc"))}, {0});
    ASSERT_NE(t, nullptr);
    // Five pixels of three bytes: rows of 15 bytes stand 16 apart; of 20 bytes, 20 apart.
    const std::vector<uint8_t> row0 = SourcePixels<uint8_t>(5, 3);
    std::vector<uint8_t> row1(row0.rbegin(), row0.rend());
    std::vector<uint8_t> src(32, 0xEE);
    std::copy(row0.begin(), row0.end(), src.begin());
    std::copy(row1.begin(), row1.end(), src.begin() + 16);
    std::vector<uint8_t> dst(40, 0), one0(20), one1(20);
    ASSERT_EQ(icm.TranslateBitmapBits(t, src.data(), icm::BM_BGRTRIPLETS, 5, 2, 0, dst.data(),
                                      icm::BM_CMYKQUADS, 0, nullptr, 0),
              1);
    icm.TranslateBitmapBits(t, row0.data(), icm::BM_BGRTRIPLETS, 5, 1, 0, one0.data(),
                            icm::BM_CMYKQUADS, 0, nullptr, 0);
    icm.TranslateBitmapBits(t, row1.data(), icm::BM_BGRTRIPLETS, 5, 1, 0, one1.data(),
                            icm::BM_CMYKQUADS, 0, nullptr, 0);
    EXPECT_EQ(std::vector<uint8_t>(dst.begin(), dst.begin() + 20), one0);
    EXPECT_EQ(std::vector<uint8_t>(dst.begin() + 20, dst.end()), one1);
}

TEST_F(LcmsIcmPlatformTest, AStrideShorterThanARowIsRefused) {
    icm::HTRANSFORM t = Build({File(Corpus("sRGB.icc")), File(Corpus("default_cmyk.icc"))}, {0});
    ASSERT_NE(t, nullptr);
    std::vector<uint8_t> src(60, 1), dst(80, 7);
    EXPECT_EQ(icm.TranslateBitmapBits(t, src.data(), icm::BM_BGRTRIPLETS, 10, 2, 29, dst.data(),
                                      icm::BM_CMYKQUADS, 0, nullptr, 0),
              0);
    EXPECT_EQ(dst, std::vector<uint8_t>(80, 7));
}

TEST_F(LcmsIcmPlatformTest, ThreadsConvertingThroughOneTransformGetTheSameBytes) {
    icm::HTRANSFORM t = Build({File(Corpus("sRGB.icc")), File(Corpus("default_cmyk.icc"))}, {0});
    ASSERT_NE(t, nullptr);
    const std::vector<uint8_t> src = SourcePixels<uint8_t>(kPixels, 3);
    std::vector<uint8_t> once(kPixels * 4);
    icm.TranslateBitmapBits(t, src.data(), icm::BM_BGRTRIPLETS, kPixels, 1, 0, once.data(),
                            icm::BM_KYMCQUADS, 0, nullptr, 0);
    std::vector<std::vector<uint8_t>> results(4, std::vector<uint8_t>(kPixels * 4));
    std::vector<std::thread> threads;
    for (auto& r : results)
        threads.emplace_back([&, out = r.data()] {
            for (int i = 0; i < 8; ++i)
                icm.TranslateBitmapBits(t, src.data(), icm::BM_BGRTRIPLETS, kPixels, 1, 0, out,
                                        icm::BM_KYMCQUADS, 0, nullptr, 0);
        });
    for (auto& th : threads) th.join();
    for (const auto& r : results) EXPECT_EQ(r, once);
}

// ---------------------------------------------------------------------------------------------
// Refusals.

TEST_F(LcmsIcmPlatformTest, AFormatThatDoesNotFitTheTransformIsRefusedAndTheDestinationKept) {
    icm::HTRANSFORM rgbToCmyk =
        Build({File(Corpus("sRGB.icc")), File(Corpus("default_cmyk.icc"))}, {0});
    icm::HTRANSFORM grayToLab = Build({File(Corpus("Gray.icc")), Lab()}, {0});
    ASSERT_NE(rgbToCmyk, nullptr);
    ASSERT_NE(grayToLab, nullptr);
    struct Case {
        icm::HTRANSFORM t;
        icm::BMFORMAT in, out;
        const char* why;
    };
    int foreign = 0;
    const Case cases[] = {
        {rgbToCmyk, icm::BM_CMYKQUADS, icm::BM_CMYKQUADS, "four channels into RGB"},
        {rgbToCmyk, icm::BM_LabTRIPLETS, icm::BM_CMYKQUADS, "Lab into RGB"},
        {rgbToCmyk, icm::BM_BGRTRIPLETS, icm::BM_BGRTRIPLETS, "three channels out of CMYK"},
        {rgbToCmyk, icm::BM_BGRTRIPLETS, icm::BM_5CHANNEL, "five channels out of CMYK"},
        {rgbToCmyk, icm::BM_BGRTRIPLETS, icm::BM_G3CHTRIPLETS, "generic triplets out of CMYK"},
        {grayToLab, icm::BM_G3CHTRIPLETS, icm::BM_LabTRIPLETS, "three channels into grey"},
        {grayToLab, icm::BM_BGRTRIPLETS, icm::BM_LabTRIPLETS, "RGB into grey"},
        {rgbToCmyk, 0, icm::BM_CMYKQUADS, "a format this platform does not take"},
        {rgbToCmyk, 2, icm::BM_CMYKQUADS, "a format this platform does not take"},
        {rgbToCmyk, 10, icm::BM_CMYKQUADS, "a format this platform does not take"},
        {rgbToCmyk, icm::BM_BGRTRIPLETS, 521, "a format this platform does not take"},
        {nullptr, icm::BM_BGRTRIPLETS, icm::BM_CMYKQUADS, "no transform"},
        {&foreign, icm::BM_BGRTRIPLETS, icm::BM_CMYKQUADS, "no transform of this platform"},
    };
    for (const Case& c : cases) {
        std::vector<uint8_t> src(64, 100), dst(64, 7);
        EXPECT_EQ(icm.TranslateBitmapBits(c.t, src.data(), c.in, 8, 1, 0, dst.data(), c.out, 0,
                                          nullptr, 0),
                  0)
            << c.why;
        EXPECT_EQ(dst, std::vector<uint8_t>(64, 7)) << c.why;
    }
    std::vector<uint8_t> src(64, 100), dst(64, 7);
    EXPECT_EQ(icm.TranslateBitmapBits(rgbToCmyk, nullptr, icm::BM_BGRTRIPLETS, 8, 1, 0, dst.data(),
                                      icm::BM_CMYKQUADS, 0, nullptr, 0),
              0);
    EXPECT_EQ(icm.TranslateBitmapBits(rgbToCmyk, src.data(), icm::BM_BGRTRIPLETS, 8, 1, 0, nullptr,
                                      icm::BM_CMYKQUADS, 0, nullptr, 0),
              0);
}

TEST_F(LcmsIcmPlatformTest, ATransformRequestOutsideTheDefaultsIsRefused) {
    icm::HPROFILE rgb = OpenFile(Corpus("sRGB.icc"));
    icm::HPROFILE cmyk = OpenFile(Corpus("default_cmyk.icc"));
    ASSERT_NE(rgb, nullptr);
    ASSERT_NE(cmyk, nullptr);
    icm::HPROFILE chain[] = {rgb, cmyk};
    const uint32_t one[] = {0}, two[] = {0, 1}, three[] = {0, 1, 2}, high[] = {0, 4},
                   none[] = {0xFFFFFFFFu};
    EXPECT_EQ(icm.CreateMultiProfileTransform(chain, 2, three, 3, 0, 0), nullptr) << "3 intents";
    EXPECT_EQ(icm.CreateMultiProfileTransform(chain, 2, high, 2, 0, 0), nullptr) << "intent 4";
    EXPECT_EQ(icm.CreateMultiProfileTransform(chain, 2, none, 1, 0, 0), nullptr) << "no intent";
    EXPECT_EQ(icm.CreateMultiProfileTransform(chain, 2, two, 2, 1, 0), nullptr) << "flags";
    EXPECT_EQ(icm.CreateMultiProfileTransform(chain, 2, one, 1, 0, 12345), nullptr) << "engine";
    EXPECT_EQ(icm.CreateMultiProfileTransform(chain, 0, one, 1, 0, 0), nullptr) << "no profile";
    EXPECT_EQ(icm.CreateMultiProfileTransform(nullptr, 2, one, 1, 0, 0), nullptr);
    EXPECT_EQ(icm.CreateMultiProfileTransform(chain, 2, nullptr, 1, 0, 0), nullptr);
    icm::HPROFILE foreign[] = {rgb, &chain};
    EXPECT_EQ(icm.CreateMultiProfileTransform(foreign, 2, one, 1, 0, 0), nullptr)
        << "a handle this platform did not give";
    EXPECT_EQ(icm.TransformCount(), 0u);
    // What is left is accepted: one intent for all, one for each, and this engine by its id.
    EXPECT_NE(icm.CreateMultiProfileTransform(chain, 2, one, 1, 0, 0), nullptr);
    EXPECT_NE(icm.CreateMultiProfileTransform(chain, 2, two, 2, 0, 0), nullptr);
    EXPECT_NE(icm.CreateMultiProfileTransform(chain, 2, one, 1, 0, CLcmsIcmPlatform::kLcmsCmmId),
              nullptr);
    EXPECT_EQ(icm.TransformCount(), 3u);
    icm.CloseColorProfile(rgb);
    icm.CloseColorProfile(cmyk);
}

TEST_F(LcmsIcmPlatformTest, ChannelsThatDoNotJoinGiveNoTransform) {
    // RGB device values fed into a CMYK printer's device side.
    const std::wstring link = linktest::WriteProfile(dir, "link.icc", RgbToCmykLink());
    EXPECT_EQ(Build({File(link), File(Corpus("sRGB.icc"))}, {0}), nullptr);
    EXPECT_EQ(icm.TransformCount(), 0u);
}

// ---------------------------------------------------------------------------------------------
// Profiles and headers.

TEST_F(LcmsIcmPlatformTest, TheHeaderHoldsTheFilesFieldsInMachineOrder) {
    const std::wstring path = Corpus("default_cmyk.icc");
    const Bytes bytes = kvrtest::ReadBytes(path);
    ASSERT_GE(bytes.size(), 128u);
    auto be = [&](size_t at) {
        return (uint32_t(bytes[at]) << 24) | (uint32_t(bytes[at + 1]) << 16) |
               (uint32_t(bytes[at + 2]) << 8) | bytes[at + 3];
    };
    icm::HPROFILE h = OpenFile(path);
    ASSERT_NE(h, nullptr);
    icm::PROFILEHEADER header{};
    ASSERT_EQ(icm.GetColorProfileHeader(h, &header), 1);
    EXPECT_EQ(header.phSize, be(0));
    EXPECT_EQ(header.phSize, bytes.size());
    EXPECT_EQ(header.phCMMType, be(4));
    EXPECT_EQ(header.phVersion, be(8));
    EXPECT_EQ(header.phClass, icSigOutputClass);
    EXPECT_EQ(header.phDataColorSpace, icSigCmykData);
    EXPECT_EQ(header.phConnectionSpace, icSigLabData);
    EXPECT_EQ(header.phSignature, icMagicNumber);
    EXPECT_EQ(header.phRenderingIntent, be(64));
    EXPECT_EQ(uint32_t(header.phIlluminant.ciexyzY), be(72));
    EXPECT_EQ(header.phCreator, be(80));
    EXPECT_EQ(0, std::memcmp(header.phReserved, bytes.data() + 84, 44));
    EXPECT_EQ(icm.CloseColorProfile(h), 1);
}

TEST_F(LcmsIcmPlatformTest, TheLabProfileOpensFromMemoryAsALabToLabProfile) {
    ASSERT_FALSE(lab.empty());
    Bytes copy = lab;
    icm::HPROFILE h = OpenMemory(copy);
    ASSERT_NE(h, nullptr);
    // The block is copied: the caller's may go.
    std::fill(copy.begin(), copy.end(), 0);
    icm::PROFILEHEADER header{};
    ASSERT_EQ(icm.GetColorProfileHeader(h, &header), 1);
    EXPECT_EQ(header.phClass, icSigColorSpaceClass);
    EXPECT_EQ(header.phDataColorSpace, icSigLabData);
    EXPECT_EQ(header.phConnectionSpace, icSigLabData);
    EXPECT_EQ(icm.CloseColorProfile(h), 1);
}

TEST_F(LcmsIcmPlatformTest, AMissingOrMalformedProfileDoesNotOpen) {
    EXPECT_EQ(OpenFile((dir / "missing.icc").wstring()), nullptr);
    EXPECT_EQ(OpenFile(dir.path().wstring()), nullptr) << "a folder";
    Bytes good = kvrtest::ReadBytes(CorpusProfile("sRGB.icc"));
    ASSERT_GT(good.size(), 300u);
    Bytes badMagic = good;
    badMagic[36] = 'x';
    const std::pair<const char*, Bytes> files[] = {
        {"empty.icc", {}},
        {"short.icc", Bytes(good.begin(), good.begin() + 100)},
        {"header-only.icc", Bytes(good.begin(), good.begin() + 128)},
        {"magic.icc", badMagic},
        {"text.icc", Bytes(600, 'a')},
    };
    for (const auto& [name, bytes] : files) {
        ASSERT_TRUE(kvrtest::WriteBytes(dir / name, bytes));
        EXPECT_EQ(OpenFile((dir / name).wstring()), nullptr) << name;
        EXPECT_EQ(OpenMemory(bytes), nullptr) << name;
    }
}

TEST_F(LcmsIcmPlatformTest, APathWithoutTerminatorWithinItsSizeIsRefused) {
    const std::wstring path = Corpus("sRGB.icc");
    icm::PROFILE p{icm::kProfileFileName, const_cast<wchar_t*>(path.c_str()),
                   uint32_t(path.size() * sizeof(wchar_t))};
    EXPECT_EQ(icm.OpenColorProfileW(&p, icm::kProfileRead, icm::kFileShareRead, icm::kOpenExisting),
              nullptr);
    p.cbDataSize += sizeof(wchar_t);
    icm::HPROFILE h =
        icm.OpenColorProfileW(&p, icm::kProfileRead, icm::kFileShareRead, icm::kOpenExisting);
    EXPECT_NE(h, nullptr);
    icm.CloseColorProfile(h);
}

TEST_F(LcmsIcmPlatformTest, OnlyReadingAnExistingProfileIsAllowed) {
    const std::wstring path = Corpus("sRGB.icc");
    icm::PROFILE p{icm::kProfileFileName, const_cast<wchar_t*>(path.c_str()),
                   uint32_t((path.size() + 1) * sizeof(wchar_t))};
    const uint32_t kReadWrite = 2, kCreateAlways = 2;
    EXPECT_EQ(icm.OpenColorProfileW(&p, kReadWrite, 0, icm::kOpenExisting), nullptr);
    EXPECT_EQ(icm.OpenColorProfileW(&p, icm::kProfileRead, 0, kCreateAlways), nullptr);
    EXPECT_EQ(icm.OpenColorProfileW(nullptr, icm::kProfileRead, 0, icm::kOpenExisting), nullptr);
    icm::PROFILE odd{7, const_cast<wchar_t*>(path.c_str()), p.cbDataSize};
    EXPECT_EQ(icm.OpenColorProfileW(&odd, icm::kProfileRead, 0, icm::kOpenExisting), nullptr);
}

TEST_F(LcmsIcmPlatformTest, AHandleIsGoneOnceClosed) {
    icm::HPROFILE h = OpenFile(Corpus("sRGB.icc"));
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(icm.OpenProfileCount(), 1u);
    EXPECT_EQ(icm.CloseColorProfile(h), 1);
    EXPECT_EQ(icm.CloseColorProfile(h), 0);
    icm::PROFILEHEADER header{};
    EXPECT_EQ(icm.GetColorProfileHeader(h, &header), 0);
    EXPECT_EQ(icm.GetColorProfileHeader(nullptr, &header), 0);
    EXPECT_EQ(icm.CloseColorProfile(nullptr), 0);
}

// ---------------------------------------------------------------------------------------------
// Engines and resources.

TEST_F(LcmsIcmPlatformTest, TheDefaultEngineAndThisOneCanBeSelectedAndNoOther) {
    EXPECT_EQ(icm.SelectCMM(CLcmsIcmPlatform::kLcmsCmmId), 1);
    EXPECT_EQ(icm.SelectedCMM(), CLcmsIcmPlatform::kLcmsCmmId);
    EXPECT_EQ(icm.SelectCMM(kvrtest::Sig("Win ")), 0);
    EXPECT_EQ(icm.SelectedCMM(), CLcmsIcmPlatform::kLcmsCmmId);
    EXPECT_EQ(icm.SelectCMM(0), 1);
    EXPECT_EQ(icm.SelectedCMM(), 0u);
}

TEST_F(LcmsIcmPlatformTest, TheLabResourceIsTheLibrarysBuiltInProfile) {
    icm::HRSRC r = icm.FindResourceW(kLabProfileResourceId, kLabProfileResourceType);
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(icm.FindResourceW(kLabProfileResourceId, kLabProfileResourceType), r);
    const uint32_t size = icm.SizeofResource(r);
    ASSERT_EQ(size, lab.size());
    const void* data = icm.LockResource(icm.LoadResource(r));
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(0, std::memcmp(data, lab.data(), size));
}

TEST_F(LcmsIcmPlatformTest, AResourceThatIsNotThereIsNotFound) {
    EXPECT_EQ(icm.FindResourceW(130, kLabProfileResourceType), nullptr);
    EXPECT_EQ(icm.FindResourceW(kLabProfileResourceId, 401), nullptr);
    int foreign = 0;
    EXPECT_EQ(icm.SizeofResource(nullptr), 0u);
    EXPECT_EQ(icm.SizeofResource(&foreign), 0u);
    EXPECT_EQ(icm.LoadResource(&foreign), nullptr);
    EXPECT_EQ(icm.LockResource(&foreign), nullptr);
}

} // namespace
