#include "common/PreSetObj.h"

#include <algorithm>
#include <filesystem>

#include "base/PathUtil.h"
#include "base/WideString.h"
#include "common/PSOPropPg.h"

namespace fs = std::filesystem;

int CPreSetObj::Edit(CWnd* /*parent*/, int n, const wchar_t* name) {
    std::unique_ptr<CPSOPropPg> page(CreatePSOPropPg(n, name));
    if (!page) return 0;
    DataToPSOPropPg(page.get());
    return 0; // no dialog to show the page in: nothing was edited
}

// ---------------------------------------------------------------------------------------------

namespace {

class CSpecialNameIterator : public INameIterator {
public:
    explicit CSpecialNameIterator(std::vector<std::pair<std::wstring, std::wstring>> names)
        : m_names(std::move(names)) {}
    int Next(std::wstring& friendlyName, std::wstring& accessName) override {
        if (m_next >= m_names.size()) return 0;
        friendlyName = m_names[m_next].first;
        accessName = m_names[m_next].second;
        ++m_next;
        return 1;
    }

private:
    std::vector<std::pair<std::wstring, std::wstring>> m_names;
    size_t m_next = 0;
};

std::wstring Str(const wchar_t* s) {
    return s ? s : L"";
}

} // namespace

void CPreSetObjFactory::AddSpecial(const wchar_t* friendlyName, const wchar_t* accessName) {
    m_specials.emplace_back(Str(friendlyName), Str(accessName));
}

int CPreSetObjFactory::LookupSpecialName(const wchar_t* friendlyName, std::wstring& accessName) {
    for (const auto& [f, a] : m_specials)
        if (f == Str(friendlyName)) {
            accessName = a;
            return 1;
        }
    return 0;
}

int CPreSetObjFactory::LookupFriendlyName(const wchar_t* accessName, std::wstring& friendlyName) {
    for (const auto& [f, a] : m_specials)
        if (a == Str(accessName)) {
            friendlyName = f;
            return 1;
        }
    return 0;
}

INameIterator* CPreSetObjFactory::CreateSpecialNameIterator() {
    return new CSpecialNameIterator(m_specials);
}

int CPreSetObjFactory::AllowNew(const wchar_t* name) {
    if (!CPreSetObjStoreFile::IsValidItemName(name)) return 0;
    std::wstring other;
    if (LookupSpecialName(name, other) || LookupFriendlyName(name, other)) return 0;
    return 1;
}

// ---------------------------------------------------------------------------------------------

CPSOFactoryCustomized::CPSOFactoryCustomized(const wchar_t* accessName)
    : m_customizedAccess(Str(accessName)) {}

CPSOFactoryCustomized::~CPSOFactoryCustomized() = default;

void CPSOFactoryCustomized::Initialize(const wchar_t* friendlyName) {
    AddSpecial(friendlyName, m_customizedAccess.c_str());
    m_customized.reset(CreatePSO());
}

int CPSOFactoryCustomized::CanEditSpecialName(const wchar_t* accessName) {
    return Str(accessName) == m_customizedAccess ? 1 : 0;
}

int CPSOFactoryCustomized::LoadSpecial(IPreSetObj* pso, const wchar_t* accessName) {
    if (!pso) return 0;
    if (Str(accessName) == m_customizedAccess) {
        OnLoadCustomized(pso);
        return 1;
    }
    if (Str(accessName).empty()) return 0;
    std::unique_ptr<IPreSetObjStore> store(CreatePSOStore());
    auto* files = dynamic_cast<CPreSetObjStoreFile*>(store.get());
    if (!files) return 0;
    return pso->LoadFromName(files->ItemNameToPathName(accessName).c_str());
}

int CPSOFactoryCustomized::SaveSpecial(IPreSetObj* pso, const wchar_t* accessName) {
    if (!pso) return 0;
    if (Str(accessName) == m_customizedAccess) {
        OnSaveCustomized(pso);
        return 1;
    }
    if (Str(accessName).empty()) return 0;
    std::unique_ptr<IPreSetObjStore> store(CreatePSOStore());
    auto* files = dynamic_cast<CPreSetObjStoreFile*>(store.get());
    if (!files) return 0;
    return pso->SaveToName(files->ItemNameToPathName(accessName).c_str());
}

int CPSOFactoryCustomized::AllowNew(const wchar_t* name) {
    if (Str(name) == m_customizedAccess) return 0;
    return CPreSetObjFactory::AllowNew(name);
}

void CPSOFactoryCustomized::OnLoadFailed(IPreSetObj* pso, const wchar_t* /*name*/) {
    if (pso && m_customized) OnLoadCustomized(pso);
}

// ---------------------------------------------------------------------------------------------

CPreSetObjStoreFile* IPreSetObjStore::CreateFileBased(IPreSetObjFactory* factory,
                                                      const wchar_t* folder,
                                                      const wchar_t* extension) {
    return new CPreSetObjStoreFile(factory, Str(folder), Str(extension));
}

CPreSetObjStoreFile::CPreSetObjStoreFile(IPreSetObjFactory* factory, std::wstring folder,
                                         std::wstring extension)
    : m_factory(factory), m_folder(std::move(folder)), m_extension(std::move(extension)) {}

