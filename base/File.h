// Files on disk and in memory, with the open flags and exception causes callers test.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/Exception.h"
#include "base/Object.h"

class CFile : public CObject {
public:
    enum OpenFlags : unsigned {
        modeRead = 0x0000,
        modeWrite = 0x0001,
        modeReadWrite = 0x0002,
        shareCompat = 0x0000,
        shareExclusive = 0x0010,
        shareDenyWrite = 0x0020,
        shareDenyRead = 0x0030,
        shareDenyNone = 0x0040,
        modeNoInherit = 0x0080,
        modeCreate = 0x1000,
        modeNoTruncate = 0x2000,
        typeText = 0x4000,
        typeBinary = 0x8000,
    };
    enum SeekPosition : unsigned { begin = 0, current = 1, end = 2 };

    CFile() = default;
    // Opens or throws CFileException.
    CFile(const wchar_t* path, unsigned flags);
    ~CFile() override;
    CFile(const CFile&) = delete;
    CFile& operator=(const CFile&) = delete;

    // Opens a file; on failure answers false and, when given, fills *error with the cause.
    virtual bool Open(const wchar_t* path, unsigned flags, CFileException* error = nullptr);
    // Reads up to count bytes; answers how many arrived (fewer only at the end).
    virtual unsigned Read(void* buf, unsigned count);
    // Writes all bytes or throws CFileException.
    virtual void Write(const void* buf, unsigned count);
    virtual uint64_t Seek(int64_t offset, unsigned from);
    virtual uint64_t GetLength() const;
    virtual uint64_t GetPosition() const;
    virtual void Flush() {}
    virtual void Close();
    // Like Close, but never throws; used on error paths.
    virtual void Abort();

    uint64_t SeekToBegin() { return Seek(0, begin); }
    uint64_t SeekToEnd() { return Seek(0, end); }
    const std::wstring& GetFilePath() const { return m_path; }
    bool IsOpen() const { return m_fd >= 0; }

    // The cause for an errno value: access denied is told apart from the rest.
    static int CauseFromErrno(int err);

protected:
    int m_fd = -1;
    std::wstring m_path;
};

// A file in memory. Either over a caller's block (no copy, no growth: writes past its end
// throw), or over a buffer of its own that grows by growBytes as it is written.
class CMemFile : public CFile {
public:
    explicit CMemFile(unsigned growBytes = 1024);
    CMemFile(uint8_t* buffer, unsigned size, unsigned growBytes = 0);
    ~CMemFile() override;

    void Attach(uint8_t* buffer, unsigned size, unsigned growBytes = 0);
    // Gives the caller the buffer (and the duty to free it with delete[] if it was ours).
    uint8_t* Detach();

    bool Open(const wchar_t*, unsigned, CFileException* error = nullptr) override;
    unsigned Read(void* buf, unsigned count) override;
    void Write(const void* buf, unsigned count) override;
    uint64_t Seek(int64_t offset, unsigned from) override;
    uint64_t GetLength() const override { return m_size; }
    uint64_t GetPosition() const override { return m_pos; }
    void Close() override;
    void Abort() override { Close(); }

    const uint8_t* GetBuffer() const { return m_buffer; }

private:
    void Grow(uint64_t newSize);

    uint8_t* m_buffer = nullptr;
    uint64_t m_size = 0;     // bytes of data
    uint64_t m_capacity = 0; // bytes allocated or attached
    uint64_t m_pos = 0;
    unsigned m_growBytes = 0;
    bool m_owned = false;
};
