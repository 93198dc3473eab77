// Small queries on a profile for the user interface and the print pipeline: the highest ink sum
// its own tables can produce, its media white and illuminant, and the information text shown
// beside a profile's file selection.
#pragma once

#include <optional>
#include <string>

class CUserSettingsMgr;

// The highest ink sum, in whole percent rounded up, that the B2A0, B2A1 and B2A2 tables of the
// profile produce at any grid node, measured on both their 8-bit and 16-bit forms: a
// four-colour profile that drives all inks to the full at some node gives 400. Whatever the
// profile claims is not read. 0 when the file cannot be opened or has no such table: the two
// cannot be told apart.
int GetProfileInkLimit(CUserSettingsMgr* usm, const wchar_t* path);

// The profile's media white into white[0..2] and its header illuminant into
// illuminant[0..2], as X, Y, Z times 100 (Y = 1.0 gives 100.0). Either pointer may be null. 1
// on success; 0 when the file cannot be opened or the media white is asked for and missing
// (the illuminant is still written then).
int GetProfileMediaWhite(CUserSettingsMgr* usm, const wchar_t* path, double* white,
                         double* illuminant);

// What an information text beside a profile selection is to show. The edit control and the
// rendering-intent list of the host's toolkit are left to the caller: this says what they get.
struct SProfileInfo {
    bool bUpdate = false; // false: showing information is off; leave the control as it is
    std::wstring sText;   // the text to show, also when empty
    // Whether the rendering choice is open (the profile is no device link). Unset when no
    // profile was loaded: the rendering list then keeps its state.
    std::optional<bool> bRenderingChoiceOpen;
};

class CProfileInfoText {
public:
    // The settings manager is handed to the profile reader; null is allowed.
    explicit CProfileInfoText(CUserSettingsMgr* usm) : m_pUSM(usm) {}
    virtual ~CProfileInfoText() = default;

    // The text for `path`: empty for an empty path or a file that does not load, else the
    // profile's description.
    virtual SProfileInfo UpdateInfoText(const wchar_t* path) const;

    void SetShowInfo(bool show) { m_bShowInfo = show; }
    bool GetShowInfo() const { return m_bShowInfo; }

private:
    bool m_bShowInfo = true;
    CUserSettingsMgr* m_pUSM; // not owned
};
