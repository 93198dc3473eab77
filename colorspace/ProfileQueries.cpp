#include "colorspace/ProfileQueries.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <type_traits>

#include "colorspace/IccColorProfile.h"
#include "gridtable/TabMft.h"
#include "gridtable/TabMftX.h"
#include "icc/IccProfileUse.h"

namespace {

// The greatest sum over the output channels of any node of a three-input pipeline's grid, each
// node's stored values sent through the pipeline's output curves.
template <class Pipe> uint64_t MaxNodeSum(const Pipe& f) {
    using T = std::remove_cv_t<std::remove_pointer_t<decltype(f.Mft().Table())>>;
    const auto& grid = f.Mft();
    const unsigned out = f.outputChan();
    const uint64_t points = grid.clutPoints();
    const uint64_t nodes = points * points * points;
    // A pipeline without a grid (a matrix/shaper one) or with fewer samples than its counts
    // announce has no node to measure.
    if (out == 0 || out > Pipe::kMaxOutputs || nodes == 0 || grid.TabEntries() < nodes * out)
        return 0;
    const T* samples = grid.Table();
    T values[Pipe::kMaxOutputs];
    uint64_t best = 0;
    for (uint64_t n = 0; n < nodes; ++n) {
        f.FuncOutputTab().Trn(samples + n * out, values);
        uint64_t sum = 0;
        for (unsigned c = 0; c < out; ++c) sum += values[c];
        best = std::max(best, sum);
    }
    return best;
}

// Whole percent of a sum of samples whose full scale is `full`, rounded up.
int Percent(uint64_t sum, uint64_t full) {
    return int((sum * 100 + full - 1) / full);
}

} // namespace

int GetProfileInkLimit(CUserSettingsMgr* usm, const wchar_t* path) {
    CIccProfileUse profile(usm);
    if (path == nullptr || !profile.Open(path)) return 0;
    const icHeader& h = profile.Header();
    const bool xyz = h.pcs == icSigXYZData;
    int limit = 0;
    for (uint32_t sig : {icSigBToA0Tag, icSigBToA1Tag, icSigBToA2Tag}) {
        std::unique_ptr<CFunc_8TabBaseMft> f8(profile.CreateMft8Func(sig));
        if (auto* t = dynamic_cast<const CFunc_8Tab3Mft*>(f8.get()))
            limit = std::max(limit, Percent(MaxNodeSum(*t), 255));
        f8.reset();
        std::unique_ptr<CFunc_16TabBaseMft> f16(
            profile.CreateMft16Func(sig, xyz, h.pcs, h.colorSpace));
        if (auto* t = dynamic_cast<const CFunc_16Tab3Mft*>(f16.get()))
            limit = std::max(limit, Percent(MaxNodeSum(*t), 65535));
        else if (auto* x = dynamic_cast<const CFunc_16Tab3MftX*>(f16.get()))
            limit = std::max(limit, Percent(MaxNodeSum(*x), 65535));
    }
    return limit;
}

int GetProfileMediaWhite(CUserSettingsMgr* usm, const wchar_t* path, double* white,
                         double* illuminant) {
    CIccProfileUse profile(usm);
    if (path == nullptr || !profile.Open(path)) return 0;
    auto put = [](const icXYZNumber& xyz, double* to) {
        to[0] = xyz.X * 100.0 / 65536.0;
        to[1] = xyz.Y * 100.0 / 65536.0;
        to[2] = xyz.Z * 100.0 / 65536.0;
    };
    int result = 1;
    icXYZNumber xyz{};
    if (white) {
        if (profile.GetMediaWhite(xyz))
            put(xyz, white);
        else
            result = 0;
    }
    if (illuminant) {
        if (profile.GetIlluminant(xyz))
            put(xyz, illuminant);
        else
            result = 0;
    }
    return result;
}

SProfileInfo CProfileInfoText::UpdateInfoText(const wchar_t* path) const {
    SProfileInfo info;
    if (!m_bShowInfo) return info;
    info.bUpdate = true;
    if (path != nullptr && *path != 0) {
        CIccColorProfile record;
        if (record.LoadIccFile(path, m_pUSM)) {
            info.sText = record.Description();
            info.bRenderingChoiceOpen = record.ProfileClass() != icSigLinkClass;
        }
    }
    return info;
}
