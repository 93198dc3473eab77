// Helpers of the tests of the lcms back-end and the lcms wrapper: lcms2 handles that close
// themselves, settings files with chosen keys, and the profiles of the corpus by short name.
#pragma once

#include <gtest/gtest.h>
#include <lcms2.h>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "base/IniEntries.h"
#include "base/Settings.h"
#include "base/WideString.h"
#include "support/Files.h"
#include "support/TempDir.h"
#include "support/TestData.h"

namespace lcmstest {

struct ProfileCloser {
    void operator()(void* h) const { cmsCloseProfile(h); }
};
struct TransformDeleter {
    void operator()(void* t) const { cmsDeleteTransform(t); }
};
using Profile = std::unique_ptr<void, ProfileCloser>;
using Transform = std::unique_ptr<void, TransformDeleter>;

inline std::wstring Wide(const std::string& s) {
    return Utf8ToWide(s);
}
inline std::string Corpus(const std::string& name) {
    return kvrtest::CorpusProfile(name).string();
}
inline Profile Open(const std::string& path) {
    return Profile(cmsOpenProfileFromFile(path.c_str(), "r"));
}

// A settings file holding the given keys (all others take their defaults), and the settings
// object reading it.
class Settings {
public:
    explicit Settings(const std::vector<std::pair<const _INIENTRY*, std::string>>& values = {})
        : m_dir("kvr-lcms-ini") {
        std::map<std::string, std::string> sections;
        for (const auto& [entry, value] : values)
            sections[WideToUtf8(entry->section)] += WideToUtf8(entry->key) + "=" + value + "\n";
        std::string text;
        for (const auto& [section, lines] : sections) text += "[" + section + "]\n" + lines;
        const auto path = m_dir / "kvrcolor.ini";
        kvrtest::WriteText(path, text);
        m_mgr = std::make_unique<CUserSettingsMgr>(path.wstring());
    }
    CUserSettingsMgr* get() { return m_mgr.get(); }

private:
    kvrtest::TempDir m_dir;
    std::unique_ptr<CUserSettingsMgr> m_mgr;
};

// Sixteen ramps of 256 entries for gradations, each a little different.
class Curves {
public:
    explicit Curves(unsigned n) : m_data(n, std::vector<unsigned short>(256)) {
        for (unsigned c = 0; c < n; ++c)
            for (unsigned i = 0; i < 256; ++i)
                m_data[c][i] = (unsigned short)(i * 257 * (16 - c) / 16);
        for (auto& d : m_data) m_ptrs.push_back(d.data());
    }
    const std::vector<unsigned short*>& get() const { return m_ptrs; }

private:
    std::vector<std::vector<unsigned short>> m_data;
    std::vector<unsigned short*> m_ptrs;
};

} // namespace lcmstest
