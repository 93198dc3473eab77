#include "colorlink/MdlColorLink.h"

#include "base/IniEntries.h"
#include "base/Settings.h"
#include "colorlink/ColorLink.h"

enmRenderingIntent TranslateBlackPreservingRI(enmRenderingIntent intent) {
    switch (intent) {
    case IntentPerceptualKeepK:
    case IntentPerceptualKeepPlane:
        return IntentPerceptual;
    case IntentRelativeKeepK:
    case IntentRelativeKeepPlane:
        return IntentRelative;
    case IntentSaturationKeepK:
    case IntentSaturationKeepPlane:
        return IntentSaturation;
    case IntentRelativeBpcKeepK:
    case IntentRelativeBpcKeepPlane:
        return IntentRelativeBpc;
    default:
        return intent;
    }
}

CMdlColorLink* CreateMdlColorLink(CUserSettingsMgr* settings) {
    // Read afresh on each call, so a changed setting acts from the next link on.
    const int cms = settings ? settings->GetInt(IniCpCMS) : 1;
    switch (cms) {
    case 2: // Windows ICM, with the engine of IniCpSelectCMM
    case 4: // lcms2
        // Temporary limit: the ICM and lcms back-ends are not in this build yet; both values
        // give the native back-end until they are.
        return new CColorLink(settings);
    default: // 3 and every other value: the native back-end, the default
        return new CColorLink(settings);
    }
}
