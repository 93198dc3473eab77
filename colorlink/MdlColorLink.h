// The colour link interface: one finished conversion between two pixel formats, built from an
// ordered chain of ICC profiles. Other modules are compiled against the order of its virtual
// operations and against the numbers below, so neither may change.
#pragma once

#include <vector>

#include "base/Object.h"

class CUserSettingsMgr;

enum enmRenderingIntent : int {
    IntentDefault = 0,
    IntentPerceptual = 1,
    IntentRelative = 2,
    IntentSaturation = 3,
    IntentAbsolute = 4,
    IntentRelativeBpc = 5, // relative colorimetric with black point compensation
    // Black-preserving intents: carried out by the lcms back-end only, reduced elsewhere.
    IntentPerceptualKeepK = 6,
    IntentRelativeKeepK = 7,
    IntentSaturationKeepK = 8,
    IntentRelativeBpcKeepK = 9,
    IntentPerceptualKeepPlane = 10,
    IntentRelativeKeepPlane = 11,
    IntentSaturationKeepPlane = 12,
    IntentRelativeBpcKeepPlane = 13,
};

// Reduces the black-preserving intents 6..13 to 1, 2, 3, 5; all other values pass unchanged.
enmRenderingIntent TranslateBlackPreservingRI(enmRenderingIntent intent);

// Abstract base of everything that converts 16-bit pixel runs.
class CTransColorBase : public CObject {
public:
    virtual void TrnPixels16(const unsigned short* src, unsigned short* dst, unsigned count) = 0;
};

class CMdlColorLink : public CTransColorBase {
public:
    // Pixel formats of CreateLink. Single bits, but a side always has exactly one.
    enum : unsigned {
        LinkFmtRgb = 4,       // device RGB in the profile's channel order (ICM's BM_BGRTRIPLETS)
        LinkFmtCmyk = 32,     // device CMYK (ICM's BM_CMYKQUADS)
        LinkFmtGamut = 512,   // output only: one channel telling whether the input is in gamut
        LinkFmtNColor = 4096, // device with N channels
        LinkFmtLab = 8192,    // ICC Lab, the only way the connection space meets callers
        LinkFmtGray = 16384,
    };
    // Step kinds of AddProfile: which way through the profile a step goes.
    enum : int {
        ProfStepDevToPcs = 1,
        ProfStepPcsToDev = 2,
        ProfStepPreview = 3,
        ProfStepGamut = 4,
        ProfStepAbstract = 5,
        ProfStepCurves = 6, // lcms back-end only, set by AddGradation
    };
    // Error numbers of GetLinkError; 0 is no error.
    enum : unsigned {
        LinkErrOpenProfile = 901,
        LinkErrNoTable = 904,
        LinkErrFormat = 905,
    };

    ~CMdlColorLink() override = default;

    // Slot order after TrnPixels16; part of the interface.
    virtual int AddProfile(const wchar_t* path, int stepKind, enmRenderingIntent intent) = 0;
    virtual int AddGradation(const std::vector<unsigned short*>& curves) = 0;
    virtual int CreateLink(unsigned inFormat, unsigned nIn, unsigned outFormat, unsigned nOut) = 0;
    virtual unsigned GetLinkError() = 0;
    virtual void TrnPixels8(const unsigned char* src, unsigned char* dst, unsigned count) = 0;
    virtual void TrnBgrPixels8(const unsigned char* src, unsigned char* dst, unsigned count) = 0;
    virtual void Reserved1() = 0;
    virtual void Reserved2() = 0;
    virtual unsigned nInChannels() = 0;
    virtual unsigned nOutChannels() = 0;
    virtual unsigned InFormat() = 0;
    virtual unsigned OutFormat() = 0;
    virtual int SupportsGradation() = 0;
};

// Makes a new link of the back-end that the settings choose, read afresh on each call.
// The caller owns the result. Defined with the other factories in LinkFactory.cpp, apart from
// the back-ends, which depend on this interface and never on the factories.
CMdlColorLink* CreateMdlColorLink(CUserSettingsMgr* settings);
