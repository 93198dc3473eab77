#include "pages/ShellFileOps.h"

#include <gtest/gtest.h>

#include <ctime>
#include <regex>

#include "PageTestEnv.h"
#include "pages/PageServicesScope.h"
#include "support/Files.h"

namespace {

using namespace pagetest;

// No test of this program may reach the user's own Trash: the whole program runs with a Trash
// in a temporary folder, and each test that deletes sets one of its own on top.
class ProgramTrash : public ::testing::Environment {
public:
    void SetUp() override { m_trash = std::make_unique<TestTrash>(); }
    void TearDown() override { m_trash.reset(); }

private:
    std::unique_ptr<TestTrash> m_trash;
};
[[maybe_unused]] ::testing::Environment* const g_programTrash =
    ::testing::AddGlobalTestEnvironment(new ProgramTrash);

std::wstring Put(const kvrtest::TempDir& dir, const std::string& name, const std::string& text) {
    kvrtest::WriteText(dir / name, text);
    return W(dir / name);
}

} // namespace

TEST(ShCopyFile, CopiesIntoAFolderUnderTheSameName) {
    kvrtest::TempDir src, dst;
    const std::wstring from = Put(src, "a.icc", "one");
    EXPECT_EQ(ShCopyFile(from.c_str(), W(dst.path()).c_str(), 0), 1);
    EXPECT_EQ(kvrtest::ReadText(dst / "a.icc"), "one");
    EXPECT_EQ(kvrtest::ReadText(src / "a.icc"), "one");
}

TEST(ShCopyFile, CopiesToAFilePath) {
    kvrtest::TempDir src, dst;
    const std::wstring from = Put(src, "a.icc", "one");
    EXPECT_EQ(ShCopyFile(from.c_str(), W(dst / "b.icm").c_str(), 0), 1);
    EXPECT_EQ(kvrtest::ReadText(dst / "b.icm"), "one");
}

TEST(ShCopyFile, AsksBeforeReplacingAndANoKeepsTheTarget) {
    kvrtest::TempDir src, dst;
    const std::wstring from = Put(src, "a.icc", "new");
    Put(dst, "a.icc", "old");
    ScriptedServices user;
    user.answers = {false};
    CScopedPageServices scope(&user);
    EXPECT_EQ(ShCopyFile(from.c_str(), W(dst.path()).c_str(), 0), 0);
    ASSERT_EQ(user.questions.size(), 1u);
    EXPECT_NE(user.questions[0].find(L"a.icc"), std::wstring::npos);
    EXPECT_EQ(kvrtest::ReadText(dst / "a.icc"), "old");
    EXPECT_EQ(dst.Files(), std::vector<std::string>{"a.icc"}); // no copy left half-way

    user.answers = {true};
    EXPECT_EQ(ShCopyFile(from.c_str(), W(dst.path()).c_str(), 0), 1);
    EXPECT_EQ(kvrtest::ReadText(dst / "a.icc"), "new");
}

TEST(ShCopyFile, NoConfirmReplacesWithoutAsking) {
    kvrtest::TempDir src, dst;
    const std::wstring from = Put(src, "a.icc", "new");
    Put(dst, "a.icc", "old");
    ScriptedServices user;
    CScopedPageServices scope(&user);
    EXPECT_EQ(ShCopyFile(from.c_str(), W(dst.path()).c_str(), 1), 1);
    EXPECT_TRUE(user.questions.empty());
    EXPECT_EQ(kvrtest::ReadText(dst / "a.icc"), "new");
}

TEST(ShCopyFile, WithNobodyToAskAReplacementIsRefused) {
    kvrtest::TempDir src, dst;
    const std::wstring from = Put(src, "a.icc", "new");
    Put(dst, "a.icc", "old");
    ASSERT_EQ(CurrentPageServices(), nullptr);
    EXPECT_EQ(ShCopyFile(from.c_str(), W(dst.path()).c_str(), 0), 0);
    EXPECT_EQ(kvrtest::ReadText(dst / "a.icc"), "old");
}

TEST(ShCopyFile, FailsForAMissingSourceAFolderAndTheFileItself) {
    kvrtest::TempDir src, dst;
    EXPECT_EQ(ShCopyFile(W(src / "none.icc").c_str(), W(dst.path()).c_str(), 1), 0);
    EXPECT_EQ(ShCopyFile(W(src.path()).c_str(), W(dst.path()).c_str(), 1), 0);
    const std::wstring from = Put(src, "a.icc", "one");
    EXPECT_EQ(ShCopyFile(from.c_str(), W(src.path()).c_str(), 1), 0);
    EXPECT_EQ(kvrtest::ReadText(src / "a.icc"), "one");
    EXPECT_EQ(ShCopyFile(nullptr, W(dst.path()).c_str(), 1), 0);
    EXPECT_EQ(ShCopyFile(from.c_str(), L"", 1), 0);
}

TEST(ShCopyFile, PathsAsLongAsTheShellBufferFail) {
    kvrtest::TempDir src, dst;
    const std::wstring from = Put(src, "a.icc", "one");
    // A target file path of exactly kShellMaxPath characters, and one a character shorter.
    const std::wstring folder = W(dst.path()) + L"/";
    const auto target = [&](size_t length) {
        return folder + std::wstring(length - folder.size() - 4, L'x') + L".icc";
    };
    const std::wstring tooLong = target(kShellMaxPath);
    const std::wstring longest = target(kShellMaxPath - 1);
    ASSERT_EQ(tooLong.size(), size_t(kShellMaxPath));
    EXPECT_EQ(ShCopyFile(from.c_str(), tooLong.c_str(), 1), 0);
    EXPECT_EQ(ShCopyFile(from.c_str(), longest.c_str(), 1), 1);
    EXPECT_EQ(ShDeleteFile(tooLong.c_str(), 1), 0);
}

