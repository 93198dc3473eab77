#include "gridtable/Mft4.h"

#include <algorithm>

template <class Base> void TMft4<Base>::Init() {
    for (auto& d : deltaTabs) d = {};
    // Direction code 8a + 4b + 2c + d to the sample distance of that neighbour.
    const uint32_t P = this->m_clutPoints;
    for (unsigned code = 1; code < 16; ++code) {
        const uint32_t a = code >> 3, b = (code >> 2) & 1, c = (code >> 1) & 1, d = code & 1;
        stepOffsets[code - 1] = (((P * a + b) * P + c) * P + d) * this->m_outputChan;
    }
}

template <class Base> void TMft4<Base>::Serialize(CArchive& ar) {
    Base::Serialize(ar);
    if (ar.IsLoading()) {
        // The simplex arithmetic reads four indices; anything else cannot be this class.
        if (this->m_inputChan != 4) throw CArchiveException(CArchiveException::genericException);
        Init();
    }
}

template <class Base> void TMft4<Base>::GenDeltaTables() {
    // A default-constructed grid has no points and no dimPower yet: nothing to difference.
    if (this->m_clutPoints == 0) return;
    for (auto& d : deltaTabs)
        if (d.empty()) d.resize(tabEntries);
    unsigned vector[4] = {0, 0, 0, 0};
    LoopGenDelta(0, vector, 0);
}

template <class Base>
unsigned TMft4<Base>::LoopGenDelta(unsigned level, unsigned* vector, unsigned tableNo) {
    if (level == 4) {
        if ((vector[0] | vector[1] | vector[2] | vector[3]) == 0) return tableNo; // no step
        GenOneDelta(deltaTabs[tableNo].data(), vector);
        return tableNo + 1;
    }
    for (unsigned v = 0; v < 2; ++v) {
        vector[level] = v;
        tableNo = LoopGenDelta(level + 1, vector, tableNo);
    }
    return tableNo;
}

template <class Base> void TMft4<Base>::GenOneDelta(int32_t* delta, const unsigned* vector) {
    const uint32_t P = this->m_clutPoints;
    const uint32_t offset =
        (((P * vector[0] + vector[1]) * P + vector[2]) * P + vector[3]) * this->m_outputChan;
    std::fill_n(delta, tabEntries, 0);
    unsigned position[4] = {0, 0, 0, 0};
    LoopGenOneDelta(0, position, vector, delta, table.data(), offset);
}

template <class Base>
void TMft4<Base>::LoopGenOneDelta(unsigned level, unsigned* position, const unsigned* vector,
                                  int32_t* delta, const T* grid, unsigned offset) {
    const uint32_t outputChan = this->m_outputChan;
    if (level == 4) {
        for (uint32_t k = 0; k < outputChan; ++k)
            delta[k] = int32_t(grid[k + offset]) - int32_t(grid[k]);
        return;
    }
    const uint32_t stride = dimPower[3 - level] * outputChan;
    for (position[level] = 0; position[level] + vector[level] < this->m_clutPoints;
         ++position[level]) {
        LoopGenOneDelta(level + 1, position, vector, delta, grid, offset);
        delta += stride;
        grid += stride;
    }
}

template class TMft4<CMft_8>;
template class TMft4<CMft_16>;

// ---- 8 bits ----

void CMft4_8::GenDelta() {
    GenDeltaTables();
    // No correction of fracTab[128] here: four-input grids have device input, which has no
    // neutral value to protect.
    BuildInputSplit(indexTab, fracTab);
    const uint32_t P = m_clutPoints;
    for (unsigned k = 0; k < 4; ++k) offsetTabs[k].assign(P, 0);
    for (uint32_t i = 0; i < P; ++i) {
        offsetTabs[0][i] = i * dimPower[3] * m_outputChan;
        offsetTabs[1][i] = i * dimPower[2] * m_outputChan;
        offsetTabs[2][i] = i * dimPower[1] * m_outputChan;
        offsetTabs[3][i] = i * m_outputChan;
    }
    deltaValid = 1;
}

