// The platform calls of the ICM back-end carried out by lcms2, where there is no Windows ICM.
// It does what mscms does for the calls and arguments that CWinColorLink makes, and refuses
// what falls outside them:
//
// - one colour engine, selected by 0 (the default) or by its own id kLcmsCmmId;
// - profiles opened read-only, from a file by wide path or from a block of memory (copied);
//   a file that is missing or no ICC profile gives null;
// - transforms of one intent (0 to 3, the same numbers in ICM and lcms2) for every profile,
//   given once or once for each profile; flags and engine index 0 only;
// - 8-bit pixels in the BM_ formats of IcmPlatform.h, each with its byte order: blue-green-red
//   triplets for RGB, CMYK and KYMC quads for any four-channel space, 5 to 8 channels for as
//   many, Lab triplets for Lab, and G3CH triplets for any three-channel space. A format that
//   does not fit the ends of the transform is refused, and the destination stays as it was;
// - the transform is lcms2's default one, except that a chain of more than six inputs is not
//   sampled into a new grid but evaluated for each pixel (sampling takes far too long there);
// - the resources are those of the library's resource store (base/Resource.h).
//
// As in ICM there is no call that releases a transform: each lives as long as this object, and
// the object of DefaultIcmPlatform as long as the process. Handles are checked: a handle this
// object did not give, or one already closed, is refused, not followed.
//
// Thread-safe: any number of threads may convert through one transform at once, and open,
// close and build beside each other.
#pragma once

#include <cstddef>
#include <memory>

#include "colorlink/icm/IcmPlatform.h"
#include "icc/IccRecords.h"

class CLcmsIcmPlatform final : public IIcmPlatform {
public:
    // The id of this colour engine for SelectCMM: the signature lcms2 writes into the profiles
    // it makes.
    static constexpr uint32_t kLcmsCmmId = MakeIccSignature("lcms");

    CLcmsIcmPlatform();
    ~CLcmsIcmPlatform() override;
    CLcmsIcmPlatform(const CLcmsIcmPlatform&) = delete;
    CLcmsIcmPlatform& operator=(const CLcmsIcmPlatform&) = delete;

    int SelectCMM(uint32_t cmmId) override;
    icm::HPROFILE OpenColorProfileW(const icm::PROFILE* profile, uint32_t desiredAccess,
                                    uint32_t shareMode, uint32_t creationMode) override;
    int GetColorProfileHeader(icm::HPROFILE profile, icm::PROFILEHEADER* header) override;
    icm::HTRANSFORM CreateMultiProfileTransform(const icm::HPROFILE* profiles, uint32_t nProfiles,
                                                const uint32_t* intents, uint32_t nIntents,
                                                uint32_t flags, uint32_t cmmIndex) override;
    int TranslateBitmapBits(icm::HTRANSFORM transform, const void* src, icm::BMFORMAT inFormat,
                            uint32_t width, uint32_t height, uint32_t inStride, void* dst,
                            icm::BMFORMAT outFormat, uint32_t outStride, void* callback,
                            uintptr_t callbackData) override;
    int CloseColorProfile(icm::HPROFILE profile) override;
    icm::HRSRC FindResourceW(unsigned id, unsigned type) override;
    uint32_t SizeofResource(icm::HRSRC resource) override;
    icm::HGLOBAL LoadResource(icm::HRSRC resource) override;
    const void* LockResource(icm::HGLOBAL loaded) override;

    // What is held now: profiles open, transforms made.
    size_t OpenProfileCount() const;
    size_t TransformCount() const;
    // The engine selected last.
    uint32_t SelectedCMM() const;

private:
    struct SImpl;
    std::unique_ptr<SImpl> m;
};
