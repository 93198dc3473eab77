// Keeps the grid sizes of the settings file for the duration of a test, whatever other tests of
// the same program set.
#pragma once

#include "colorlink/native/ColorLink.h"

class DefaultGridSizes {
public:
    DefaultGridSizes() : old3(CColorLink::s_nGrid3), old4(CColorLink::s_nGrid4) {
        CColorLink::s_nGrid3 = 0;
        CColorLink::s_nGrid4 = 0;
    }
    ~DefaultGridSizes() {
        CColorLink::s_nGrid3 = old3;
        CColorLink::s_nGrid4 = old4;
    }
    DefaultGridSizes(const DefaultGridSizes&) = delete;
    DefaultGridSizes& operator=(const DefaultGridSizes&) = delete;

private:
    int old3, old4;
};
