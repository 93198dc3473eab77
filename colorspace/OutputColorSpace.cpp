#include "colorspace/OutputColorSpace.h"

#include <cstdio>

#include "colorspace/NamedColorsProfile.h"

std::wstring SInkLimitParms::GetColorManagementString() const {
    wchar_t text[48];
    std::swprintf(text, sizeof text / sizeof text[0], L"%d_%d_%d", nLimitParm1, nLimitParm2,
                  nLimitParm3);
    return text;
}

COutputColorSpace::COutputColorSpace() = default;

COutputColorSpace::COutputColorSpace(int n, const enmDevicePrimColor* prims) {
    if (prims == nullptr) {
        // No print environment: the preview of a bare profile, n from its own device space.
        SetCmykPlus(n);
        return;
    }
    if (n <= 0) return; // type 4 with no channels
    if (prims[0] == DpcBlack) {
        // One colour-managed channel, the others pass, whatever they are.
        SetGray(n);
    } else if (n >= 4 && prims[0] == DpcCyan && prims[1] == DpcMagenta && prims[2] == DpcYellow &&
               prims[3] == DpcBlack) {
        SetCmykPlus(n);
        int managed = 0;
        for (int i = 0; i < n; ++i)
            if (IsColorManagedPrimary(prims[i])) ++managed;
        SetCountColorManagedChannels(managed);
        SetCountNotColorManagedChannels(n - managed);
    } else {
        // A separation device; the order of the primaries counts. The type stays open, and
        // a profile fails for want of colour-managed channels unless the caller sets some.
        SetCountColorManagedChannels(0);
        SetCountNotColorManagedChannels(n);
    }
    for (int i = 0; i < n; ++i) SetDpc(i, prims[i]);
}

COutputColorSpace::COutputColorSpace(const COutputColorSpace& other)
    : IOutputColorSpace(), CBaseColorSpace() {
    Copy(&other);
    m_InkLimitParms = other.m_InkLimitParms;
    if (other.m_pNamedColorsProfile)
        m_pNamedColorsProfile = std::make_unique<CNamedColorsProfile>(*other.m_pNamedColorsProfile);
    m_bUseRecipesForReplacement = other.m_bUseRecipesForReplacement;
    m_vecGradations = other.m_vecGradations;
}

COutputColorSpace::~COutputColorSpace() = default;

int COutputColorSpace::LoadNamedColorsProfile(const wchar_t* path, CUserSettingsMgr* usm) {
    // Loading replaces the dictionary unconditionally: after a failure there is none.
    m_pNamedColorsProfile = std::make_unique<CNamedColorsProfile>();
    const int result = m_pNamedColorsProfile->LoadFromProfile(path, usm);
    if (result) return result;
    SetError(ICC_ERR_NAMED_COLORS);
    m_pNamedColorsProfile.reset();
    return 0;
}

void COutputColorSpace::ClearNamedColorsProfile() {
    m_pNamedColorsProfile.reset();
}

IOutputColorSpace* COutputColorSpace::Clone() {
    return new COutputColorSpace(*this);
}

IOutputColorSpace* IOutputColorSpace::CreateIcc() {
    return new COutputColorSpace();
}

IOutputColorSpace* IOutputColorSpace::CreateCmykIcc() {
    auto* cs = new COutputColorSpace();
    cs->SetCmykPlus(0);
    return cs;
}

IOutputColorSpace* IOutputColorSpace::CreateCmykPlus(int n) {
    auto* cs = new COutputColorSpace();
    cs->SetCmykPlus(n);
    return cs;
}

IOutputColorSpace* IOutputColorSpace::CreateGray() {
    auto* cs = new COutputColorSpace();
    cs->SetGray();
    return cs;
}

IOutputColorSpace* IOutputColorSpace::CreateRgb() {
    auto* cs = new COutputColorSpace();
    cs->SetRgb(3);
    return cs;
}

IOutputColorSpace* IOutputColorSpace::CreateSepar(int n) {
    auto* cs = new COutputColorSpace();
    cs->SetSepar(n);
    return cs;
}

IOutputColorSpace* IOutputColorSpace::CreatePrinter(int n, const enmDevicePrimColor* prims) {
    return new COutputColorSpace(n, prims);
}
