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
#include <optional>
#include <utility>

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
// The size and time of change of a regular file.
struct FileStamp {
    uintmax_t size = 0;
    fs::file_time_type changed;
    bool operator==(const FileStamp&) const = default;
};

// The stamp of a regular file; nothing where it cannot be had.
std::optional<FileStamp> StampOf(const std::string& path) {
    std::error_code ec;
    if (!fs::is_regular_file(path, ec)) return std::nullopt;
    FileStamp stamp;
    stamp.size = fs::file_size(path, ec);
    if (ec) return std::nullopt;
    stamp.changed = fs::last_write_time(path, ec);
    if (ec) return std::nullopt;
    return stamp;
}

// What was read of files, by path, valid while a file keeps the stamp it had when read. A few
// entries at a time (emptied when full): the ui server runs long and meets many profiles.
template <typename T> class ReadCache {
public:
    explicit ReadCache(size_t capacity) : m_capacity(capacity) {}
    std::optional<T> Find(const std::string& path, const FileStamp& stamp) {
        std::lock_guard lock(m_mutex);
        const auto found = m_entries.find(path);
        if (found == m_entries.end() || !(found->second.first == stamp)) return std::nullopt;
        return found->second.second;
    }
    void Store(const std::string& path, const FileStamp& stamp, T value) {
        std::lock_guard lock(m_mutex);
        if (m_entries.size() >= m_capacity) m_entries.clear();
        m_entries[path] = {stamp, std::move(value)};
    }

private:
    const size_t m_capacity;
    std::mutex m_mutex;
    std::map<std::string, std::pair<FileStamp, T>> m_entries;
};
} // namespace

ProfileFacts ReadProfileFacts(const std::string& path) {
    std::error_code ec;
    if (!fs::exists(path, ec)) throw CliError(kExitProfile, path + ": no such profile file");
    if (fs::is_directory(path, ec)) throw CliError(kExitProfile, path + ": is a folder");
    // A command asks for the same profile several times (the checks of the chain, the source
    // that may be a device link, the soft proof's steps); reading a printer profile of
    // megabytes is most of a small conversion, so a file is read once while it stays the same
    // (the ui server runs long, and its profiles may be replaced meanwhile).
    static ReadCache<ProfileFacts> cache(64);
    const std::optional<FileStamp> stamp = StampOf(path);
    if (stamp)
        if (std::optional<ProfileFacts> known = cache.Find(path, *stamp)) return *known;
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
    if (stamp) cache.Store(path, *stamp, facts);
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
    using Bytes = std::shared_ptr<const std::vector<uint8_t>>;
    static ReadCache<Bytes> cache(8);
    const std::optional<FileStamp> stamp = StampOf(path);
    if (stamp)
        if (std::optional<Bytes> known = cache.Find(path, *stamp)) return *known;
    auto bytes = std::make_shared<const std::vector<uint8_t>>(ReadFileBytes(path, kExitProfile));
    // Kept only when the file was not changed while it was read.
    if (stamp && StampOf(path) == stamp && bytes->size() == stamp->size)
        cache.Store(path, *stamp, bytes);
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
