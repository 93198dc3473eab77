#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <string>

#include "base/IniEntries.h"
#include "base/Settings.h"
#include "base/WideString.h"
#include "support/TempDir.h"

namespace {

namespace fs = std::filesystem;

using kvrtest::TempDir;

void WriteFile(const fs::path& p, const std::string& text) {
    std::ofstream out(p, std::ios::binary | std::ios::trunc);
    out << text;
}

std::string ReadFile(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

std::wstring W(const fs::path& p) {
    return Utf8ToWide(p.string());
}

// Sets or clears an environment variable for the scope of a test and puts the old value back.
class EnvGuard {
public:
    EnvGuard(const char* name, const char* value) : name_(name) {
        if (const char* old = getenv(name)) old_ = old;
        if (value)
            setenv(name, value, 1);
        else
            unsetenv(name);
    }
    ~EnvGuard() {
        if (old_)
            setenv(name_, old_->c_str(), 1);
        else
            unsetenv(name_);
    }

private:
    const char* name_;
    std::optional<std::string> old_;
};

const _INIENTRY kNumber = {L"Test", L"Number", L"42"};
const _INIENTRY kText = {L"Test", L"Text", L"fallback"};
const _INIENTRY kNoNumberDefault = {L"Test", L"Number", L"none"};

} // namespace

TEST(Settings, ReadsValuesWithCaseInsensitiveNamesAndTrimmedText) {
    TempDir dir;
    WriteFile(dir.File("a.ini"), "; comment\n# other comment\n[other]\nnumber=1\n"
                                 "  [ TEST ]  \n  NUMBER  =  17  \ntext = hello world \n");
    CIniFile ini(W(dir.File("a.ini")));
    EXPECT_EQ(ini.GetInt(kNumber), 17);
    EXPECT_EQ(ini.GetString(kText), L"hello world");
}

TEST(Settings, MissingFileOrKeyGivesTheDefault) {
    TempDir dir;
    CIniFile missing(W(dir.File("none.ini")));
    EXPECT_EQ(missing.GetInt(kNumber), 42);
    EXPECT_EQ(missing.GetString(kText), L"fallback");

    WriteFile(dir.File("a.ini"), "[Test]\nother=5\n[Elsewhere]\nNumber=9\n");
    CIniFile ini(W(dir.File("a.ini")));
    EXPECT_EQ(ini.GetInt(kNumber), 42); // a key of the same name in another section doesn't count
    EXPECT_EQ(ini.GetString(kText), L"fallback");
}

TEST(Settings, NonNumericValueGivesTheDefaultsNumber) {
    TempDir dir;
    WriteFile(dir.File("a.ini"), "[Test]\nNumber=12abc\n");
    CIniFile ini(W(dir.File("a.ini")));
    EXPECT_EQ(ini.GetInt(kNumber), 42);
    EXPECT_EQ(ini.GetInt(kNoNumberDefault), 0);
    EXPECT_EQ(ini.GetString(kNumber), L"12abc");
}

TEST(Settings, IntegersTakeSignsAndRefuseOverflow) {
    TempDir dir;
    WriteFile(dir.File("a.ini"), "[Test]\nA=-17\nB=+5\nC=2147483647\nD=-2147483648\n"
                                 "E=2147483648\nF=0x10\nG=\n");
    CIniFile ini(W(dir.File("a.ini")));
    EXPECT_EQ(ini.GetInt(L"Test", L"A", 1), -17);
    EXPECT_EQ(ini.GetInt(L"Test", L"B", 1), 5);
    EXPECT_EQ(ini.GetInt(L"Test", L"C", 1), 2147483647);
    EXPECT_EQ(ini.GetInt(L"Test", L"D", 1), -2147483647 - 1);
    EXPECT_EQ(ini.GetInt(L"Test", L"E", 1), 1);
    EXPECT_EQ(ini.GetInt(L"Test", L"F", 1), 1);
    EXPECT_EQ(ini.GetInt(L"Test", L"G", 1), 1);
}

TEST(Settings, EmptyValueIsEmptyNotTheDefault) {
    TempDir dir;
    WriteFile(dir.File("a.ini"), "[Test]\nText=\n");
    CIniFile ini(W(dir.File("a.ini")));
    EXPECT_EQ(ini.GetString(kText), L"");
}

TEST(Settings, ReadsTheFileAfreshOnEveryCall) {
    TempDir dir;
    const fs::path file = dir.File("a.ini");
    WriteFile(file, "[Test]\nNumber=1\nText=first\n");
    CIniFile ini(W(file));
    EXPECT_EQ(ini.GetInt(kNumber), 1);
    EXPECT_EQ(ini.GetString(kText), L"first");
    WriteFile(file, "[Test]\nNumber=2\nText=second\n");
    EXPECT_EQ(ini.GetInt(kNumber), 2);
    EXPECT_EQ(ini.GetString(kText), L"second");
    fs::remove(file);
    EXPECT_EQ(ini.GetInt(kNumber), 42);
}

TEST(Settings, HandlesByteOrderMarkCrLfQuotesUtf8AndDuplicates) {
    TempDir dir;
    WriteFile(dir.File("a.ini"), "\xEF\xBB\xBF[Test]\r\nText=\"  spaced \"\r\nNumber=3\r\n"
                                 "Number=4\r\nName=Gr\xC3\xBC\xC3\x9F\x65 \xE2\x82\xAC\r\n"
                                 "Semi=a;b#c\r\n");
    CIniFile ini(W(dir.File("a.ini")));
    EXPECT_EQ(ini.GetString(kText), L"  spaced ");
    EXPECT_EQ(ini.GetInt(kNumber), 3); // the first of two counts
    EXPECT_EQ(ini.GetString(L"Test", L"Name", L""), L"Gr\u00FC\u00DFe \u20AC");
    EXPECT_EQ(ini.GetString(L"Test", L"Semi", L""), L"a;b#c"); // comments are whole lines only
}

TEST(Settings, PutThenGetAndOtherContentStays) {
    TempDir dir;
    const fs::path file = dir.File("a.ini");
    WriteFile(file, "; head comment\n[Test]\n; inside\nNumber=1\nKeep=yes\n\n[Other]\nX=1\n");
    CIniFile ini(W(file));
    ASSERT_TRUE(ini.PutInt(kNumber, 77));
    ASSERT_TRUE(ini.PutString(kText, L"new text"));
    EXPECT_EQ(ini.GetInt(kNumber), 77);
    EXPECT_EQ(ini.GetString(kText), L"new text");
    EXPECT_EQ(ReadFile(file), "; head comment\n[Test]\n; inside\nNumber=77\nKeep=yes\n"
                              "Text=new text\n\n[Other]\nX=1\n");
    ASSERT_TRUE(ini.PutString(L"Third", L"Key", L"v"));
    EXPECT_EQ(ReadFile(file), "; head comment\n[Test]\n; inside\nNumber=77\nKeep=yes\n"
                              "Text=new text\n\n[Other]\nX=1\n\n[Third]\nKey=v\n");
    EXPECT_EQ(ini.GetString(L"other", L"x", L""), L"1");
}

TEST(Settings, PutReplacesTheKeyThatReadingFinds) {
    TempDir dir;
    const fs::path file = dir.File("a.ini");
    WriteFile(file, "[Test]\nA=1\n[Other]\nnumber=5\n[test]\nNUMBER=2\nnumber=3\n");
    CIniFile ini(W(file));
    ASSERT_TRUE(ini.PutInt(kNumber, 9));
    EXPECT_EQ(ini.GetInt(kNumber), 9);
    EXPECT_EQ(ReadFile(file), "[Test]\nA=1\n[Other]\nnumber=5\n[test]\nNumber=9\nnumber=3\n");
}

TEST(Settings, PutCreatesFolderAndFileAndKeepsAwkwardValues) {
    TempDir dir;
    const fs::path file = dir.File("sub/folder/new.ini");
    CIniFile ini(W(file));
    ASSERT_TRUE(ini.PutString(kText, L"  padded  "));
    EXPECT_EQ(ini.GetString(kText), L"  padded  ");
    ASSERT_TRUE(ini.PutString(kText, L"\"quoted\""));
    EXPECT_EQ(ini.GetString(kText), L"\"quoted\"");
    ASSERT_TRUE(ini.PutString(kText, L"two\r\nlines"));
    EXPECT_EQ(ini.GetString(kText), L"two  lines");
    ASSERT_TRUE(ini.PutString(kText, L"\u20AC \u4E2D"));
    EXPECT_EQ(ini.GetString(kText), L"\u20AC \u4E2D");
    EXPECT_EQ(ini.GetInt(kNumber), 42);
}

TEST(Settings, PutKeepsCrLfLineEnds) {
    TempDir dir;
    const fs::path file = dir.File("a.ini");
    WriteFile(file, "[Test]\r\nA=1\r\n");
    CIniFile ini(W(file));
    ASSERT_TRUE(ini.PutInt(kNumber, 5));
    EXPECT_EQ(ReadFile(file), "[Test]\r\nA=1\r\nNumber=5\r\n");
    EXPECT_EQ(ini.GetInt(kNumber), 5);
}

TEST(Settings, PutFailsWhereNothingCanBeWritten) {
    TempDir dir;
    WriteFile(dir.File("plain"), "x");
    CIniFile ini(W(dir.File("plain/inside.ini"))); // a file stands where the folder should be
    EXPECT_FALSE(ini.PutString(kText, L"v"));
    EXPECT_EQ(ini.GetString(kText), L"fallback");
}

TEST(Settings, KeyAndDefaultOfAnEntry) {
    EXPECT_STREQ(CIniFile::Key(kNumber), L"Number");
    EXPECT_STREQ(CIniFile::Default(kNumber), L"42");
}

TEST(Settings, DefaultLocationFollowsTheEnvironmentAtEachRead) {
    TempDir dir;
    WriteFile(dir.File("one.ini"), "[Test]\nNumber=1\n");
    WriteFile(dir.File("two.ini"), "[Test]\nNumber=2\n");
    EnvGuard ini("KVR_INI", dir.File("one.ini").c_str());
    CUserSettingsMgr usm;
    CIniFile plain;
    EXPECT_EQ(DefaultIniPath(), W(dir.File("one.ini")));
    EXPECT_EQ(usm.GetInt(kNumber), 1);
    EXPECT_EQ(plain.GetInt(kNumber), 1);
    EXPECT_EQ(CRipsIniFile::Instance().GetInt(kNumber), 1);
    setenv("KVR_INI", dir.File("two.ini").c_str(), 1);
    EXPECT_EQ(usm.GetInt(kNumber), 2);
    EXPECT_EQ(CRipsIniFile::Instance().GetInt(kNumber), 2);
    EXPECT_EQ(&CRipsIniFile::Instance(), &CRipsIniFile::Instance());
}

TEST(Settings, DefaultLocationWithoutKvrIni) {
    EnvGuard ini("KVR_INI", nullptr);
    {
        EnvGuard xdg("XDG_CONFIG_HOME", "/cfg/home");
        EnvGuard home("HOME", "/users/me");
        EXPECT_EQ(DefaultIniPath(), L"/cfg/home/kvrcolor/kvrcolor.ini");
    }
    {
        EnvGuard xdg("XDG_CONFIG_HOME", "relative/is/ignored");
        EnvGuard home("HOME", "/users/me");
        EXPECT_EQ(DefaultIniPath(), L"/users/me/.config/kvrcolor/kvrcolor.ini");
    }
    {
        EnvGuard xdg("XDG_CONFIG_HOME", nullptr);
        EnvGuard home("HOME", "/users/me");
        EXPECT_EQ(DefaultIniPath(), L"/users/me/.config/kvrcolor/kvrcolor.ini");
    }
}

TEST(Settings, UserSettingsPutGetAndMonitorProfile) {
    TempDir dir;
    CUserSettingsMgr usm(W(dir.File("user.ini")));
    EXPECT_EQ(usm.MonitorProfileName(), L"");
    EXPECT_EQ(usm.GetInt(kNumber), 42);
    ASSERT_TRUE(usm.PutString(US_MonitorProfile, L"/profiles/monitor.icc"));
    ASSERT_TRUE(usm.PutInt(kNumber, -3));
    EXPECT_EQ(usm.MonitorProfileName(), L"/profiles/monitor.icc");
    EXPECT_EQ(usm.GetInt(kNumber), -3);
    EXPECT_EQ(usm.GetString(kNumber), L"-3");
}

TEST(Settings, EveryEntryIsNamedOnceAndHasAnIntegerOrTextDefault) {
    std::set<std::pair<std::string, std::string>> seen;
    for (const _INIENTRY* e : AllIniEntries()) {
        ASSERT_NE(e, nullptr);
        ASSERT_TRUE(e->section && e->key && e->def);
        EXPECT_TRUE(seen.insert({WideToUtf8(e->section), WideToUtf8(e->key)}).second)
            << WideToUtf8(e->key) << " twice";
    }
    EXPECT_GE(seen.size(), 80u);
}

// The documented file lists every key with the library's own default, and nothing else.
TEST(Settings, ShippedIniFileListsEveryEntryWithItsDefault) {
    const fs::path file = fs::path(KVR_SOURCE_DIR) / "resources" / "kvrcolor.ini";
    ASSERT_TRUE(fs::exists(file));
    CIniFile ini(W(file));
    for (const _INIENTRY* e : AllIniEntries()) {
        const std::wstring marker = L"\x01missing";
        if (e == &IniCpBasePath) {
            // Its default is the folder the build installs to, so the file leaves it unset.
            EXPECT_EQ(ini.GetString(e->section, e->key, marker.c_str()), marker);
            continue;
        }
        EXPECT_EQ(ini.GetString(e->section, e->key, marker.c_str()), e->def)
            << "[" << WideToUtf8(e->section) << "] " << WideToUtf8(e->key);
    }

    // Every key line of the file names a known entry (a simple reading of its own).
    std::map<std::string, std::set<std::string>> known;
    for (const _INIENTRY* e : AllIniEntries())
        known[WideToUtf8(e->section)].insert(WideToUtf8(e->key));
    std::ifstream in(file);
    std::string line, section;
    size_t keys = 0;
    bool basePathDocumented = false;
    while (std::getline(in, line)) {
        if (line.rfind(";BasePath=", 0) == 0) basePathDocumented = true;
        if (line.empty() || line[0] == ';' || line[0] == '#') continue;
        if (line[0] == '[') {
            section = line.substr(1, line.find(']') - 1);
            continue;
        }
        const std::string key = line.substr(0, line.find('='));
        EXPECT_TRUE(known[section].count(key)) << "unknown key [" << section << "] " << key;
        ++keys;
    }
    EXPECT_TRUE(basePathDocumented);
    EXPECT_EQ(keys + 1, AllIniEntries().size()); // every entry but the base path
}

TEST(Settings, EntriesOfTheColourCodeHaveTheirDefaults) {
    TempDir dir;
    CUserSettingsMgr usm(W(dir.File("empty.ini")));
    EXPECT_EQ(usm.GetInt(IniCpCMS), 1);
    EXPECT_EQ(usm.GetInt(IniCpSelectCMM), 0);
    EXPECT_EQ(usm.GetInt(IniClpColorLink3), 33);
    EXPECT_EQ(usm.GetInt(IniClpColorLink4), 17);
    EXPECT_EQ(usm.GetInt(IniCpOutputRi), 1);
    EXPECT_EQ(usm.GetString(IniCpInputRgb), L"sRGB.icc");
    EXPECT_EQ(usm.GetString(IniCustomCMSGridSizes), L"");
    EXPECT_EQ(usm.GetInt(IniPostscriptAfterIntermediateOutputProfileRI), 2);
    EXPECT_EQ(usm.GetInt(IniPostscriptSimulateOverprinting), 1);
    EXPECT_STREQ(IniPostscriptRI_GrayText.section, IniPostscriptOptions);
}

TEST(Settings, TwoProcessesChangingDifferentKeysLoseNoChange) {
    TempDir dir;
    const fs::path file = dir.File("shared.ini");
    WriteFile(file, "; kept comment\n[Test]\nUnknown=stays\n");
    // Each child writes 100 keys of its own, one write each, as fast as it can; the other child
    // writes at the same time. Every key must be there at the end.
    auto writer = [&](const char* prefix) {
        CIniFile ini(W(file));
        for (int i = 0; i < 100; ++i) {
            const std::wstring key = Utf8ToWide(prefix + std::to_string(i));
            if (!ini.PutString(L"Test", key.c_str(), std::to_wstring(i).c_str())) return 1;
        }
        return 0;
    };
    pid_t children[2];
    const char* prefixes[2] = {"A", "B"};
    for (int c = 0; c < 2; ++c) {
        children[c] = fork();
        ASSERT_GE(children[c], 0);
        if (children[c] == 0) _exit(writer(prefixes[c]));
    }
    for (pid_t child : children) {
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFEXITED(status));
        EXPECT_EQ(WEXITSTATUS(status), 0);
    }
    CIniFile ini(W(file));
    int present = 0;
    for (const char* prefix : prefixes)
        for (int i = 0; i < 100; ++i) {
            const std::wstring key = Utf8ToWide(prefix + std::to_string(i));
            if (ini.GetString(L"Test", key.c_str(), L"missing") == std::to_wstring(i)) ++present;
        }
    EXPECT_EQ(present, 200);
    EXPECT_EQ(ini.GetString(L"Test", L"Unknown", L""), L"stays");
    EXPECT_EQ(ReadFile(file).rfind("; kept comment\n", 0), 0u);
}

TEST(Settings, PutLeavesNoTemporaryFileBehind) {
    TempDir dir;
    const fs::path file = dir.File("a.ini");
    CIniFile ini(W(file));
    ASSERT_TRUE(ini.PutString(kText, L"v"));
    for (const std::string& name : dir.Files())
        EXPECT_TRUE(name == "a.ini" || name == "a.ini.lock") << name;
}
