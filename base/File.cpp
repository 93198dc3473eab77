#include "base/File.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/WideString.h"

CFile::CFile(const wchar_t* path, unsigned flags) {
    CFileException error;
    if (!Open(path, flags, &error)) throw error;
}

CFile::~CFile() {
    Abort();
}

int CFile::CauseFromErrno(int err) {
    switch (err) {
    case EACCES:
    case EPERM:
    case EROFS:
        return CFileException::accessDenied;
    case ENOENT:
        return CFileException::fileNotFound;
    case ENOTDIR:
    case ENAMETOOLONG:
        return CFileException::badPath;
    case EMFILE:
    case ENFILE:
        return CFileException::tooManyOpenFiles;
    case EISDIR:
        return CFileException::accessDenied; // as the Windows file layer reports it
    case ENOSPC:
        return CFileException::diskFull;
    case EIO:
        return CFileException::hardIO;
    default:
        return CFileException::genericException;
    }
}

bool CFile::Open(const wchar_t* path, unsigned flags, CFileException* error) {
    Abort();
    int oflags = 0;
    switch (flags & 3) {
    case modeRead:
        oflags = O_RDONLY;
        break;
    case modeWrite:
        oflags = O_WRONLY;
        break;
    default:
        oflags = O_RDWR;
        break;
    }
    if (flags & modeCreate) oflags |= O_CREAT | ((flags & modeNoTruncate) ? 0 : O_TRUNC);
    oflags |= O_CLOEXEC;
    std::string name = WideToUtf8(path ? path : L"");
    int fd = ::open(name.c_str(), oflags, 0666);
    if (fd >= 0) {
        struct stat st {};
        if (::fstat(fd, &st) == 0 && S_ISDIR(st.st_mode)) {
            ::close(fd);
            fd = -1;
            errno = EISDIR;
        }
    }
    if (fd < 0) {
        if (error) {
            error->m_cause = CauseFromErrno(errno);
            error->m_lOsError = errno;
            error->m_strFileName = path ? path : L"";
        }
        return false;
    }
    m_fd = fd;
    m_path = path;
    return true;
}

unsigned CFile::Read(void* buf, unsigned count) {
    unsigned done = 0;
    auto* p = static_cast<uint8_t*>(buf);
    while (done < count) {
        ssize_t n = ::read(m_fd, p + done, count - done);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) throw CFileException(CauseFromErrno(errno), errno);
        if (n == 0) break;
        done += static_cast<unsigned>(n);
    }
    return done;
}

void CFile::Write(const void* buf, unsigned count) {
    unsigned done = 0;
    auto* p = static_cast<const uint8_t*>(buf);
    while (done < count) {
        ssize_t n = ::write(m_fd, p + done, count - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) throw CFileException(CauseFromErrno(errno), errno);
        done += static_cast<unsigned>(n);
    }
}

uint64_t CFile::Seek(int64_t offset, unsigned from) {
    int whence = from == begin ? SEEK_SET : from == current ? SEEK_CUR : SEEK_END;
    off_t r = ::lseek(m_fd, offset, whence);
    if (r < 0) throw CFileException(CFileException::badSeek, errno);
    return static_cast<uint64_t>(r);
}

uint64_t CFile::GetLength() const {
    struct stat st {};
    if (::fstat(m_fd, &st) != 0) throw CFileException(CauseFromErrno(errno), errno);
    return static_cast<uint64_t>(st.st_size);
}

uint64_t CFile::GetPosition() const {
    off_t r = ::lseek(m_fd, 0, SEEK_CUR);
    if (r < 0) throw CFileException(CFileException::badSeek, errno);
    return static_cast<uint64_t>(r);
}

void CFile::Close() {
    if (m_fd >= 0) {
        int r = ::close(m_fd);
        m_fd = -1;
        if (r != 0) throw CFileException(CauseFromErrno(errno), errno);
    }
}

void CFile::Abort() {
    if (m_fd >= 0) ::close(m_fd);
    m_fd = -1;
}

CMemFile::CMemFile(unsigned growBytes) : m_growBytes(growBytes ? growBytes : 1024), m_owned(true) {}

CMemFile::CMemFile(uint8_t* buffer, unsigned size, unsigned growBytes) {
    Attach(buffer, size, growBytes);
}

CMemFile::~CMemFile() {
    Close();
}

void CMemFile::Attach(uint8_t* buffer, unsigned size, unsigned growBytes) {
    Close();
    m_buffer = buffer;
    m_capacity = size;
    // An attached block with growBytes 0 is a fixed block whose contents are all data.
    m_size = growBytes == 0 ? size : 0;
    m_pos = 0;
    m_growBytes = growBytes;
    m_owned = false;
}

uint8_t* CMemFile::Detach() {
    uint8_t* b = m_buffer;
    m_buffer = nullptr;
    m_size = m_capacity = m_pos = 0;
    m_owned = true;
    return b;
}

bool CMemFile::Open(const wchar_t*, unsigned, CFileException* error) {
    if (error) error->m_cause = CFileException::genericException;
    return false; // a memory file is never opened by name
}

unsigned CMemFile::Read(void* buf, unsigned count) {
    if (m_pos >= m_size) return 0;
    uint64_t n = std::min<uint64_t>(count, m_size - m_pos);
    std::memcpy(buf, m_buffer + m_pos, n);
    m_pos += n;
    return static_cast<unsigned>(n);
}

void CMemFile::Grow(uint64_t newSize) {
    if (newSize <= m_capacity) return;
    if (!m_owned || m_growBytes == 0) throw CFileException(CFileException::diskFull);
    uint64_t cap = ((newSize + m_growBytes - 1) / m_growBytes) * m_growBytes;
    cap = std::max(cap, m_capacity * 2);
    auto* nb = new uint8_t[cap];
    if (m_size) std::memcpy(nb, m_buffer, m_size);
    delete[] m_buffer;
    m_buffer = nb;
    m_capacity = cap;
}

void CMemFile::Write(const void* buf, unsigned count) {
    if (count == 0) return;
    Grow(m_pos + count);
    std::memcpy(m_buffer + m_pos, buf, count);
    m_pos += count;
    m_size = std::max(m_size, m_pos);
}

uint64_t CMemFile::Seek(int64_t offset, unsigned from) {
    int64_t base = from == begin ? 0 : from == current ? int64_t(m_pos) : int64_t(m_size);
    int64_t p = base + offset;
    if (p < 0) throw CFileException(CFileException::badSeek);
    m_pos = static_cast<uint64_t>(p);
    return m_pos;
}

void CMemFile::Close() {
    if (m_owned) delete[] m_buffer;
    m_buffer = nullptr;
    m_size = m_capacity = m_pos = 0;
}
