// Golden hashes of 20 built native links: each link of the list below is built through
// CreateMdlColorLink with the default settings, and a fixed set of pixels (every node of a
// regular grid over the input, and 4096 pseudo-random pixels of a fixed seed) is sent through
// TrnPixels16 and TrnPixels8. The MD5 of all outputs is compared with the value recorded when
// the list was made. A restructuring or a speed-up must leave every one of them unchanged; a
// deliberate change of the arithmetic updates the table and says why in its commit.
//
// The profiles are the default profiles the build computes, real profiles of the committed
// corpus (tests/data/profiles) and two of the Debian packages that scripts/install-deps.sh
// --test-data installs; a missing one fails the test.
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "base/Digest.h"
#include "colorlink/MdlColorLink.h"
#include "support/TestData.h"

namespace fs = std::filesystem;

namespace {

const fs::path kDefaults = fs::path(KVR_BINARY_DIR) / "profiles";
const fs::path kColor = "/usr/share/color";

struct Step {
    fs::path profile;
    int kind;
};

struct GoldenLink {
    const char* name;
    std::vector<Step> steps;
    enmRenderingIntent intent;
    unsigned inFormat, nIn, outFormat, nOut;
    const char* md5;
};

using L = CMdlColorLink;
const fs::path kSrgb = kDefaults / "InputRgb" / "kvr-srgb.icc";
const fs::path kGray = kDefaults / "InputGray" / "kvr-gray.icc";
const fs::path kCmyk = kDefaults / "Printer" / "kvr-cmyk.icc";
const fs::path kSysSrgb = kvrtest::CorpusProfile("sRGB.icc");
const fs::path kAdobe = kvrtest::CorpusProfile("compatibleWithAdobeRGB1998.icc");
const fs::path kProPhoto = kColor / "icc" / "colord" / "ProPhotoRGB.icc";
const fs::path kGsCmyk = kvrtest::CorpusProfile("default_cmyk.icc");
const fs::path kPsCmyk = kvrtest::CorpusProfile("ps_cmyk.icc");
const fs::path kGsGray = kColor / "icc" / "ghostscript" / "sgray.icc";

std::vector<GoldenLink> Links() {
    const int D = L::ProfStepDevToPcs, P = L::ProfStepPcsToDev;
    const unsigned Rgb = L::LinkFmtRgb, Cmyk = L::LinkFmtCmyk, Lab = L::LinkFmtLab,
                   Gray = L::LinkFmtGray;
    return {
        {"srgb-cmyk-perceptual",
         {{kSrgb, D}, {kCmyk, P}},
         IntentPerceptual,
         Rgb,
         3,
         Cmyk,
         4,
         "a5d7090398ae1a2245d0a319405bc01e"},
        {"srgb-cmyk-relative",
         {{kSrgb, D}, {kCmyk, P}},
         IntentRelative,
         Rgb,
         3,
         Cmyk,
         4,
         "b5e20b157e03c506769dd1077c561aec"},
        {"sys-srgb-ps-cmyk-saturation",
         {{kSysSrgb, D}, {kPsCmyk, P}},
         IntentSaturation,
         Rgb,
         3,
         Cmyk,
         4,
         "9243fd7027a0481f33be17d3d296ca9a"},
        {"srgb-cmyk-absolute",
         {{kSrgb, D}, {kCmyk, P}},
         IntentAbsolute,
         Rgb,
         3,
         Cmyk,
         4,
         "db04aed412d4aab65cdad52b08b7d115"},
        {"srgb-cmyk-relative-bpc",
         {{kSrgb, D}, {kCmyk, P}},
         IntentRelativeBpc,
         Rgb,
         3,
         Cmyk,
         4,
         "e63994e9228a777e70bb99a4260f4e52"},
        {"gray-cmyk",
         {{kGray, D}, {kCmyk, P}},
         IntentPerceptual,
         Gray,
         1,
         Cmyk,
         4,
         "76a329d75533da4c9fdc7a59ab59a55f"},
        {"lab-cmyk-perceptual",
         {{kCmyk, P}},
         IntentPerceptual,
         Lab,
         3,
         Cmyk,
         4,
         "bd63c8c7cab867dba345e52f41b5bf0c"},
        {"lab-cmyk-relative",
         {{kCmyk, P}},
         IntentRelative,
         Lab,
         3,
         Cmyk,
         4,
         "00cec2421cbdd4f9a91ae084ced650ef"},
        {"cmyk-lab",
         {{kCmyk, D}},
         IntentRelative,
         Cmyk,
         4,
         Lab,
         3,
         "9e8b04fce08c45249d79cb6010f3f533"},
        {"cmyk-srgb",
         {{kCmyk, D}, {kSrgb, P}},
         IntentPerceptual,
         Cmyk,
         4,
         Rgb,
         3,
         "b5d1fd78e6da5d8a615bf0d1ac12ffed"},
        {"srgb-preview",
         {{kSrgb, D}, {kCmyk, L::ProfStepPreview}, {kSrgb, P}},
         IntentPerceptual,
         Rgb,
         3,
         Rgb,
         3,
         "e082323ed8ac8e189accbaf07668bb98"},
        {"lab-gamut",
         {{kCmyk, L::ProfStepGamut}},
         IntentRelative,
         Lab,
         3,
         L::LinkFmtGamut,
         1,
         "a50273f0a5f5ae7306743848f80daa39"},
        {"gs-cmyk-kvr-cmyk",
         {{kGsCmyk, D}, {kCmyk, P}},
         IntentPerceptual,
         Cmyk,
         4,
         Cmyk,
         4,
         "8840da3f34ef74494f02f6bce979d659"},
        {"gs-cmyk-ps-cmyk",
         {{kGsCmyk, D}, {kPsCmyk, P}},
         IntentRelative,
         Cmyk,
         4,
         Cmyk,
         4,
         "e42c804a7e68b18f4d3a8da549083210"},
        {"lab-gs-cmyk",
         {{kGsCmyk, P}},
         IntentRelative,
         Lab,
         3,
         Cmyk,
         4,
         "eb0d094292eb7f1c58dfa2b2616d6137"},
        {"lab-ps-cmyk",
         {{kPsCmyk, P}},
         IntentPerceptual,
         Lab,
         3,
         Cmyk,
         4,
         "d5e5e928eeff8b263b360d334630d45d"},
        {"sys-srgb-gs-cmyk",
         {{kSysSrgb, D}, {kGsCmyk, P}},
         IntentPerceptual,
         Rgb,
         3,
         Cmyk,
         4,
         "876ca49d243df546323dd1a08ad8c01f"},
        {"sys-srgb-adobe",
         {{kSysSrgb, D}, {kAdobe, P}},
         IntentRelative,
         Rgb,
         3,
         Rgb,
         3,
         "9b7677f8e8e51679de1dc3920685beca"},
        {"prophoto-cmyk-absolute",
         {{kProPhoto, D}, {kCmyk, P}},
         IntentAbsolute,
         Rgb,
         3,
         Cmyk,
         4,
         "56f7a4b2e481594ff48b1af1f32a4f33"},
        {"gs-gray-srgb",
         {{kGsGray, D}, {kSrgb, P}},
         IntentRelative,
         Gray,
         1,
         Rgb,
         3,
         "713b706956a2244362a30f06a4a4aa06"},
    };
}

// Every node of a grid with `points` per input, then 4096 pixels of a fixed seed.
std::vector<uint16_t> Pixels(unsigned nIn) {
    const unsigned points = nIn == 1 ? 4096 : nIn == 3 ? 17 : 9;
    std::vector<uint16_t> px;
    size_t nodes = 1;
    for (unsigned c = 0; c < nIn; ++c) nodes *= points;
    for (size_t i = 0; i < nodes; ++i) {
        size_t rest = i;
        for (unsigned c = 0; c < nIn; ++c) {
            px.push_back(static_cast<uint16_t>((rest % points) * 65535 / (points - 1)));
            rest /= points;
        }
    }
    std::mt19937 rng(20261123);
    for (unsigned i = 0; i < 4096 * nIn; ++i) px.push_back(static_cast<uint16_t>(rng() >> 16));
    return px;
}

std::string Hex(const unsigned char d[16]) {
    static const char* digits = "0123456789abcdef";
    std::string s;
    for (int i = 0; i < 16; ++i) {
        s += digits[d[i] >> 4];
        s += digits[d[i] & 15];
    }
    return s;
}

// The MD5 of the link's 16-bit and 8-bit outputs on Pixels(nIn).
std::string LinkHash(const GoldenLink& g) {
    std::unique_ptr<CMdlColorLink> link(CreateMdlColorLink(nullptr));
    for (const Step& s : g.steps) {
        if (!fs::is_regular_file(s.profile)) {
            ADD_FAILURE() << s.profile << " is missing: build the default profiles (target "
                          << "kvrdefaults) and run scripts/install-deps.sh --test-data";
            return {};
        }
        if (link->AddProfile(s.profile.wstring().c_str(), s.kind, g.intent) == 0) {
            ADD_FAILURE() << "AddProfile " << s.profile << ": error " << link->GetLinkError();
            return {};
        }
    }
    if (link->CreateLink(g.inFormat, g.nIn, g.outFormat, g.nOut) == 0) {
        ADD_FAILURE() << "CreateLink: error " << link->GetLinkError();
        return {};
    }
    const std::vector<uint16_t> in16 = Pixels(g.nIn);
    const unsigned count = static_cast<unsigned>(in16.size() / g.nIn);
    std::vector<uint16_t> out16(size_t(count) * g.nOut);
    link->TrnPixels16(in16.data(), out16.data(), count);
    std::vector<uint8_t> in8(in16.size()), out8(size_t(count) * g.nOut);
    for (size_t i = 0; i < in16.size(); ++i) in8[i] = static_cast<uint8_t>(in16[i] >> 8);
    link->TrnPixels8(in8.data(), out8.data(), count);

    CMD5Digest md5;
    md5.Update(out16.data(), out16.size() * sizeof(uint16_t));
    md5.Update(out8.data(), out8.size());
    unsigned char d[16];
    md5.GetDigest(d);
    return Hex(d);
}

} // namespace

class ColorLinkGolden : public ::testing::TestWithParam<GoldenLink> {};

TEST_P(ColorLinkGolden, BuiltLinkGivesTheRecordedPixels) {
    EXPECT_EQ(GetParam().md5, LinkHash(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(TwentyLinks, ColorLinkGolden, ::testing::ValuesIn(Links()),
                         [](const ::testing::TestParamInfo<GoldenLink>& info) {
                             std::string name = info.param.name;
                             for (char& c : name)
                                 if (c == '-') c = '_';
                             return name;
                         });

TEST(ColorLinkGoldenList, HoldsTwentyDifferentLinks) {
    const auto links = Links();
    EXPECT_EQ(20u, links.size());
    for (size_t i = 0; i < links.size(); ++i)
        for (size_t j = i + 1; j < links.size(); ++j)
            EXPECT_STRNE(links[i].md5, links[j].md5) << links[i].name << " " << links[j].name;
}
