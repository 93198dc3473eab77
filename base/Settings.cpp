#include "base/Settings.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <string_view>
#include <vector>

#include "base/InstallLayout.h"
#include "base/WideString.h"

namespace {

namespace fs = std::filesystem;

bool IsSpace(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f';
}

std::string_view Trim(std::string_view s) {
    while (!s.empty() && IsSpace(s.front())) s.remove_prefix(1);
    while (!s.empty() && IsSpace(s.back())) s.remove_suffix(1);
    return s;
}

// Names compare case-insensitively in ASCII only, so that the result doesn't depend on the
// process locale.
bool SameName(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i) {
        char x = a[i], y = b[i];
        if (x >= 'A' && x <= 'Z') x = static_cast<char>(x - 'A' + 'a');
        if (y >= 'A' && y <= 'Z') y = static_cast<char>(y - 'A' + 'a');
        if (x != y) return false;
    }
    return true;
}

fs::path ToPath(const std::wstring& path) {
    return fs::path(WideToUtf8(path));
}

// The whole file, without a leading byte-order mark. False if it can't be opened. One plain
// read loop: settings are looked up on every link a process builds.
bool ReadText(const std::wstring& path, std::string& text) {
    text.clear();
    if (path.empty()) return false;
    const int fd = ::open(ToPath(path).c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    char block[8192];
    for (ssize_t n; (n = ::read(fd, block, sizeof block)) != 0;) {
        if (n < 0) {
            if (errno == EINTR) continue;
            break;
        }
        text.append(block, static_cast<size_t>(n));
    }
    ::close(fd);
    if (text.compare(0, 3, "\xEF\xBB\xBF") == 0) text.erase(0, 3);
    return true;
}

// Calls visit(line) for each line of text, without its '\n'; a '\r' before it stays with the
// line. No line follows a final '\n'. Stops early when visit answers true.
template <class Visit> void ForEachLine(std::string_view text, Visit visit) {
    while (!text.empty()) {
        const size_t end = text.find('\n');
        if (visit(text.substr(0, end))) return;
        text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
    }
}

// The file's lines without their '\n'; a '\r' before it stays with the line. False if the file
// can't be read.
bool ReadLines(const std::wstring& path, std::vector<std::string>& lines, bool& crlf) {
    lines.clear();
    crlf = false;
    std::string text;
    if (!ReadText(path, text)) return false;
    ForEachLine(text, [&](std::string_view line) {
        lines.emplace_back(line);
        return false;
    });
    crlf = !lines.empty() && !lines.front().empty() && lines.front().back() == '\r';
    return true;
}

enum class LineKind { blank, comment, section, key, other };

struct ParsedLine {
    LineKind kind = LineKind::other;
    std::string_view name;  // section or key name
    std::string_view value; // value of a key, unquoted
};

ParsedLine ParseLine(std::string_view raw) {
    ParsedLine p;
    std::string_view line = Trim(raw);
    if (line.empty()) {
        p.kind = LineKind::blank;
    } else if (line.front() == ';' || line.front() == '#') {
        p.kind = LineKind::comment;
    } else if (line.front() == '[') {
        size_t close = line.rfind(']');
        if (close == std::string_view::npos || close == 0) return p;
        p.kind = LineKind::section;
        p.name = Trim(line.substr(1, close - 1));
    } else {
        size_t eq = line.find('=');
        if (eq == std::string_view::npos) return p;
        p.kind = LineKind::key;
        p.name = Trim(line.substr(0, eq));
        p.value = Trim(line.substr(eq + 1));
        if (p.value.size() >= 2 && p.value.front() == '"' && p.value.back() == '"')
            p.value = p.value.substr(1, p.value.size() - 2);
    }
    return p;
}

bool Lookup(const std::wstring& path, const wchar_t* section, const wchar_t* key,
            std::wstring& value) {
    std::string text;
    if (!section || !key || !ReadText(path, text)) return false;
    const std::string sec = WideToUtf8(section), k = WideToUtf8(key);
    bool inSection = false, found = false;
    ForEachLine(text, [&](std::string_view raw) {
        ParsedLine p = ParseLine(raw);
        if (p.kind == LineKind::section) {
            inSection = SameName(p.name, sec);
        } else if (inSection && p.kind == LineKind::key && SameName(p.name, k)) {
            value = Utf8ToWide(p.value);
            found = true;
        }
        return found;
    });
    return found;
}

std::string ValueText(const wchar_t* value) {
    std::string v = WideToUtf8(value ? value : L"");
    for (char& c : v)
        if (c == '\r' || c == '\n') c = ' ';
    // Quotes keep what trimming or unquoting on reading would otherwise change.
    bool needQuotes = !v.empty() && (IsSpace(v.front()) || IsSpace(v.back()) ||
                                     (v.size() >= 2 && v.front() == '"' && v.back() == '"'));
    return needQuotes ? '"' + v + '"' : v;
}

std::mutex g_writeMutex; // one read-modify-write of a settings file at a time in this process

// Holds an exclusive flock on "<settings file>.lock" for one read-modify-write, so that two
// processes changing the same file take turns: each reads the file only once it holds the lock,
// so a change that another process made just before is read and kept. A separate lock file,
// because the settings file itself is replaced by a rename and a lock on it would be lost.
class FileLock {
public:
    explicit FileLock(const fs::path& target) {
        fs::path lockPath = target;
        lockPath += ".lock";
        m_fd = open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
        if (m_fd < 0) return;
        while (flock(m_fd, LOCK_EX) != 0) {
            if (errno != EINTR) {
                close(m_fd);
                m_fd = -1;
                return;
            }
        }
    }
    ~FileLock() {
        if (m_fd >= 0) close(m_fd); // closing releases the lock
    }
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;
    bool Held() const { return m_fd >= 0; }

private:
    int m_fd = -1;
};

} // namespace

