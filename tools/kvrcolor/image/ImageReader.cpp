#include "ImageReader.h"

#include <cstring>
#include <filesystem>
#include <fstream>

#include "CliError.h"
#include "SampleCodec.h"

std::unique_ptr<ImageReader> OpenImage(const std::string& path, unsigned page) {
    std::error_code ec;
    if (!std::filesystem::exists(path, ec)) throw CliError(kExitInput, path + ": no such file");
    if (std::filesystem::is_directory(path, ec)) throw CliError(kExitInput, path + ": is a folder");
    std::ifstream in(path, std::ios::binary);
    unsigned char head[8] = {};
    if (!in || !in.read(reinterpret_cast<char*>(head), sizeof head))
        throw CliError(kExitInput, path + ": cannot be read, or too short for an image");
    static const unsigned char png[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    const bool single = std::memcmp(head, png, 8) == 0 || (head[0] == 0xFF && head[1] == 0xD8);
    if (single && page > 0)
        throw CliError(kExitInput, path + ": has one page; page " + std::to_string(page + 1) +
                                       " does not exist");
    if (std::memcmp(head, png, 8) == 0) return OpenPng(path);
    if (head[0] == 0xFF && head[1] == 0xD8 && head[2] == 0xFF) return OpenJpeg(path);
    // Classic and big TIFF, in both byte orders.
    const bool tiff =
        (head[0] == 'I' && head[1] == 'I' && (head[2] == 42 || head[2] == 43) && head[3] == 0) ||
        (head[0] == 'M' && head[1] == 'M' && head[2] == 0 && (head[3] == 42 || head[3] == 43));
    if (tiff) return OpenTiff(path, page);
    throw CliError(kExitInput, path + ": not a TIFF, PNG or JPEG image");
}

namespace {
class Widening : public ImageReader {
public:
    explicit Widening(std::unique_ptr<ImageReader> inner) : m_inner(std::move(inner)) {
        m_info = m_inner->Info();
        m_info.bits = 16;
    }
    void ReadRows(uint32_t rows, void* buffer) override {
        const size_t spp = m_info.samplesPerPixel();
        const size_t n = size_t(rows) * m_info.width * spp;
        m_row.resize(n);
        m_inner->ReadRows(rows, m_row.data());
        auto* out = static_cast<uint16_t*>(buffer);
        for (size_t i = 0; i < n; ++i)
            out[i] = WidenSample(m_row[i], m_info.lab, unsigned(i % spp));
    }

private:
    std::unique_ptr<ImageReader> m_inner;
    std::vector<uint8_t> m_row;
};
} // namespace

std::unique_ptr<ImageReader> WidenTo16(std::unique_ptr<ImageReader> reader) {
    if (reader->Info().bits == 16) return reader;
    return std::make_unique<Widening>(std::move(reader));
}
