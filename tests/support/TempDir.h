// A fresh, empty folder below the system's temporary folder for one test, removed with its
// contents when the object goes.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace kvrtest {

class TempDir {
public:
    // `prefix` starts the folder's name, so that a folder left behind tells whose it was.
    explicit TempDir(const std::string& prefix = "kvr-test");
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& path() const { return m_path; }
    std::filesystem::path operator/(const std::string& name) const { return m_path / name; }
    // The same path as text, for interfaces that take strings.
    std::string File(const std::string& name) const { return (m_path / name).string(); }
    // Names of the files in the folder, sorted.
    std::vector<std::string> Files() const;

private:
    std::filesystem::path m_path;
};

} // namespace kvrtest
