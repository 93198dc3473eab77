// A settings file of its own for each test, with the profile folders and the preset folder in
// a temporary folder, and the context that hands those settings to the presets.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "base/PathUtil.h"
#include "base/WideString.h"
#include "common/GlobalContext.h"
#include "common/ImpExArch.h"
#include "common/PrintUSM.h"
#include "support/Files.h"
#include "support/TempDir.h"

namespace presettest {

namespace fs = std::filesystem;

inline std::wstring W(const fs::path& p) {
    return Utf8ToWide(p.string());
}

struct Env {
    kvrtest::TempDir dir{"kvr-presets"};
    fs::path base = dir / "profiles";
    fs::path presets = dir / "presets";
    fs::path ini = dir / "kvrcolor.ini";
    std::unique_ptr<CPrintUSM> usm;
    std::unique_ptr<CGlobalContext> context;

    explicit Env(const std::string& extraIni = {}) {
        kvrtest::WriteText(ini, "[ColorProfiles]\nBasePath=" + base.string() +
                                    "\n[UserSettings]\nSettingsFolder=" + presets.string() + "\n" +
                                    extraIni);
        usm = std::make_unique<CPrintUSM>(W(ini));
        context = std::make_unique<CGlobalContext>(usm.get());
    }
    std::wstring Base() const { return W(base); }
    // base / folder / name, as BuildFileName makes it ("Printer\\RGB" becomes "Printer/RGB").
    std::wstring In(const std::wstring& folder, const std::wstring& name) const {
        return BuildFileName(BuildFileName(Base(), folder), name);
    }
    // Writes a file below the base path, making its folder.
    void PutProfile(const std::string& folderAndName, const std::string& bytes = "profile") {
        fs::create_directories((base / folderAndName).parent_path());
        kvrtest::WriteText(base / folderAndName, bytes);
    }
};

// An archive that records what it is given.
class RecordingArchive : public IKvImpExArch {
public:
    SExportOptions options;
    std::vector<std::pair<int, std::wstring>> added;
    void GetExportOptions(SExportOptions& o) override { o = options; }
    int AddFile(enmImpDest dest, const wchar_t* path) override {
        added.emplace_back(dest, path);
        return 1;
    }
};

class RecordingDialog : public IPSOExportDialog {
public:
    int flag = -1;
    void SetHasProfilesToExport(int f) override { flag = f; }
};

} // namespace presettest
