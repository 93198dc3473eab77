#include "ui/PageView.h"

#include <cctype>

#include "base/WideString.h"

void CWebPageServices::Begin(std::optional<std::wstring> chosenFile, std::vector<bool> answers) {
    *this = CWebPageServices();
    m_file = std::move(chosenFile);
    m_answers = std::move(answers);
}

std::optional<std::wstring> CWebPageServices::ChooseFile(const std::wstring& title,
                                                         const std::wstring& filter,
                                                         const std::wstring& /*startFolder*/) {
    // One upload answers one file choice; a second choice in the same request is a cancel.
    if (m_file && !m_fileUsed) {
        m_fileUsed = true;
        return m_file;
    }
    if (!m_fileWanted) m_fileWanted = std::make_pair(title, filter);
    return std::nullopt;
}

bool CWebPageServices::Confirm(const std::wstring& question) {
    if (m_nextAnswer < m_answers.size()) return m_answers[m_nextAnswer++];
    if (!m_question) m_question = question;
    return false;
}

void CWebPageServices::Message(const std::wstring& text) {
    m_messages.push_back(text);
}

nlohmann::json CWebPageServices::Outcome() const {
    nlohmann::json out;
    out["messages"] = nlohmann::json::array();
    for (const std::wstring& m : m_messages) out["messages"].push_back(WideToUtf8(m));
    out["question"] = m_question ? nlohmann::json(WideToUtf8(*m_question)) : nlohmann::json();
    if (m_fileWanted)
        out["chooseFile"] = {{"title", WideToUtf8(m_fileWanted->first)},
                             {"filter", WideToUtf8(m_fileWanted->second)}};
    else
        out["chooseFile"] = nullptr;
    out["fileUsed"] = m_fileUsed;
    return out;
}

namespace {

void AddPages(CPageModel& page, std::vector<CPageModel*>& pages) {
    pages.push_back(&page);
    for (CPageModel* sub : page.SubPages())
        if (sub) AddPages(*sub, pages);
}

std::vector<std::string> LowerWords(const std::wstring& label) {
    std::vector<std::string> words;
    std::string word;
    for (char c : WideToUtf8(label) + " ") {
        if (std::isalnum(static_cast<unsigned char>(c))) {
            word += char(std::tolower(static_cast<unsigned char>(c)));
        } else if (!word.empty()) {
            words.push_back(word);
            word.clear();
        }
    }
    return words;
}

const char* KindName(EControlKind kind) {
    switch (kind) {
    case EControlKind::Check:
        return "check";
    case EControlKind::Combo:
        return "combo";
    case EControlKind::Button:
        return "button";
    case EControlKind::Text:
        break;
    }
    return "text";
}

} // namespace

std::vector<CPageModel*> PagesOf(CPageModel& page) {
    std::vector<CPageModel*> pages;
    AddPages(page, pages);
    return pages;
}

SControlGroup GroupOf(const SPageControl& control) {
    // The words a label uses for the colour spaces and the object classes of the pages.
    static const std::pair<const char*, const char*> kSpaces[] = {
        {"rgb", "RGB"}, {"cmyk", "CMYK"}, {"lab", "Lab"}, {"gray", "Gray"}, {"grey", "Gray"}};
    static const std::pair<const char*, const char*> kClasses[] = {
        {"vector", "Vector"}, {"pixel", "Pixel"}, {"image", "Pixel"}, {"text", "Text"}};
    SControlGroup g;
    const std::vector<std::string> words = LowerWords(control.sLabel);
    for (const std::string& w : words)
        for (const auto& [word, name] : kSpaces)
            if (g.group.empty() && w == word) g.group = name;
    if (!g.group.empty()) {
        for (const std::string& w : words)
            for (const auto& [word, name] : kClasses)
                if (g.subgroup.empty() && w == word) g.subgroup = name;
        return g;
    }
    switch (control.eKind) {
    case EControlKind::Combo:
        g.group = "Profiles and lists";
        break;
    case EControlKind::Check:
        g.group = "Options";
        break;
    case EControlKind::Button:
        g.group = "Actions";
        break;
    case EControlKind::Text:
        g.group = "Information";
        break;
    }
    return g;
}

nlohmann::json PageJson(CPageModel& page) {
    nlohmann::json pages = nlohmann::json::array();
    const std::vector<CPageModel*> all = PagesOf(page);
    for (size_t i = 0; i < all.size(); ++i) {
        CPageModel& p = *all[i];
        std::string title = WideToUtf8(p.GetTabText());
        if (title.empty()) title = i == 0 ? "Page" : "Page " + std::to_string(i);
        nlohmann::json controls = nlohmann::json::array();
        for (const auto& [id, c] : p.Controls()) {
            nlohmann::json items = nlohmann::json::array();
            for (const std::wstring& item : c.items) items.push_back(WideToUtf8(item));
            const SControlGroup g = GroupOf(c);
            controls.push_back({{"id", id},
                                {"kind", KindName(c.eKind)},
                                {"label", WideToUtf8(c.sLabel)},
                                {"check", c.nCheck},
                                {"items", items},
                                {"sel", c.nSel},
                                {"text", WideToUtf8(c.sText)},
                                {"shown", c.bShown},
                                {"enabled", c.bEnabled},
                                {"group", g.group},
                                {"subgroup", g.subgroup}});
        }
        pages.push_back(
            {{"index", i}, {"title", title}, {"dialogId", p.DialogId()}, {"controls", controls}});
    }
    return {{"pages", pages}};
}

bool ApplyChange(CPageModel& page, const nlohmann::json& change) {
    const std::vector<CPageModel*> all = PagesOf(page);
    const auto count = [&](const char* key) {
        return change.contains(key) && change[key].is_number_integer() && change[key] >= 0;
    };
    if (!change.is_object() || !count("page") || !count("id") || !change.contains("action") ||
        !change["action"].is_string())
        return false;
    const size_t index = change["page"].get<size_t>();
    if (index >= all.size()) return false;
    CPageModel& p = *all[index];
    const unsigned int id = change["id"].get<unsigned int>();
    const std::string action = change["action"].get<std::string>();
    const nlohmann::json value = change.value("value", nlohmann::json());
    if (action == "check") {
        if (!value.is_number_integer() && !value.is_boolean()) return false;
        if (!p.UserSetCheck(id, value.is_boolean() ? int(value.get<bool>()) : value.get<int>()))
            return false;
    } else if (action == "select") {
        if (!value.is_string() || !p.UserSelect(id, Utf8ToWide(value.get<std::string>())))
            return false;
    } else if (action == "press") {
        const SPageControl* c = p.Control(id);
        if (!c || c->eKind != EControlKind::Button) return false;
    } else {
        return false;
    }
    // A check box or list without a handler of its own has still changed: the page reads it
    // back when its data is taken. A button without a handler did nothing.
    const bool handled = p.UserCommand(id);
    return action != "press" || handled;
}
