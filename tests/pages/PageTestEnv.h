// What the page tests share: services that answer as a scripted user would, a Trash of the
// test's own, profile folders below a base path of the test's own, and profiles of each kind.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/PathUtil.h"
#include "base/WideString.h"
#include "common/GlobalContext.h"
#include "common/PrintUSM.h"
#include "pages/PageModel.h"
#include "support/Files.h"
#include "support/ProfileBuilder.h"
#include "support/TempDir.h"

namespace pagetest {

namespace fs = std::filesystem;

inline std::wstring W(const fs::path& p) {
    return Utf8ToWide(p.string());
}

// A user at the dialogs: the file chooser answers the queued paths (nothing queued or a
// nullopt: cancel), the yes/no questions the queued answers (then `defaultAnswer`), and every
// question and message is recorded.
class ScriptedServices : public IPageServices {
public:
    std::deque<std::optional<std::wstring>> choices;
    std::deque<bool> answers;
    bool defaultAnswer = true;
    std::vector<std::wstring> questions, messages, chooserTitles, chooserFilters, chooserFolders;

    std::optional<std::wstring> ChooseFile(const std::wstring& title, const std::wstring& filter,
                                           const std::wstring& startFolder) override {
        chooserTitles.push_back(title);
        chooserFilters.push_back(filter);
        chooserFolders.push_back(startFolder);
        if (choices.empty()) return std::nullopt;
        std::optional<std::wstring> c = choices.front();
        choices.pop_front();
        return c;
    }
    bool Confirm(const std::wstring& question) override {
        questions.push_back(question);
        if (answers.empty()) return defaultAnswer;
        const bool a = answers.front();
        answers.pop_front();
        return a;
    }
    void Message(const std::wstring& text) override { messages.push_back(text); }
};

// Sets an environment variable for the lifetime of the object.
class ScopedEnv {
public:
    ScopedEnv(const char* name, const std::string& value) : m_name(name) {
        if (const char* old = std::getenv(name)) m_old = old;
        ::setenv(name, value.c_str(), 1);
    }
    ~ScopedEnv() {
        if (m_old)
            ::setenv(m_name, m_old->c_str(), 1);
        else
            ::unsetenv(m_name);
    }
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

private:
    const char* m_name;
    std::optional<std::string> m_old;
};

// Makes `folder` the process's current folder for the lifetime of the object.
class ScopedChdir {
public:
    explicit ScopedChdir(const fs::path& folder) : m_old(fs::current_path()) {
        fs::current_path(folder);
    }
    ~ScopedChdir() {
        std::error_code ec;
        fs::current_path(m_old, ec);
    }
    ScopedChdir(const ScopedChdir&) = delete;
    ScopedChdir& operator=(const ScopedChdir&) = delete;

private:
    fs::path m_old;
};

// A Trash of the test's own: XDG_DATA_HOME points into a temporary folder.
struct TestTrash {
    kvrtest::TempDir dir{"kvr-trash"};
    ScopedEnv env{"XDG_DATA_HOME", dir.path().string()};
    fs::path Files() const { return dir.path() / "Trash" / "files"; }
    fs::path Info() const { return dir.path() / "Trash" / "info"; }
    // The names in files/, sorted.
    std::vector<std::string> Names() const {
        std::vector<std::string> out;
        std::error_code ec;
        for (const auto& e : fs::directory_iterator(Files(), ec))
            out.push_back(e.path().filename().string());
        std::sort(out.begin(), out.end());
        return out;
    }
};

// The value of `key` in a .trashinfo text, empty when missing.
inline std::string TrashInfoValue(const std::string& info, const std::string& key) {
    const std::string prefix = "\n" + key + "=";
    const size_t at = info.find(prefix);
    if (at == std::string::npos) return {};
    const size_t start = at + prefix.size();
    const size_t end = info.find('\n', start);
    return info.substr(start, end == std::string::npos ? std::string::npos : end - start);
}

// The %XX escapes of a Path value undone.
inline std::string UrlUnescape(const std::string& s) {
    std::string out;
    for (size_t i = 0; i < s.size(); ++i) {
        if (s[i] == '%' && i + 2 < s.size()) {
            out += static_cast<char>(std::stoi(s.substr(i + 1, 2), nullptr, 16));
            i += 2;
        } else {
            out += s[i];
        }
    }
    return out;
}

// Restores files/NAME of the Trash to the place its .trashinfo names, as a file manager does,
// and removes the info. Answers the restored path, empty when that failed.
inline fs::path RestoreFromTrash(const TestTrash& trash, const std::string& name) {
    const fs::path info = trash.Info() / (name + ".trashinfo");
    const std::string text = kvrtest::ReadText(info);
    const fs::path original = UrlUnescape(TrashInfoValue(text, "Path"));
    if (original.empty() || fs::exists(original)) return {};
    std::error_code ec;
    fs::rename(trash.Files() / name, original, ec);
    if (ec) return {};
    fs::remove(info, ec);
    return original;
}

// Settings with a base path of the test's own, and the profile folders below it.
struct PageEnv {
    kvrtest::TempDir dir{"kvr-pages"};
    fs::path base = dir / "profiles";
    fs::path ini = dir / "kvrcolor.ini";
    std::unique_ptr<CPrintUSM> usm;
    std::unique_ptr<CGlobalContext> context;

