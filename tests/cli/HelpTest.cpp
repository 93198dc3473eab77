// kvrcolor's help and its first word: an unknown command is named, and a command's --help is
// its own options, not the whole manual.
#include <gtest/gtest.h>

#include "CliSupport.h"

using namespace clitest;

namespace {

TEST(HelpTest, UnknownSubcommandSaysSo) {
    const RunResult r = RunCli({"frobnicate", "x.tif"});
    EXPECT_EQ(r.code, 2);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(LineCount(r.err), 1u);
    EXPECT_NE(r.err.find("unknown command 'frobnicate'"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("convert, lookup"), std::string::npos) << r.err;
}

TEST(HelpTest, SubcommandHelpIsItsOwnOptionsNotTheManual) {
    const RunResult manual = RunCli({"--help"});
    ASSERT_EQ(manual.code, 0);
    EXPECT_NE(manual.out.find("Exit codes:"), std::string::npos);
    EXPECT_NE(manual.out.find("Examples:"), std::string::npos);
    for (const char* command : {"convert", "lookup", "link", "info", "dump", "extract", "named"}) {
        const RunResult r = RunCli({command, "--help"});
        EXPECT_EQ(r.code, 0) << command;
        EXPECT_NE(r.out.find(std::string("kvrcolor ") + command), std::string::npos) << r.out;
        EXPECT_EQ(r.out.find("Exit codes:"), std::string::npos) << command;
        EXPECT_EQ(r.out.find("Examples:"), std::string::npos) << command;
        EXPECT_LT(r.out.size(), manual.out.size() / 2) << command;
    }
    EXPECT_NE(RunCli({"convert", "--help"}).out.find("--quality"), std::string::npos);
}

} // namespace
