// Extended 16-bit pipelines for the other shapes of an ICC lookup: one-channel curves, a matrix
// ahead of or behind the input curves (lut8/lut16 with XYZ input, matrix/shaper profiles), and
// the five stages of lutAtoB and lutBtoA. All are built from ICC tags or by a link, filled by
// their Define... operations, prepared by InitMftTrn() and then applied. None is persistent and
// none has an inverse. Unfilled stages are identities: curves of two entries, the identity
// matrix with zero offsets, and a grid of 0 points is passed over by a copy.
#pragma once

#include <cstdint>
#include <memory>

#include "base/Matrix3.h"
#include "colorfunc/Func16Matrix.h"
#include "colorfunc/Func16Tab.h"
#include "gridtable/TabMft.h"
#include "icc/IccRecords.h"

// One input, outputChan outputs: the input curve, the value spread to every channel, a
// per-channel middle curve, the output curves.
class CFunc_16Tab1Mft : public CFunc_16TabBaseMft {
    DECLARE_DYNAMIC(CFunc_16Tab1Mft)
public:
    explicit CFunc_16Tab1Mft(unsigned outputChan);
    CFunc_16Tab1Mft(const CFunc_16Tab1Mft&) = default;
    CFunc_16Tab1Mft& operator=(const CFunc_16Tab1Mft&) = default;

    // Samples f at x = i * 16 for i = 0..4095 into the middle curves. The last sample stands
    // for 65520, not 65535: the curve's end is read slightly early, on purpose.
    void DefineByFunc(const CFunc_16& f);

    // Answers what the middle curve answers, unlike the other pipelines.
    int Trn(const uint16_t* in, uint16_t* out) const override;

    void InitMftTrn() override {} // no grid
    CFunc_16TabBaseMft* CreateClone() const override { return new CFunc_16Tab1Mft(*this); }

    const CFunc_16Tab& FuncMiddleTab() const { return middleTab; }

private:
    CFunc_16Tab middleTab; // outputChan curves
};

// Matrix, input curves, grid, output curves: lut8/lut16 whose matrix applies (XYZ input).
class CFunc_16Tab3LUTMft : public CFunc_16Tab3Mft {
    DECLARE_DYNAMIC(CFunc_16Tab3LUTMft)
public:
    CFunc_16Tab3LUTMft(unsigned clutPoints, unsigned outputChan)
        : CFunc_16Tab3Mft(clutPoints, outputChan) {}
    // As the width conversion of CFunc_16Tab3Mft; no matrix.
    explicit CFunc_16Tab3LUTMft(const CFunc_8Tab3Mft& s) : CFunc_16Tab3Mft(s) {}
    CFunc_16Tab3LUTMft(const CFunc_16Tab3LUTMft& o);
    CFunc_16Tab3LUTMft& operator=(const CFunc_16Tab3LUTMft& o);

    // Replaces the matrix; the identity leaves none, which saves the stage.
    void DefineMatrix(const CMatrix3& m);

    int Trn(const uint16_t* in, uint16_t* out) const override;
    CFunc_16TabBaseMft* CreateClone() const override { return new CFunc_16Tab3LUTMft(*this); }

    const CFunc_16Matrix* matrixFunc() const { return m_matrixFunc.get(); }

private:
    std::unique_ptr<CFunc_16Matrix> m_matrixFunc; // null: no matrix stage
};

// Input curves, matrix, grid, output curves: matrix/shaper profiles, which have no grid at all
// (clutPoints 0) and 3 outputs.
class CFunc_16Tab3MatrixMft : public CFunc_16Tab3Mft {
    DECLARE_DYNAMIC(CFunc_16Tab3MatrixMft)
public:
    // Note the order of the counts, the opposite of the other constructors. The matrix is
    // taken as it is, identity or not.
    CFunc_16Tab3MatrixMft(const CMatrix3& m, unsigned outputChan, unsigned clutPoints);
    CFunc_16Tab3MatrixMft(unsigned clutPoints, unsigned outputChan)
        : CFunc_16Tab3Mft(clutPoints, outputChan) {}
    explicit CFunc_16Tab3MatrixMft(const CFunc_8Tab3Mft& s) : CFunc_16Tab3Mft(s) {}
    CFunc_16Tab3MatrixMft(const CFunc_16Tab3MatrixMft& o);
    CFunc_16Tab3MatrixMft& operator=(const CFunc_16Tab3MatrixMft& o);

    int Trn(const uint16_t* in, uint16_t* out) const override;
    CFunc_16TabBaseMft* CreateClone() const override { return new CFunc_16Tab3MatrixMft(*this); }

