#include "pages/DlgRIHelper.h"

namespace {

struct SIntentName {
    int intent;
    const wchar_t* name;
    int base; // the plain intent a black-preserving one is built on; else the intent itself
};

// The names of enmRenderingIntent 1 to 13.
const SIntentName kIntents[] = {
    {1, L"Perceptual", 1},
    {2, L"Relative colorimetric", 2},
    {3, L"Saturation", 3},
    {4, L"Absolute colorimetric", 4},
    {5, L"Relative colorimetric with black point compensation", 5},
    {6, L"Perceptual, preserve K only", 1},
    {7, L"Relative colorimetric, preserve K only", 2},
    {8, L"Saturation, preserve K only", 3},
    {9, L"Relative colorimetric with BPC, preserve K only", 5},
    {10, L"Perceptual, preserve K plane", 1},
    {11, L"Relative colorimetric, preserve K plane", 2},
    {12, L"Saturation, preserve K plane", 3},
    {13, L"Relative colorimetric with BPC, preserve K plane", 5},
};

constexpr int kBpcIntent = 5;
constexpr int kFirstBlackPreserving = 6;

} // namespace

std::vector<int> CDlgRIHelper::Intents(int noBpcIntent, int noBlackPreserving) {
    std::vector<int> out;
    for (const SIntentName& i : kIntents) {
        if (noBpcIntent && i.base == kBpcIntent) continue;
        if (noBlackPreserving && i.intent >= kFirstBlackPreserving) continue;
        out.push_back(i.intent);
    }
    return out;
}

void CDlgRIHelper::InitComboBox(const CComboHandle& combo, int noBpcIntent, int noBlackPreserving) {
    std::vector<std::wstring> names;
    for (int intent : Intents(noBpcIntent, noBlackPreserving))
        names.push_back(TrafoRiEnm2Str(intent));
    combo.ResetItems(std::move(names));
}

int CDlgRIHelper::TrafoRiStr2Enm(const std::wstring& text) {
    for (const SIntentName& i : kIntents)
        if (text == i.name) return i.intent;
    return -1;
}

std::wstring CDlgRIHelper::TrafoRiEnm2Str(int intent) {
    for (const SIntentName& i : kIntents)
        if (intent == i.intent) return i.name;
    return std::wstring();
}
