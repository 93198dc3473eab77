// Export of presets with the files they name, and their import on another machine.
// IKvImpExArch is what a preset kind sees while exporting (the options, and adding a file with
// the folder it returns to); IPSOExportDialog is what it tells the export dialog.
//
// CKvZipExport and CKvZipImport are the archive behind it: a zip file holding
//   manifest.txt                 the first line "KVRCOLOR preset archive 1", then one line per
//                                file, fields separated by tabs:
//                                  preset  <extension>  <name>  <entry>
//                                  profile <destination number>  <entry>
//   preset/<name>.<extension>    the preset file
//   profiles/<destination>/<file name>   each profile
// Import puts every profile into its folder below the base path and the preset into its store
// folder. It reads and checks the whole archive before it writes anything.
#pragma once

#include <functional>
#include <string>
#include <vector>

class IKvImpExArch {
public:
    // The folder below the base path to which a file returns on import.
    enum enmImpDest : int {
        ImpDestNone = 0,
        ImpDestInputRgb = 2,
        ImpDestInputCmyk = 3,
        ImpDestInputLab = 4,
        ImpDestPrinter = 7,
        ImpDestPrinterRgb = 8,
        ImpDestInputGray = 9,
    };
    struct SExportOptions {
        int bExportProfiles = 1;   // add the profiles that the preset names
        int bAskBeforeReplace = 1; // on import, ask before replacing a file with other content
    };

    virtual ~IKvImpExArch() = default;
    virtual void GetExportOptions(SExportOptions& options) = 0;
    // `path` is a full path, or a bare file name that lies in the destination's folder.
    virtual int AddFile(enmImpDest dest, const wchar_t* path) = 0;

    // The folder of a destination below the base path; null for a value without one.
    static const wchar_t* DestFolder(int dest);
};

class IPSOExportDialog {
public:
    virtual ~IPSOExportDialog() = default;
    // Whether the preset names any profile that could go with it.
    virtual void SetHasProfilesToExport(int flag) = 0;
};

class CKvZipExport : public IKvImpExArch {
public:
    struct SFile {
        enmImpDest dest;
        std::wstring path; // full path
    };

    explicit CKvZipExport(std::wstring basePath, SExportOptions options = {});

    void GetExportOptions(SExportOptions& options) override { options = m_options; }
    int AddFile(enmImpDest dest, const wchar_t* path) override;

    // The preset itself: its store extension, its name and its XML text.
    void SetPreset(std::wstring extension, std::wstring name, std::wstring xml);

    const std::vector<SFile>& Files() const { return m_files; }
    // Files that were added but do not exist; Write leaves them out.
    const std::vector<std::wstring>& Missing() const { return m_missing; }

    // Writes the archive (replacing `zipPath` only once it is complete). 0 with GetLastError().
    int Write(const wchar_t* zipPath);
    const std::wstring& GetLastError() const { return m_error; }

private:
    std::wstring m_basePath;
    SExportOptions m_options;
    std::wstring m_extension, m_name, m_xml;
    std::vector<SFile> m_files;
    std::vector<std::wstring> m_missing;
    std::wstring m_error;
};

class CKvZipImport {
public:
    // Limits against archives that are not ours: an ICC profile is rarely above a few megabytes.
    static constexpr size_t kMaxEntries = 256;
    static constexpr size_t kMaxEntryBytes = 64u << 20;
    static constexpr size_t kMaxTotalBytes = 256u << 20;
    static constexpr size_t kMaxManifestBytes = 64u << 10;

    struct SProfile {
        int dest;
        std::wstring fileName;
        std::string bytes;
    };

    // Reads and checks the whole archive: a readable zip, safe entry names, sizes within the
    // limits, a manifest whose every line is well formed and names an entry that is there.
    // 0 with GetLastError() for anything else; nothing is kept then.
    int Open(const wchar_t* zipPath);

    const std::wstring& PresetExtension() const { return m_extension; }
    const std::wstring& PresetName() const { return m_name; }
    const std::wstring& PresetXml() const { return m_xml; }
    const std::vector<SProfile>& Profiles() const { return m_profiles; }

    // Asked with the target path before a file with other content is replaced; false keeps the
    // file there and skips the one from the archive.
    using ConfirmReplace = std::function<bool(const std::wstring& path)>;
    // Writes each profile into its folder below `basePath` and the preset as
    // "<name>.<extension>" into `presetFolder`. Files with equal content are left as they are.
    // All files are written beside their targets first and renamed over them only when every one
    // was written. 0 with GetLastError() on failure.
    int Import(const std::wstring& basePath, const std::wstring& presetFolder,
               const ConfirmReplace& confirm);
    // The files Import wrote and those it skipped because `confirm` said no.
    const std::vector<std::wstring>& Written() const { return m_written; }
    const std::vector<std::wstring>& Kept() const { return m_kept; }

    const std::wstring& GetLastError() const { return m_error; }

    // Whether an entry name stays inside the archive's folder when extracted: relative, '/'
    // separators only, no empty, "." or ".." part, no control characters.
    static bool IsSafeEntryName(const std::string& name);

private:
    std::wstring m_extension, m_name, m_xml;
    std::vector<SProfile> m_profiles;
    std::vector<std::wstring> m_written, m_kept;
    std::wstring m_error;
};
