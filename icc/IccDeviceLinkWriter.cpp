#include "icc/IccDeviceLinkWriter.h"

#include <algorithm>
#include <vector>

#include "gridtable/TabMft.h"
#include "gridtable/TabMftX.h"
#include "icc/IccProfileGen.h"

namespace {

// lut16 tables of a curve set, channel after channel: the curves as defined when they have at
// most 4096 entries (the most a lut16 should hold), else the 4096-entry read-out that the
// pipeline itself uses; the identity when the pipeline skips the set. False if that read-out
// is missing.
bool CurveEntries(const CFunc_16Tab& tab, unsigned channels, bool skipped, uint16_t& entries,
                  std::vector<uint16_t>& values) {
    values.clear();
    const uint16_t* raw = tab.pRawTab();
    if (skipped || !raw || tab.entries() < 2) {
        entries = 2;
        for (unsigned c = 0; c < channels; ++c) values.insert(values.end(), {0, 65535});
    } else if (tab.entries() <= 4096) {
        entries = uint16_t(tab.entries());
        values.assign(raw, raw + size_t(entries) * channels);
    } else {
        entries = CFunc_16Tab::kFastEntries;
        for (unsigned c = 0; c < channels; ++c) {
            const uint16_t* fast = tab.pFastTab(c);
            if (!fast) return false;
            values.insert(values.end(), fast, fast + entries);
        }
    }
    return true;
}

// The lut16 content of a link table, for the generator.
class LinkTableSource : public CMTab {
public:
    // Takes the content of `t`; Ok, UnsupportedTable or UnreadableCurves.
    EDeviceLinkResult Take(const CFunc_16TabBaseMft& t);

    unsigned short InputValue(unsigned e, unsigned c) const override {
        return m_in[size_t(c) * inputEnt + e];
    }
    unsigned short OutputValue(unsigned e, unsigned c) const override {
        return m_out[size_t(c) * outputEnt + e];
    }
    int NodeValues16(unsigned node, unsigned short* v) const override {
        const size_t at = size_t(node) * outputChan;
        if (at + outputChan > m_grid.size()) return 0;
        std::copy_n(&m_grid[at], outputChan, v);
        return 1;
    }
    int NodeValues8(unsigned node, unsigned char* v) const override {
        const size_t at = size_t(node) * outputChan;
        if (at + outputChan > m_grid.size()) return 0;
        for (unsigned o = 0; o < outputChan; ++o) v[o] = uint8_t(m_grid[at + o] >> 8);
        return 1;
    }

private:
    template <class Pipeline> EDeviceLinkResult TakeGrid(const Pipeline& p);
    void TakeOneInput(const CFunc_16Tab1Mft& p);

    std::vector<uint16_t> m_in, m_grid, m_out;
};

template <class Pipeline> EDeviceLinkResult LinkTableSource::TakeGrid(const Pipeline& p) {
    clutPoints = uint8_t(p.Mft().clutPoints());
    m_grid.assign(p.Mft().Table(), p.Mft().Table() + p.Mft().TabEntries());
    if (!CurveEntries(p.FuncInputTab(), inputChan, p.skipInputTab(), inputEnt, m_in) ||
        !CurveEntries(p.FuncOutputTab(), outputChan, p.skipOutputTab(), outputEnt, m_out))
        return EDeviceLinkResult::UnreadableCurves;
    return EDeviceLinkResult::Ok;
}

// One input: the pipeline reads three curves in a row (input, a middle curve per channel,
// output), each at 12 bits. lut16 has no middle curves, so the whole pipeline becomes the
// output curves: 4096 entries sampled from the pipeline itself at the positions where a reader
// of the lut16 takes its entries (k * 65535 / 4095), behind identity input curves and a grid of
// two nodes that passes the value on (0 and 65535 on every channel).
void LinkTableSource::TakeOneInput(const CFunc_16Tab1Mft& p) {
    clutPoints = 2;
    inputEnt = 2;
    m_in = {0, 65535};
    m_grid.assign(size_t(2) * outputChan, 0);
    std::fill(m_grid.begin() + outputChan, m_grid.end(), uint16_t(65535));
    outputEnt = CFunc_16Tab::kFastEntries;
    m_out.assign(size_t(outputEnt) * outputChan, 0);
    uint16_t out[16];
    for (unsigned k = 0; k < outputEnt; ++k) {
        const uint16_t x = uint16_t((k * 65535u + (outputEnt - 1) / 2) / (outputEnt - 1));
        p.Trn(&x, out);
        for (unsigned c = 0; c < outputChan; ++c) m_out[size_t(c) * outputEnt + k] = out[c];
    }
}

EDeviceLinkResult LinkTableSource::Take(const CFunc_16TabBaseMft& t) {
    inputChan = uint8_t(t.inputChan());
    outputChan = uint8_t(t.outputChan());
    if (const auto* p3 = dynamic_cast<const CFunc_16Tab3Mft*>(&t)) return TakeGrid(*p3);
    if (const auto* p4 = dynamic_cast<const CFunc_16Tab4Mft*>(&t)) return TakeGrid(*p4);
    if (const auto* p1 = dynamic_cast<const CFunc_16Tab1Mft*>(&t)) {
        TakeOneInput(*p1);
        return EDeviceLinkResult::Ok;
    }
    return EDeviceLinkResult::UnsupportedTable;
}
} // namespace

EDeviceLinkResult WriteIccDeviceLink(CUserSettingsMgr* settings, const wchar_t* path,
                                     const CFunc_16TabBaseMft& table, uint32_t inSpace,
                                     uint32_t outSpace, unsigned headerIntent,
                                     const char* description) {
    LinkTableSource source;
    if (const EDeviceLinkResult r = source.Take(table); r != EDeviceLinkResult::Ok) return r;
    CIccProfileGen1 gen(settings);
    gen.SetHeader(icSigLinkClass, inSpace, outSpace, headerIntent);
    gen.AddProfileDescriptionTag(description);
    gen.AddTextTag(icSigCopyrightTag, CIccProfileGen1::szCopyRight);
    gen.AddLut16Tag(icSigAToB0Tag, source);
    // The generator saves through a temporary of its own and renames it at the end.
    return gen.OnSaveDocument(path) ? EDeviceLinkResult::Ok : EDeviceLinkResult::WriteFailed;
}
