// A page model seen from the browser: every control of the page and of its sub-pages as JSON,
// grouped for the form; the user's changes put back through the model's own user actions; and
// the services a dialog toolkit would give the page (file choice, questions, messages), answered
// from what the browser sent with the request.
//
// Questions take two rounds: a request carries the answers the browser already has. A question
// beyond them is answered "no" (which leaves things as they are), and the answer names it, so
// that the browser asks the person and sends the same change again with the answer added. A file
// choice is answered by the file uploaded with the request; without one it is a cancel, and the
// answer says that the page wanted a file.
#pragma once

#include <nlohmann/json.hpp>

#include <optional>
#include <string>
#include <vector>

#include "pages/PageModel.h"

class CWebPageServices : public IPageServices {
public:
    // Starts a request: the uploaded file (a full path) a file choice gets, and the answers to
    // the questions the page asks, in order.
    void Begin(std::optional<std::wstring> chosenFile, std::vector<bool> answers);

    std::optional<std::wstring> ChooseFile(const std::wstring& title, const std::wstring& filter,
                                           const std::wstring& startFolder) override;
    bool Confirm(const std::wstring& question) override;
    void Message(const std::wstring& text) override;

    // What the request left for the browser: "messages" (texts), "question" (the first question
    // without an answer), "chooseFile" ({title, filter} when a file was wanted and none came),
    // "fileUsed" (whether the page took the upload).
    nlohmann::json Outcome() const;

private:
    std::optional<std::wstring> m_file;
    std::vector<bool> m_answers;
    size_t m_nextAnswer = 0;
    bool m_fileUsed = false;
    std::vector<std::wstring> m_messages;
    std::optional<std::wstring> m_question;
    std::optional<std::pair<std::wstring, std::wstring>> m_fileWanted; // title, filter
};

// The page and its sub-pages, depth first, outer page first: the order of "pages" in the JSON
// and the index a change names.
std::vector<CPageModel*> PagesOf(CPageModel& page);

// Where a control belongs on the form: the colour space its label names (RGB, CMYK, Lab, gray),
// with the object class (vector, pixel, text) inside; a control that names no colour space goes
// with the others of its kind (profiles and lists, options, actions, information).
struct SControlGroup {
    std::string group;
    std::string subgroup; // empty: directly in the group
};
SControlGroup GroupOf(const SPageControl& control);

// {"pages": [{"index", "title", "dialogId", "controls": [{"id", "kind", "label", "check",
// "items", "sel", "text", "shown", "enabled", "group", "subgroup"}]}]}, read afresh from the
// models.
nlohmann::json PageJson(CPageModel& page);

// A user's change, {"page", "id", "action": "check"|"select"|"press", "value"}: the value set as
// the user would set it, then the page told that the control changed. False (nothing changed)
// when the page or control does not exist, the control cannot be reached (hidden, disabled) or
// is of another kind than the action.
bool ApplyChange(CPageModel& page, const nlohmann::json& change);
