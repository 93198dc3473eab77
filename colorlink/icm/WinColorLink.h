// The ICM back-end: hands the chain of profiles to the platform's colour management (Windows
// ICM, or its stand-in over lcms2 elsewhere; see IcmPlatform.h) and has no colour logic of its
// own beyond choosing the bitmap formats. 8-bit pixels only.
//
// Differences from the other back-ends that callers see: RGB pixels are blue, green, red;
// intent 5 acts as 2 (no black point compensation); a format that does not fit is 904; a built
// transform is never released (the platform offers no call for it), so each built link holds
// its transform until the process ends.
#pragma once

#include <cstdint>
#include <vector>

#include "colorlink/MdlColorLink.h"
#include "colorlink/icm/IcmPlatform.h"

class CUserSettingsMgr;

class CWinColorLink : public CMdlColorLink {
public:
    // Selects the colour engine `cmmId` (IniCpSelectCMM) for the process, and the default
    // engine if that one can't be selected. `platform` must outlive the link.
    CWinColorLink(CUserSettingsMgr* settings, uint32_t cmmId,
                  IIcmPlatform& platform = DefaultIcmPlatform());
    ~CWinColorLink() override;
    CWinColorLink(const CWinColorLink&) = delete;
    CWinColorLink& operator=(const CWinColorLink&) = delete;

    // No effect: this back-end converts 8-bit pixels only.
    void TrnPixels16(const unsigned short*, unsigned short*, unsigned) override {}
    int AddProfile(const wchar_t* path, int stepKind, enmRenderingIntent intent) override;
    int AddGradation(const std::vector<unsigned short*>&) override { return 0; }
    int CreateLink(unsigned inFormat, unsigned nIn, unsigned outFormat, unsigned nOut) override;
    unsigned GetLinkError() override { return nLastError; }
    void TrnPixels8(const unsigned char* src, unsigned char* dst, unsigned count) override;
    // Blue-green-red bytes in and out, whatever the link's formats.
    void TrnBgrPixels8(const unsigned char* src, unsigned char* dst, unsigned count) override;
    void Reserved1() override {}
    void Reserved2() override {}
    unsigned nInChannels() override { return m_nInChannels; }
    unsigned nOutChannels() override { return m_nOutChannels; }
    unsigned InFormat() override { return m_InFormat; }
    unsigned OutFormat() override { return m_OutFormat; }
    int SupportsGradation() override { return 0; }

    // All bits set: no intent given (enmRenderingIntent 0); CreateLink then tries each.
    static constexpr uint32_t kNoIntent = 0xFFFFFFFFu;
    // The ICM intent of a reduced rendering intent (0 to 5).
    static uint32_t IcmIntent(enmRenderingIntent reduced);

    // The bitmap formats chosen by the last CreateLink.
    icm::BMFORMAT InBmFormat() const { return m_InBmFormat; }
    icm::BMFORMAT OutBmFormat() const { return m_OutBmFormat; }
    // The built transform, null before a successful CreateLink.
    icm::HTRANSFORM Transform() const { return hTransform; }

private:
    struct CProfileInfo {
        icm::HPROFILE hProfile;
        unsigned nKind; // step kind, kept but not used: ICM finds the direction itself
        uint32_t nIntent;
    };

    // The built-in Lab profile opened from this library's resources, or null.
    icm::HPROFILE OpenLabProfile();
    // Chooses the bitmap formats, checks them against the ends of the chain and makes the
    // transform; null when a side does not fit or the platform refuses. Lab profiles it opens
    // are added to `labHandles`, for the caller to close with the steps.
    icm::HTRANSFORM BuildTransform(unsigned inFormat, unsigned nIn, unsigned outFormat,
                                   unsigned nOut, std::vector<icm::HPROFILE>& labHandles);

    IIcmPlatform& m_platform;
    CUserSettingsMgr* pSettings; // not owned; not used after the constructor
    icm::HTRANSFORM hTransform = nullptr;
    icm::BMFORMAT m_InBmFormat = 0;
    icm::BMFORMAT m_OutBmFormat = 0;
    std::vector<CProfileInfo> Profiles; // the steps, in the order added
    unsigned m_nInChannels = 0;
    unsigned m_nOutChannels = 0;
    unsigned nLastError = 0;
    unsigned m_InFormat = 0;
    unsigned m_OutFormat = 0;
};
