// What the ICM back-end needs of the platform: the six calls of Windows' colour management
// (mscms) and the four resource calls that find the built-in Lab profile, each with the
// arguments and answers of its Windows namesake. CWinColorLink talks to nothing else, so its
// logic can be built, run and checked where there is no mscms.
//
// Two implementations: the one over mscms itself (MscmsIcmPlatform.cpp, Windows only) and one
// over lcms2 that behaves as mscms does for these calls (LcmsIcmPlatform.h), the default on
// every other platform. Tests put a recording fake in their place.
//
// The types and constants carry the Windows names where Windows declares them as types or
// enumerators. Those that Windows (or lcms2) declares as macros get names of their own, since a
// macro would rewrite them wherever both headers meet.
#pragma once

#include <cstdint>

namespace icm {

using HPROFILE = void*;   // an open profile; null for none
using HTRANSFORM = void*; // a built transform; null for none
using HRSRC = void*;      // a resource found
using HGLOBAL = void*;    // a resource loaded

// Bitmap formats of TranslateBitmapBits: 8 bits a sample, pixels interleaved.
using BMFORMAT = uint32_t;
inline constexpr BMFORMAT BM_BGRTRIPLETS = 4;    // blue, green, red
inline constexpr BMFORMAT BM_CMYKQUADS = 32;     // cyan, magenta, yellow, black
inline constexpr BMFORMAT BM_LabTRIPLETS = 515;  // L, a, b in the ICC 8-bit encoding
inline constexpr BMFORMAT BM_G3CHTRIPLETS = 516; // any three channels, in the profile's order
inline constexpr BMFORMAT BM_5CHANNEL = 517;     // 5 to 8 channels, in the profile's order
inline constexpr BMFORMAT BM_6CHANNEL = 518;
inline constexpr BMFORMAT BM_7CHANNEL = 519;
inline constexpr BMFORMAT BM_8CHANNEL = 520;
inline constexpr BMFORMAT BM_KYMCQUADS = 773; // black, yellow, magenta, cyan

// PROFILE.dwType (PROFILE_FILENAME, PROFILE_MEMBUFFER).
inline constexpr uint32_t kProfileFileName = 1;
inline constexpr uint32_t kProfileMemBuffer = 2;
// OpenColorProfileW: access (PROFILE_READ), share mode (FILE_SHARE_READ), creation mode
// (OPEN_EXISTING).
inline constexpr uint32_t kProfileRead = 1;
inline constexpr uint32_t kFileShareRead = 1;
inline constexpr uint32_t kOpenExisting = 3;

// Rendering intents of CreateMultiProfileTransform (INTENT_PERCEPTUAL and the rest).
inline constexpr uint32_t kIntentPerceptual = 0;
inline constexpr uint32_t kIntentRelativeColorimetric = 1;
inline constexpr uint32_t kIntentSaturation = 2;
inline constexpr uint32_t kIntentAbsoluteColorimetric = 3;

// A profile to open: a file (pProfileData a wide path, cbDataSize its size in bytes with the
// terminator) or a block of memory.
struct PROFILE {
    uint32_t dwType;
    void* pProfileData;
    uint32_t cbDataSize;
};

struct CIEXYZ {
    int32_t ciexyzX, ciexyzY, ciexyzZ; // 2.30 fixed point
};

// The 128-byte profile header, every field in the machine's byte order.
struct PROFILEHEADER {
    uint32_t phSize;
    uint32_t phCMMType;
    uint32_t phVersion;
    uint32_t phClass;
    uint32_t phDataColorSpace;
    uint32_t phConnectionSpace;
    uint32_t phDateTime[3];
    uint32_t phSignature;
    uint32_t phPlatform;
    uint32_t phProfileFlags;
    uint32_t phManufacturer;
    uint32_t phModel;
    uint32_t phAttributes[2];
    uint32_t phRenderingIntent;
    CIEXYZ phIlluminant;
    uint32_t phCreator;
    uint8_t phReserved[44];
};
static_assert(sizeof(PROFILEHEADER) == 128, "the header of an ICC profile is 128 bytes");

} // namespace icm

class IIcmPlatform {
public:
    virtual ~IIcmPlatform() = default;

    // Selects the colour engine for the whole process by its id; 0 is the default engine.
    // Non-zero on success.
    virtual int SelectCMM(uint32_t cmmId) = 0;
    // Opens a profile; null when it cannot be opened or is no ICC profile.
    virtual icm::HPROFILE OpenColorProfileW(const icm::PROFILE* profile, uint32_t desiredAccess,
                                            uint32_t shareMode, uint32_t creationMode) = 0;
    // Fills *header from the profile's header. Non-zero on success.
    virtual int GetColorProfileHeader(icm::HPROFILE profile, icm::PROFILEHEADER* header) = 0;
    // A transform through `profiles` in their order. `intents` holds either one intent for all
    // profiles or one for each. `flags` and `cmmIndex` 0 ask for the default behaviour. Null
    // when the chain cannot be made. The transform lives until the process ends: there is no
    // call that releases it.
    virtual icm::HTRANSFORM CreateMultiProfileTransform(const icm::HPROFILE* profiles,
                                                        uint32_t nProfiles, const uint32_t* intents,
                                                        uint32_t nIntents, uint32_t flags,
                                                        uint32_t cmmIndex) = 0;
    // Converts `height` rows of `width` pixels. A stride of 0 stands for rows padded to four
    // bytes. `callback` and `callbackData` report progress; none is given here. Non-zero on
    // success; on failure the destination is left as it was.
    virtual int TranslateBitmapBits(icm::HTRANSFORM transform, const void* src,
                                    icm::BMFORMAT inFormat, uint32_t width, uint32_t height,
                                    uint32_t inStride, void* dst, icm::BMFORMAT outFormat,
                                    uint32_t outStride, void* callback, uintptr_t callbackData) = 0;
    // Closes a profile opened by OpenColorProfileW. Non-zero on success.
    virtual int CloseColorProfile(icm::HPROFILE profile) = 0;

    // The resource of this library with numeric identifier `id` and numeric type `type`, or
    // null.
    virtual icm::HRSRC FindResourceW(unsigned id, unsigned type) = 0;
    // Its size in bytes; 0 for a null resource.
    virtual uint32_t SizeofResource(icm::HRSRC resource) = 0;
    virtual icm::HGLOBAL LoadResource(icm::HRSRC resource) = 0;
    // Its first byte; the block stays valid as long as the library is loaded.
    virtual const void* LockResource(icm::HGLOBAL loaded) = 0;
};

// The platform of this build: mscms on Windows, lcms2 elsewhere. One object for the process.
IIcmPlatform& DefaultIcmPlatform();
