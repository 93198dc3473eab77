// The three interpreter colour presets: PostScript (CPSOPsCs), Ghostscript separation
// (CPSOGhostSepCs) and PDF (CPSOPDFAurelonCs). They share the data (CPreSetPsCs) and all
// behaviour, and differ in store extension, current-name setting and page class.
//
// Storage holds bare file names: loading from a file or a string expands the profile fields to
// full paths, saving to a file or a string first reduces them in the object's own data. Nesting
// in a larger document (SaveToXmlCtxt, LoadFromXmlCtxt) moves the fields as they stand.
#pragma once

#include <memory>

#include "common/PreSetPsCs.h"
#include "presets/PSOTemplates.h"
#include "presets/PresetExport.h"
#include "presets/PresetKinds.h"
#include "presets/PresetPages.h"
#include "presets/PsColorSettings.h"

// What the host hands a factory and its preset objects; one layout for the three kinds.
struct SPrPgPsCsControl {
    int nReserved = 0;      // not read by this library
    int nNoReplacement = 0; // the page offers no named-colour replacement
    int nChannelMask = 3;   // bit 0 RGB, bit 1 CMYK: the colour spaces the page shows
    CGlobalContext* pContext = nullptr;
    ePsPdfInterpreter eInterpreter = PsPdfPostScript;
};
using SPrPgGhostSepCsControl = SPrPgPsCsControl;
using SPrPgPDFAurelonCsControl = SPrPgPsCsControl;

// Comparing all fields but the interpreter-5 option, strings with case.
bool PsColorSettingsMatch(const SPostscriptColorSettings& a, const SPostscriptColorSettings& b);

template <class TPage, bool PageTakesPresetMode> class TPSOPsCs : public CPreSetObj {
public:
    using DataType = CPreSetPsCs;

    explicit TPSOPsCs(const SPrPgPsCsControl& control)
        : m_data(std::make_unique<CPreSetPsCs>()), m_control(control) {}

    CPreSetPsCs& Data() { return *m_data; }
    CPreSetPsCs& PreSetData() { return *m_data; }
    const SPrPgPsCsControl& Control() const { return m_control; }

    void CopyDataFrom(IPreSetObj* other) override {
        if (auto* o = dynamic_cast<TPSOPsCs*>(other)) *m_data = *o->m_data;
    }
    int LoadFromName(const wchar_t* path) override {
        return Loaded(m_data->LoadFromXml(path, 0, 0));
    }
    int LoadFromString(const wchar_t* xml) override {
        return Loaded(m_data->LoadFromXml(xml, 1, 0));
    }
    int SaveToName(const wchar_t* path) override {
        ReducePsColorProfilePaths(*m_data);
        return Done(m_data->SaveToXml(path, 0, 0));
    }
    int SaveToString(std::wstring& xml) override {
        ReducePsColorProfilePaths(*m_data);
        return Done(m_data->SaveToXml(xml, 1, 0));
    }
    void SaveToXmlCtxt(CXmlCtxt& ctx) override { m_data->XmlSaveTo(ctx); }
    int LoadFromXmlCtxt(CXmlCtxt& ctx) override { return Done(m_data->XmlLoadFrom(ctx)); }
    std::wstring GetDescription() override { return std::wstring(); }

    CPSOPropPg* CreatePSOPropPg(int n, const wchar_t* name) override {
        const auto& c = m_control;
        if constexpr (PageTakesPresetMode)
            return new TPage(1, c.nChannelMask, n, c.nNoReplacement, name, c.pContext,
                             c.eInterpreter);
        else
            return new TPage(c.nChannelMask, n, c.nNoReplacement, name, c.pContext, c.eInterpreter);
    }
    void DataToPSOPropPg(CPSOPropPg* page) override {
        if (auto* p = dynamic_cast<TPage*>(page)) p->SetData(*m_data);
    }
    void DataFromPSOPropPg(CPSOPropPg* page) override {
        if (auto* p = dynamic_cast<TPage*>(page)) p->GetData(*m_data);
    }
    // All fields but the interpreter-5 option, strings with case.
    int DataMatch(IPreSetObj* other) override {
        auto* o = dynamic_cast<TPSOPsCs*>(other);
        return o && PsColorSettingsMatch(*m_data, *o->m_data) ? 1 : 0;
    }
    void OnExportTo(IKvImpExArch* archive) override { PsColorExportTo(*m_data, archive, Usm()); }
    void CheckExportOptions(IPSOExportDialog* dialog) override {
        PsColorCheckExportOptions(*m_data, dialog);
    }

private:
    CPrintUSM* Usm() const {
        return m_control.pContext ? m_control.pContext->GetPrintUSM() : nullptr;
    }
    int Done(int ok) {
        SetLastError(ok ? std::wstring() : m_data->XmlError());
        return ok;
    }
    int Loaded(int ok) {
        if (ok) ExpandPsColorProfilePaths(*m_data, Usm());
        return Done(ok);
    }

    std::unique_ptr<CPreSetPsCs> m_data;
    SPrPgPsCsControl m_control;
};

