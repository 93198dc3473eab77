#include "pages/ShellFileOps.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string>
#include <system_error>

#include "base/WideString.h"
#include "pages/PageModel.h"
#include "pages/PageServicesScope.h"
#include "pages/PageStrings.h"

namespace fs = std::filesystem;

namespace {

bool WithinShellLimit(const wchar_t* path) {
    return path && *path && std::wstring(path).size() < static_cast<size_t>(kShellMaxPath);
}

fs::path ToPath(const wchar_t* path) {
    return fs::path(WideToUtf8(path));
}

std::wstring ToWide(const fs::path& path) {
    return Utf8ToWide(path.string());
}

// Asks the user through the current services; nobody to ask counts as "no".
bool Ask(unsigned int question, const fs::path& file) {
    IPageServices* services = CurrentPageServices();
    return services && services->Confirm(FormatPageString(question, {ToWide(file)}));
}

// Copies to a temporary file beside the target and renames it over the target, so that a
// failed copy leaves an existing target as it was.
bool CopyReplacing(const fs::path& from, const fs::path& to) {
    std::error_code ec;
    // Hidden, so that a folder's listing never shows a half-written copy.
    const fs::path temp = to.parent_path() /
                          ("." + to.filename().string() + ".kvrcopy-" + std::to_string(::getpid()));
    if (!fs::copy_file(from, temp, fs::copy_options::overwrite_existing, ec)) {
        fs::remove(temp, ec);
        return false;
    }
    fs::rename(temp, to, ec);
    if (ec) {
        fs::remove(temp, ec);
        return false;
    }
    return true;
}

// --- the Trash -------------------------------------------------------------------------------

fs::path TrashFolder() {
    const char* dataHome = std::getenv("XDG_DATA_HOME");
    if (dataHome && *dataHome) return fs::path(dataHome) / "Trash";
    const char* home = std::getenv("HOME");
    if (!home || !*home) return {};
    return fs::path(home) / ".local" / "share" / "Trash";
}

// The escaping of the Trash's Path key: every byte of the UTF-8 path but the unreserved
// characters of a URI and the separator as %XX.
std::string UrlEscapePath(const std::string& path) {
    static const char* const kHex = "0123456789ABCDEF";
    std::string out;
    for (unsigned char c : path) {
        const bool keep = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
                          (c >= '0' && c <= '9') || c == '-' || c == '_' || c == '.' || c == '!' ||
                          c == '~' || c == '*' || c == '\'' || c == '(' || c == ')' || c == '/';
        if (keep) {
            out += static_cast<char>(c);
        } else {
            out += '%';
            out += kHex[c >> 4];
            out += kHex[c & 15];
        }
    }
    return out;
}

std::string LocalTimeStamp() {
    const std::time_t now = std::time(nullptr);
    std::tm tm{};
    localtime_r(&now, &tm);
    char buf[32];
    std::strftime(buf, sizeof buf, "%Y-%m-%dT%H:%M:%S", &tm);
    return buf;
}

// The n-th candidate name in the Trash for `name`: the name itself, then "stem.n.ext".
std::string TrashName(const fs::path& name, int n) {
    if (n == 1) return name.string();
    const std::string stem = name.stem().string();
    const std::string ext = name.extension().string();
    return stem + "." + std::to_string(n) + ext;
}

// Writes the whole text to the open descriptor.
bool WriteAll(int fd, const std::string& text) {
    size_t done = 0;
    while (done < text.size()) {
        const ssize_t n = ::write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

// Moves `source` into the Trash's files folder under `target`; across devices by copy and
// removal.
bool MoveInto(const fs::path& source, const fs::path& target) {
    std::error_code ec;
    fs::rename(source, target, ec);
    if (!ec) return true;
    if (ec != std::errc::cross_device_link) return false;
    fs::copy(source, target, fs::copy_options::recursive | fs::copy_options::copy_symlinks, ec);
    if (ec) {
        fs::remove_all(target, ec);
        return false;
    }
    fs::remove_all(source, ec);
    return !ec;
}

bool MoveToTrash(const fs::path& absolute) {
    const fs::path trash = TrashFolder();
    if (trash.empty()) return false;
    std::error_code ec;
    fs::create_directories(trash / "files", ec);
    fs::create_directories(trash / "info", ec);
    if (!fs::is_directory(trash / "files") || !fs::is_directory(trash / "info")) return false;
    fs::permissions(trash, fs::perms::owner_all, fs::perm_options::replace, ec);

    const std::string info = "[Trash Info]\nPath=" + UrlEscapePath(absolute.string()) +
                             "\nDeletionDate=" + LocalTimeStamp() + "\n";
    // The info file, created exclusively, reserves the name; a name in use in either folder
    // moves on to the next one.
    for (int n = 1; n < 10000; ++n) {
        const std::string name = TrashName(absolute.filename(), n);
        const fs::path infoPath = trash / "info" / (name + ".trashinfo");
        const fs::path filePath = trash / "files" / name;
        if (fs::exists(fs::symlink_status(filePath, ec))) continue;
        const int fd = ::open(infoPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (fd < 0) {
            if (errno == EEXIST) continue;
            return false;
        }
        const bool written = WriteAll(fd, info);
        const bool closed = ::close(fd) == 0;
        if (written && closed && MoveInto(absolute, filePath)) return true;
        fs::remove(infoPath, ec);
        return false;
    }
    return false;
}

} // namespace

int ShCopyFile(const wchar_t* from, const wchar_t* to, int noConfirm) {
    if (!WithinShellLimit(from) || !WithinShellLimit(to)) return 0;
    const fs::path source = ToPath(from);
    std::error_code ec;
    if (!fs::is_regular_file(source, ec)) return 0;
    fs::path target = ToPath(to);
    if (fs::is_directory(target, ec)) target /= source.filename();
    if (ToWide(target).size() >= static_cast<size_t>(kShellMaxPath)) return 0;
    if (fs::exists(target, ec)) {
        if (fs::equivalent(source, target, ec)) return 0;
        if (!noConfirm && !Ask(IDS_CONFIRM_REPLACE, target)) return 0;
    }
    return CopyReplacing(source, target) ? 1 : 0;
}

int ShDeleteFile(const wchar_t* path, int noConfirm) {
    if (!WithinShellLimit(path)) return 0;
    std::error_code ec;
    const fs::path absolute = fs::absolute(ToPath(path), ec).lexically_normal();
    if (ec || !fs::exists(fs::symlink_status(absolute, ec))) return 0;
    if (!noConfirm && !Ask(IDS_CONFIRM_TRASH, absolute)) return 0;
    return MoveToTrash(absolute) ? 1 : 0;
}
