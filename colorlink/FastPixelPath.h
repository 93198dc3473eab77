// A specialised pixel path for a built native link. It gives, bit for bit, what the link's
// straightforward loops give (widen by 257, the table's Trn, keep the high byte), only faster.
#pragma once

#include <cstdint>
#include <memory>

#include "gridtable/TabMft.h"

class CFastPixelPath {
public:
    virtual ~CFastPixelPath() = default;

    // A path for `table` with `nIn` and `nOut` channels per pixel, or null for a table or
    // layout it does not serve (the link then keeps its straightforward loops).
    static std::unique_ptr<CFastPixelPath> Make(const CFunc_16TabBaseMft& table, unsigned nIn,
                                                unsigned nOut);

    // Convert `count` pixels; answer false to leave the run to the straightforward loop.
    virtual bool Trn8(const uint8_t* src, uint8_t* dst, unsigned count) const = 0;
    virtual bool Trn16(const uint16_t* src, uint16_t* dst, unsigned count) const = 0;
};
