#include "colorlink/Factories.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "base/IniEntries.h"
#include "base/PathUtil.h"
#include "base/Settings.h"
#include "base/WideString.h"
#include "colorspace/OutputColorSpace.h"
#include "common/PrintEnv.h"
#include "common/PrintUSM.h"
#include "icc/IccRecords.h"

namespace {

namespace fs = std::filesystem;
using LinkPtr = std::unique_ptr<CMdlColorLink>;
using SpacePtr = std::unique_ptr<IOutputColorSpace>;

constexpr unsigned kLabChannels = 3;
constexpr unsigned kRgbChannels = 3;
constexpr unsigned kCmykChannels = 4;
constexpr unsigned kGamutChannels = 1;

// Folders of the default profiles below the profile root.
constexpr wchar_t kInputRgbFolder[] = L"InputRgb";
constexpr wchar_t kInputCmykFolder[] = L"InputCmyk";
constexpr wchar_t kInputGrayFolder[] = L"InputGray";
constexpr wchar_t kPrinterFolder[] = L"Printer";

CUserSettingsMgr* Settings(CUserSettingsMgr* usm) {
    return usm ? usm : CPrintUSM::GetInstance();
}
CPrintUSM* Settings(CPrintUSM* usm) {
    return usm ? usm : CPrintUSM::GetInstance();
}

enmRenderingIntent ConfiguredIntent(CUserSettingsMgr* usm, const _INIENTRY& entry) {
    return enmRenderingIntent(Settings(usm)->GetInt(entry));
}

// The output space that a printer's profile is checked against.
SpacePtr PrinterSpace(bool rgb, int nCols, const enmDevicePrimColor* cols) {
    return SpacePtr(rgb ? IOutputColorSpace::CreateRgb()
                        : IOutputColorSpace::CreatePrinter(nCols, cols));
}

// Channels of the profile that the space has loaded; gamt counts 1.
unsigned DeviceChannels(IOutputColorSpace& space) {
    return GetChannelCountOfSignature(space.pIccProfile()->DeviceColorSpaceSignature());
}

unsigned DeviceFormat(unsigned channels) {
    if (channels == kCmykChannels) return CMdlColorLink::LinkFmtCmyk;
    if (channels == kRgbChannels) return CMdlColorLink::LinkFmtRgb;
    return CMdlColorLink::LinkFmtNColor;
}

// A link of one profile step, built; null if the step or the build fails.
CMdlColorLink* OneStepLink(CUserSettingsMgr* usm, const std::wstring& path, int step,
                           enmRenderingIntent intent, unsigned inFmt, unsigned nIn, unsigned outFmt,
                           unsigned nOut) {
    LinkPtr link(CreateMdlColorLink(usm));
    if (!link->AddProfile(path.c_str(), step, intent)) return nullptr;
    if (!link->CreateLink(inFmt, nIn, outFmt, nOut)) return nullptr;
    return link.release();
}

// The printer's profile of a context, loaded into its output space; null if it does not load.
SpacePtr LoadedPrinterSpace(const CPrintEnvContext& ctx, const std::wstring& path) {
    CPrintEnv* env = ctx.pPrintEnv();
    SpacePtr space = PrinterSpace(env->IsRGBPrinter() != 0, ctx.nDevPrimCols, ctx.DevPrimCols);
    if (!space->LoadIccFile(path.c_str(), ctx.pUSM)) return nullptr;
    return space;
}

std::wstring DefaultInputPath(CUserSettingsMgr* usm, const wchar_t* folder, const _INIENTRY& file) {
    const std::wstring dir = BuildFileName(usm->GetString(IniCpBasePath), folder);
    return BuildFileName(dir, usm->GetString(file));
}

bool IsRegularFile(const fs::path& path) {
    std::error_code ec;
    return fs::is_regular_file(path, ec);
}

// The first profile (*.icc, *.icm, any case, by name) of `folder` below the profile root;
// empty if it has none or does not exist.
std::wstring FirstProfileIn(CUserSettingsMgr* usm, const wchar_t* folder) {
    const fs::path dir = fs::path(WideToUtf8(usm->GetString(IniCpBasePath))) / WideToUtf8(folder);
    std::vector<std::string> names;
    std::error_code ec;
    for (fs::directory_iterator it(dir, ec), end; !ec && it != end; it.increment(ec)) {
        if (!it->is_regular_file(ec)) continue;
        std::string ext = it->path().extension().string();
        std::transform(ext.begin(), ext.end(), ext.begin(),
                       [](unsigned char c) { return char(std::tolower(c)); });
        if (ext == ".icc" || ext == ".icm") names.push_back(it->path().filename().string());
    }
    if (names.empty()) return {};
    std::sort(names.begin(), names.end());
    return Utf8ToWide((dir / names.front()).string());
}

// The configured file where it exists, else the first profile of its folder.
std::wstring ConfiguredOrFirst(CUserSettingsMgr* usm, const std::wstring& configured,
                               const wchar_t* folder) {
    if (IsRegularFile(WideToUtf8(configured))) return configured;
    return FirstProfileIn(usm, folder);
}

} // namespace

