// Table pipelines: per-channel input curves, a grid, per-channel output curves, held as one
// colour function. A profile's lookup transform and a built colour link are both this chain.
//
// The 8-bit and the 16-bit pipelines are twins with deliberate differences:
// - 8 bits: exact 256-entry curves, the grid interpolates in 1/255 of a cell; persistent
//   (Serialize, CreateObject), GridTrn on the three-input class, and the V13 mode.
// - 16 bits: curves read at 12-bit resolution (the lower four bits of a sample are dropped),
//   the grid then interpolates with the full 16-bit fraction; not persistent, no GridTrn, no
//   V13 mode. With the input curves skipped the grid gets the unquantised input.
#pragma once

#include <algorithm>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "base/Exception.h"
#include "colorfunc/Func16Tab.h"
#include "colorfunc/Func8Tab.h"
#include "gridtable/Mft3.h"
#include "gridtable/Mft4.h"

// The curve class of a sample width.
template <class T> struct CurveTabOf;
template <> struct CurveTabOf<uint8_t> { using type = CFunc_8Tab; };
template <> struct CurveTabOf<uint16_t> { using type = CFunc_16Tab; };
template <class T> using CurveTabOf_t = typename CurveTabOf<T>::type;

// Common body of CFunc_8TabBaseMft and CFunc_16TabBaseMft: the two curve sets and the flags
// that bypass them. Trn and Inv stay those of the base and answer 0; a pipeline has no inverse.
template <class T> class TFuncTabBaseMft : public FuncOf_t<T> {
public:
    using Func = FuncOf_t<T>;
    using Tab = CurveTabOf_t<T>;

    // Sizes of the local vectors of Trn. 16 outputs is also what a 16-bit curve set serves.
    static constexpr unsigned kMaxInputs = 4;
    static constexpr unsigned kMaxOutputs = 16;

    // Slots behind Inv, in this order: number of grid nodes (0 here), preparation of the grid
    // before the first Trn; the sample-width bases append CreateClone.
    virtual unsigned clutEntries() const { return 0; }
    virtual void InitMftTrn() = 0;

    const Tab& FuncInputTab() const { return inputTab; }
    const Tab& FuncOutputTab() const { return outputTab; }

    // With a flag set, Trn passes the samples by that curve set. The curves stay stored.
    void SetSkipInputTab(bool skip) { m_skipInputTab = skip; }
    void SetSkipOutputTab(bool skip) { m_skipOutputTab = skip; }
    bool skipInputTab() const { return m_skipInputTab; }
    bool skipOutputTab() const { return m_skipOutputTab; }

protected:
    // The given curves, both flags false. Throws CInvalidArgException for more
    // channels than the local vectors of Trn hold.
    TFuncTabBaseMft(unsigned in, unsigned out, Tab inTab, Tab outTab)
        : Func(CheckedCount(in, kMaxInputs), CheckedCount(out, kMaxOutputs)),
          inputTab(std::move(inTab)), outputTab(std::move(outTab)) {}
    TFuncTabBaseMft(const TFuncTabBaseMft&) = default;
    TFuncTabBaseMft& operator=(const TFuncTabBaseMft&) = default;

    // The pipeline's Trn on a grid of the matching width; answers 1 whatever the stages did.
    template <class Grid> int TrnThrough(const Grid& grid, const T* in, T* out) const {
        // A grid reads all its inputs before it writes an output, so a skipped curve set lets
        // it read the caller's vector, or write the caller's, directly (even the same vector):
        // the samples a copy through the local vectors would give, without the copy.
        T a[kMaxInputs];
        T b[kMaxOutputs];
        const T* gridIn = in;
        if (!m_skipInputTab) {
            inputTab.Trn(in, a);
            gridIn = a;
        }
        if (m_skipOutputTab) {
            grid.Trn(gridIn, out);
            return 1;
        }
        grid.Trn(gridIn, b);
        outputTab.Trn(b, out);
        return 1;
    }

    Tab inputTab;  // inputChan curves
    Tab outputTab; // outputChan curves
    bool m_skipInputTab = false;
    bool m_skipOutputTab = false;

private:
    static unsigned CheckedCount(unsigned n, unsigned max) {
        if (n > max) AfxThrowInvalidArgException();
        return n;
    }
};

class CFunc_16TabBaseMft;

class CFunc_8TabBaseMft : public TFuncTabBaseMft<uint8_t> {
    DECLARE_DYNAMIC(CFunc_8TabBaseMft)
public:
    // 3 to 3 with identity curves: the start of an object read from an archive.
    CFunc_8TabBaseMft() : CFunc_8TabBaseMft(3, 3) {}
    CFunc_8TabBaseMft(unsigned in, unsigned out)
        : TFuncTabBaseMft(in, out, CFunc_8Tab(in, nullptr), CFunc_8Tab(out, nullptr)) {}
    // Narrowing: the new curves sample the source's 12-bit read-out at v * 257 for every byte
    // v and keep the high byte. Flags false whatever the source's.
    explicit CFunc_8TabBaseMft(const CFunc_16TabBaseMft& s);

