// Profile use: turns the tags of a loaded profile into colour functions.
//
// The native link picks a tag for a step (A2Bx, B2Ax, preX, gamt or a TRC) and asks, in this
// order: CreateMft16Func, CreateMft8Func, then for RGB to XYZ CreateFromMatrixTRC and for XYZ to
// RGB CreateFromMatrixTRCInv. Every result is a new object owned by the caller; tag blocks are
// only read and no object keeps a pointer into them, so the profile may be destroyed at once.
//
// Encodings. Tables are applied to the samples as they stand: a version-2 mft2 and a version-4
// mAB  on a Lab connection space are evaluated alike, the header's version is never read, and
// the difference between the two 16-bit Lab encodings is deliberately not compensated. 16-bit
// XYZ has 1.0 at 32768.
//
// Damaged tags. Every member that reads a tag checks the counts, sizes and offsets found in the
// block against the block's length before it reads or allocates anything, and answers null
// (or 0) for a block whose structure does not fit. Only the free functions that take a bare
// record pointer without a length (CreateMft16Func, CreateMft8Func of a record) trust the
// record to hold everything its counts announce; use the forms with a length for data from
// outside.
#pragma once

#include <cstdint>

#include "base/Matrix3.h"
#include "base/WideString.h"
#include "colorfunc/Func.h"
#include "gridtable/TabMft.h"
#include "gridtable/TabMftX.h"
#include "icc/IccProfile.h"

class CIccProfileUse : public CIccProfileRead {
    DECLARE_DYNAMIC(CIccProfileUse)
public:
    explicit CIccProfileUse(CUserSettingsMgr* usm);
    ~CIccProfileUse() override;

    // The 16-bit function of tag `sig`, by the block's type: mft2 through the free
    // CreateMft16Func (bUseMatrix: apply the tag's matrix, which the link asks for exactly when
    // the connection space is XYZ), mAB  and mBA  through CreateMftXFromAToB/BToA, curv and
    // para as a CFunc_16GrayToXYZ that is inverse unless `src` is GRAY (so one gray curve
    // serves both directions; `dst` is not used). Null if the tag is absent, of any other type
    // (mft1 among them), or damaged.
    CFunc_16TabBaseMft* CreateMft16Func(uint32_t sig, bool bUseMatrix, icColorSpaceSignature src,
                                        icColorSpaceSignature dst);
    // The 8-bit function of an mft1 tag `sig`; null if absent, of another type, or damaged.
    CFunc_8TabBaseMft* CreateMft8Func(uint32_t sig);

    // Matrix/TRC profile, device RGB to 16-bit XYZ: a grid of two points per channel holding
    // the colorants (negative components as 0), behind 4096-entry curves expanded from rTRC,
    // gTRC, bTRC (identity curves if one is missing). Prepared for Trn. Null without all three
    // colorants.
    CFunc_16Tab3Mft* CreateFromMatrixTRC();
    // Matrix/TRC profile, 16-bit XYZ to device RGB: the inverse matrix (doubled, so that XYZ at
    // 1.0 = 32768 gives device values at 1.0 = 65536), no grid, and 256-entry inverse curves of
    // the TRCs read as curv records. Without all three TRCs, with counts that differ or a count
    // of 0 the object has no output curves. Null without colorants or for a singular matrix.
    CFunc_16Tab3MatrixMft* CreateFromMatrixTRCInv();

    // The XYZ number at offset 8 of wtpt, whatever the tag's type; 0 if there is none.
    int GetMediaWhite(icXYZNumber& white);
    // The header's illuminant; always 1.
    int GetIlluminant(icXYZNumber& illuminant);
    // The 8-bit text at offset 12 of desc, whatever the tag's type, read in the system's
    // narrow code page up to its terminator or the end of the block; empty if there is none.
    CMfxStringW GetDescription();

    // lutAtoBType: 3 or 4 inputs, grid of G points per axis (0 without a grid). A curves, M
    // curves, B curves, grid and matrix are defined where present. With 4 inputs a matrix
    // needs 3 outputs. `size` is the block's length. Null for other input counts, for a grid
    // whose axes have different point counts or whose precision is neither 1 nor 2, and for
    // a block that does not hold what its head announces (checked before allocating).
    static CFunc_16TabBaseMft* CreateMftXFromAToB(const lutAToBType* tag, uint32_t size);
    // lutBtoAType, 3 inputs only, in the B-to-A stage order: the tag's B curves become the
    // input curves and its A curves the output curves. G is read at the grid offset even when
    // that offset is 0, where it is the block's first byte and no size: the grid is then
    // allocated but left empty. A grid that is present is refused as for lutAtoBType.
    static CFunc_16TabBaseMft* CreateMftXFromBToA(const lutBToAType* tag, uint32_t size);

protected:
    // Rows are the colorants: row 0 is rXYZ's X, Y, Z, row 1 gXYZ, row 2 bXYZ. 0, with `m`
    // untouched, if one of them is missing or too short.
    int GetMatrix(CMatrix3& m);
};

// lut16Type: curves, grid, curves on 3 or 4 inputs. With 3 inputs and bUseMatrix the tag's
// matrix (by rows, as a CMatrix3) goes ahead of the input curves; with 4 inputs it is never
// used. Other input counts give null. The record is trusted to hold its tables.
CFunc_16TabBaseMft* CreateMft16Func(icLut16Type* tag, bool bUseMatrix);
// The same, for a record of `size` bytes: null if its tables do not fit.
CFunc_16TabBaseMft* CreateMft16Func(const icLut16Type* tag, uint32_t size, bool bUseMatrix);
// lut8Type on 3 or 4 inputs; its matrix is never used. The record is trusted.
CFunc_8TabBaseMft* CreateMft8Func(icLut8Type* tag);
// The same, for a record of `size` bytes: null if its tables do not fit.
CFunc_8TabBaseMft* CreateMft8Func(const icLut8Type* tag, uint32_t size);

// Bakes `pre` in front of the pipeline `lut`: a new pipeline of `gridPoints` points per axis on
// pre's inputs (3 or 4) whose grid samples lut without its output curves after pre, and whose
// output curves are lut's. `lut` is prepared (InitMftTrn) on the way and stays the caller's, as
// does `pre`. Null for other input counts, fewer than 2 grid points, or when pre's outputs do
// not feed lut's inputs.
CFunc_16TabBaseMft* CreateConcatFunc(CFunc_16& pre, CFunc_16TabBaseMft* lut, unsigned gridPoints);
CFunc_8TabBaseMft* CreateConcatFunc(CFunc_8& pre, CFunc_8TabBaseMft* lut, unsigned gridPoints);
