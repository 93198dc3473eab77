#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "base/Digest.h"
#include "base/WideString.h"

namespace {

std::wstring Md5Text(const std::string& text) {
    MD5_CTX ctx;
    MD5Init(&ctx);
    MD5Update(&ctx, text.data(), static_cast<unsigned>(text.size()));
    unsigned char digest[16];
    MD5Final(digest, &ctx);
    return MD5DigestToString(digest);
}

std::wstring Sha1Text(const std::string& text, int type = CSHA1::REPORT_HEX_SHORT) {
    CSHA1 sha;
    sha.Update(text.data(), text.size());
    sha.Final();
    return sha.ReportHash(type);
}

class TempFile {
public:
    explicit TempFile(const std::string& content) {
        std::string tmpl = (std::filesystem::temp_directory_path() / "kvrdigestXXXXXX").string();
        int fd = mkstemp(tmpl.data());
        close(fd);
        path_ = tmpl;
        std::ofstream(path_, std::ios::binary) << content;
    }
    ~TempFile() { std::filesystem::remove(path_); }
    std::wstring Path() const { return Utf8ToWide(path_); }

private:
    std::string path_;
};

} // namespace

// Test vectors of RFC 1321.
TEST(Digest, Md5PublishedVectors) {
    EXPECT_EQ(Md5Text(""), L"D41D8CD98F00B204E9800998ECF8427E");
    EXPECT_EQ(Md5Text("abc"), L"900150983CD24FB0D6963F7D28E17F72");
    EXPECT_EQ(Md5Text("message digest"), L"F96B697D7CB7938D525A2F31AAF161D0");
    EXPECT_EQ(Md5Text("12345678901234567890123456789012345678901234567890123456789012345678901"
                      "234567890"),
              L"57EDF4A22BE3C955AC49DA2E2107B67A");
}

TEST(Digest, Md5InPiecesEqualsMd5AtOnceAndFinalStartsAgain) {
    KVR_MD5_CTX ctx;
    MD5Init(&ctx);
    MD5Update(&ctx, "mess", 4);
    MD5Update(&ctx, "", 0);
    MD5Update(&ctx, "age digest", 10);
    unsigned char digest[16];
    MD5Final(digest, &ctx);
    EXPECT_EQ(MD5DigestToString(digest), L"F96B697D7CB7938D525A2F31AAF161D0");
    MD5Update(&ctx, "abc", 3); // a new message after Final
    MD5Final(digest, &ctx);
    EXPECT_EQ(MD5DigestToString(digest), L"900150983CD24FB0D6963F7D28E17F72");
}

TEST(Digest, Md5ContextCopiesCarryTheState) {
    KVR_MD5_CTX a;
    MD5Init(&a);
    MD5Update(&a, "ab", 2);
    KVR_MD5_CTX b = a;
    MD5Update(&a, "c", 1);
    MD5Update(&b, "x", 1);
    unsigned char da[16], db[16];
    MD5Final(da, &a);
    MD5Final(db, &b);
    EXPECT_EQ(MD5DigestToString(da), L"900150983CD24FB0D6963F7D28E17F72");
    EXPECT_NE(MD5DigestToString(db), MD5DigestToString(da));
    EXPECT_EQ(MD5DigestToString(db), Md5Text("abx"));
}

TEST(Digest, Md5DigestObjectGivesTextAndStaysOpen) {
    CMD5Digest d;
    EXPECT_EQ(d.AsString(), L"D41D8CD98F00B204E9800998ECF8427E");
    d.Update("ab", 2);
    d.Update("c", 1);
    EXPECT_EQ(d.AsString(), L"900150983CD24FB0D6963F7D28E17F72");
    EXPECT_EQ(d.AsString(), L"900150983CD24FB0D6963F7D28E17F72");
    d.Reset();
    d.Update("message digest", 14);
    EXPECT_EQ(d.AsString(), L"F96B697D7CB7938D525A2F31AAF161D0");
}

// Test vectors of FIPS 180.
TEST(Digest, Sha1PublishedVectors) {
    EXPECT_EQ(Sha1Text("abc"), L"A9993E364706816ABA3E25717850C26C9CD0D89D");
    EXPECT_EQ(Sha1Text(""), L"DA39A3EE5E6B4B0D3255BFEF95601890AFD80709");
    EXPECT_EQ(Sha1Text("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
              L"84983E441C3BD26EBAAE4AA1F95129E5E54670F1");
}

TEST(Digest, Sha1ReportTypes) {
    EXPECT_EQ(Sha1Text("abc", CSHA1::REPORT_HEX),
              L"A9 99 3E 36 47 06 81 6A BA 3E 25 71 78 50 C2 6C 9C D0 D8 9D");
    EXPECT_EQ(Sha1Text("abc", CSHA1::REPORT_DIGIT),
              L"169 153 62 54 71 6 129 106 186 62 37 113 120 80 194 108 156 208 216 157");
    EXPECT_EQ(Sha1Text("abc", 7), L"");

    CSHA1 sha;
    sha.Update("abc", 3);
    wchar_t buf[84];
    EXPECT_FALSE(sha.ReportHash(buf, CSHA1::REPORT_HEX_SHORT)); // no Final yet
    EXPECT_STREQ(buf, L"");
    sha.Final();
    ASSERT_TRUE(sha.ReportHash(buf, 2));
    EXPECT_STREQ(buf, L"A9993E364706816ABA3E25717850C26C9CD0D89D");
    EXPECT_EQ(std::wcslen(buf), 40u);
    unsigned char hash[20];
    ASSERT_TRUE(sha.GetHash(hash));
    EXPECT_EQ(hash[0], 0xA9);
    EXPECT_EQ(hash[19], 0x9D);
}

TEST(Digest, Sha1LongMessageAndReuseAfterFinal) {
    CSHA1 sha;
    const std::string chunk(1000, 'a');
    for (int i = 0; i < 1000; ++i) sha.Update(chunk.data(), chunk.size());
    sha.Final();
    EXPECT_EQ(sha.ReportHash(2), L"34AA973CD4C4DAA4F61EEB2BDBAD27316534016F");
    sha.Update("abc", 3);
    sha.Final();
    EXPECT_EQ(sha.ReportHash(2), L"A9993E364706816ABA3E25717850C26C9CD0D89D");
    sha.Reset();
    unsigned char hash[20];
    EXPECT_FALSE(sha.GetHash(hash));
}

TEST(Digest, Sha1OfAFile) {
    TempFile small("abc");
    CSHA1 sha;
    ASSERT_TRUE(sha.HashFile(small.Path().c_str()));
    sha.Final();
    EXPECT_EQ(sha.ReportHash(2), L"A9993E364706816ABA3E25717850C26C9CD0D89D");

    TempFile large(std::string(1000000, 'a')); // spans many read blocks
    ASSERT_TRUE(sha.HashFile(large.Path().c_str()));
    sha.Final();
    EXPECT_EQ(sha.ReportHash(2), L"34AA973CD4C4DAA4F61EEB2BDBAD27316534016F");
}

TEST(Digest, Sha1FailedFileLeavesTheRunningHashAlone) {
    CSHA1 sha;
    sha.Update("ab", 2);
    EXPECT_FALSE(sha.HashFile(L"/nonexistent/folder/file.icc"));
    EXPECT_FALSE(sha.HashFile(nullptr));
    sha.Update("c", 1);
    sha.Final();
    EXPECT_EQ(sha.ReportHash(2), L"A9993E364706816ABA3E25717850C26C9CD0D89D");
}
