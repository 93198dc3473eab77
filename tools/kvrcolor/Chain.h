// From the user's options to a built link: which profiles in which order, the pixel formats of
// both ends, the checks that give a clear message before the library is asked, and the link
// itself, of the back-end that the settings choose.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Engine.h"
#include "Options.h"
#include "PixelSpace.h"
#include "Profiles.h"
#include "colorlink/MdlColorLink.h"

struct ResolvedChain {
    std::vector<StepSpec> steps; // source first; empty for the copying link
    PixelSpace in;               // pixels into the link
    PixelSpace out;              // pixels out of the link
    // The profile that describes the output pixels (the last step when it goes to a device),
    // embedded in the output image; empty for connection-space or gamut output.
    std::string outputProfile;
    // A profile embedded in the input, written out for the link while it is built.
    std::unique_ptr<TempProfileFile> embedded;
    // --gradation: one 256-entry curve per output channel after the last step; empty for none.
    std::vector<std::vector<uint16_t>> gradation;
    // The engine that converts the chain (--engine, resolved), and why.
    EngineChoice engine;
    // The profiles looked at by header and tag table alone (ReadProfileHead), which the link's
    // build loads whole where the library's reader has not (BuildLink).
    std::vector<std::string> headOnly;
};

// The chain for pixels of `input`. `inputName` names the pixels' origin in messages (the image
// file, or "the input" for lookups); `embedded` is the profile found in the image, if any.
// Without --step: source (--from, else the embedded profile, else the default for the space;
// none for Lab) to destination (--to, else the default printer), both with --intent. With
// --step: exactly those steps. Throws CliError.
ResolvedChain ResolveChain(const ChainSettings& settings, const PixelSpace& input,
                           const std::string& inputName, const std::vector<uint8_t>& embedded = {});

// The input space of a chain when the user gave none: that of the first step (--step, else
// --from), RGB if there is no profile to tell.
PixelSpace ImpliedInputSpace(const ChainSettings& settings);

// Makes a link of the chain's engine (CreateMdlColorLink with the settings of that engine), adds
// the steps and the gradation and builds it. Throws CliError (kExitLink) with the library's
// error number.
std::unique_ptr<CMdlColorLink> BuildLink(const ResolvedChain& chain);
// The same with another engine (not Auto), whatever the chain's choice was.
std::unique_ptr<CMdlColorLink> BuildLink(const ResolvedChain& chain, Engine engine);

// A short text of the chain for messages: "a.icc -> b.icc".
std::string DescribeChain(const ResolvedChain& chain);