    // A heap copy of the same class; the caller owns it.
    virtual CFunc_8TabBaseMft* CreateClone() const = 0;

    // inputChan or outputChan blocks of 256 bytes; null gives the identity.
    void DefineInputTab(const uint8_t* tab) { inputTab.Define(tab); }
    void DefineOutputTab(const uint8_t* tab) { outputTab.Define(tab); }

    // Both curve sets bypassed in one step: the pipeline becomes the bare grid, for tables
    // that already hold the whole transform. Undone only through the two setters.
    void SetDefaultTransV13Mode() {
        m_skipInputTab = true;
        m_skipOutputTab = true;
    }
};

class CFunc_16TabBaseMft : public TFuncTabBaseMft<uint16_t> {
    DECLARE_DYNAMIC(CFunc_16TabBaseMft)
public:
    CFunc_16TabBaseMft(unsigned in, unsigned out)
        : TFuncTabBaseMft(in, out, CFunc_16Tab(in, nullptr, 0), CFunc_16Tab(out, nullptr, 0)) {}
    // Widening: every entry of the 256-entry curves times 257, kept as 256-entry curves.
    // Flags false whatever the source's.
    explicit CFunc_16TabBaseMft(const CFunc_8TabBaseMft& s);

    virtual CFunc_16TabBaseMft* CreateClone() const = 0;

    // One block of `entries` samples per channel; null or 0 entries gives the identity.
    void DefineInputTab(const uint16_t* tab, unsigned entries) { inputTab.DefineTab(tab, entries); }
    void DefineOutputTab(const uint16_t* tab, unsigned entries) {
        outputTab.DefineTab(tab, entries);
    }
    // The curves of `tab` read with this set's channel count: the same as defining them from
    // tab.pRawTab() and tab.entries(), and where the counts agree a copy, which shares the
    // read-out tables made for `tab` instead of making them again.
    void DefineInputTab(const CFunc_16Tab& tab) { DefineCurves(inputTab, tab); }
    void DefineOutputTab(const CFunc_16Tab& tab) { DefineCurves(outputTab, tab); }

private:
    static void DefineCurves(CFunc_16Tab& to, const CFunc_16Tab& from) {
        if (to.inputChan() == from.inputChan() && from.pRawTab())
            to = from;
        else
            to.DefineTab(from.pRawTab(), from.entries());
    }
};

// A complete pipeline: Base is one of the two bases above, Grid the grid of that width with
// In inputs.
template <class Base, class Grid, unsigned In> class TFuncTabMft : public Base {
public:
    using T = typename Base::Sample;
    using Func = FuncOf_t<T>;
    static constexpr unsigned kInputs = In;

    int Trn(const T* in, T* out) const override { return this->TrnThrough(mft, in, out); }

    // clutPoints to the power In, from the grid's point count alone.
    unsigned clutEntries() const override {
        uint32_t n = 1;
        for (unsigned k = 0; k < In; ++k) n *= mft.clutPoints();
        return n;
    }
    // Every filling step (grid or load) must be followed by this before the first Trn.
    void InitMftTrn() override { mft.InitTrn(); }

    // Fills the grid only: f maps the grid's own domain and range, behind the input curves and
    // before the output curves, which stay as they are.
    void DefineByFunc(const Func& f) { mft.DefineByFunc(f); }
    // The same grid, sampled on `threads` threads (see TMft::DefineByFuncOnThreads).
    void DefineByFuncOnThreads(const Func& f, unsigned threads) {
        mft.DefineByFuncOnThreads(f, threads);
    }
    // The grid of rest(head(x)), head mapping each channel alone (see the grid's own form).
    void DefineByFuncOnThreads(const Func& head, const Func& rest, unsigned threads) {
        mft.DefineByFuncOnThreads(head, rest, threads);
    }

    Grid& Mft() { return mft; }
    const Grid& Mft() const { return mft; }

protected:
    TFuncTabMft() = default;
    // Identity curves, grid allocated but not filled, both flags false.
    TFuncTabMft(unsigned clutPoints, unsigned outputChan)
        : Base(In, outputChan), mft(clutPoints, outputChan) {}
    TFuncTabMft(const TFuncTabMft&) = default;
    TFuncTabMft& operator=(const TFuncTabMft&) = default;

    // From a pipeline of the other width: curves by the base's conversion, grid of the same
    // size with every sample converted (x * 257 or the high byte). No precomputed table comes
    // across: the result needs InitMftTrn().
    template <class Source>
    requires(!std::is_same_v<typename Source::Sample, T>) explicit TFuncTabMft(const Source& s)
        : Base(s), mft(s.Mft().clutPoints(), s.outputChan()) {
        mft.DefineConverted(s.Mft().Table());
    }

    // The archive body of the persistent (8-bit) pipelines: counts, input curves, grid, output
    // curves, each by its own Serialize. A load is checked for counts that fit together.
    void SerializeChain(CArchive& ar) requires(sizeof(T) == 1) {
        Func::Serialize(ar);
        this->inputTab.Serialize(ar);
        mft.Serialize(ar);
        this->outputTab.Serialize(ar);
        if (ar.IsLoading()) CheckLoadedCounts();
    }

    Grid mft;

private:
    // Archives may come from outside: refuse a chain whose parts do not fit together, or that
    // Trn's local vectors could not hold.
    void CheckLoadedCounts() const {
        const unsigned out = this->outputChan();
        const bool ok = this->inputChan() == In && out >= 1 && out <= Base::kMaxOutputs &&
                        this->inputTab.inputChan() == In && this->outputTab.inputChan() == out &&
                        mft.inputChan() == In && mft.outputChan() == out;
        if (!ok) throw CArchiveException(CArchiveException::genericException);
    }
};

