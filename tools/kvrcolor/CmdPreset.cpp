// kvrcolor preset ACTION ...: the users' colour presets of the five kinds, in the preset folder
// of the settings (UserSettings/SettingsFolder), with their profiles below BasePath.
#include <CLI/CLI.hpp>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <iostream>
#include <map>
#include <memory>

#include "CliError.h"
#include "Commands.h"
#include "PresetSession.h"
#include "base/IniEntries.h"
#include "base/PathUtil.h"
#include "base/Settings.h"
#include "base/WideString.h"
#include "common/GlobalContext.h"
#include "common/ImpExArch.h"
#include "common/PrintUSM.h"
#include "common/ProfileFolders.h"
#include "common/TempFileMgr.h"
#include "presets/PSOInputProfiles.h"
#include "presets/PSOPsCs.h"
#include "presets/PSOSimTargetPrinter.h"
#include "presets/PresetExport.h"
#include "presets/PsColorSettings.h"

namespace {

namespace fs = std::filesystem;

// A preset file seen as an ordered list of key and text: the children of its root element.
class CFlatXml : public CXmlCtxt {
public:
    std::wstring root;
    std::vector<std::pair<std::wstring, std::wstring>> items;

protected:
    void XmlSave() override {
        XmlBeginElement(root.c_str());
        for (const auto& [k, v] : items) {
            XmlBeginElement(k.c_str());
            XmlSetText(v);
            XmlEndElement();
        }
        XmlEndElement();
    }
    void OnXmlLoadStart() override { items.clear(); }
    void OnXmlNodeText(const wchar_t* text) override {
        if (XmlGetTag(2).empty() && !XmlGetTag(1).empty()) {
            root = XmlGetTag(1);
            items.emplace_back(XmlGetTag(0), text);
        }
    }
};

CFlatXml Flatten(IPreSetObj& pso) {
    std::wstring xml;
    pso.SaveToString(xml);
    CFlatXml flat;
    flat.LoadFromXml(xml, 1, 0);
    return flat;
}

void Need(const std::vector<std::string>& args, size_t n, const char* usage) {
    if (args.size() != n)
        throw CliError(kExitUsage, std::string("usage: kvrcolor preset ") + usage);
}

int List(const std::vector<std::string>& args) {
    if (args.size() > 2) throw CliError(kExitUsage, "usage: kvrcolor preset list [KIND]");
    const Kind* only = args.size() == 2 ? &FindKind(args[1]) : nullptr;
    for (const Kind& k : Kinds()) {
        if (only && only != &k) continue;
        Session s(k);
        const std::wstring current = s.usm->GetString(*k.currentName);
        for (const std::wstring& name : s.store->GetNames())
            std::printf("%s\t%s%s\n", k.name, WideToUtf8(name).c_str(),
                        name == current ? "\t(current)" : "");
    }
    return kExitOk;
}

int Show(const std::vector<std::string>& args) {
    Need(args, 3, "show KIND NAME");
    Session s(FindKind(args[1]));
    auto pso = s.Load(args[2]);
    CFlatXml flat = Flatten(*pso);
    std::printf("%s preset \"%s\" (%s)\n", s.kind.name, args[2].c_str(),
                WideToUtf8(s.Files().ItemNameToPathName(Utf8ToWide(args[2]).c_str())).c_str());
    for (const auto& [key, value] : flat.items) {
        auto folder = s.kind.profileFolders.find(key);
        if (folder == s.kind.profileFolders.end()) {
            std::printf("%s=%s\n", WideToUtf8(key).c_str(), WideToUtf8(value).c_str());
            continue;
        }
        const std::wstring path = s.ProfilePath(folder->second, value);
        std::error_code ec;
        const char* state = path.empty()                                ? ""
                            : fs::is_regular_file(WideToUtf8(path), ec) ? "\t(exists)"
                                                                        : "\t(missing)";
        std::printf("%s=%s%s\n", WideToUtf8(key).c_str(), WideToUtf8(path).c_str(), state);
    }
    return kExitOk;
}

int New(const std::vector<std::string>& args) {
    Need(args, 3, "new KIND NAME");
    Session s(FindKind(args[1]));
    s.RequireNewName(args[2]);
    auto pso = s.New();
    if (s.kind.defaults) s.kind.defaults(*pso, s.usm);
    s.Save(args[2], *pso);
    return kExitOk;
}

int Copy(const std::vector<std::string>& args) {
    Need(args, 4, "copy KIND NAME NEWNAME");
    Session s(FindKind(args[1]));
    auto pso = s.Load(args[2]);
    s.RequireNewName(args[3]);
    s.Save(args[3], *pso);
    return kExitOk;
}

int Rename(const std::vector<std::string>& args) {
    Need(args, 4, "rename KIND NAME NEWNAME");
    Session s(FindKind(args[1]));
    if (!s.store->Exists(Utf8ToWide(args[2]).c_str())) s.Load(args[2]); // says why
    if (args[2] != args[3]) s.RequireNewName(args[3]);
    if (!s.store->Rename(Utf8ToWide(args[2]).c_str(), Utf8ToWide(args[3]).c_str()))
        throw CliError(kExitOutput, WideToUtf8(s.store->GetLastError()));
    return kExitOk;
}

int Delete(const std::vector<std::string>& args) {
    Need(args, 3, "delete KIND NAME");
    Session s(FindKind(args[1]));
    if (!s.store->Exists(Utf8ToWide(args[2]).c_str())) s.Load(args[2]);
    if (!s.store->Delete(Utf8ToWide(args[2]).c_str()))
        throw CliError(kExitOutput, WideToUtf8(s.store->GetLastError()));
    return kExitOk;
}

int Set(const std::vector<std::string>& args) {
    if (args.size() < 4)
        throw CliError(kExitUsage, "usage: kvrcolor preset set KIND NAME KEY=VALUE...");
    Session s(FindKind(args[1]));
    auto pso = s.Load(args[2]);
    CFlatXml flat = Flatten(*pso);
    const CFlatXml defaults = Flatten(*s.New()); // every key of the kind
    for (size_t i = 3; i < args.size(); ++i) {
        const size_t eq = args[i].find('=');
        if (eq == std::string::npos || eq == 0)
            throw CliError(kExitUsage, "\"" + args[i] + "\" is not KEY=VALUE");
        const std::wstring key = Utf8ToWide(args[i].substr(0, eq));
        std::wstring value = Utf8ToWide(args[i].substr(eq + 1));
        auto known = std::find_if(defaults.items.begin(), defaults.items.end(),
                                  [&](const auto& kv) { return kv.first == key; });
        if (known == defaults.items.end()) {
            std::string keys;
            for (const auto& kv : defaults.items) keys += " " + WideToUtf8(kv.first);
            throw CliError(kExitUsage, "no setting \"" + WideToUtf8(key) + "\" in a " +
                                           s.kind.name + " preset; the settings are:" + keys);
        }
        const bool profile = s.kind.profileFolders.count(key) > 0;
        int number;
        if (profile) {
            if (!CTempFileMgr::IsTempFileName(value)) value = SplitFileName(value);
        } else if (CIniFile::ParseInt(known->second, number) &&
                   !CIniFile::ParseInt(value, number)) {
            throw CliError(kExitUsage, WideToUtf8(key) + " takes a whole number, not \"" +
                                           WideToUtf8(value) + "\"");
        }
        auto it = std::find_if(flat.items.begin(), flat.items.end(),
                               [&](const auto& kv) { return kv.first == key; });
        if (it != flat.items.end())
            it->second = value;
        else
            flat.items.emplace_back(key, value);
    }
    std::wstring xml;
    flat.SaveToXml(xml, 1, 0);
    if (!pso->LoadFromString(xml.c_str()))
        throw CliError(kExitInternal, "the changed preset does not load again");
    s.Save(args[2], *pso);
    return kExitOk;
}

int Export(const std::vector<std::string>& args, bool noProfiles) {
    Need(args, 4, "export KIND NAME ARCHIVE.zip [--no-profiles]");
    Session s(FindKind(args[1]));
    auto pso = s.Load(args[2]);
    IKvImpExArch::SExportOptions options;
    options.bExportProfiles = noProfiles ? 0 : 1;
    CKvZipExport archive(s.Base(), options);
    if (!ExportPreset(*pso, s.kind.extension, Utf8ToWide(args[2]), archive))
        throw CliError(kExitInternal, "the preset cannot be written as XML");
    for (const std::wstring& missing : archive.Missing())
        std::fprintf(stderr,
                     "kvrcolor: warning: %s is named by the preset but does not exist; "
                     "not exported\n",
                     WideToUtf8(missing).c_str());
    if (!archive.Write(Utf8ToWide(args[3]).c_str()))
        throw CliError(kExitOutput, WideToUtf8(archive.GetLastError()));
    std::printf("%s: preset \"%s\" with %zu profile(s)\n", args[3].c_str(), args[2].c_str(),
                archive.Files().size());
    return kExitOk;
}

int Import(const std::vector<std::string>& args, bool yes, bool keep) {
    Need(args, 2, "import ARCHIVE.zip [--yes | --keep]");
    if (yes && keep) throw CliError(kExitUsage, "--yes and --keep exclude each other");
    CKvZipImport archive;
    if (!archive.Open(Utf8ToWide(args[1]).c_str()))
        throw CliError(kExitInput, WideToUtf8(archive.GetLastError()));
    const Kind* kind = KindOfExtension(archive.PresetExtension());
    if (!kind)
        throw CliError(kExitInput, args[1] + ": a preset of the unknown kind \"" +
                                       WideToUtf8(archive.PresetExtension()) + "\"");
    Session s(*kind);
    auto probe = s.New();
    // Without --yes or --keep, a person at a terminal is asked; anything else keeps the file.
    auto confirm = [&](const std::wstring& path) {
        if (yes) return true;
        if (keep || !isatty(STDIN_FILENO)) return false;
        std::fprintf(stderr, "%s exists with other content. Replace it? [y/N] ",
                     WideToUtf8(path).c_str());
        std::string answer;
        if (!std::getline(std::cin, answer)) return false;
        return answer == "y" || answer == "Y" || answer == "yes";
    };
    std::wstring error;
    if (!ImportPreset(archive, *probe, s.Base(), s.Files().Folder(), confirm, error))
        throw CliError(kExitInput, args[1] + ": " + WideToUtf8(error));
    for (const std::wstring& kept : archive.Kept())
        std::fprintf(stderr, "kvrcolor: kept %s as it was\n", WideToUtf8(kept).c_str());
    std::printf("%s preset \"%s\": %zu file(s) written\n", kind->name,
                WideToUtf8(archive.PresetName()).c_str(), archive.Written().size());
    return kExitOk;
}

} // namespace

