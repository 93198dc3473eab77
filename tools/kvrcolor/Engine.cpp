#include "Engine.h"

#include <algorithm>
#include <cwchar>

#include "Chain.h"
#include "CliError.h"
#include "NativeLimits.h"
#include "base/IniEntries.h"
#include "base/Settings.h"

namespace {

// The values of the settings key CMS that select each back-end in the library's factory.
constexpr int kCmsNative = 1;
constexpr int kCmsIcm = 2;
constexpr int kCmsLcms = 4;

class EngineSettingsMgr : public CUserSettingsMgr {
public:
    explicit EngineSettingsMgr(int cms) : m_cms(cms) {}
    int GetInt(const _INIENTRY& entry) const override {
        return IsCmsEntry(entry) ? m_cms : CUserSettingsMgr::GetInt(entry);
    }

private:
    int m_cms;
};

bool KeepsBlack(const ResolvedChain& chain) {
    for (const StepSpec& step : chain.steps)
        if (step.intent >= IntentPerceptualKeepK && step.intent <= IntentRelativeBpcKeepPlane)
            return true;
    return false;
}
} // namespace

Engine ParseEngine(const std::string& text) {
    for (Engine e : {Engine::Auto, Engine::Native, Engine::Lcms, Engine::Icm})
        if (text == EngineName(e)) return e;
    throw CliError(kExitUsage, "unknown engine '" + text + "' (auto, native, lcms, icm)");
}

const char* EngineName(Engine engine) {
    switch (engine) {
    case Engine::Auto:
        return "auto";
    case Engine::Native:
        return "native";
    case Engine::Lcms:
        return "lcms";
    case Engine::Icm:
        return "icm";
    }
    return "?";
}

EngineChoice ChooseEngine(Engine requested, const ResolvedChain& chain) {
    const bool empty = chain.steps.empty();
    switch (requested) {
    case Engine::Auto: {
        const std::string limit = NativeLimit(chain);
        if (limit.empty())
            return {Engine::Native, "auto: the native engine carries out this chain"};
        return {Engine::Lcms, "auto: " + limit};
    }
    case Engine::Native:
        if (std::string limit = NativeLimit(chain); !limit.empty())
            throw CliError(kExitLink, limit + " (--engine native refuses this chain; auto or "
                                              "lcms converts it)");
        return {Engine::Native, "asked for (--engine native)"};
    case Engine::Lcms:
        if (empty)
            throw CliError(kExitLink, "the chain is empty (its inks pass unchanged); only the "
                                      "native engine makes a copying link");
        return {Engine::Lcms, "asked for (--engine lcms)"};
    case Engine::Icm:
        if (empty)
            throw CliError(kExitLink, "the chain is empty (its inks pass unchanged); only the "
                                      "native engine makes a copying link");
        // The ICM engine reduces these to the plain intents and has no gradations: it would
        // not do what was asked.
        if (KeepsBlack(chain))
            throw CliError(kExitLink, "the icm engine does not keep black (it would convert a "
                                      "black-preserving intent as the plain one); use lcms");
        if (!chain.gradation.empty())
            throw CliError(kExitLink, "the icm engine applies no gradation; use lcms");
        // Its grey and gamut pixels are three samples each, which no image of the tool has.
        if (chain.in.model == ColourModel::Gray || chain.out.model == ColourModel::Gamut)
            throw CliError(kExitLink, "the icm engine takes grey and gives the gamut answer as "
                                      "three samples a pixel; use native or lcms");
        return {Engine::Icm, "asked for (--engine icm)"};
    }
    throw CliError(kExitInternal, "no engine");
}

bool IsCmsEntry(const _INIENTRY& entry) {
    return std::wcscmp(entry.section, IniCpCMS.section) == 0 &&
           std::wcscmp(entry.key, IniCpCMS.key) == 0;
}

int CmsValueOf(Engine engine) {
    switch (engine) {
    case Engine::Lcms:
        return kCmsLcms;
    case Engine::Icm:
        return kCmsIcm;
    default:
        return kCmsNative;
    }
}

CUserSettingsMgr& EngineSettings(Engine engine) {
    static EngineSettingsMgr native(kCmsNative), lcms(kCmsLcms), icm(kCmsIcm);
    switch (engine) {
    case Engine::Lcms:
        return lcms;
    case Engine::Icm:
        return icm;
    default:
        return native;
    }
}

bool Converts16Bit(Engine engine) {
    return engine != Engine::Icm;
}

bool IcmReversesChannels(const PixelSpace& space, bool input) {
    switch (space.model) {
    case ColourModel::Rgb:
    case ColourModel::Cmyk:
        return true;
    case ColourModel::NColor:
        return !input && space.channels == 4;
    default:
        return false;
    }
}

void ReverseChannels(unsigned char* pixels, size_t count, unsigned channels) {
    for (size_t i = 0; i < count; ++i, pixels += channels) std::reverse(pixels, pixels + channels);
}
