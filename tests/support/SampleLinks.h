// A link and pixels that the tests of threads share: sRGB to the CMYK printer of the corpus,
// perceptual, as the RIP makes it for RGB images, and source pixels that cover every byte value
// on every channel and then wander.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "colorlink/MdlColorLink.h"
#include "support/TestData.h"

namespace kvrtest {

// Adds sRGB.icc and default_cmyk.icc of the corpus to `link` and builds it RGB to CMYK.
inline bool MakeRgbToCmyk(CMdlColorLink& link) {
    const std::wstring rgb = CorpusProfile("sRGB.icc").wstring();
    const std::wstring cmyk = CorpusProfile("default_cmyk.icc").wstring();
    return link.AddProfile(rgb.c_str(), CMdlColorLink::ProfStepDevToPcs, IntentPerceptual) &&
           link.AddProfile(cmyk.c_str(), CMdlColorLink::ProfStepPcsToDev, IntentPerceptual) &&
           link.CreateLink(CMdlColorLink::LinkFmtRgb, 3, CMdlColorLink::LinkFmtCmyk, 4);
}

// Every byte value on every channel first, then a fixed pseudo-random walk.
template <class T> std::vector<T> SourcePixels(size_t count, unsigned channels) {
    std::vector<T> v(count * channels);
    uint32_t state = 12345;
    for (size_t i = 0; i < v.size(); ++i) {
        state = state * 1664525u + 1013904223u;
        if (i < 256 * channels)
            v[i] = T(sizeof(T) == 1 ? i / channels : i / channels * 257);
        else
            v[i] = T(state >> (sizeof(T) == 1 ? 24 : 16));
    }
    return v;
}

} // namespace kvrtest
