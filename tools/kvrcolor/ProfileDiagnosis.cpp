#include "ProfileDiagnosis.h"

#include <algorithm>
#include <optional>

#include "icc/IccLayout.h"
#include "icc/IccRecords.h"

namespace {

constexpr uint64_t kTableAt = IccLayout::Header::kBytes; // tag count, then 12-byte entries
constexpr uint64_t kEntryBytes = 12;

class Reader {
public:
    Reader(const std::vector<uint8_t>& bytes, uint64_t end) : m_bytes(bytes), m_end(end) {}
    std::optional<uint32_t> U32(uint64_t at) const {
        if (at + 4 > m_end) return std::nullopt;
        const uint8_t* p = m_bytes.data() + at;
        return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3];
    }
    std::optional<uint32_t> U16(uint64_t at) const {
        if (at + 2 > m_end) return std::nullopt;
        return uint32_t(m_bytes[at]) << 8 | m_bytes[at + 1];
    }
    std::optional<uint32_t> U8(uint64_t at) const {
        if (at + 1 > m_end) return std::nullopt;
        return m_bytes[at];
    }

private:
    const std::vector<uint8_t>& m_bytes;
    uint64_t m_end;
};

std::string Sig(uint32_t sig) {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        const char c = char((sig >> shift) & 0xFF);
        text += c >= 0x20 && c < 0x7F ? c : '?';
    }
    return "'" + text + "'";
}

struct Entry {
    uint32_t sig, offset, size;
};

std::string TagName(const Entry& e) {
    return "tag " + Sig(e.sig);
}

// The device channels a table tag converts from and to, by the header's spaces.
struct Channels {
    unsigned in, out;
};
// Named-colour and abstract profiles carry tables of their own shapes: nothing is expected.
std::optional<Channels> ExpectedChannels(uint32_t tag, uint32_t space, uint32_t pcs, uint32_t cls) {
    if (cls == icSigNamedColorClass || cls == icSigAbstractClass) return std::nullopt;
    const unsigned dev = GetChannelCountOfSignature(space);
    const unsigned con = cls == icSigLinkClass ? GetChannelCountOfSignature(pcs) : 3;
    switch (tag) {
    case icSigAToB0Tag:
    case icSigAToB1Tag:
    case icSigAToB2Tag:
        return Channels{dev, con};
    case icSigBToA0Tag:
    case icSigBToA1Tag:
    case icSigBToA2Tag:
        return Channels{3, dev};
    case icSigGamutTag:
        return Channels{3, 1};
    case icSigPreview0Tag:
    case icSigPreview1Tag:
    case icSigPreview2Tag:
        return Channels{3, 3};
    default:
        return std::nullopt;
    }
}

bool IsTableTag(uint32_t tag) {
    return ExpectedChannels(tag, 0, 0, 0).has_value();
}
bool IsCurveTag(uint32_t tag) {
    return tag == icSigRedTRCTag || tag == icSigGreenTRCTag || tag == icSigBlueTRCTag ||
           tag == icSigGrayTRCTag;
}

