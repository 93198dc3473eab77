#include "base/Archive.h"

#include <memory>
#include <string>

CArchive::CArchive(CFile* file, unsigned mode, int, void*)
    : m_file(file), m_loading((mode & load) != 0) {}

void CArchive::CheckLoading() const {
    if (!m_loading) throw CArchiveException(CArchiveException::writeOnly);
}

void CArchive::CheckStoring() const {
    if (m_loading) throw CArchiveException(CArchiveException::readOnly);
}

unsigned CArchive::Read(void* buf, unsigned count) {
    CheckLoading();
    if (!m_file) throw CArchiveException(CArchiveException::genericException);
    return m_file->Read(buf, count);
}

void CArchive::ReadExact(void* buf, unsigned count) {
    if (Read(buf, count) != count) throw CArchiveException(CArchiveException::endOfFile);
}

void CArchive::Write(const void* buf, unsigned count) {
    CheckStoring();
    if (!m_file) throw CArchiveException(CArchiveException::genericException);
    m_file->Write(buf, count);
}

void CArchive::WriteObject(const CObject* obj) {
    CheckStoring();
    const CRuntimeClass* cls = obj->GetRuntimeClass();
    std::string name = cls->m_lpszClassName;
    *this << wNewClassTag << cls->m_wSchema << static_cast<uint16_t>(name.size());
    Write(name.data(), static_cast<unsigned>(name.size()));
    const_cast<CObject*>(obj)->Serialize(*this);
}

CObject* CArchive::ReadObject(const CRuntimeClass* required) {
    CheckLoading();
    uint16_t tag = 0, schema = 0, length = 0;
    *this >> tag;
    // Only the new-class form is written by this library: one object per archive.
    if (tag != wNewClassTag) throw CArchiveException(CArchiveException::badIndex);
    *this >> schema >> length;
    std::string name(length, '\0');
    ReadExact(name.data(), length);
    const CRuntimeClass* cls = CRuntimeClass::FromName(name);
    if (!cls || !cls->m_pfnCreateObject) throw CArchiveException(CArchiveException::badClass);
    if (cls->m_wSchema != schema) throw CArchiveException(CArchiveException::badSchema);
    std::unique_ptr<CObject> obj(cls->CreateObject());
    obj->Serialize(*this);
    if (required && !obj->IsKindOf(required)) throw CArchiveException(CArchiveException::badClass);
    return obj.release();
}
