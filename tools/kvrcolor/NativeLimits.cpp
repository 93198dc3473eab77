#include "NativeLimits.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "Chain.h"
#include "CliError.h"
#include "Options.h"
#include "Profiles.h"
#include "icc/IccLayout.h"
#include "icc/IccRecords.h"

namespace {

// A profile file read with checked big-endian readers; what lies outside the file reads as
// absent. Its header and tag table have been found sound when this is asked (its tags' contents
// are judged when the link is built), so the reads only need to be safe, not to diagnose.
class RawProfile {
public:
    explicit RawProfile(SharedBytes bytes) : m_bytes(std::move(bytes)) {}

    std::optional<uint32_t> U32(uint64_t at) const {
        if (at + 4 > m_bytes.size()) return std::nullopt;
        const uint8_t* p = m_bytes.data() + at;
        return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3];
    }
    std::optional<uint8_t> U8(uint64_t at) const {
        if (at >= m_bytes.size()) return std::nullopt;
        return m_bytes[at];
    }
    uint32_t Header(uint64_t at) const { return U32(at).value_or(0); }

    struct Tag {
        uint32_t offset;
        uint32_t size;
    };
    // The tag table: each signature with its entries (more than one for a duplicate).
    std::multimap<uint32_t, Tag> Tags() const {
        std::multimap<uint32_t, Tag> tags;
        const uint32_t count = U32(IccLayout::Header::kBytes).value_or(0);
        for (uint64_t i = 0; i < count; ++i) {
            const uint64_t at = IccLayout::Header::kBytes + 4 + i * 12;
            const auto sig = U32(at), offset = U32(at + 4), size = U32(at + 8);
            if (!sig || !offset || !size) break;
            tags.emplace(*sig, Tag{*offset, *size});
        }
        return tags;
    }
    std::optional<Tag> Find(uint32_t sig) const {
        const auto tags = Tags();
        const auto it = tags.find(sig);
        if (it == tags.end()) return std::nullopt;
        return it->second;
    }
    // The type signature of tag `sig`, 0 if there is none.
    uint32_t TypeOf(uint32_t sig) const {
        const auto tag = Find(sig);
        return tag ? U32(tag->offset).value_or(0) : 0;
    }

private:
    SharedBytes m_bytes;
};

std::string Sig(uint32_t sig) {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) text += char((sig >> shift) & 0xFF);
    return "'" + text + "'";
}

// The tag a step of the native engine reads for `intent`, by the ICC tag of each intent (A2B1
// for the colorimetric ones), and the perceptual tag 0 when that one is missing.
uint32_t TableTagOf(const RawProfile& p, int kind, int intent) {
    uint32_t first = 0;
    switch (kind) {
    case CMdlColorLink::ProfStepDevToPcs:
        first = icSigAToB0Tag;
        break;
    case CMdlColorLink::ProfStepPcsToDev:
        first = icSigBToA0Tag;
        break;
    case CMdlColorLink::ProfStepPreview:
        first = icSigPreview0Tag;
        break;
    case CMdlColorLink::ProfStepGamut:
        return p.Find(icSigGamutTag) ? icSigGamutTag : 0;
    default:
        return 0;
    }
    const int reduced = TranslateBlackPreservingRI(enmRenderingIntent(intent));
    const uint32_t index = reduced == IntentPerceptual ? 0 : reduced == IntentSaturation ? 2 : 1;
    // The ICC tag signatures of one family differ in their last character only: '0', '1', '2'.
    if (p.Find(first + index)) return first + index;
    return p.Find(first) ? first : 0;
}

// Whether the mAB /mBA table of tag `sig` has a grid whose axes differ in size.
bool UnevenGrid(const RawProfile& p, uint32_t sig) {
    const auto tag = p.Find(sig);
    if (!tag) return false;
    const uint32_t type = p.U32(tag->offset).value_or(0);
    if (type != icSigLutAtoBType && type != icSigLutBtoAType) return false;
    const unsigned inputs = p.U8(tag->offset + IccLayout::LutAB::kInputChanAt).value_or(0);
    // Offsets in the order B, matrix, M, grid, A: the grid's is the fourth.
    const uint32_t grid = p.U32(tag->offset + IccLayout::LutAB::kOffsetsAt + 3 * 4).value_or(0);
    if (grid == 0 || inputs < 2 || inputs > IccLayout::kMaxGridAxes) return false;
    const uint64_t points = uint64_t(tag->offset) + grid + IccLayout::Clut::kGridPointsAt;
    const auto first = p.U8(points);
    for (unsigned k = 1; k < inputs; ++k)
        if (p.U8(points + k) != first) return true;
    return false;
}