template <class TObj, const _INIENTRY* NameEntry, const wchar_t* Extension>
class TPSOFactoryPsCs : public TPSOFactoryBase<TObj, NameEntry, Extension> {
    using Base = TPSOFactoryBase<TObj, NameEntry, Extension>;

public:
    TPSOFactoryPsCs(const SPrPgPsCsControl& control, const wchar_t* customizedName,
                    const wchar_t* userDefinedName)
        : m_control(control) {
        this->Initialize(customizedName);
        if (userDefinedName && *userDefinedName)
            this->AddSpecial(userDefinedName, Base::GetUserDefinedAccessName());
    }

    IPreSetObj* CreatePSO() override { return new TObj(m_control); }
    // The store in the folder of US_SettingsFolder; `usm` null: the process's settings.
    static CPreSetObjStoreFile* CreatePSOStore(CPrintUSM* usm, IPreSetObjFactory* factory) {
        return Base::CreateStore(usm, factory);
    }
    IPreSetObjStore* CreatePSOStore() override { return Base::CreateStore(Usm(), this); }

    CPreSetPsCs& PreSetData() { return this->CustomizedData(); }
    void SetEditControlParms(const SPrPgPsCsControl& control) { m_control = control; }
    const SPrPgPsCsControl& EditControlParms() const { return m_control; }

protected:
    CPrintUSM* Usm() const override {
        return m_control.pContext ? m_control.pContext->GetPrintUSM() : nullptr;
    }

private:
    SPrPgPsCsControl m_control;
};

class CPSOPsCs : public TPSOPsCs<CPrPgPsCs, true> {
public:
    explicit CPSOPsCs(const SPrPgPsCsControl& control) : TPSOPsCs(control) {}
};
class CPSOGhostSepCs : public TPSOPsCs<CPrPgGhostSepCs, true> {
public:
    explicit CPSOGhostSepCs(const SPrPgGhostSepCsControl& control) : TPSOPsCs(control) {}
};
class CPSOPDFAurelonCs : public TPSOPsCs<CPrPgPDFAurelonCs, false> {
public:
    explicit CPSOPDFAurelonCs(const SPrPgPDFAurelonCsControl& control) : TPSOPsCs(control) {}
};

class CPSOFactoryPsCs : public TPSOFactoryPsCs<CPSOPsCs, &US_PsCsName, kExtPsCs> {
public:
    CPSOFactoryPsCs(const SPrPgPsCsControl& control, const wchar_t* customizedName,
                    const wchar_t* userDefinedName)
        : TPSOFactoryPsCs(control, customizedName, userDefinedName) {}
};
class CPSOFactoryGhostSepCs
    : public TPSOFactoryPsCs<CPSOGhostSepCs, &US_GhostSepCsName, kExtGhostSepCs> {
public:
    CPSOFactoryGhostSepCs(const SPrPgGhostSepCsControl& control, const wchar_t* customizedName,
                          const wchar_t* userDefinedName)
        : TPSOFactoryPsCs(control, customizedName, userDefinedName) {}
};
class CPSOFactoryPDFAurelonCs
    : public TPSOFactoryPsCs<CPSOPDFAurelonCs, &US_PDFAurelonCsName, kExtPDFAurelonCs> {
public:
    CPSOFactoryPDFAurelonCs(const SPrPgPDFAurelonCsControl& control, const wchar_t* customizedName,
                            const wchar_t* userDefinedName)
        : TPSOFactoryPsCs(control, customizedName, userDefinedName) {}
};
