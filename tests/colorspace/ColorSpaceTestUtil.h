// Helpers of the colour-space tests: profiles written with the generator with exactly the tags
// a case needs, and a reader filled in memory for tags the file reader would refuse to load.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "colorspace/IccColorProfile.h"
#include "icc/IccProfileGen.h"
#include "support/IccSig.h"
#include "support/ProfileBuilder.h"
#include "support/TempDir.h"

namespace cstest {

using kvrtest::Sig;
using kvrtest::TempDir;

// A generator with the header set, to which a test adds its tags before Save.
class Gen : public CIccProfileGen1 {
public:
    Gen(uint32_t deviceClass = icSigOutputClass, uint32_t space = icSigCmykData,
        uint32_t pcs = icSigLabData)
        : CIccProfileGen1(nullptr) {
        SetHeader(deviceClass, space, pcs, icPerceptual);
    }
    // A tag of raw bytes in host order, beginning with its type signature.
    void Raw(uint32_t sig, const std::vector<uint8_t>& bytes) {
        icTag tag{sig, 0, uint32_t(bytes.size())};
        AddTagAndData(tag, bytes.data());
    }
    // A B2A-like mft2 table of `out` outputs, 3 inputs, 2 grid points.
    void Table(uint32_t sig, unsigned out) {
        kvrtest::TableSpec t;
        t.sig = sig;
        t.out = out;
        t.node = [out](const double*, uint16_t* y) {
            for (unsigned c = 0; c < out; ++c) y[c] = 0;
        };
        AddLut16Tag(icTagSignature(sig), kvrtest::SpecTab(t));
    }
    std::wstring Save(const TempDir& dir, const std::string& name) {
        const std::wstring path = (dir / name).wstring();
        EXPECT_NE(OnSaveDocument(path.c_str()), 0) << name;
        return path;
    }
};

// Bytes of a tag in host order: type signature, reserved word, then what a test appends.
inline std::vector<uint8_t> TagHead(uint32_t type) {
    std::vector<uint8_t> b(8, 0);
    std::memcpy(b.data(), &type, 4);
    return b;
}
inline void Append32(std::vector<uint8_t>& b, uint32_t v) {
    const size_t at = b.size();
    b.resize(at + 4);
    std::memcpy(b.data() + at, &v, 4);
}
inline void AppendText(std::vector<uint8_t>& b, const std::string& text, bool terminate) {
    b.insert(b.end(), text.begin(), text.end());
    if (terminate) b.push_back(0);
}

// A reader whose tags are made in memory, in host order, past the checks of a file load: the
// way to give the record tags that no file could bring through the reader.
class MemReader : public CIccProfileRead {
public:
    MemReader() : CIccProfileRead(nullptr) {}
    icHeader& Head() { return m_Header; }
    // Adds a tag of `bytes`, exactly that long.
    void Add(uint32_t sig, const std::vector<uint8_t>& bytes) {
        uint32_t* block = AddTag(sig, unsigned(bytes.size()), 0);
        if (!bytes.empty()) std::memcpy(block, bytes.data(), bytes.size());
        UpdateTagTableAndHeader();
    }
};

// The record with its reading from an open reader reachable.
class RecordProbe : public CIccColorProfile {
public:
    int LoadFrom(CIccProfileRead& reader) { return LoadIccFile(&reader); }
};

} // namespace cstest
