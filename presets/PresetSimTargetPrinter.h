// The simulation target printer: the profile of the printer to simulate and the intent to
// simulate it with. The profile is held as the settings give it (a bare name lies in the
// folder "SimTarget" below the base path).
#pragma once

#include <string>

#include "common/XmlCtxt.h"

class CPrintUSM;

class CPresetSimTargetPrinter : public CXmlCtxt {
public:
    static const wchar_t szExtension[]; // "SimTargetPrinter"
    static constexpr const wchar_t* kRootTag = L"SimTargetPrinter";

    std::wstring m_sProfileName;
    int m_nRenderingIntent = 2; // relative colorimetric: a proof keeps the paper white

    void CopyFrom(const CPresetSimTargetPrinter& other);
    // 1 if the names are equal, case included, and the intents are equal.
    int Match(const CPresetSimTargetPrinter& other) const;

    // The default of the user settings (US_SimTargetPrinterXML, one line with its line breaks
    // encoded); a missing or unreadable text leaves the data as it is.
    void LoadDefault(CPrintUSM* usm);
    void SaveDefault(CPrintUSM* usm);

protected:
    const wchar_t* XmlRootTag() const override { return kRootTag; }
    void XmlSave() override;
    void OnXmlNodeText(const wchar_t* text) override;
};
