// kvrcolor's output never destroys anything: what the target is (device, FIFO, folder, the
// input itself, a read-only file, a link) decides whether it may be replaced, the file that
// replaces it keeps its mode, and standard output takes the image when asked.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>

#include "CliSupport.h"

using namespace clitest;

namespace {

class SafeOutputTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        s_dir = std::make_unique<TempDir>();
        s_p = MakeProfiles(s_dir->path().string());
    }
    static void TearDownTestSuite() { s_dir.reset(); }

    void SetUp() override {
        in = work / "in.tif";
        WriteTiff(in, spec, TestSamples(spec.SampleCount(), 8, 7));
    }

    std::vector<std::string> Convert(const std::string& out) const {
        return {"convert", in, out, "--from", s_p.rgb, "--to", s_p.cmyk, "-q"};
    }

    // The refusal: exit code 7 (output), one line naming the target and the reason.
    static void ExpectRefused(const RunResult& r, const std::string& target,
                              const std::string& reason, int code = 7) {
        EXPECT_EQ(r.code, code) << r.err;
        EXPECT_EQ(LineCount(r.err), 1u) << r.err;
        EXPECT_NE(r.err.find(target), std::string::npos) << r.err;
        EXPECT_NE(r.err.find(reason), std::string::npos) << r.err;
        EXPECT_EQ(r.out, "");
    }

    static mode_t ModeOf(const std::string& path) {
        struct stat st {};
        EXPECT_EQ(::lstat(path.c_str(), &st), 0) << path;
        return st.st_mode;
    }

    static inline std::unique_ptr<TempDir> s_dir;
    static inline Profiles s_p;
    TempDir work;
    TiffSpec spec;
    std::string in;
};

TEST_F(SafeOutputTest, DeviceAsOutputIsRefusedAndStaysADevice) {
    ASSERT_TRUE(S_ISCHR(ModeOf("/dev/full")));
    ExpectRefused(RunCli(Convert("/dev/full")), "/dev/full", "not a regular file");
    EXPECT_TRUE(S_ISCHR(ModeOf("/dev/full")));
}

TEST_F(SafeOutputTest, FifoAsOutputIsRefusedAndStaysAFifo) {
    const std::string fifo = work / "pipe.tif";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0644), 0);
    ExpectRefused(RunCli(Convert(fifo)), fifo, "not a regular file");
    EXPECT_TRUE(S_ISFIFO(ModeOf(fifo)));
}

TEST_F(SafeOutputTest, FolderAsOutputIsRefused) {
    fs::create_directory(work / "dir.tif");
    ExpectRefused(RunCli(Convert(work / "dir.tif")), "dir.tif", "is a folder");
    EXPECT_TRUE(fs::is_directory(work / "dir.tif"));
}

TEST_F(SafeOutputTest, InputAsOutputIsRefusedAndTheInputStays) {
    const auto before = ReadBytes(in);
    ExpectRefused(RunCli(Convert(in)), in, "same file as the input");
    EXPECT_EQ(ReadBytes(in), before);
}

TEST_F(SafeOutputTest, InputUnderAnotherNameIsRecognisedByItsInode) {
    const auto before = ReadBytes(in);
    const std::string hard = work / "hard.tif";
    ASSERT_EQ(::link(in.c_str(), hard.c_str()), 0);
    ExpectRefused(RunCli(Convert(hard)), hard, "same file as the input");
    const std::string other = (work / "." / "in.tif").string();
    ExpectRefused(RunCli(Convert(other)), other, "same file as the input");
    EXPECT_EQ(ReadBytes(in), before);
}

TEST_F(SafeOutputTest, ProfileOfTheChainAsOutputIsRefused) {
    const auto before = ReadBytes(s_p.cmyk);
    ExpectRefused(RunCli(Convert(s_p.cmyk)), s_p.cmyk, "same file as the input");
    EXPECT_EQ(ReadBytes(s_p.cmyk), before);
}

TEST_F(SafeOutputTest, ReadOnlyOutputIsRefusedAndUnchanged) {
    const std::string out = work / "ro.tif";
    WriteBytes(out, {'o', 'l', 'd'});
    ASSERT_EQ(::chmod(out.c_str(), 0444), 0);
    ExpectRefused(RunCli(Convert(out)), out, "read-only");
    EXPECT_EQ(ReadBytes(out), (std::vector<uint8_t>{'o', 'l', 'd'}));
    EXPECT_EQ(ModeOf(out) & 07777, 0444u);
}

TEST_F(SafeOutputTest, ReplacedOutputKeepsItsMode) {
    const std::string out = work / "out.tif";
    WriteBytes(out, {'o', 'l', 'd'});
    ASSERT_EQ(::chmod(out.c_str(), 0640), 0);
    const RunResult r = RunCli(Convert(out));
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(ModeOf(out) & 07777, 0640u);
    EXPECT_EQ(ReadTiff(out).spec.samplesPerPixel, 4);
}

TEST_F(SafeOutputTest, NewOutputGetsTheUsualModeOfANewFile) {
    const mode_t mask = ::umask(0);
    ::umask(mask); // the child inherits the test's umask
    const std::string out = work / "new.tif";
    const RunResult r = RunCli(Convert(out));
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(ModeOf(out) & 07777, 0666u & ~mask);
}

