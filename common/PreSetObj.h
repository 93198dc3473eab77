// The preset framework: a preset object holds one set of settings of one kind and can store and
// show itself (IPreSetObj, CPreSetObj); a factory makes preset objects of its kind and keeps the
// special names a user can pick besides the stored presets (IPreSetObjFactory,
// CPreSetObjFactory), among them the customized preset (CPSOFactoryCustomized); a store keeps
// presets by name, one file per preset (IPreSetObjStore, CPreSetObjStoreFile).
//
// The virtual operations of the interfaces keep the order in which the host calls them.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

class CXmlCtxt;
class CPSOPropPg;
class IKvImpExArch;
class IPSOExportDialog;
class CWnd; // a window of the host; no window exists on this system

class IPreSetObj {
public:
    virtual ~IPreSetObj() = default;
    virtual void CopyDataFrom(IPreSetObj* other) = 0;
    virtual int LoadFromName(const wchar_t* path) = 0;
    virtual int LoadFromString(const wchar_t* xml) = 0;
    virtual int SaveToName(const wchar_t* path) = 0;
    virtual int SaveToString(std::wstring& xml) = 0;
    virtual void SaveToXmlCtxt(CXmlCtxt& ctx) = 0;
    virtual int LoadFromXmlCtxt(CXmlCtxt& ctx) = 0;
    virtual std::wstring GetDescription() = 0;
    virtual int Edit(CWnd* parent, int n, const wchar_t* name) = 0;
    virtual CPSOPropPg* CreatePSOPropPg(int n, const wchar_t* name) = 0;
    virtual void DataToPSOPropPg(CPSOPropPg* page) = 0;
    virtual void DataFromPSOPropPg(CPSOPropPg* page) = 0;
    virtual int DataMatch(IPreSetObj* other) = 0;
    virtual void OnExportTo(IKvImpExArch* archive) = 0;
    virtual void CheckExportOptions(IPSOExportDialog* dialog) = 0;
};

class CPreSetObj : public IPreSetObj {
public:
    // Makes the page, fills it from the data and hands it to the host to show. This system has no
    // host dialog to show it in: the page is made and filled, then dropped, and the answer is 0
    // (nothing edited). The page models come with the property pages.
    int Edit(CWnd* parent, int n, const wchar_t* name) override;

    // Why the last load or save failed (empty after a success).
    const std::wstring& GetLastError() const { return m_lastError; }

protected:
    void SetLastError(std::wstring text) { m_lastError = std::move(text); }

private:
    std::wstring m_lastError;
};

// Walks pairs of friendly and access names.
class INameIterator {
public:
    virtual ~INameIterator() = default;
    // The next pair; 0 after the last.
    virtual int Next(std::wstring& friendlyName, std::wstring& accessName) = 0;
};

class IPreSetObjFactory {
public:
    virtual ~IPreSetObjFactory() = default;
    virtual IPreSetObj* CreatePSO() = 0;
    virtual int LookupSpecialName(const wchar_t* friendlyName, std::wstring& accessName) = 0;
    virtual int LookupFriendlyName(const wchar_t* accessName, std::wstring& friendlyName) = 0;
    virtual INameIterator* CreateSpecialNameIterator() = 0;
    virtual void OnRenamed(const wchar_t* oldName, const wchar_t* newName) = 0;
    virtual void OnDeleted(const wchar_t* name) = 0;
    // A load of `name` into `pso` failed; `pso` may hold anything.
    virtual void OnLoadFailed(IPreSetObj* pso, const wchar_t* name) = 0;
    virtual int CanEditSpecialName(const wchar_t* accessName) = 0;
    virtual int LoadSpecial(IPreSetObj* pso, const wchar_t* accessName) = 0;
    virtual int SaveSpecial(IPreSetObj* pso, const wchar_t* accessName) = 0;
    // Whether a new stored preset may have this name.
    virtual int AllowNew(const wchar_t* name) = 0;
    virtual void OnLoadCustomized(IPreSetObj* pso) = 0;
    virtual void OnSaveCustomized(IPreSetObj* pso) = 0;
};

// The special names: pairs of the name a user sees and the name the code acts on.
class CPreSetObjFactory : public IPreSetObjFactory {
public:
    void AddSpecial(const wchar_t* friendlyName, const wchar_t* accessName);

    int LookupSpecialName(const wchar_t* friendlyName, std::wstring& accessName) override;
    int LookupFriendlyName(const wchar_t* accessName, std::wstring& friendlyName) override;
    // The caller deletes the iterator; it walks the names in the order they were added.
    INameIterator* CreateSpecialNameIterator() override;

