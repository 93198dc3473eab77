// Helpers of the ICC tests: big-endian byte builders for tag blocks and whole profiles, written
// independently of the code under test, an MD5 through OpenSSL, and file helpers (those of
// tests/support under the names the ICC tests use).
#pragma once

#include <openssl/evp.h>

#include <algorithm>
#include <cstdlib>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "icc/IccProfile.h"
#include "support/Files.h"
#include "support/IccSig.h"
#include "support/TempDir.h"

namespace icctest {

using Bytes = std::vector<uint8_t>;

// Appends numbers in file (big-endian) order.
class Be {
public:
    Be& u8(uint32_t v) {
        b.push_back(uint8_t(v));
        return *this;
    }
    Be& u16(uint32_t v) { return u8(v >> 8).u8(v); }
    Be& u32(uint32_t v) { return u16(v >> 16).u16(v); }
    Be& sig(const char* s) {
        for (int i = 0; i < 4; ++i) u8(uint8_t(s[i]));
        return *this;
    }
    Be& bytes(const Bytes& v) {
        b.insert(b.end(), v.begin(), v.end());
        return *this;
    }
    Be& text(const char* s, size_t field) { // s in a zero-filled field of `field` bytes
        size_t n = std::strlen(s);
        for (size_t i = 0; i < field; ++i) u8(i < n ? uint8_t(s[i]) : 0);
        return *this;
    }
    Be& zeros(size_t n) {
        b.insert(b.end(), n, 0);
        return *this;
    }
    Be& pad4() {
        while (b.size() % 4) b.push_back(0);
        return *this;
    }
    Be& head(const char* type) { return sig(type).u32(0); } // type signature, reserved word
    size_t size() const { return b.size(); }
    void put32(size_t at, uint32_t v) {
        b[at] = uint8_t(v >> 24);
        b[at + 1] = uint8_t(v >> 16);
        b[at + 2] = uint8_t(v >> 8);
        b[at + 3] = uint8_t(v);
    }

    Bytes b;
};

inline uint32_t BeRead32(const uint8_t* p) {
    return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | p[3];
}

// Numbers of a block in host order, read without alignment assumptions.
inline uint32_t H32(const void* block, size_t off) {
    uint32_t v;
    std::memcpy(&v, static_cast<const uint8_t*>(block) + off, 4);
    return v;
}
inline uint16_t H16(const void* block, size_t off) {
    uint16_t v;
    std::memcpy(&v, static_cast<const uint8_t*>(block) + off, 2);
    return v;
}

using kvrtest::Sig;

// A curv record, padded to four bytes when `pad` is set (as inside a curve set).
inline Bytes Curv(const std::vector<uint16_t>& entries, bool pad = true) {
    Be w;
    w.head("curv").u32(uint32_t(entries.size()));
    for (uint16_t e : entries) w.u16(e);
    if (pad) w.pad4();
    return w.b;
}

inline Bytes Para(uint16_t type, const std::vector<int32_t>& params) {
    Be w;
    w.head("para").u16(type).u16(0);
    for (int32_t p : params) w.u32(uint32_t(p));
    return w.b;
}

// An mAB  or mBA  block. Elements are placed in the order B, matrix, M, grid, A behind the head;
// an empty element is absent (offset 0). offsetsOverride, when non-empty, replaces the five
// offsets as written.
struct LutAB {
    const char* type = "mAB ";
    uint8_t in = 3, out = 3;
    Bytes B, matrix, M, clut, A;
    std::vector<uint32_t> offsetsOverride;
    uint32_t offsets[5] = {}; // as placed: B, matrix, M, CLUT, A

    Bytes Build() {
        Be w;
        w.head(type).u8(in).u8(out).u16(0);
        w.zeros(20);
        const Bytes* parts[5] = {&B, &matrix, &M, &clut, &A};
        for (int i = 0; i < 5; ++i) {
            if (parts[i]->empty()) continue;
            w.pad4();
            offsets[i] = uint32_t(w.size());
            w.bytes(*parts[i]);
        }
        w.pad4();
        for (int i = 0; i < 5; ++i)
            w.put32(12 + 4 * i, offsetsOverride.empty() ? offsets[i] : offsetsOverride[i]);
        return w.b;
    }
};

// An icCLutStruct with the given grid points, precision and values.
inline Bytes Clut(const std::vector<uint8_t>& points, uint8_t prec,
                  const std::vector<uint16_t>& values) {
    Be w;
    for (int i = 0; i < 16; ++i) w.u8(i < int(points.size()) ? points[i] : 0);
    w.u8(prec).u8(0).u8(0).u8(0);
    for (uint16_t v : values) {
        if (prec == 2)
            w.u16(v);
        else
            w.u8(v);
    }
    return w.b;
}

// A whole profile in file order.
struct Profile {
    struct Tag {
        std::string sig;
        Bytes data;
        int64_t offset = -1; // -1: placed behind the previous data, on a 4-byte boundary
        int64_t size = -1;   // -1: data.size()
    };

    uint32_t version = 0x02100000;
    std::string deviceClass = "prtr", colorSpace = "CMYK", pcs = "Lab ", magic = "acsp";
    int64_t sizeOverride = -1; // -1: the end of the last placed data
    std::vector<Tag> tags;

    Profile& Add(const char* sig, Bytes data) {
        tags.push_back({sig, std::move(data)});
        return *this;
    }

