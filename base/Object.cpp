#include "base/Object.h"

#include <map>
#include <string>

#include "base/Archive.h"

const CRuntimeClass CObject::classCObject = {"CObject", nullptr, nullptr, 0};

const CRuntimeClass* CObject::GetRuntimeClass() const {
    return &classCObject;
}

void CObject::Serialize(CArchive&) {}

bool CRuntimeClass::IsDerivedFrom(const CRuntimeClass* base) const {
    for (const CRuntimeClass* c = this; c; c = c->m_pBaseClass)
        if (c == base) return true;
    return false;
}

namespace {
// Function-local so that registrations from static initialisers of any unit find it built.
std::map<std::string, const CRuntimeClass*, std::less<>>& Registry() {
    static std::map<std::string, const CRuntimeClass*, std::less<>> classes;
    return classes;
}
} // namespace

CRuntimeClassRegistrar::CRuntimeClassRegistrar(const CRuntimeClass* cls) {
    Registry().emplace(cls->m_lpszClassName, cls);
}

const CRuntimeClass* CRuntimeClass::FromName(std::string_view name) {
    auto& reg = Registry();
    auto it = reg.find(name);
    return it == reg.end() ? nullptr : it->second;
}
