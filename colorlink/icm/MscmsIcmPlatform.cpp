// The platform calls of the ICM back-end carried out by Windows ICM (mscms) itself. Windows
// only; elsewhere LcmsIcmPlatform.cpp gives DefaultIcmPlatform. Each call passes its arguments
// through unchanged.
#ifdef _WIN32

// clang-format off
#include <windows.h>
#include <icm.h>
// clang-format on

#include <cstring>

#include "colorlink/icm/IcmPlatform.h"

namespace {

// This library's own module, whose resources hold the Lab profile.
HMODULE ThisModule() {
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                           GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCWSTR>(&ThisModule), &module);
    return module;
}

class CMscmsIcmPlatform final : public IIcmPlatform {
public:
    int SelectCMM(uint32_t cmmId) override { return ::SelectCMM(cmmId); }

    icm::HPROFILE OpenColorProfileW(const icm::PROFILE* profile, uint32_t desiredAccess,
                                    uint32_t shareMode, uint32_t creationMode) override {
        if (!profile) return nullptr;
        ::PROFILE p{profile->dwType, profile->pProfileData, profile->cbDataSize};
        return ::OpenColorProfileW(&p, desiredAccess, shareMode, creationMode);
    }

    int GetColorProfileHeader(icm::HPROFILE profile, icm::PROFILEHEADER* header) override {
        static_assert(sizeof(::PROFILEHEADER) == sizeof(icm::PROFILEHEADER));
        ::PROFILEHEADER h{};
        if (!header || !::GetColorProfileHeader(profile, &h)) return 0;
        std::memcpy(header, &h, sizeof h);
        return 1;
    }

    icm::HTRANSFORM CreateMultiProfileTransform(const icm::HPROFILE* profiles, uint32_t nProfiles,
                                                const uint32_t* intents, uint32_t nIntents,
                                                uint32_t flags, uint32_t cmmIndex) override {
        static_assert(sizeof(DWORD) == sizeof(uint32_t));
        return ::CreateMultiProfileTransform(
            const_cast<PHPROFILE>(profiles), nProfiles,
            reinterpret_cast<PDWORD>(const_cast<uint32_t*>(intents)), nIntents, flags, cmmIndex);
    }

    int TranslateBitmapBits(icm::HTRANSFORM transform, const void* src, icm::BMFORMAT inFormat,
                            uint32_t width, uint32_t height, uint32_t inStride, void* dst,
                            icm::BMFORMAT outFormat, uint32_t outStride, void* callback,
                            uintptr_t callbackData) override {
        return ::TranslateBitmapBits(transform, const_cast<PVOID>(src), ::BMFORMAT(inFormat), width,
                                     height, inStride, dst, ::BMFORMAT(outFormat), outStride,
                                     reinterpret_cast<PBMCALLBACKFN>(callback),
                                     LPARAM(callbackData));
    }

    int CloseColorProfile(icm::HPROFILE profile) override { return ::CloseColorProfile(profile); }

    icm::HRSRC FindResourceW(unsigned id, unsigned type) override {
        return ::FindResourceW(ThisModule(), MAKEINTRESOURCEW(id), MAKEINTRESOURCEW(type));
    }
    uint32_t SizeofResource(icm::HRSRC resource) override {
        return ::SizeofResource(ThisModule(), static_cast<HRSRC>(resource));
    }
    icm::HGLOBAL LoadResource(icm::HRSRC resource) override {
        return ::LoadResource(ThisModule(), static_cast<HRSRC>(resource));
    }
    const void* LockResource(icm::HGLOBAL loaded) override { return ::LockResource(loaded); }
};

} // namespace

IIcmPlatform& DefaultIcmPlatform() {
    static CMscmsIcmPlatform platform;
    return platform;
}

#endif // _WIN32