    const CFunc_16Matrix* matrixFunc() const { return m_matrixFunc.get(); }

private:
    std::unique_ptr<CFunc_16Matrix> m_matrixFunc; // null: no matrix stage
};

// Five stages on three inputs. matrixFirst false, the A-to-B order: input curves, grid,
// middle curves, matrix, output curves. matrixFirst true, the B-to-A order: input curves,
// matrix, middle curves, grid, output curves.
class CFunc_16Tab3MftX : public CFunc_16TabBaseMft {
    DECLARE_DYNAMIC(CFunc_16Tab3MftX)
public:
    CFunc_16Tab3MftX(unsigned clutPoints, unsigned outputChan, bool matrixFirst);
    CFunc_16Tab3MftX(const CFunc_16Tab3MftX&) = default;
    CFunc_16Tab3MftX& operator=(const CFunc_16Tab3MftX&) = default;

    // The grid from an ICC grid record: precision 2 as it stands, precision 1 widened by 257,
    // any other precision leaves the grid as it was. The grid's size is this object's.
    void DefineClut(const icCLutStruct* clut);
    // Twelve s15Fixed16 numbers: the 3x3 matrix by rows, then the offsets.
    void DefineMatrix(const void* values);
    // Consecutive ICC curve records (curv or para), one per channel of the stage.
    void DefineInputTabByIccTag(const void* curves) { inputTab.DefineByIccCurves(curves); }
    void DefineMiddleTabByIccTag(const void* curves) { middleTab.DefineByIccCurves(curves); }
    void DefineOutputTabByIccTag(const void* curves) { outputTab.DefineByIccCurves(curves); }

    int Trn(const uint16_t* in, uint16_t* out) const override;
    unsigned clutEntries() const override;
    // A grid of 0 points is passed over by Trn and has nothing to prepare.
    void InitMftTrn() override {
        if (mft.clutPoints() != 0) mft.InitTrn();
    }
    CFunc_16TabBaseMft* CreateClone() const override { return new CFunc_16Tab3MftX(*this); }

    bool matrixFirst() const { return m_matrixFirst; }
    CMft3_16& Mft() { return mft; }
    const CMft3_16& Mft() const { return mft; }
    const CFunc_16Matrix& MatrixX() const { return matrixX; }
    const CFunc_16Tab& FuncMiddleTab() const { return middleTab; }

private:
    bool m_matrixFirst;
    CMft3_16 mft;
    CFunc_16Matrix matrixX;
    CFunc_16Tab middleTab; // 3 curves
};

// Five stages on four inputs, in the A-to-B order only: input curves, grid, middle curves,
// matrix, output curves. Its own skip flag for the input curves shadows the base's.
class CFunc_16Tab4MftX : public CFunc_16TabBaseMft {
    DECLARE_DYNAMIC(CFunc_16Tab4MftX)
public:
    CFunc_16Tab4MftX(unsigned clutPoints, unsigned outputChan);
    CFunc_16Tab4MftX(const CFunc_16Tab4MftX&) = default;
    CFunc_16Tab4MftX& operator=(const CFunc_16Tab4MftX&) = default;

    void DefineClut(const icCLutStruct* clut);
    void DefineMatrix(const void* values);
    void DefineInputTabByIccTag(const void* curves) { inputTab.DefineByIccCurves(curves); }
    void DefineMiddleTabByIccTag(const void* curves) { middleTab.DefineByIccCurves(curves); }
    void DefineOutputTabByIccTag(const void* curves) { outputTab.DefineByIccCurves(curves); }

    // Hides the base's setter: Trn reads only this class's flag. Called through a
    // CFunc_16TabBaseMft the base's flag is set, which this class's Trn never reads. The
    // output flag is the base's.
    void SetSkipInputTab(bool skip) { skipInputTabX = skip; }
    bool skipInputTab() const { return skipInputTabX; }

    int Trn(const uint16_t* in, uint16_t* out) const override;
    // clutEntries is left the base's: it answers 0 whatever the grid.
    // A grid of 0 points is passed over by Trn and has nothing to prepare.
    void InitMftTrn() override {
        if (mft.clutPoints() != 0) mft.InitTrn();
    }
    CFunc_16TabBaseMft* CreateClone() const override { return new CFunc_16Tab4MftX(*this); }

    CMft4_16& Mft() { return mft; }
    const CMft4_16& Mft() const { return mft; }
    const CFunc_16Matrix& MatrixX() const { return matrixX; }
    const CFunc_16Tab& FuncMiddleTab() const { return middleTab; }

private:
    CMft4_16 mft;
    CFunc_16Matrix matrixX;
    CFunc_16Tab middleTab; // outputChan curves
    bool skipInputTabX = false;
};