    explicit PageEnv(const std::string& extraIni = {}) {
        kvrtest::WriteText(ini, "[ColorProfiles]\nBasePath=" + base.string() +
                                    "\n[UserSettings]\nSettingsFolder=" +
                                    (dir / "presets").string() + "\n" + extraIni);
        for (const char* f : {"InputRgb", "InputCmyk", "InputLab", "InputGray", "SimTarget"})
            fs::create_directories(base / f);
        usm = std::make_unique<CPrintUSM>(W(ini));
        context = std::make_unique<CGlobalContext>(usm.get());
    }
    fs::path Folder(const std::string& f) const { return base / f; }
    std::wstring In(const std::string& folder, const std::string& name) const {
        return W(base / folder / name);
    }
    // Names of the files in a profile folder, sorted.
    std::vector<std::string> FilesIn(const std::string& folder) const {
        std::vector<std::string> out;
        for (const auto& e : fs::directory_iterator(base / folder))
            out.push_back(e.path().filename().string());
        std::sort(out.begin(), out.end());
        return out;
    }
};

// Profiles of each kind, written by the library's generator into `dir` under `name`.
enum class Kind { Rgb, Cmyk, Lab, Gray, RgbLink, Cmyk5 };

inline std::wstring MakeProfile(const kvrtest::TempDir& dir, const std::string& name, Kind kind) {
    kvrtest::ProfileSpec spec;
    switch (kind) {
    case Kind::Rgb:
        spec.deviceClass = icSigDisplayClass;
        spec.colorSpace = icSigRgbData;
        break;
    case Kind::Cmyk:
        spec.colorSpace = icSigCmykData;
        break;
    case Kind::Lab:
        spec.deviceClass = icSigColorSpaceClass;
        spec.colorSpace = icSigLabData;
        break;
    case Kind::Gray:
        spec.colorSpace = icSigGrayData;
        break;
    case Kind::RgbLink:
        spec.deviceClass = icSigLinkClass;
        spec.colorSpace = icSigRgbData;
        spec.pcs = icSigCmykData;
        break;
    case Kind::Cmyk5:
        spec.colorSpace = icSig5colorData;
        break;
    }
    return kvrtest::WriteProfile(dir, name, spec);
}

// The same into a folder below the base path.
inline void PutProfile(const PageEnv& env, const std::string& folder, const std::string& name,
                       Kind kind) {
    const kvrtest::TempDir scratch("kvr-pages-src");
    const std::wstring made = MakeProfile(scratch, name, kind);
    fs::copy_file(fs::path(WideToUtf8(made)), env.base / folder / name,
                  fs::copy_options::overwrite_existing);
}

} // namespace pagetest
