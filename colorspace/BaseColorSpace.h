// Colour spaces: what the channels of a print job are and how an ICC profile relates to them.
// The job's channels are declared first (kind, how many are colour managed, how many pass
// colour management untouched, and each channel's primary); a profile is then loaded and
// checked against that declaration, or, for a space still open, decides its kind and shape.
//
// Profiles are read through a process-wide cache of profile records, keyed by the exact path
// and the file's modification time; see CBaseColorSpace::LoadIccFile.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/DevicePrimColor.h"
#include "colorlink/MdlColorLink.h"
#include "colorspace/IccColorProfile.h"
#include "icc/IccRecords.h"

class CUserSettingsMgr;

// Error numbers of a colour space, in Error().
inline constexpr int ICC_ERR_LOAD_FAILED = 901;      // could not load, no code of the reader's
inline constexpr int ICC_ERR_CHANNEL_MISMATCH = 903; // wrong kind or too many channels
inline constexpr int ICC_ERR_NAMED_COLORS = 907;     // named colours could not be loaded

// One channel of a print job. Within this library only the primary is read and written; the
// other fields are carried for the users of the structure.
struct SPrintChannelInfo {
    enmDevicePrimColor eDevPrimCol = DpcUnset;
    std::wstring sChannelName;
    double dChannelParm1 = 100.0;
    double dChannelParm2 = 0.0;
    double dChannelParm3 = 0.0;
    uint32_t nChannelColor = 0xFFFFFF; // display colour, white until set
};

// The interface of a colour space. The order of the virtual operations is part of the
// interface: modules outside this library are compiled against it.
class IBaseColorSpace {
public:
    enum enmColorSpaceType : int32_t {
        ecsLab = 0,
        ecsRgb = 1,
        ecsCmyk = 2, // CMYK and CMYK-plus devices
        ecsGray = 3,
        ecsSepar = 4, // a separation device, or a space whose kind the first profile decides
    };

    virtual ~IBaseColorSpace() = default;
    virtual enmColorSpaceType GetColorSpaceType() = 0;
    virtual int GetCountChannels() = 0;
    virtual int GetCountNotColorManagedChannels() = 0;
    virtual void SetCountNotColorManagedChannels(int n) = 0;
    virtual std::wstring GetIccFileName() = 0;
    virtual void SetIccFileName(const wchar_t* path) = 0;
    virtual CIccColorProfile* pIccProfile() = 0;
    virtual enmRenderingIntent RenderingIntent() const = 0;
    virtual void SetRenderingIntent(enmRenderingIntent intent) = 0;
    virtual enmDevicePrimColor GetDevPrimCol(int channel) = 0;
    virtual void SetDevPrimCol(int channel, enmDevicePrimColor primary) = 0;
    virtual int LoadIccFile(const wchar_t* path, CUserSettingsMgr* usm) = 0;
    virtual int Error() = 0;
};

class CBaseColorSpace : public IBaseColorSpace {
public:
    // The profile cache's limit: at this many entries a new path empties it whole.
    static constexpr size_t kProfileCacheLimit = 20;

    // What the profile cache holds and has done, for tests and diagnostics.
    struct SProfileCacheStats {
        size_t entries = 0; // paths held now
        uint64_t loads = 0; // files read on a miss since the process started
        uint64_t hits = 0;  // records delivered from the cache
    };

    CBaseColorSpace();
    ~CBaseColorSpace() override;
    CBaseColorSpace(const CBaseColorSpace&) = delete;
    CBaseColorSpace& operator=(const CBaseColorSpace&) = delete;

