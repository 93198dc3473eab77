#include "base/InstallLayout.h"

#include <dlfcn.h>

#include <cstdlib>
#include <filesystem>

#include "base/WideString.h"

// Both come from the build: the absolute profile folder of the configured prefix, and the same
// folder relative to the library folder of that prefix.
#ifndef KVR_PROFILE_BASE
#define KVR_PROFILE_BASE "/usr/local/share/kvrcolor/profiles"
#endif
#ifndef KVR_PROFILE_BASE_FROM_LIB
#define KVR_PROFILE_BASE_FROM_LIB "../share/kvrcolor/profiles"
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
// The installed folder: beside the library when the tree was moved, else where it was built for.
std::string InstalledProfileBase() {
    const std::string here = FolderOfThisModule();
    if (!here.empty()) {
        std::error_code ec;
        const auto relocated = std::filesystem::weakly_canonical(
            std::filesystem::path(here) / KVR_PROFILE_BASE_FROM_LIB, ec);
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
