// Profile files as the tool needs them before a link is built: the header facts that decide
// formats and checks, the default profiles below the configured profile folder, and the bytes
// of a file for embedding.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "icc/IccRecords.h"

class CUserSettingsMgr;

// The settings of the RIP, from the default settings file ($KVR_INI and so on). One object for
// the whole run; the library reads it afresh at each use.
CUserSettingsMgr& Settings();

struct ProfileFacts {
    std::string path;
    uint32_t deviceClass = 0;
    uint32_t colorSpace = 0;
    uint32_t pcs = 0;
    uint32_t version = 0;
    icHeader header{}; // the whole header, for the colour spaces' queries
};

// Opens `path` with the library's reader and answers its header. Throws CliError (profile
// class) naming the file: no such file, not readable, not an ICC profile.
ProfileFacts ReadProfileFacts(const std::string& path);

// Root of the profile folders, IniCpBasePath of the RIP settings, for messages. The default
// profiles below it come from the default-input factories (colorlink/Factories.h).
std::string ProfileBasePath();

// The whole file. Throws CliError(code) naming the file.
std::vector<uint8_t> ReadFileBytes(const std::string& path, int code);
// The whole profile file, read once while it stays the same (its size and time of change) for
// every part of a command that looks into it: the engine's checks, the embedding in the
// output. Throws CliError(kExitProfile) naming the file.
std::shared_ptr<const std::vector<uint8_t>> ProfileFileBytes(const std::string& path);

// A profile held in memory (an embedded one) written to a private temporary file, because the
// link opens its profiles by path. The file is removed with the object.
class TempProfileFile {
public:
    explicit TempProfileFile(const std::vector<uint8_t>& bytes);
    ~TempProfileFile();
    TempProfileFile(const TempProfileFile&) = delete;
    TempProfileFile& operator=(const TempProfileFile&) = delete;
    const std::string& path() const { return m_path; }

private:
    std::string m_path;
};
