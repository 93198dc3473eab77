// The ICC profiles that a document or an image carries: found, described, and written out to
// files of their own. PDF files are read with qpdf, and their profile streams copied by the
// library's ReadPdfProfileData where it takes them; TIFF, PNG and JPEG files with their own
// libraries.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// One profile of a file, as --list shows it.
struct EmbeddedProfileEntry {
    std::string where;     // "page 2, object 14", "output intent, object 5", "JPEG APP2 (3 chunks)"
    unsigned channels = 0; // the PDF's /N; for images the profile's colour space; 0 unknown
    std::string how;       // how it is taken out: "copied" or why another way is used
};

class EmbeddedProfiles {
public:
    virtual ~EmbeddedProfiles() = default;
    const std::vector<EmbeddedProfileEntry>& Entries() const { return m_entries; }
    const std::string& Path() const { return m_path; }

    // The profile's bytes. Throws CliError (input) when they cannot be had: a stream that does
    // not decode, or one that decodes to more than any profile holds.
    virtual std::vector<uint8_t> Bytes(size_t index) = 0;
    // Writes the profile to `outPath`, which appears only once it is complete. Throws CliError:
    // input as for Bytes, output when the file cannot be written.
    virtual void Write(size_t index, const std::string& outPath);

protected:
    explicit EmbeddedProfiles(std::string path) : m_path(std::move(path)) {}
    std::string m_path;
    std::vector<EmbeddedProfileEntry> m_entries;
};

// Opens a PDF, TIFF, PNG or JPEG file, told apart by its first bytes, and finds its profiles.
// Throws CliError (input): missing, unreadable, damaged, or none of these formats.
std::unique_ptr<EmbeddedProfiles> OpenEmbeddedProfiles(const std::string& path);

// The readers behind OpenEmbeddedProfiles.
std::unique_ptr<EmbeddedProfiles> OpenPdfProfiles(const std::string& path);
std::unique_ptr<EmbeddedProfiles> OpenTiffProfiles(const std::string& path);
std::unique_ptr<EmbeddedProfiles> OpenPngProfiles(const std::string& path);
std::unique_ptr<EmbeddedProfiles> OpenJpegProfiles(const std::string& path);

// Writes bytes to `outPath` through a temporary that is renamed at the end. Throws CliError
// (output).
// `inputs`: the files read, which the output may not be.
void WriteProfileFile(const std::string& outPath, const std::vector<uint8_t>& bytes,
                      const std::vector<std::string>& inputs);
