#include "presets/PSOPsCs.h"

using S = SPostscriptColorSettings;

bool PsColorSettingsMatch(const S& a, const S& b) {
    for (const SPsCsField& f : PsCsFields()) {
        if (f.intField == &S::nInterpreter5Option) continue; // shown by one page only
        if (f.intField ? a.*f.intField != b.*f.intField : a.*f.textField != b.*f.textField)
            return false;
    }
    return true;
}
