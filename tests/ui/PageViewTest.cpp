// A page model drawn for the browser: every control read from the model, grouped by the colour
// space and object class its label names, changes put back through the model's user actions,
// and the toolkit's services answered from the request.
#include <gtest/gtest.h>

#include "ui/PageView.h"

namespace {

enum : unsigned int {
    ID_PROFILE = 10,
    ID_INTENT = 11,
    ID_EMBED = 12,
    ID_IMPORT = 13,
    ID_DELETE = 14,
    ID_INFO = 15,
    ID_LATER = 16,
    ID_SUB_OPTION = 20,
};

// A small page with the behaviour of a real one: the intent follows the profile, import asks
// for a file, delete asks first and reports.
class CTestPage : public CPageModel {
public:
    CTestPage() : CPageModel(100, 0) {}
    std::vector<std::wstring> deleted;
    std::vector<std::wstring> imported;

    std::vector<CPageModel*> SubPages() override { return {&m_sub}; }
    std::wstring GetTabText() override { return L"Test page"; }

protected:
    void AddControls() override {
        AddControl(ID_PROFILE, EControlKind::Combo, L"RGB profile");
        ResetItems(ID_PROFILE, {L"a.icc", L"link.icc"});
        AddControl(ID_INTENT, EControlKind::Combo, L"RGB pixel intent");
        ResetItems(ID_INTENT, {L"Perceptual", L"Relative"});
        AddControl(ID_EMBED, EControlKind::Check, L"Use embedded");
        AddControl(ID_IMPORT, EControlKind::Button, L"Import...");
        AddControl(ID_DELETE, EControlKind::Button, L"Delete");
        AddControl(ID_INFO, EControlKind::Text, L"Information");
        AddControl(ID_LATER, EControlKind::Check, L"Hidden option");
        SafeShowWindow(ID_LATER, false);
    }
    int OnInitDialog() override {
        SetCurSel(ID_PROFILE, 0);
        SetCurSel(ID_INTENT, 0);
        return 1;
    }
    bool OnCommand(unsigned int id) override {
        switch (id) {
        case ID_PROFILE:
            SafeEnableWindow(ID_INTENT, GetText(ID_PROFILE) != L"link.icc");
            SetText(ID_INFO, L"chosen " + GetText(ID_PROFILE));
            return true;
        case ID_IMPORT:
            if (auto file = Services()->ChooseFile(L"Import a profile", L"ICC|*.icc|", L""))
                imported.push_back(*file);
            return true;
        case ID_DELETE:
            if (Services()->Confirm(L"Delete " + GetText(ID_PROFILE) + L"?")) {
                deleted.push_back(GetText(ID_PROFILE));
                Services()->Message(L"Deleted.");
            }
            return true;
        default:
            return false;
        }
    }

private:
    class CSub : public CPageModel {
    public:
        CSub() : CPageModel(101, 0) {}

    protected:
        void AddControls() override { AddControl(ID_SUB_OPTION, EControlKind::Check, L"Option"); }
        bool OnCommand(unsigned int) override { return false; }
    } m_sub;
};

const nlohmann::json* FindControl(const nlohmann::json& view, size_t page, unsigned int id) {
    for (const auto& c : view["pages"][page]["controls"])
        if (c["id"] == id) return &c;
    return nullptr;
}

struct PageFixture : ::testing::Test {
    CTestPage page;
    CWebPageServices services;
    void SetUp() override {
        services.Begin({}, {});
        page.Create(&services);
    }
};

} // namespace

TEST_F(PageFixture, EveryControlOfThePageAndItsSubPagesIsShownWithItsState) {
    const nlohmann::json view = PageJson(page);
    ASSERT_EQ(view["pages"].size(), 2u);
    EXPECT_EQ(view["pages"][0]["title"], "Test page");
    EXPECT_EQ(view["pages"][0]["controls"].size(), 7u);
    EXPECT_EQ(view["pages"][1]["controls"].size(), 1u);
    const nlohmann::json* profile = FindControl(view, 0, ID_PROFILE);
    ASSERT_TRUE(profile);
    EXPECT_EQ((*profile)["kind"], "combo");
    EXPECT_EQ((*profile)["label"], "RGB profile");
    EXPECT_EQ((*profile)["items"], nlohmann::json({"a.icc", "link.icc"}));
    EXPECT_EQ((*profile)["sel"], 0);
    EXPECT_EQ((*profile)["text"], "a.icc");
    EXPECT_EQ((*FindControl(view, 0, ID_LATER))["shown"], false);
    EXPECT_EQ((*FindControl(view, 1, ID_SUB_OPTION))["kind"], "check");
}

TEST_F(PageFixture, ControlsAreGroupedByColourSpaceAndObjectClassElseByKind) {
    const nlohmann::json view = PageJson(page);
    EXPECT_EQ((*FindControl(view, 0, ID_PROFILE))["group"], "RGB");
    EXPECT_EQ((*FindControl(view, 0, ID_PROFILE))["subgroup"], "");
    EXPECT_EQ((*FindControl(view, 0, ID_INTENT))["group"], "RGB");
    EXPECT_EQ((*FindControl(view, 0, ID_INTENT))["subgroup"], "Pixel");
    EXPECT_EQ((*FindControl(view, 0, ID_EMBED))["group"], "Options");
    EXPECT_EQ((*FindControl(view, 0, ID_IMPORT))["group"], "Actions");
    EXPECT_EQ((*FindControl(view, 0, ID_INFO))["group"], "Information");
}