std::string StepLimit(const StepSpec& step) {
    if (step.intent >= IntentPerceptualKeepK && step.intent <= IntentRelativeBpcKeepPlane)
        return std::string("intent ") + IntentName(step.intent) +
               " keeps black, which only the lcms engine carries out; the native engine "
               "would convert it as " +
               IntentName(TranslateBlackPreservingRI(step.intent));
    const RawProfile p(ProfileFileBytes(step.path));
    const uint32_t space = p.Header(offsetof(icHeader, colorSpace));
    const uint32_t pcs = p.Header(offsetof(icHeader, pcs));
    const uint32_t cls = p.Header(offsetof(icHeader, deviceClass));
    const bool deviceLink = cls == icSigLinkClass;
    if (space == icSigGrayData && pcs == icSigLabData && !deviceLink)
        return step.path + ": a grey profile with a Lab connection space, whose curve the native "
                           "engine reads as XYZ";
    if (step.kind == CMdlColorLink::ProfStepDevToPcs && GetChannelCountOfSignature(space) > 4)
        return step.path + ": " + std::to_string(GetChannelCountOfSignature(space)) +
               " input channels; the native engine has tables of at most four inputs";
    const uint32_t table = TableTagOf(p, step.kind, step.intent);
    if (table == 0 && step.kind == CMdlColorLink::ProfStepPcsToDev)
        for (uint32_t trc : {icSigRedTRCTag, icSigGreenTRCTag, icSigBlueTRCTag, icSigGrayTRCTag})
            if (p.TypeOf(trc) == icSigParametricCurveType)
                return step.path + ": its tone curve " + Sig(trc) +
                       " is parametric; the native engine inverts sampled curves only";
    if (table != 0) {
        const uint32_t type = p.TypeOf(table);
        if ((type == icSigLutAtoBType || type == icSigLutBtoAType) && pcs == icSigLabData &&
            !deviceLink)
            return step.path + ": its table " + Sig(table) + " is of version-4 type " + Sig(type) +
                   " with a Lab connection space, which the native engine reads with the "
                   "version-2 Lab encoding";
        if (UnevenGrid(p, table))
            return step.path + ": its table " + Sig(table) +
                   " has a different grid size per input, which the native engine does not carry";
    }
    return {};
}
} // namespace

std::string NativeLimit(const ResolvedChain& chain) {
    if (!chain.gradation.empty())
        return "a gradation (--gradation), which only the lcms engine applies";
    for (const StepSpec& step : chain.steps)
        if (std::string why = StepLimit(step); !why.empty()) return why;
    return {};
}

std::string WhyNoTable(const std::string& path, int stepKind, int intent) {
    const RawProfile p(ProfileFileBytes(path));
    const uint32_t cls = p.Header(offsetof(icHeader, deviceClass));
    const auto tags = p.Tags();
    for (auto it = tags.begin(); it != tags.end(); it = tags.upper_bound(it->first))
        if (tags.count(it->first) > 1)
            return "the profile has " + std::to_string(tags.count(it->first)) + " tags " +
                   Sig(it->first) + "; a tag may appear once";
    if (cls == icSigNamedColorClass)
        return "a named-colour profile has no colour tables (see kvrcolor named)";
    if (cls == icSigAbstractClass && stepKind != CMdlColorLink::ProfStepAbstract)
        return "an abstract profile works only as an abstract step (--step FILE:abstract)";
    if (cls == icSigLinkClass && stepKind != CMdlColorLink::ProfStepDevToPcs)
        return "a device link works only as the source (--from, without --to)";
    if (TableTagOf(p, stepKind, intent) == 0) {
        switch (stepKind) {
        case CMdlColorLink::ProfStepGamut:
            return "the profile has no gamut tag 'gamt'";
        case CMdlColorLink::ProfStepPreview:
            return "the profile has no preview tag 'pre0'";
        case CMdlColorLink::ProfStepPcsToDev:
            return "the profile has no table from the connection space to the device ('B2A0'); "
                   "it converts one way only";
        case CMdlColorLink::ProfStepDevToPcs:
            return "the profile has no table from the device to the connection space ('A2B0')";
        default:
            break;
        }
    }
    return {};
}
