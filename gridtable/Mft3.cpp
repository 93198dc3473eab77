#include "gridtable/Mft3.h"

#include <algorithm>

template <class Base> void TMft3<Base>::Init() {
    points = this->m_clutPoints;
    points2 = points * points;
    points3 = points2 * points;
}

template <class Base> void TMft3<Base>::Serialize(CArchive& ar) {
    Base::Serialize(ar);
    if (ar.IsLoading()) {
        // The difference tables are sized for three inputs; anything else cannot be this class.
        if (this->m_inputChan != 3) throw CArchiveException(CArchiveException::genericException);
        Init();
    }
}

template <class Base>
void TMft3<Base>::GenOneDelta(int32_t* delta, unsigned a, unsigned b, unsigned c) {
    const uint32_t outputChan = this->m_outputChan;
    const uint32_t step = (a * points2 + b * points + c) * outputChan; // distance to the neighbour
    std::fill_n(delta, points3 * outputChan, 0);
    const T* grid = table.data();
    for (uint32_t i = 0; i + a < points; ++i)
        for (uint32_t j = 0; j + b < points; ++j)
            for (uint32_t k = 0; k + c < points; ++k) {
                const uint32_t o = Index(i, j, k);
                for (uint32_t ch = 0; ch < outputChan; ++ch)
                    delta[o + ch] = int32_t(grid[o + step + ch]) - int32_t(grid[o + ch]);
            }
}

template <class Base> void TMft3<Base>::GenDeltaTables() {
    const uint32_t n = points3 * this->m_outputChan;
    for (auto* d : {&delta100, &delta010, &delta001, &delta110, &delta101, &delta011, &delta111})
        d->assign(n, 0);
    GenOneDelta(delta100.data(), 1, 0, 0);
    GenOneDelta(delta010.data(), 0, 1, 0);
    GenOneDelta(delta001.data(), 0, 0, 1);
    GenOneDelta(delta110.data(), 1, 1, 0);
    GenOneDelta(delta101.data(), 1, 0, 1);
    GenOneDelta(delta011.data(), 0, 1, 1);
    GenOneDelta(delta111.data(), 1, 1, 1);
}

template <class Base> int TMft3<Base>::GridTrn(const T* in, T* out) const {
    // 8 bits: (x * (P - 1) + 128) >> 8; 16 bits: (x * (P - 1) + 32768) >> 16.
    constexpr uint32_t kShift = 8 * sizeof(T);
    constexpr uint32_t kHalf = uint32_t(1) << (kShift - 1);
    const uint32_t i0 = (in[0] * gridMax + kHalf) >> kShift;
    const uint32_t i1 = (in[1] * gridMax + kHalf) >> kShift;
    const uint32_t i2 = (in[2] * gridMax + kHalf) >> kShift;
    const T* node = table.data() + Index(i0, i1, i2);
    std::copy(node, node + this->m_outputChan, out);
    return 1;
}

template <class Base>
int TMft3<Base>::GetVolume(unsigned i, unsigned j, unsigned k, double* volume) const {
    struct V {
        double x, y, z;
    };
    const uint32_t o = Index(i, j, k);
    auto at = [o](const std::vector<int32_t>& d) {
        return V{double(d[o]), double(d[o + 1]), double(d[o + 2])};
    };
    // a . (b x c): six times the signed volume of the tetrahedron spanned by a, b, c.
    auto triple = [](const V& a, const V& b, const V& c) {
        return a.x * (b.y * c.z - b.z * c.y) + a.y * (b.z * c.x - b.x * c.z) +
               a.z * (b.x * c.y - b.y * c.x);
    };
    const V d100 = at(delta100), d010 = at(delta010), d001 = at(delta001);
    const V d110 = at(delta110), d101 = at(delta101), d011 = at(delta011), d111 = at(delta111);
    const double t[6] = {triple(d100, d110, d111), triple(d110, d010, d111),
                         triple(d010, d011, d111), triple(d011, d001, d111),
                         triple(d001, d101, d111), triple(d101, d100, d111)};
    int unfolded = 1;
    double sum = 0;
    for (double v : t) {
        if (v < 0) unfolded = 0;
        sum += v;
    }
    // 6 * S^3: 99488250 for 8 bits, 1688772552032250 for 16 bits. The identity over the whole
    // range thus gives 1 / gridMax^3 per cell.
    constexpr double kFullScale = Base::kFullScale;
    constexpr double kDivisor = 6.0 * kFullScale * kFullScale * kFullScale;
    if (volume) *volume = sum / kDivisor;
    return unfolded;
}

