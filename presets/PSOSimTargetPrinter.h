// The simulation target printer as a preset kind.
#pragma once

#include "presets/PSOTemplates.h"
#include "presets/PresetPages.h"
#include "presets/PresetSimTargetPrinter.h"

class CPSOSimTargetPrinter : public TPSO<CPresetSimTargetPrinter, CPrPgPresetSimTargetPrinter> {
public:
    explicit CPSOSimTargetPrinter(CGlobalContext* context) : TPSO(context) {}
};

class CPSOFactorySimTargetPrinter
    : public TPSOFactory<CPSOSimTargetPrinter, &US_SimTargetPrinterName,
                         CPresetSimTargetPrinter::szExtension> {
public:
    CPSOFactorySimTargetPrinter(CGlobalContext* context, const wchar_t* customizedName,
                                const wchar_t* noneName, const wchar_t* userDefinedName)
        : TPSOFactory(context, customizedName, noneName, userDefinedName) {}
};
