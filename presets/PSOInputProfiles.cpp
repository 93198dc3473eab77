#include "presets/PSOInputProfiles.h"

#include "base/PathUtil.h"
#include "common/ImpExArch.h"
#include "common/ProfileFolders.h"

namespace {

// The four colour spaces: their name item, their folder and their export destination.
struct SpaceItems {
    const SPreSetItemDesc* name;
    const wchar_t* folder;
    IKvImpExArch::enmImpDest dest;
};
const SpaceItems kSpaces[] = {
    {&PRS_RgbProfileName, kFolderInputRgb, IKvImpExArch::ImpDestInputRgb},
    {&PRS_CmykProfileName, kFolderInputCmyk, IKvImpExArch::ImpDestInputCmyk},
    {&PRS_LabProfileName, kFolderInputLab, IKvImpExArch::ImpDestInputLab},
    {&PRS_GrayProfileName, kFolderInputGray, IKvImpExArch::ImpDestInputGray},
};

std::wstring BasePath(CPrintUSM* usm) {
    return usm ? usm->GetString(IniCpBasePath) : std::wstring(IniCpBasePath.def);
}

} // namespace

CPSOInputProfiles::CPSOInputProfiles(CGlobalContext* context, int flag)
    : m_data(std::make_unique<CPreSetInputProfiles>()), m_pContext(context), m_flag(flag) {
    m_data->LoadDefault(Usm());
}

CPrintUSM* CPSOInputProfiles::Usm() const {
    return m_pContext ? m_pContext->GetPrintUSM() : nullptr;
}

CPreSetObjStoreFile* CPSOInputProfiles::CreatePSOStore(CPrintUSM* usm,
                                                       CPSOFactoryInputProfiles* factory) {
    return CPSOFactoryInputProfiles::CreateStore(usm, factory);
}

int CPSOInputProfiles::Done(int ok) {
    SetLastError(ok ? std::wstring() : m_data->XmlError());
    return ok;
}

void CPSOInputProfiles::CopyDataFrom(IPreSetObj* other) {
    if (auto* o = dynamic_cast<CPSOInputProfiles*>(other)) *m_data = *o->m_data;
}

int CPSOInputProfiles::LoadFromName(const wchar_t* path) {
    return Done(m_data->LoadFromXml(path, 0, 0));
}
int CPSOInputProfiles::LoadFromString(const wchar_t* xml) {
    return Done(m_data->LoadFromXml(xml, 1, 0));
}
int CPSOInputProfiles::SaveToName(const wchar_t* path) {
    return Done(m_data->SaveToXml(path, 0, 0));
}
int CPSOInputProfiles::SaveToString(std::wstring& xml) {
    return Done(m_data->SaveToXml(xml, 1, 0));
}
void CPSOInputProfiles::SaveToXmlCtxt(CXmlCtxt& ctx) {
    m_data->XmlSaveTo(ctx);
}
int CPSOInputProfiles::LoadFromXmlCtxt(CXmlCtxt& ctx) {
    return Done(m_data->XmlLoadFrom(ctx));
}

CPSOPropPg* CPSOInputProfiles::CreatePSOPropPg(int n, const wchar_t* name) {
    return new CPrPgInputProfiles(Usm(), n, name, m_flag);
}

void CPSOInputProfiles::DataToPSOPropPg(CPSOPropPg* page) {
    auto* pg = dynamic_cast<CPrPgInputProfiles*>(page);
    if (!pg) return;
    // Absent items leave these at their starting values.
    std::wstring names[4];
    SInputProfilesDialogData1 d1;
    SInputProfilesDialogData2 d2;
    const CPreSetInputProfiles& d = *m_data;
    for (int i = 0; i < 4; ++i) d.Lookup(*kSpaces[i].name, names[i]);
    d.Lookup(PRS_RgbRenderingIntent, d1.nRgbIntent);
    d.Lookup(PRS_CmykRenderingIntent, d1.nCmykIntent);
    d.Lookup(PRS_LabRenderingIntent, d1.nLabIntent);
    d.Lookup(PRS_GrayRenderingIntent, d1.nGrayIntent);
    d.Lookup(PRS_RgbAskOnMissingEmbedded, d1.bRgbAskOnMissing);
    d.Lookup(PRS_CmykAskOnMissingEmbedded, d1.bCmykAskOnMissing);
    d.Lookup(PRS_RgbUseEmbeddedProfile, d1.bRgbUseEmbedded);
    d.Lookup(PRS_CmykUseEmbeddedProfile, d1.bCmykUseEmbedded);
    d.Lookup(PRS_GrayUseEmbeddedProfile, d1.bGrayUseEmbedded);
    d.Lookup(PRS_UseColorimetricRI, d2.bUseColorimetricRI);
    d.Lookup(PRS_DisableWhitePointExpansion, d2.bDisableWhitePointExpansion);

    // Full paths for the page; an empty name gives the folder itself, ending in a separator so
    // that the page reads it as the folder with no file even where the folder does not exist yet.
    const std::wstring base = BasePath(Usm());
    std::wstring* paths[4] = {&d1.sRgbProfile, &d1.sCmykProfile, &d1.sLabProfile, &d1.sGrayProfile};
    for (int i = 0; i < 4; ++i) {
        const std::wstring folder = BuildFileName(base.c_str(), kSpaces[i].folder);
        *paths[i] =
            names[i].empty() ? folder + L'/' : BuildFileName(folder.c_str(), names[i].c_str());
    }
    pg->SetData(d1, d2);
}

