#include "colorlink/MdlColorLink.h"

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
