#include "TempOutput.h"

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "CliError.h"

namespace {
// The temporary of the running conversion, for the signal handler: a fixed buffer, since the
// handler may only call async-signal-safe functions.
char g_pending[4096];
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
} // namespace

TempOutput::TempOutput(std::string finalPath)
    : m_final(std::move(finalPath)), m_temp(m_final + ".kvrtmp-" + std::to_string(::getpid())) {
    SetPending(m_temp);
}

TempOutput::~TempOutput() {
    if (!m_committed) ::unlink(m_temp.c_str());
    g_hasPending = 0;
}

void TempOutput::Commit() {
    if (std::rename(m_temp.c_str(), m_final.c_str()) != 0) {
        const std::string why = std::strerror(errno);
        ::unlink(m_temp.c_str());
        g_hasPending = 0;
        throw CliError(kExitOutput, m_final + ": cannot be written: " + why);
    }
    m_committed = true;
    g_hasPending = 0;
}
