// A byte table of one gamma curve: entry i = pow(i / 255, gamma) * 255, truncated.
#pragma once

#include <cstdint>

class CGammaTab {
public:
    // gamma must not be negative, so that every entry lies in 0..255.
    explicit CGammaTab(double gamma);
    virtual ~CGammaTab() = default;

    const uint8_t* pTab() const { return m_tab; }

private:
    uint8_t m_tab[256];
};
