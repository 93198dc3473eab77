#include "presets/PresetSimTargetPrinter.h"

#include "base/IniEntries.h"
#include "base/TextUtil.h"
#include "common/PrintUSM.h"

const wchar_t CPresetSimTargetPrinter::szExtension[] = L"SimTargetPrinter";

namespace {
constexpr const wchar_t* kProfileName = L"ProfileName";
constexpr const wchar_t* kRenderingIntent = L"RenderingIntent";
} // namespace

void CPresetSimTargetPrinter::CopyFrom(const CPresetSimTargetPrinter& other) {
    m_sProfileName = other.m_sProfileName;
    m_nRenderingIntent = other.m_nRenderingIntent;
}

int CPresetSimTargetPrinter::Match(const CPresetSimTargetPrinter& other) const {
    return m_sProfileName == other.m_sProfileName && m_nRenderingIntent == other.m_nRenderingIntent
               ? 1
               : 0;
}

void CPresetSimTargetPrinter::LoadDefault(CPrintUSM* usm) {
    if (!usm) return;
    LoadFromXml(DecodeCrLf(usm->GetString(US_SimTargetPrinterXML)), 1, 0);
}

void CPresetSimTargetPrinter::SaveDefault(CPrintUSM* usm) {
    if (!usm) return;
    std::wstring text;
    SaveToXml(text, 1, 0);
    usm->PutString(US_SimTargetPrinterXML, EncodeCrLf(text).c_str());
}

void CPresetSimTargetPrinter::XmlSave() {
    XmlBeginElement(kRootTag);
    XmlBeginElement(kProfileName);
    XmlSetText(m_sProfileName);
    XmlEndElement();
    XmlBeginElement(kRenderingIntent);
    XmlSetText(ToString(m_nRenderingIntent));
    XmlEndElement();
    XmlEndElement();
}

void CPresetSimTargetPrinter::OnXmlNodeText(const wchar_t* text) {
    const std::wstring tag = XmlGetTag(0);
    if (tag == kProfileName)
        m_sProfileName = text;
    else if (tag == kRenderingIntent)
        m_nRenderingIntent = FromString(text);
}