TEST(ShDeleteFile, MovesTheFileToTheTrashWithItsOriginAndDate) {
    TestTrash trash;
    kvrtest::TempDir dir;
    const std::wstring path = Put(dir, "gone.icc", "data");
    const std::time_t before = std::time(nullptr);
    ASSERT_EQ(ShDeleteFile(path.c_str(), 1), 1);
    const std::time_t after = std::time(nullptr);
    EXPECT_FALSE(fs::exists(dir / "gone.icc"));
    EXPECT_EQ(trash.Names(), std::vector<std::string>{"gone.icc"});
    EXPECT_EQ(kvrtest::ReadText(trash.Files() / "gone.icc"), "data");

    const std::string info = kvrtest::ReadText(trash.Info() / "gone.icc.trashinfo");
    EXPECT_EQ(info.rfind("[Trash Info]\n", 0), 0u);
    EXPECT_EQ(UrlUnescape(TrashInfoValue(info, "Path")), (dir / "gone.icc").string());
    const std::string date = TrashInfoValue(info, "DeletionDate");
    ASSERT_TRUE(std::regex_match(date, std::regex(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d)"))) << date;
    std::tm tm{};
    ASSERT_NE(strptime(date.c_str(), "%Y-%m-%dT%H:%M:%S", &tm), nullptr);
    tm.tm_isdst = -1;
    const std::time_t stamped = std::mktime(&tm); // local time, as written
    EXPECT_GE(stamped, before - 1);
    EXPECT_LE(stamped, after + 1);

    EXPECT_EQ(RestoreFromTrash(trash, "gone.icc"), dir / "gone.icc");
    EXPECT_EQ(kvrtest::ReadText(dir / "gone.icc"), "data");
}

TEST(ShDeleteFile, EscapesThePathAsAUrl) {
    TestTrash trash;
    kvrtest::TempDir dir;
    const std::wstring path = Put(dir, "Coated 100%#\xC3\xA9.icc", "data");
    ASSERT_EQ(ShDeleteFile(path.c_str(), 1), 1);
    const std::string name = "Coated 100%#\xC3\xA9.icc";
    const std::string value =
        TrashInfoValue(kvrtest::ReadText(trash.Info() / (name + ".trashinfo")), "Path");
    EXPECT_NE(value.find("Coated%20100%25%23%C3%A9.icc"), std::string::npos) << value;
    EXPECT_EQ(RestoreFromTrash(trash, name), dir / name);
}

TEST(ShDeleteFile, ANameAlreadyInTheTrashGetsANumber) {
    TestTrash trash;
    kvrtest::TempDir one, two;
    const std::wstring a = Put(one, "same.icc", "first");
    const std::wstring b = Put(two, "same.icc", "second");
    ASSERT_EQ(ShDeleteFile(a.c_str(), 1), 1);
    ASSERT_EQ(ShDeleteFile(b.c_str(), 1), 1);
    EXPECT_EQ(trash.Names(), (std::vector<std::string>{"same.2.icc", "same.icc"}));
    EXPECT_EQ(RestoreFromTrash(trash, "same.2.icc"), two / "same.icc");
    EXPECT_EQ(kvrtest::ReadText(two / "same.icc"), "second");
    EXPECT_EQ(RestoreFromTrash(trash, "same.icc"), one / "same.icc");
    EXPECT_EQ(kvrtest::ReadText(one / "same.icc"), "first");
}

TEST(ShDeleteFile, AsksFirstAndANoKeepsTheFile) {
    TestTrash trash;
    kvrtest::TempDir dir;
    const std::wstring path = Put(dir, "keep.icc", "data");
    ScriptedServices user;
    user.answers = {false};
    CScopedPageServices scope(&user);
    EXPECT_EQ(ShDeleteFile(path.c_str(), 0), 0);
    ASSERT_EQ(user.questions.size(), 1u);
    EXPECT_NE(user.questions[0].find(L"keep.icc"), std::wstring::npos);
    EXPECT_TRUE(fs::exists(dir / "keep.icc"));
    EXPECT_TRUE(trash.Names().empty());
}

TEST(ShDeleteFile, WithNobodyToAskNothingIsDeleted) {
    TestTrash trash;
    kvrtest::TempDir dir;
    const std::wstring path = Put(dir, "keep.icc", "data");
    EXPECT_EQ(ShDeleteFile(path.c_str(), 0), 0);
    EXPECT_TRUE(fs::exists(dir / "keep.icc"));
}

TEST(ShDeleteFile, TakesARelativePathFromTheCurrentFolder) {
    TestTrash trash;
    kvrtest::TempDir dir;
    Put(dir, "here.icc", "data");
    ScopedChdir cd(dir.path());
    ASSERT_EQ(ShDeleteFile(L"here.icc", 1), 1);
    EXPECT_FALSE(fs::exists(dir / "here.icc"));
    EXPECT_EQ(
        UrlUnescape(TrashInfoValue(kvrtest::ReadText(trash.Info() / "here.icc.trashinfo"), "Path")),
        (dir / "here.icc").string());
}

TEST(ShDeleteFile, FailsForAMissingFile) {
    TestTrash trash;
    kvrtest::TempDir dir;
    EXPECT_EQ(ShDeleteFile(W(dir / "none.icc").c_str(), 1), 0);
    EXPECT_EQ(ShDeleteFile(nullptr, 1), 0);
    EXPECT_EQ(ShDeleteFile(L"", 1), 0);
    EXPECT_TRUE(trash.Names().empty());
}