std::wstring DefaultIniPath() {
    if (const char* p = std::getenv("KVR_INI"); p && *p) return Utf8ToWide(p);
    // A relative XDG_CONFIG_HOME is invalid by the XDG rules and is ignored.
    if (const char* p = std::getenv("XDG_CONFIG_HOME"); p && *p == '/')
        return Utf8ToWide(std::string(p) + "/kvrcolor/kvrcolor.ini");
    std::string home;
    if (const char* p = std::getenv("HOME"); p && *p) {
        home = p;
    } else {
        long size = sysconf(_SC_GETPW_R_SIZE_MAX);
        std::vector<char> buf(size > 0 ? static_cast<size_t>(size) : 16384);
        passwd pw{};
        passwd* result = nullptr;
        if (getpwuid_r(getuid(), &pw, buf.data(), buf.size(), &result) == 0 && result &&
            result->pw_dir)
            home = result->pw_dir;
    }
    if (home.empty()) return std::wstring(); // nowhere to look: every read gives the defaults
    return Utf8ToWide(home + "/.config/kvrcolor/kvrcolor.ini");
}

std::wstring CIniFile::GetPath() const {
    return m_path.empty() ? DefaultIniPath() : m_path;
}

bool CIniFile::ParseInt(const std::wstring& text, int& value) {
    size_t i = 0, n = text.size();
    auto space = [](wchar_t c) { return c == L' ' || c == L'\t' || c == L'\r' || c == L'\n'; };
    while (i < n && space(text[i])) ++i;
    while (n > i && space(text[n - 1])) --n;
    bool negative = false;
    if (i < n && (text[i] == L'+' || text[i] == L'-')) negative = text[i++] == L'-';
    if (i == n) return false;
    long long v = 0;
    for (; i < n; ++i) {
        if (text[i] < L'0' || text[i] > L'9') return false;
        v = v * 10 + (text[i] - L'0');
        if (v > static_cast<long long>(INT_MAX) + 1) return false;
    }
    if (negative) v = -v;
    if (v < INT_MIN || v > INT_MAX) return false;
    value = static_cast<int>(v);
    return true;
}

std::wstring CIniFile::GetString(const wchar_t* section, const wchar_t* key,
                                 const wchar_t* def) const {
    std::wstring value;
    if (Lookup(GetPath(), section, key, value)) return value;
    return def ? def : L"";
}

