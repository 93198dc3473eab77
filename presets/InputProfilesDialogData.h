// The data of the input-profile pages, as the input-profile preset hands it to them and takes
// it back.
#pragma once

#include <string>

// The first page of the input profiles: full paths, intents and flags per colour space.
struct SInputProfilesDialogData1 {
    std::wstring sRgbProfile, sCmykProfile, sLabProfile, sGrayProfile;
    int nRgbIntent = 1, nCmykIntent = 1, nLabIntent = 1, nGrayIntent = 1;
    int bRgbAskOnMissing = 0, bCmykAskOnMissing = 0;
    int bRgbUseEmbedded = 1, bCmykUseEmbedded = 1, bGrayUseEmbedded = 1;
    bool operator==(const SInputProfilesDialogData1&) const = default;
};

// The second page: the two options of colorimetric intent and white-point expansion.
struct SInputProfilesDialogData2 {
    int bUseColorimetricRI = 0;
    int bDisableWhitePointExpansion = 0;
    bool operator==(const SInputProfilesDialogData2&) const = default;
};
