#include "common/ProtectedDocument.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <memory>
#include <random>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "base/WideString.h"

IMPLEMENT_DYNAMIC(CProtectedDocument, CObject)

namespace {

// A new file under a name nobody else uses, created beside the target. Flush makes the data
// durable before the file takes the target's place.
class CTempSaveFile : public CFile {
public:
    // Creates the file exclusively; false if no unused name could be created.
    bool Create(const std::string& target) {
        static std::atomic<unsigned> serial{0};
        std::random_device rd;
        // Keep the permissions of a file that is being replaced.
        struct stat st {};
        bool keepMode = ::stat(target.c_str(), &st) == 0 && S_ISREG(st.st_mode);
        for (int attempt = 0; attempt < 100; ++attempt) {
            char suffix[64];
            std::snprintf(suffix, sizeof suffix, ".%ld.%u.%08x.tmp", static_cast<long>(::getpid()),
                          serial.fetch_add(1), static_cast<unsigned>(rd()));
            std::string name = target + suffix;
            int fd = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
            if (fd < 0) {
                if (errno == EEXIST) continue;
                return false;
            }
            if (keepMode) ::fchmod(fd, st.st_mode & 07777);
            m_fd = fd;
            m_name = name;
            m_path = Utf8ToWide(name);
            return true;
        }
        return false;
    }

    void Flush() override {
        if (m_fd >= 0 && ::fsync(m_fd) != 0) throw CFileException(CauseFromErrno(errno), errno);
    }

    // Closes and removes the file unless it was committed.
    ~CTempSaveFile() override {
        Abort();
        if (!m_name.empty()) ::unlink(m_name.c_str());
    }

    // Closes the file and moves it to the target; throws on failure (the destructor then
    // removes it).
    void Commit(const std::string& target) {
        Flush();
        Close();
        if (::rename(m_name.c_str(), target.c_str()) != 0)
            throw CFileException(CauseFromErrno(errno), errno);
        m_name.clear();
    }

private:
    std::string m_name;
};

} // namespace

CProtectedDocument::CProtectedDocument(CUserSettingsMgr* usm) : m_pUSM(usm) {}

CProtectedDocument::~CProtectedDocument() = default;

CFile* CProtectedDocument::GetFile(const wchar_t* path, unsigned flags, CFileException* error) {
    auto file = std::make_unique<CFile>();
    CFileException local;
    if (!file->Open(path, flags, error ? error : &local)) return nullptr;
    return file.release();
}

void CProtectedDocument::DeleteContents() {}

int CProtectedDocument::OnSaveDocument(const wchar_t* path) {
    if (path == nullptr || *path == 0) return 0;
    try {
        std::string target = WideToUtf8(path);
        CTempSaveFile file;
        if (!file.Create(target)) return 0;
        {
            CArchive ar(&file, CArchive::store);
            Serialize(ar);
            ar.Flush();
        }
        file.Commit(target);
        return 1;
    } catch (const CException&) {
        return 0;
    } catch (const std::exception&) {
        return 0;
    }
}
