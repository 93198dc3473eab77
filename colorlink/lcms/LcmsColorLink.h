// The lcms back-end of the colour link (IniCpCMS 4). It does little colour work of its own: it
// keeps the steps with their profiles open in lcms2, turns formats, intents and settings into
// the arguments of one cmsCreateExtendedTransform, and pushes pixels through cmsDoTransform.
// Only this back-end carries out the black-preserving intents 6 to 13 and has AddGradation.
//
// Threads: a built link may serve several threads as far as cmsDoTransform allows it; building
// belongs to one thread. The constructor and a gamut link write process-wide lcms2 settings
// (the log handler, the alarm codes) without a lock, always with the same values.
#pragma once

#include <lcms2.h>

#include <memory>
#include <string>
#include <vector>

#include "base/IniEntries.h"
#include "colorlink/MdlColorLink.h"

class CUserSettingsMgr;

class CLcmsColorLink : public CMdlColorLink {
public:
    explicit CLcmsColorLink(CUserSettingsMgr* settings);
    ~CLcmsColorLink() override;
    CLcmsColorLink(const CLcmsColorLink&) = delete;
    CLcmsColorLink& operator=(const CLcmsColorLink&) = delete;

    void TrnPixels16(const unsigned short* src, unsigned short* dst, unsigned count) override;
    int AddProfile(const wchar_t* path, int stepKind, enmRenderingIntent intent) override;
    int AddGradation(const std::vector<unsigned short*>& curves) override;
    int CreateLink(unsigned inFormat, unsigned nIn, unsigned outFormat, unsigned nOut) override;
    unsigned GetLinkError() override { return nLastError; }
    void TrnPixels8(const unsigned char* src, unsigned char* dst, unsigned count) override;
    void TrnBgrPixels8(const unsigned char*, unsigned char*, unsigned) override {}
    void Reserved1() override {}
    void Reserved2() override {}
    unsigned nInChannels() override { return m_nInChannels; }
    unsigned nOutChannels() override { return m_nOutChannels; }
    unsigned InFormat() override { return m_InFormat; }
    unsigned OutFormat() override { return m_OutFormat; }
    int SupportsGradation() override { return 1; }

    // lcms2's intent and black point flag for an intent of the link, before the fallback of a
    // chain of one profile.
    static cmsUInt32Number LcmsIntent(int intent);
    static cmsBool LcmsBlackPoint(int intent);

    // What the last CreateLink that got as far as making the transform handed lcms2. The
    // profile handles in the array are closed by then; only their number is given.
    size_t LcmsProfileCount() const { return Profiles.size(); }
    const std::vector<cmsUInt32Number>& LcmsIntents() const { return Intents; }
    const std::vector<cmsBool>& LcmsBlackPoints() const { return BlackPoints; }
    // The flag word as composed, with the link's own bits (colorlink/lcms/LcmsFlags.h) ...
    cmsUInt32Number LinkFlags() const { return nFlags; }
    // ... and as lcms2 got it.
    cmsUInt32Number LcmsFlags() const;
    cmsUInt32Number LcmsInputFormat() const { return nLcmsInFormat; }
    cmsUInt32Number LcmsOutputFormat() const { return nLcmsOutFormat; }
    int GamutPosition() const { return nGamutPosition; }
    // Channels that a following AddGradation takes.
    int CurveChannels() const { return nCurveChannels; }

private:
    struct ProfileCloser {
        void operator()(void* profile) const { cmsCloseProfile(profile); }
    };
    using ProfilePtr = std::unique_ptr<void, ProfileCloser>;

    struct SLcmsStep {
        std::wstring Path;   // empty for curves
        unsigned nKind;      // a ProfStep* value
        unsigned nIntent;    // as the caller gave it
        ProfilePtr hProfile; // null once the link is built: the steps are spent
    };

    // The colour spaces at the two ends of a step, by its kind; 0 for an unknown kind.
    static cmsColorSpaceSignature StepInput(const SLcmsStep& step);
    static cmsColorSpaceSignature StepOutput(const SLcmsStep& step);
    bool InputFits(unsigned format, unsigned nIn);
    bool OutputFits(unsigned format);
    // Fills the arrays and makes hTransform; closes every profile, whatever the outcome.
    bool MakeTransform();
    void Append(cmsHPROFILE profile, cmsUInt32Number intent, cmsBool blackPoint);
    int SettingInt(const _INIENTRY& entry) const;
    std::wstring SettingString(const _INIENTRY& entry) const;

    CUserSettingsMgr* pSettings; // not owned
    std::vector<std::unique_ptr<SLcmsStep>> Steps;
    cmsHTRANSFORM hTransform = nullptr; // owned
    cmsColorSpaceSignature InSpace = cmsColorSpaceSignature(0);
    cmsColorSpaceSignature OutSpace = cmsColorSpaceSignature(0);
    int bAddLabIn = 0;
    int bAddLabOut = 0;
    int bGamutOut = 0; // set for LinkFmtGamut output, read by nothing
    unsigned m_nInChannels = 0;
    unsigned m_nOutChannels = 0;
    unsigned nLastError = 0;
    unsigned m_InFormat = 0;
    unsigned m_OutFormat = 0;
    // The arrays for lcms2, one element per profile use.
    std::vector<cmsHPROFILE> Profiles;
    std::vector<cmsUInt32Number> Intents;
    std::vector<cmsBool> BlackPoints;
    std::vector<cmsFloat64Number> Adaptations;
    int nLastIndex = -1;
    int nCurveChannels = 0;
    int nGamutPosition = 0;
    cmsUInt32Number nFlags = 0;
    cmsUInt32Number nLcmsInFormat = 0;
    cmsUInt32Number nLcmsOutFormat = 0;
};