// Problems of one tag's content, within its own bytes.
std::string CheckTag(const Reader& r, const Entry& e, uint32_t space, uint32_t pcs, uint32_t cls) {
    const uint64_t at = e.offset, end = uint64_t(e.offset) + e.size;
    const uint32_t type = r.U32(at).value_or(0);
    const auto tooShort = [&](uint64_t needs, const std::string& what) {
        return TagName(e) + ": " + what + " needs " + std::to_string(needs) +
               " bytes, the tag has " + std::to_string(e.size);
    };
    if (IsTableTag(e.sig) && type != icSigLut8Type && type != icSigLut16Type &&
        type != icSigLutAtoBType && type != icSigLutBtoAType)
        return TagName(e) + ": type " + Sig(type) +
               " where a table (mft1, mft2, mAB , mBA ) belongs";
    if (IsCurveTag(e.sig) && type != icSigCurveType && type != icSigParametricCurveType)
        return TagName(e) + ": type " + Sig(type) + " where a curve (curv, para) belongs";
    if (type == icSigCurveType) {
        const uint64_t count = r.U32(at + IccLayout::Curv::kCountAt).value_or(0);
        const uint64_t needs = IccLayout::Curv::kEntriesAt + 2 * count;
        if (needs > e.size)
            return tooShort(needs, "a curve of " + std::to_string(count) + " entries");
    }
    if (type == icSigParametricCurveType) {
        const uint32_t function = r.U16(at + IccLayout::Para::kFunctionAt).value_or(0);
        if (function >= IccLayout::kParaFunctions)
            return TagName(e) + ": parametric function " + std::to_string(function) +
                   " is unknown (0 to 4 exist)";
        const uint64_t needs =
            IccLayout::Para::kParametersAt + 4 * IccLayout::ParaParameterCount(function);
        if (needs > e.size)
            return tooShort(needs, "parametric function " + std::to_string(function));
    }
    if (type == icSigLut8Type || type == icSigLut16Type || type == icSigLutAtoBType ||
        type == icSigLutBtoAType) {
        const bool lut8 = type == icSigLut8Type, lut16 = type == icSigLut16Type;
        const uint32_t in = r.U8(at + (lut8    ? IccLayout::Lut8::kInputChanAt
                                       : lut16 ? IccLayout::Lut16::kInputChanAt
                                               : IccLayout::LutAB::kInputChanAt))
                                .value_or(0);
        const uint32_t out = r.U8(at + (lut8    ? IccLayout::Lut8::kOutputChanAt
                                        : lut16 ? IccLayout::Lut16::kOutputChanAt
                                                : IccLayout::LutAB::kOutputChanAt))
                                 .value_or(0);
        if (const auto want = ExpectedChannels(e.sig, space, pcs, cls)) {
            if (want->in != 0 && in != want->in)
                return TagName(e) + ": " + std::to_string(in) + " input channels, but " +
                       std::to_string(want->in) + " come from the profile's spaces (" + Sig(space) +
                       " and " + Sig(pcs) + ")";
            if (want->out != 0 && out != want->out)
                return TagName(e) + ": " + std::to_string(out) + " output channels, but " +
                       std::to_string(want->out) + " go to the profile's spaces (" + Sig(space) +
                       " and " + Sig(pcs) + ")";
        }
        if (lut8 || lut16) {
            const uint64_t points =
                r.U8(at + (lut8 ? IccLayout::Lut8::kClutPointsAt : IccLayout::Lut16::kClutPointsAt))
                    .value_or(0);
            uint64_t grid = 0;
            if (!IccLayout::GridSampleCount(points, in, out, grid))
                return TagName(e) + ": a grid of " + std::to_string(points) + " points on " +
                       std::to_string(in) + " inputs is larger than any table";
            const uint64_t inEntries = lut8 ? IccLayout::kLut8CurveEntries
                                            : r.U16(at + IccLayout::Lut16::kInputEntAt).value_or(0);
            const uint64_t outEntries =
                lut8 ? IccLayout::kLut8CurveEntries
                     : r.U16(at + IccLayout::Lut16::kOutputEntAt).value_or(0);
            const uint64_t sample = lut8 ? 1 : 2;
            const uint64_t needs =
                (lut8 ? IccLayout::Lut8::kHeadBytes : IccLayout::Lut16::kHeadBytes) +
                sample * (in * inEntries + grid + out * outEntries);
            if (needs > e.size)
                return tooShort(needs,
                                "its curves and grid of " + std::to_string(points) + " points");
        } else {
            for (unsigned k = 0; k < IccLayout::LutAB::kOffsetCount; ++k) {
                const uint64_t offset =
                    r.U32(at + IccLayout::LutAB::kOffsetsAt + 4 * k).value_or(0);
                if (offset != 0 && at + offset >= end)
                    return TagName(e) + ": an element offset (" + std::to_string(offset) +
                           ") points past the tag's " + std::to_string(e.size) + " bytes";
            }
        }
    }
    if (type == icSigNamedColor2Type) {
        const uint64_t count = r.U32(at + IccLayout::Ncl2::kCountAt).value_or(0);
        const uint64_t coords = r.U32(at + IccLayout::Ncl2::kDeviceCoordsAt).value_or(0);
        if (coords > icMaxCLutChannels)
            return TagName(e) + ": " + std::to_string(coords) +
                   " device values per colour (at most " + std::to_string(icMaxCLutChannels) + ")";
        const uint64_t needs =
            IccLayout::Ncl2::kHeadBytes +
            count * (IccLayout::Ncl2::kRootNameBytes + 2 * (IccLayout::Ncl2::kPcsValues + coords));
        if (needs > e.size) return tooShort(needs, std::to_string(count) + " named colours");
    }
    return {};
}
} // namespace

