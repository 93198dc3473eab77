// Document base of the profile classes: opens files for loading, and saves a document so that a
// failed save never leaves a half-written file behind.
#pragma once

#include "base/Archive.h"
#include "base/Exception.h"
#include "base/File.h"
#include "base/Object.h"

class CUserSettingsMgr;

class CProtectedDocument : public CObject {
    DECLARE_DYNAMIC(CProtectedDocument)
public:
    // The settings manager is kept for the derived classes; null is allowed.
    explicit CProtectedDocument(CUserSettingsMgr* usm);
    ~CProtectedDocument() override;
    CProtectedDocument(const CProtectedDocument&) = delete;
    CProtectedDocument& operator=(const CProtectedDocument&) = delete;

    // Opens `path` with CFile open flags. Answers a new file that the caller owns, or null with
    // the cause in *error (when given); an access-denied cause is reported as
    // CFileException::accessDenied.
    virtual CFile* GetFile(const wchar_t* path, unsigned flags, CFileException* error);

    // Virtual slots behind CObject's: Serialize (inherited), DeleteContents, OnSaveDocument.
    // DeleteContents empties the document; the base does nothing.
    virtual void DeleteContents();

    // Writes the document to `path` through a storing archive. The data go to a temporary file
    // in the same folder, which replaces `path` only once everything is written and flushed;
    // on any failure the temporary file is removed and `path` stays as it was. Non-zero on
    // success. Exceptions of Serialize and of the file layer are caught and answered with 0.
    virtual int OnSaveDocument(const wchar_t* path);

    CUserSettingsMgr* GetUserSettingsMgr() const { return m_pUSM; }

protected:
    CUserSettingsMgr* m_pUSM; // not owned
};
