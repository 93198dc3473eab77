#include "ProfileText.h"

#include <cstdio>
#include <cstring>
#include <filesystem>

#include "CliError.h"
#include "PixelSpace.h"
#include "Profiles.h"
#include "base/WideString.h"
#include "colorspace/IccColorProfile.h"
#include "colorspace/ProfileQueries.h"
#include "extract/EmbeddedProfiles.h"
#include "icc/IccDump.h"
#include "icc/IccProfile.h"
#include "icc/IccRecords.h"

namespace {

// Opens the profile, with the checks and messages of ReadProfileFacts.
std::unique_ptr<CIccProfileRead> Load(const std::string& path) {
    ReadProfileFacts(path);
    auto profile = std::make_unique<CIccProfileRead>(&Settings());
    if (!profile->Open(Utf8ToWide(path).c_str()))
        throw CliError(kExitProfile, path + ": not an ICC profile (or a damaged one)");
    return profile;
}

const char* ClassName(uint32_t sig) {
    switch (sig) {
    case icSigInputClass:
        return "input device";
    case icSigDisplayClass:
        return "display";
    case icSigOutputClass:
        return "output device";
    case icSigLinkClass:
        return "device link";
    case icSigAbstractClass:
        return "abstract";
    case icSigColorSpaceClass:
        return "colour space";
    case icSigNamedColorClass:
        return "named colours";
    default:
        return "unknown";
    }
}

const char* HeaderIntentName(uint32_t intent) {
    switch (intent) {
    case 0:
        return "perceptual";
    case 1:
        return "relative colorimetric";
    case 2:
        return "saturation";
    case 3:
        return "absolute colorimetric";
    default:
        return "unknown";
    }
}

uint32_t BigEndian32(const uint8_t* p) {
    return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | p[3];
}

// 8-bit text shown as UTF-8 where it is valid UTF-8, else read as Windows-1252.
std::string NarrowText(const char* text, size_t max) {
    const std::string raw(text, strnlen(text, max));
    const std::wstring wide = Utf8ToWide(raw);
    if (WideToUtf8(wide) == raw) return raw;
    return WideToUtf8(CodePageToWide(raw));
}

std::string Line(const char* label, const std::string& value) {
    char head[32];
    std::snprintf(head, sizeof head, "%-18s", label);
    return head + value + "\n";
}

std::string Format(const char* format, double a, double b, double c) {
    char text[96];
    std::snprintf(text, sizeof text, format, a, b, c);
    return text;
}

// What the print side reads from an output profile: the description as its profile record gives
// it (the private description tags win over desc), the ink limit measured on its own B2A tables
// and the header illuminant beside the media white.
// The queries read files: the profile's bytes go through a private temporary file, so that an
// embedded profile is measured like a file.
std::string OutputProfileLines(const std::vector<uint8_t>& bytes) {
    const TempProfileFile file(bytes);
    const std::wstring wide = Utf8ToWide(file.path());
    std::string text;
    CIccColorProfile record;
    if (record.LoadIccFile(wide.c_str(), &Settings()))
        text += Line("Shown as:", WideToUtf8(record.Description()));
    const int inkLimit = GetProfileInkLimit(&Settings(), wide.c_str());
    text += Line("Ink limit:", inkLimit > 0 ? std::to_string(inkLimit) + " % (highest ink sum of "
                                                                         "its B2A tables)"
                                            : std::string("none measured (no B2A table)"));
    double white[3] = {}, illuminant[3] = {};
    GetProfileMediaWhite(&Settings(), wide.c_str(), white, illuminant);
    text += Line("Illuminant:",
                 Format("X %.2f  Y %.2f  Z %.2f", illuminant[0], illuminant[1], illuminant[2]));
    return text;
}
} // namespace

// The description: the ASCII part of a v2 'desc', or the first entry of a v4 'mluc'. The
// reader converts only the type head and the length word of 'desc' to host order and leaves
// 'mluc' as stored (big-endian).
std::string ProfileDescription(CIccProfileRead& profile) {
    icTag tag{};
    uint32_t blockSize = 0;
    const uint32_t* block = profile.FindTagData(icSigProfileDescriptionTag, &tag, &blockSize);
    if (!block || blockSize < 12) return {};
    const auto* bytes = reinterpret_cast<const uint8_t*>(block);
    const size_t size = std::min<size_t>(blockSize, tag.size);
    if (block[0] == MakeIccSignature("desc")) {
        if (size <= 12) return {};
        return NarrowText(reinterpret_cast<const char*>(bytes + 12),
                          std::min<size_t>(block[2], size - 12));
    }
    if (block[0] == MakeIccSignature("mluc") && size >= 28) {
        const uint32_t count = BigEndian32(bytes + 8);
        const uint32_t length = BigEndian32(bytes + 20), offset = BigEndian32(bytes + 24);
        if (count == 0 || offset > size || length > size - offset) return {};
        std::wstring text;
        for (uint32_t i = 0; i + 1 < length; i += 2) {
            uint32_t c = (uint32_t(bytes[offset + i]) << 8) | bytes[offset + i + 1];
            if (c >= 0xD800 && c < 0xDC00 && i + 3 < length) { // surrogate pair
                const uint32_t low = (uint32_t(bytes[offset + i + 2]) << 8) | bytes[offset + i + 3];
                c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
                i += 2;
            }
            if (c == 0) break;
            text += wchar_t(c);
        }
        return WideToUtf8(text);
    }
    return "(description of type " + SigText(block[0]) + ")";
}

