#include "colorfunc/Func16Tab.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "icc/IccLayout.h"

IMPLEMENT_DYNAMIC(CFunc_16Tab, CFunc_16)

namespace {

constexpr uint32_t kFull = 65535;

// The 16-bit value that fast-table entry i stands for.
uint32_t FastNodeValue(unsigned i) {
    return static_cast<uint32_t>(i * 65535.0 / (CFunc_16Tab::kFastEntries - 1) + 0.5);
}

// One curve resampled at the 4096 fast nodes, forward. p and the difference product are
// unsigned 32-bit with wrap-around: a falling segment wraps, and since 2^32 is one more than
// a multiple of 65535 the unsigned division still lands within one unit of the true value.
void BuildForward(const uint16_t* row, uint32_t lastEntry, uint16_t* fast) {
    for (unsigned i = 0; i < CFunc_16Tab::kFastEntries; ++i) {
        const uint32_t p = FastNodeValue(i) * lastEntry;
        const uint32_t a = p / kFull;
        const uint32_t r = p % kFull;
        uint32_t d = 0;
        if (r != 0) d = ((uint32_t{row[a + 1]} - uint32_t{row[a]}) * r) / kFull;
        fast[i] = static_cast<uint16_t>(row[a] + d);
    }
}

// Position between entries k - 1 and k where the curve takes the value x, scaled to 16 bits.
uint16_t InversePosition(const uint16_t* row, uint32_t lastEntry, uint32_t k, uint32_t x) {
    const double lo = row[k - 1];
    const double hi = row[k];
    double u = k - 1.0;
    if (lo != hi) u += (double(x) - lo) / (hi - lo);
    return static_cast<uint16_t>(u * 65535.0 / lastEntry + 0.5);
}

// One curve inverted at the 4096 fast nodes. The direction is decided by the ends alone.
// The node values ascend, so each search continues where the previous one stopped.
void BuildInverse(const uint16_t* row, uint32_t entries, uint16_t* fast) {
    const uint32_t lastEntry = entries - 1;
    if (row[0] > row[lastEntry]) {
        // Falling: the largest k (entries down to 1) with x below row[k - 1]. The clipped
        // ends are not mirrored against the rising case: above the highest entry the answer
        // is 65535 and below the lowest it is 0, so they do not continue the curve.
        uint32_t k = entries;
        for (unsigned i = 0; i < CFunc_16Tab::kFastEntries; ++i) {
            const uint32_t x = FastNodeValue(i);
            while (k >= 1 && !(x < row[k - 1])) --k;
            if (k == 0)
                fast[i] = 65535;
            else if (k == entries)
                fast[i] = 0;
            else
                fast[i] = InversePosition(row, lastEntry, k, x);
        }
        return;
    }
    // Rising: the first k with x below row[k].
    uint32_t k = 0;
    for (unsigned i = 0; i < CFunc_16Tab::kFastEntries; ++i) {
        const uint32_t x = FastNodeValue(i);
        while (k < entries && !(x < row[k])) ++k;
        if (k == 0)
            fast[i] = 0;
        else if (k == entries)
            fast[i] = 65535;
        else
            fast[i] = InversePosition(row, lastEntry, k, x);
    }
}

// The fast tables of the two-entry identity curve 0, 65535, the curve of every channel that is
// left undefined: made once, by the same code, and shared by every such channel.
struct IdentityFastTabs {
    std::array<uint16_t, 2 * CFunc_16Tab::kFastEntries> samples{}; // forward, then inverse
    std::shared_ptr<const uint16_t[]> forward, inverse;
    IdentityFastTabs() {
        const uint16_t row[2] = {0, 65535};
        BuildForward(row, 1, samples.data());
        BuildInverse(row, 2, samples.data() + CFunc_16Tab::kFastEntries);
        // Static storage: the shared pointers own nothing.
        forward = std::shared_ptr<const uint16_t[]>(samples.data(), [](const uint16_t*) {});
        inverse = std::shared_ptr<const uint16_t[]>(samples.data() + CFunc_16Tab::kFastEntries,
                                                    [](const uint16_t*) {});
    }
};
const IdentityFastTabs& IdentityFast() {
    static const IdentityFastTabs tabs;
    return tabs;
}

uint16_t ToSample(double y) {
    return static_cast<uint16_t>(y * 65535.0 + 0.5);
}

// y of a parametric curve of function type `type` at x, limited to 0..1. A power of a
// negative base is not a number, and is taken as 0.
double ParametricValue(unsigned type, const double* prm, double x) {
    const double g = prm[0], a = prm[1], b = prm[2], c = prm[3], d = prm[4], e = prm[5], f = prm[6];
    double y = 0;
    switch (type) {
    case 0:
        y = std::pow(x, g);
        break;
    case 1:
        y = x < -b / a ? 0.0 : std::pow(a * x + b, g);
        break;
    case 2:
        y = x < -b / a ? c : std::pow(a * x + b, g) + c;
        break;
    case 3:
        y = x < d ? c * x : std::pow(a * x + b, g);
        break;
    case 4:
        y = x < d ? c * x + f : std::pow(a * x + b, g) + e;
        break;
    }
    return y > 0 ? (y < 1 ? y : 1.0) : 0.0;
}

} // namespace

CFunc_16Tab::CFunc_16Tab(unsigned channels, const uint16_t* table, unsigned entries)
    : CFunc_16(channels, channels) {
    DefineTab(table, entries);
}

