// Text views of a profile file for `dump` and `info`.
#pragma once

#include <string>

class CIccProfileRead;

// The library's dump text of a profile file: header, tag table, then every table entry with
// its description and contents, exactly as the library's dump functions make it (wide text,
// lines ending in CR LF). Throws CliError (profile) naming the file.
std::wstring ProfileDumpText(const std::string& path);

// A short summary: class, spaces, version, description, the header's profile ID and the MD5
// the library computes, media white, intent, tags.
std::string ProfileInfoText(const std::string& path);
// The same of every profile embedded in an image or PDF. Throws CliError (profile) if it has
// none.
std::string EmbeddedProfileInfoText(const std::string& path);

// The description of a loaded profile: the ASCII part of a v2 'desc', the first entry of a v4
// 'mluc', as UTF-8; empty if there is none.
std::string ProfileDescription(CIccProfileRead& profile);
