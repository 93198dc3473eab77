#include "pages/PageModel.h"

#include <gtest/gtest.h>

namespace {

// A page with one check box that enables a combo box, and a button that counts its presses.
class CTogglePage : public CPageModel {
public:
    CTogglePage() : CPageModel(100, 0) {}
    int presses = 0;

protected:
    void AddControls() override {
        AddControl(1, EControlKind::Check, L"Use list");
        AddControl(2, EControlKind::Combo, L"List");
        AddControl(3, EControlKind::Button, L"Press");
    }
    int OnInitDialog() override {
        ResetItems(2, {L"a", L"b"});
        Update();
        return 1;
    }
    bool OnCommand(unsigned int id) override {
        if (id == 1) {
            Update();
            return true;
        }
        if (id == 3) {
            ++presses;
            return true;
        }
        return false;
    }

private:
    void Update() { SafeEnableWindow(2, GetCheck(1) != 0); }
};

} // namespace

TEST(PageModel, ControlsExistOnlyOnceTheWindowIsCreated) {
    CTogglePage page;
    EXPECT_FALSE(page.HasWindow());
    EXPECT_EQ(page.Control(1), nullptr);
    EXPECT_FALSE(page.UserCommand(3));
    page.Create(nullptr);
    ASSERT_TRUE(page.HasWindow());
    ASSERT_NE(page.Control(2), nullptr);
    EXPECT_EQ(page.Control(2)->items.size(), 2u);
}

TEST(PageModel, UserCannotReachADisabledControl) {
    CTogglePage page;
    page.Create(nullptr);
    EXPECT_FALSE(page.Control(2)->bEnabled);
    EXPECT_FALSE(page.UserSelect(2, L"b"));
    EXPECT_EQ(page.Control(2)->nSel, -1);

    ASSERT_TRUE(page.UserSetCheck(1, 1));
    ASSERT_TRUE(page.UserCommand(1));
    EXPECT_TRUE(page.Control(2)->bEnabled);
    EXPECT_TRUE(page.UserSelect(2, L"b"));
    EXPECT_EQ(page.Control(2)->nSel, 1);
    EXPECT_EQ(page.Control(2)->sText, L"b");
}

TEST(PageModel, SelectingAnUnknownTextClearsTheSelection) {
    CTogglePage page;
    page.Create(nullptr);
    page.UserSetCheck(1, 1);
    page.UserCommand(1);
    page.UserSelect(2, L"a");
    page.UserSelect(2, L"zzz");
    EXPECT_EQ(page.Control(2)->nSel, -1);
    EXPECT_TRUE(page.Control(2)->sText.empty());
}

TEST(PageModel, CommandRunsThePagesHandlerAndReportsWhenThereIsNone) {
    CTogglePage page;
    page.Create(nullptr);
    EXPECT_TRUE(page.UserCommand(3));
    EXPECT_EQ(page.presses, 1);
    EXPECT_FALSE(page.UserCommand(2));  // no handler for the list
    EXPECT_FALSE(page.UserCommand(99)); // no such control
}
