// The factories of colour links. They depend on the back-ends; the back-ends know only the
// interface of colorlink/MdlColorLink.h, where the factories are declared.
#include "base/IniEntries.h"
#include "base/Settings.h"
#include "colorlink/MdlColorLink.h"
#include "colorlink/icm/WinColorLink.h"
#include "colorlink/lcms/LcmsColorLink.h"
#include "colorlink/native/ColorLink.h"

CMdlColorLink* CreateMdlColorLink(CUserSettingsMgr* settings) {
    // Read afresh on each call, so a changed setting acts from the next link on.
    const int cms = settings ? settings->GetInt(IniCpCMS) : 1;
    switch (cms) {
    case 2: // Windows ICM, with the engine of IniCpSelectCMM
        return new CWinColorLink(settings, uint32_t(settings->GetInt(IniCpSelectCMM)));
    case 4: // lcms2
        return new CLcmsColorLink(settings);
    default: // 3 and every other value: the native back-end, the default
        return new CColorLink(settings);
    }
}