    // A special name is picked from a list, never typed into a file name: empty names, names of
    // special entries, and names that can't be file names are refused.
    int AllowNew(const wchar_t* name) override;

protected:
    std::vector<std::pair<std::wstring, std::wstring>> m_specials; // friendly, access
};

class IPreSetObjStore;

// A factory with the customized preset: one object, held by the factory, that holds the settings
// a user made without saving them under a name.
class CPSOFactoryCustomized : public CPreSetObjFactory {
public:
    explicit CPSOFactoryCustomized(const wchar_t* accessName);
    ~CPSOFactoryCustomized() override;

    // Adds the customized preset under `friendlyName` and makes its object with CreatePSO (call
    // it from the derived constructor, where CreatePSO is the kind's).
    void Initialize(const wchar_t* friendlyName);
    IPreSetObj* pPSOCustomized() const { return m_customized.get(); }

    // The access name of the customized preset.
    static const wchar_t* GetStdCustomizedAccessName() { return L"*"; }
    const std::wstring& CustomizedAccessName() const { return m_customizedAccess; }

    // The store of this kind's files; the caller deletes it. Null for a kind without one.
    virtual IPreSetObjStore* CreatePSOStore() { return nullptr; }

    // Default handling of special names. The customized preset can be edited, loads from and
    // saves to the customized object. Any other non-empty access name is a preset of its own in
    // the kind's store, under that name.
    int CanEditSpecialName(const wchar_t* accessName) override;
    int LoadSpecial(IPreSetObj* pso, const wchar_t* accessName) override;
    int SaveSpecial(IPreSetObj* pso, const wchar_t* accessName) override;
    int AllowNew(const wchar_t* name) override;
    // A preset that cannot be loaded falls back to the customized settings, so that the caller
    // is left with a valid set rather than with half a file.
    void OnLoadFailed(IPreSetObj* pso, const wchar_t* name) override;

private:
    std::wstring m_customizedAccess;
    std::unique_ptr<IPreSetObj> m_customized;
};

class CPreSetObjStoreFile;

// A store of presets by name.
class IPreSetObjStore {
public:
    virtual ~IPreSetObjStore() = default;

    // One file per preset, "<name>.<extension>" in `folder`. The caller deletes the store.
    static CPreSetObjStoreFile* CreateFileBased(IPreSetObjFactory* factory, const wchar_t* folder,
                                                const wchar_t* extension);

    // The names of the stored presets, sorted.
    virtual std::vector<std::wstring> GetNames() = 0;
    virtual int Exists(const wchar_t* name) = 0;
    // Resolves `name`: an access name of the factory's special names is loaded by the factory
    // (LoadSpecial), any other name is a stored preset. On failure the factory hears of it
    // (OnLoadFailed) and the answer is 0.
    virtual int Load(const wchar_t* name, IPreSetObj* pso) = 0;
    virtual int Save(const wchar_t* name, IPreSetObj* pso) = 0;
    // Rename and delete tell the factory (OnRenamed, OnDeleted) once done.
    virtual int Rename(const wchar_t* oldName, const wchar_t* newName) = 0;
    virtual int Delete(const wchar_t* name) = 0;
    // Why the last operation failed.
    virtual const std::wstring& GetLastError() const = 0;
};

class CPreSetObjStoreFile : public IPreSetObjStore {
public:
    CPreSetObjStoreFile(IPreSetObjFactory* factory, std::wstring folder, std::wstring extension);

    // The path of the named preset's file, whether it exists or not.
    std::wstring ItemNameToPathName(const wchar_t* name) const;
    const std::wstring& Folder() const { return m_folder; }
    const std::wstring& Extension() const { return m_extension; }

    // Whether `name` can be a preset file's name here: not empty, no separator or control
    // character, not "." or "..", not starting with '.' (hidden and temporary files).
    static bool IsValidItemName(const wchar_t* name);

    std::vector<std::wstring> GetNames() override;
    int Exists(const wchar_t* name) override;
    int Load(const wchar_t* name, IPreSetObj* pso) override;
    int Save(const wchar_t* name, IPreSetObj* pso) override;
    int Rename(const wchar_t* oldName, const wchar_t* newName) override;
    int Delete(const wchar_t* name) override;
    const std::wstring& GetLastError() const override { return m_error; }

private:
    bool CheckName(const wchar_t* name);

    IPreSetObjFactory* m_factory; // not owned
    std::wstring m_folder;
    std::wstring m_extension;
    std::wstring m_error;
};
