// The preset kinds as the tool knows them: store extension, the setting that names the current
// preset, the factory, the folders of the profiles the preset names, and the defaults of a new
// preset; and a session over one kind's store. Shared by `kvrcolor preset` and `kvrcolor ui`.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "CliError.h"
#include "base/IniEntries.h"
#include "base/PathUtil.h"
#include "base/WideString.h"
#include "common/GlobalContext.h"
#include "common/PreSetObj.h"
#include "common/PrintUSM.h"
#include "common/TempFileMgr.h"

// Both colour spaces of a device, RGB (bit 0) and CMYK (bit 1): what a preset page shows unless
// told otherwise.
inline constexpr int kAllChannels = 3;

struct Kind {
    const char* name;
    const wchar_t* extension;
    const _INIENTRY* currentName;
    // The kind's factory; `channelMask` (bit 0 RGB, bit 1 CMYK) is what the interpreter kinds
    // hand to their page: the colour spaces the device has.
    std::function<std::unique_ptr<CPSOFactoryCustomized>(CGlobalContext*, int channelMask)> factory;
    std::map<std::wstring, const wchar_t*> profileFolders; // key -> folder below BasePath
    // Fills a new preset with the defaults of its interpreter, where the kind has one.
    std::function<void(IPreSetObj&, CPrintUSM*)> defaults;
};

// Every kind, in the order the tool lists them.
const std::vector<Kind>& Kinds();
// "InputProfiles, PsCs, ..." for messages.
std::string KindNames();
// The kind of that name; CliError (usage) naming the kinds otherwise.
const Kind& FindKind(const std::string& name);
// The kind whose store extension this is; null if none.
const Kind* KindOfExtension(const std::wstring& ext);

// The settings, context, factory and store of one kind.
struct Session {
    CPrintUSM* usm = CPrintUSM::GetInstance();
    CGlobalContext context{usm};
    const Kind& kind;
    std::unique_ptr<CPSOFactoryCustomized> factory;
    std::unique_ptr<IPreSetObjStore> store;

    explicit Session(const Kind& k, int channelMask = kAllChannels)
        : kind(k), factory(k.factory(&context, channelMask)), store(factory->CreatePSOStore()) {}

    CPreSetObjStoreFile& Files() { return static_cast<CPreSetObjStoreFile&>(*store); }
    std::unique_ptr<IPreSetObj> New() { return std::unique_ptr<IPreSetObj>(factory->CreatePSO()); }
    std::wstring Base() const { return usm->GetString(IniCpBasePath); }

    std::unique_ptr<IPreSetObj> Load(const std::string& name) {
        auto pso = New();
        if (!store->Exists(Utf8ToWide(name).c_str()))
            throw CliError(kExitInput, "no " + std::string(kind.name) + " preset \"" + name +
                                           "\" in " + WideToUtf8(Files().Folder()));
        if (!store->Load(Utf8ToWide(name).c_str(), pso.get()))
            throw CliError(kExitInput, WideToUtf8(store->GetLastError()));
        return pso;
    }
    void Save(const std::string& name, IPreSetObj& pso) {
        if (!store->Save(Utf8ToWide(name).c_str(), &pso))
            throw CliError(kExitOutput, WideToUtf8(store->GetLastError()));
    }
    void RequireNewName(const std::string& name) {
        if (!factory->AllowNew(Utf8ToWide(name).c_str()))
            throw CliError(kExitUsage, "\"" + name + "\" cannot be a preset name");
        if (store->Exists(Utf8ToWide(name).c_str()))
            throw CliError(kExitUsage, "a " + std::string(kind.name) + " preset \"" + name +
                                           "\" exists already");
    }
    // The full path of a profile value: a temporary file as it is, else its name in its folder.
    std::wstring ProfilePath(const wchar_t* folder, const std::wstring& value) const {
        if (value.empty() || CTempFileMgr::IsTempFileName(value)) return value;
        return BuildFileName(BuildFileName(Base().c_str(), folder), SplitFileName(value));
    }
};