CMdlColorLink* CreateLabToDevTrans(CPrintEnvContext* ctx) {
    if (ctx == nullptr) return nullptr;
    return CreateLabToDevTrans(ctx, ConfiguredIntent(ctx->pUSM, IniCpOutputRi));
}

CMdlColorLink* CreateLabToDevTrans(CPrintEnvContext* ctx, enmRenderingIntent intent) {
    if (ctx == nullptr || ctx->pPrintEnv() == nullptr) return nullptr;
    const std::wstring path = ctx->pPrintEnv()->GetPathNameIccProfile();
    SpacePtr space = LoadedPrinterSpace(*ctx, path);
    if (!space) return nullptr; // the link code never saw the file
    LinkPtr link(CreateMdlColorLink(ctx->pUSM));
    if (!link->AddProfile(path.c_str(), CMdlColorLink::ProfStepPcsToDev, intent)) return nullptr;
    const unsigned n = DeviceChannels(*space);
    if (!link->CreateLink(CMdlColorLink::LinkFmtLab, kLabChannels, DeviceFormat(n), n))
        return nullptr;
    return link.release();
}

CMdlColorLink* CreateDevToLabTrans(CPrintEnvContext* ctx) {
    if (ctx == nullptr) return nullptr;
    return CreateDevToLabTrans(ctx, ConfiguredIntent(ctx->pUSM, IniCpOutputRi));
}

CMdlColorLink* CreateDevToLabTrans(CPrintEnvContext* ctx, enmRenderingIntent intent) {
    if (ctx == nullptr || ctx->pPrintEnv() == nullptr) return nullptr;
    CPrintEnv* env = ctx->pPrintEnv();
    const std::wstring path = env->GetPathNameIccProfile();
    SpacePtr space = LoadedPrinterSpace(*ctx, path);
    if (!space) return nullptr;
    LinkPtr link(CreateMdlColorLink(ctx->pUSM));
    if (!link->AddProfile(path.c_str(), CMdlColorLink::ProfStepDevToPcs, intent)) return nullptr;
    const unsigned n = DeviceChannels(*space);
    // Any printer that is not RGB is handed over as CMYK, whatever its channel count.
    const unsigned inFmt =
        env->IsRGBPrinter() ? CMdlColorLink::LinkFmtRgb : CMdlColorLink::LinkFmtCmyk;
    if (!link->CreateLink(inFmt, n, CMdlColorLink::LinkFmtLab, kLabChannels)) return nullptr;
    return link.release();
}

