// Fuzz target: profile use. Loads a profile from memory and turns every tag into the colour
// functions the native link asks for (16- and 8-bit tables, gray curves in both directions,
// matrix/TRC forward and inverse, a table baked behind another), prepares each and runs it
// forward and inverse on a few values.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <vector>

#include "FuzzSupport.h"
#include "icc/IccProfileUse.h"

namespace {

using kvrfuzz::RunForwardAndInverse;

template <class F> std::unique_ptr<F> Prepared(F* f) {
    std::unique_ptr<F> p(f);
    if (p) p->InitMftTrn();
    return p;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > (4u << 20)) return 0;
    std::vector<unsigned char> bytes(data, data + size);
    CIccProfileUse profile(nullptr);
    if (!profile.Open(bytes.data(), int(bytes.size()))) return 0;

    const auto v8 = kvrfuzz::TestValues<uint8_t>(data, size);
    const auto v16 = kvrfuzz::TestValues<uint16_t>(data, size);
    const auto space = icColorSpaceSignature(profile.Header().colorSpace);
    const auto pcs = icColorSpaceSignature(profile.Header().pcs);

    // Every signature in the table once, whatever its type: the member functions decide by
    // the block's type what they can make of it.
    std::set<uint32_t> sigs;
    for (unsigned i = 0; i < profile.GetCount(); ++i) sigs.insert(profile.Tag(i).sig);

    std::vector<std::unique_ptr<CFunc_16TabBaseMft>> tables16;
    for (uint32_t sig : sigs) {
        for (bool matrix : {false, true}) {
            // The device space as source, and gray, which makes a curve forward.
            for (auto src : {space, icSigGrayData}) {
                auto f = Prepared(profile.CreateMft16Func(sig, matrix, src, pcs));
                if (!f) continue;
                RunForwardAndInverse(*f, v16);
                tables16.push_back(std::move(f));
            }
        }
        if (auto f8 = Prepared(profile.CreateMft8Func(sig))) {
            RunForwardAndInverse(*f8, v8);
            // A second 8-bit table of matching counts baked behind this one.
            if (f8->outputChan() == f8->inputChan()) {
                std::unique_ptr<CFunc_8TabBaseMft> other(f8->CreateClone());
                auto baked = Prepared(CreateConcatFunc(*f8, other.get(), 3));
                if (baked) RunForwardAndInverse(*baked, v8);
            }
        }
    }

    if (auto m = Prepared(profile.CreateFromMatrixTRC())) RunForwardAndInverse(*m, v16);
    if (auto m = Prepared(profile.CreateFromMatrixTRCInv())) RunForwardAndInverse(*m, v16);

    // Tables baked behind one another where the counts fit.
    for (size_t i = 0; i + 1 < tables16.size() && i < 4; ++i) {
        CFunc_16TabBaseMft& pre = *tables16[i];
        CFunc_16TabBaseMft* lut = tables16[i + 1].get();
        if (pre.outputChan() != lut->inputChan()) continue;
        auto baked = Prepared(CreateConcatFunc(pre, lut, 3));
        if (baked) RunForwardAndInverse(*baked, v16);
    }

    icXYZNumber white{};
    volatile int sink = profile.GetMediaWhite(white) + profile.GetIlluminant(white);
    sink = sink + int(profile.GetDescription().size());
    (void)sink;
    return 0;
}