template <class Base> void TMft3<Base>::DefineIdent() {
    for (uint32_t i = 0; i < points; ++i)
        for (uint32_t j = 0; j < points; ++j)
            for (uint32_t k = 0; k < points; ++k) {
                T* node = table.data() + Index(i, j, k);
                node[0] = this->NodeValue(i);
                node[1] = this->NodeValue(j);
                node[2] = this->NodeValue(k);
            }
    deltaValid = 0;
}

template class TMft3<CMft_8>;
template class TMft3<CMft_16>;

// ---- 8 bits ----

void CMft3_8::GenDelta() {
    if (deltaValid) return;
    GenDeltaTables();
    BuildInputSplit(indexTab, fracTab);
    // 128 is the neutral a and b of 8-bit Lab. With an odd point count its index already is
    // the middle node; dropping the fraction puts grey input exactly on it instead of
    // blending it off the neutral axis. Only this class has this correction.
    if (gridMax % 2 == 0) fracTab[128] = 0;
    const uint32_t outputChan = m_outputChan;
    offset0.assign(points, 0);
    offset1.assign(points, 0);
    offset2.assign(points, 0);
    for (uint32_t i = 0; i <= gridMax; ++i) {
        offset2[i] = i * outputChan;
        offset1[i] = i * points * outputChan;
        offset0[i] = i * points2 * outputChan;
    }
    deltaValid = 1;
}

int CMft3_8::Trn(const uint8_t* in, uint8_t* out) const {
    const uint8_t* index = indexTab.data();
    const uint8_t* frac = fracTab.data();
    const uint32_t base = offset0[index[in[0]]] + offset1[index[in[1]]] + offset2[index[in[2]]];
    const Tetrahedron t = ChooseTetrahedron(frac[in[0]], frac[in[1]], frac[in[2]]);
    const uint8_t* node = table.data() + base;
    const int32_t* d1 = t.d1 + base;
    const int32_t* d2 = t.d2 + base;
    const int32_t* d3 = t.d3 + base;
    for (uint32_t c = 0; c < m_outputChan; ++c) {
        // Weights are in 1/255 of a cell; 127 is half a unit. Wrap-around is intended.
        const uint32_t s =
            t.w1 * uint32_t(d1[c]) + t.w2 * uint32_t(d2[c]) + t.w3 * uint32_t(d3[c]) + 127u;
        // 257 / 65536 stands in for the division by 255. A negative sum is scaled on its
        // magnitude, so the half unit added above pulls it toward zero: required asymmetry.
        const int32_t q =
            int32_t(s) >= 0 ? int32_t((s * 257u + 128u) >> 16) : -int32_t((128u - s * 257u) >> 16);
        out[c] = uint8_t(node[c] + uint32_t(q)); // modulo 256
    }
    return 1;
}

// ---- 16 bits ----

void CMft3_16::GenDelta() {
    if (deltaValid) return;
    GenDeltaTables();
    deltaValid = 1;
}

