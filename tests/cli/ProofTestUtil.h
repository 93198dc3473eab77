// What the tests of `kvrcolor proof` and `kvrcolor gamut` share: a profile root and settings
// file of their own (printer, default sources, monitor), and the transform factories applied
// in the test itself to the same pixels, for comparison with the program's output.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "CliError.h"
#include "CliSupport.h"
#include "base/IniEntries.h"
#include "colorlink/Factories.h"
#include "common/PrintEnv.h"
#include "common/PrintUSM.h"
#include "support/TestData.h"

namespace prooftest {

namespace fs = std::filesystem;
using clitest::TempDir;
using LinkPtr = std::unique_ptr<CMdlColorLink>;

const fs::path kDefaults = fs::path(KVR_BINARY_DIR) / "profiles";

// `count` pixels of 8 or 16 bits (held as 16-bit numbers) through `link`.
inline std::vector<uint16_t> Apply(CMdlColorLink* link, const std::vector<uint16_t>& in,
                                   size_t count, unsigned bits) {
    EXPECT_NE(link, nullptr);
    if (!link) return {};
    const unsigned nOut = link->nOutChannels();
    std::vector<uint16_t> out(count * nOut);
    if (bits == 16) {
        link->TrnPixels16(in.data(), out.data(), count);
        return out;
    }
    std::vector<uint8_t> src(in.begin(), in.end()), dst(count * nOut);
    link->TrnPixels8(src.data(), dst.data(), count);
    return std::vector<uint16_t>(dst.begin(), dst.end());
}

class ProofFixture : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(kvrtest::HaveFile(kDefaults / "Printer" / "kvr-cmyk.icc",
                                      "build the target kvrdefaults"));
        ASSERT_TRUE(kvrtest::HaveCorpusProfile("sRGB.icc"));
        for (const char* folder : {"Printer", "InputRgb", "InputCmyk"})
            fs::create_directories(base / folder);
        fs::copy_file(kDefaults / "Printer" / "kvr-cmyk.icc", base / "Printer" / "kvr-cmyk.icc");
        fs::copy_file(kDefaults / "Printer" / "kvr-cmyk.icc", base / "InputCmyk" / "kvr-cmyk.icc");
        fs::copy_file(kDefaults / "InputRgb" / "kvr-srgb.icc", base / "InputRgb" / "kvr-srgb.icc");
        ASSERT_TRUE(usm.PutString(IniCpBasePath, base.wstring().c_str()));
        ASSERT_TRUE(usm.PutString(IniCpInputRgb, L"kvr-srgb.icc"));
        ASSERT_TRUE(usm.PutString(IniCpInputCmyk, L"kvr-cmyk.icc"));
        ASSERT_TRUE(usm.PutString(IniPrnIccProfile, L"kvr-cmyk.icc"));
        ASSERT_TRUE(usm.PutInt(IniPrnRgbPrinter, 0));
        ASSERT_TRUE(usm.PutString(IniPrnInks, L"1,2,3,0"));
        ASSERT_TRUE(usm.PutString(US_MonitorProfile, Monitor().wstring().c_str()));
    }

    static fs::path Monitor() { return kvrtest::CorpusProfile("sRGB.icc"); }
    std::string Ini() const { return ini.string(); }

    clitest::RunResult Run(std::vector<std::string> args) const {
        return clitest::RunCli(args, Ini());
    }

    // The configured printer's context, as a print host holds it.
    struct Printer {
        std::unique_ptr<CPrintEnv> env;
        std::unique_ptr<CPrintEnvContext> ctx;
    };
    Printer ConfiguredPrinter() {
        Printer p;
        p.env.reset(usm.CreatePrintEnv(nullptr, 0));
        p.ctx = std::make_unique<CPrintEnvContext>(p.env.get());
        return p;
    }

    TempDir work;
    fs::path base = work / "profiles";
    fs::path ini = work / "kvrcolor.ini";
    CPrintUSM usm{ini.wstring()};
};

} // namespace prooftest