void CFunc_16Tab::DefineTab(const uint16_t* table, unsigned entries) {
    rawTab.clear();
    if (table && entries != 0) {
        m_entries = entries;
        rawTab.assign(table, table + size_t(entries) * m_inputChan);
        lastEntry = m_entries - 1;
        BuildFastTabs();
    } else {
        SetIdentity();
    }
}

void CFunc_16Tab::SetIdentity() {
    m_entries = 2;
    rawTab.resize(size_t(2) * m_inputChan);
    for (size_t c = 0; c < m_inputChan; ++c) {
        rawTab[2 * c] = 0;
        rawTab[2 * c + 1] = 65535;
    }
    lastEntry = 1;
    BuildFastTabs();
}

void CFunc_16Tab::BuildFastTabs() {
    for (unsigned c = 0; c < kMaxChannels && c < m_inputChan; ++c) {
        const uint16_t* row = rawTab.data() + size_t(c) * m_entries;
        // The tables depend on the curve alone: a curve equal to the previous channel's, or
        // the identity, shares tables already made.
        if (c > 0 && std::equal(row, row + m_entries, row - m_entries)) {
            fastTab[c] = fastTab[c - 1];
            fastInvTab[c] = fastInvTab[c - 1];
            continue;
        }
        if (m_entries == 2 && row[0] == 0 && row[1] == 65535) {
            const IdentityFastTabs& id = IdentityFast();
            fastTab[c] = id.forward;
            fastInvTab[c] = id.inverse;
            continue;
        }
        // Both directions in one block, written whole before anyone reads them.
        std::shared_ptr<uint16_t[]> both =
            std::make_shared_for_overwrite<uint16_t[]>(size_t(2) * kFastEntries);
        BuildForward(row, lastEntry, both.get());
        BuildInverse(row, m_entries, both.get() + kFastEntries);
        fastInvTab[c] = FastRowPtr(both, both.get() + kFastEntries);
        fastTab[c] = std::move(both);
    }
}

unsigned CFunc_16Tab::ExpandIccCurve(const uint8_t* record, uint16_t* samples) {
    // The callers have checked the record against its block, or trust it.
    const IccLayout::Span span = IccLayout::Span::Trusted(record, IccLayout::Order::Host);
    IccLayout::CurveRecord curve;
    IccLayout::ReadCurveRecord(span, 0, curve);
    if (curve.kind == IccLayout::CurveKind::Curv) {
        const uint32_t count = curve.count;
        if (count == 1) {
            // A gamma in units of 1/256; pow of 0..1 stays in 0..1.
            icU8Fixed8Number raw = 0;
            span.U16(curve.entriesAt, raw);
            const double gamma = raw / 256.0;
            for (unsigned i = 0; i < kFastEntries; ++i)
                samples[i] = ToSample(std::pow(i / 4095.0, gamma));
        } else {
            // The samples as a curve of their own, read out the way every curve is: through
            // the forward table a one-channel CFunc_16Tab of them would make (no samples give
            // the identity), without the inverse table that object would make as well.
            std::vector<uint16_t> points(count);
            span.U16Run(curve.entriesAt, count, points.data());
            static constexpr uint16_t kIdentity[2] = {0, 65535};
            std::array<uint16_t, kFastEntries> forward;
            if (count == 0)
                BuildForward(kIdentity, 1, forward.data());
            else
                BuildForward(points.data(), count - 1, forward.data());
            for (unsigned i = 0; i < kFastEntries; ++i)
                samples[i] = forward[ToSample(i / 4095.0) >> kFastShift];
        }
        // The samples are padded to a multiple of 4 bytes.
        return static_cast<unsigned>(curve.length);
    }
    if (curve.kind == IccLayout::CurveKind::Para) {
        double prm[IccLayout::kMaxParaParameters] = {};
        for (unsigned k = 0; k < curve.parameters; ++k) prm[k] = curve.parameter[k] * icFixed16Unit;
        for (unsigned i = 0; i < kFastEntries; ++i)
            samples[i] = ToSample(ParametricValue(curve.function, prm, i / 4095.0));
        return static_cast<unsigned>(curve.length);
    }
    // Anything else is the identity and has no length.
    for (unsigned i = 0; i < kFastEntries; ++i)
        samples[i] = static_cast<uint16_t>(FastNodeValue(i));
    return 0;
}

void CFunc_16Tab::DefineByIccCurves(const void* curveRecords) {
    const uint8_t* record = static_cast<const uint8_t*>(curveRecords);
    rawTab.assign(size_t(kFastEntries) * m_inputChan, 0);
    for (size_t c = 0; c < m_inputChan; ++c)
        record += ExpandIccCurve(record, rawTab.data() + c * kFastEntries);
    m_entries = kFastEntries;
    lastEntry = m_entries - 1;
    BuildFastTabs();
}

int CFunc_16Tab::DefineByInverseOf(const CFunc_16Tab& other) {
    rawTab.clear();
    m_entries = 0;
    if (other.m_entries > 1 && m_inputChan == 1 && m_outputChan == 1 && other.m_inputChan == 1 &&
        other.m_outputChan == 1) {
        m_entries = other.m_entries;
        rawTab.resize(m_entries);
        // The counter itself is the input, not scaled to the 16-bit range: with 4096 entries
        // only the first 256 entries of the other's inverse table are read.
        for (uint32_t n = 0; n < m_entries; ++n) {
            const uint16_t x = static_cast<uint16_t>(n);
            other.Inv(&x, &rawTab[n]);
        }
        lastEntry = m_entries - 1;
        BuildFastTabs();
        return 1;
    }
    SetIdentity();
    return 0;
}