int CMft3_16::Trn(const uint16_t* in, uint16_t* out) const {
    const uint32_t p0 = in[0] * gridMax, p1 = in[1] * gridMax, p2 = in[2] * gridMax;
    const uint32_t oc = m_outputChan;
    const uint32_t base = ((points * (p0 / 65535) + p1 / 65535) * points + p2 / 65535) * oc;
    // Fractions 0 to 65534 in 1/65535 of a cell; full scale gives the last node, fraction 0.
    const uint32_t f0 = p0 % 65535, f1 = p1 % 65535, f2 = p2 % 65535;
    if (!delta111.empty()) {
        // A prepared grid reads its difference tables, also when the grid has been changed
        // since (they then hold the old differences until the next InitTrn).
        const Tetrahedron t = ChooseTetrahedron(f0, f1, f2);
        const uint16_t* node = table.data() + base;
        const int32_t* d1 = t.d1 + base;
        const int32_t* d2 = t.d2 + base;
        const int32_t* d3 = t.d3 + base;
        for (uint32_t c = 0; c < oc; ++c) {
            // The sum may pass 2^31 and read as negative. As 2^32 is one more than a multiple
            // of 65535, the result still lands within one unit: the wrap-around is kept.
            const uint32_t s =
                t.w1 * uint32_t(d1[c]) + t.w2 * uint32_t(d2[c]) + t.w3 * uint32_t(d3[c]) + 32767u;
            const int32_t q = int32_t(s) / 65535;     // truncates toward zero
            out[c] = uint16_t(node[c] + uint32_t(q)); // modulo 65536
        }
        return 1;
    }
    // A grid never prepared: the same tetrahedron as ChooseTetrahedron, as sample offsets of
    // its three far corners, and the differences taken from the grid, which are the values
    // the tables would hold. So a 16-bit grid needs no preparation before Trn.
    const uint32_t s0 = points2 * oc, s1 = points * oc, s2 = oc;
    uint32_t a1, a2, w1, w2, w3;
    if (f0 >= f1) {
        if (f2 < f1) {
            a1 = s0, a2 = s0 + s1, w1 = f0 - f1, w2 = f1 - f2, w3 = f2;
        } else if (f2 < f0) {
            a1 = s0, a2 = s0 + s2, w1 = f0 - f2, w2 = f2 - f1, w3 = f1;
        } else {
            a1 = s2, a2 = s0 + s2, w1 = f2 - f0, w2 = f0 - f1, w3 = f1;
        }
    } else if (f2 < f0) {
        a1 = s1, a2 = s0 + s1, w1 = f1 - f0, w2 = f0 - f2, w3 = f2;
    } else if (f2 < f1) {
        a1 = s1, a2 = s1 + s2, w1 = f1 - f2, w2 = f2 - f0, w3 = f0;
    } else {
        a1 = s2, a2 = s1 + s2, w1 = f2 - f1, w2 = f1 - f0, w3 = f0;
    }
    uint32_t a3 = s0 + s1 + s2;
    // A corner beyond the grid's edge lies along an axis of fraction 0, and every corner
    // along such an axis has weight 0 (the weights are differences of the fractions sorted
    // downwards). Its term is 0 whatever the difference, which the difference tables store as
    // 0; it is read at the node itself instead, which gives 0 too and stays inside the grid.
    if (w1 == 0) a1 = 0;
    if (w2 == 0) a2 = 0;
    if (w3 == 0) a3 = 0;
    const uint16_t* node = table.data() + base;
    for (uint32_t c = 0; c < oc; ++c) {
        const int32_t v = node[c];
        const int32_t d1 = int32_t(node[a1 + c]) - v;
        const int32_t d2 = int32_t(node[a2 + c]) - v;
        const int32_t d3 = int32_t(node[a3 + c]) - v;
        // The sum may pass 2^31 and read as negative. As 2^32 is one more than a multiple of
        // 65535, the result still lands within one unit: the wrap-around is kept as it is.
        const uint32_t s = w1 * uint32_t(d1) + w2 * uint32_t(d2) + w3 * uint32_t(d3) + 32767u;
        const int32_t q = int32_t(s) / 65535;     // truncates toward zero
        out[c] = uint16_t(node[c] + uint32_t(q)); // modulo 65536
    }
    return 1;
}

IMPLEMENT_DYNCREATE(CMft3_8, CMft_8)
IMPLEMENT_DYNCREATE(CMft3_16, CMft_16)