int CIniFile::GetInt(const wchar_t* section, const wchar_t* key, int def) const {
    std::wstring text;
    int value;
    if (Lookup(GetPath(), section, key, text) && ParseInt(text, value)) return value;
    return def;
}

std::wstring CIniFile::GetString(const _INIENTRY& entry) const {
    // The profile folder's default depends on where the library is installed, so it is found at
    // run time rather than written into the entry.
    if (&entry == &IniCpBasePath)
        return GetString(entry.section, entry.key, DefaultProfileBase().c_str());
    return GetString(entry.section, entry.key, entry.def);
}

int CIniFile::GetInt(const _INIENTRY& entry) const {
    int def = 0;
    if (entry.def && !ParseInt(entry.def, def)) def = 0;
    return GetInt(entry.section, entry.key, def);
}

bool CIniFile::PutString(const _INIENTRY& entry, const wchar_t* value) {
    return PutString(entry.section, entry.key, value);
}

bool CIniFile::PutInt(const _INIENTRY& entry, int value) {
    return PutString(entry.section, entry.key, std::to_wstring(value).c_str());
}

bool CIniFile::PutString(const wchar_t* section, const wchar_t* key, const wchar_t* value) {
    if (!section || !key || !*key) return false;
    const std::wstring path = GetPath();
    if (path.empty()) return false;
    std::lock_guard<std::mutex> lock(g_writeMutex);
    const fs::path target = ToPath(path);
    std::error_code ec;
    if (target.has_parent_path()) fs::create_directories(target.parent_path(), ec);
    FileLock fileLock(target);
    if (!fileLock.Held()) return false; // writing unlocked could lose another process's change

    // Read only now, under the lock: the file as the last writer left it.
    std::vector<std::string> lines;
    bool crlf = false;
    ReadLines(path, lines, crlf); // a missing file starts empty
    const std::string sec = WideToUtf8(section), k = WideToUtf8(key);
    const std::string newLine = k + '=' + ValueText(value) + (crlf ? "\r" : "");

    // Replace the line that a read would find; else add the key to the end of the section's
    // first block, after its last non-blank line; else add the section at the end.
    bool inSection = false, done = false;
    long insertAt = -1; // after this line
    bool firstBlockOpen = false, firstBlockSeen = false;
    for (size_t i = 0; i < lines.size() && !done; ++i) {
        ParsedLine p = ParseLine(lines[i]);
        if (p.kind == LineKind::section) {
            inSection = SameName(p.name, sec);
            firstBlockOpen = inSection && !firstBlockSeen;
            if (firstBlockOpen) {
                firstBlockSeen = true;
                insertAt = static_cast<long>(i);
            }
        } else if (inSection && p.kind == LineKind::key && SameName(p.name, k)) {
            lines[i] = newLine;
            done = true;
        } else if (firstBlockOpen && p.kind != LineKind::blank) {
            insertAt = static_cast<long>(i);
        }
    }
    if (!done) {
        if (insertAt >= 0) {
            lines.insert(lines.begin() + insertAt + 1, newLine);
        } else {
            if (!lines.empty() && !Trim(lines.back()).empty()) lines.emplace_back(crlf ? "\r" : "");
            lines.push_back('[' + sec + ']' + (crlf ? "\r" : ""));
            lines.push_back(newLine);
        }
    }

    // Written beside and renamed over the file, so that a reader never sees half a file.
    fs::path temp = target;
    temp += ".tmp" + std::to_string(getpid());
    {
        std::ofstream out(temp, std::ios::binary | std::ios::trunc);
        if (!out) return false;
        for (const std::string& line : lines) out << line << '\n';
        out.flush();
        if (!out) {
            out.close();
            fs::remove(temp, ec);
            return false;
        }
    }
    fs::perms perms = fs::status(target, ec).permissions();
    if (!ec && perms != fs::perms::unknown) fs::permissions(temp, perms, ec);
    fs::rename(temp, target, ec);
    if (ec) {
        fs::remove(temp, ec);
        return false;
    }
    return true;
}

CRipsIniFile& CRipsIniFile::Instance() {
    static CRipsIniFile instance;
    return instance;
}
