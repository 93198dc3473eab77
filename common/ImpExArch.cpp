#include "common/ImpExArch.h"

#include <unistd.h>
#include <zip.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <sstream>

#include "base/PathUtil.h"
#include "base/WideString.h"
#include "common/PreSetObj.h"
#include "common/ProfileFolders.h"
#include "common/XmlCtxt.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kManifestName = "manifest.txt";
constexpr const char* kManifestHeader = "KVRCOLOR preset archive 1";

fs::path P(const std::wstring& path) {
    return fs::path(WideToUtf8(path));
}

bool ReadFile(const fs::path& path, std::string& bytes) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    std::ostringstream buf;
    buf << in.rdbuf();
    bytes = buf.str();
    return !in.bad();
}

std::vector<std::string> SplitTabs(const std::string& line) {
    std::vector<std::string> parts;
    size_t start = 0;
    while (true) {
        size_t tab = line.find('\t', start);
        parts.push_back(
            line.substr(start, tab == std::string::npos ? std::string::npos : tab - start));
        if (tab == std::string::npos) return parts;
        start = tab + 1;
    }
}

std::wstring ZipErrorText(int code) {
    zip_error_t err;
    zip_error_init_with_code(&err, code);
    std::wstring text = Utf8ToWide(zip_error_strerror(&err));
    zip_error_fini(&err);
    return text;
}

struct ZipCloser {
    void operator()(zip_t* z) const { zip_discard(z); }
};
using ZipPtr = std::unique_ptr<zip_t, ZipCloser>;

} // namespace

const wchar_t* IKvImpExArch::DestFolder(int dest) {
    switch (dest) {
    case ImpDestInputRgb:
        return kFolderInputRgb;
    case ImpDestInputCmyk:
        return kFolderInputCmyk;
    case ImpDestInputLab:
        return kFolderInputLab;
    case ImpDestPrinter:
        return kFolderPrinter;
    case ImpDestPrinterRgb:
        return kFolderPrinterRgb;
    case ImpDestInputGray:
        return kFolderInputGray;
    default:
        return nullptr;
    }
}

// ---------------------------------------------------------------------------------------------

CKvZipExport::CKvZipExport(std::wstring basePath, SExportOptions options)
    : m_basePath(std::move(basePath)), m_options(options) {}

int CKvZipExport::AddFile(enmImpDest dest, const wchar_t* path) {
    const wchar_t* folder = DestFolder(dest);
    const std::wstring name = SplitFileName(path ? path : L"");
    if (!folder || name.empty()) return 0;
    // A bare name lies in the destination's own folder.
    std::wstring full = SplitPathName(path).empty()
                            ? BuildFileName(BuildFileName(m_basePath.c_str(), folder), name)
                            : std::wstring(path);
    for (const SFile& f : m_files)
        if (f.dest == dest && SplitFileName(f.path) == name) return 1; // named twice: once
    std::error_code ec;
    if (!fs::is_regular_file(P(full), ec)) {
        m_missing.push_back(full);
        return 0;
    }
    m_files.push_back({dest, full});
    return 1;
}

void CKvZipExport::SetPreset(std::wstring extension, std::wstring name, std::wstring xml) {
    m_extension = std::move(extension);
    m_name = std::move(name);
    m_xml = std::move(xml);
}

int CKvZipExport::Write(const wchar_t* zipPath) {
    m_error.clear();
    if (!CPreSetObjStoreFile::IsValidItemName(m_name.c_str()) ||
        !CPreSetObjStoreFile::IsValidItemName(m_extension.c_str())) {
        m_error = L"no preset to export";
        return 0;
    }
    // Everything in memory first: the sources of libzip must live until the archive is closed.
    std::vector<std::pair<std::string, std::string>> entries; // name, bytes
    std::string manifest = std::string(kManifestHeader) + "\n";
    const std::string presetEntry = "preset/" + WideToUtf8(m_name) + "." + WideToUtf8(m_extension);
    manifest += "preset\t" + WideToUtf8(m_extension) + "\t" + WideToUtf8(m_name) + "\t" +
                presetEntry + "\n";
    entries.emplace_back(presetEntry, WideToUtf8(m_xml));
    for (const SFile& f : m_files) {
        std::string bytes;
        if (!ReadFile(P(f.path), bytes)) {
            m_error = L"cannot read " + f.path;
            return 0;
        }
        const std::string entry = "profiles/" + std::to_string(static_cast<int>(f.dest)) + "/" +
                                  WideToUtf8(SplitFileName(f.path));
        manifest += "profile\t" + std::to_string(static_cast<int>(f.dest)) + "\t" + entry + "\n";
        entries.emplace_back(entry, std::move(bytes));
    }
    entries.emplace(entries.begin(), kManifestName, manifest);

    const fs::path target = P(zipPath ? zipPath : L"");
    fs::path temp = target;
    temp += ".tmp" + std::to_string(getpid());
    std::error_code ec;
    fs::remove(temp, ec);
    int code = 0;
    ZipPtr zip(zip_open(temp.c_str(), ZIP_CREATE | ZIP_EXCL, &code));
    if (!zip) {
        m_error = L"cannot write " + Utf8ToWide(target.string()) + L": " + ZipErrorText(code);
        return 0;
    }
    for (const auto& [name, bytes] : entries) {
        zip_source_t* src = zip_source_buffer(zip.get(), bytes.data(), bytes.size(), 0);
        if (!src || zip_file_add(zip.get(), name.c_str(), src, ZIP_FL_ENC_UTF_8) < 0) {
            if (src) zip_source_free(src);
            m_error = L"cannot add " + Utf8ToWide(name) + L" to the archive";
            return 0;
        }
    }
    if (zip_close(zip.get()) != 0) {
        m_error = L"cannot write " + Utf8ToWide(target.string()) + L": " +
                  Utf8ToWide(zip_strerror(zip.get()));
        fs::remove(temp, ec);
        return 0;
    }
    zip.release(); // closed
    fs::rename(temp, target, ec);
    if (ec) {
        fs::remove(temp, ec);
        m_error = L"cannot write " + Utf8ToWide(target.string());
        return 0;
    }
    return 1;
}

