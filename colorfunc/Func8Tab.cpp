#include "colorfunc/Func8Tab.h"

#include <algorithm>
#include <array>

IMPLEMENT_DYNCREATE(CFunc_8Tab, CFunc_8)

namespace {

// Most channels a loaded curve may have. ICC colour spaces stop at 15; the bound only keeps
// a damaged archive from asking for absurd allocations.
constexpr uint32_t kMaxLoadChannels = 16;

// Inverts one 256-entry curve t into inv.
void InvertCurve(const uint8_t* t, uint8_t* inv) {
    std::array<int, 256> w;
    w.fill(-1);
    // t[255] is not scattered: the loop stops one short on purpose, and the last input is
    // covered by the fill values below. Where t has a plateau the highest index wins.
    for (int i = 0; i < 255; ++i) w[t[i]] = i;

    // A falling curve fills its ends the other way round.
    const bool falling = t[255] < t[0];
    const int below = falling ? 255 : 0;
    const int above = falling ? 0 : 255;

    int prev = -1; // last filled position
    for (int k = 0; k < 256; ++k) {
        if (w[k] < 0) continue;
        if (prev < 0) {
            for (int j = 0; j < k; ++j) w[j] = below;
        } else {
            // Signed integer interpolation, truncating toward zero.
            for (int j = prev + 1; j < k; ++j)
                w[j] = (w[k] - w[prev]) * (j - prev) / (k - prev) + w[prev];
        }
        prev = k;
    }
    // prev >= 0: at least t[0] was scattered.
    for (int j = prev + 1; j < 256; ++j) w[j] = above;

    for (int v = 0; v < 256; ++v) inv[v] = static_cast<uint8_t>(w[v] & 0xFF);
}

} // namespace

CFunc_8Tab::CFunc_8Tab(unsigned channels, const uint8_t* table) : CFunc_8(channels, channels) {
    Define(table);
}

void CFunc_8Tab::Define(const uint8_t* table) {
    const size_t size = size_t(m_inputChan) * kEntries;
    tab.resize(size);
    if (table) {
        std::copy(table, table + size, tab.begin());
    } else {
        for (size_t c = 0; c < m_inputChan; ++c)
            for (unsigned i = 0; i < kEntries; ++i) tab[c * kEntries + i] = static_cast<uint8_t>(i);
    }
    InitInvTab();
}

void CFunc_8Tab::InitInvTab() {
    invTab.resize(tab.size());
    for (size_t c = 0; c < m_inputChan; ++c)
        InvertCurve(tab.data() + c * kEntries, invTab.data() + c * kEntries);
}

void CFunc_8Tab::Serialize(CArchive& ar) {
    const size_t size = size_t(m_inputChan) * kEntries;
    if (ar.IsStoring()) {
        SerializeCounts(ar);
        // A curve never defined stores zero tables, so that the stream stays readable.
        if (tab.size() != size || invTab.size() != size) {
            const std::vector<uint8_t> zeros(size, 0);
            ar.Write(zeros.data(), unsigned(size));
            ar.Write(zeros.data(), unsigned(size));
            return;
        }
        ar.Write(tab.data(), unsigned(size));
        ar.Write(invTab.data(), unsigned(size));
        return;
    }
    SerializeCounts(ar);
    // Archives may come from outside: a curve has as many outputs as inputs.
    if (m_inputChan != m_outputChan || m_inputChan == 0 || m_inputChan > kMaxLoadChannels)
        throw CArchiveException(CArchiveException::genericException);
    const size_t loadSize = size_t(m_inputChan) * kEntries;
    tab.resize(loadSize);
    invTab.resize(loadSize);
    ar.ReadExact(tab.data(), unsigned(loadSize));
    ar.ReadExact(invTab.data(), unsigned(loadSize));
}
