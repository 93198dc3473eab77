// Named-colours profiles made for the tests: with the library's generator (UTF-8 texts, any
// private tags), with lcms2's named-colour API (narrow texts, version 2 or 4), and the bytes of
// a written profile for damaging its ncl2 tag.
#pragma once

#include <gtest/gtest.h>
#include <lcms2.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "base/Settings.h"
#include "base/WideString.h"
#include "icc/IccProfileGen.h"
#include "support/Files.h"
#include "support/TempDir.h"

namespace namedtest {

// One colour: name, connection-space values, device values.
struct Colour {
    std::wstring name;
    std::vector<uint16_t> pcs;    // 3 values
    std::vector<uint16_t> device; // the profile's device channel count
};

// Colour `i` of a made-up set with `channels` device values, all different from each other.
inline Colour NumberedColour(int i, int channels, const std::wstring& stem = L"Colour ") {
    Colour c{stem + std::to_wstring(i), {}, {}};
    for (int k = 0; k < 3; ++k) c.pcs.push_back(uint16_t(1000 * i + 7 * k + 1));
    for (int k = 0; k < channels; ++k) c.device.push_back(uint16_t(500 * i + 11 * k + 3));
    return c;
}

// A named-colours profile written by the library's generator.
struct GenSpec {
    icColorSpaceSignature space = icSigCmykData;
    int channels = 4; // device coordinates of the ncl2 tag
    std::wstring prefix, suffix;
    std::vector<Colour> colours;
    bool ncl2 = true;
    bool whitePoint = true;
    icXYZNumber white = {62000, 65536, 50000};
    // Private texts and the description; written when not empty, in this order: desc, Tvr3,
    // Tvr4, Tvr6, then Tvr5 when hasTvr5.
    std::string desc, tvr3, tvr4, tvr6;
    bool hasTvr5 = false;
    // Private texts written after the ncl2 tag instead, to test their order.
    bool textsFirst = true;
};

inline void AddTexts(CIccProfileGen1& gen, const GenSpec& s) {
    if (!s.desc.empty()) gen.AddProfileDescriptionTag(s.desc.c_str());
    if (!s.tvr3.empty()) gen.AddTextTag(icSigTvr3Tag, s.tvr3.c_str());
    if (!s.tvr4.empty()) gen.AddTextTag(icSigTvr4Tag, s.tvr4.c_str());
    if (!s.tvr6.empty()) gen.AddTextTag(icSigTvr6Tag, s.tvr6.c_str());
    if (s.hasTvr5) gen.AddTextTag(icSigTvr5Tag, "");
}

// Writes the profile to dir/name and answers its path.
inline std::wstring WriteGenProfile(const kvrtest::TempDir& dir, const std::string& name,
                                    const GenSpec& s) {
    CUserSettingsMgr usm;
    CIccProfileGen1 gen(&usm);
    gen.SetHeader(icSigNamedColorClass, s.space, icSigLabData, 3);
    if (s.whitePoint)
        gen.AddXYZTag(icSigMediaWhitePointTag, uint32_t(s.white.X), uint32_t(s.white.Y),
                      uint32_t(s.white.Z));
    if (s.textsFirst) AddTexts(gen, s);
    if (s.ncl2) {
        std::vector<std::wstring> names;
        std::vector<ICC_threecolors> pcs;
        std::vector<unsigned short> device;
        for (const Colour& c : s.colours) {
            names.push_back(c.name);
            pcs.push_back({{c.pcs.at(0), c.pcs.at(1), c.pcs.at(2)}});
            for (int k = 0; k < s.channels; ++k)
                device.push_back(k < int(c.device.size()) ? c.device[size_t(k)] : 0);
        }
        gen.AddNamedColor2Tag(int(s.colours.size()), s.channels, s.prefix, s.suffix, names, pcs,
                              device);
    }
    if (!s.textsFirst) AddTexts(gen, s);
    const std::wstring path = Utf8ToWide((dir / name).string());
    EXPECT_TRUE(gen.OnSaveDocument(path.c_str())) << name;
    return path;
}

// A named-colours profile written by lcms2: narrow names (the vendor flag clear), prefix and
// suffix as given, `version` 2.x or 4.x.
struct LcmsSpec {
    double version = 2.1;
    cmsColorSpaceSignature space = cmsSigCmykData;
    int channels = 4;
    std::string prefix, suffix;
    std::vector<std::string> names; // bytes as they go into the file
    std::vector<Colour> values;     // pcs and device values (names are taken from `names`)
};

inline std::wstring WriteLcmsProfile(const kvrtest::TempDir& dir, const std::string& name,
                                     const LcmsSpec& s) {
    cmsHPROFILE h = cmsCreateProfilePlaceholder(nullptr);
    EXPECT_NE(h, nullptr);
    cmsSetProfileVersion(h, s.version);
    cmsSetDeviceClass(h, cmsSigNamedColorClass);
    cmsSetColorSpace(h, s.space);
    cmsSetPCS(h, cmsSigLabData);
    cmsNAMEDCOLORLIST* list =
        cmsAllocNamedColorList(nullptr, cmsUInt32Number(s.names.size()),
                               cmsUInt32Number(s.channels), s.prefix.c_str(), s.suffix.c_str());
    EXPECT_NE(list, nullptr);
    for (size_t i = 0; i < s.names.size(); ++i) {
        cmsUInt16Number pcs[3] = {};
        cmsUInt16Number device[cmsMAXCHANNELS] = {};
        if (i < s.values.size()) {
            for (int k = 0; k < 3; ++k) pcs[k] = s.values[i].pcs.at(size_t(k));
            for (int k = 0; k < s.channels && k < int(s.values[i].device.size()); ++k)
                device[k] = s.values[i].device[size_t(k)];
        }
        EXPECT_TRUE(cmsAppendNamedColor(list, s.names[i].c_str(), pcs, device));
    }
    EXPECT_TRUE(cmsWriteTag(h, cmsSigNamedColor2Tag, list));
    cmsFreeNamedColorList(list);
    const std::string path = (dir / name).string();
    EXPECT_TRUE(cmsSaveProfileToFile(h, path.c_str())) << name;
    cmsCloseProfile(h);
    return Utf8ToWide(path);
}

// Where the ncl2 tag of a profile file stands: file offset and size from its tag table.
struct TagPlace {
    uint32_t offset = 0, size = 0;
    size_t entry = 0; // file offset of its entry in the tag table
};

inline uint32_t Be32(const kvrtest::Bytes& b, size_t at) {
    return uint32_t(b.at(at)) << 24 | uint32_t(b.at(at + 1)) << 16 | uint32_t(b.at(at + 2)) << 8 |
           uint32_t(b.at(at + 3));
}

inline void PutBe32(kvrtest::Bytes& b, size_t at, uint32_t v) {
    for (int k = 0; k < 4; ++k) b.at(at + size_t(k)) = uint8_t(v >> (24 - 8 * k));
}

inline TagPlace FindTag(const kvrtest::Bytes& b, uint32_t sig) {
    const uint32_t count = Be32(b, 128);
    for (uint32_t i = 0; i < count; ++i) {
        const size_t entry = 132 + 12 * size_t(i);
        if (Be32(b, entry) == sig) return {Be32(b, entry + 4), Be32(b, entry + 8), entry};
    }
    ADD_FAILURE() << "no such tag";
    return {};
}

} // namespace namedtest
