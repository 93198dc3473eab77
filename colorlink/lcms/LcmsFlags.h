// Flag bits that the lcms back-end and the lcms wrapper set beside lcms2's own flags, and what is
// handed to lcms2 in their place. These bits were meant for an engine with extensions that
// stock lcms2 (2.14 here) does not have; the link and the wrapper still compose them as designed,
// so that the flag word says what was asked for, and translate it on the way into lcms2.
#pragma once

#include <lcms2.h>

namespace LcmsFlags {

// IniCpDisableWhitePointExpansion set: white is not to be stretched to the paper.
constexpr cmsUInt32Number kNoWhitePointExpansion = 0x10000000;
// A proofing chain: a preview or a gamut step in the link; every transform of the wrapper.
constexpr cmsUInt32Number kProofChain = 0x20000000;
// Every transform of the wrapper.
constexpr cmsUInt32Number kWrapper = 0x40000000;
// IniUseOnlyPerceptualBlackForBPC is 0: the black point may come from other than the perceptual
// table.
constexpr cmsUInt32Number kAnyBlackForBpc = 0x80000000;

constexpr cmsUInt32Number kOwnBits =
    kNoWhitePointExpansion | kProofChain | kWrapper | kAnyBlackForBpc;

// The flags for lcms2. Decision for stock lcms2: white point expansion off becomes
// cmsFLAGS_NOWHITEONWHITEFIXUP, the other three own bits are dropped (lcms2's own behaviour).
constexpr cmsUInt32Number ToLcms2(cmsUInt32Number flags) {
    return (flags & ~kOwnBits) |
           ((flags & kNoWhitePointExpansion) ? cmsUInt32Number(cmsFLAGS_NOWHITEONWHITEFIXUP) : 0u);
}

} // namespace LcmsFlags
