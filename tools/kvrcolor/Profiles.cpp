#include "Profiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "CliError.h"
#include "ProfileDiagnosis.h"
#include "base/IniEntries.h"
#include "base/Settings.h"
#include "base/WideString.h"
#include "gridtable/GridMemory.h"
#include "icc/IccLayout.h"
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

namespace {
// What the tool knows of a profile file: its facts, and whether the library's reader has
// loaded it whole (rather than its header and tag table alone being found sound).
struct KnownProfile {
    ProfileFacts facts;
    bool whole = false;
};

// A command asks for the same profile several times (the checks of the chain, the source that
// may be a device link, the soft proof's steps), so a file is looked at once while it stays the
// same (the ui server runs long, and its profiles may be replaced meanwhile).
ReadCache<KnownProfile>& KnownProfiles() {
    static ReadCache<KnownProfile> cache(64);
    return cache;
}

void CheckIsFile(const std::string& path) {
    std::error_code ec;
    if (!fs::exists(path, ec)) throw CliError(kExitProfile, path + ": no such profile file");
    if (fs::is_directory(path, ec)) throw CliError(kExitProfile, path + ": is a folder");
}

// An open file descriptor, closed with the object.
class Fd {
public:
    explicit Fd(int fd) : m_fd(fd) {}
    ~Fd() {
        if (m_fd >= 0) ::close(m_fd);
    }
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
    int get() const { return m_fd; }

private:
    int m_fd;
};

// Reads up to `n` bytes at `at`; the count that arrived (short at the end of the file), or -1
// on a read error.
int64_t ReadAt(int fd, uint8_t* to, uint64_t n, uint64_t at) {
    uint64_t done = 0;
    while (done < n) {
        const ssize_t got = ::pread(fd, to + done, size_t(n - done), off_t(at + done));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return -1;
        if (got == 0) break;
        done += uint64_t(got);
    }
    return int64_t(done);
}

uint32_t BigEndian32(const uint8_t* p) {
    return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3];
}

// The header of a regular file whose header and tag table pass the same checks as in the
// library's reader (CIccProfileRead::LoadBody): the profile signature, a data length that
// neither ends inside the table nor passes the range of int, every tag inside the bytes the
// reader takes (as many as the header announces, as far as the file goes), and tag blocks that
// share no byte unless they are one block. Two small reads. Nothing when a check fails or the
// file cannot be read: the caller then loads it whole, for the reader's verdict and message.
std::optional<icHeader> SoundHead(const std::string& path) {
    constexpr uint64_t kHeadBytes = IccLayout::Header::kBytes;
    constexpr uint64_t kEntryBytes = sizeof(icTag);
    const Fd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (fd.get() < 0) return std::nullopt;
    struct stat st {};
    if (::fstat(fd.get(), &st) != 0 || !S_ISREG(st.st_mode)) return std::nullopt;
    uint8_t head[kHeadBytes + 4];
    if (ReadAt(fd.get(), head, sizeof head, 0) != int64_t(sizeof head)) return std::nullopt;
    icHeader header;
    std::memcpy(&header, head, kHeadBytes);
    SwapHeader(&header);
    if (header.magic != icMagicNumber) return std::nullopt;
    const uint32_t count = BigEndian32(head + kHeadBytes);
    if (count == 0) return header;
    const uint64_t tableBytes = kEntryBytes * count;
    const uint64_t dataStart = kHeadBytes + 4 + tableBytes;
    const int64_t dataLength = int64_t(header.size) - int64_t(dataStart);
    if (dataLength < 0 || dataLength > INT_MAX) return std::nullopt;
    const uint64_t arrived = std::min<uint64_t>(header.size, uint64_t(st.st_size));
    if (arrived < dataStart) return std::nullopt;
    std::vector<uint8_t> table(tableBytes);
    if (ReadAt(fd.get(), table.data(), tableBytes, kHeadBytes + 4) != int64_t(tableBytes))
        return std::nullopt;
    std::vector<std::pair<uint32_t, uint32_t>> blocks; // offset, size
    blocks.reserve(count);
    for (uint64_t at = 0; at < tableBytes; at += kEntryBytes) {
        const uint32_t offset = BigEndian32(&table[at + 4]), size = BigEndian32(&table[at + 8]);
        if (offset < dataStart || uint64_t(offset) + size > arrived) return std::nullopt;
        blocks.emplace_back(offset, size);
    }
    std::sort(blocks.begin(), blocks.end());
    blocks.erase(std::unique(blocks.begin(), blocks.end()), blocks.end());
    uint64_t end = 0;
    for (size_t i = 0; i < blocks.size(); ++i) {
        const auto [offset, size] = blocks[i];
        if (i > 0 && blocks[i - 1].first == offset) return std::nullopt; // one offset, two sizes
        if (size != 0 && offset < end) return std::nullopt;              // inside another block
        end = std::max(end, uint64_t(offset) + size);
    }
    return header;
}

