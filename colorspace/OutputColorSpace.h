// The colour space of a print job's output side, and the only colour space the rest of the
// system creates. To the channels of the base space it adds what a job attaches to its output:
// ink-limit parameters, a named-colours dictionary with a flag for recipes, and gradations.
// This library only stores and hands these over; the print pipeline reads them.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "colorspace/BaseColorSpace.h"

class CNamedColorsProfile;

// Ink-limit parameters of a job, read by the print pipeline.
struct SInkLimitParms {
    int32_t nLimitParm1 = -1;
    int32_t nLimitParm2 = 4 * 65535; // four full 16-bit channels
    int32_t nLimitParm3 = 0;

    // The three numbers as "%d_%d_%d": a fresh structure gives "-1_262140_0".
    std::wstring GetColorManagementString() const;
};

// The interface: the fourteen operations of IBaseColorSpace in their order, then these. The
// order is part of the interface.
class IOutputColorSpace : public IBaseColorSpace {
public:
    virtual const CNamedColorsProfile* pNamedColorsProfile() = 0;
    virtual SInkLimitParms* pInkLimitParms() = 0;
    // Replaces the dictionary by the named colours of the profile at `path`. Non-zero on
    // success; 0 with Error() 907, and no dictionary at all, on failure.
    virtual int LoadNamedColorsProfile(const wchar_t* path, CUserSettingsMgr* usm) = 0;
    virtual void ClearNamedColorsProfile() = 0;
    virtual void SetUseRecipesForReplacement(int use) = 0;
    virtual int GetUseRecipesForReplacement() = 0;
    // A new independent copy, but for the gradation tables, which stay shared.
    virtual IOutputColorSpace* Clone() = 0;
    virtual void ClearGradation() = 0;
    // Appends a copy of the vector of pointers; the tables stay the caller's and must outlive
    // this space and its clones.
    virtual void AppendGradation(const std::vector<unsigned short*>& gradation) = 0;
    virtual const std::vector<std::vector<unsigned short*>> GetAppendedGradations() = 0;

    // Factories; the caller owns the result.
    static IOutputColorSpace* CreateIcc();     // open: the profile decides kind and channels
    static IOutputColorSpace* CreateCmykIcc(); // CMYK kind, channels from the profile
    static IOutputColorSpace* CreateCmykPlus(int n);
    static IOutputColorSpace* CreateGray();
    static IOutputColorSpace* CreateRgb();
    static IOutputColorSpace* CreateSepar(int n); // every channel bypasses colour management
    // The space of a printer with `n` channels of the primaries `prims`: CMYK when the first
    // four are cyan, magenta, yellow, black; gray when the first is black; otherwise a
    // separation device. With `prims` null, a CMYK-plus space of n channels.
    static IOutputColorSpace* CreatePrinter(int n, const enmDevicePrimColor* prims);
};

class COutputColorSpace : public IOutputColorSpace, public CBaseColorSpace {
public:
    ~COutputColorSpace() override;
    COutputColorSpace& operator=(const COutputColorSpace&) = delete;

    // The base operations, one state for both sides.
    enmColorSpaceType GetColorSpaceType() override { return CBaseColorSpace::GetColorSpaceType(); }
    int GetCountChannels() override { return CBaseColorSpace::GetCountChannels(); }
    int GetCountNotColorManagedChannels() override {
        return CBaseColorSpace::GetCountNotColorManagedChannels();
    }
    void SetCountNotColorManagedChannels(int n) override {
        CBaseColorSpace::SetCountNotColorManagedChannels(n);
    }
    std::wstring GetIccFileName() override { return CBaseColorSpace::GetIccFileName(); }
    void SetIccFileName(const wchar_t* path) override { CBaseColorSpace::SetIccFileName(path); }
    CIccColorProfile* pIccProfile() override { return CBaseColorSpace::pIccProfile(); }
    enmRenderingIntent RenderingIntent() const override {
        return CBaseColorSpace::RenderingIntent();
    }
    void SetRenderingIntent(enmRenderingIntent intent) override {
        CBaseColorSpace::SetRenderingIntent(intent);
    }
    enmDevicePrimColor GetDevPrimCol(int channel) override {
        return CBaseColorSpace::GetDevPrimCol(channel);
    }
    void SetDevPrimCol(int channel, enmDevicePrimColor primary) override {
        CBaseColorSpace::SetDevPrimCol(channel, primary);
    }
    int LoadIccFile(const wchar_t* path, CUserSettingsMgr* usm) override {
        return CBaseColorSpace::LoadIccFile(path, usm);
    }
    int Error() override { return CBaseColorSpace::Error(); }

    const CNamedColorsProfile* pNamedColorsProfile() override {
        return m_pNamedColorsProfile.get();
    }
    SInkLimitParms* pInkLimitParms() override { return &m_InkLimitParms; }
    int LoadNamedColorsProfile(const wchar_t* path, CUserSettingsMgr* usm) override;
    void ClearNamedColorsProfile() override;
    void SetUseRecipesForReplacement(int use) override { m_bUseRecipesForReplacement = use; }
    int GetUseRecipesForReplacement() override { return m_bUseRecipesForReplacement; }
    IOutputColorSpace* Clone() override;
    void ClearGradation() override { m_vecGradations.clear(); }
    void AppendGradation(const std::vector<unsigned short*>& gradation) override {
        m_vecGradations.push_back(gradation);
    }
    const std::vector<std::vector<unsigned short*>> GetAppendedGradations() override {
        return m_vecGradations;
    }

protected:
    friend class IOutputColorSpace;
    COutputColorSpace();
    // CreatePrinter's rule.
    COutputColorSpace(int n, const enmDevicePrimColor* prims);
    // An independent copy: its own record and dictionary, the same gradation pointers.
    COutputColorSpace(const COutputColorSpace& other);

private:
    SInkLimitParms m_InkLimitParms;
    std::unique_ptr<CNamedColorsProfile> m_pNamedColorsProfile;
    int m_bUseRecipesForReplacement = 0;
    std::vector<std::vector<unsigned short*>> m_vecGradations; // tables not owned
};
