#include "ImageReader.h"

#include <cstring>
#include <filesystem>
#include <fstream>

#include "CliError.h"

std::unique_ptr<ImageReader> OpenImage(const std::string& path) {
    std::error_code ec;
    if (!std::filesystem::exists(path, ec)) throw CliError(kExitInput, path + ": no such file");
    if (std::filesystem::is_directory(path, ec)) throw CliError(kExitInput, path + ": is a folder");
    std::ifstream in(path, std::ios::binary);
    unsigned char head[8] = {};
    if (!in || !in.read(reinterpret_cast<char*>(head), sizeof head))
        throw CliError(kExitInput, path + ": cannot be read, or too short for an image");
    static const unsigned char png[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    if (std::memcmp(head, png, 8) == 0) return OpenPng(path);
    // Classic and big TIFF, in both byte orders.
    const bool tiff =
        (head[0] == 'I' && head[1] == 'I' && (head[2] == 42 || head[2] == 43) && head[3] == 0) ||
        (head[0] == 'M' && head[1] == 'M' && head[2] == 0 && (head[3] == 42 || head[3] == 43));
    if (tiff) return OpenTiff(path);
    throw CliError(kExitInput, path + ": neither a TIFF nor a PNG image");
}