std::wstring CPreSetObjStoreFile::ItemNameToPathName(const wchar_t* name) const {
    return BuildFileName(m_folder, Str(name) + L"." + m_extension);
}

bool CPreSetObjStoreFile::IsValidItemName(const wchar_t* name) {
    const std::wstring n = Str(name);
    if (n.empty() || n.front() == L'.' || n.size() > 200) return false;
    for (wchar_t c : n)
        if (c == L'/' || c == L'\\' || c < 0x20 || c == 0x7f) return false;
    return true;
}

bool CPreSetObjStoreFile::CheckName(const wchar_t* name) {
    if (IsValidItemName(name)) return true;
    m_error = L"\"" + Str(name) +
              L"\" cannot be a preset name (empty, a separator, a control "
              L"character, or a leading dot)";
    return false;
}

std::vector<std::wstring> CPreSetObjStoreFile::GetNames() {
    std::vector<std::wstring> names;
    std::error_code ec;
    const std::wstring suffix = L"." + m_extension;
    for (fs::directory_iterator it(WideToUtf8(m_folder), ec), end; !ec && it != end;
         it.increment(ec)) {
        if (!it->is_regular_file(ec)) continue;
        const std::wstring file = Utf8ToWide(it->path().filename().string());
        if (file.size() <= suffix.size() || !file.ends_with(suffix)) continue;
        std::wstring name = file.substr(0, file.size() - suffix.size());
        if (IsValidItemName(name.c_str())) names.push_back(std::move(name));
    }
    std::sort(names.begin(), names.end());
    return names;
}

int CPreSetObjStoreFile::Exists(const wchar_t* name) {
    if (!IsValidItemName(name)) return 0;
    std::error_code ec;
    return fs::is_regular_file(WideToUtf8(ItemNameToPathName(name)), ec) ? 1 : 0;
}

int CPreSetObjStoreFile::Load(const wchar_t* name, IPreSetObj* pso) {
    m_error.clear();
    if (!pso) return 0;
    std::wstring friendly;
    int ok;
    if (m_factory && m_factory->LookupFriendlyName(name, friendly)) {
        ok = m_factory->LoadSpecial(pso, name);
        if (!ok) m_error = L"the special preset \"" + friendly + L"\" cannot be loaded";
    } else if (!CheckName(name)) {
        ok = 0;
    } else if (!Exists(name)) {
        m_error = L"no " + m_extension + L" preset \"" + Str(name) + L"\" in " + m_folder;
        ok = 0;
    } else {
        ok = pso->LoadFromName(ItemNameToPathName(name).c_str());
        if (!ok) {
            auto* obj = dynamic_cast<CPreSetObj*>(pso);
            m_error = ItemNameToPathName(name) + L": " +
                      (obj && !obj->GetLastError().empty() ? obj->GetLastError()
                                                           : std::wstring(L"cannot be loaded"));
        }
    }
    if (!ok && m_factory) m_factory->OnLoadFailed(pso, name);
    return ok;
}

int CPreSetObjStoreFile::Save(const wchar_t* name, IPreSetObj* pso) {
    m_error.clear();
    if (!pso || !CheckName(name)) return 0;
    std::error_code ec;
    fs::create_directories(WideToUtf8(m_folder), ec);
    if (!pso->SaveToName(ItemNameToPathName(name).c_str())) {
        m_error = L"cannot write " + ItemNameToPathName(name);
        return 0;
    }
    return 1;
}

int CPreSetObjStoreFile::Rename(const wchar_t* oldName, const wchar_t* newName) {
    m_error.clear();
    if (!CheckName(oldName) || !CheckName(newName)) return 0;
    if (!Exists(oldName)) {
        m_error = L"no " + m_extension + L" preset \"" + Str(oldName) + L"\"";
        return 0;
    }
    if (Str(oldName) == Str(newName)) return 1;
    const std::string from = WideToUtf8(ItemNameToPathName(oldName));
    const std::string to = WideToUtf8(ItemNameToPathName(newName));
    std::error_code ec;
    // A name differing only in case is the same file on a case-insensitive file system; then
    // the target "exists" and is the source itself.
    if (fs::exists(to, ec) && !fs::equivalent(from, to, ec)) {
        m_error = L"a " + m_extension + L" preset \"" + Str(newName) + L"\" exists already";
        return 0;
    }
    fs::rename(from, to, ec);
    if (ec) {
        m_error = L"cannot rename " + Utf8ToWide(from) + L": " + Utf8ToWide(ec.message());
        return 0;
    }
    if (m_factory) m_factory->OnRenamed(oldName, newName);
    return 1;
}

int CPreSetObjStoreFile::Delete(const wchar_t* name) {
    m_error.clear();
    if (!CheckName(name)) return 0;
    std::error_code ec;
    if (!fs::remove(WideToUtf8(ItemNameToPathName(name)), ec)) {
        m_error =
            ec ? L"cannot delete " + ItemNameToPathName(name) + L": " + Utf8ToWide(ec.message())
               : L"no " + m_extension + L" preset \"" + Str(name) + L"\"";
        return 0;
    }
    if (m_factory) m_factory->OnDeleted(name);
    return 1;
}