void CPSOInputProfiles::DataFromPSOPropPg(CPSOPropPg* page) {
    auto* pg = dynamic_cast<CPrPgInputProfiles*>(page);
    if (!pg) return;
    SInputProfilesDialogData1 d1;
    SInputProfilesDialogData2 d2;
    pg->GetData(d1, d2);
    CPreSetInputProfiles& d = *m_data;
    // The preset keeps the file name only, whatever folder the page had it in.
    const std::wstring* paths[4] = {&d1.sRgbProfile, &d1.sCmykProfile, &d1.sLabProfile,
                                    &d1.sGrayProfile};
    for (int i = 0; i < 4; ++i) d.SetItem(*kSpaces[i].name, SplitFileName(*paths[i]));
    d.SetItem(PRS_RgbUseEmbeddedProfile, d1.bRgbUseEmbedded);
    d.SetItem(PRS_CmykUseEmbeddedProfile, d1.bCmykUseEmbedded);
    d.SetItem(PRS_GrayUseEmbeddedProfile, d1.bGrayUseEmbedded);
    d.SetItem(PRS_UseColorimetricRI, d2.bUseColorimetricRI);
    d.SetItem(PRS_DisableWhitePointExpansion, d2.bDisableWhitePointExpansion);
    d.SetItem(PRS_RgbRenderingIntent, d1.nRgbIntent);
    d.SetItem(PRS_CmykRenderingIntent, d1.nCmykIntent);
    d.SetItem(PRS_LabRenderingIntent, d1.nLabIntent);
    d.SetItem(PRS_GrayRenderingIntent, d1.nGrayIntent);
    d.SetItem(PRS_RgbAskOnMissingEmbedded, d1.bRgbAskOnMissing);
    d.SetItem(PRS_CmykAskOnMissingEmbedded, d1.bCmykAskOnMissing);
}

void CPSOInputProfiles::CheckExportOptions(IPSOExportDialog* dialog) {
    if (!dialog) return;
    int any = 0;
    for (const SpaceItems& s : kSpaces) {
        std::wstring name;
        if (m_data->Lookup(*s.name, name) && !name.empty()) any = 1;
    }
    dialog->SetHasProfilesToExport(any);
}

void CPSOInputProfiles::OnExportTo(IKvImpExArch* archive) {
    if (!archive) return;
    std::wstring names[4];
    for (int i = 0; i < 4; ++i) m_data->Lookup(*kSpaces[i].name, names[i]);
    IKvImpExArch::SExportOptions options;
    options.bExportProfiles = options.bAskBeforeReplace = 1;
    archive->GetExportOptions(options);
    if (!options.bExportProfiles) return;
    const std::wstring base = BasePath(Usm());
    for (int i = 0; i < 4; ++i) {
        if (names[i].empty()) continue;
        const std::wstring path =
            BuildFileName(BuildFileName(base.c_str(), kSpaces[i].folder), names[i]);
        archive->AddFile(kSpaces[i].dest, path.c_str());
    }
}

// ---------------------------------------------------------------------------------------------

CPSOFactoryInputProfiles::CPSOFactoryInputProfiles(CGlobalContext* context,
                                                   const wchar_t* customizedName,
                                                   const wchar_t* userDefinedName, int flag)
    : m_pContext(context), m_flag(flag) {
    Initialize(customizedName);
    if (userDefinedName && *userDefinedName)
        AddSpecial(userDefinedName, GetUserDefinedAccessName());
}

IPreSetObj* CPSOFactoryInputProfiles::CreatePSO() {
    return new CPSOInputProfiles(m_pContext, m_flag);
}

CPrintUSM* CPSOFactoryInputProfiles::Usm() const {
    return m_pContext ? m_pContext->GetPrintUSM() : nullptr;
}
