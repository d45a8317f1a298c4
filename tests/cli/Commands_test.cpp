#include "Commands.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>

#include "xProjectContext.h"
#include "xRecordingPlatform.h"

namespace fs = std::filesystem;

namespace {

class CommandsTest : public ::testing::Test {
  protected:
    void SetUp() override {
        dir_ = fs::temp_directory_path() /
               ("tovarn_cli_" +
                std::string(testing::UnitTest::GetInstance()->current_test_info()->name()));
        fs::remove_all(dir_);
        fs::create_directories(dir_);
        ProjectContext() = xProjectContext();
        std::ofstream(dir_ / "system.DSC") << "descriptor\n";
        par_ = dir_ / "survey.PAR";
        ASSERT_EQ(cli::New(par_, dir_ / "system.DSC", {}), cli::kSuccess);
    }
    void TearDown() override {
        ProjectContext() = xProjectContext();
        fs::remove_all(dir_);
    }
    std::string ParBytes() const {
        std::ifstream in(par_, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }
    std::string Params(int process) {
        std::ostringstream out;
        EXPECT_EQ(cli::Params(par_, process, out), cli::kSuccess);
        return out.str();
    }

    fs::path dir_;
    fs::path par_;
    xRecordingPlatform platform_;
};

// Runs the program and answers its exit code, with stdout and stderr in output.
int RunTovarn(const std::string& arguments, std::string& output) {
    const std::string command = std::string(TOVARN_BINARY) + " " + arguments + " 2>&1";
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return -1;
    char buffer[4096];
    output.clear();
    while (std::size_t n = fread(buffer, 1, sizeof buffer, pipe)) output.append(buffer, n);
    int status = pclose(pipe);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

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
    EXPECT_EQ(ParBytes().size(), 1329u + 5u * 5000u);

    const std::string shown = Params(0);
    EXPECT_EQ(shown.rfind("Project Name:" + std::string(22, ' ') + "survey", 0), 0u);
    EXPECT_NE(shown.find("ThreshHold(norm):" + std::string(18, ' ') + "0.001"), std::string::npos);
    EXPECT_NE(shown.find("500"), std::string::npos);
    EXPECT_NE(shown.find("a.asc, b.asc"), std::string::npos);

    const std::string basisOnly = Params(702);
    EXPECT_NE(basisOnly.find("Basis Functions/"), std::string::npos);
    EXPECT_EQ(basisOnly.find("Deconvolution/"), std::string::npos);
}

TEST_F(CommandsTest, SetRefusesUnknownNamesAndBadValuesAndSavesNothing) {
    const std::string before = ParBytes();
    std::ostringstream out;
    EXPECT_EQ(cli::Set(par_, {"703.Threshold=1e-3", "703.Thresh=1"}, out), cli::kUsage);
    EXPECT_EQ(cli::Set(par_, {"702.NumberOfTaus=many"}, out), cli::kUsage);
    EXPECT_EQ(cli::Set(par_, {"799.Threshold=1"}, out), cli::kUsage);
    EXPECT_EQ(cli::Set(par_, {"Threshold"}, out), cli::kUsage);
    EXPECT_EQ(ParBytes(), before);

    const auto errors = platform_.Texts("error");
    ASSERT_GE(errors.size(), 5u);
    EXPECT_EQ(errors[0].rfind("Unknown parameter 703.Thresh. The parameters of 703", 0), 0u);
    EXPECT_NE(errors[0].find("\n  Threshold: a number from"), std::string::npos);
    EXPECT_EQ(errors[1], "Nothing was saved: correct the values above and run the command again.");
    EXPECT_EQ(errors[2].rfind("Refused 702.NumberOfTaus=many: NumberOfTaus takes ", 0), 0u);
    EXPECT_EQ(errors[4].rfind("There is no process 799 with parameters.", 0), 0u);
}

TEST_F(CommandsTest, ParamsOfAMissingOrMisnamedFile) {
    std::ostringstream out;
    EXPECT_EQ(cli::Params(dir_ / "gone.PAR", 0, out), cli::kFailed);
    EXPECT_EQ(cli::Params(dir_ / "system.DSC", 0, out), cli::kFailed);
    EXPECT_EQ(cli::Params(par_, 708, out), cli::kUsage);
    EXPECT_EQ(platform_.Texts("error")[0], "Selected parameter file does not exist.");
}

TEST(TovarnProgram, HelpExitCodesAndMessages) {
    std::string output;
    EXPECT_EQ(RunTovarn("--help", output), 0);
    EXPECT_NE(output.find("A typical session"), std::string::npos);
    for (const char* command : {"new", "params", "set", "run"}) {
        EXPECT_EQ(RunTovarn(std::string(command) + " --help", output), 0) << command;
        EXPECT_NE(output.find("PROJECT.PAR"), std::string::npos) << command;
    }
    EXPECT_EQ(RunTovarn("", output), 2);
    EXPECT_EQ(RunTovarn("frobnicate", output), 2);
    EXPECT_EQ(RunTovarn("params /nonexistent/x.PAR", output), 1);
    EXPECT_EQ(output, "error: Selected parameter file does not exist.\n");
    EXPECT_EQ(RunTovarn("run /nonexistent/x.PAR --only seven", output), 2);
}
