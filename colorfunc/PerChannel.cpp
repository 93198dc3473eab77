#include "colorfunc/PerChannel.h"

#include <typeinfo>

#include "colorfunc/ConcatFunc.h"
#include "colorfunc/Func16Tab.h"
#include "colorfunc/WidthAdapters.h"

bool MapsEachChannelAlone(const CFunc_16& f) {
    if (f.inputChan() != f.outputChan()) return false;
    const std::type_info& type = typeid(f);
    if (type == typeid(CFunc_16Tab) || type == typeid(CL8To16)) return true;
    if (type == typeid(CConcatFunc_16)) {
        // Each part maps channel c alone, and the intermediate vector of a composition has
        // the first part's outputs, which are as many as the chain's inputs.
        const auto& c = static_cast<const CConcatFunc_16&>(f);
        return MapsEachChannelAlone(*c.firstFunc()) &&
               (c.secondFunc() == c.firstFunc() || MapsEachChannelAlone(*c.secondFunc()));
    }
    return false;
}

CPerChannelSplit SplitPerChannelHead(const CFunc_16& chain) {
    CPerChannelSplit split;
    split.rest = &chain;
    std::vector<const CFunc_16*> steps; // in the order they apply
    while (typeid(*split.rest) == typeid(CConcatFunc_16)) {
        const auto& c = static_cast<const CConcatFunc_16&>(*split.rest);
        if (c.firstFunc() == c.secondFunc()) { // a one-function composition is its function
            split.rest = c.firstFunc();
            continue;
        }
        const CFunc_16& first = *c.firstFunc();
        if (first.inputChan() != chain.inputChan() || !MapsEachChannelAlone(first)) break;
        steps.push_back(&first);
        split.rest = c.secondFunc();
    }
    if (steps.empty()) return split;
    // The two-function form, by reference: the steps stay the chain's.
    split.head = std::make_unique<CConcatFunc_16>(*steps[0]);
    for (size_t k = 1; k < steps.size(); ++k)
        split.head = std::make_unique<CConcatFunc_16>(*steps[k], split.head.release());
    return split;
}
