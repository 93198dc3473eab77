#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "colorfunc/ConcatFunc.h"
#include "colorfunc/Func16Matrix.h"
#include "colorfunc/Func16Tab.h"
#include "colorfunc/PerChannel.h"
#include "colorfunc/WidthAdapters.h"

namespace {

// Curves that differ per channel and are not monotonic, 256 entries each.
CFunc_16Tab Curves(unsigned channels) {
    std::vector<uint16_t> raw(256 * channels);
    for (unsigned c = 0; c < channels; ++c)
        for (unsigned i = 0; i < 256; ++i)
            raw[c * 256 + i] = static_cast<uint16_t>((i * 257u * (c + 3) + c * 4099u) % 65536u);
    return CFunc_16Tab(channels, raw.data(), 256);
}

// f's output c at every node of a 33-point grid over all inputs, and at random vectors, is
// what f gives channel c when every input holds that channel's value.
void ExpectEachChannelAlone(const CFunc_16& f) {
    const unsigned n = f.inputChan();
    ASSERT_EQ(n, f.outputChan());
    auto check = [&](const std::vector<uint16_t>& in) {
        std::vector<uint16_t> out(n, 0);
        f.Trn(in.data(), out.data());
        for (unsigned c = 0; c < n; ++c) {
            std::vector<uint16_t> same(n, in[c]), alone(n, 0);
            f.Trn(same.data(), alone.data());
            ASSERT_EQ(out[c], alone[c]) << "channel " << c << " value " << in[c];
        }
    };
    std::vector<uint16_t> in(n, 0);
    std::vector<unsigned> index(n, 0);
    for (;;) {
        for (unsigned c = 0; c < n; ++c) in[c] = static_cast<uint16_t>(index[c] * 65535u / 32u);
        check(in);
        unsigned c = n;
        while (c-- > 0 && ++index[c] == 33) index[c] = 0;
        if (c == unsigned(-1)) break;
    }
    std::mt19937 rng(7);
    for (int k = 0; k < 20000; ++k) {
        for (unsigned c = 0; c < n; ++c) in[c] = static_cast<uint16_t>(rng());
        check(in);
    }
}

} // namespace

TEST(PerChannel, EveryClassThatClaimsItMapsEachChannelFromItsOwnInput) {
    const CFunc_16Tab curves3 = Curves(3), curves4 = Curves(4);
    const CL8To16 scale;
    const CConcatFunc_16 both(scale, curves3);                        // curves, then the scale
    const CConcatFunc_16 wrapped(static_cast<const CFunc_16&>(both)); // one-function form
    const std::vector<const CFunc_16*> claims = {&curves3, &curves4, &scale, &both, &wrapped};
    for (const CFunc_16* f : claims) {
        ASSERT_TRUE(MapsEachChannelAlone(*f));
        ExpectEachChannelAlone(*f);
    }
}

TEST(PerChannel, MixingOrResizingFunctionsDoNotClaimIt) {
    const CFunc_16Matrix matrix;
    const CFunc16CopyInOut pad(3, 4);
    const CFunc_16Tab curves = Curves(3);
    const CConcatFunc_16 curvesThenMatrix(matrix, curves);
    const CFunc_16 bare(3, 3);
    EXPECT_FALSE(MapsEachChannelAlone(matrix));
    EXPECT_FALSE(MapsEachChannelAlone(pad));
    EXPECT_FALSE(MapsEachChannelAlone(curvesThenMatrix));
    EXPECT_FALSE(MapsEachChannelAlone(bare));
}

TEST(PerChannel, SplitTakesTheLeadingCurvesAndLeavesTheRestAsItStands) {
    const CFunc_16Tab curves = Curves(3);
    const CL8To16 scale;
    const CFunc_16Matrix matrix;
    // scale after curves at the head, then the matrix, then curves again: only the first two
    // are taken.
    CConcatFunc_16 tail(curves, matrix);
    CConcatFunc_16 chain(new CConcatFunc_16(tail, scale), curves);
    const CPerChannelSplit split = SplitPerChannelHead(chain);
    ASSERT_NE(split.head, nullptr);
    EXPECT_EQ(split.rest, &tail);
    std::mt19937 rng(3);
    for (int k = 0; k < 10000; ++k) {
        const uint16_t in[3] = {static_cast<uint16_t>(rng()), static_cast<uint16_t>(rng()),
                                static_cast<uint16_t>(rng())};
        uint16_t whole[3] = {}, mid[3] = {}, parts[3] = {};
        chain.Trn(in, whole);
        split.head->Trn(in, mid);
        split.rest->Trn(mid, parts);
        ASSERT_EQ(whole[0], parts[0]);
        ASSERT_EQ(whole[1], parts[1]);
        ASSERT_EQ(whole[2], parts[2]);
    }
    // A chain that starts with the matrix has no head.
    const CPerChannelSplit none = SplitPerChannelHead(tail);
    EXPECT_EQ(none.head, nullptr);
    EXPECT_EQ(none.rest, &tail);
}
