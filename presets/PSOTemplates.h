// What every preset kind of this library shares.
//
// TPSO<TData, TPage>: a preset object holding a TData (a CXmlCtxt with CopyFrom) and editing it
// on a TPage that holds a TData of its own.
// TPSOFactoryBase<TObj, nameEntry, extension>: the factory duties that are the same for all kinds
// (the user-defined preset "$", the customized preset, the store of the kind's files, and the
// user setting `nameEntry` that follows renames and deletions).
// TPSOFactory: the factory of a TPSO kind, with the special names of its constructor.
#pragma once

#include <memory>
#include <string>

#include "base/IniEntries.h"
#include "common/GlobalContext.h"
#include "common/PSOPropPg.h"
#include "common/PreSetObj.h"
#include "common/PrintUSM.h"

template <class TData, class TPage> class TPSO : public CPreSetObj {
public:
    using DataType = TData;

    explicit TPSO(CGlobalContext* context) : m_pContext(context) {}

    TData& Data() { return m_data; }
    const TData& Data() const { return m_data; }

    void CopyDataFrom(IPreSetObj* other) override {
        if (auto* o = dynamic_cast<TPSO*>(other)) m_data.CopyFrom(o->m_data);
    }
    int LoadFromName(const wchar_t* path) override { return Done(m_data.LoadFromXml(path, 0, 0)); }
    int LoadFromString(const wchar_t* xml) override { return Done(m_data.LoadFromXml(xml, 1, 0)); }
    int SaveToName(const wchar_t* path) override { return Done(m_data.SaveToXml(path, 0, 0)); }
    int SaveToString(std::wstring& xml) override { return Done(m_data.SaveToXml(xml, 1, 0)); }
    void SaveToXmlCtxt(CXmlCtxt& ctx) override { m_data.XmlSaveTo(ctx); }
    int LoadFromXmlCtxt(CXmlCtxt& ctx) override { return Done(m_data.XmlLoadFrom(ctx)); }
    std::wstring GetDescription() override { return std::wstring(); }
    CPSOPropPg* CreatePSOPropPg(int n, const wchar_t* name) override {
        return new TPage(m_pContext, n, name);
    }
    void DataToPSOPropPg(CPSOPropPg* page) override {
        if (auto* p = dynamic_cast<TPage*>(page)) p->Data().CopyFrom(m_data);
    }
    void DataFromPSOPropPg(CPSOPropPg* page) override {
        if (auto* p = dynamic_cast<TPage*>(page)) m_data.CopyFrom(p->Data());
    }
    // Never equal, although the data could be compared: the host relies on a changed selection
    // being stored each time.
    int DataMatch(IPreSetObj*) override { return 0; }
    void OnExportTo(IKvImpExArch*) override {}
    void CheckExportOptions(IPSOExportDialog*) override {}

protected:
    int Done(int ok) {
        SetLastError(ok ? std::wstring() : m_data.XmlError());
        return ok;
    }

    CGlobalContext* m_pContext;
    TData m_data;
};

template <class TObj, const _INIENTRY* NameEntry, const wchar_t* Extension>
class TPSOFactoryBase : public CPSOFactoryCustomized {
public:
    TPSOFactoryBase() : CPSOFactoryCustomized(GetStdCustomizedAccessName()) {}

    // The access name of a preset held in a file of its own.
    static const wchar_t* GetUserDefinedAccessName() { return L"$"; }
    static const wchar_t* Extension_() { return Extension; }

    // The store of this kind in the folder of US_SettingsFolder of `usm` (the process's
    // settings when null). The caller deletes it.
    static CPreSetObjStoreFile* CreateStore(CPrintUSM* usm, IPreSetObjFactory* factory) {
        if (!usm) usm = CPrintUSM::GetInstance();
        const std::wstring folder = usm->GetString(US_SettingsFolder);
        return IPreSetObjStore::CreateFileBased(factory, folder.c_str(), Extension);
    }
    IPreSetObjStore* CreatePSOStore() override { return CreateStore(Usm(), this); }

    typename TObj::DataType& CustomizedData() {
        return static_cast<TObj*>(pPSOCustomized())->Data();
    }

    int CanEditSpecialName(const wchar_t* name) override {
        if (name && std::wstring(name) == GetUserDefinedAccessName()) return 1;
        return CPSOFactoryCustomized::CanEditSpecialName(name);
    }
    void OnLoadCustomized(IPreSetObj* pso) override {
        if (pso && pPSOCustomized()) pso->CopyDataFrom(pPSOCustomized());
    }
    void OnSaveCustomized(IPreSetObj* pso) override {
        if (pso && pPSOCustomized()) pPSOCustomized()->CopyDataFrom(pso);
    }
    // The user setting that names the current preset follows it; names compare with case.
    void OnDeleted(const wchar_t* name) override {
        CPrintUSM* usm = Usm();
        if (usm && name && usm->GetString(*NameEntry) == name) usm->PutString(*NameEntry, L"");
    }
    void OnRenamed(const wchar_t* oldName, const wchar_t* newName) override {
        CPrintUSM* usm = Usm();
        if (usm && oldName && newName && usm->GetString(*NameEntry) == oldName)
            usm->PutString(*NameEntry, newName);
    }

protected:
    // The settings of the factory's context; null without one.
    virtual CPrintUSM* Usm() const = 0;
};

template <class TObj, const _INIENTRY* NameEntry, const wchar_t* Extension>
class TPSOFactory : public TPSOFactoryBase<TObj, NameEntry, Extension> {
    using Base = TPSOFactoryBase<TObj, NameEntry, Extension>;

public:
    using TData = typename TObj::DataType;

    // `noneName` (if not empty) is a special name that selects nothing; `userDefinedName` (if
    // not empty) selects the preset held in the file of the name "$".
    TPSOFactory(CGlobalContext* context, const wchar_t* customizedName, const wchar_t* noneName,
                const wchar_t* userDefinedName)
        : m_pContext(context) {
        if (noneName && *noneName) this->AddSpecial(noneName, L"");
        this->Initialize(customizedName);
        if (userDefinedName && *userDefinedName)
            this->AddSpecial(userDefinedName, Base::GetUserDefinedAccessName());
    }

    IPreSetObj* CreatePSO() override { return new TObj(m_pContext); }
    CPreSetObjStoreFile* CreatePSOStore(CPrintUSM* usm) {
        return Base::CreateStore(usm ? usm : Usm(), this);
    }
    using Base::CreatePSOStore;

    // The special name without an access name is a valid selection that loads nothing.
    int LoadSpecial(IPreSetObj* pso, const wchar_t* name) override {
        if (!name || !*name) return 1;
        return Base::LoadSpecial(pso, name);
    }

    // Loads `accessName` (a stored preset or a special name) into `data` through a factory and
    // a store of their own; `data` is the customized data meanwhile. On failure `data` is left
    // as it was. Answers the result of the load.
    static int LoadAccessNameData(CGlobalContext* context, const std::wstring& accessName,
                                  TData& data) {
        TPSOFactory factory(context, L"Customized", L"None", L"User defined");
        std::unique_ptr<CPreSetObjStoreFile> store(factory.CreatePSOStore(nullptr));
        std::unique_ptr<IPreSetObj> pso(factory.CreatePSO());
        factory.CustomizedData().CopyFrom(data);
        const int ok = store->Load(accessName.c_str(), pso.get());
        if (ok) data.CopyFrom(static_cast<TObj*>(pso.get())->Data());
        return ok;
    }

protected:
    CPrintUSM* Usm() const override { return m_pContext ? m_pContext->GetPrintUSM() : nullptr; }

    CGlobalContext* m_pContext;
};
