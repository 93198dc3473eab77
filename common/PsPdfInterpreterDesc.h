// What the application says about one interpreter's colour pages: which dialog each of the two
// sub-pages uses, and the options that change what those pages offer. The application registers
// one per interpreter with CGlobalContext::SetInterpreterDesc; a page of an interpreter without
// one uses dialog 0, the full set of controls and the defaults below.
#pragma once

#include <array>
#include <set>

struct SPsPdfInterpreterDesc {
    // Dialog of the first (index 0) and the second (index 1) sub-page.
    std::array<unsigned int, 2> nPageDialog{0, 0};
    // The intent lists offer relative colorimetric with black-point compensation (intent 5).
    int bAdvancedIntents = 1;
    // With an intermediate colour space the CMYK default output may be left empty; when 0 its
    // combo is offered whenever the intermediate space is on.
    int bDefaultOutputOptional = 1;
    // The application's own flag of the interpreter: kept with the rest, no rule of the pages
    // reads it.
    int bOtherOption = 0;
    // Controls of a family's table that this interpreter's dialogs do not have, per sub-page.
    // Every rule of the pages holds only for controls that exist.
    std::array<std::set<unsigned int>, 2> absentControls;
};
