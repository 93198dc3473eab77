// The pages of the preset kinds as far as the presets see them: each page holds its own copy of
// the data it edits, which the preset object fills (DataToPSOPropPg) and takes back
// (DataFromPSOPropPg). The pages are the page models of pages/: input profiles, simulation
// target, and the interpreter colour pages.
#pragma once

#include "pages/PrPgInputProfiles.h"
#include "pages/PrPgPresetSimTargetPrinter.h"
#include "pages/PsCsPages.h"
