// Demonstration: an identity link copies pixels; a grid table filled from a colour function
// interpolates it. Prints what both convert.
#include <algorithm>
#include <cstdio>
#include <memory>

#include "colorlink/MdlColorLink.h"
#include "gridtable/Mft3.h"

namespace {
// A simple RGB to CMYK separation: complement, with the grey component moved to black.
class NaiveRgbToCmyk : public CFunc_16 {
public:
    NaiveRgbToCmyk() : CFunc_16(3, 4) {}
    int Trn(const uint16_t* in, uint16_t* out) const override {
        unsigned c = 65535u - in[0], m = 65535u - in[1], y = 65535u - in[2];
        unsigned k = std::min({c, m, y});
        out[0] = uint16_t(c - k);
        out[1] = uint16_t(m - k);
        out[2] = uint16_t(y - k);
        out[3] = uint16_t(k);
        return 1;
    }
};
} // namespace

int main() {
    std::unique_ptr<CMdlColorLink> link(CreateMdlColorLink(nullptr));
    if (!link->CreateLink(CMdlColorLink::LinkFmtNColor, 6, CMdlColorLink::LinkFmtNColor, 6)) {
        std::fprintf(stderr, "kvrdemo: the identity link could not be built (error %u)\n",
                     link->GetLinkError());
        return 1;
    }
    const unsigned char in8[2 * 6] = {0, 51, 102, 153, 204, 255, 10, 20, 30, 40, 50, 60};
    unsigned char out8[2 * 6] = {};
    link->TrnPixels8(in8, out8, 2);
    std::printf("Identity link, 6 channels, 8 bit:\n");
    for (int p = 0; p < 2; ++p) {
        std::printf("  ");
        for (int c = 0; c < 6; ++c) std::printf("%3u ", in8[p * 6 + c]);
        std::printf("-> ");
        for (int c = 0; c < 6; ++c) std::printf("%3u ", out8[p * 6 + c]);
        std::printf("\n");
    }

    NaiveRgbToCmyk separation;
    CMft3_16 grid(17, 4);
    grid.DefineByFunc(separation);
    grid.InitTrn();
    std::printf("Grid table of 17 x 17 x 17 nodes, RGB to CMYK, 16 bit (table | function):\n");
    const uint16_t rgb[][3] = {{65535, 65535, 65535}, {0, 0, 0},           {65535, 0, 0},
                               {30000, 40000, 50000}, {12345, 54321, 777}, {32768, 32768, 32768}};
    for (const auto& px : rgb) {
        uint16_t viaGrid[4], exact[4];
        grid.Trn(px, viaGrid);
        separation.Trn(px, exact);
        std::printf("  RGB %5u %5u %5u -> CMYK %5u %5u %5u %5u | %5u %5u %5u %5u\n", px[0], px[1],
                    px[2], viaGrid[0], viaGrid[1], viaGrid[2], viaGrid[3], exact[0], exact[1],
                    exact[2], exact[3]);
    }
    return 0;
}
