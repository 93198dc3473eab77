#include "base/Digest.h"

#include <openssl/evp.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <vector>

#include "base/WideString.h"

namespace {

EVP_MD_CTX* NewContext(const EVP_MD* md) {
    EVP_MD_CTX* ctx = EVP_MD_CTX_new();
    if (ctx && EVP_DigestInit_ex(ctx, md, nullptr) != 1) {
        EVP_MD_CTX_free(ctx);
        ctx = nullptr;
    }
    return ctx;
}

// A context carrying the state of src; null when src is null or OpenSSL can't copy.
EVP_MD_CTX* CopyContext(const EVP_MD_CTX* src) {
    if (!src) return nullptr;
    EVP_MD_CTX* ctx = EVP_MD_CTX_new();
    if (ctx && EVP_MD_CTX_copy_ex(ctx, src) != 1) {
        EVP_MD_CTX_free(ctx);
        ctx = nullptr;
    }
    return ctx;
}

const wchar_t kHex[] = L"0123456789ABCDEF";

} // namespace

KVR_MD5_CTX::KVR_MD5_CTX(const KVR_MD5_CTX& other) : evp(CopyContext(other.evp)) {}

KVR_MD5_CTX& KVR_MD5_CTX::operator=(const KVR_MD5_CTX& other) {
    if (this != &other) {
        EVP_MD_CTX* copy = CopyContext(other.evp);
        EVP_MD_CTX_free(evp);
        evp = copy;
    }
    return *this;
}

KVR_MD5_CTX::~KVR_MD5_CTX() {
    EVP_MD_CTX_free(evp);
}

void MD5Init(KVR_MD5_CTX* ctx) {
    if (ctx->evp && EVP_DigestInit_ex(ctx->evp, EVP_md5(), nullptr) == 1) return;
    EVP_MD_CTX_free(ctx->evp);
    ctx->evp = NewContext(EVP_md5());
}

void MD5Update(KVR_MD5_CTX* ctx, const void* data, unsigned length) {
    if (!ctx->evp) MD5Init(ctx);
    if (ctx->evp && length) EVP_DigestUpdate(ctx->evp, data, length);
}

void MD5Final(unsigned char digest[16], KVR_MD5_CTX* ctx) {
    if (!ctx->evp) MD5Init(ctx);
    unsigned size = 0;
    if (!ctx->evp || EVP_DigestFinal_ex(ctx->evp, digest, &size) != 1 || size != 16)
        std::fill(digest, digest + 16, 0);
    MD5Init(ctx);
}

std::wstring MD5DigestToString(const unsigned char digest[16]) {
    std::wstring text;
    for (int i = 0; i < 16; ++i) {
        text += kHex[digest[i] >> 4];
        text += kHex[digest[i] & 15];
    }
    return text;
}

void CMD5Digest::Update(const void* data, size_t length) {
    const auto* p = static_cast<const unsigned char*>(data);
    while (length > 0) { // MD5Update takes an unsigned count
        unsigned n = length > 0x40000000u ? 0x40000000u : static_cast<unsigned>(length);
        MD5Update(&m_ctx, p, n);
        p += n;
        length -= n;
    }
}

void CMD5Digest::GetDigest(unsigned char digest[16]) const {
    KVR_MD5_CTX copy(m_ctx); // finishing a copy leaves this digest open for more bytes
    MD5Final(digest, &copy);
}

std::wstring CMD5Digest::AsString() const {
    unsigned char digest[16];
    GetDigest(digest);
    return MD5DigestToString(digest);
}

CSHA1::CSHA1() {
    Reset();
}

CSHA1::~CSHA1() {
    EVP_MD_CTX_free(m_ctx);
}

void CSHA1::Reset() {
    if (!m_ctx || EVP_DigestInit_ex(m_ctx, EVP_sha1(), nullptr) != 1) {
        EVP_MD_CTX_free(m_ctx);
        m_ctx = NewContext(EVP_sha1());
    }
    std::fill(std::begin(m_hash), std::end(m_hash), 0);
    m_final = false;
}

void CSHA1::Update(const void* data, size_t length) {
    if (!m_ctx) Reset();
    if (m_ctx && length) EVP_DigestUpdate(m_ctx, data, length);
}

bool CSHA1::HashFile(const wchar_t* path) {
    if (!path) return false;
    std::ifstream in(WideToUtf8(path), std::ios::binary);
    if (!in) return false;
    if (!m_ctx) Reset();
    EVP_MD_CTX* work = CopyContext(m_ctx); // committed only when the whole file was read
    if (!work) return false;
    std::vector<char> buf(1 << 16);
    bool ok = true;
    while (ok && in) {
        in.read(buf.data(), static_cast<std::streamsize>(buf.size()));
        std::streamsize n = in.gcount();
        if (n > 0) ok = EVP_DigestUpdate(work, buf.data(), static_cast<size_t>(n)) == 1;
    }
    ok = ok && !in.bad();
    if (ok) std::swap(work, m_ctx);
    EVP_MD_CTX_free(work);
    return ok;
}

void CSHA1::Final() {
    if (!m_ctx) Reset();
    unsigned size = 0;
    if (!m_ctx || EVP_DigestFinal_ex(m_ctx, m_hash, &size) != 1 || size != 20) {
        std::fill(std::begin(m_hash), std::end(m_hash), 0);
        m_final = false;
    } else {
        m_final = true;
    }
    if (m_ctx && EVP_DigestInit_ex(m_ctx, EVP_sha1(), nullptr) != 1) {
        EVP_MD_CTX_free(m_ctx);
        m_ctx = nullptr;
    }
}

bool CSHA1::GetHash(unsigned char hash[20]) const {
    std::copy(std::begin(m_hash), std::end(m_hash), hash);
    return m_final;
}

std::wstring CSHA1::ReportHash(int type) const {
    std::wstring text;
    if (!m_final) return text;
    for (int i = 0; i < 20; ++i) {
        switch (type) {
        case REPORT_HEX:
            if (i) text += L' ';
            [[fallthrough]];
        case REPORT_HEX_SHORT:
            text += kHex[m_hash[i] >> 4];
            text += kHex[m_hash[i] & 15];
            break;
        case REPORT_DIGIT:
            if (i) text += L' ';
            text += std::to_wstring(m_hash[i]);
            break;
        default:
            return std::wstring();
        }
    }
    return text;
}

bool CSHA1::ReportHash(wchar_t* out, int type) const {
    std::wstring text = ReportHash(type);
    std::copy(text.begin(), text.end(), out);
    out[text.size()] = L'\0';
    return !text.empty();
}
