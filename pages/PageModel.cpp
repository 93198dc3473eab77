#include "pages/PageModel.h"

#include <algorithm>
#include <utility>

#include "pages/PageServicesScope.h"

int CPageModel::Create(IPageServices* services) {
    m_services = services;
    CScopedPageServices current(services);
    if (!m_hasWindow) {
        AddControls();
        m_hasWindow = true;
    }
    const int result = OnInitDialog();
    for (CPageModel* sub : SubPages()) {
        sub->m_parent = this;
        sub->Create(services);
    }
    return result;
}

const SPageControl* CPageModel::Control(unsigned int id) const {
    return Find(id);
}

SPageControl* CPageModel::Find(unsigned int id) {
    auto it = m_controls.find(id);
    return it == m_controls.end() ? nullptr : &it->second;
}

const SPageControl* CPageModel::Find(unsigned int id) const {
    auto it = m_controls.find(id);
    return it == m_controls.end() ? nullptr : &it->second;
}

bool CPageModel::Reachable(unsigned int id) const {
    const SPageControl* c = Find(id);
    return m_hasWindow && c && c->bShown && c->bEnabled;
}

bool CPageModel::UserSetCheck(unsigned int id, int check) {
    if (!Reachable(id) || Find(id)->eKind != EControlKind::Check) return false;
    SetCheck(id, check ? 1 : 0);
    return true;
}

bool CPageModel::UserSelect(unsigned int id, const std::wstring& text) {
    if (!Reachable(id) || Find(id)->eKind != EControlKind::Combo) return false;
    SelectString(id, text);
    return true;
}

bool CPageModel::UserCommand(unsigned int id) {
    if (!Reachable(id)) return false;
    CScopedPageServices current(m_services);
    return OnCommand(id);
}

SPageControl& CPageModel::AddControl(unsigned int id, EControlKind kind, std::wstring label) {
    SPageControl& c = m_controls[id];
    c.nId = id;
    c.eKind = kind;
    c.sLabel = std::move(label);
    return c;
}

void CPageModel::SafeEnableWindow(unsigned int id, bool enable) {
    if (SPageControl* c = Find(id)) c->bEnabled = enable;
}

void CPageModel::SafeShowWindow(unsigned int id, bool show) {
    if (SPageControl* c = Find(id)) c->bShown = show;
}

int CPageModel::GetCheck(unsigned int id) const {
    const SPageControl* c = Find(id);
    return c ? c->nCheck : 0;
}

void CPageModel::SetCheck(unsigned int id, int check) {
    if (SPageControl* c = Find(id)) c->nCheck = check;
}

std::wstring CPageModel::GetText(unsigned int id) const {
    const SPageControl* c = Find(id);
    return c ? c->sText : std::wstring();
}

void CPageModel::SetText(unsigned int id, const std::wstring& text) {
    SPageControl* c = Find(id);
    if (!c) return;
    if (c->eKind == EControlKind::Combo)
        SelectString(id, text);
    else
        c->sText = text;
}

void CPageModel::SetLabel(unsigned int id, const std::wstring& label) {
    if (SPageControl* c = Find(id)) c->sLabel = label;
}

std::wstring CPageModel::GetLabel(unsigned int id) const {
    const SPageControl* c = Find(id);
    return c ? c->sLabel : std::wstring();
}

void CPageModel::ResetItems(unsigned int id, std::vector<std::wstring> items) {
    SPageControl* c = Find(id);
    if (!c) return;
    c->items = std::move(items);
    c->nSel = -1;
    c->sText.clear();
}

std::vector<std::wstring> CPageModel::GetItems(unsigned int id) const {
    const SPageControl* c = Find(id);
    return c ? c->items : std::vector<std::wstring>();
}

int CPageModel::GetCurSel(unsigned int id) const {
    const SPageControl* c = Find(id);
    return c ? c->nSel : -1;
}

void CPageModel::SetCurSel(unsigned int id, int sel) {
    SPageControl* c = Find(id);
    if (!c) return;
    const bool valid = sel >= 0 && sel < static_cast<int>(c->items.size());
    c->nSel = valid ? sel : -1;
    c->sText = valid ? c->items[static_cast<size_t>(sel)] : std::wstring();
}

int CPageModel::SelectString(unsigned int id, const std::wstring& text) {
    SPageControl* c = Find(id);
    if (!c) return -1;
    auto it = std::find(c->items.begin(), c->items.end(), text);
    const int sel = it == c->items.end() ? -1 : static_cast<int>(it - c->items.begin());
    SetCurSel(id, sel);
    return sel;
}

void CComboHandle::ResetItems(std::vector<std::wstring> items) const {
    m_page->ResetItems(m_id, std::move(items));
}
std::vector<std::wstring> CComboHandle::GetItems() const {
    return m_page->GetItems(m_id);
}
int CComboHandle::GetCurSel() const {
    return m_page->GetCurSel(m_id);
}
void CComboHandle::SetCurSel(int sel) const {
    m_page->SetCurSel(m_id, sel);
}
int CComboHandle::SelectString(const std::wstring& text) const {
    return m_page->SelectString(m_id, text);
}
std::wstring CComboHandle::GetText() const {
    return m_page->GetText(m_id);
}
void CComboHandle::Enable(bool enable) const {
    m_page->SafeEnableWindow(m_id, enable);
}
