#include "Commands.h"

#include <gtest/gtest.h>

#include <sstream>

#include "NewProjectTest.h"
#include "TempFolder.h"
#include "TovarnProgram.h"
#include "xProjectContext.h"
#include "xProjectLock.h"
#include "xRecordingPlatform.h"

namespace fs = std::filesystem;

namespace {

class CommandsTest : public xNewProjectTest {
  protected:
    std::string Params(int process) {
        std::ostringstream out;
        EXPECT_EQ(cli::Params(par_, process, out), cli::kSuccess);
        return out.str();
    }
};

}  // namespace

TEST_F(CommandsTest, SetThenParamsShowsTheNewValues) {
    std::ostringstream out;
    ASSERT_EQ(cli::Set(par_,
                       {"703.Threshold=1e-3", "704.MaxDepth=500", "702.NumberOfTaus=16",
                        "705.AmplitudeThreshold=7.5", "701.Files=a.asc,b.asc"},
                       out),
              cli::kSuccess);
    EXPECT_EQ(out.str(),
              "saved 701 ASCII->BIN/\nsaved 702 Basis Functions/\nsaved 703 Deconvolution/\n"
              "saved 704 CDI/\nsaved 705 Anm.Picker/\n");
    // Five sections of 5000 bytes behind the header.
    EXPECT_EQ(Slurp(par_).size(), 1329u + 5u * 5000u);

    const std::string shown = Params(0);
    EXPECT_EQ(shown.rfind("Project Name:" + std::string(22, ' ') + "survey", 0), 0u);
    EXPECT_NE(shown.find("ThreshHold(norm):" + std::string(18, ' ') + "703.Threshold" +
                         std::string(22, ' ') + "0.001"),
              std::string::npos);
    EXPECT_NE(shown.find("500"), std::string::npos);
    EXPECT_NE(shown.find("a.asc, b.asc"), std::string::npos);

    const std::string basisOnly = Params(702);
    EXPECT_NE(basisOnly.find("Basis Functions/"), std::string::npos);
    EXPECT_EQ(basisOnly.find("Deconvolution/"), std::string::npos);
}

// Every name beside a caption is one that set knows; nearly all take back the
// value shown (a count of files and the words of a choice are only shown).
TEST_F(CommandsTest, ParamsNamesWhatSetTakes) {
    std::istringstream shown(Params(0));
    int names = 0, taken = 0;
    for (std::string line; std::getline(shown, line);) {
        if (line.size() <= 70 || line.find('.', 35) != 38) continue;
        const std::string name = line.substr(35, line.find(' ', 35) - 35);
        std::string value = line.substr(70);
        value.erase(value.find_last_not_of(' ') + 1);
        std::ostringstream out;
        taken += cli::Set(par_, {name + "=" + value}, out) == cli::kSuccess;
        ++names;
    }
    for (const std::string& error : platform_.Texts("error"))
        EXPECT_EQ(error.find("Unknown parameter"), std::string::npos) << error;
    EXPECT_GT(names, 60);
    EXPECT_GE(taken, names - 2);
}

TEST_F(CommandsTest, SetRefusesUnknownNamesAndBadValuesAndSavesNothing) {
    const std::string before = Slurp(par_);
    std::ostringstream out;
    EXPECT_EQ(cli::Set(par_, {"703.Threshold=1e-3", "703.Thresh=1"}, out), cli::kUsage);
    EXPECT_EQ(cli::Set(par_, {"702.NumberOfTaus=many"}, out), cli::kUsage);
    EXPECT_EQ(cli::Set(par_, {"799.Threshold=1"}, out), cli::kUsage);
    EXPECT_EQ(cli::Set(par_, {"Threshold"}, out), cli::kUsage);
    EXPECT_EQ(Slurp(par_), before);

    const auto errors = platform_.Texts("error");
    ASSERT_EQ(errors.size(), 8u);
    EXPECT_EQ(errors[0].rfind("Unknown parameter 703.Thresh. The parameters of 703", 0), 0u);
    EXPECT_NE(errors[0].find("\n  Threshold: a number from"), std::string::npos);
    EXPECT_EQ(errors[1], "Nothing was saved: correct the values above and run the command again.");
    EXPECT_EQ(errors[2].rfind("Refused 702.NumberOfTaus=many: NumberOfTaus takes ", 0), 0u);
    EXPECT_EQ(errors[4].rfind("There is no process 799 with parameters. Processes with "
                              "parameters: 701, 702, 703, 704",
                              0),
              0u);
    EXPECT_EQ(errors[6],
              "Cannot read \"Threshold\": write ID.Field=value, as in 703.Threshold=1e-3.");
}

