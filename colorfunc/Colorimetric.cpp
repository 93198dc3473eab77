#include "colorfunc/Colorimetric.h"

#include <sys/mman.h>

#include <atomic>
#include <cmath>

#include "base/Colorimetry.h"

IMPLEMENT_DYNAMIC(CLabXYZ16, CFunc_16)
IMPLEMENT_DYNAMIC(CXYZRelToIcc, CFunc_16)
IMPLEMENT_DYNAMIC(CXYZorLabRelAbs, CLabXYZ16)
IMPLEMENT_DYNAMIC(CXYZorLabAbsRel, CXYZorLabRelAbs)
IMPLEMENT_DYNAMIC(CXYZRelAbs, CXYZorLabRelAbs)
IMPLEMENT_DYNAMIC(CLabRelAbs, CXYZorLabRelAbs)
IMPLEMENT_DYNAMIC(CXYZAbsRel, CXYZorLabAbsRel)
IMPLEMENT_DYNAMIC(CLabAbsRel, CXYZorLabAbsRel)
IMPLEMENT_DYNAMIC(CBPScalingXYZ, CFunc_16)
IMPLEMENT_DYNAMIC(CBPScalingLab, CBPScalingXYZ)

const CLabXYZ16 LabXYZ16;

namespace {

// Whites that put the result of lab2XYZ directly on the two 16-bit XYZ scales.
constexpr double kWhite65535[3] = {65535.0, 65535.0, 65535.0};
constexpr double kWhite115[3] = {32767.5, 32767.5, 32767.5}; // 65535 / 2: 1.0 at about 32768

void LabToXYZ(const uint16_t* in, uint16_t* out, const double* white) {
    double lab[3], xyz[3];
    IccDecodeLab16(in, lab);
    lab2XYZ(lab, xyz, white);
    for (int i = 0; i < 3; ++i) out[i] = RoundLimit16(xyz[i]);
}

// LabF(v / 65535.0) for the integers v that Inv (XYZ 0 .. 65535) and Inv2 (that doubled, up to
// 131070) divide by the white 65535, each computed on its first use and kept for the process:
// a link's nodes ask for the same components again and again, and the cube root is the
// costliest part of their conversion. An entry holds the very value LabF returns for that
// argument, so the Lab that follows is the one XYZ2lab gives. 0.0 marks an entry not yet
// computed (LabF is never below 16/116). Threads meeting the same empty entry each compute the
// same bits and store them; relaxed atomic accesses make that well defined. Inv and Inv2 keep
// caches of their own, so that a process that only ever calls Inv (the usual case) maps half a
// megabyte, not a whole one; an entry both hold has the same bits in each.
constexpr uint32_t kInv2CacheEntries = 2 * 65535 + 1; // v up to 131070
constexpr uint32_t kInvCacheEntries = 65535 + 1;      // v up to 65535

// A cache of `Entries` zeroed entries, made on the first use, its pages mapped at once:
// touched one by one, a first link's nodes would stop on a page fault for most of them.
template <uint32_t Entries> double* LabFCache() {
    static double* const cache = [] {
        constexpr size_t bytes = Entries * sizeof(double);
        void* p = mmap(nullptr, bytes, PROT_READ | PROT_WRITE,
                       MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
        if (p != MAP_FAILED) return static_cast<double*>(p);
        return new double[Entries](); // zeroed, mapped as it is touched
    }();
    return cache;
}

// The entry of v, computed and stored if it is still empty.
double CachedLabF(double* cache, uint32_t v, double f) {
    if (f == 0.0) {
        f = LabF(v / kWhite65535[0]);
        std::atomic_ref<double>(cache[v]).store(f, std::memory_order_relaxed);
    }
    return f;
}

// XYZ on the 65535 scale, each component an integer v below Entries, to 16-bit Lab:
// XYZ2lab with the white kWhite65535, its cube roots taken from the cache. The three entries
// are loaded before any is looked at, so that their cache misses overlap.
template <uint32_t Entries> void XYZToLab(const uint32_t* xyz, uint16_t* out) {
    double* cache = LabFCache<Entries>();
    const double e0 = std::atomic_ref<double>(cache[xyz[0]]).load(std::memory_order_relaxed);
    const double e1 = std::atomic_ref<double>(cache[xyz[1]]).load(std::memory_order_relaxed);
    const double e2 = std::atomic_ref<double>(cache[xyz[2]]).load(std::memory_order_relaxed);
    const double f[3] = {CachedLabF(cache, xyz[0], e0), CachedLabF(cache, xyz[1], e1),
                         CachedLabF(cache, xyz[2], e2)};
    double lab[3];
    LabFromF(f, lab);
    IccEncodeLab16(lab, out); // the encoder rounds and limits
}

} // namespace

// ---------------------------------------------------------------------------------------------
// CLabXYZ16

int CLabXYZ16::Trn(const uint16_t* in, uint16_t* out) const {
    LabToXYZ(in, out, kWhite65535);
    return 1;
}

int CLabXYZ16::Trn2(const uint16_t* in, uint16_t* out) const {
    LabToXYZ(in, out, kWhite115);
    return 1;
}

int CLabXYZ16::Inv(const uint16_t* in, uint16_t* out) const {
    const uint32_t xyz[3] = {in[0], in[1], in[2]};
    XYZToLab<kInvCacheEntries>(xyz, out);
    return 1;
}

int CLabXYZ16::Inv2(const uint16_t* in, uint16_t* out) const {
    // Doubling takes XYZ 1.15 to XYZ 65535; beyond 16 bits, so nothing is lost above 32767.
    const uint32_t xyz[3] = {in[0] * 2u, in[1] * 2u, in[2] * 2u};
    XYZToLab<kInv2CacheEntries>(xyz, out);
    return 1;
}

// ---------------------------------------------------------------------------------------------
// CXYZRelToIcc

int CXYZRelToIcc::Trn(const uint16_t* in, uint16_t* out) const {
    out[0] = TruncLimit16(in[0] / 65535.0 * kD50X * 32768.0);
    out[1] = TruncLimit16(in[1] / 65535.0 * 32768.0);
    out[2] = TruncLimit16(in[2] / 65535.0 * kD50Z * 32768.0);
    return 1;
}

int CXYZRelToIcc::Inv(const uint16_t* in, uint16_t* out) const {
    constexpr double k = 1.0 / 32768.0;
    out[0] = TruncLimit16(in[0] / kD50X * k * 65535.0);
    out[1] = TruncLimit16(in[1] * k * 65535.0);
    out[2] = TruncLimit16(in[2] / kD50Z * k * 65535.0);
    return 1;
}

// ---------------------------------------------------------------------------------------------
// Relative and absolute colorimetry

CXYZorLabRelAbs::CXYZorLabRelAbs(const icXYZNumber& white, int isXYZ)
    : m_factorX(kD50X / (white.X * icFixed16Unit)), m_factorY(kD50Y / (white.Y * icFixed16Unit)),
      m_factorZ(kD50Z / (white.Z * icFixed16Unit)), m_isXYZ(isXYZ) {}

int CXYZorLabRelAbs::Apply(const uint16_t* in, uint16_t* out, bool multiply) const {
    uint16_t s[3];
    if (m_isXYZ) {
        s[0] = in[0];
        s[1] = in[1];
        s[2] = in[2];
    } else {
        Trn2(in, s);
    }
    double x = s[0], y = s[1], z = s[2];
    if (multiply) {
        x *= m_factorX;
        y *= m_factorY;
        z *= m_factorZ;
    } else {
        x /= m_factorX;
        y /= m_factorY;
        z /= m_factorZ;
    }
    // Y may not pass the white; the same ratio on all three keeps the chromaticity.
    if (y > 32767.0) {
        const double r = 32767.0 / y;
        x *= r;
        y *= r;
        z *= r;
    }
    // A floor and not a rounding, limited to 0..65535: truncation is the floor on every value
    // at or above 0, and every value below 0 (or NaN) gives 0 either way.
    uint16_t r[3];
    const double v[3] = {x, y, z};
    for (int i = 0; i < 3; ++i) r[i] = TruncLimit16(v[i]);
    if (m_isXYZ) {
        out[0] = r[0];
        out[1] = r[1];
        out[2] = r[2];
    } else {
        Inv2(r, out);
    }
    return 1;
}

int CXYZorLabRelAbs::Trn(const uint16_t* in, uint16_t* out) const {
    return Apply(in, out, true);
}

int CXYZorLabRelAbs::Inv(const uint16_t* in, uint16_t* out) const {
    return Apply(in, out, false);
}

int CXYZorLabAbsRel::Trn(const uint16_t* in, uint16_t* out) const {
    return CXYZorLabRelAbs::Inv(in, out);
}

int CXYZorLabAbsRel::Inv(const uint16_t* in, uint16_t* out) const {
    return CXYZorLabRelAbs::Trn(in, out);
}

// ---------------------------------------------------------------------------------------------
// Black point scaling

CBPScalingXYZ::CBPScalingXYZ(uint16_t blackL1, uint16_t blackL2) : CFunc_16(3, 3) {
    const uint16_t black1[3] = {blackL1, 0x8000, 0x8000};
    const uint16_t black2[3] = {blackL2, 0x8000, 0x8000};
    uint16_t xyz1[3], xyz2[3];
    labXYZ.Trn(black1, xyz1);
    labXYZ.Trn(black2, xyz2);
    const double y1 = xyz1[1], y2 = xyz2[1];
    m_scale = (65535.0 - y2) / (65535.0 - y1);
    // The factor 0.5 puts the offset on XYZ 1.15, on which the object works.
    m_offset = (1.0 - m_scale) * 65535.0 * 0.5;
}

void CBPScalingXYZ::ScaleXYZ(const uint16_t* in, uint16_t* out) const {
    for (int i = 0; i < 3; ++i) out[i] = TruncLimit16(in[i] * m_scale + m_offset + 0.5);
}

void CBPScalingXYZ::UnscaleXYZ(const uint16_t* in, uint16_t* out) const {
    for (int i = 0; i < 3; ++i) out[i] = TruncLimit16((in[i] - m_offset) / m_scale + 0.5);
}

int CBPScalingXYZ::Trn(const uint16_t* in, uint16_t* out) const {
    ScaleXYZ(in, out);
    return 1;
}

int CBPScalingXYZ::Inv(const uint16_t* in, uint16_t* out) const {
    UnscaleXYZ(in, out);
    return 1;
}

int CBPScalingLab::Trn(const uint16_t* in, uint16_t* out) const {
    uint16_t t[3], u[3];
    labXYZ.Trn2(in, t);
    ScaleXYZ(t, u);
    labXYZ.Inv2(u, out);
    return 1;
}

int CBPScalingLab::Inv(const uint16_t* in, uint16_t* out) const {
    uint16_t t[3], u[3];
    labXYZ.Trn2(in, t);
    UnscaleXYZ(t, u);
    labXYZ.Inv2(u, out);
    return 1;
}
