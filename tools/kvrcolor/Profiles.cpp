#include "Profiles.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "CliError.h"
#include "ProfileDiagnosis.h"
#include "base/IniEntries.h"
#include "base/Settings.h"
#include "base/WideString.h"
#include "icc/IccProfile.h"
#include "icc/IccRecords.h"

namespace fs = std::filesystem;

CUserSettingsMgr& Settings() {
    static CUserSettingsMgr settings;
    return settings;
}

ProfileFacts ReadProfileFacts(const std::string& path) {
    std::error_code ec;
    if (!fs::exists(path, ec)) throw CliError(kExitProfile, path + ": no such profile file");
    if (fs::is_directory(path, ec)) throw CliError(kExitProfile, path + ": is a folder");
    CIccProfileRead profile(&Settings());
    if (!profile.Open(Utf8ToWide(path).c_str())) {
        if (profile.m_nError == kIccErrorAccessDenied)
            throw CliError(kExitProfile, path + ": access denied");
        // The reader says only that it failed; the tool looks for what is the matter.
        throw CliError(kExitProfile,
                       path + ": " + DiagnosisText(ReadFileBytes(path, kExitProfile)));
    }
    const icHeader& h = profile.Header();
    return {path, h.deviceClass, h.colorSpace, h.pcs, h.version, h};
}

std::string ProfileBasePath() {
    return WideToUtf8(CRipsIniFile::Instance().GetString(IniCpBasePath));
}

std::vector<uint8_t> ReadFileBytes(const std::string& path, int code) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw CliError(code, path + ": cannot be read");
    // A file of known size in one read; anything else (a pipe) in blocks. Never a character at
    // a time: profiles of megabytes are read whole.
    std::vector<uint8_t> bytes;
    std::error_code ec;
    const auto size = fs::is_regular_file(path, ec) ? fs::file_size(path, ec) : 0;
    if (!ec && size > 0) {
        bytes.resize(size);
        in.read(reinterpret_cast<char*>(bytes.data()), std::streamsize(size));
        bytes.resize(size_t(in.gcount())); // a file that shrank meanwhile
        if (in.eof()) in.clear(in.rdstate() & ~(std::ios::eofbit | std::ios::failbit));
    }
    char block[1 << 16];
    while (in.read(block, sizeof block) || in.gcount() > 0)
        bytes.insert(bytes.end(), block, block + in.gcount());
    if (in.bad()) throw CliError(code, path + ": read error");
    return bytes;
}

TempProfileFile::TempProfileFile(const std::vector<uint8_t>& bytes) {
    const char* dir = std::getenv("TMPDIR");
    std::string pattern = std::string(dir && *dir ? dir : "/tmp") + "/kvrcolor-embedded-XXXXXX";
    const int fd = ::mkstemp(pattern.data());
    if (fd < 0)
        throw CliError(kExitOutput, pattern +
                                        ": cannot make a temporary file for the embedded "
                                        "profile: " +
                                        std::strerror(errno));
    m_path = pattern;
    size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (n <= 0) {
            ::close(fd);
            ::unlink(m_path.c_str());
            throw CliError(kExitOutput, m_path + ": cannot write the embedded profile");
        }
        done += size_t(n);
    }
    ::close(fd);
}

TempProfileFile::~TempProfileFile() {
    if (!m_path.empty()) ::unlink(m_path.c_str());
}
