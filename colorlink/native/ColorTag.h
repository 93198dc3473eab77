// One step of a native link's chain: what AddProfile reads from a profile for one direction.
#pragma once

#include <memory>

#include "base/Object.h"
#include "colorfunc/Func.h"
#include "colorlink/MdlColorLink.h"
#include "gridtable/TabMft.h"
#include "icc/IccRecords.h"

class CIccProfileUse;
class CUserSettingsMgr;

// One step of a chain: the table of one profile for one direction, with what the composition
// needs to know about the profile (its white, its black, whether the step is absolute).
class CColorTag : public CObject {
public:
    // Opens the profile at `path`; `nError` tells the outcome (0, 901 or 904). `intent` is
    // already reduced (0 to 5).
    CColorTag(const wchar_t* path, int kind, enmRenderingIntent intent, CUserSettingsMgr* settings);
    // The same from a profile that is already open; the profile stays the caller's.
    CColorTag(CIccProfileUse* profile, int kind, enmRenderingIntent intent);
    ~CColorTag() override;
    CColorTag(const CColorTag&) = delete;
    CColorTag& operator=(const CColorTag&) = delete;

    // Replaces an 8-bit table by its 16-bit widening (three- and four-input pipelines only)
    // and sets bFrom8Bit. Runs the first time the build touches the tag; harmless afterwards.
    void Widen();
    // The grid nodes of the step's table, 8-bit if not widened yet; 0 without a table.
    unsigned clutEntries() const;

    // Channels of a colour space as a step's side: those of the space, 1 for the gamut
    // answer, 0 for a space whose count is not known.
    static unsigned ChannelsOf(unsigned space);
    // Whether a function goes from exactly the channels of `inSpace` to those of `outSpace`.
    // A space of unknown count fits nothing: neither the caller's pixels nor a neighbouring
    // step could be checked against it.
    template <class F> static bool FitsSpaces(const F& f, unsigned inSpace, unsigned outSpace) {
        const unsigned in = ChannelsOf(inSpace), out = ChannelsOf(outSpace);
        return in != 0 && out != 0 && f.inputChan() == in && f.outputChan() == out;
    }
    // Whether the step's table fits its InSpace and OutSpace; false without a table.
    bool FitsItsSpaces() const;

    std::unique_ptr<CFunc_16> pLabRelAbs; // absolute step with Lab input, else null
    std::unique_ptr<CFunc_16> pXYZRelAbs; // absolute step with XYZ input, else null
    std::unique_ptr<CFunc_16> pReserved1; // never set
    std::unique_ptr<CFunc_16> pReserved2; // never set
    icXYZNumber MediaWhite;               // of the profile; D50 in s15.16 until read
    std::unique_ptr<CFunc_8TabBaseMft> pFunc8;
    std::unique_ptr<CFunc_16TabBaseMft> pFunc16;
    unsigned InSpace; // ICC signatures; all bits set until a table is found
    unsigned OutSpace;
    unsigned nError = 0;           // 0, 901 or 904
    int bFrom8Bit = 0;             // set once an 8-bit table was widened
    bool bCompensateBlack = false; // the reduced intent is 5

    // L of the profile's black in 16-bit Lab, 0 for none. Computed at the first call: only
    // black point compensation reads it, and the walk through the profile's tables costs more
    // than the rest of the step. Until then the tag keeps the profile it opened (its file
    // closed); a tag made from a caller's profile computes it at once, as it cannot keep that.
    unsigned short BlackPoint() const;
    // Replaces the black point, computed or not.
    void SetBlackPoint(unsigned short black);

private:
    void Reset(enmRenderingIntent intent);
    void TakeStep(CIccProfileUse& profile, int kind, enmRenderingIntent intent);
    static unsigned short ComputeBlackPoint(CIccProfileUse& profile);

    // The profile the black point is still to be computed from; null once it is known.
    mutable std::unique_ptr<CIccProfileUse> m_blackSource;
    mutable unsigned short m_blackPoint = 0;
};
