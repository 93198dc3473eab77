#include "base/InstallLayout.h"

#include <dlfcn.h>

#include <cstdlib>
#include <filesystem>

#include "base/WideString.h"

// All three come from the build: the absolute profile folder of the configured prefix, and the
// same folder relative to the library folder and to the program folder of that prefix.
#ifndef KVR_PROFILE_BASE
#define KVR_PROFILE_BASE "/usr/local/share/kvrcolor/profiles"
#endif
#ifndef KVR_PROFILE_BASE_FROM_LIB
#define KVR_PROFILE_BASE_FROM_LIB "../share/kvrcolor/profiles"
#endif
#ifndef KVR_PROFILE_BASE_FROM_BIN
#define KVR_PROFILE_BASE_FROM_BIN "../share/kvrcolor/profiles"
#endif

std::string FolderOfThisModule() {
    Dl_info info{};
    if (!::dladdr(reinterpret_cast<const void*>(&FolderOfThisModule), &info) || !info.dli_fname)
        return {};
    std::error_code ec;
    const auto file = std::filesystem::canonical(info.dli_fname, ec);
    return ec ? std::string() : file.parent_path().string();
}

namespace {
// Whether the file that holds this code is the running program itself.
bool ModuleIsProgram() {
    Dl_info info{};
    if (!::dladdr(reinterpret_cast<const void*>(&FolderOfThisModule), &info) || !info.dli_fname)
        return false;
    std::error_code ec, ec2;
    const auto module = std::filesystem::canonical(info.dli_fname, ec);
    const auto program = std::filesystem::canonical("/proc/self/exe", ec2);
    return !ec && !ec2 && module == program;
}

// The installed folder: beside the library when the tree was moved, else where it was built for.
// This code is either the shared library, in the library folder, or carried by a program (the
// command-line tool), in the program folder: the profiles are found from the one it is in.
std::string InstalledProfileBase() {
    const std::string here = FolderOfThisModule();
    if (!here.empty()) {
        std::error_code ec;
        const bool inProgram = ModuleIsProgram();
        const auto relocated = std::filesystem::weakly_canonical(
            std::filesystem::path(here) /
                (inProgram ? KVR_PROFILE_BASE_FROM_BIN : KVR_PROFILE_BASE_FROM_LIB),
            ec);
        if (!ec && std::filesystem::is_directory(relocated, ec)) return relocated.string();
    }
    return KVR_PROFILE_BASE;
}
} // namespace

std::wstring DefaultProfileBase() {
    // The environment is read at each call, like the settings file; the library's own place
    // does not change while it runs, so that is looked up once.
    if (const char* env = std::getenv("KVR_PROFILE_BASE"); env && *env) return Utf8ToWide(env);
    static const std::wstring installed = Utf8ToWide(InstalledProfileBase());
    return installed;
}