TEST_F(SafeOutputTest, SymlinkOutputReplacesItsTargetAndStaysALink) {
    const std::string target = work / "real.tif", link = work / "link.tif";
    WriteBytes(target, {'o', 'l', 'd'});
    ASSERT_EQ(::symlink(target.c_str(), link.c_str()), 0);
    const RunResult r = RunCli(Convert(link));
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_TRUE(S_ISLNK(ModeOf(link)));
    EXPECT_TRUE(S_ISREG(ModeOf(target)));
    EXPECT_EQ(ReadTiff(target).spec.samplesPerPixel, 4);
}

TEST_F(SafeOutputTest, DanglingSymlinkOutputIsRefused) {
    const std::string link = work / "dangling.tif";
    ASSERT_EQ(::symlink((work / "nowhere" / "x.tif").c_str(), link.c_str()), 0);
    ExpectRefused(RunCli(Convert(link)), link, "symbolic link to a missing file");
    EXPECT_TRUE(S_ISLNK(ModeOf(link)));
    EXPECT_FALSE(fs::exists(work / "nowhere"));
}

TEST_F(SafeOutputTest, NoTemporaryFileIsLeftAfterSuccessOrFailure) {
    ASSERT_EQ(RunCli(Convert(work / "out.tif")).code, 0);
    // A failure after the temporary was made: the input ends in the middle of its rows.
    WritePng(work / "whole.png", 256, 64, 8, 2, TestSamples(size_t(256) * 64 * 3, 8, 3));
    auto bytes = ReadBytes(work / "whole.png");
    fs::remove(work / "whole.png");
    bytes.resize(bytes.size() / 2);
    WriteBytes(work / "cut.png", bytes);
    const RunResult bad = RunCli(
        {"convert", work / "cut.png", work / "out2.tif", "--from", s_p.rgb, "--to", s_p.cmyk});
    EXPECT_EQ(bad.code, 3) << bad.err;
    EXPECT_FALSE(fs::exists(work / "out2.tif"));
    size_t files = 0;
    for (const auto& f : fs::directory_iterator(work.path())) {
        ++files;
        EXPECT_EQ(f.path().filename().string().find("kvrtmp"), std::string::npos) << f.path();
    }
    EXPECT_EQ(files, 3u); // in.tif, cut.png and out.tif
}

TEST_F(SafeOutputTest, ExtensionOfAFormatNotWrittenIsRefusedNotWrittenAsTiff) {
    for (const char* name : {"out.gif", "out.BMP", "out.webp"}) {
        const RunResult r = RunCli(Convert(work / name));
        ExpectRefused(r, name, "writes TIFF, PNG or JPEG", 2);
        EXPECT_FALSE(fs::exists(work / name));
    }
}

TEST_F(SafeOutputTest, DashWritesTheImageToStandardOutput) {
    const RunResult file = RunCli(Convert(work / "out.tif"));
    ASSERT_EQ(file.code, 0) << file.err;
    const RunResult piped = RunCli({"convert", in, "-", "--from", s_p.rgb, "--to", s_p.cmyk});
    ASSERT_EQ(piped.code, 0) << piped.err;
    // The summary line goes to the error stream, the image alone to standard output.
    EXPECT_NE(piped.err.find("MPixel"), std::string::npos) << piped.err;
    const auto bytes = ReadBytes(work / "out.tif");
    EXPECT_EQ(piped.out, std::string(bytes.begin(), bytes.end()));
    EXPECT_FALSE(fs::exists(work / "-"));
}

} // namespace

namespace {

class SafeLinkOutputTest : public SafeOutputTest {
protected:
    std::vector<std::string> Link(const std::string& out) const {
        return {"link", out, "--from", s_p.rgb, "--to", s_p.cmyk};
    }
};

TEST_F(SafeLinkOutputTest, DeviceLinkToADeviceIsRefused) {
    ExpectRefused(RunCli(Link("/dev/full")), "/dev/full", "not a regular file");
    EXPECT_TRUE(S_ISCHR(ModeOf("/dev/full")));
}

TEST_F(SafeLinkOutputTest, DeviceLinkOverAProfileOfItsChainIsRefused) {
    const auto before = ReadBytes(s_p.rgb);
    ExpectRefused(RunCli(Link(s_p.rgb)), s_p.rgb, "same file as the input");
    EXPECT_EQ(ReadBytes(s_p.rgb), before);
}

TEST_F(SafeLinkOutputTest, DeviceLinkReplacesALinkedFileKeepingLinkAndMode) {
    const std::string target = work / "real.icc", link = work / "link.icc";
    WriteBytes(target, {'o', 'l', 'd'});
    ASSERT_EQ(::chmod(target.c_str(), 0604), 0);
    ASSERT_EQ(::symlink(target.c_str(), link.c_str()), 0);
    const RunResult r = RunCli(Link(link));
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_TRUE(S_ISLNK(ModeOf(link)));
    EXPECT_EQ(ModeOf(target) & 07777, 0604u);
    const auto bytes = ReadBytes(target);
    ASSERT_GT(bytes.size(), 128u);
    EXPECT_EQ(std::string(bytes.begin() + 36, bytes.begin() + 40), "acsp");
}

} // namespace
