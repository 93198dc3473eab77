// Settings in INI files, read afresh on every call so that a change on disk takes effect at the
// next use without a restart of the RIP.
//
// File syntax: "[Section]" lines, "key=value" lines, whole-line comments starting with ';' or
// '#', UTF-8 (a byte-order mark is skipped). Section and key names compare case-insensitively
// (ASCII letters), whitespace around names and values is trimmed, and a value enclosed in double
// quotes keeps the text between them as it stands. When a key occurs twice in a section the
// first one counts.
#pragma once

#include <string>
#include <utility>

#include "base/IniEntries.h"

// The settings file used when no path is given: $KVR_INI if set, else
// $XDG_CONFIG_HOME/kvrcolor/kvrcolor.ini, else ~/.config/kvrcolor/kvrcolor.ini. Evaluated anew on
// each call, so a changed environment takes effect at the next read.
std::wstring DefaultIniPath();

class CIniFile {
public:
    // An empty path stands for DefaultIniPath(), looked up again at each access.
    CIniFile() = default;
    explicit CIniFile(std::wstring path) : m_path(std::move(path)) {}
    virtual ~CIniFile() = default;

    // The entry's value, or its default when the file or the key is missing. A key present with
    // an empty value gives the empty string: the user may blank out a default.
    std::wstring GetString(const _INIENTRY& entry) const;
    // The value as a decimal integer; a missing or non-numeric value gives the default's number
    // (0 if the default is not a number either).
    int GetInt(const _INIENTRY& entry) const;

    // The same for a key read from any section, as the interpreter defaults are.
    std::wstring GetString(const wchar_t* section, const wchar_t* key, const wchar_t* def) const;
    int GetInt(const wchar_t* section, const wchar_t* key, int def) const;

    // Rewrite the file with the new value, keeping every other line, comment and key as it
    // stands; create the file and its folder when missing. False if the file can't be written.
    // Line breaks in the value are replaced by spaces: the format holds one line per key
    // (EncodeCrLf keeps them in a form that survives).
    // Safe beside other writers: the file is written to a temporary file in the same folder and
    // renamed over the old one, under an exclusive flock on "<file>.lock" that also covers the
    // reading of the old content, so two processes changing different keys at once lose neither
    // change.
    bool PutString(const _INIENTRY& entry, const wchar_t* value);
    bool PutInt(const _INIENTRY& entry, int value);
    bool PutString(const wchar_t* section, const wchar_t* key, const wchar_t* value);

    static const wchar_t* Key(const _INIENTRY& entry) { return entry.key; }
    static const wchar_t* Default(const _INIENTRY& entry) { return entry.def; }

    // The file this object reads now.
    std::wstring GetPath() const;

    // Decimal integer with optional sign and surrounding whitespace; false for anything else or
    // a value out of the range of int.
    static bool ParseInt(const std::wstring& text, int& value);

private:
    std::wstring m_path;
};

// The settings of the user, as the colour code reads them. The operations are virtual so that a
// host can answer them from elsewhere.
class CUserSettingsMgr {
public:
    CUserSettingsMgr() = default; // the default settings file
    explicit CUserSettingsMgr(std::wstring iniPath) : m_ini(std::move(iniPath)) {}
    virtual ~CUserSettingsMgr() = default;

    virtual int GetInt(const _INIENTRY& entry) const { return m_ini.GetInt(entry); }
    virtual std::wstring GetString(const _INIENTRY& entry) const { return m_ini.GetString(entry); }
    virtual bool PutString(const _INIENTRY& entry, const wchar_t* value) {
        return m_ini.PutString(entry, value);
    }
    virtual bool PutInt(const _INIENTRY& entry, int value) { return m_ini.PutInt(entry, value); }

    // The monitor profile, a full path as stored in US_MonitorProfile; empty when none is set.
    virtual std::wstring MonitorProfileName() const { return GetString(US_MonitorProfile); }

    const CIniFile& IniFile() const { return m_ini; }

private:
    CIniFile m_ini;
};

// The process-wide settings of the RIP, in the default settings file.
class CRipsIniFile : public CIniFile {
public:
    static CRipsIniFile& Instance();

private:
    CRipsIniFile() = default;
};
