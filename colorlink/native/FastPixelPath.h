// A specialised pixel path for a built native link. It gives, bit for bit, what the link's
// straightforward loops give (widen by 257, the table's Trn, keep the high byte), only faster.
//
// Served tables, chosen by their exact class (a derived class may change Trn) from a list of
// candidates tried in order (FastPixelPath.cpp):
// - CFunc_16Tab3Mft and CFunc_16Tab4Mft, 8 and 16 bits. Everything that depends on one input
//   sample alone (input curve, node index and fraction along its axis) is read from a table
//   made once per input byte, or computed once per sample at 16 bits without a virtual call;
//   the interpolation itself is the grid's arithmetic, wrap-around and rounding included, read
//   from the grid's nodes (the 16-bit samples, a quarter of the size of the difference tables
//   the grid's own Trn reads, so more of them stay in cache); output curve and high byte are
//   one 4096-entry table per channel, since a 16-bit curve only reads the top 12 bits of its
//   input. With three or four outputs all channels are interpolated together in SSE2 lanes,
//   and a pixel equal to the one before it takes over that pixel's result. At 8 bits with four
//   outputs, a kernel of SimdGridKernel.h converts several pixels at once when the CPU allows
//   (8 and 16 bits).
// - CFunc_16Tab1Mft: every stage reads 12 bits, so the whole result depends on the top 12 bits
//   of the input (16 bits) or on the byte itself (8 bits) and is tabulated once through the
//   table's own Trn.
// Anything else (other classes, pixel layouts with more or fewer channels than the table has)
// gets no path and keeps the straightforward loops.
#pragma once

#include <cstdint>
#include <memory>

#include "colorlink/native/SimdGridKernel.h"
#include "gridtable/TabMft.h"

class CFastPixelPath {
public:
    virtual ~CFastPixelPath() = default;

    // A path for `table` with `nIn` and `nOut` channels per pixel, or null for a table or
    // layout it does not serve (the link then keeps its straightforward loops). The path reads
    // the table's grid and curves in place: the table must outlive the path and must not
    // change after it was prepared by InitMftTrn.
    static std::unique_ptr<CFastPixelPath> Make(const CFunc_16TabBaseMft& table, unsigned nIn,
                                                unsigned nOut);
    // The same with the instruction set of the several-pixel kernels given (Make takes the one
    // SimdLevelSetting() names); all levels give the same bytes.
    static std::unique_ptr<CFastPixelPath> Make(const CFunc_16TabBaseMft& table, unsigned nIn,
                                                unsigned nOut, SimdLevel level);

    // Convert `count` pixels; answer false to leave the run to the straightforward loop.
    // Pixels are converted one after the other, each read completely before it is written, as
    // the straightforward loops do.
    virtual bool Trn8(const uint8_t* src, uint8_t* dst, unsigned count) const = 0;
    virtual bool Trn16(const uint16_t* src, uint16_t* dst, unsigned count) const = 0;

    // The instruction set of the several-pixel kernel Trn8 uses; Scalar when it has none.
    virtual SimdLevel Kernel8Level() const { return SimdLevel::Scalar; }
    // The same for Trn16.
    virtual SimdLevel Kernel16Level() const { return SimdLevel::Scalar; }
};