TEST(GroupOf, WordsAreMatchedWholeAndWithoutCase) {
    SPageControl c;
    c.eKind = EControlKind::Combo;
    c.sLabel = L"Label of the grey text profile";
    EXPECT_EQ(GroupOf(c).group, "Gray"); // "Label" is no "Lab"
    EXPECT_EQ(GroupOf(c).subgroup, "Text");
    c.sLabel = L"CMYK vector intent";
    EXPECT_EQ(GroupOf(c).group, "CMYK");
    EXPECT_EQ(GroupOf(c).subgroup, "Vector");
    c.sLabel = L"Labels";
    EXPECT_EQ(GroupOf(c).group, "Profiles and lists");
}

TEST_F(PageFixture, ASelectionRunsThePagesRuleAndTheStateIsReadAfresh) {
    ASSERT_TRUE(ApplyChange(
        page, {{"page", 0}, {"id", ID_PROFILE}, {"action", "select"}, {"value", "link.icc"}}));
    nlohmann::json view = PageJson(page);
    EXPECT_EQ((*FindControl(view, 0, ID_INTENT))["enabled"], false);
    EXPECT_EQ((*FindControl(view, 0, ID_INFO))["text"], "chosen link.icc");
    ASSERT_TRUE(ApplyChange(
        page, {{"page", 0}, {"id", ID_PROFILE}, {"action", "select"}, {"value", "a.icc"}}));
    view = PageJson(page);
    EXPECT_EQ((*FindControl(view, 0, ID_INTENT))["enabled"], true);
}

TEST_F(PageFixture, AChangeOfADisabledHiddenMissingOrOtherKindOfControlIsRefused) {
    ApplyChange(page,
                {{"page", 0}, {"id", ID_PROFILE}, {"action", "select"}, {"value", "link.icc"}});
    EXPECT_FALSE(ApplyChange(
        page, {{"page", 0}, {"id", ID_INTENT}, {"action", "select"}, {"value", "Relative"}}));
    EXPECT_EQ(page.Control(ID_INTENT)->sText, L"Perceptual");
    EXPECT_FALSE(
        ApplyChange(page, {{"page", 0}, {"id", ID_LATER}, {"action", "check"}, {"value", 1}}));
    EXPECT_FALSE(ApplyChange(page, {{"page", 0}, {"id", 999}, {"action", "press"}}));
    EXPECT_FALSE(
        ApplyChange(page, {{"page", 5}, {"id", ID_EMBED}, {"action", "check"}, {"value", 1}}));
    EXPECT_FALSE(ApplyChange(page, {{"page", 0}, {"id", ID_EMBED}, {"action", "press"}}));
    EXPECT_FALSE(ApplyChange(page, {{"page", 0}, {"id", ID_EMBED}, {"action", "fly"}}));
    EXPECT_FALSE(ApplyChange(page, nlohmann::json::array()));
    EXPECT_EQ(page.Control(ID_EMBED)->nCheck, 0);
}

TEST_F(PageFixture, ACheckBoxOfASubPageIsSetThoughItHasNoHandler) {
    EXPECT_TRUE(ApplyChange(
        page, {{"page", 1}, {"id", ID_SUB_OPTION}, {"action", "check"}, {"value", true}}));
    EXPECT_EQ((*FindControl(PageJson(page), 1, ID_SUB_OPTION))["check"], 1);
}

TEST_F(PageFixture, AQuestionWithoutAnAnswerIsANoAndIsNamedForTheBrowser) {
    services.Begin({}, {});
    ASSERT_TRUE(ApplyChange(page, {{"page", 0}, {"id", ID_DELETE}, {"action", "press"}}));
    EXPECT_TRUE(page.deleted.empty());
    nlohmann::json outcome = services.Outcome();
    EXPECT_EQ(outcome["question"], "Delete a.icc?");
    EXPECT_TRUE(outcome["messages"].empty());

    services.Begin({}, {true});
    ASSERT_TRUE(ApplyChange(page, {{"page", 0}, {"id", ID_DELETE}, {"action", "press"}}));
    EXPECT_EQ(page.deleted, std::vector<std::wstring>{L"a.icc"});
    outcome = services.Outcome();
    EXPECT_TRUE(outcome["question"].is_null());
    EXPECT_EQ(outcome["messages"], nlohmann::json({"Deleted."}));
}

TEST_F(PageFixture, AFileChoiceGetsTheUploadOnceElseItIsACancelTheBrowserHearsOf) {
    services.Begin({}, {});
    ApplyChange(page, {{"page", 0}, {"id", ID_IMPORT}, {"action", "press"}});
    EXPECT_TRUE(page.imported.empty());
    nlohmann::json outcome = services.Outcome();
    EXPECT_EQ(outcome["chooseFile"]["title"], "Import a profile");
    EXPECT_EQ(outcome["fileUsed"], false);

    services.Begin(std::wstring(L"/tmp/up/x.icc"), {});
    ApplyChange(page, {{"page", 0}, {"id", ID_IMPORT}, {"action", "press"}});
    ApplyChange(page, {{"page", 0}, {"id", ID_IMPORT}, {"action", "press"}});
    EXPECT_EQ(page.imported, std::vector<std::wstring>{L"/tmp/up/x.icc"});
    outcome = services.Outcome();
    EXPECT_EQ(outcome["fileUsed"], true);
}
