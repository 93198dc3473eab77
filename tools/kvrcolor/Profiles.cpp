#include "Profiles.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <mutex>

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

namespace {
// What was read of a file, with the size and time of change it had then.
template <typename T> struct CachedRead {
    uintmax_t size = 0;
    fs::file_time_type changed;
    T value;
};

// The size and time of change of a regular file; false where they cannot be had.
bool FileStamp(const std::string& path, uintmax_t& size, fs::file_time_type& changed) {
    std::error_code ec;
    if (!fs::is_regular_file(path, ec)) return false;
    size = fs::file_size(path, ec);
    if (ec) return false;
    changed = fs::last_write_time(path, ec);
    return !ec;
}
} // namespace

ProfileFacts ReadProfileFacts(const std::string& path) {
    std::error_code ec;
    if (!fs::exists(path, ec)) throw CliError(kExitProfile, path + ": no such profile file");
    if (fs::is_directory(path, ec)) throw CliError(kExitProfile, path + ": is a folder");
    // A command asks for the same profile several times (the checks of the chain, the source
    // that may be a device link, the soft proof's steps); reading a printer profile of
    // megabytes is most of a small conversion, so a file is read once while it stays the same
    // (the ui server runs long, and its profiles may be replaced meanwhile).
    static std::mutex mutex;
    static std::map<std::string, CachedRead<ProfileFacts>> cache;
    uintmax_t size = 0;
    fs::file_time_type changed;
    const bool cacheable = FileStamp(path, size, changed);
    if (cacheable) {
        std::lock_guard lock(mutex);
        const auto found = cache.find(path);
        if (found != cache.end() && found->second.size == size && found->second.changed == changed)
            return found->second.value;
    }
    CIccProfileRead profile(&Settings());
    if (!profile.Open(Utf8ToWide(path).c_str())) {
        if (profile.m_nError == kIccErrorAccessDenied)
            throw CliError(kExitProfile, path + ": access denied");
        // The reader says only that it failed; the tool looks for what is the matter.
        throw CliError(kExitProfile,
                       path + ": " + DiagnosisText(ReadFileBytes(path, kExitProfile)));
    }
    const icHeader& h = profile.Header();
    ProfileFacts facts{path, h.deviceClass, h.colorSpace, h.pcs, h.version, h};
    if (cacheable) {
        std::lock_guard lock(mutex);
        if (cache.size() >= 64) cache.clear();
        cache[path] = {size, changed, facts};
    }
    return facts;
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

std::shared_ptr<const std::vector<uint8_t>> ProfileFileBytes(const std::string& path) {
    static std::mutex mutex;
    static std::map<std::string, CachedRead<std::shared_ptr<const std::vector<uint8_t>>>> cache;
    uintmax_t size = 0;
    fs::file_time_type changed;
    const bool cacheable = FileStamp(path, size, changed);
    if (cacheable) {
        std::lock_guard lock(mutex);
        const auto found = cache.find(path);
        if (found != cache.end() && found->second.size == size && found->second.changed == changed)
            return found->second.value;
    }
    auto bytes = std::make_shared<const std::vector<uint8_t>>(ReadFileBytes(path, kExitProfile));
    // Kept only when the file was not changed while it was read.
    uintmax_t sizeAfter = 0;
    fs::file_time_type changedAfter;
    if (cacheable && FileStamp(path, sizeAfter, changedAfter) && sizeAfter == size &&
        changedAfter == changed && bytes->size() == size) {
        std::lock_guard lock(mutex);
        // A few files at a time: the ui server runs long and meets many profiles.
        if (cache.size() >= 8) cache.clear();
        cache[path] = {size, changed, bytes};
    }
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
