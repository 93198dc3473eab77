// The lcms wrapper's transform: keys, sharing through the pool, its chains, and its exceptions.
#include <gtest/gtest.h>
#include <lcms2.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "base/Digest.h"
#include "base/Exception.h"
#include "colorlink/LcmsTestUtil.h"
#include "colorlink/lcms/LcmsFlags.h"
#include "colorlink/lcms/LcmsTransform.h"
#include "colorlink/lcms/LcmsTransformPool.h"

using namespace lcmstest;

namespace {

const std::string kPrinter = Corpus("default_cmyk.icc");
const std::string kSrgb = Corpus("sRGB.icc");

constexpr unsigned kGray = 1, kLab = 2, kRgb = 3, kCmyk = 4;

void UpdateWide(CSHA1& sha, const std::wstring& s) {
    for (wchar_t c : s) {
        const uint16_t u = uint16_t(c);
        sha.Update(&u, 2);
    }
}

std::wstring FileHash(const std::string& path) {
    CSHA1 sha;
    EXPECT_TRUE(sha.HashFile(Wide(path).c_str()));
    sha.Final();
    return sha.ReportHash(CSHA1::REPORT_HEX_SHORT);
}

std::wstring Hex(CSHA1& sha) {
    sha.Final();
    return sha.ReportHash(CSHA1::REPORT_HEX_SHORT);
}

// The message of the exception that `f` throws, and where from; fails if it throws none.
template <typename F> CStringException Thrown(F&& f) {
    try {
        f();
    } catch (const CStringException& e) {
        return e;
    }
    ADD_FAILURE() << "no CStringException";
    return CStringException("");
}

} // namespace

TEST(LcmsTransform, SameProfilesIntentsAndFormatsEndWithTheSameTransform) {
    CLcmsTransformPool pool;
    CLcmsTransform a(pool), b(pool);
    for (CLcmsTransform* t : {&a, &b}) {
        t->AddProfile(Wide(kSrgb), INTENT_PERCEPTUAL, 0);
        t->AddProfile(Wide(kPrinter), INTENT_PERCEPTUAL, 0);
        t->CreateTransform(kRgb, 3, kCmyk, 4);
    }
    ASSERT_NE(a.Transform(), nullptr);
    EXPECT_EQ(a.Transform(), b.Transform());
    EXPECT_EQ(pool.Count(), 1u);
    EXPECT_EQ(a.HandleCount(), 0u) << "CreateTransform uses up the list";
    EXPECT_TRUE(a.Entries().empty());
}

TEST(LcmsTransform, WithTheIntentOfOneStepChangedTheyDoNot) {
    CLcmsTransformPool pool;
    CLcmsTransform a(pool), b(pool);
    a.AddProfile(Wide(kSrgb), INTENT_PERCEPTUAL, 0);
    a.AddProfile(Wide(kPrinter), INTENT_PERCEPTUAL, 0);
    b.AddProfile(Wide(kSrgb), INTENT_PERCEPTUAL, 0);
    b.AddProfile(Wide(kPrinter), INTENT_RELATIVE_COLORIMETRIC, 0);
    a.CreateTransform(kRgb, 3, kCmyk, 4);
    b.CreateTransform(kRgb, 3, kCmyk, 4);
    ASSERT_NE(a.Transform(), nullptr);
    ASSERT_NE(b.Transform(), nullptr);
    EXPECT_NE(a.Transform(), b.Transform());
    EXPECT_NE(a.LastKey(), b.LastKey());
}

TEST(LcmsTransform, TheSameFileUnderAnotherNameIsTheSameTransform) {
    kvrtest::TempDir dir("kvr-lcms");
    const std::string copy = dir.File("other-name.icc");
    ASSERT_TRUE(kvrtest::WriteBytes(copy, kvrtest::ReadBytes(kPrinter)));
    CLcmsTransformPool pool;
    CLcmsTransform a(pool), b(pool), c(pool);
    a.AddProfile(Wide(kPrinter), 0, 0);
    b.AddProfile(Wide(copy), 0, 0);
    const auto bytes = kvrtest::ReadBytes(kPrinter);
    c.InsertProfileData(bytes.data(), 0, 0);
    for (CLcmsTransform* t : {&a, &b, &c}) t->CreateTransform(kCmyk, 4, kLab, 3);
    ASSERT_NE(a.Transform(), nullptr);
    EXPECT_EQ(a.Transform(), b.Transform());
    EXPECT_EQ(a.Transform(), c.Transform());
}

