// Whole-file reading and writing for the tests.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace kvrtest {

using Bytes = std::vector<uint8_t>;

// The file's bytes; empty when it cannot be read.
Bytes ReadBytes(const std::filesystem::path& path);
// Replaces the file with `bytes`; answers whether all of them were written.
bool WriteBytes(const std::filesystem::path& path, const Bytes& bytes);

std::string ReadText(const std::filesystem::path& path);
bool WriteText(const std::filesystem::path& path, const std::string& text);

} // namespace kvrtest