TEST_F(CommandsTest, ParamsOfAMissingOrMisnamedFile) {
    std::ostringstream out;
    EXPECT_EQ(cli::Params(dir_ / "gone.PAR", 0, out), cli::kFailed);
    EXPECT_EQ(cli::Params(dir_ / "system.DSC", 0, out), cli::kFailed);
    EXPECT_EQ(cli::Params(par_, 708, out), cli::kUsage);
    EXPECT_EQ(platform_.Texts("error")[0], "Selected parameter file does not exist.");
}

TEST_F(CommandsTest, NewReplacesAnExistingProjectOnlyWithForce) {
    std::ostringstream out;
    ASSERT_EQ(cli::Set(par_, {"701.Files=a.asc"}, out), cli::kSuccess);
    const std::string before = Slurp(par_);
    EXPECT_EQ(cli::New(par_, dir_ / "system.DSC", {}), cli::kFailed);
    EXPECT_EQ(platform_.Texts("error"),
              std::vector<std::string>{"The project " + par_.string() +
                                       " exists already: its file list and parameters would be "
                                       "lost. Give --force to replace it."});
    EXPECT_EQ(Slurp(par_), before);
    EXPECT_EQ(cli::New(par_, dir_ / "system.DSC", {}, true), cli::kSuccess);
    EXPECT_NE(Params(701).find("701.FileCount                      0"), std::string::npos);
}

// params and fit only read: a damaged PAR stays byte for byte, and nothing is
// made beside it. A command that writes keeps the old file aside.
TEST_F(CommandsTest, ReadOnlyCommandsLeaveADamagedProjectAsItIs) {
    std::string damaged = Slurp(par_);
    damaged.replace(0, 4, std::string("\0\0\x40\x40", 4));  // version 3.0
    Put("survey.PAR", damaged);
    std::ostringstream out;
    EXPECT_EQ(cli::Params(par_, 0, out), cli::kFailed);
    EXPECT_EQ(platform_.Texts("error"),
              std::vector<std::string>{"The parameter file cannot be read and is left as it "
                                       "is.\n" +
                                       par_.filename().string() +
                                       ": byte 0: expected a version of 3.04 or later, found "
                                       "\"3\""});
    std::string output;
    EXPECT_EQ(RunTovarn("params " + par_.string(), output), 1) << output;
    EXPECT_EQ(RunTovarn("fit " + par_.string() + " --line 1 --record 1", output), 1) << output;
    EXPECT_EQ(Slurp(par_), damaged);
    EXPECT_EQ(std::distance(fs::directory_iterator(dir_), fs::directory_iterator()), 2);

    EXPECT_EQ(cli::Set(par_, {"701.Files=a.asc"}, out), cli::kSuccess);
    EXPECT_EQ(Slurp(dir_ / "survey.PAR.old"), damaged);
}

TEST_F(CommandsTest, RunTakesOnlyBuiltProcessesOfTheChain) {
    std::string output;
    EXPECT_EQ(RunTovarn("run " + par_.string() + " --only 701,707", output), 2);
    EXPECT_EQ(output,
              "error: 707 is not a process of the chain: its processes are 701, 702, 703, 704, "
              "705 and 706.\n");
    EXPECT_EQ(RunTovarn("run " + par_.string() + " --only 705,706", output), 1);
    EXPECT_EQ(output,
              "error: Not built yet: 705 (Anomaly Picker), 706 (Inverter). Nothing was run.\n");
}

TEST_F(CommandsTest, CommandsThatWriteTheProjectRefuseItsLockOfAnotherProcess) {
    std::string output;
    {
        xProjectLock held(par_, "tovarn run survey.PAR");
        ASSERT_TRUE(held.Take());
        const std::string inUse =
            "error: The project is in use by process " + std::to_string(getpid()) +
            " (tovarn run survey.PAR), which holds " + (dir_ / "survey.lock").string() + ".\n";
        for (const std::string& command :
             {"run " + par_.string(), "set " + par_.string() + " 703.Threshold=1e-3",
              "new " + par_.string() + " --force --descriptor " + (dir_ / "system.DSC").string()}) {
            EXPECT_EQ(RunTovarn(command, output), 1) << command;
            EXPECT_EQ(output, inUse) << command;
        }
    }
    EXPECT_EQ(RunTovarn("set " + par_.string() + " 703.Threshold=1e-3", output), 0) << output;
    EXPECT_FALSE(fs::exists(dir_ / "survey.lock"));
}

