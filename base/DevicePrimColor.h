// The primaries of a printer's channels, as the print environment delivers them. The colour
// code relies on these numbers only: 0 black, 1 cyan, 2 magenta, 3 yellow; the values up to 6
// and 35 to 39 are colour managed; 99 is a channel nobody has set.
#pragma once

#include <cstdint>

enum enmDevicePrimColor : int32_t {
    DpcBlack = 0,
    DpcCyan = 1,
    DpcMagenta = 2,
    DpcYellow = 3,
    DpcLastColorManaged = 6, // 0..6: process colours handled by the ICC profile
    DpcFirstColorManagedExtra = 35,
    DpcLastColorManagedExtra = 39, // 35..39: further colour-managed inks
    DpcUnset = 99,
};

// Whether a channel of this primary goes through colour management. The test is signed, so a
// negative value counts as colour managed.
inline constexpr bool IsColorManagedPrimary(enmDevicePrimColor p) {
    const int32_t v = p;
    return v <= DpcLastColorManaged ||
           (v >= DpcFirstColorManagedExtra && v <= DpcLastColorManagedExtra);
}
