#include "common/PreSet.h"

#include "base/IniEntries.h"
#include "base/TextUtil.h"
#include "common/PrintUSM.h"

int CPreSet::Lookup(const SPreSetItemDesc& desc, std::wstring& value) const {
    auto it = m_items.find(desc.name);
    if (it == m_items.end()) return 0;
    value = it->second;
    return 1;
}

int CPreSet::Lookup(const SPreSetItemDesc& desc, int& value) const {
    auto it = m_items.find(desc.name);
    if (it == m_items.end()) return 0;
    value = FromString(it->second);
    return 1;
}

void CPreSet::SetItem(const SPreSetItemDesc& desc, const wchar_t* value) {
    m_items[desc.name] = value ? value : L"";
}

void CPreSet::SetItem(const SPreSetItemDesc& desc, int value) {
    m_items[desc.name] = ToString(value);
}

void CPreSet::LoadDefault(CPrintUSM* usm) {
    for (const SPreSetItemDesc* d : Items()) {
        std::wstring value = d->def ? d->def : L"";
        if (d->defaultEntry && usm)
            value = usm->GetString(*d->defaultEntry);
        else if (d->defaultEntry)
            value = d->defaultEntry->def ? d->defaultEntry->def : L"";
        if (d->type == SPreSetItemDesc::Integer)
            SetItem(*d, FromString(value));
        else
            SetItem(*d, value);
    }
}

const SPreSetItemDesc* CPreSet::FindItem(const std::wstring& name) const {
    for (const SPreSetItemDesc* d : Items())
        if (name == d->name) return d;
    return nullptr;
}

void CPreSet::XmlSave() {
    XmlBeginElement(XmlRootTag());
    for (const SPreSetItemDesc* d : Items()) {
        auto it = m_items.find(d->name);
        if (it == m_items.end()) continue;
        XmlBeginElement(d->name);
        XmlSetText(it->second);
        XmlEndElement();
    }
    XmlEndElement();
}

void CPreSet::OnXmlNodeText(const wchar_t* text) {
    if (XmlGetTag(1) != XmlRootTag()) return;
    if (const SPreSetItemDesc* d = FindItem(XmlGetTag(0))) {
        if (d->type == SPreSetItemDesc::Integer)
            SetItem(*d, FromString(text));
        else
            SetItem(*d, text);
    }
}

// ---------------------------------------------------------------------------------------------
// The input-profile preset: element names and defaults. The RGB and CMYK profiles and intents
// and the white-point option start as the settings of the default sources say; the rest starts
// as a new preset should: Lab and gray without a profile, perceptual intent, embedded profiles
// preferred, no questions asked.

using D = SPreSetItemDesc;
// clang-format off
const D PRS_RgbProfileName             = {L"RgbProfileName",             D::Text,    &IniCpInputRgb,      nullptr};
const D PRS_CmykProfileName            = {L"CmykProfileName",            D::Text,    &IniCpInputCmyk,     nullptr};
const D PRS_LabProfileName             = {L"LabProfileName",             D::Text,    nullptr,             L""};
const D PRS_GrayProfileName            = {L"GrayProfileName",            D::Text,    nullptr,             L""};
const D PRS_RgbRenderingIntent         = {L"RgbRenderingIntent",         D::Integer, &IniCpDefaultRiRgb,  nullptr};
const D PRS_CmykRenderingIntent        = {L"CmykRenderingIntent",        D::Integer, &IniCpDefaultRiCmyk, nullptr};
const D PRS_LabRenderingIntent         = {L"LabRenderingIntent",         D::Integer, nullptr,             L"1"};
const D PRS_GrayRenderingIntent        = {L"GrayRenderingIntent",        D::Integer, nullptr,             L"1"};
const D PRS_RgbUseEmbeddedProfile      = {L"RgbUseEmbeddedProfile",      D::Integer, nullptr,             L"1"};
const D PRS_CmykUseEmbeddedProfile     = {L"CmykUseEmbeddedProfile",     D::Integer, nullptr,             L"1"};
const D PRS_GrayUseEmbeddedProfile     = {L"GrayUseEmbeddedProfile",     D::Integer, nullptr,             L"1"};
const D PRS_RgbAskOnMissingEmbedded    = {L"RgbAskOnMissingEmbedded",    D::Integer, nullptr,             L"0"};
const D PRS_CmykAskOnMissingEmbedded   = {L"CmykAskOnMissingEmbedded",   D::Integer, nullptr,             L"0"};
const D PRS_UseColorimetricRI          = {L"UseColorimetricRI",          D::Integer, nullptr,             L"0"};
const D PRS_DisableWhitePointExpansion = {L"DisableWhitePointExpansion", D::Integer, &IniCpDisableWhitePointExpansion, nullptr};
// clang-format on

std::span<const SPreSetItemDesc* const> CPreSetInputProfiles::Items() const {
    static const SPreSetItemDesc* const items[] = {
        &PRS_RgbProfileName,           &PRS_CmykProfileName,        &PRS_LabProfileName,
        &PRS_GrayProfileName,          &PRS_RgbRenderingIntent,     &PRS_CmykRenderingIntent,
        &PRS_LabRenderingIntent,       &PRS_GrayRenderingIntent,    &PRS_RgbUseEmbeddedProfile,
        &PRS_CmykUseEmbeddedProfile,   &PRS_GrayUseEmbeddedProfile, &PRS_RgbAskOnMissingEmbedded,
        &PRS_CmykAskOnMissingEmbedded, &PRS_UseColorimetricRI,      &PRS_DisableWhitePointExpansion,
    };
    return items;
}