class CFunc_16Tab3Mft;
class CFunc_16Tab4Mft;

class CFunc_8Tab3Mft : public TFuncTabMft<CFunc_8TabBaseMft, CMft3_8, 3> {
    DECLARE_DYNCREATE(CFunc_8Tab3Mft)
public:
    CFunc_8Tab3Mft() = default;
    CFunc_8Tab3Mft(unsigned clutPoints, unsigned outputChan)
        : TFuncTabMft(clutPoints, outputChan) {}
    explicit CFunc_8Tab3Mft(const CFunc_16Tab3Mft& s);

    CFunc_8TabBaseMft* CreateClone() const override { return new CFunc_8Tab3Mft(*this); }

    // Input curves, nearest grid node, output curves; ignores both skip flags. Answers 1.
    int GridTrn(const uint8_t* in, uint8_t* out) const;

    void Serialize(CArchive& ar) override { SerializeChain(ar); }
};

class CFunc_8Tab4Mft : public TFuncTabMft<CFunc_8TabBaseMft, CMft4_8, 4> {
    DECLARE_DYNCREATE(CFunc_8Tab4Mft)
public:
    CFunc_8Tab4Mft() = default;
    CFunc_8Tab4Mft(unsigned clutPoints, unsigned outputChan)
        : TFuncTabMft(clutPoints, outputChan) {}
    explicit CFunc_8Tab4Mft(const CFunc_16Tab4Mft& s);

    CFunc_8TabBaseMft* CreateClone() const override { return new CFunc_8Tab4Mft(*this); }

    void Serialize(CArchive& ar) override { SerializeChain(ar); }
};

// The 16-bit pipelines keep CFunc_16::Serialize, which stores only the channel counts, and
// have no CreateObject: they cannot be read from an archive.
class CFunc_16Tab3Mft : public TFuncTabMft<CFunc_16TabBaseMft, CMft3_16, 3> {
    DECLARE_DYNAMIC(CFunc_16Tab3Mft)
public:
    CFunc_16Tab3Mft(unsigned clutPoints, unsigned outputChan)
        : TFuncTabMft(clutPoints, outputChan) {}
    explicit CFunc_16Tab3Mft(const CFunc_8Tab3Mft& s) : TFuncTabMft(s) {}

    CFunc_16TabBaseMft* CreateClone() const override { return new CFunc_16Tab3Mft(*this); }
};

class CFunc_16Tab4Mft : public TFuncTabMft<CFunc_16TabBaseMft, CMft4_16, 4> {
    DECLARE_DYNAMIC(CFunc_16Tab4Mft)
public:
    CFunc_16Tab4Mft(unsigned clutPoints, unsigned outputChan)
        : TFuncTabMft(clutPoints, outputChan) {}
    explicit CFunc_16Tab4Mft(const CFunc_8Tab4Mft& s) : TFuncTabMft(s) {}

    CFunc_16TabBaseMft* CreateClone() const override { return new CFunc_16Tab4Mft(*this); }
};

inline CFunc_8Tab3Mft::CFunc_8Tab3Mft(const CFunc_16Tab3Mft& s) : TFuncTabMft(s) {}
inline CFunc_8Tab4Mft::CFunc_8Tab4Mft(const CFunc_16Tab4Mft& s) : TFuncTabMft(s) {}

inline CArchive& operator>>(CArchive& ar, CFunc_8Tab3Mft*& f) {
    return ReadTypedObject(ar, f);
}
inline CArchive& operator>>(CArchive& ar, CFunc_8Tab4Mft*& f) {
    return ReadTypedObject(ar, f);
}