Command RegisterPreset(CLI::App& parent) {
    auto args = std::make_shared<std::vector<std::string>>();
    auto yes = std::make_shared<bool>(false);
    auto keep = std::make_shared<bool>(false);
    auto noProfiles = std::make_shared<bool>(false);
    CLI::App* cmd = parent.add_subcommand(
        "preset", "List, show, make, change, copy, rename, delete, export and import presets");
    cmd->add_option("ACTION", *args,
                    "list [KIND] | show KIND NAME | new KIND NAME | copy KIND NAME NEWNAME |\n"
                    "rename KIND NAME NEWNAME | delete KIND NAME | set KIND NAME KEY=VALUE... |\n"
                    "export KIND NAME ARCHIVE.zip | import ARCHIVE.zip")
        ->required();
    cmd->add_flag("--yes", *yes, "import: replace files that differ without asking");
    cmd->add_flag("--keep", *keep, "import: keep files that differ without asking");
    cmd->add_flag("--no-profiles", *noProfiles, "export: the preset alone");
    cmd->footer("Kinds: " + KindNames() +
                ".\nPresets are files NAME.KIND in the folder SettingsFolder of [UserSettings]; "
                "profiles\nare named by file name and lie in their folder below BasePath "
                "(show prints full paths).");
    return {cmd, [=] {
                const std::string action = (*args)[0];
                if (action == "list") return List(*args);
                if (action == "show") return Show(*args);
                if (action == "new") return New(*args);
                if (action == "copy") return Copy(*args);
                if (action == "rename") return Rename(*args);
                if (action == "delete") return Delete(*args);
                if (action == "set") return Set(*args);
                if (action == "export") return Export(*args, *noProfiles);
                if (action == "import") return Import(*args, *yes, *keep);
                throw CliError(kExitUsage, "unknown preset action \"" + action + "\"");
            }};
}
