// The ICC n-colour signatures by channel count. They turn the output count of a profile's table
// into a device colour space, and back: 15 is therefore the largest channel count a profile can
// carry in this system, as the n-colour signatures stop there.
#pragma once

#include "icc/IccRecords.h"

// Channel counts that have an n-colour signature of their own here. Four channels are "CMYK"
// (or "4CLR"), so the table starts at five.
inline constexpr unsigned kFirstNColorChannels = 5;
inline constexpr unsigned kLastNColorChannels = 15;

// 5CLR .. FCLR, indexed by channel count minus 5.
inline constexpr icColorSpaceSignature
    kNColorSignatures[kLastNColorChannels - kFirstNColorChannels + 1] = {
        icSig5colorData,  icSig6colorData,  icSig7colorData,  icSig8colorData,
        icSig9colorData,  icSig10colorData, icSig11colorData, icSig12colorData,
        icSig13colorData, icSig14colorData, icSig15colorData};

// The n-colour signature of `channels`; 0 outside 5..15.
inline constexpr icColorSpaceSignature NColorSignatureOf(unsigned channels) {
    return channels >= kFirstNColorChannels && channels <= kLastNColorChannels
               ? kNColorSignatures[channels - kFirstNColorChannels]
               : 0;
}

// Device signature of a separation space, or of a space whose kind is still open.
inline constexpr icColorSpaceSignature kSeparationSignature = MakeIccSignature("XCLR");

// True for 5CLR .. FCLR.
inline constexpr bool IsNColorSignature(icColorSpaceSignature sig) {
    for (icColorSpaceSignature s : kNColorSignatures)
        if (s == sig) return true;
    return false;
}