// ---------------------------------------------------------------------------------------------

bool CKvZipImport::IsSafeEntryName(const std::string& name) {
    if (name.empty() || name.front() == '/') return false;
    for (unsigned char c : name)
        if (c < 0x20 || c == 0x7f || c == '\\' || c == ':') return false;
    size_t start = 0;
    while (start <= name.size()) {
        size_t slash = name.find('/', start);
        if (slash == std::string::npos) slash = name.size();
        const std::string part = name.substr(start, slash - start);
        if (part.empty() || part == "." || part == "..") return false;
        start = slash + 1;
    }
    return true;
}

int CKvZipImport::Open(const wchar_t* zipPath) {
    m_extension.clear();
    m_name.clear();
    m_xml.clear();
    m_profiles.clear();
    m_error.clear();
    const std::wstring where = zipPath ? zipPath : L"";
    auto fail = [&](const std::wstring& why) {
        m_error = where + L": " + why;
        m_extension.clear();
        m_name.clear();
        m_xml.clear();
        m_profiles.clear();
        return 0;
    };

    int code = 0;
    ZipPtr zip(zip_open(WideToUtf8(where).c_str(), ZIP_RDONLY | ZIP_CHECKCONS, &code));
    if (!zip) return fail(L"not a readable zip archive (" + ZipErrorText(code) + L")");
    const zip_int64_t count = zip_get_num_entries(zip.get(), 0);
    if (count < 0 || static_cast<size_t>(count) > kMaxEntries)
        return fail(L"more than " + std::to_wstring(kMaxEntries) + L" entries");

    // Every entry's name first: an archive with one unsafe name is refused as a whole.
    std::map<std::string, zip_uint64_t> index;
    for (zip_int64_t i = 0; i < count; ++i) {
        const char* name = zip_get_name(zip.get(), static_cast<zip_uint64_t>(i), 0);
        if (!name) return fail(L"entry without a name");
        if (!IsSafeEntryName(name))
            return fail(L"entry \"" + Utf8ToWide(name) + L"\" would leave its folder");
        index[name] = static_cast<zip_uint64_t>(i);
    }

    size_t total = 0;
    // Reads an entry, never more than the limits allow, whatever its header says.
    auto read = [&](const std::string& name, size_t limit, std::string& bytes) -> std::wstring {
        auto it = index.find(name);
        if (it == index.end())
            return L"the manifest names \"" + Utf8ToWide(name) +
                   L"\", which the archive does not hold";
        zip_stat_t st;
        zip_stat_init(&st);
        if (zip_stat_index(zip.get(), it->second, 0, &st) == 0 && (st.valid & ZIP_STAT_SIZE) &&
            (st.size > limit || total + st.size > kMaxTotalBytes))
            return L"\"" + Utf8ToWide(name) + L"\" unpacks to more than allowed";
        zip_file_t* f = zip_fopen_index(zip.get(), it->second, 0);
        if (!f)
            return L"cannot read \"" + Utf8ToWide(name) + L"\": " +
                   Utf8ToWide(zip_strerror(zip.get()));
        bytes.clear();
        std::wstring why;
        char buf[65536];
        while (true) {
            zip_int64_t n = zip_fread(f, buf, sizeof buf);
            if (n < 0) {
                why = L"\"" + Utf8ToWide(name) + L"\" is damaged: " +
                      Utf8ToWide(zip_file_strerror(f));
                break;
            }
            if (n == 0) break;
            bytes.append(buf, static_cast<size_t>(n));
            if (bytes.size() > limit || total + bytes.size() > kMaxTotalBytes) {
                why = L"\"" + Utf8ToWide(name) + L"\" unpacks to more than allowed";
                break;
            }
        }
        zip_fclose(f);
        if (why.empty()) total += bytes.size();
        return why;
    };

    std::string manifest;
    if (!index.count(kManifestName)) return fail(L"no manifest.txt: not a preset archive");
    if (std::wstring why = read(kManifestName, kMaxManifestBytes, manifest); !why.empty())
        return fail(why);

    std::istringstream lines(manifest);
    std::string line;
    if (!std::getline(lines, line) || line != kManifestHeader)
        return fail(L"manifest.txt does not start with \"" + Utf8ToWide(kManifestHeader) + L"\"");
    bool havePreset = false;
    std::set<std::pair<int, std::wstring>> seen;
    for (int number = 2; std::getline(lines, line); ++number) {
        if (line.empty()) continue;
        const std::vector<std::string> f = SplitTabs(line);
        const std::wstring at = L"manifest line " + std::to_wstring(number) + L": ";
        if (f[0] == "preset" && f.size() == 4) {
            if (havePreset) return fail(at + L"a second preset");
            const std::wstring ext = Utf8ToWide(f[1]), name = Utf8ToWide(f[2]);
            if (!CPreSetObjStoreFile::IsValidItemName(ext.c_str()) ||
                !CPreSetObjStoreFile::IsValidItemName(name.c_str()))
                return fail(at + L"not a valid preset name");
            std::string xml;
            if (std::wstring why = read(f[3], CXmlCtxt::kMaxXmlBytes, xml); !why.empty())
                return fail(why);
            m_extension = ext;
            m_name = name;
            m_xml = Utf8ToWide(xml);
            havePreset = true;
        } else if (f[0] == "profile" && f.size() == 3) {
            int dest = 0;
            try {
                dest = std::stoi(f[1]);
            } catch (...) {
                dest = 0;
            }
            if (!IKvImpExArch::DestFolder(dest)) return fail(at + L"unknown destination");
            const std::wstring fileName = Utf8ToWide(fs::path(f[2]).filename().string());
            if (!CPreSetObjStoreFile::IsValidItemName(fileName.c_str()))
                return fail(at + L"not a valid file name");
            if (!seen.insert({dest, fileName}).second) return fail(at + L"the same file twice");
            SProfile p{dest, fileName, {}};
            if (std::wstring why = read(f[2], kMaxEntryBytes, p.bytes); !why.empty())
                return fail(why);
            m_profiles.push_back(std::move(p));
        } else {
            return fail(at + L"not understood");
        }
    }
    if (!havePreset) return fail(L"the manifest names no preset");
    return 1;
}