TEST(LcmsTransform, TheKeyIsTheHashOfTheArgumentsAndTheEntries) {
    CLcmsTransformPool pool;
    CLcmsTransform t(pool);
    t.AddProfile(Wide(kPrinter), 3, 1);
    ASSERT_EQ(t.Entries().size(), 1u);

    CSHA1 entry;
    UpdateWide(entry, FileHash(kPrinter));
    const uint32_t intent = 3, bp = 1;
    const double adaptation = 1.0;
    entry.Update(&intent, 4);
    entry.Update(&bp, 4);
    entry.Update(&adaptation, 8);
    const std::wstring entryHash = Hex(entry);
    EXPECT_EQ(t.Entries()[0].Hash, entryHash);
    EXPECT_EQ(t.Entries()[0].pHandle->Hash(), FileHash(kPrinter));

    CSHA1 key;
    for (uint32_t v : {kCmyk, 4u, kLab, 3u}) key.Update(&v, 4);
    UpdateWide(key, entryHash);
    const std::wstring expected = Hex(key);
    t.CreateTransform(kCmyk, 4, kLab, 3);
    EXPECT_EQ(t.LastKey(), expected);
    EXPECT_TRUE(pool.Contains(expected));
}

TEST(LcmsTransform, AnEmptyListMakesNoTransformButTakesAPoolEntryOfItsKey) {
    CLcmsTransformPool pool;
    {
        CLcmsTransform t(pool);
        EXPECT_EQ(t.GetColorSpace(), unsigned(cmsSigLabData));
        EXPECT_EQ(t.GetChannels(), 0);
        t.CreateTransform(kRgb, 3, kRgb, 3);
        EXPECT_EQ(t.Transform(), nullptr);
        EXPECT_EQ(pool.Count(), 0u);
        const unsigned short in[3] = {1, 2, 3};
        unsigned short out[3] = {7, 7, 7};
        t.DoTransform(in, out, 1);
        EXPECT_EQ(out[0], 7);
    }
    // Put a transform under the key of an empty list of these types: it is taken.
    CSHA1 key;
    for (uint32_t v : {kRgb, 3u, kRgb, 3u}) key.Update(&v, 4);
    Profile srgb(cmsCreate_sRGBProfile());
    cmsHTRANSFORM stored =
        cmsCreateTransform(srgb.get(), TYPE_RGB_16, srgb.get(), TYPE_RGB_16, 0, 0);
    cmsHTRANSFORM handle = stored;
    pool.Insert(Hex(key), handle);
    CLcmsTransform t(pool);
    t.CreateTransform(kRgb, 3, kRgb, 3);
    EXPECT_EQ(t.Transform(), stored);
}

TEST(LcmsTransform, AddCurvesWithFewerCurvesThanTheSpaceHasChannelsThrows) {
    CLcmsTransform t;
    Curves three(3);
    const CStringException e = Thrown([&] { t.AddCurves(cmsSigCmykData, three.get()); });
    EXPECT_STREQ(e.what(), "Not enough channels");
    EXPECT_EQ(e.m_file, L"LcmsTransform");
    EXPECT_EQ(t.HandleCount(), 0u);
}

TEST(LcmsTransform, CurvesOnlyAndTheirSpace) {
    CLcmsTransformPool pool;
    CLcmsTransform t(pool);
    Curves five(5); // one more than CMYK has: hashed, not used
    t.AddCurves(cmsSigCmykData, five.get());
    EXPECT_EQ(t.IsCurvesOnly(), 1);
    EXPECT_EQ(t.GetColorSpace(), unsigned(cmsSigCmykData));
    EXPECT_EQ(t.GetChannels(), 4);
    // The curves' hash covers all five.
    CSHA1 sha;
    for (auto* c : five.get()) sha.Update(c, 512);
    EXPECT_EQ(t.Entries()[0].pHandle->Hash(), Hex(sha));
    t.AddProfile(Wide(kPrinter), 0, 0);
    EXPECT_EQ(t.IsCurvesOnly(), 0);
}

