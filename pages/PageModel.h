// A property page without a dialog toolkit. A page model holds the controls its dialog would
// have, keyed by the dialog's control identifiers: each control's value, its list (combo boxes)
// and whether it is shown and enabled. The page's own code runs the same rules it would run on a
// dialog: data exchange between its data and the controls, validation, enabling, the handlers of
// buttons and selections. A face (a test, the web page) drives it as a user would: set a
// control's value, then tell the page which control changed (Command), and read every control
// back afterwards. The face holds no rule of its own.
//
// What a toolkit would do for a page (choose a file, ask the user, show a message) comes from
// IPageServices, which the caller supplies.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "common/PSOPropPg.h"

// What the dialog toolkit does for a page. While a page handles a user action (Create and the
// User* calls) its services are the current ones of PageServicesScope.h, through which the
// shell's file operations ask and ReportIccError tells.
class IPageServices {
public:
    virtual ~IPageServices() = default;
    // An open-file dialog: title, filter ("text|pattern|...|"), starting folder. The chosen path,
    // or nothing when the user cancels.
    virtual std::optional<std::wstring> ChooseFile(const std::wstring& title,
                                                   const std::wstring& filter,
                                                   const std::wstring& startFolder) = 0;
    // A yes/no question, as the shell asks before it replaces or deletes a file.
    virtual bool Confirm(const std::wstring& question) = 0;
    // A message box.
    virtual void Message(const std::wstring& text) = 0;
};

// The kinds of control the pages use; a face needs it to draw the control.
enum class EControlKind {
    Check,  // check box: value 0 or 1 in nCheck
    Combo,  // drop-down list: items and the selected index (-1: none), text = selected item
    Button, // push button: no value, the page acts on Command
    Text,   // read-only text (information text, labels)
};

struct SPageControl {
    unsigned int nId = 0;
    EControlKind eKind = EControlKind::Text;
    std::wstring sLabel;             // the caption a face shows beside or on the control
    int nCheck = 0;                  // Check
    std::vector<std::wstring> items; // Combo
    int nSel = -1;                   // Combo
    std::wstring sText;              // Text; for Combo the selected item's text
    bool bShown = true;
    bool bEnabled = true;
};

class CPageModel;

// One combo box of a page, for the helpers that fill and read a combo on the page's behalf
// (intent lists, file lists). Calls on a control the page lacks do nothing, as on the page.
class CComboHandle {
public:
    CComboHandle(CPageModel& page, unsigned int id) : m_page(&page), m_id(id) {}

    unsigned int Id() const { return m_id; }
    CPageModel& Page() const { return *m_page; }
    void ResetItems(std::vector<std::wstring> items) const;
    std::vector<std::wstring> GetItems() const;
    int GetCurSel() const;
    void SetCurSel(int sel) const;
    // Selects the item equal to `text`; an unknown text clears the selection and gives -1.
    int SelectString(const std::wstring& text) const;
    // The selected item's text, empty when none is selected.
    std::wstring GetText() const;
    void Enable(bool enable) const;

private:
    CPageModel* m_page; // not owned
    unsigned int m_id;
};

class CPageModel : public CPSOPropPg {
    friend class CComboHandle;

public:
    CPageModel(unsigned int dialogId, int n) : CPSOPropPg(dialogId, n) {}

    // --- what a dialog would be ---------------------------------------------------------------
    // Creates the "window": the page adds its controls and runs OnInitDialog, then its sub-pages
    // are created the same way, as a property sheet shows them. Until then the window does not
    // exist, and SetData/GetData work on the data alone, as for a page that is not open. Returns
    // OnInitDialog's result.
    int Create(IPageServices* services);
    bool HasWindow() const { return m_hasWindow; }
    IPageServices* Services() const { return m_services; }

    // The outer page of a sub-page (null for a page on its own), and the sub-pages of a page.
    CPageModel* Parent() const { return m_parent; }
    virtual std::vector<CPageModel*> SubPages() { return {}; }

    // --- what the user does -------------------------------------------------------------------
    // Sets a control's value as the user would: a check box's state, a combo's selection by its
    // text (an unknown text clears the selection). Refused (false) for a control that is missing,
    // hidden or disabled, because a user cannot reach it.
    bool UserSetCheck(unsigned int id, int check);
    bool UserSelect(unsigned int id, const std::wstring& text);
    // Tells the page that the control changed or was pressed, as the toolkit's notification
    // would; the page runs its handler. False when the page has no handler for it, or the control
    // is missing, hidden or disabled.
    bool UserCommand(unsigned int id);
    // The accept button of the sheet.
    virtual void OnOK() {}

    // --- what a face reads --------------------------------------------------------------------
    const std::map<unsigned int, SPageControl>& Controls() const { return m_controls; }
    const SPageControl* Control(unsigned int id) const;

    // The page base's two enable states; "editable" means both are set.
    void SetEnableStates(bool first, bool second) { m_enable1 = first, m_enable2 = second; }
    bool IsEditable() const { return m_enable1 && m_enable2; }

protected:
    // The page adds its controls here (before OnInitDialog runs).
    virtual void AddControls() = 0;
    // The handler of a control's notification; false when there is none.
    virtual bool OnCommand(unsigned int id) = 0;

    void SetParent(CPageModel* parent) { m_parent = parent; }
    CComboHandle Combo(unsigned int id) { return CComboHandle(*this, id); }

    // Control access for the page's own code. Every call on a control the dialog lacks does
    // nothing (reads give 0 or empty), as SafeEnableWindow and SafeShowWindow do: the dialogs
    // differ per interpreter.
    SPageControl& AddControl(unsigned int id, EControlKind kind, std::wstring label = {});
    bool HasControl(unsigned int id) const { return m_controls.count(id) != 0; }
    void SafeEnableWindow(unsigned int id, bool enable);
    void SafeShowWindow(unsigned int id, bool show);
    int GetCheck(unsigned int id) const;
    void SetCheck(unsigned int id, int check);
    std::wstring GetText(unsigned int id) const;
    void SetText(unsigned int id, const std::wstring& text);
    void SetLabel(unsigned int id, const std::wstring& label);
    std::wstring GetLabel(unsigned int id) const;
    // Combo boxes: the list, the selection by index or text (an unknown text clears it and
    // returns -1).
    void ResetItems(unsigned int id, std::vector<std::wstring> items);
    std::vector<std::wstring> GetItems(unsigned int id) const;
    int GetCurSel(unsigned int id) const;
    void SetCurSel(unsigned int id, int sel);
    int SelectString(unsigned int id, const std::wstring& text);

private:
    SPageControl* Find(unsigned int id);
    const SPageControl* Find(unsigned int id) const;
    bool Reachable(unsigned int id) const;

    std::map<unsigned int, SPageControl> m_controls;
    IPageServices* m_services = nullptr; // not owned
    CPageModel* m_parent = nullptr;      // not owned
    bool m_hasWindow = false;
    bool m_enable1 = true;
    bool m_enable2 = true;
};
