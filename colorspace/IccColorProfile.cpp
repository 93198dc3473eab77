#include "colorspace/IccColorProfile.h"

#include <cstring>
#include <optional>
#include <string_view>

#include "base/PathUtil.h"
#include "base/WideString.h"
#include "colorspace/ChannelSignatures.h"

IMPLEMENT_DYNAMIC(CIccColorProfile, CObject)

namespace {

// Where the fields of the tags read here stand in a tag block.
constexpr uint32_t kTextAt = 8;          // Tvr3, Tvr6: text behind the type head
constexpr uint32_t kVersionAt = 8;       // Tvr2: the 32-bit version
constexpr uint32_t kDescTextAt = 12;     // desc: ASCII text behind its length word
constexpr uint32_t kClrtCountAt = 8;     // clrt: the colorant count
constexpr uint32_t kClrtEntriesAt = 12;  // clrt: first entry
constexpr uint32_t kClrtEntryBytes = 38; // clrt: 32-byte name and three 16-bit PCS values
constexpr uint32_t kClrtNameBytes = 32;  // clrt: name field
constexpr uint32_t kClrtMaxCount = 15;   // no device has more channels than FCLR names

uint32_t Load32(const unsigned char* p) {
    uint32_t v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

uint16_t Load16(const unsigned char* p) {
    uint16_t v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

// The bytes from `at` up to the first NUL, or to the end of the block when there is none.
std::string_view TextAt(const unsigned char* block, uint32_t size, uint32_t at,
                        uint32_t maxBytes = UINT32_MAX) {
    if (size <= at) return {};
    const char* text = reinterpret_cast<const char*>(block + at);
    const size_t room = std::min<size_t>(size - at, maxBytes);
    return std::string_view(text, ::strnlen(text, room));
}

} // namespace

CIccColorProfile::CIccColorProfile() = default;
CIccColorProfile::~CIccColorProfile() = default;

int CIccColorProfile::LoadIccFile(const wchar_t* path, CUserSettingsMgr* usm) {
    if (path == nullptr || SplitFileName(path).empty()) {
        m_sFileName.clear();
        return 1;
    }
    CIccProfileRead reader(usm);
    if (!reader.Open(path)) {
        m_sFileName.clear();
        m_nError = reader.m_nError;
        return 0;
    }
    const int result = LoadIccFile(&reader);
    m_sFileName = path;
    if (result && !reader.GetMeasurementInfo(m_eIlluminant, m_eObserver)) {
        m_eIlluminant = IluminantD50;
        m_eObserver = Observer2Degree;
    }
    return result;
}

int CIccColorProfile::LoadIccFile(CIccProfileRead* reader) {
    m_sDescription.clear();
    m_Header = icHeader{};
    m_vecChannelNames.clear();
    m_vecColorantPcs.clear();
    m_nTarvelinVersion = 1;
    m_Header = reader->Header();

    // Tvr3 and Tvr6 beat desc whatever the order; between the two the later one wins.
    std::optional<std::wstring> overridingDescription;
    // A table built in memory may hold more entries than nodes; only entries with a node have
    // data.
    const unsigned count = std::min(reader->GetCount(), reader->GetTagNodeCount());
    for (unsigned i = 0; i < count; ++i) {
        const icTagSignature sig = reader->Tag(i).sig;
        switch (sig) {
        case icSigBToA0Tag:
        case icSigBToA1Tag:
        case icSigBToA2Tag: {
            // A header that says CMYK over tables with more inks: the table tells the truth.
            // Only the table's head is read: its data is not converted for this.
            unsigned inputs = 0, outputs = 0;
            if (reader->GetLutChannels(i, &inputs, &outputs)) {
                const icColorSpaceSignature n = NColorSignatureOf(outputs);
                if (n != 0) m_Header.colorSpace = n;
            }
            continue;
        }
        case icSigTvr2Tag:
        case icSigTvr3Tag:
        case icSigTvr6Tag:
        case icSigProfileDescriptionTag:
        case icSigColorantTableTag:
            break;
        default:
            continue; // a tag the record does not read is not converted
        }
        const auto* block = reinterpret_cast<const unsigned char*>(reader->GetTagData(i));
        if (block == nullptr) continue;
        const uint32_t size = reader->GetTagDataSize(i);
        switch (sig) {
        case icSigTvr2Tag:
            if (size >= kVersionAt + 4) m_nTarvelinVersion = Load32(block + kVersionAt);
            break;
        case icSigTvr3Tag:
            overridingDescription = CodePageToWide(TextAt(block, size, kTextAt));
            break;
        case icSigTvr6Tag:
            overridingDescription = Utf8ToWide(TextAt(block, size, kTextAt));
            break;
        case icSigProfileDescriptionTag:
            m_sDescription = CodePageToWide(TextAt(block, size, kDescTextAt));
            break;
        case icSigColorantTableTag: {
            if (size < kClrtEntriesAt) break;
            // The reader has brought the count to host order already; it is swapped once more
            // here, as the system has always done. An ordinary count n so becomes n << 24 and
            // fails the test below, and an ordinary colorant table is left unread.
            const uint32_t n = __builtin_bswap32(Load32(block + kClrtCountAt));
            if (n < 1 || n > kClrtMaxCount) break;
            // A count that reaches past the block is refused whole.
            if (uint64_t(kClrtEntriesAt) + uint64_t(n) * kClrtEntryBytes > size) break;
            for (uint32_t e = 0; e < n; ++e) {
                const unsigned char* entry = block + kClrtEntriesAt + e * kClrtEntryBytes;
                const char* name = reinterpret_cast<const char*>(entry);
                m_vecChannelNames.push_back(
                    CodePageToWide(std::string_view(name, ::strnlen(name, kClrtNameBytes))));
                std::array<uint16_t, 3> pcs{};
                for (unsigned c = 0; c < 3; ++c)
                    pcs[c] = __builtin_bswap16(Load16(entry + kClrtNameBytes + 2 * c));
                m_vecColorantPcs.push_back(pcs);
            }
            break;
        }
        default:
            break;
        }
    }
    if (overridingDescription) m_sDescription = std::move(*overridingDescription);
    m_sMD5 = reader->GetProfileMD5String();
    return 1;
}

void CIccColorProfile::copy(const CIccColorProfile& other) {
    if (&other == this) return;
    m_eIlluminant = other.m_eIlluminant;
    m_eObserver = other.m_eObserver;
    m_sFileName = other.m_sFileName;
    m_sDescription = other.m_sDescription;
    m_nTarvelinVersion = other.m_nTarvelinVersion;
    m_Header = other.m_Header;
    m_sMD5 = other.m_sMD5;
    m_nError = other.m_nError;
}

int CIccColorProfile::IsDeviceLinkProfile() const {
    const icColorSpaceSignature pcs = m_Header.pcs;
    return pcs == 0 || pcs == icSigLabData || pcs == icSigXYZData ? 0 : 1;
}