TEST(LcmsTransform, TheSamePathAddedTwiceInDifferentCaseOpensTheFileOnce) {
    kvrtest::TempDir dir("kvr-lcms");
    const std::string path = dir.File("Printer.icc");
    ASSERT_TRUE(kvrtest::WriteBytes(path, kvrtest::ReadBytes(kPrinter)));
    std::string other = path;
    other.replace(other.size() - 11, 11, "PRINTER.ICC"); // no such file on a case-sensitive disk
    CLcmsTransform t;
    t.AddProfile(Wide(path), 0, 0);
    t.AddProfile(Wide(other), 1, 0);
    t.InsertProfile(Wide(path), 2, 0);
    EXPECT_EQ(t.HandleCount(), 1u);
    ASSERT_EQ(t.Entries().size(), 3u);
    EXPECT_EQ(t.Entries()[0].nIntent, 2u) << "InsertProfile goes in front";
    EXPECT_EQ(t.Entries()[1].pHandle, t.Entries()[2].pHandle);
}

TEST(LcmsTransform, GetProfileChannelsCountOfAFileThatIsNoProfileThrows) {
    kvrtest::TempDir dir("kvr-lcms");
    const std::string text = dir.File("text.icc");
    kvrtest::WriteText(text, std::string(400, 'a'));
    const CStringException e = Thrown([&] { ILcmsTransform::GetProfileChannelsCount(Wide(text)); });
    EXPECT_GT(std::string(e.what()).size(), 0u) << "lcms2's text";
    EXPECT_EQ(ILcmsTransform::GetProfileChannelsCount(Wide(kPrinter)), 4);
    EXPECT_EQ(ILcmsTransform::GetProfileChannelsCount(Wide(kSrgb)), 3);
}

TEST(LcmsTransform, AMissingProfileThrowsWithLcmsText) {
    CLcmsTransform t;
    const CStringException e = Thrown([&] { t.AddProfile(L"/nonexistent/dir/none.icc", 0, 0); });
    EXPECT_NE(std::string(e.what()).find("none.icc"), std::string::npos) << e.what();
    EXPECT_EQ(e.m_file, L"LcmsTransform");
    EXPECT_EQ(t.HandleCount(), 0u) << "the handle that failed is gone";
}

TEST(LcmsTransform, MalformedProfileDataThrowsWithLcmsText) {
    auto bytes = kvrtest::ReadBytes(kPrinter);
    bytes[36] = 'x'; // the 'acsp' signature
    CLcmsTransform t;
    const CStringException e = Thrown([&] { t.InsertProfileData(bytes.data(), 0, 0); });
    EXPECT_GT(std::string(e.what()).size(), 0u);
    EXPECT_EQ(t.HandleCount(), 0u);
}

TEST(LcmsTransform, ATransformLcmsRefusesThrowsWithLcmsText) {
    CLcmsTransformPool pool;
    CLcmsTransform t(pool);
    t.AddProfile(Wide(kPrinter), 0, 0);
    // RGB pixels into a CMYK profile.
    const CStringException e = Thrown([&] { t.CreateTransform(kRgb, 3, kLab, 3); });
    EXPECT_GT(std::string(e.what()).size(), 0u);
    EXPECT_EQ(pool.Count(), 0u);
}

