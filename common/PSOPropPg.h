// The base of the property pages that edit presets. The pages themselves (controls, their rules)
// are built on top of it; what a preset needs of a page is its class, to know whether the page
// is its own, and the data the page holds.
#pragma once

#include <string>

class CPSOPropPg {
public:
    CPSOPropPg(unsigned int dialogId, int n) : m_dialogId(dialogId), m_n(n) {}
    virtual ~CPSOPropPg() = default;

    virtual int OnInitDialog() { return 1; }
    virtual int OnSetActive() { return 1; }
    virtual int OnKillActive() { return 1; }
    virtual void UpdateControls(int /*save*/) {}
    virtual void CheckControlsEnabled() {}
    virtual int IsResizable() { return 0; }
    virtual int IsAllowed() { return 1; }
    virtual std::wstring GetTabText() { return std::wstring(); }
    // Called when the page's data changed; counts, so that an owner can see that it did.
    virtual void OnDataChanged() { ++m_changes; }

    unsigned int DialogId() const { return m_dialogId; }
    int PageNumber() const { return m_n; }
    int Changes() const { return m_changes; }

private:
    unsigned int m_dialogId;
    int m_n;
    int m_changes = 0;
};
