#include <gtest/gtest.h>

#include <stdlib.h>

#include <algorithm>
#include <fstream>
#include <iterator>

#include "support/Files.h"
#include "support/TempDir.h"
#include "support/TestData.h"

namespace fs = std::filesystem;

namespace kvrtest {

// ---------------------------------------------------------------------------------------------
// Temporary folders

TempDir::TempDir(const std::string& prefix) {
    std::string tmpl = (fs::temp_directory_path() / (prefix + "-XXXXXX")).string();
    if (::mkdtemp(tmpl.data())) m_path = tmpl;
    if (m_path.empty()) ADD_FAILURE() << "cannot make a temporary folder from " << tmpl;
}

TempDir::~TempDir() {
    std::error_code ec;
    if (!m_path.empty()) fs::remove_all(m_path, ec);
}

std::vector<std::string> TempDir::Files() const {
    std::vector<std::string> names;
    for (const auto& e : fs::directory_iterator(m_path)) names.push_back(e.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

// ---------------------------------------------------------------------------------------------
// Files

Bytes ReadBytes(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

bool WriteBytes(const fs::path& path, const Bytes& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
    return bool(out);
}

std::string ReadText(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

bool WriteText(const fs::path& path, const std::string& text) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
    return bool(out);
}

// ---------------------------------------------------------------------------------------------
// Test data

fs::path TestDataDir() {
    return fs::path(KVR_TEST_DATA_DIR);
}

fs::path CorpusDir() {
    return TestDataDir() / "profiles";
}

fs::path CorpusProfile(const std::string& name) {
    return CorpusDir() / name;
}

std::vector<fs::path> CorpusProfiles() {
    std::vector<fs::path> files;
    std::error_code ec;
    for (const auto& e : fs::directory_iterator(CorpusDir(), ec)) {
        if (!e.is_regular_file()) continue;
        std::string ext = e.path().extension().string();
        std::transform(ext.begin(), ext.end(), ext.begin(), ::tolower);
        if (ext == ".icc" || ext == ".icm") files.push_back(e.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::vector<fs::path> InstalledProfiles(const fs::path& root) {
    std::vector<fs::path> files;
    std::error_code ec;
    if (!fs::exists(root, ec)) return files;
    for (const auto& e : fs::recursive_directory_iterator(root, ec)) {
        if (!e.is_regular_file()) continue;
        std::string ext = e.path().extension().string();
        std::transform(ext.begin(), ext.end(), ext.begin(), ::tolower);
        if (ext == ".icc" || ext == ".icm") files.push_back(e.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::vector<fs::path> RealProfiles() {
    std::vector<fs::path> files = InstalledProfiles("/usr/share/color");
    for (fs::path& p : CorpusProfiles()) files.push_back(std::move(p));
    return files;
}

::testing::AssertionResult HaveFile(const fs::path& path, const std::string& howToGet) {
    std::error_code ec;
    if (fs::is_regular_file(path, ec)) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
           << "test data missing: " << path.string() << " (" << howToGet << ")";
}

::testing::AssertionResult HaveCorpusProfile(const std::string& name) {
    return HaveFile(CorpusProfile(name), "part of the repository's profile corpus in " +
                                             CorpusDir().string() + "; restore it with git");
}

} // namespace kvrtest