CMdlColorLink* CreateGamutTrans(int bRgb, CPrintUSM* usm, const wchar_t* path,
                                enmRenderingIntent intent, int nCols,
                                const enmDevicePrimColor* cols) {
    if (path == nullptr) return nullptr;
    SpacePtr space = PrinterSpace(bRgb != 0, nCols, cols);
    if (!space->LoadIccFile(path, usm)) return nullptr;
    LinkPtr link(CreateMdlColorLink(usm));
    if (!link->AddProfile(path, CMdlColorLink::ProfStepGamut, intent)) {
        // An RGB printer without a gamut tag: its forward table, whose RGB output the link
        // turns into the in-or-out answer.
        if (!bRgb) return nullptr;
        if (!link->AddProfile(path, CMdlColorLink::ProfStepPcsToDev, intent)) return nullptr;
    }
    if (!link->CreateLink(CMdlColorLink::LinkFmtLab, kLabChannels, CMdlColorLink::LinkFmtGamut,
                          kGamutChannels))
        return nullptr;
    return link.release();
}

CMdlColorLink* CreateGamutTrans(CPrintEnvContext* ctx) {
    if (ctx == nullptr || ctx->pPrintEnv() == nullptr) return nullptr;
    CPrintEnv* env = ctx->pPrintEnv();
    const std::wstring path = env->GetPathNameIccProfile();
    return CreateGamutTrans(env->IsRGBPrinter(), env->pUSM(), path.c_str(),
                            ConfiguredIntent(ctx->pUSM, IniCpOutputRi), ctx->nDevPrimCols,
                            ctx->DevPrimCols);
}

CMdlColorLink* CreateGamutTrans(CPrintUSM* usm, CPrintEnv* env, enmRenderingIntent intent) {
    usm = Settings(usm);
    std::unique_ptr<CPrintEnv> made;
    if (env == nullptr) {
        made.reset(usm->CreatePrintEnv(nullptr, 0));
        env = made.get();
    }
    CPrintEnvContext ctx(env);
    if (intent == IntentDefault) intent = ConfiguredIntent(usm, IniCpOutputRi);
    const std::wstring path = env->GetPathNameIccProfile();
    return CreateGamutTrans(env->IsRGBPrinter(), ctx.pUSM, path.c_str(), intent, ctx.nDevPrimCols,
                            ctx.DevPrimCols);
}

CMdlColorLink* CreatePreviewTrans(CPrintEnvContext* ctx) {
    if (ctx == nullptr || ctx->pPrintEnv() == nullptr) return nullptr;
    const enmRenderingIntent intent = ConfiguredIntent(ctx->pUSM, IniCpOutputRi);
    const std::wstring path = ctx->pPrintEnv()->GetPathNameIccProfile();
    SpacePtr space = LoadedPrinterSpace(*ctx, path);
    if (!space) return nullptr;
    LinkPtr link(CreateMdlColorLink(ctx->pUSM));
    if (!link->AddProfile(path.c_str(), CMdlColorLink::ProfStepPreview, intent)) return nullptr;
    const std::wstring monitor = Settings(ctx->pUSM)->MonitorProfileName();
    if (!link->AddProfile(monitor.c_str(), CMdlColorLink::ProfStepPcsToDev, IntentDefault))
        return nullptr;
    if (!link->CreateLink(CMdlColorLink::LinkFmtLab, kLabChannels, CMdlColorLink::LinkFmtRgb,
                          kRgbChannels))
        return nullptr;
    return link.release();
}

CMdlColorLink* CreatePreviewTransLab(CPrintUSM* usm, CPrintEnv* env, enmRenderingIntent intent) {
    if (env == nullptr) return nullptr;
    CPrintEnvContext ctx(env);
    const std::wstring path = env->GetPathNameIccProfile();
    // The space only tests the file.
    SpacePtr space = PrinterSpace(env->IsRGBPrinter() != 0, ctx.nDevPrimCols, ctx.DevPrimCols);
    if (!space->LoadIccFile(path.c_str(), usm)) return nullptr;
    return OneStepLink(usm, path, CMdlColorLink::ProfStepPreview, intent, CMdlColorLink::LinkFmtLab,
                       kLabChannels, CMdlColorLink::LinkFmtLab, kLabChannels);
}

