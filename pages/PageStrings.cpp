#include "pages/PageStrings.h"

#include <iterator>
#include <vector>

namespace {

struct SPageString {
    unsigned int id;
    const wchar_t* text;
};

// clang-format off
const SPageString kStrings[] = {
    // Messages of the colour errors (ReportIccError), under the error's number.
    {900, L"Colour management error %2 with the file \"%1\"."},
    {901, L"The profile \"%1\" cannot be opened or is not a valid ICC profile."},
    {903, L"The profile \"%1\" is of the wrong colour space for this purpose."},
    {904, L"No usable colour transform can be made with the profile \"%1\"."},
    {905, L"The profile \"%1\" does not fit the format or the chain of profiles."},
    {907, L"The named colours of \"%1\" could not be read."},
    {909, L"Access to the file \"%1\" was denied."},

    // The two extensions ICC profiles carry: ".icc", the ICC's own, and ".icm", that of
    // Windows. Extensions compare ignoring case, so "*.ICM" files match too.
    {12925, L"*.icc;*.icm"},
    // The import dialog also offers ".pf", the extension of older Macintosh profiles: such a
    // file is copied under the extension ".icm", so that the profile combos list it.
    {13392, L"ICC profiles (*.icc, *.icm, *.pf)"},
    {13393, L"*.icc;*.icm;*.pf"},
    {13394, L"Import ICC Profile"},
    {13395, L"(none)"},
    {13396, L"The file \"%1\" already exists. Do you want to replace it?"},
    {13397, L"Do you want to move \"%1\" to the Trash?"},
    {13398, L"The file \"%1\" does not exist."},

    // --- Interpreter colour pages ------------------------------------------------------------
    // Labels of the second sub-page while colours go through an intermediate space: the
    // default output fields then name that space's profiles.
    {13531, L"Intermediate CMYK profile"},
    {13532, L"Intermediate RGB profile"},
    {13533, L"Use the output intent profile as intermediate profile"},
    // The PDF page's intermediate-space box while default PDF/X handling is on: the output
    // intent of a PDF/X file takes the place of the intermediate space.
    {26368, L"Convert through an intermediate colour space unless a PDF/X output intent applies"},
};
// clang-format on

} // namespace

bool LoadPageString(unsigned int id, std::wstring& text) {
    for (const SPageString& s : kStrings) {
        if (s.id == id) {
            text = s.text;
            return true;
        }
    }
    text.clear();
    return false;
}

std::wstring LoadPageString(unsigned int id) {
    std::wstring text;
    LoadPageString(id, text);
    return text;
}

std::wstring FormatPageString(unsigned int id, std::initializer_list<std::wstring> args) {
    const std::wstring format = LoadPageString(id);
    const std::vector<std::wstring> values(args);
    std::wstring out;
    for (size_t i = 0; i < format.size(); ++i) {
        const wchar_t c = format[i];
        if (c == L'%' && i + 1 < format.size() && format[i + 1] >= L'1' && format[i + 1] <= L'9') {
            const size_t n = static_cast<size_t>(format[i + 1] - L'1');
            if (n < values.size()) {
                out += values[n];
                ++i;
                continue;
            }
        }
        out += c;
    }
    return out;
}
