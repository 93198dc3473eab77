// MD5 and SHA-1 digests over OpenSSL's libcrypto. MD5 recognises profiles by their content;
// SHA-1 names profile files in the transform cache.
#pragma once

#include <cstddef>
#include <string>

struct evp_md_ctx_st; // OpenSSL's EVP_MD_CTX, kept out of this header

// Running MD5 state. It owns its OpenSSL context and releases it when it goes; copies carry the
// state so far.
struct KVR_MD5_CTX {
    KVR_MD5_CTX() = default;
    KVR_MD5_CTX(const KVR_MD5_CTX& other);
    KVR_MD5_CTX& operator=(const KVR_MD5_CTX& other);
    ~KVR_MD5_CTX();

    evp_md_ctx_st* evp = nullptr;
};

// The classic name of the MD5 context. OpenSSL's <openssl/md5.h> uses the same name for its
// own: a source file that needs both includes OpenSSL's header first (or defines
// KVR_NO_MD5_CTX_ALIAS) and writes KVR_MD5_CTX.
#if !defined(OPENSSL_MD5_H) && !defined(HEADER_MD5_H) && !defined(KVR_NO_MD5_CTX_ALIAS)
using MD5_CTX = KVR_MD5_CTX;
#endif

// Starts a new message.
void MD5Init(KVR_MD5_CTX* ctx);
// Adds bytes; a context that was never started is started first.
void MD5Update(KVR_MD5_CTX* ctx, const void* data, unsigned length);
// The digest of the message; the context then starts a new, empty message.
void MD5Final(unsigned char digest[16], KVR_MD5_CTX* ctx);

// 16 digest bytes as 32 upper-case hexadecimal digits.
std::wstring MD5DigestToString(const unsigned char digest[16]);

// MD5 of a stream of bytes, with its text.
class CMD5Digest {
public:
    CMD5Digest() { MD5Init(&m_ctx); }

    void Reset() { MD5Init(&m_ctx); }
    void Update(const void* data, size_t length);
    // The digest of all bytes so far; more may be added afterwards.
    void GetDigest(unsigned char digest[16]) const;
    // The same as 32 upper-case hexadecimal digits.
    std::wstring AsString() const;

private:
    KVR_MD5_CTX m_ctx;
};

class CSHA1 {
public:
    enum REPORT_TYPE {
        REPORT_HEX = 0,       // "A9 99 3E ...": upper-case hex pairs separated by spaces
        REPORT_DIGIT = 1,     // "169 153 62 ...": decimal bytes separated by spaces
        REPORT_HEX_SHORT = 2, // "A9993E...": 40 upper-case hex digits
    };

    CSHA1();
    ~CSHA1();
    CSHA1(const CSHA1&) = delete;
    CSHA1& operator=(const CSHA1&) = delete;

    // Starts a new message and forgets the last hash.
    void Reset();
    void Update(const void* data, size_t length);
    // Adds the whole content of a file. False if it can't be read; the running hash is then as it
    // was before the call.
    bool HashFile(const wchar_t* path);
    // Ends the message: the hash becomes available and the next Update starts a new message.
    void Final();

    // The hash of the last Final; false (and zeros) if there is none since the last Reset.
    bool GetHash(unsigned char hash[20]) const;
    // The hash of the last Final as text of the given REPORT_TYPE, with a terminating zero. The
    // longest, REPORT_DIGIT, needs 80 characters. False, with an empty text, for an unknown type
    // or when there is no hash.
    bool ReportHash(wchar_t* out, int type = REPORT_HEX) const;
    std::wstring ReportHash(int type) const;

private:
    evp_md_ctx_st* m_ctx = nullptr;
    unsigned char m_hash[20] = {};
    bool m_final = false;
};
