#include "PresetSession.h"

#include "base/Settings.h"
#include "common/ProfileFolders.h"
#include "presets/PSOInputProfiles.h"
#include "presets/PSOPsCs.h"
#include "presets/PSOSimTargetPrinter.h"
#include "presets/PsColorSettings.h"

namespace {

SPrPgPsCsControl Control(CGlobalContext* ctx, ePsPdfInterpreter interpreter, int channelMask) {
    SPrPgPsCsControl c;
    c.pContext = ctx;
    c.eInterpreter = interpreter;
    c.nChannelMask = channelMask;
    return c;
}

std::map<std::wstring, const wchar_t*> PsCsFolders() {
    std::map<std::wstring, const wchar_t*> m;
    for (const SPsCsField& f : PsCsFields())
        if (f.textField) m[f.tag] = f.folder;
    return m;
}

template <class TPso>
std::function<void(IPreSetObj&, CPrintUSM*)> PsDefaults(ePsPdfInterpreter interpreter) {
    return [interpreter](IPreSetObj& p, CPrintUSM* usm) {
        LoadPsColorDefaults(static_cast<TPso&>(p).Data(), interpreter, usm);
    };
}

} // namespace

const std::vector<Kind>& Kinds() {
    static const std::vector<Kind> kinds = {
        {"InputProfiles",
         kExtInputProfiles,
         &US_InputProfilesName,
         [](CGlobalContext* c, int /*mask*/) {
             return std::make_unique<CPSOFactoryInputProfiles>(c, L"Customized", L"", 0);
         },
         {{L"RgbProfileName", kFolderInputRgb},
          {L"CmykProfileName", kFolderInputCmyk},
          {L"LabProfileName", kFolderInputLab},
          {L"GrayProfileName", kFolderInputGray}},
         nullptr},
        {"PsCs", kExtPsCs, &US_PsCsName,
         [](CGlobalContext* c, int mask) {
             return std::make_unique<CPSOFactoryPsCs>(Control(c, PsPdfPostScript, mask),
                                                      L"Customized", L"");
         },
         PsCsFolders(), PsDefaults<CPSOPsCs>(PsPdfPostScript)},
        {"GhostSepCs", kExtGhostSepCs, &US_GhostSepCsName,
         [](CGlobalContext* c, int mask) {
             return std::make_unique<CPSOFactoryGhostSepCs>(Control(c, PsPdfGhostscriptSep, mask),
                                                            L"Customized", L"");
         },
         PsCsFolders(), PsDefaults<CPSOGhostSepCs>(PsPdfGhostscriptSep)},
        {"PDFAurelonCs", kExtPDFAurelonCs, &US_PDFAurelonCsName,
         [](CGlobalContext* c, int mask) {
             return std::make_unique<CPSOFactoryPDFAurelonCs>(Control(c, PsPdfPDF, mask),
                                                              L"Customized", L"");
         },
         PsCsFolders(), PsDefaults<CPSOPDFAurelonCs>(PsPdfPDF)},
        {"SimTargetPrinter",
         CPresetSimTargetPrinter::szExtension,
         &US_SimTargetPrinterName,
         [](CGlobalContext* c, int /*mask*/) {
             return std::make_unique<CPSOFactorySimTargetPrinter>(c, L"Customized", L"", L"");
         },
         {{L"ProfileName", kFolderSimTarget}},
         nullptr},
    };
    return kinds;
}

std::string KindNames() {
    std::string s;
    for (const Kind& k : Kinds()) s += (s.empty() ? "" : ", ") + std::string(k.name);
    return s;
}

const Kind& FindKind(const std::string& name) {
    for (const Kind& k : Kinds())
        if (name == k.name) return k;
    throw CliError(kExitUsage, "unknown preset kind \"" + name + "\" (one of " + KindNames() + ")");
}

const Kind* KindOfExtension(const std::wstring& ext) {
    for (const Kind& k : Kinds())
        if (ext == k.extension) return &k;
    return nullptr;
}
