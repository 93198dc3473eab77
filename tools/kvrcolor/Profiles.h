// Profile files as the tool needs them before a link is built: the header facts that decide
// formats and checks, the default profiles below the configured profile folder, and the bytes
// of a file for embedding.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "icc/IccRecords.h"
#include "image/SharedBytes.h"

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
// The same facts from the header and the tag table alone, a few hundred bytes, for the profiles
// of a chain: the link's build loads them whole anyway (BuildLink), and a printer profile of
// megabytes loaded once more only for its header is most of a small conversion. A file whose
// header or table the reader refuses, or that cannot be opened, gets ReadProfileFacts' message.
// One whose table is sound but a tag's contents are not passes here; BuildLink then gives
// ReadProfileFacts' message in place of the link's failure.
ProfileFacts ReadProfileHead(const std::string& path);

// Records, on this thread while it lives, the profiles that ReadProfileHead answered from their
// header and tag table alone, each once, in the order asked; only the innermost recorder.
class HeadReads {
public:
    HeadReads();
    ~HeadReads();
    HeadReads(const HeadReads&) = delete;
    HeadReads& operator=(const HeadReads&) = delete;
    const std::vector<std::string>& Paths() const { return m_paths; }
    void Add(const std::string& path);

private:
    std::vector<std::string> m_paths;
    HeadReads* m_outer;
};

// Loads each of `paths` whole in turn (ReadProfileFacts), for the reader's verdict and message.
void LoadWhole(const std::vector<std::string>& paths);

// Root of the profile folders, IniCpBasePath of the RIP settings, for messages. The default
// profiles below it come from the default-input factories (colorlink/Factories.h).
std::string ProfileBasePath();

// The whole file. Throws CliError(code) naming the file.
std::vector<uint8_t> ReadFileBytes(const std::string& path, int code);
// The whole profile file, read once while it stays the same (its size and time of change) for
// every part of a command that looks into it: the engine's checks, the embedding in the
// output, which share the bytes. Throws CliError(kExitProfile) naming the file.
SharedBytes ProfileFileBytes(const std::string& path);

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
