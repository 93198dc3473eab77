#include "FullProgram.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#ifndef KVR_FULL_PROGRAM_FROM_BIN
#define KVR_FULL_PROGRAM_FROM_BIN "../libexec/kvrcolor"
#endif

namespace {
constexpr const char* kFullProgramName = "kvrcolor-full";
}

std::string FullProgramPath() {
    std::error_code ec;
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", ec);
    if (ec) return {};
    const std::filesystem::path dir = self.parent_path();
    for (const std::filesystem::path& candidate :
         {dir / KVR_FULL_PROGRAM_FROM_BIN / kFullProgramName, dir / kFullProgramName})
        if (std::filesystem::is_regular_file(candidate, ec) &&
            ::access(candidate.c_str(), X_OK) == 0)
            return candidate.lexically_normal().string();
    return {};
}

std::string ExecFullProgram(char** argv) {
    const std::string path = FullProgramPath();
    if (path.empty())
        return std::string(kFullProgramName) + " is neither beside this program nor in " +
               KVR_FULL_PROGRAM_FROM_BIN + " from its folder";
    std::fflush(stdout);
    std::fflush(stderr);
    ::execv(path.c_str(), argv);
    return path + ": cannot be run (" + std::strerror(errno) + ")";
}
