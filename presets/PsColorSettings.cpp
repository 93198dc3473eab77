#include "presets/PsColorSettings.h"

#include "base/IniEntries.h"
#include "base/PathUtil.h"
#include "base/TextUtil.h"
#include "common/PrintUSM.h"
#include "common/ProfileFolders.h"
#include "common/TempFileMgr.h"

namespace {
// The sections of the interpreters other than PostScript; the names are what the host's
// settings files have, misspelling included.
constexpr const wchar_t* kSectionAdobePPE = L"AdobePPEOptions";
constexpr const wchar_t* kSectionGhostscriptSep = L"GhostsciptSeparationOptions";
constexpr const wchar_t* kSectionAurelonPDF = L"AurelonPDFOptions";
constexpr const wchar_t* kSectionDummy = L"DummyOptions";

std::wstring BasePath(CPrintUSM* usm) {
    return usm ? usm->GetString(IniCpBasePath) : std::wstring(IniCpBasePath.def);
}
} // namespace

const wchar_t* PsColorDefaultsSection(ePsPdfInterpreter interpreter) {
    switch (interpreter) {
    case PsPdfPostScript:
        return IniPostscriptOptions;
    case PsPdfAdobePPE:
        return kSectionAdobePPE;
    case PsPdfGhostscriptSep:
        return kSectionGhostscriptSep;
    case PsPdfPDF:
        return kSectionAurelonPDF;
    default:
        return kSectionDummy;
    }
}

void LoadPsColorDefaults(SPostscriptColorSettings& settings, ePsPdfInterpreter interpreter,
                         CPrintUSM* usm) {
    if (!usm) return;
    const wchar_t* section = PsColorDefaultsSection(interpreter);
    const CIniFile& ini = usm->IniFile();
    auto read = [&](const SPsCsField& f) {
        const std::wstring value =
            ini.GetString(section, CIniFile::Key(*f.entry), CIniFile::Default(*f.entry));
        if (f.intField)
            settings.*f.intField = FromString(value);
        else
            settings.*f.textField = value;
    };
    // The profile fields first, expanded at once; the flags after them.
    for (const SPsCsField& f : PsCsFields())
        if (f.entry && f.textField) read(f);
    ExpandPsColorProfilePaths(settings, usm);
    for (const SPsCsField& f : PsCsFields())
        if (f.entry && f.intField) read(f);
}

void ExpandPsColorProfilePaths(SPostscriptColorSettings& settings, CPrintUSM* usm) {
    const std::wstring base = BasePath(usm);
    for (const SPsCsField& f : PsCsFields()) {
        if (!f.textField) continue;
        std::wstring& field = settings.*f.textField;
        if (field.empty() || CTempFileMgr::IsTempFileName(field)) continue;
        field = BuildFileName(BuildFileName(base.c_str(), f.folder), SplitFileName(field));
    }
}

void ReducePsColorProfilePaths(SPostscriptColorSettings& settings) {
    for (const SPsCsField& f : PsCsFields())
        if (f.textField) settings.*f.textField = SplitFileName(settings.*f.textField);
}
