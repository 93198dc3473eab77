// Object model: a root class with runtime-class records, creation by class name, and the
// kind test. Persistent classes register under the class name that archives store.
#pragma once

#include <cstdint>
#include <string_view>

class CObject;
class CArchive;

struct CRuntimeClass {
    const char* m_lpszClassName;
    const CRuntimeClass* m_pBaseClass;
    CObject* (*m_pfnCreateObject)(); // null for classes that cannot be read from an archive
    uint16_t m_wSchema;

    CObject* CreateObject() const { return m_pfnCreateObject ? m_pfnCreateObject() : nullptr; }
    bool IsDerivedFrom(const CRuntimeClass* base) const;

    // The registered creatable class of that name, or null.
    static const CRuntimeClass* FromName(std::string_view name);
};

// Adds a creatable class to the name registry; used by IMPLEMENT_DYNCREATE.
struct CRuntimeClassRegistrar {
    explicit CRuntimeClassRegistrar(const CRuntimeClass* cls);
};

class CObject {
public:
    // The virtual slots keep this order: runtime class, destructor, Serialize, two diagnostics.
    virtual const CRuntimeClass* GetRuntimeClass() const;
    virtual ~CObject() = default;
    virtual void Serialize(CArchive& ar);
    virtual void AssertValid() const {}
    virtual void Dump() const {}

    bool IsKindOf(const CRuntimeClass* cls) const { return GetRuntimeClass()->IsDerivedFrom(cls); }

    static const CRuntimeClass classCObject;
    static const CRuntimeClass* GetThisClass() { return &classCObject; }

protected:
    CObject() = default;
    CObject(const CObject&) = default;
    CObject& operator=(const CObject&) = default;
};

#define RUNTIME_CLASS(cls) (cls::GetThisClass())

#define DECLARE_DYNAMIC(cls)                                                                       \
public:                                                                                            \
    static const CRuntimeClass class##cls;                                                         \
    static const CRuntimeClass* GetThisClass() {                                                   \
        return &class##cls;                                                                        \
    }                                                                                              \
    static const CRuntimeClass* _GetBaseClass();                                                   \
    const CRuntimeClass* GetRuntimeClass() const override;

#define DECLARE_DYNCREATE(cls)                                                                     \
    DECLARE_DYNAMIC(cls)                                                                           \
    static CObject* CreateObject();

#define KVR_IMPLEMENT_RUNTIMECLASS(cls, base, create)                                              \
    const CRuntimeClass cls::class##cls = {#cls, &base::class##base, create, 0};                   \
    const CRuntimeClass* cls::_GetBaseClass() {                                                    \
        return &base::class##base;                                                                 \
    }                                                                                              \
    const CRuntimeClass* cls::GetRuntimeClass() const {                                            \
        return &class##cls;                                                                        \
    }

#define IMPLEMENT_DYNAMIC(cls, base) KVR_IMPLEMENT_RUNTIMECLASS(cls, base, nullptr)

#define IMPLEMENT_DYNCREATE(cls, base)                                                             \
    CObject* cls::CreateObject() {                                                                 \
        return new cls;                                                                            \
    }                                                                                              \
    KVR_IMPLEMENT_RUNTIMECLASS(cls, base, &cls::CreateObject)                                      \
    static const CRuntimeClassRegistrar kvrRegistrar##cls(&cls::class##cls);