std::wstring ProfileDumpText(const std::string& path) {
    auto profile = Load(path);
    std::wstring text = DumpHeader(*profile);
    text += DumpTagTable(*profile);
    for (unsigned i = 0; i < profile->GetCount(); ++i)
        text += DumpTagData(profile->GetTagData(i), profile->Tag(i), profile->GetTagDataSize(i));
    return text;
}

namespace {
// The summary of a loaded profile whose file is `bytes`, under the name `name`.
std::string InfoText(const std::string& name, CIccProfileRead& profileRef,
                     const std::vector<uint8_t>& bytes) {
    CIccProfileRead* profile = &profileRef;
    const icHeader& h = profile->Header();
    std::string text;
    text += Line("File:", name);
    text += Line("Size:", std::to_string(bytes.size()) + " bytes");
    text += Line("Class:", SigText(h.deviceClass) + " (" + ClassName(h.deviceClass) + ")");
    text += Line("Colour space:", SigText(h.colorSpace));
    text += Line("Connection space:", SigText(h.pcs));
    text += Line("Version:", std::to_string(h.version >> 24) + "." +
                                 std::to_string((h.version >> 20) & 0xF) + "." +
                                 std::to_string((h.version >> 16) & 0xF));
    char date[64];
    std::snprintf(date, sizeof date, "%04u-%02u-%02u %02u:%02u:%02u", h.date.year, h.date.month,
                  h.date.day, h.date.hours, h.date.minutes, h.date.seconds);
    text += Line("Created:", date);
    text += Line("Description:", ProfileDescription(*profile));
    // The ID the profile states in its header (bytes 84 to 99; zero when it states none), and
    // the MD5 the library computes when it loads the profile, by which it recognises it.
    std::string id;
    for (size_t i = 84; i < 100 && i < bytes.size(); ++i) {
        char hex[3];
        std::snprintf(hex, sizeof hex, "%02X", bytes[i]);
        id += hex;
    }
    const bool noId = id.find_first_not_of('0') == std::string::npos;
    text += Line("Profile ID:", noId ? "none (zero in the header)" : id + " (from the header)");
    text += Line("MD5:", WideToUtf8(profile->GetProfileMD5String()) + " (computed)");
    icTag wtpt{};
    uint32_t wtptSize = 0;
    const uint32_t* white = profile->FindTagData(icSigMediaWhitePointTag, &wtpt, &wtptSize);
    if (white && wtptSize >= 20 && wtpt.size >= 20) {
        // s15Fixed16 times 100, as the library reports media whites.
        const auto v = [&](int i) { return int32_t(white[2 + i]) * 100.0 / 65536.0; };
        text += Line("Media white:", Format("X %.2f  Y %.2f  Z %.2f", v(0), v(1), v(2)));
    } else {
        text += Line("Media white:", "none");
    }
    if (h.deviceClass == icSigOutputClass) text += OutputProfileLines(bytes);
    text += Line("Rendering intent:", std::to_string(h.renderingIntent) + " (" +
                                          HeaderIntentName(h.renderingIntent) + ")");
    text += Line("Tags:", std::to_string(profile->GetCount()));
    for (unsigned i = 0; i < profile->GetCount(); ++i) {
        const icTag& tag = profile->Tag(i);
        const uint32_t* block = profile->GetTagData(i);
        const std::string type =
            block && profile->GetTagDataSize(i) >= 4 ? SigText(block[0]) : std::string("?");
        char row[96];
        std::snprintf(row, sizeof row, "  %-4s  %-4s  %10u bytes  at %u\n",
                      SigText(tag.sig).c_str(), type.c_str(), tag.size, tag.offset);
        text += row;
    }
    return text;
}
} // namespace

std::string ProfileInfoText(const std::string& path) {
    auto profile = Load(path);
    return InfoText(path, *profile, ReadFileBytes(path, kExitProfile));
}

std::string EmbeddedProfileInfoText(const std::string& path) {
    auto found = OpenEmbeddedProfiles(path);
    if (found->Entries().empty()) throw CliError(kExitProfile, path + ": no embedded profile");
    std::string text;
    for (size_t i = 0; i < found->Entries().size(); ++i) {
        const std::string name = path + " (embedded: " + found->Entries()[i].where + ")";
        std::vector<uint8_t> bytes = found->Bytes(i);
        CIccProfileRead profile(&Settings());
        if (bytes.empty() || !profile.Open(bytes.data(), int(bytes.size())))
            throw CliError(kExitProfile, name + ": not an ICC profile (or a damaged one)");
        text += (i ? "\n" : "") + InfoText(name, profile, bytes);
    }
    return text;
}
