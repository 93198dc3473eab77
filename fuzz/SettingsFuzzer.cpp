// Fuzz target: the settings file reader. The input is written as a settings file; every known
// entry is read as text and as a number, a few sections and keys named by the input are read,
// then one value is written back and the file read again, so that the rewrite keeps every
// other line the reader can find.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "base/IniEntries.h"
#include "base/Settings.h"
#include "base/WideString.h"

namespace fs = std::filesystem;

namespace {

// One file per process, written anew for every input and removed when the process ends.
struct SIniFile {
    fs::path path =
        fs::temp_directory_path() / ("kvrfuzz-settings-" + std::to_string(getpid()) + ".ini");
    ~SIniFile() {
        std::error_code ec;
        fs::remove(path, ec);
    }
};
const fs::path& IniPath() {
    static const SIniFile file;
    return file.path;
}

// A short name taken from the input, so that lookups of sections and keys the file really has
// are tried as well as the known ones.
std::wstring NameFrom(const uint8_t* data, size_t size, size_t at) {
    std::string name;
    for (size_t i = at; i < size && name.size() < 12; ++i) {
        const char c = static_cast<char>(data[i]);
        if (c == '\n' || c == '=' || c == ']') break;
        name += c;
    }
    return Utf8ToWide(name);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    {
        std::ofstream out(IniPath(), std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    }
    CIniFile ini(IniPath().wstring());
    for (const _INIENTRY* entry : AllIniEntries()) {
        const std::wstring text = ini.GetString(*entry);
        int value = 0;
        CIniFile::ParseInt(text, value);
        ini.GetInt(*entry);
    }
    for (size_t at : {size_t(0), size / 3, size / 2}) {
        const std::wstring name = NameFrom(data, size, at);
        ini.GetString(name.c_str(), name.c_str(), L"");
        ini.GetInt(name.c_str(), name.c_str(), 0);
    }
    // Writing one entry back must leave every other entry as it was read.
    const _INIENTRY& written = *AllIniEntries().front();
    std::wstring before;
    for (const _INIENTRY* entry : AllIniEntries())
        if (entry != &written) before += ini.GetString(*entry) + L'\n';
    if (ini.PutString(written, L"fuzz")) {
        std::wstring after;
        for (const _INIENTRY* entry : AllIniEntries())
            if (entry != &written) after += ini.GetString(*entry) + L'\n';
        if (before != after) __builtin_trap();
    }
    return 0;
}
