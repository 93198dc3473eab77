#include "pages/DlgRIHelper.h"

#include <gtest/gtest.h>

namespace {

class CIntentPage : public CPageModel {
public:
    CIntentPage() : CPageModel(1, 0) {}
    void Init(int a, int b) { CDlgRIHelper::InitComboBox(Combo(7), a, b); }

protected:
    void AddControls() override { AddControl(7, EControlKind::Combo); }
    bool OnCommand(unsigned int) override { return false; }
};

} // namespace

TEST(CDlgRIHelper, NamesAndNumbersTranslateBothWays) {
    for (int intent = 1; intent <= 13; ++intent) {
        const std::wstring name = CDlgRIHelper::TrafoRiEnm2Str(intent);
        ASSERT_FALSE(name.empty()) << intent;
        EXPECT_EQ(CDlgRIHelper::TrafoRiStr2Enm(name), intent);
    }
    EXPECT_TRUE(CDlgRIHelper::TrafoRiEnm2Str(0).empty());
    EXPECT_TRUE(CDlgRIHelper::TrafoRiEnm2Str(14).empty());
    EXPECT_EQ(CDlgRIHelper::TrafoRiStr2Enm(L""), -1);
    EXPECT_EQ(CDlgRIHelper::TrafoRiStr2Enm(L"Nonsense"), -1);
}

TEST(CDlgRIHelper, FlagsLeaveOutTheBpcIntentAndTheBlackPreservingOnes) {
    EXPECT_EQ(CDlgRIHelper::Intents(1, 1), (std::vector<int>{1, 2, 3, 4}));
    EXPECT_EQ(CDlgRIHelper::Intents(0, 1), (std::vector<int>{1, 2, 3, 4, 5}));
    EXPECT_EQ(CDlgRIHelper::Intents(0, 0),
              (std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13}));
    EXPECT_EQ(CDlgRIHelper::Intents(1, 0), (std::vector<int>{1, 2, 3, 4, 6, 7, 8, 10, 11, 12}));
}

TEST(CDlgRIHelper, InitComboBoxFillsTheNamesWithoutSelection) {
    CIntentPage page;
    page.Create(nullptr);
    page.Init(0, 1);
    const SPageControl* c = page.Control(7);
    ASSERT_EQ(c->items.size(), 5u);
    EXPECT_EQ(c->items[4], CDlgRIHelper::TrafoRiEnm2Str(5));
    EXPECT_EQ(c->nSel, -1);
}
