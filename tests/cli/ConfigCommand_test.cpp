// The configuration file as tovarn reads it: the project's own before the
// user's, its values reaching the basis and the CDI, written only by
// tovarn config, a broken one read with warnings that say where.

#include <gtest/gtest.h>

#include <cstdlib>

#include "TempFolder.h"
#include "TovarnProgram.h"

namespace fs = std::filesystem;

namespace {

const std::string kDescriptor =
    std::string(TOVARN_SOURCE_DIR) + "/examples/tempest-frome2010/TEMPEST.DSC";

class ConfigCommandTest : public xWorkFolderTest {
  protected:
    // A synthetic survey of two short lines, imported, with a thin-sheet
    // basis; the user's configuration folder is the test's own.
    void SetUp() override {
        xWorkFolderTest::SetUp();
        if (const char* old = std::getenv("XDG_CONFIG_HOME")) oldConfig_ = old;
        setenv("XDG_CONFIG_HOME", (dir_ / "user").c_str(), 1);
        ASSERT_EQ(Tovarn("synth " + kDescriptor +
                         " --model 100:30,1000 --lines 2 --line-length 200 --spacing 10"
                         " --altitude 120 --out syn"),
                  0)
            << output_;
        ASSERT_EQ(Tovarn("new s.PAR --descriptor " + kDescriptor), 0) << output_;
        ASSERT_EQ(Tovarn("set s.PAR 701.Files=syn/TEMPEST_synthetic.asc 702.ApproximationType=1"),
                  0)
            << output_;
        ASSERT_EQ(Tovarn("run s.PAR --only 701"), 0) << output_;
    }
    void TearDown() override {
        if (oldConfig_.empty())
            unsetenv("XDG_CONFIG_HOME");
        else
            setenv("XDG_CONFIG_HOME", oldConfig_.c_str(), 1);
        xWorkFolderTest::TearDown();
    }
    int Tovarn(const std::string& arguments) { return RunTovarn(arguments, output_); }
    bool Said(const std::string& text) const { return output_.find(text) != std::string::npos; }
    std::string Basis() {
        EXPECT_EQ(Tovarn("run s.PAR --only 702"), 0) << output_;
        return Slurp(dir_ / "s.AOT");
    }

    const fs::path kUserFile = dir_ / "user" / "tovarn" / "Tovarn.INI";
    const fs::path kProjectFile = dir_ / "Tovarn.INI";
    std::string output_, oldConfig_;
};

TEST_F(ConfigCommandTest, ExtraTausShapeTheBasisAndTheProjectsFileComesFirst) {
    const std::string byDefault = Basis();
    ASSERT_FALSE(byDefault.empty());
    EXPECT_FALSE(fs::exists(kUserFile)) << "a run never writes the configuration";

    ASSERT_EQ(Tovarn("config set ExtraTaus=0"), 0) << output_;
    EXPECT_TRUE(fs::exists(kUserFile));
    const std::string withoutExtra = Basis();
    EXPECT_NE(withoutExtra, byDefault);

    // The project's file starts from the user's and then holds on its own.
    ASSERT_EQ(Tovarn("config set ExtraTaus=2 --project s.PAR"), 0) << output_;
    EXPECT_EQ(Basis(), byDefault);
    ASSERT_EQ(Tovarn("config show --project s.PAR"), 0) << output_;
    EXPECT_TRUE(Said("note: Configuration of ./Tovarn.INI")) << output_;
    EXPECT_TRUE(Said("Number_of_extra_taus=2\n")) << output_;
    ASSERT_EQ(Tovarn("config show"), 0) << output_;
    EXPECT_TRUE(Said("Number_of_extra_taus=0\n")) << output_;

    // Thin-sheet factors of zero leave each decay a single exponential.
    ASSERT_EQ(Tovarn("config set ThinSheetFactors=0,0,0,0,0,0,0,0,0 --project s.PAR"), 0);
    EXPECT_NE(Basis(), byDefault);
}

TEST_F(ConfigCommandTest, TheCdiTakesItsReportsExtensionAndItsCalibrationCheck) {
    ASSERT_EQ(Tovarn("set s.PAR 704.SaveAscii=11"), 0) << output_;
    ASSERT_EQ(Tovarn("config set CdiAsciiExtension=TXT --project s.PAR"), 0) << output_;
    ASSERT_EQ(Tovarn("run s.PAR --only 702,703,704"), 0) << output_;
    int reports = 0;
    for (const auto& entry : fs::directory_iterator(dir_)) {
        EXPECT_NE(entry.path().extension(), ".DOC") << entry.path();
        reports += entry.path().extension() == ".TXT" &&
                   entry.path().filename().string().rfind("s-", 0) == 0;
    }
    EXPECT_EQ(reports, 2) << "one report per line";

    // The calibration check asks only when it is on and the data lie outside
    // the level: the synthetic survey is calibrated to well within 10.
    const std::string asked =
        "question: CDI module detected a possibility that input data was "
        "incorrectly calibrated.";
    ASSERT_EQ(Tovarn("config set InspectAmplitudes=Yes --project s.PAR"), 0) << output_;
    ASSERT_EQ(Tovarn("run s.PAR --only 704"), 0) << output_;
    EXPECT_FALSE(Said(asked)) << output_;
    ASSERT_EQ(Tovarn("config set AmplitudeDeviation=1.001 --project s.PAR"), 0) << output_;
    ASSERT_EQ(Tovarn("run s.PAR --only 704"), 0) << output_;
    EXPECT_TRUE(Said(asked)) << output_;
}

TEST_F(ConfigCommandTest, ABrokenFileWarnsWithItsLinesAndTheRunGoesOn) {
    Put("Tovarn.INI",
        "[EDITOR]\nName=vi\n\n[PROJECTS]\n\n[CDI]\n\x01\xff garbage\n\n[APPROX]\n"
        "ThinSheet(TxRx,..,TzRz)=0 0 0\n");
    ASSERT_EQ(Tovarn("run s.PAR --only 702"), 0) << output_;
    EXPECT_TRUE(Said("Tovarn.INI:7: expected \"Unresolved Color")) << output_;
    EXPECT_TRUE(Said("Tovarn.INI:10: expected nine numbers after the key")) << output_;
    EXPECT_TRUE(Said("[DYNAMIC CONTROLS]")) << output_;
}

TEST_F(ConfigCommandTest, SetRefusesAnyBadAssignmentAndSavesNothing) {
    EXPECT_EQ(Tovarn("config set ExtraTaus=1 FontSize=big --project s.PAR"), 2) << output_;
    EXPECT_TRUE(
        Said("FontSize wants a whole number from 1 to 200, not \"big\". Nothing was saved."))
        << output_;
    EXPECT_EQ(Tovarn("config set ExtraTaus"), 2) << output_;
    EXPECT_TRUE(Said("config set wants \"Field=value\", not \"ExtraTaus\".")) << output_;
    EXPECT_FALSE(fs::exists(kProjectFile));
    EXPECT_FALSE(fs::exists(kUserFile));
}

}  // namespace