namespace {
std::string FindProblem(const std::vector<uint8_t>& bytes) {
    const uint64_t fileSize = bytes.size();
    const uint64_t announced = Reader(bytes, fileSize).U32(0).value_or(0);
    if (announced > fileSize)
        return "the header announces " + std::to_string(announced) + " bytes, the file has " +
               std::to_string(fileSize) + " (cut short?)";
    const uint64_t end = std::min(announced, fileSize);
    const Reader r(bytes, end);
    const auto count = r.U32(kTableAt);
    if (!count) return "the profile ends before its tag table";
    if (kTableAt + 4 + kEntryBytes * uint64_t(*count) > end)
        return "the tag table of " + std::to_string(*count) + " entries runs past the end of the " +
               std::to_string(end) + "-byte profile";
    const uint32_t space = r.U32(offsetof(icHeader, colorSpace)).value_or(0);
    const uint32_t pcs = r.U32(offsetof(icHeader, pcs)).value_or(0);
    const uint32_t cls = r.U32(offsetof(icHeader, deviceClass)).value_or(0);
    std::vector<Entry> entries;
    for (uint64_t i = 0; i < *count; ++i) {
        const uint64_t at = kTableAt + 4 + kEntryBytes * i;
        const Entry e{*r.U32(at), *r.U32(at + 4), *r.U32(at + 8)};
        if (uint64_t(e.offset) + e.size > end)
            return TagName(e) + ": its data (bytes " + std::to_string(e.offset) + " to " +
                   std::to_string(uint64_t(e.offset) + e.size) + ") run past the end of the " +
                   std::to_string(end) + "-byte profile";
        if (e.size < IccLayout::kTypeHeadBytes)
            return TagName(e) + ": " + std::to_string(e.size) + " bytes, too few for a tag";
        entries.push_back(e);
    }
    // One offset, one size; no tag starts inside another.
    for (const Entry& a : entries)
        for (const Entry& b : entries) {
            if (&a == &b) continue;
            if (a.offset == b.offset && a.size != b.size)
                return TagName(a) + " and " + TagName(b) + " start at byte " +
                       std::to_string(a.offset) + " with different sizes";
            if (a.offset < b.offset && b.offset < uint64_t(a.offset) + a.size)
                return TagName(b) + " starts inside " + TagName(a);
        }
    for (size_t i = 0; i < entries.size(); ++i)
        for (size_t j = i + 1; j < entries.size(); ++j)
            if (entries[i].sig == entries[j].sig)
                return "the tag table names " + TagName(entries[i]) + " twice";
    for (const Entry& e : entries)
        if (std::string why = CheckTag(r, e, space, pcs, cls); !why.empty()) return why;
    return {};
}
} // namespace

ProfileDiagnosis DiagnoseProfile(const std::vector<uint8_t>& bytes) {
    if (bytes.size() < IccLayout::Header::kBytes)
        return {false, "the file has " + std::to_string(bytes.size()) + " bytes, fewer than the " +
                           std::to_string(IccLayout::Header::kBytes) + " of a profile header"};
    if (Reader(bytes, bytes.size()).U32(IccLayout::Header::kMagicAt) != icMagicNumber)
        return {false, "no profile signature 'acsp' at byte 36"};
    return {true, FindProblem(bytes)};
}

std::string DiagnosisText(const std::vector<uint8_t>& bytes) {
    const ProfileDiagnosis d = DiagnoseProfile(bytes);
    if (!d.isProfile) return "not an ICC profile (" + d.problem + ")";
    if (d.problem.empty()) return "not an ICC profile (or a damaged one)";
    return "damaged ICC profile: " + d.problem;
}
