#include "gridtable/TabMft.h"

#include <vector>

IMPLEMENT_DYNAMIC(CFunc_8TabBaseMft, CFunc_8)
IMPLEMENT_DYNAMIC(CFunc_16TabBaseMft, CFunc_16)
IMPLEMENT_DYNCREATE(CFunc_8Tab3Mft, CFunc_8TabBaseMft)
IMPLEMENT_DYNCREATE(CFunc_8Tab4Mft, CFunc_8TabBaseMft)
IMPLEMENT_DYNAMIC(CFunc_16Tab3Mft, CFunc_16TabBaseMft)
IMPLEMENT_DYNAMIC(CFunc_16Tab4Mft, CFunc_16TabBaseMft)

namespace {

// The 256-entry curves of an 8-bit curve set, every entry times 257.
std::vector<uint16_t> WidenCurves(const CFunc_8Tab& tab) {
    const uint8_t* from = tab.pTab();
    std::vector<uint16_t> wide(size_t(tab.inputChan()) * CFunc_8Tab::kEntries);
    for (size_t i = 0; i < wide.size(); ++i) wide[i] = static_cast<uint16_t>(from[i] * 257u);
    return wide;
}

// An 8-bit curve set sampled from a 16-bit one: entry v of channel c is the high byte of
// channel c of tab.Trn(v * 257, ...). This reads the source's 12-bit read-out, not its stored
// curve.
std::vector<uint8_t> NarrowCurves(const CFunc_16Tab& tab) {
    const unsigned channels = tab.inputChan();
    std::vector<uint8_t> narrow(size_t(channels) * CFunc_8Tab::kEntries);
    std::vector<uint16_t> in(channels), out(channels);
    for (unsigned v = 0; v < CFunc_8Tab::kEntries; ++v) {
        std::fill(in.begin(), in.end(), static_cast<uint16_t>(v * 257u));
        tab.Trn(in.data(), out.data());
        for (unsigned c = 0; c < channels; ++c)
            narrow[size_t(c) * CFunc_8Tab::kEntries + v] = static_cast<uint8_t>(out[c] >> 8);
    }
    return narrow;
}

} // namespace

CFunc_8TabBaseMft::CFunc_8TabBaseMft(const CFunc_16TabBaseMft& s)
    : CFunc_8TabBaseMft(s.inputChan(), s.outputChan()) {
    inputTab.Define(NarrowCurves(s.FuncInputTab()).data());
    outputTab.Define(NarrowCurves(s.FuncOutputTab()).data());
}

CFunc_16TabBaseMft::CFunc_16TabBaseMft(const CFunc_8TabBaseMft& s)
    : CFunc_16TabBaseMft(s.inputChan(), s.outputChan()) {
    // A source curve set without tables (created, never loaded) leaves the identity.
    if (s.FuncInputTab().pTab())
        inputTab.DefineTab(WidenCurves(s.FuncInputTab()).data(), CFunc_8Tab::kEntries);
    if (s.FuncOutputTab().pTab())
        outputTab.DefineTab(WidenCurves(s.FuncOutputTab()).data(), CFunc_8Tab::kEntries);
}

int CFunc_8Tab3Mft::GridTrn(const uint8_t* in, uint8_t* out) const {
    uint8_t a[kMaxInputs];
    uint8_t b[kMaxOutputs];
    inputTab.Trn(in, a);
    mft.GridTrn(a, b);
    outputTab.Trn(b, out);
    return 1;
}
