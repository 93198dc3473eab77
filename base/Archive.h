// Object archive: little-endian values, raw blocks and objects over a CFile.
// An object is stored as the new-class tag 0xFFFF, the schema word, the length of the class
// name, the name in ASCII without terminator, and then the body its Serialize writes.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "base/Exception.h"
#include "base/File.h"
#include "base/Object.h"

class CArchive {
public:
    enum Mode : unsigned { store = 0, load = 1, bNoFlushOnDelete = 2 };
    static constexpr uint16_t wNewClassTag = 0xFFFF;

    // bufSize is accepted for the familiar interface; the file itself does the buffering.
    CArchive(CFile* file, unsigned mode, int bufSize = 4096, void* buf = nullptr);
    ~CArchive() = default;
    CArchive(const CArchive&) = delete;
    CArchive& operator=(const CArchive&) = delete;

    bool IsLoading() const { return m_loading; }
    bool IsStoring() const { return !m_loading; }
    CFile* GetFile() const { return m_file; }
    void Flush() {}
    void Close() { m_file = nullptr; }

    // Raw blocks. Read answers how many bytes arrived; ReadExact throws end-of-file (cause 3)
    // when fewer arrive than asked.
    unsigned Read(void* buf, unsigned count);
    void ReadExact(void* buf, unsigned count);
    void Write(const void* buf, unsigned count);

    // Little-endian scalars.
    template <class T, std::enable_if_t<std::is_arithmetic_v<T>, int> = 0>
    CArchive& operator<<(T v) {
        uint8_t b[sizeof(T)];
        std::memcpy(b, &v, sizeof(T));
        if constexpr (std::endian::native == std::endian::big) std::reverse(b, b + sizeof(T));
        Write(b, sizeof(T));
        return *this;
    }
    template <class T, std::enable_if_t<std::is_arithmetic_v<T>, int> = 0>
    CArchive& operator>>(T& v) {
        uint8_t b[sizeof(T)];
        ReadExact(b, sizeof(T));
        if constexpr (std::endian::native == std::endian::big) std::reverse(b, b + sizeof(T));
        std::memcpy(&v, b, sizeof(T));
        return *this;
    }

    // Writes the class header and the body of obj.
    void WriteObject(const CObject* obj);
    // Reads one object; throws CArchiveException badClass when the stored class is unknown,
    // not creatable or not a kind of required (the object is then deleted), badSchema when
    // the schema differs from the class's, and endOfFile when the data ends early.
    CObject* ReadObject(const CRuntimeClass* required);

private:
    void CheckLoading() const;
    void CheckStoring() const;

    CFile* m_file;
    bool m_loading;
};

inline CArchive& operator<<(CArchive& ar, const CObject* obj) {
    ar.WriteObject(obj);
    return ar;
}
