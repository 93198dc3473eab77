// Per-channel 16-bit curves of any length. At definition time both directions are resampled
// onto fixed 4096-entry tables, so that Trn and Inv are a shift and a load per channel: the
// curves are read at 12-bit resolution and the lower four bits of a sample have no effect.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "colorfunc/Func.h"

class CFunc_16Tab : public CFunc_16 {
    DECLARE_DYNAMIC(CFunc_16Tab)
public:
    static constexpr unsigned kMaxChannels = 16;   // channels that get fast tables
    static constexpr unsigned kFastEntries = 4096; // 12-bit read-out
    static constexpr unsigned kFastShift = 4;      // 16 bits down to 12

    // `table` holds `entries` samples per channel, channel after channel; a null table or
    // 0 entries gives the two-entry identity. Channels at and above kMaxChannels get no fast
    // table and are left untouched by Trn and Inv.
    CFunc_16Tab(unsigned channels, const uint16_t* table, unsigned entries);
    CFunc_16Tab(const CFunc_16Tab&) = default;
    CFunc_16Tab& operator=(const CFunc_16Tab&) = default;

    // Replaces the curves and rebuilds the fast tables.
    void DefineTab(const uint16_t* table, unsigned entries);
    // Expands consecutive ICC curve records (`curv` or `para`, host byte order), one per
    // channel, to 4096 samples each. An unknown record gives the identity and has length 0,
    // so the next channel reads the same bytes again.
    void DefineByIccCurves(const void* curveRecords);
    // One channel from other.Inv of the numbers 0, 1, ..., other.entries() - 1, taken as
    // 16-bit samples without scaling. Needs one input and one output on both sides and more
    // than one entry in `other`; otherwise sets the identity and answers 0.
    int DefineByInverseOf(const CFunc_16Tab& other);

    int Trn(const uint16_t* in, uint16_t* out) const override { return Lookup(fastTab, in, out); }
    int Inv(const uint16_t* in, uint16_t* out) const override {
        return Lookup(fastInvTab, in, out);
    }

    unsigned entries() const { return m_entries; }
    // The defined curves, entries() samples per channel.
    const uint16_t* pRawTab() const { return rawTab.empty() ? nullptr : rawTab.data(); }
    // The 4096-entry tables of channel c, or null for a channel without one.
    const uint16_t* pFastTab(unsigned c) const { return FastRow(fastTab, c); }
    const uint16_t* pFastInvTab(unsigned c) const { return FastRow(fastInvTab, c); }

    // Samples and record length of one ICC curve record, as DefineByIccCurves expands it.
    static unsigned ExpandIccCurve(const uint8_t* record, uint16_t* samples);

private:
    // A channel's 4096 samples of one direction. Never changed once made, so copies of the
    // object, channels with equal curves and every identity curve share the same samples.
    using FastRowPtr = std::shared_ptr<const uint16_t[]>;
    using FastTabs = std::array<FastRowPtr, kMaxChannels>;

    int Lookup(const FastTabs& t, const uint16_t* in, uint16_t* out) const {
        const uint32_t n = m_inputChan < kMaxChannels ? m_inputChan : kMaxChannels;
        for (uint32_t c = 0; c < n; ++c) out[c] = t[c][in[c] >> kFastShift];
        return 1;
    }
    static const uint16_t* FastRow(const FastTabs& t, unsigned c) {
        return c < kMaxChannels && t[c] ? t[c].get() : nullptr;
    }

    // Resamples every channel of rawTab onto fastTab and fastInvTab.
    void BuildFastTabs();
    // The two-entry identity 0, 65535 on every channel.
    void SetIdentity();

    uint32_t m_entries = 0;          // samples per channel in rawTab
    std::vector<uint16_t> rawTab;    // the defined curves, channel after channel
    std::vector<uint16_t> rawInvTab; // kept for the copy, but nothing fills it
    uint32_t lastEntry = 0;          // m_entries - 1
    FastTabs fastTab;                // forward, 4096 per channel below inputChan
    FastTabs fastInvTab;             // inverse, same rule
};