CMdlColorLink* CreatePreviewTransLab(CPrintUSM* usm, const wchar_t* path,
                                     enmRenderingIntent intent) {
    if (path == nullptr) return nullptr;
    // The profile's own kind decides the space it is checked against.
    CIccColorProfile record;
    unsigned count = 0;
    bool rgb = false;
    if (record.LoadIccFile(path, usm)) {
        count = GetChannelCountOfSignature(record.DeviceColorSpaceSignature());
        rgb = record.DeviceColorSpaceSignature() == icSigRgbData;
    }
    SpacePtr space(rgb ? IOutputColorSpace::CreateRgb()
                       : IOutputColorSpace::CreatePrinter(int(count), nullptr));
    if (!space->LoadIccFile(path, usm)) return nullptr;
    return OneStepLink(usm, path, CMdlColorLink::ProfStepPreview, intent, CMdlColorLink::LinkFmtLab,
                       kLabChannels, CMdlColorLink::LinkFmtLab, kLabChannels);
}

CMdlColorLink* CreateMonitorTrans(CUserSettingsMgr* usm) {
    usm = Settings(usm);
    return OneStepLink(usm, usm->MonitorProfileName(), CMdlColorLink::ProfStepPcsToDev,
                       IntentDefault, CMdlColorLink::LinkFmtLab, kLabChannels,
                       CMdlColorLink::LinkFmtRgb, kRgbChannels);
}

CMdlColorLink* CreateMonitorInvTrans(CUserSettingsMgr* usm) {
    usm = Settings(usm);
    return OneStepLink(usm, usm->MonitorProfileName(), CMdlColorLink::ProfStepDevToPcs,
                       IntentDefault, CMdlColorLink::LinkFmtRgb, kRgbChannels,
                       CMdlColorLink::LinkFmtLab, kLabChannels);
}

std::wstring GetDefaultCMYKInputProfile(CUserSettingsMgr* usm) {
    return DefaultInputPath(Settings(usm), kInputCmykFolder, IniCpInputCmyk);
}

std::wstring GetDefaultRGBInputProfile(CUserSettingsMgr* usm) {
    return DefaultInputPath(Settings(usm), kInputRgbFolder, IniCpInputRgb);
}

std::wstring FindDefaultRGBInputProfile(CUserSettingsMgr* usm) {
    usm = Settings(usm);
    return ConfiguredOrFirst(usm, GetDefaultRGBInputProfile(usm), kInputRgbFolder);
}

std::wstring FindDefaultCMYKInputProfile(CUserSettingsMgr* usm) {
    usm = Settings(usm);
    return ConfiguredOrFirst(usm, GetDefaultCMYKInputProfile(usm), kInputCmykFolder);
}

std::wstring FindDefaultGrayInputProfile(CUserSettingsMgr* usm) {
    return FirstProfileIn(Settings(usm), kInputGrayFolder);
}

std::wstring FindDefaultPrinterProfile(CUserSettingsMgr* usm) {
    return FirstProfileIn(Settings(usm), kPrinterFolder);
}

CMdlColorLink* CreateDefaultCMYKInputTrans(CUserSettingsMgr* usm) {
    usm = Settings(usm);
    return OneStepLink(usm, GetDefaultCMYKInputProfile(usm), CMdlColorLink::ProfStepDevToPcs,
                       ConfiguredIntent(usm, IniCpDefaultRiCmyk), CMdlColorLink::LinkFmtCmyk,
                       kCmykChannels, CMdlColorLink::LinkFmtLab, kLabChannels);
}

CMdlColorLink* CreateDefaultRGBInputTrans(CUserSettingsMgr* usm) {
    usm = Settings(usm);
    return OneStepLink(usm, GetDefaultRGBInputProfile(usm), CMdlColorLink::ProfStepDevToPcs,
                       ConfiguredIntent(usm, IniCpDefaultRiRgb), CMdlColorLink::LinkFmtRgb,
                       kRgbChannels, CMdlColorLink::LinkFmtLab, kLabChannels);
}