    Bytes Build() const {
        Be w;
        size_t dataStart = 132 + 12 * tags.size();
        // Header
        w.u32(0).sig("TCMS").u32(version).sig(deviceClass.c_str()).sig(colorSpace.c_str());
        w.sig(pcs.c_str());
        w.u16(2024).u16(5).u16(17).u16(13).u16(45).u16(59);
        w.sig(magic.c_str()).sig("APPL").u32(0x00010002).sig("TEST").sig("MDL1");
        w.u32(0x11223344).u32(0x55667788).u32(1);
        w.u32(63190).u32(65536).u32(54061).sig("TEST");
        for (int i = 0; i < 44; ++i) w.u8(uint8_t(0xA0 + i));
        w.u32(uint32_t(tags.size()));
        w.zeros(12 * tags.size());
        // Data
        Bytes body(dataStart, 0);
        std::memcpy(body.data(), w.b.data(), w.b.size());
        size_t end = dataStart;
        for (size_t i = 0; i < tags.size(); ++i) {
            const Tag& t = tags[i];
            size_t off;
            if (t.offset >= 0) {
                off = size_t(t.offset);
            } else {
                off = (end + 3) & ~size_t(3);
            }
            if (t.offset < 0 || off >= dataStart) {
                if (body.size() < off + t.data.size()) body.resize(off + t.data.size(), 0);
                if (!t.data.empty()) std::memcpy(body.data() + off, t.data.data(), t.data.size());
                end = std::max(end, off + t.data.size());
            }
            uint32_t size = t.size >= 0 ? uint32_t(t.size) : uint32_t(t.data.size());
            size_t e = 132 + 12 * i;
            Be entry;
            entry.sig(t.sig.c_str()).u32(uint32_t(off)).u32(size);
            std::memcpy(body.data() + e, entry.b.data(), 12);
        }
        body.resize(end);
        uint32_t size = sizeOverride >= 0 ? uint32_t(sizeOverride) : uint32_t(end);
        Be s;
        s.u32(size);
        std::memcpy(body.data(), s.b.data(), 4);
        return body;
    }
};

inline std::wstring Md5Hex(const uint8_t* data, size_t n) {
    unsigned char md[EVP_MAX_MD_SIZE];
    unsigned len = 0;
    EVP_Digest(data, n, md, &len, EVP_md5(), nullptr);
    std::wstring s;
    const wchar_t* hex = L"0123456789ABCDEF";
    for (unsigned i = 0; i < len; ++i) {
        s += hex[md[i] >> 4];
        s += hex[md[i] & 15];
    }
    return s;
}

inline Bytes ReadFileBytes(const std::filesystem::path& p) {
    return kvrtest::ReadBytes(p);
}

inline void WriteFileBytes(const std::filesystem::path& p, const Bytes& b) {
    kvrtest::WriteBytes(p, b);
}

using kvrtest::TempDir;

// A small, valid profile with tags of several types: curves, parametric curve, XYZ, text,
// description, measurement, an mft2, an mAB , a named-colour list and a private version tag.
inline Profile SmallProfile() {
    Profile p;
    Be desc;
    desc.head("desc").u32(8).text("Small", 8).u32(0).u32(0).u16(0).u8(0).zeros(67);
    p.Add("desc", desc.b);
    p.Add("wtpt", Be().head("XYZ ").u32(63190).u32(65536).u32(54061).b);
    p.Add("rTRC", Curv({0, 0x4000, 0x8000, 0xFFFF}, false));
    p.Add("gTRC", Curv({0x0233}, false));
    p.Add("bTRC", Para(3, {0x00026666, 0x0000F2A8, 0x00000D5A, 0x000013D0, 0x00000A3D}));
    p.Add("cprt", Be().head("text").text("No copyright", 13).b);
    p.Add("meas", Be().head("meas").u32(2).u32(0).u32(0).u32(0).u32(1).u32(0).u32(2).b);
    Be lut;
    lut.head("mft2").u8(1).u8(3).u8(2).u8(0);
    for (int i = 0; i < 9; ++i) lut.u32(i % 4 == 0 ? 65536 : 0);
    lut.u16(2).u16(2);
    for (int i = 0; i < 2 + (2 + 2) * 3; ++i) lut.u16(uint16_t(i * 4000));
    p.Add("A2B0", lut.b);
    LutAB ab;
    ab.in = 1;
    ab.out = 1;
    ab.B = Curv({0x0100, 0xFF00});
    ab.M = Para(0, {0x00010000});
    ab.clut = Clut({2}, 2, {0x1000, 0xF000});
    ab.matrix = Be().u32(65536)
                    .u32(0)
                    .u32(0)
                    .u32(0)
                    .u32(65536)
                    .u32(0)
                    .u32(0)
                    .u32(0)
                    .u32(65536)
                    .u32(0)
                    .u32(0)
                    .u32(0)
                    .b;
    ab.A = Curv({0x0233});
    p.Add("A2B1", ab.Build());
    Be ncl;
    ncl.head("ncl2").u32(0x80000000).u32(1).u32(2).text("P", 32).text("S", 32);
    ncl.text("Spot", 32).u16(0x8000).u16(0x8080).u16(0x8080).u16(0x1111).u16(0x2222);
    p.Add("ncl2", ncl.b);
    p.Add("Tvr2", Be().head("ui32").u32(350).b);
    return p;
}

// A reader that exposes the protected parts for the tests.
class TestReader : public CIccProfileRead {
public:
    TestReader() : CIccProfileRead(nullptr) {}
    using CIccProfileRead::AddTag;
    using CIccProfileRead::m_pFile;
    using CIccProfileRead::m_Tags;
    icHeader& MutableHeader() { return m_Header; }

    int OpenBytes(Bytes& b) { return Open(b.data(), int(b.size())); }

    // Stores through an archive into memory and answers the bytes written.
    Bytes SaveToMemory() {
        CMemFile mem(4096);
        {
            CArchive ar(&mem, CArchive::store);
            Serialize(ar);
        }
        return Bytes(mem.GetBuffer(), mem.GetBuffer() + mem.GetLength());
    }
};

} // namespace icctest
