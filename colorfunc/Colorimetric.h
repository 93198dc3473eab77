// Analytic 16-bit stages that stand between profiles in a chain: Lab <-> XYZ, the move of the
// white to D50, relative <-> absolute colorimetry and black point scaling. All are 3-to-3,
// immutable after construction, answer 1 and may be shared between threads.
//
// Encodings used below:
//   ICC Lab 16  - legacy 16-bit Lab (L 100 at 0xFF00, a and b neutral at 0x8000)
//   XYZ 65535   - each of X, Y, Z scaled so that the white's coordinate is 65535
//   XYZ 1.15    - ICC connection-space XYZ: 1.0 at about 32768, the range reaching nearly 2.0
//
// They use floating point and the colorimetry library, so they belong where a link is built
// (once per grid node), not on a per-pixel path.
#pragma once

#include <cstdint>

#include "colorfunc/Func.h"
#include "icc/IccRecords.h"

// ICC Lab 16 to and from XYZ, on either XYZ scale. Results are rounded to nearest and limited
// to 0..65535.
class CLabXYZ16 : public CFunc_16 {
    DECLARE_DYNAMIC(CLabXYZ16)
public:
    CLabXYZ16() : CFunc_16(3, 3) {}

    // ICC Lab 16 to XYZ 65535.
    int Trn(const uint16_t* in, uint16_t* out) const override;
    // XYZ 65535 to ICC Lab 16.
    int Inv(const uint16_t* in, uint16_t* out) const override;
    // ICC Lab 16 to XYZ 1.15.
    virtual int Trn2(const uint16_t* in, uint16_t* out) const;
    // XYZ 1.15 to ICC Lab 16.
    virtual int Inv2(const uint16_t* in, uint16_t* out) const;
};

// The one shared instance that the library exports. Const: it holds no state, and a const
// object cannot be handed to a composition by an owning pointer by mistake.
extern const CLabXYZ16 LabXYZ16;

// XYZ 65535 (white at 65535 on every axis) to XYZ 1.15 with the D50 white, and back.
// Truncates and limits to 0..65535.
class CXYZRelToIcc : public CFunc_16 {
    DECLARE_DYNAMIC(CXYZRelToIcc)
public:
    CXYZRelToIcc() : CFunc_16(3, 3) {}

    int Trn(const uint16_t* in, uint16_t* out) const override;
    int Inv(const uint16_t* in, uint16_t* out) const override;
};

// Relative to absolute colorimetry: Trn scales by D50 over the media white, Inv by the media
// white over D50. Works on XYZ 1.15 or, through Trn2/Inv2, on ICC Lab 16. Y is never allowed
// past the white (32767); where it would be, all three are reduced by the same ratio so that
// the chromaticity stays.
class CXYZorLabRelAbs : public CLabXYZ16 {
    DECLARE_DYNAMIC(CXYZorLabRelAbs)
public:
    // A white with a zero component divides by zero here; nothing guards against it.
    CXYZorLabRelAbs(const icXYZNumber& white, int isXYZ);

    int Trn(const uint16_t* in, uint16_t* out) const override;
    int Inv(const uint16_t* in, uint16_t* out) const override;

    double factorX() const { return m_factorX; }
    double factorY() const { return m_factorY; }
    double factorZ() const { return m_factorZ; }
    int isXYZ() const { return m_isXYZ; }

protected:
    // The common body of Trn and Inv: multiply by the factors, or divide by them.
    int Apply(const uint16_t* in, uint16_t* out, bool multiply) const;

    double m_factorX; // 0.9642 / Xw
    double m_factorY; // 1.0 / Yw
    double m_factorZ; // 0.8249 / Zw
    int m_isXYZ;      // non-zero: XYZ 1.15 in and out; zero: ICC Lab 16
};

// Absolute to relative colorimetry: the directions of CXYZorLabRelAbs swapped.
class CXYZorLabAbsRel : public CXYZorLabRelAbs {
    DECLARE_DYNAMIC(CXYZorLabAbsRel)
public:
    CXYZorLabAbsRel(const icXYZNumber& white, int isXYZ) : CXYZorLabRelAbs(white, isXYZ) {}

    int Trn(const uint16_t* in, uint16_t* out) const override;
    int Inv(const uint16_t* in, uint16_t* out) const override;
};

class CXYZRelAbs : public CXYZorLabRelAbs {
    DECLARE_DYNAMIC(CXYZRelAbs)
public:
    explicit CXYZRelAbs(const icXYZNumber& white) : CXYZorLabRelAbs(white, 1) {}
};

class CLabRelAbs : public CXYZorLabRelAbs {
    DECLARE_DYNAMIC(CLabRelAbs)
public:
    explicit CLabRelAbs(const icXYZNumber& white) : CXYZorLabRelAbs(white, 0) {}
};

class CXYZAbsRel : public CXYZorLabAbsRel {
    DECLARE_DYNAMIC(CXYZAbsRel)
public:
    explicit CXYZAbsRel(const icXYZNumber& white) : CXYZorLabAbsRel(white, 1) {}
};

class CLabAbsRel : public CXYZorLabAbsRel {
    DECLARE_DYNAMIC(CLabAbsRel)
public:
    explicit CLabAbsRel(const icXYZNumber& white) : CXYZorLabAbsRel(white, 0) {}
};

// Black point scaling on XYZ 1.15: a linear map per channel that takes the source black to
// the destination black and keeps the white. The arguments are the L samples (ICC Lab 16) of
// the source black and of the destination black.
class CBPScalingXYZ : public CFunc_16 {
    DECLARE_DYNAMIC(CBPScalingXYZ)
public:
    // A source black at the white's Y divides by zero here; nothing guards against it.
    CBPScalingXYZ(uint16_t blackL1, uint16_t blackL2);

    int Trn(const uint16_t* in, uint16_t* out) const override;
    int Inv(const uint16_t* in, uint16_t* out) const override;

    double scale() const { return m_scale; }
    double offset() const { return m_offset; }

protected:
    // The per-channel formulas of Trn and Inv, shared with the Lab variant.
    void ScaleXYZ(const uint16_t* in, uint16_t* out) const;
    void UnscaleXYZ(const uint16_t* in, uint16_t* out) const;

    CLabXYZ16 labXYZ;
    double m_scale;  // (65535 - Y2) / (65535 - Y1)
    double m_offset; // (1 - scale) * 65535 * 0.5, on XYZ 1.15
};

// The same scaling on ICC Lab 16, through XYZ 1.15.
class CBPScalingLab : public CBPScalingXYZ {
    DECLARE_DYNAMIC(CBPScalingLab)
public:
    CBPScalingLab(uint16_t blackL1, uint16_t blackL2) : CBPScalingXYZ(blackL1, blackL2) {}

    int Trn(const uint16_t* in, uint16_t* out) const override;
    int Inv(const uint16_t* in, uint16_t* out) const override;
};
