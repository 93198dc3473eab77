// The native back-end: composes the library's own functions and samples them into one grid
// table; pixels then cost one interpolation each.
#pragma once

#include <memory>

#include "colorfunc/Func.h"
#include "colorlink/MdlColorLink.h"

class CColorLink : public CMdlColorLink {
public:
    explicit CColorLink(CUserSettingsMgr* settings);
    ~CColorLink() override;
    CColorLink(const CColorLink&) = delete;
    CColorLink& operator=(const CColorLink&) = delete;

    void TrnPixels16(const unsigned short* src, unsigned short* dst, unsigned count) override;
    int AddProfile(const wchar_t* path, int stepKind, enmRenderingIntent intent) override;
    int AddGradation(const std::vector<unsigned short*>&) override { return 0; }
    int CreateLink(unsigned inFormat, unsigned nIn, unsigned outFormat, unsigned nOut) override;
    unsigned GetLinkError() override { return nLastError; }
    void TrnPixels8(const unsigned char* src, unsigned char* dst, unsigned count) override;
    void TrnBgrPixels8(const unsigned char* src, unsigned char* dst, unsigned count) override;
    void Reserved1() override {}
    void Reserved2() override {}
    unsigned nInChannels() override { return m_nInChannels; }
    unsigned nOutChannels() override { return m_nOutChannels; }
    unsigned InFormat() override { return m_InFormat; }
    unsigned OutFormat() override { return m_OutFormat; }
    int SupportsGradation() override { return 0; }

    // Grid sizes configured for three- and four-input tables, read once per process from the
    // RIP settings by the first link that finds them 0. Not locked: see the class comment above.
    static int s_nGrid3;
    static int s_nGrid4;

    static constexpr unsigned kNoSpace = 0xFFFFFFFFu; // ICC signature "none"
    static constexpr unsigned kMaxPixelChannels = 16; // work buffers of the 8-bit loop

protected:
    // Installs a finished 16-bit table with its output count. The link build does this itself;
    // it is open to derived classes so that the pixel loops can be exercised on any table.
    void SetTable16(std::unique_ptr<CFunc_16> table);

private:
    // What the format checks of CreateLink find out about the chain.
    struct SLinkFlags {
        bool OutIsXYZ = false;
        bool InIsXYZ = false;
        bool UseCmykToLab = false;
        bool UseRgbToLab = false;
        bool GamutOfRgb = false;
    };
    bool CheckFormats(unsigned inFormat, unsigned nIn, unsigned outFormat, unsigned nOut,
                      SLinkFlags& flags) const;

    CUserSettingsMgr* pSettings;       // not owned
    std::unique_ptr<CFunc_8> pFunc8;   // 8-bit result table; never made by CreateLink
    std::unique_ptr<CFunc_16> pFunc16; // 16-bit result table of the built link
    unsigned nLastError = 0;
    unsigned FirstSpace = kNoSpace; // input colour space of the first step
    unsigned LastSpace = kNoSpace;  // output colour space of the last step
    unsigned m_nInChannels = 0;
    unsigned m_nOutChannels = 0;
    bool (*pfnSamePixel8)(const unsigned char*, const unsigned char*) = nullptr;
    bool (*pfnSamePixel16)(const unsigned short*, const unsigned short*) = nullptr;
    int nTabOutChannels = 0;
    unsigned m_InFormat = 0;
    unsigned m_OutFormat = 0;
};
