// Which colour engine converts a chain for the tool. The library offers three back-ends behind
// one interface (native, lcms2, ICM) and picks one by the settings key CMS; the tool picks one
// per chain instead, by --engine, and hands the library a settings object that answers that
// choice (all other keys come from the user's settings file as usual).
//
// `auto`, the default, keeps the native engine wherever it does what the profiles mean, and
// takes lcms2 for exactly the chains the native engine, as designed, does not carry out (see
// NativeLimits.h). An engine asked for by name is used or refused with the reason, never
// silently replaced.
#pragma once

#include <cstddef>
#include <string>

#include "PixelSpace.h"

class CUserSettingsMgr;
struct ResolvedChain;
struct _INIENTRY;

enum class Engine { Auto, Native, Lcms, Icm };

// "auto", "native", "lcms", "icm". Throws CliError (usage) for anything else.
Engine ParseEngine(const std::string& text);
// The name as --engine takes it.
const char* EngineName(Engine engine);

// The engine a chain is converted by, and why, for the summary line.
struct EngineChoice {
    Engine engine = Engine::Native;
    std::string why;
};

// The engine for `chain` when `requested` was asked for. Throws CliError (link) when the
// requested engine would not convert the chain as its profiles mean, with the reason.
EngineChoice ChooseEngine(Engine requested, const ResolvedChain& chain);

// Settings that answer the key CMS with the back-end of `engine` (not Auto) and every other key
// from the user's settings file. One object per engine for the whole run: a link keeps the
// pointer it was made with.
CUserSettingsMgr& EngineSettings(Engine engine);

// For settings objects of their own that answer an engine's choice: whether `entry` is the key
// CMS, and the value of that key that selects the back-end of `engine` (not Auto).
bool IsCmsEntry(const _INIENTRY& entry);
int CmsValueOf(Engine engine);

// Whether the engine converts 16-bit pixels; the ICM engine takes 8-bit pixels only.
bool Converts16Bit(Engine engine);

// The ICM engine takes and gives some pixels with their channels in reverse order: RGB as blue,
// green, red on both sides, CMYK as K, Y, M, C on both sides, and four inks (N-colour) as
// K, Y, M, C on the output side. Whether that is so for `space` on one side:
bool IcmReversesChannels(const PixelSpace& space, bool input);
// Reverses the channels of each of `count` pixels of `channels` samples in place.
void ReverseChannels(unsigned char* pixels, size_t count, unsigned channels);
