// A program of another project, built against the installed package: it reads the default
// profile folder from the settings, builds a link from the default RGB profile to the default
// printer profile there, and prints the folder and one converted colour.
#include <cstdio>
#include <memory>
#include <string>

#include "base/Settings.h"
#include "base/WideString.h"
#include "colorlink/MdlColorLink.h"

int main() {
    CUserSettingsMgr settings;
    const std::wstring base = settings.GetString(IniCpBasePath);
    std::printf("base %s\n", WideToUtf8(base).c_str());
    std::unique_ptr<CMdlColorLink> link(CreateMdlColorLink(&settings));
    if (!link ||
        !link->AddProfile((base + L"/InputRgb/kvr-srgb.icc").c_str(),
                          CMdlColorLink::ProfStepDevToPcs, IntentPerceptual) ||
        !link->AddProfile((base + L"/Printer/kvr-cmyk.icc").c_str(),
                          CMdlColorLink::ProfStepPcsToDev, IntentPerceptual) ||
        !link->CreateLink(CMdlColorLink::LinkFmtRgb, 3, CMdlColorLink::LinkFmtCmyk, 4)) {
        std::printf("no link: error %u\n", link ? link->GetLinkError() : 0u);
        return 1;
    }
    const unsigned char red[3] = {255, 0, 0};
    unsigned char cmyk[4] = {};
    link->TrnPixels8(red, cmyk, 1);
    std::printf("red %u %u %u %u\n", cmyk[0], cmyk[1], cmyk[2], cmyk[3]);
    return 0;
}
