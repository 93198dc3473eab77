// The input-profile preset: which profile and intent to assume for RGB, CMYK, Lab and gray data
// without a profile of its own, and how to treat embedded profiles. Stored with bare file names;
// the page sees full paths below the base path.
#pragma once

#include <memory>

#include "common/PreSet.h"
#include "presets/PSOTemplates.h"
#include "presets/PresetKinds.h"
#include "presets/PresetPages.h"

class CPSOFactoryInputProfiles;

class CPSOInputProfiles : public CPreSetObj {
public:
    using DataType = CPreSetInputProfiles;
    static constexpr const wchar_t* szExtension = kExtInputProfiles;

    // Data at the defaults of the context's settings. `flag` is handed to the page.
    CPSOInputProfiles(CGlobalContext* context, int flag);

    CPreSetInputProfiles& Data() { return *m_data; }
    const CPreSetInputProfiles& Data() const { return *m_data; }

    static CPreSetObjStoreFile* CreatePSOStore(CPrintUSM* usm, CPSOFactoryInputProfiles* factory);

    void CopyDataFrom(IPreSetObj* other) override;
    int LoadFromName(const wchar_t* path) override;
    int LoadFromString(const wchar_t* xml) override;
    int SaveToName(const wchar_t* path) override;
    int SaveToString(std::wstring& xml) override;
    void SaveToXmlCtxt(CXmlCtxt& ctx) override;
    int LoadFromXmlCtxt(CXmlCtxt& ctx) override;
    std::wstring GetDescription() override { return std::wstring(); }
    CPSOPropPg* CreatePSOPropPg(int n, const wchar_t* name) override;
    void DataToPSOPropPg(CPSOPropPg* page) override;
    void DataFromPSOPropPg(CPSOPropPg* page) override;
    // Never equal, as for every kind of this library but the interpreter presets.
    int DataMatch(IPreSetObj*) override { return 0; }
    void OnExportTo(IKvImpExArch* archive) override;
    void CheckExportOptions(IPSOExportDialog* dialog) override;

private:
    int Done(int ok);
    CPrintUSM* Usm() const;

    std::unique_ptr<CPreSetInputProfiles> m_data;
    CGlobalContext* m_pContext;
    int m_flag;
};

class CPSOFactoryInputProfiles
    : public TPSOFactoryBase<CPSOInputProfiles, &US_InputProfilesName, kExtInputProfiles> {
public:
    CPSOFactoryInputProfiles(CGlobalContext* context, const wchar_t* customizedName,
                             const wchar_t* userDefinedName, int flag);

    IPreSetObj* CreatePSO() override;
    // "$" and the customized preset load and save as the base class does: the customized object,
    // or the file ItemNameToPathName("$") of this kind's store.

protected:
    CPrintUSM* Usm() const override;

private:
    CGlobalContext* m_pContext;
    int m_flag;
};
