// Helpers of the tests of `kvrcolor extract`: running the real tools that make the input files
// (Ghostscript, qpdf), a small writer of PDF files whose every byte the test chooses, deflated
// data, and digests.
#pragma once

#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "base/Digest.h"
#include "base/WideString.h"
#include "support/Files.h"

namespace extracttest {

namespace fs = std::filesystem;
using kvrtest::Bytes;

// Success when `name` is a program on PATH, otherwise a failure saying how to get it.
inline ::testing::AssertionResult HaveProgram(const std::string& name) {
    const char* path = std::getenv("PATH");
    std::stringstream dirs(path ? path : "");
    std::string dir;
    while (std::getline(dirs, dir, ':'))
        if (!dir.empty() && fs::exists(fs::path(dir) / name)) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
           << name << " is not installed; bash scripts/install-deps.sh --test-data installs it";
}

// A path quoted for the shell.
inline std::string Q(const fs::path& p) {
    std::string quoted = "'";
    for (char c : p.string()) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

// Runs a command line; answers its exit code. Output goes to `log` (a file) if given.
inline int Shell(const std::string& command, const fs::path& log = {}) {
    const std::string redirect = log.empty() ? " >/dev/null 2>&1" : " >" + Q(log) + " 2>&1";
    const int status = std::system((command + redirect).c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

inline Bytes Deflate(const Bytes& data) {
    uLongf size = compressBound(uLong(data.size()));
    Bytes out(size);
    EXPECT_EQ(compress2(out.data(), &size, data.data(), uLong(data.size()), Z_BEST_COMPRESSION),
              Z_OK);
    out.resize(size);
    return out;
}

// `count` zero bytes deflated, in pieces, so that the test never holds them all.
inline Bytes DeflateZeros(uint64_t count) {
    z_stream s{};
    EXPECT_EQ(deflateInit(&s, Z_BEST_SPEED), Z_OK); // some 230:1 on zeros, and fast
    const Bytes zeros(1 << 20, 0);
    Bytes out;
    std::vector<uint8_t> buffer(1 << 16);
    uint64_t left = count;
    int flush = Z_NO_FLUSH;
    do {
        const size_t piece = size_t(std::min<uint64_t>(left, zeros.size()));
        left -= piece;
        flush = left == 0 ? Z_FINISH : Z_NO_FLUSH;
        s.next_in = const_cast<uint8_t*>(zeros.data());
        s.avail_in = uInt(piece);
        do {
            s.next_out = buffer.data();
            s.avail_out = uInt(buffer.size());
            deflate(&s, flush);
            out.insert(out.end(), buffer.data(), buffer.data() + (buffer.size() - s.avail_out));
        } while (s.avail_out == 0);
    } while (flush != Z_FINISH);
    deflateEnd(&s);
    return out;
}

inline std::string Md5(const Bytes& bytes) {
    CMD5Digest md5;
    md5.Update(bytes.data(), bytes.size());
    return WideToUtf8(md5.AsString());
}

inline Bytes HexOf(const Bytes& bytes) {
    static const char digits[] = "0123456789ABCDEF";
    Bytes hex;
    for (uint8_t b : bytes) {
        hex.push_back(uint8_t(digits[b >> 4]));
        hex.push_back(uint8_t(digits[b & 15]));
    }
    hex.push_back('>');
    return hex;
}

// A PDF written object by object: objects are numbered from 1 in the order added, the
// cross-reference table is computed when the file is built (an entry may be set to a wrong
// offset on purpose).
class MiniPdf {
public:
    int Add(const std::string& body) {
        m_objects.push_back(Bytes(body.begin(), body.end()));
        return int(m_objects.size());
    }
    // A stream: `dict` holds the entries other than /Length, which is the data's size unless
    // `length` is given.
    int AddStream(const std::string& dict, const Bytes& data, long long length = -1) {
        const std::string head = "<< " + dict + " /Length " +
                                 std::to_string(length < 0 ? (long long)data.size() : length) +
                                 " >>\nstream\n";
        Bytes body(head.begin(), head.end());
        body.insert(body.end(), data.begin(), data.end());
        const std::string tail = "\nendstream";
        body.insert(body.end(), tail.begin(), tail.end());
        m_objects.push_back(body);
        return int(m_objects.size());
    }
    // The object's body replaced, once all objects are numbered.
    void Set(int number, const std::string& body) {
        m_objects[size_t(number - 1)] = Bytes(body.begin(), body.end());
    }
    // The cross-reference entry of `number` written as `offset` instead of its true one.
    void SetXrefOffset(int number, long long offset) { m_xrefOverride[number] = offset; }

    Bytes Build(int root) const {
        const std::string header = "%PDF-1.7\n%\xE2\xE3\xCF\xD3\n";
        Bytes file(header.begin(), header.end());
        std::vector<long long> offsets;
        for (size_t i = 0; i < m_objects.size(); ++i) {
            offsets.push_back((long long)file.size());
            Append(file, std::to_string(i + 1) + " 0 obj\n");
            file.insert(file.end(), m_objects[i].begin(), m_objects[i].end());
            Append(file, "\nendobj\n");
        }
        const long long xref = (long long)file.size();
        Append(file, "xref\n0 " + std::to_string(m_objects.size() + 1) + "\n");
        Append(file, "0000000000 65535 f \n");
        for (size_t i = 0; i < offsets.size(); ++i) {
            const auto o = m_xrefOverride.find(int(i + 1));
            char entry[32];
            std::snprintf(entry, sizeof entry, "%010lld 00000 n \n",
                          o == m_xrefOverride.end() ? offsets[i] : o->second);
            Append(file, entry);
        }
        Append(file, "trailer\n<< /Size " + std::to_string(m_objects.size() + 1) + " /Root " +
                         std::to_string(root) + " 0 R >>\nstartxref\n" + std::to_string(xref) +
                         "\n%%EOF\n");
        return file;
    }

private:
    static void Append(Bytes& b, const std::string& s) { b.insert(b.end(), s.begin(), s.end()); }
    std::vector<Bytes> m_objects;
    std::map<int, long long> m_xrefOverride;
};

// A one-page document whose page uses the colour space `space` (PDF text, which may refer to
// objects added to `pdf` before). Answers the root's number.
inline int OnePage(MiniPdf& pdf, const std::string& space) {
    const int catalog = pdf.Add("");
    const int pages = pdf.Add("");
    const int content = pdf.AddStream("", Bytes{'q', ' ', 'Q'});
    const int page = pdf.Add("<< /Type /Page /Parent " + std::to_string(pages) +
                             " 0 R /MediaBox [0 0 72 72] /Contents " + std::to_string(content) +
                             " 0 R /Resources << /ColorSpace << /CS0 " + space + " >> >> >>");
    pdf.Set(catalog, "<< /Type /Catalog /Pages " + std::to_string(pages) + " 0 R >>");
    pdf.Set(pages, "<< /Type /Pages /Kids [" + std::to_string(page) + " 0 R] /Count 1 >>");
    return catalog;
}

inline std::string Ref(int number) {
    return std::to_string(number) + " 0 R";
}

} // namespace extracttest
