// Per-channel 8-bit curves: channel c of the output depends only on channel c of the input,
// through an exact 256-entry table. The inverse table is kept beside the forward one, so Inv
// is a lookup too.
#pragma once

#include <cstdint>
#include <vector>

#include "colorfunc/Func.h"

class CFunc_8Tab : public CFunc_8 {
    DECLARE_DYNCREATE(CFunc_8Tab)
public:
    static constexpr unsigned kEntries = 256;

    // Three channels without tables: the form that Serialize fills. Trn and Inv answer 0
    // until the curve is defined or loaded.
    CFunc_8Tab() : CFunc_8(3, 3) {}
    // `table` holds channels * 256 bytes, channel after channel; null means identity.
    CFunc_8Tab(unsigned channels, const uint8_t* table);
    CFunc_8Tab(const CFunc_8Tab&) = default;
    CFunc_8Tab& operator=(const CFunc_8Tab&) = default;

    // Sets the forward tables (null: identity on every channel) and derives the inverses.
    void Define(const uint8_t* table);

    // inputChan * 256 bytes each, channel after channel; null while undefined.
    const uint8_t* pTab() const { return tab.empty() ? nullptr : tab.data(); }
    const uint8_t* pInvTab() const { return invTab.empty() ? nullptr : invTab.data(); }

    int Trn(const uint8_t* in, uint8_t* out) const override { return Lookup(tab, in, out); }
    int Inv(const uint8_t* in, uint8_t* out) const override { return Lookup(invTab, in, out); }

    // Counts, forward tables, inverse tables. Loading takes both tables as stored and does
    // not recompute the inverse.
    void Serialize(CArchive& ar) override;

private:
    int Lookup(const std::vector<uint8_t>& t, const uint8_t* in, uint8_t* out) const {
        if (t.empty()) return 0;
        const uint8_t* row = t.data();
        for (uint32_t c = 0; c < m_inputChan; ++c, row += kEntries) out[c] = row[in[c]];
        return 1;
    }

    // Inverts every channel of tab into invTab.
    void InitInvTab();

    std::vector<uint8_t> tab;    // forward tables, inputChan * 256
    std::vector<uint8_t> invTab; // inverse tables, same shape
};

inline CArchive& operator>>(CArchive& ar, CFunc_8Tab*& f) {
    return ReadTypedObject(ar, f);
}