TEST(LcmsTransform, LabInputGetsALabProfileInFront) {
    CLcmsTransformPool pool;
    CLcmsTransform t(pool);
    t.AddProfile(Wide(kPrinter), INTENT_RELATIVE_COLORIMETRIC, 1);
    EXPECT_EQ(t.GetColorSpace(), unsigned(cmsSigCmykData));
    EXPECT_EQ(t.GetChannels(), 4);
    t.CreateTransform(kLab, 3, kCmyk, 4);
    ASSERT_NE(t.Transform(), nullptr);

    Profile lab(cmsCreateLab4Profile(nullptr)), printer = Open(kPrinter);
    cmsHPROFILE chain[] = {lab.get(), printer.get()};
    cmsUInt32Number intents[] = {0, INTENT_RELATIVE_COLORIMETRIC};
    cmsBool bpc[] = {0, 1};
    cmsFloat64Number adapt[] = {1, 1};
    Transform ref(cmsCreateExtendedTransform(nullptr, 2, chain, bpc, intents, adapt, nullptr, 0,
                                             TYPE_Lab_16, TYPE_CMYK_16, 0));
    ASSERT_TRUE(ref);
    std::vector<unsigned short> in;
    for (unsigned i = 0; i < 500; ++i)
        in.insert(in.end(), {(unsigned short)(i * 131), (unsigned short)(i * 7919 % 65536),
                             (unsigned short)(65535 - i * 97)});
    std::vector<unsigned short> a(2000, 1), b(2000, 2);
    t.DoTransform(in.data(), a.data(), 500);
    cmsDoTransform(ref.get(), in.data(), b.data(), 500);
    EXPECT_EQ(a, b);
}

TEST(LcmsTransform, OwnFlagBitsAreDroppedAndTheGamutOutputAsksForTheGamutCheck) {
    CLcmsTransformPool pool;
    CLcmsTransform t(pool), g(pool);
    t.AddProfile(Wide(kPrinter), 0, 0);
    t.CreateTransform(kCmyk, 4, kLab, 3);
    EXPECT_EQ(t.LastFlags(), LcmsFlags::kProofChain | LcmsFlags::kWrapper);
    EXPECT_EQ(LcmsFlags::ToLcms2(t.LastFlags()), 0u);
    g.AddProfile(Wide(kPrinter), 0, 0);
    g.CreateTransform(kCmyk, 4, 6, 3);
    EXPECT_EQ(g.LastFlags(), LcmsFlags::kProofChain | LcmsFlags::kWrapper | cmsFLAGS_GAMUTCHECK);
    EXPECT_EQ(LcmsFlags::ToLcms2(g.LastFlags()), cmsUInt32Number(cmsFLAGS_GAMUTCHECK));
    EXPECT_NE(g.Transform(), nullptr);
}

TEST(LcmsTransform, PixelTypesOfTheCreateTransformTypes) {
    EXPECT_EQ(CLcmsTransform::PixelType(kGray), cmsUInt32Number(PT_GRAY));
    EXPECT_EQ(CLcmsTransform::PixelType(kLab), cmsUInt32Number(PT_Lab));
    EXPECT_EQ(CLcmsTransform::PixelType(kRgb), cmsUInt32Number(PT_RGB));
    EXPECT_EQ(CLcmsTransform::PixelType(kCmyk), cmsUInt32Number(PT_CMYK));
    EXPECT_EQ(CLcmsTransform::PixelType(0), cmsUInt32Number(PT_ANY));
    EXPECT_EQ(CLcmsTransform::PixelType(7), cmsUInt32Number(PT_ANY));
}

TEST(LcmsTransform, CreateMakesATransformOfTheProcessWidePool) {
    std::unique_ptr<ILcmsTransform> t(ILcmsTransform::Create());
    t->AddProfile(Wide(kSrgb), 0, 0);
    t->AddProfile(Wide(kSrgb), 0, 0);
    t->CreateTransform(kRgb, 3, kRgb, 3);
    const unsigned short in[3] = {0xFFFF, 0xFFFF, 0xFFFF};
    unsigned short out[3] = {0, 0, 0};
    t->DoTransform(in, out, 1);
    EXPECT_EQ(out[0], 0xFFFF);
    auto* impl = dynamic_cast<CLcmsTransform*>(t.get());
    ASSERT_NE(impl, nullptr);
    EXPECT_TRUE(CLcmsTransformPool::Instance().Contains(impl->LastKey()));
}
