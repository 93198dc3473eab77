#include "presets/PSOPsCs.h"

#include "common/ImpExArch.h"
#include "presets/PsColorSettings.h"

using S = SPostscriptColorSettings;

bool PsColorSettingsMatch(const S& a, const S& b) {
    for (const SPsCsField& f : PsCsFields()) {
        if (f.intField == &S::nInterpreter5Option) continue; // shown by one page only
        if (f.intField ? a.*f.intField != b.*f.intField : a.*f.textField != b.*f.textField)
            return false;
    }
    return true;
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
