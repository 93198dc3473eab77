// The user settings of the print system, as the colour code reads and writes them by entry.
#pragma once

#include <string>

#include "base/Settings.h"

class CPrintEnv;

class CPrintUSM : public CUserSettingsMgr {
public:
    // The default settings file ($KVR_INI, then the user's configuration folder).
    CPrintUSM() = default;
    // The settings of the given file; tests and tools run on a file of their own.
    explicit CPrintUSM(std::wstring iniPath) : CUserSettingsMgr(std::move(iniPath)) {}

    // The settings of this process, in the default settings file. Lives until the process ends.
    static CPrintUSM* GetInstance();

    // A new print environment on these settings, which the caller owns. With `iccProfile` null
    // it is the printer configured in the settings; a profile path given stands for the
    // configured one, with `bRgbPrinter` telling whether it is an RGB printer's.
    virtual CPrintEnv* CreatePrintEnv(const wchar_t* iccProfile, int bRgbPrinter);
};
