#include "colorfunc/GammaTab.h"

#include <cmath>

CGammaTab::CGammaTab(double gamma) {
    // Truncated on purpose: no rounding term.
    for (int i = 0; i < 256; ++i)
        m_tab[i] = static_cast<uint8_t>(std::pow(i / 255.0, gamma) * 255.0);
}