int CMft4_8::Trn(const uint8_t* in, uint8_t* out) const {
    const uint8_t* index = indexTab.data();
    const uint8_t* frac = fracTab.data();
    const uint32_t base = offsetTabs[0][index[in[0]]] + offsetTabs[1][index[in[1]]] +
                          offsetTabs[2][index[in[2]]] + offsetTabs[3][index[in[3]]];
    const uint32_t f[4] = {frac[in[0]], frac[in[1]], frac[in[2]], frac[in[3]]};
    const Simplex sx = ChooseSimplex(f);
    const uint32_t w0 = sx.w[0], w1 = sx.w[1], w2 = sx.w[2], w3 = sx.w[3];
    const uint8_t* node = table.data() + base;
    const int32_t* e0 = deltaTabs[sx.tableNo[0]].data() + base;
    const int32_t* e1 = deltaTabs[sx.tableNo[1]].data() + base;
    const int32_t* e2 = deltaTabs[sx.tableNo[2]].data() + base;
    const int32_t* e3 = deltaTabs[sx.tableNo[3]].data() + base;
    for (uint32_t c = 0; c < m_outputChan; ++c) {
        // 127 is half a unit of 1/255; wrap-around is intended.
        const uint32_t s = w1 * uint32_t(e1[c]) + w2 * uint32_t(e2[c]) + 127u +
                           w3 * uint32_t(e3[c]) + w0 * uint32_t(e0[c]);
        // 257 / 65536 for the division by 255; a negative sum is scaled on its magnitude.
        const int32_t q =
            int32_t(s) >= 0 ? int32_t((s * 257u + 128u) >> 16) : -int32_t((128u - s * 257u) >> 16);
        out[c] = uint8_t(node[c] + uint32_t(q)); // modulo 256
    }
    return 1;
}

// ---- 16 bits ----

void CMft4_16::GenDelta() {
    GenDeltaTables();
    deltaValid = 1;
}

int CMft4_16::Trn(const uint16_t* in, uint16_t* out) const {
    const uint32_t P = m_clutPoints;
    const uint32_t oc = m_outputChan;
    const uint32_t p[4] = {in[0] * gridMax, in[1] * gridMax, in[2] * gridMax, in[3] * gridMax};
    const uint32_t base =
        (((P * (p[0] / 65535) + p[1] / 65535) * P + p[2] / 65535) * P + p[3] / 65535) * oc;
    const uint32_t f[4] = {p[0] % 65535, p[1] % 65535, p[2] % 65535, p[3] % 65535};
    const Simplex sx = ChooseSimplex(f);
    const uint32_t w0 = sx.w[0], w1 = sx.w[1], w2 = sx.w[2], w3 = sx.w[3];
    const uint16_t* node = table.data() + base;
    if (!deltaTabs[14].empty()) {
        // A prepared grid reads its difference tables, also when the grid has been changed
        // since (they then hold the old differences until the next InitTrn).
        const int32_t* t0 = deltaTabs[sx.tableNo[0]].data() + base;
        const int32_t* t1 = deltaTabs[sx.tableNo[1]].data() + base;
        const int32_t* t2 = deltaTabs[sx.tableNo[2]].data() + base;
        const int32_t* t3 = deltaTabs[sx.tableNo[3]].data() + base;
        for (uint32_t c = 0; c < oc; ++c) {
            // 32767 is half a unit of 1/65535; the sum may wrap past 2^31, as intended.
            const uint32_t s = w1 * uint32_t(t1[c]) + w3 * uint32_t(t3[c]) + w2 * uint32_t(t2[c]) +
                               32767u + w0 * uint32_t(t0[c]);
            const int32_t q = int32_t(s) / 65535;     // truncates toward zero
            out[c] = uint16_t(node[c] + uint32_t(q)); // modulo 65536
        }
        return 1;
    }
    // A grid never prepared: the differences are taken from the grid at the simplex's corners,
    // the values the tables would hold, so a 16-bit grid needs no preparation before Trn. A corner
    // beyond the grid's edge lies along an axis of fraction 0 and has weight 0 (the weights are
    // differences of the sorted fractions): its term is 0, as the tables store it, and it is
    // read at the node itself, which gives 0 and stays inside the grid.
    const uint32_t e0 = w0 ? stepOffsets[sx.tableNo[0]] : 0;
    const uint32_t e1 = w1 ? stepOffsets[sx.tableNo[1]] : 0;
    const uint32_t e2 = w2 ? stepOffsets[sx.tableNo[2]] : 0;
    const uint32_t e3 = w3 ? stepOffsets[sx.tableNo[3]] : 0;
    for (uint32_t c = 0; c < oc; ++c) {
        const int32_t v = node[c];
        const int32_t d0 = int32_t(node[e0 + c]) - v;
        const int32_t d1 = int32_t(node[e1 + c]) - v;
        const int32_t d2 = int32_t(node[e2 + c]) - v;
        const int32_t d3 = int32_t(node[e3 + c]) - v;
        // 32767 is half a unit of 1/65535; the sum may wrap past 2^31, as intended.
        const uint32_t s =
            w1 * uint32_t(d1) + w3 * uint32_t(d3) + w2 * uint32_t(d2) + 32767u + w0 * uint32_t(d0);
        const int32_t q = int32_t(s) / 65535;     // truncates toward zero
        out[c] = uint16_t(node[c] + uint32_t(q)); // modulo 65536
    }
    return 1;
}

IMPLEMENT_DYNCREATE(CMft4_8, CMft_8)
IMPLEMENT_DYNCREATE(CMft4_16, CMft_16)