ProfileFacts FactsOf(const std::string& path, const icHeader& h) {
    return ProfileFacts{path, h.deviceClass, h.colorSpace, h.pcs, h.version, h};
}
} // namespace

ProfileFacts ReadProfileFacts(const std::string& path) {
    CheckIsFile(path);
    const std::optional<FileStamp> stamp = StampOf(path);
    if (stamp)
        if (std::optional<KnownProfile> known = KnownProfiles().Find(path, *stamp))
            if (known->whole) return known->facts;
    CIccProfileRead profile(&Settings());
    if (!profile.Open(Utf8ToWide(path).c_str())) {
        if (profile.m_nError == kIccErrorAccessDenied)
            throw CliError(kExitProfile, path + ": access denied");
        // The reader says only that it failed; the tool looks for what is the matter.
        throw CliError(kExitProfile,
                       path + ": " + DiagnosisText(ReadFileBytes(path, kExitProfile)));
    }
    ProfileFacts facts = FactsOf(path, profile.Header());
    if (stamp) KnownProfiles().Store(path, *stamp, {facts, true});
    return facts;
}

namespace {
thread_local HeadReads* t_headReads = nullptr;
} // namespace

HeadReads::HeadReads() : m_outer(t_headReads) {
    t_headReads = this;
}

HeadReads::~HeadReads() {
    t_headReads = m_outer;
}

void HeadReads::Add(const std::string& path) {
    if (std::find(m_paths.begin(), m_paths.end(), path) == m_paths.end()) m_paths.push_back(path);
}

void LoadWhole(const std::vector<std::string>& paths) {
    for (const std::string& path : paths) ReadProfileFacts(path);
}

ProfileFacts ReadProfileHead(const std::string& path) {
    CheckIsFile(path);
    const std::optional<FileStamp> stamp = StampOf(path);
    if (stamp)
        if (std::optional<KnownProfile> known = KnownProfiles().Find(path, *stamp)) {
            if (!known->whole && t_headReads) t_headReads->Add(path);
            return known->facts;
        }
    const std::optional<icHeader> head = SoundHead(path);
    if (!head) return ReadProfileFacts(path);
    ProfileFacts facts = FactsOf(path, *head);
    if (stamp) KnownProfiles().Store(path, *stamp, {facts, false});
    if (t_headReads) t_headReads->Add(path);
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

namespace {
// The bytes of the regular file `fd` of `size` bytes, read into memory that is not zero-filled
// first: a large file's buffer is a block of the library's grid memory, whose pages are mapped
// in one call (or reused) rather than faulted in one by one as the read fills them (a printer
// profile is hundreds of pages, on machines where each fault is a costly trap). Nothing when the
// file did not hold `size` bytes to the end (it changed while read); the caller then reads it
// as a stream.
std::optional<SharedBytes> ReadWhole(int fd, uint64_t size, const std::string& path, int code) {
    std::shared_ptr<uint8_t[]> memory = GridMemory::NewSharedArray<uint8_t>(size_t(size));
    const int64_t got = ReadAt(fd, memory.get(), size, 0);
    if (got < 0) throw CliError(code, path + ": read error");
    uint8_t probe;
    if (uint64_t(got) != size || ReadAt(fd, &probe, 1, size) != 0) return std::nullopt;
    return SharedBytes(std::move(memory), size_t(size));
}
} // namespace

SharedBytes ProfileFileBytes(const std::string& path) {
    static ReadCache<SharedBytes> cache(8);
    const std::optional<FileStamp> stamp = StampOf(path);
    if (stamp)
        if (std::optional<SharedBytes> known = cache.Find(path, *stamp)) return *known;
    std::optional<SharedBytes> bytes;
    if (stamp && stamp->size > 0) {
        const Fd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
        if (fd.get() < 0) throw CliError(kExitProfile, path + ": cannot be read");
        bytes = ReadWhole(fd.get(), stamp->size, path, kExitProfile);
    }
    if (!bytes) return SharedBytes(ReadFileBytes(path, kExitProfile));
    // Kept only when the file was not changed while it was read.
    if (StampOf(path) == stamp) cache.Store(path, *stamp, *bytes);
    return *bytes;
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
