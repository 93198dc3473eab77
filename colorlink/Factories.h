// The transform factories: the named conversions that the printing and preview modules ask
// for. Each reads the settings, finds the profiles, checks a printer's profile by loading it as
// an output colour space, and builds a link through CreateMdlColorLink, so the back-end is
// chosen anew on every call. Nothing is kept between calls.
//
// Every factory answers a new link that the caller owns and deletes, or null; the reason of a
// failure stays in the link and is lost with it. Null settings stand for the process's
// settings, CPrintUSM::GetInstance().
//
// Intents are passed on as they are, the black-preserving ones (6 to 13) included: AddProfile
// reduces them with TranslateBlackPreservingRI (colorlink/MdlColorLink.h) where a back-end
// cannot carry them out.
#pragma once

#include <string>

#include "base/DevicePrimColor.h"
#include "colorlink/MdlColorLink.h"

class CPrintEnv;
class CPrintEnvContext;
class CPrintUSM;
class CUserSettingsMgr;

// Lab to the printer's device values: the printer's profile as a PCS-to-device step, built
// from Lab (3) to CMYK for 4 channels, RGB for 3, N-colour otherwise. The first form takes the
// intent from IniCpOutputRi.
CMdlColorLink* CreateLabToDevTrans(CPrintEnvContext* ctx);
CMdlColorLink* CreateLabToDevTrans(CPrintEnvContext* ctx, enmRenderingIntent intent);

// The printer's device values to Lab: RGB input for an RGB printer, CMYK input for any other,
// whatever its channel count (a back-end that checks the colour space then refuses a printer
// of other than four inks).
CMdlColorLink* CreateDevToLabTrans(CPrintEnvContext* ctx);
CMdlColorLink* CreateDevToLabTrans(CPrintEnvContext* ctx, enmRenderingIntent intent);

// Lab to one in-or-out-of-gamut channel of the profile at `path`. An RGB printer's profile
// without a gamut tag is tried as a PCS-to-device step instead, whose RGB output the link turns
// into the answer.
CMdlColorLink* CreateGamutTrans(int bRgb, CPrintUSM* usm, const wchar_t* path,
                                enmRenderingIntent intent, int nCols,
                                const enmDevicePrimColor* cols);
// The same for the printer of the context, with the intent of IniCpOutputRi.
CMdlColorLink* CreateGamutTrans(CPrintEnvContext* ctx);
// The same for `env`, or for the configured printer when env is null. An intent of 0 here, and
// only here, means the configured intent, IniCpOutputRi.
CMdlColorLink* CreateGamutTrans(CPrintUSM* usm, CPrintEnv* env, enmRenderingIntent intent);

// Lab through the printer (its preview tables, intent of IniCpOutputRi) to the monitor's RGB.
CMdlColorLink* CreatePreviewTrans(CPrintEnvContext* ctx);
// Lab through the printer's preview tables to Lab, for `env` (not owned; null gives null).
CMdlColorLink* CreatePreviewTransLab(CPrintUSM* usm, CPrintEnv* env, enmRenderingIntent intent);
// The same for the profile at `path`, checked as an RGB space or as a CMYK-plus space of its
// own channel count.
CMdlColorLink* CreatePreviewTransLab(CPrintUSM* usm, const wchar_t* path,
                                     enmRenderingIntent intent);

// Lab to the monitor's RGB and back, through the monitor profile of the settings.
CMdlColorLink* CreateMonitorTrans(CUserSettingsMgr* usm);
CMdlColorLink* CreateMonitorInvTrans(CUserSettingsMgr* usm);

// The default CMYK and RGB source profiles (IniCpInputCmyk in the folder InputCmyk,
// IniCpInputRgb in InputRgb, below IniCpBasePath) to Lab, with their intents.
CMdlColorLink* CreateDefaultCMYKInputTrans(CUserSettingsMgr* usm);
CMdlColorLink* CreateDefaultRGBInputTrans(CUserSettingsMgr* usm);
// The full paths of the profiles those two factories open, for callers that name or embed them.
// The file need not exist.
std::wstring GetDefaultCMYKInputProfile(CUserSettingsMgr* usm);
std::wstring GetDefaultRGBInputProfile(CUserSettingsMgr* usm);

// Additions for a caller without presets or a print host (the command-line tool), which has no
// named profile to ask for: the default profile of a colour space's folder below IniCpBasePath.
// RGB and CMYK: the file of the two functions above where it exists. Otherwise, and for grey
// (folder InputGray) and the printer (folder Printer): the first profile of the folder, *.icc
// or *.icm by name. Empty when there is none. The files are not opened.
std::wstring FindDefaultRGBInputProfile(CUserSettingsMgr* usm);
std::wstring FindDefaultCMYKInputProfile(CUserSettingsMgr* usm);
std::wstring FindDefaultGrayInputProfile(CUserSettingsMgr* usm);
std::wstring FindDefaultPrinterProfile(CUserSettingsMgr* usm);
