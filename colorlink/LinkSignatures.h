// Groups of ICC colour spaces that a link tests for, on top of the signatures of
// icc/IccRecords.h.
#pragma once

#include "icc/IccRecords.h"

inline bool IsPcsSpace(icColorSpaceSignature s) {
    return s == icSigLabData || s == icSigXYZData;
}

// n-colour spaces of 5 to 15 colours ('5CLR'..'9CLR', 'ACLR'..'FCLR').
inline bool IsNClrSpace5To15(icColorSpaceSignature s) {
    const unsigned lead = s >> 24;
    return (s & 0x00FFFFFFu) == (icSig5colorData & 0x00FFFFFFu) &&
           ((lead >= '5' && lead <= '9') || (lead >= 'A' && lead <= 'F'));
}

// The device spaces between which a missing table is bridged by copying channels: CMYK,
// 4CLR and 5CLR to FCLR.
inline bool IsBridgeableDeviceSpace(icColorSpaceSignature s) {
    return s == icSigCmykData || s == icSig4colorData || IsNClrSpace5To15(s);
}
