// The print environment: the printer a job goes to, as the colour code needs it. Its ICC
// profile, whether it is driven through RGB profiles, and the primaries of its channels. The
// printer is configured once in the settings file (section [Printer], base/IniEntries.h).
//
// A CPrintEnvContext is what a printing module holds and hands to the transform factories: the
// environment, its settings and its channels in one place.
#pragma once

#include <string>
#include <vector>

#include "base/DevicePrimColor.h"

class CPrintUSM;

class CPrintEnv {
public:
    // The printer as the settings of `usm` describe it, read now. Null stands for the
    // process's settings. The settings object is not owned and must outlive the environment.
    explicit CPrintEnv(CPrintUSM* usm);
    // A printer given directly, for hosts that know their printer and for tests.
    CPrintEnv(CPrintUSM* usm, std::wstring profilePath, bool rgbPrinter,
              std::vector<enmDevicePrimColor> primaries);
    virtual ~CPrintEnv() = default;

    // Full path of the printer's ICC profile; empty when none is configured. A bare file name
    // in the settings is looked up in the folder Printer, or Printer/RGB for an RGB printer,
    // below the profile root (IniCpBasePath).
    virtual std::wstring GetPathNameIccProfile() const { return m_sProfilePath; }
    // 1 for a printer driven through RGB profiles.
    virtual int IsRGBPrinter() const { return m_bRgbPrinter ? 1 : 0; }

    // The primaries of the printer's channels, in channel order.
    int nDevPrimCols() const { return int(m_vecPrimaries.size()); }
    const enmDevicePrimColor* DevPrimCols() const {
        return m_vecPrimaries.empty() ? nullptr : m_vecPrimaries.data();
    }

    CPrintUSM* pUSM() const { return m_pUSM; }

private:
    CPrintUSM* m_pUSM; // not owned
    std::wstring m_sProfilePath;
    bool m_bRgbPrinter = false;
    std::vector<enmDevicePrimColor> m_vecPrimaries;
};

// The environment as a printing module holds it. The fields are those of the environment, taken
// when the context is made; the environment is not owned and must outlive the context.
class CPrintEnvContext {
public:
    explicit CPrintEnvContext(CPrintEnv* env);

    CPrintEnv* pPrintEnv() const { return m_pPrintEnv; }

    CPrintUSM* pUSM;                       // the settings of the environment
    int nDevPrimCols;                      // channels of the printer
    const enmDevicePrimColor* DevPrimCols; // their primaries, owned by the environment

private:
    CPrintEnv* m_pPrintEnv; // not owned
};
