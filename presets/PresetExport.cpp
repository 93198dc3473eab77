#include "presets/PresetExport.h"

#include "base/IniEntries.h"
#include "base/PathUtil.h"
#include "common/ImpExArch.h"
#include "common/PreSetObj.h"
#include "common/PrintUSM.h"
#include "common/ProfileFolders.h"

namespace {
using S = SPostscriptColorSettings;

std::wstring BasePath(CPrintUSM* usm) {
    return usm ? usm->GetString(IniCpBasePath) : std::wstring(IniCpBasePath.def);
}
} // namespace

void ExpProf(const std::wstring& field, int destination, IKvImpExArch* archive, CPrintUSM* usm) {
    const std::wstring name = SplitFileName(field);
    if (name.empty() || !archive) return;
    std::wstring folder;
    switch (destination) {
    case IKvImpExArch::ImpDestInputRgb:
        folder = BuildFileName(BasePath(usm).c_str(), kFolderInputRgb);
        break;
    case IKvImpExArch::ImpDestInputCmyk:
        folder = BuildFileName(BasePath(usm).c_str(), kFolderInputCmyk);
        break;
    case IKvImpExArch::ImpDestPrinter:
        folder = BuildFileName(BasePath(usm).c_str(), kFolderPrinter);
        break;
    case IKvImpExArch::ImpDestPrinterRgb:
        folder = BuildFileName(BasePath(usm).c_str(), kFolderPrinterRgb);
        break;
    default:
        break; // Lab and gray: the bare name
    }
    archive->AddFile(static_cast<IKvImpExArch::enmImpDest>(destination),
                     BuildFileName(folder, name).c_str());
}

void PsColorCheckExportOptions(const S& s, IPSOExportDialog* dialog) {
    if (!dialog) return;
    for (const SPsCsField& f : PsCsFields())
        if (f.textField && !(s.*f.textField).empty()) {
            dialog->SetHasProfilesToExport(1);
            return;
        }
    dialog->SetHasProfilesToExport(0);
}

void PsColorExportTo(const S& s, IKvImpExArch* archive, CPrintUSM* usm) {
    if (!archive) return;
    IKvImpExArch::SExportOptions options;
    options.bExportProfiles = options.bAskBeforeReplace = 1;
    archive->GetExportOptions(options);
    if (!options.bExportProfiles) return;
    using A = IKvImpExArch;
    const std::pair<const std::wstring*, int> order[] = {
        {&s.sInputProfileRGBVector, A::ImpDestInputRgb},
        {&s.sInputProfileRGBPixel, A::ImpDestInputRgb},
        {&s.sInputProfileRGBText, A::ImpDestInputRgb},
        {&s.sInputProfileCMYKVector, A::ImpDestInputCmyk},
        {&s.sInputProfileCMYKPixel, A::ImpDestInputCmyk},
        {&s.sInputProfileCMYKText, A::ImpDestInputCmyk},
        {&s.sDefaultOutputProfileCMYK, A::ImpDestPrinter},
        {&s.sDefaultOutputProfileRGB, A::ImpDestPrinterRgb},
        {&s.sInputProfileLabVector, A::ImpDestInputLab},
        {&s.sInputProfileLabPixel, A::ImpDestInputLab},
        {&s.sInputProfileLabText, A::ImpDestInputLab},
        {&s.sInputProfileGrayVector, A::ImpDestInputGray},
        {&s.sInputProfileGrayPixel, A::ImpDestInputGray},
        {&s.sInputProfileGrayText, A::ImpDestInputGray},
    };
    for (const auto& [field, dest] : order) ExpProf(*field, dest, archive, usm);
}

int ExportPreset(IPreSetObj& pso, const std::wstring& extension, const std::wstring& name,
                 CKvZipExport& archive) {
    pso.OnExportTo(&archive);
    std::wstring xml;
    if (!pso.SaveToString(xml)) return 0;
    archive.SetPreset(extension, name, xml);
    return 1;
}

int ImportPreset(CKvZipImport& archive, IPreSetObj& probe, const std::wstring& basePath,
                 const std::wstring& presetFolder,
                 const std::function<bool(const std::wstring&)>& confirm, std::wstring& error) {
    if (!probe.LoadFromString(archive.PresetXml().c_str())) {
        auto* obj = dynamic_cast<CPreSetObj*>(&probe);
        error = L"the preset in the archive is not a " + archive.PresetExtension() + L" preset: " +
                (obj ? obj->GetLastError() : std::wstring());
        return 0;
    }
    if (!archive.Import(basePath, presetFolder, confirm)) {
        error = archive.GetLastError();
        return 0;
    }
    return 1;
}
