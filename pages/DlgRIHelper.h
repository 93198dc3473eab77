// The rendering-intent combo boxes of the pages: which intents a combo offers, and the
// translation between an intent's number (enmRenderingIntent) and the name the combo shows.
#pragma once

#include <string>
#include <vector>

#include "pages/PageModel.h"

class CDlgRIHelper {
public:
    // The intents a combo offers, in the order shown: perceptual, relative colorimetric,
    // saturation, absolute colorimetric; then relative colorimetric with black point
    // compensation (5) unless `noBpcIntent` is set, the "advanced" intent that some
    // interpreters lack; then, unless `noBlackPreserving` is set, the black-preserving intents
    // 6 to 13 (K-only, then K-plane), leaving out those built on intent 5 when that is not
    // offered. The black-preserving intents only mean something for CMYK to CMYK.
    static std::vector<int> Intents(int noBpcIntent, int noBlackPreserving);

    // Fills the combo with the names of Intents(noBpcIntent, noBlackPreserving); no selection.
    static void InitComboBox(const CComboHandle& combo, int noBpcIntent, int noBlackPreserving);

    // The intent shown as `text`; -1 for a text that names no intent (an empty one included).
    static int TrafoRiStr2Enm(const std::wstring& text);
    // The name of intent `intent`; empty for a number that is no intent (0, the default, too).
    static std::wstring TrafoRiEnm2Str(int intent);
};
