// Which 16-bit functions map every channel from its own input alone. A grid sampled through a
// chain that starts with such steps may evaluate them once per value of an axis instead of
// once per node, and get the same samples.
#pragma once

#include <memory>
#include <vector>

#include "colorfunc/Func.h"

// True when f has as many outputs as inputs and output c depends on input c alone, for every
// input vector. Decided by f's exact class, since a subclass may compute otherwise: the curve
// set CFunc_16Tab, the 65280-scale adapter CL8To16, and a composition (CConcatFunc_16) of
// such functions. Everything else answers false. A free function rather than a virtual
// operation, so that the virtual slots of the function classes keep their order.
bool MapsEachChannelAlone(const CFunc_16& f);

// A chain split into its leading steps that map each channel alone and the rest: rest(head(x))
// is chain(x) for every x. Only compositions are looked into; a chain without such a head
// gives a null head and the whole chain as rest.
struct CPerChannelSplit {
    // The leading steps as one function, or null; owns the compositions it made, which refer
    // to the chain's steps.
    std::unique_ptr<CFunc_16> head;
    const CFunc_16* rest = nullptr;
};
CPerChannelSplit SplitPerChannelHead(const CFunc_16& chain);
