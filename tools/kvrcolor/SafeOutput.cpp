#include "SafeOutput.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include "CliError.h"

namespace {
// The temporary of the running command, for the signal handler: a fixed buffer, since the
// handler may only call async-signal-safe functions.
char g_pending[PATH_MAX];
volatile std::sig_atomic_t g_hasPending = 0;

extern "C" void RemovePendingAndDie(int sig) {
    if (g_hasPending) ::unlink(g_pending);
    std::signal(sig, SIG_DFL);
    std::raise(sig);
}

void SetPending(const std::string& path) {
    g_hasPending = 0;
    if (path.size() >= sizeof g_pending) return;
    std::memcpy(g_pending, path.c_str(), path.size() + 1);
    g_hasPending = 1;
    static bool installed = false;
    if (!installed) {
        installed = true;
        for (int sig : {SIGINT, SIGTERM, SIGHUP}) std::signal(sig, RemovePendingAndDie);
    }
}

[[noreturn]] void Refuse(const std::string& target, const std::string& why) {
    throw CliError(kExitOutput, target + ": " + why);
}

std::string FolderOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string BaseOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

// What the target resolves to, after the checks: the path to rename over, and the mode the new
// file gets.
struct Resolved {
    std::string final;
    mode_t mode;
};

mode_t NewFileMode() {
    const mode_t mask = ::umask(0); // read without a way to only read it; set back at once
    ::umask(mask);
    return 0666 & ~mask;
}

Resolved Check(const std::string& target, const std::vector<std::string>& inputs) {
    Resolved r{target, NewFileMode()};
    struct stat link {};
    if (::lstat(target.c_str(), &link) != 0) {
        if (errno != ENOENT) Refuse(target, std::strerror(errno));
        return r; // a new file
    }
    struct stat st = link;
    if (S_ISLNK(link.st_mode)) {
        if (::stat(target.c_str(), &st) != 0)
            Refuse(target, "is a symbolic link to a missing file; name the file itself");
        char real[PATH_MAX];
        if (!::realpath(target.c_str(), real)) Refuse(target, std::strerror(errno));
        r.final = real;
    }
    if (!S_ISREG(st.st_mode))
        Refuse(target, S_ISDIR(st.st_mode) ? "is a folder" : "exists and is not a regular file");
    for (const std::string& in : inputs) {
        struct stat is {};
        if (!in.empty() && in != "-" && ::stat(in.c_str(), &is) == 0 && is.st_dev == st.st_dev &&
            is.st_ino == st.st_ino)
            Refuse(target, "is the same file as the input " + in);
    }
    // access() answers yes to root whatever the mode; a file without any write bit is taken as
    // protected for everyone.
    if ((st.st_mode & 0222) == 0 || ::access(r.final.c_str(), W_OK) != 0)
        Refuse(target, "is read-only");
    r.mode = st.st_mode & 07777;
    return r;
}
} // namespace

SafeOutput::Target SafeOutput::CheckTarget(const std::string& target,
                                           const std::vector<std::string>& inputs) {
    if (target == "-") return {target, 0};
    const Resolved r = Check(target, inputs);
    return {r.final, r.mode};
}

SafeOutput::SafeOutput(std::string target, const std::vector<std::string>& inputs)
    : m_target(std::move(target)) {
    if (m_target == "-") {
        if (::isatty(STDOUT_FILENO)) Refuse("-", "standard output is a terminal, not a file");
        m_stdout = true;
        const char* tmp = std::getenv("TMPDIR");
        m_temp = std::string(tmp && *tmp ? tmp : "/tmp") + "/kvrcolor-XXXXXX";
    } else {
        const Resolved r = Check(m_target, inputs);
        m_final = r.final;
        m_temp = FolderOf(m_final) + "/." + BaseOf(m_final) + ".kvrtmp-XXXXXX";
        std::vector<char> name(m_temp.begin(), m_temp.end());
        name.push_back('\0');
        m_fd = ::mkstemp(name.data());
        if (m_fd < 0) Refuse(m_target, std::string("cannot be written: ") + std::strerror(errno));
        m_temp = name.data();
        SetPending(m_temp);
        if (::fchmod(m_fd, r.mode) != 0) {
            const std::string why = std::strerror(errno);
            ::close(m_fd);
            ::unlink(m_temp.c_str());
            g_hasPending = 0;
            Refuse(m_target, "cannot be written: " + why);
        }
        return;
    }
    std::vector<char> name(m_temp.begin(), m_temp.end());
    name.push_back('\0');
    m_fd = ::mkstemp(name.data());
    if (m_fd < 0) Refuse("-", std::string("no temporary file: ") + std::strerror(errno));
    m_temp = name.data();
    SetPending(m_temp);
}

SafeOutput::~SafeOutput() {
    if (m_fd >= 0) ::close(m_fd);
    if (!m_committed) ::unlink(m_temp.c_str());
    g_hasPending = 0;
}

void SafeOutput::Commit() {
    auto fail = [this](const std::string& why) {
        ::unlink(m_temp.c_str());
        g_hasPending = 0;
        Refuse(m_target, "cannot be written: " + why);
    };
    if (m_stdout) {
        const int in = ::open(m_temp.c_str(), O_RDONLY | O_CLOEXEC);
        if (in < 0) fail(std::strerror(errno));
        char buffer[1 << 16];
        for (;;) {
            const ssize_t got = ::read(in, buffer, sizeof buffer);
            if (got == 0) break;
            if (got < 0) {
                if (errno == EINTR) continue;
                ::close(in);
                fail(std::strerror(errno));
            }
            for (ssize_t done = 0; done < got;) {
                const ssize_t put = ::write(STDOUT_FILENO, buffer + done, size_t(got - done));
                if (put < 0 && errno == EINTR) continue;
                if (put <= 0) {
                    ::close(in);
                    fail(std::strerror(errno));
                }
                done += put;
            }
        }
        ::close(in);
        ::unlink(m_temp.c_str());
    } else {
        // On the disk before it takes the target's place, so that a crash leaves the old file
        // or the new one, never a name with missing data.
        const int f = ::open(m_temp.c_str(), O_RDONLY | O_CLOEXEC);
        if (f < 0 || ::fsync(f) != 0) {
            const std::string why = std::strerror(errno);
            if (f >= 0) ::close(f);
            fail(why);
        }
        ::close(f);
        if (std::rename(m_temp.c_str(), m_final.c_str()) != 0) fail(std::strerror(errno));
    }
    m_committed = true;
    g_hasPending = 0;
}