// Every command answers --help with its own text; bad lines answer 2 and the
// messages of the program, a process's error 1.
TEST(TovarnProgram, HelpUsageAndExitCodes) {
    struct Case {
        const char* arguments;
        int exitCode;
        const char* output;  // a part of what it prints
    };
    const Case cases[] = {
        {"--help", 0, "A typical session"},
        {"--version", 0, "tovarn 0.3.0"},
        {"new --help", 0, "--copy-from"},
        {"params --help", 0, "PROJECT.PAR"},
        {"set --help", 0, "ID.Field=value"},
        {"run --help", 0, "--answer"},
        {"dump --help", 0, "An AOT file is written whole"},
        {"fit --help", 0, "--record"},
        {"synth --help", 0, "--line-spacing"},
        {"descriptor build --help", 0, "OUT-LABEL.DSC"},
        {"descriptor build-fd --help", 0, "--component"},
        {"cdi export --help", 0, "geosoft-survey"},
        {"", 2, "A subcommand is required"},
        {"frobnicate", 2, "A subcommand is required"},
        {"descriptor", 2, "A subcommand is required"},
        {"params /nonexistent/x.PAR --process abc", 2, "--process"},
        {"params /nonexistent/x.PAR", 1, "error: Selected parameter file does not exist.\n"},
        {"run /nonexistent/x.PAR --only seven", 2,
         "error: --only wants process ids separated by commas, e.g. 701,702.\n"},
        {"run /nonexistent/x.PAR --answer bad", 2,
         "error: --answer wants \"fragment=Caption\", not \"bad\".\n"},
        {"descriptor build --system LM=a.stm --system b.stm --layout x.dfn --map a=b "
         "--channels Z=c --out y.DSC",
         2,
         "error: With more than one moment each --system wants LABEL=FILE.stm (e.g. "
         "LM=Skytem-LM.stm), not \"b.stm\".\n"},
    };
    for (const Case& c : cases) {
        std::string output;
        EXPECT_EQ(RunTovarn(c.arguments, output), c.exitCode) << c.arguments;
        EXPECT_NE(output.find(c.output), std::string::npos) << c.arguments << "\n" << output;
    }
}

// What a descriptor of a delivered survey says about its data, and a channel
// group given to a moment that no system file is labelled with.
TEST(TovarnProgram, DescriptorsOfDeliveredSurveys) {
    const std::string examples = std::string(TOVARN_SOURCE_DIR) + "/examples/";
    std::string output;
    ASSERT_EQ(RunTovarn("descriptor show " + examples + "skytem-bhmar2009/BHMAR-HM.DSC", output),
              0);
    EXPECT_NE(output.find("    data: V/amp/m^4, moment 1 A m^2\n"), std::string::npos) << output;
    ASSERT_EQ(RunTovarn("descriptor show " + examples + "tempest-ausaem2020/TEMPEST.DSC", output),
              0);
    EXPECT_NE(output.find("    data: fT, moment 0.5 A m^2\n"), std::string::npos) << output;
    EXPECT_NE(output.find("Missing readings are written as -999.999999\n"), std::string::npos);

    const std::string bhmar = examples + "skytem-bhmar2009/";
    EXPECT_EQ(
        RunTovarn("descriptor build --system LM=" + bhmar + "Skytem-LM.stm --layout " + bhmar +
                      "bhmar-skytem.dfn --map line=Line --channels XM:Z=LMZ --out "
                      "/nonexistent/B.DSC",
                  output),
        2);
    EXPECT_NE(output.find("error: --channels names the moment \"XM\", which no --system "
                          "LABEL=FILE gives.\n"),
              std::string::npos)
        << output;
}

// Every bundled descriptor passes the checks; GEOTEM's with its record cut short
// has channels past the end, and the check says which.
TEST_F(CommandsTest, DescriptorCheckHoldsPositionsToTheRecord) {
    std::string output;
    for (const auto& entry :
         fs::recursive_directory_iterator(fs::path(TOVARN_SOURCE_DIR) / "examples")) {
        if (entry.path().extension() == ".DSC") {
            EXPECT_EQ(RunTovarn("descriptor check " + entry.path().string(), output), 0) << output;
        }
    }
    std::string text = Slurp(fs::path(TOVARN_SOURCE_DIR) / "examples/geotem-gsq823/GEOTEM.DSC");
    const std::string items = "Number of items in each data record\n    55\n";
    ASSERT_NE(text.find(items), std::string::npos);
    text.replace(text.find(items), items.size(), "Number of items in each data record\n    40\n");
    const fs::path cut = Put("CUT.DSC", text);
    EXPECT_EQ(RunTovarn("descriptor check " + cut.string(), output), 1);
    EXPECT_EQ(output,
              "error: The position of channel 2 of TzRz (41) lies outside the record of 40 "
              "items.\n" +
                  cut.string() + ": 1 problem(s)\n");
}