int CKvZipImport::Import(const std::wstring& basePath, const std::wstring& presetFolder,
                         const ConfirmReplace& confirm) {
    m_written.clear();
    m_kept.clear();
    m_error.clear();
    if (m_name.empty()) {
        m_error = L"no archive opened";
        return 0;
    }
    struct Target {
        fs::path path;
        const std::string* bytes;
        std::string own; // the preset text, as UTF-8
    };
    std::vector<Target> targets;
    for (const SProfile& p : m_profiles) {
        const std::wstring folder =
            BuildFileName(basePath.c_str(), IKvImpExArch::DestFolder(p.dest));
        targets.push_back({P(BuildFileName(folder, p.fileName)), &p.bytes, {}});
    }
    targets.push_back(
        {P(BuildFileName(presetFolder, m_name + L"." + m_extension)), nullptr, WideToUtf8(m_xml)});
    for (Target& t : targets)
        if (!t.bytes) t.bytes = &t.own;

    // Decide first, then write beside each target, then rename them all.
    std::vector<Target*> todo;
    for (Target& t : targets) {
        std::error_code ec;
        if (fs::exists(t.path, ec)) {
            std::string old;
            if (ReadFile(t.path, old) && old == *t.bytes) continue; // already there
            if (confirm && !confirm(Utf8ToWide(t.path.string()))) {
                m_kept.push_back(Utf8ToWide(t.path.string()));
                continue;
            }
        }
        todo.push_back(&t);
    }
    std::vector<fs::path> temps;
    auto cleanup = [&] {
        std::error_code ec;
        for (const fs::path& t : temps) fs::remove(t, ec);
    };
    for (Target* t : todo) {
        std::error_code ec;
        fs::create_directories(t->path.parent_path(), ec);
        fs::path temp = t->path;
        temp += ".tmp" + std::to_string(getpid());
        std::ofstream out(temp, std::ios::binary | std::ios::trunc);
        out << *t->bytes;
        out.flush();
        temps.push_back(temp);
        if (!out) {
            cleanup();
            m_error = L"cannot write " + Utf8ToWide(t->path.string());
            return 0;
        }
    }
    for (size_t i = 0; i < todo.size(); ++i) {
        std::error_code ec;
        fs::rename(temps[i], todo[i]->path, ec);
        if (ec) {
            cleanup();
            m_error = L"cannot write " + Utf8ToWide(todo[i]->path.string());
            return 0;
        }
        m_written.push_back(Utf8ToWide(todo[i]->path.string()));
    }
    return 1;
}