    enmColorSpaceType GetColorSpaceType() override { return m_eColorSpaceType; }
    int GetCountChannels() override { return m_nColorManagedChannels + m_nNotColorManagedChannels; }
    int GetCountNotColorManagedChannels() override { return m_nNotColorManagedChannels; }
    void SetCountNotColorManagedChannels(int n) override;
    std::wstring GetIccFileName() override { return m_sIccFileName; }
    // Stores the path only; pIccProfile loads it when asked.
    void SetIccFileName(const wchar_t* path) override { m_sIccFileName = path ? path : L""; }
    // The record. If the file name differs (ignoring case) from the record's, the file is
    // loaded into the record first, past the cache and the checks of LoadIccFile.
    CIccColorProfile* pIccProfile() override;
    enmRenderingIntent RenderingIntent() const override { return m_eRenderingIntent; }
    void SetRenderingIntent(enmRenderingIntent intent) override { m_eRenderingIntent = intent; }
    // Neither tests the index: the caller passes a channel that exists.
    enmDevicePrimColor GetDevPrimCol(int channel) override {
        return m_vecChannelInfo[size_t(channel)].eDevPrimCol;
    }
    void SetDevPrimCol(int channel, enmDevicePrimColor primary) override {
        SetDpc(channel, primary);
    }
    // Loads the profile at `path` (through the cache) and checks it against the space. 1 on
    // success; 0 with Error() 903 for a profile of the wrong kind or with too many channels,
    // or the reader's error (901 when it has none) when the file cannot be loaded. A path
    // whose file-name part is empty clears the file name and answers 1, changing nothing else.
    // Every failure leaves the file name empty.
    int LoadIccFile(const wchar_t* path, CUserSettingsMgr* usm) override;
    int Error() override { return m_nError; }

    // Takes everything from `source`, its record by CIccColorProfile::copy into this space's
    // own record: two spaces never share a record.
    void Copy(const CBaseColorSpace* source);
    void SetCountColorManagedChannels(int n);
    // Kinds of space: type first, then the colour-managed count, then the other count.
    void SetCmykPlus(int n); // 4 colour managed for n of 1..3, else n
    void SetGray();
    void SetGray(int n);
    void SetLab(int n);
    void SetRgb(int n);
    void SetSepar(int n);
    void SetDpc(int channel, enmDevicePrimColor primary) {
        m_vecChannelInfo[size_t(channel)].eDevPrimCol = primary;
    }
    void SetError(int error) { m_nError = error; }
    // CMYK, GRAY, Lab, RGB and XCLR set the type; other signatures leave it.
    void SetColorSpaceTypeFromDeviceColorSpaceSignature(icColorSpaceSignature sig);
    // The signature of the type; 0 for a value outside the five kinds.
    unsigned long GetDeviceColorSpaceSignature();

    // Additions beyond the interface the RIP's modules use, for a caller that puts profiles
    // into a chain step by step instead of through the transform factories (the command-line
    // tool): which data a step of a link reads and gives, and whether a space's pixels are
    // exactly such data. LoadIccFile's test is looser on purpose (a profile may have fewer
    // channels than the space), which a chain's first step cannot be.
    //
    // The kind of space that a device signature belongs to, by the rules of LoadIccFile's test:
    // CMYK and 5CLR to FCLR are CMYK kind, 2CLR to 4CLR and unknown signatures separation kind.
    static enmColorSpaceType ColorSpaceTypeOfSignature(icColorSpaceSignature sig);
    // 1 if this space's pixels are exactly data of `sig`: the same kind, as many channels, and
    // none that passes colour management.
    int HoldsDataOfSignature(icColorSpaceSignature sig);
    // The data that a step of `stepKind` (CMdlColorLink::ProfStep*) through a profile with this
    // header reads and gives, as a signature; the connection space is Lab whether the profile's
    // is Lab or XYZ. 0 where there is none: a step from the connection space through a profile
    // whose connection space is neither, and the gamut answer.
    static icColorSpaceSignature StepInputSignature(const icHeader& profile, int stepKind);
    static icColorSpaceSignature StepOutputSignature(const icHeader& profile, int stepKind);

    static SProfileCacheStats ProfileCacheStats();
    // Deletes every cached record; what the library's unloading does. The counts of loads and
    // hits stay.
    static void EmptyProfileCache();

protected:
    // 1 if the record's device space fits the type; a type of 4 adopts the profile's kind.
    int CheckIccWithColorSpaceType();
    // Makes the channel array as long as the channel count, keeping the channels set so far.
    void UpdateChannelInfo();

    enmColorSpaceType m_eColorSpaceType = ecsSepar;
    int m_nColorManagedChannels = 0;
    int m_nNotColorManagedChannels = 0;
    std::wstring m_sIccFileName;
    std::unique_ptr<CIccColorProfile> m_pIccProfile;
    enmRenderingIntent m_eRenderingIntent = IntentDefault;
    std::vector<SPrintChannelInfo> m_vecChannelInfo;
    int m_nError = 0;
};
