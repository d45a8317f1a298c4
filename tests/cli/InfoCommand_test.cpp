#include <gtest/gtest.h>

#include <sstream>

#include "../store/SurveyFiles.h"
#include "Commands.h"
#include "NewProjectTest.h"
#include "TempFolder.h"
#include "TovarnProgram.h"
#include "xProjectContext.h"
#include "xRecordingPlatform.h"

namespace fs = std::filesystem;

namespace {

using InfoCommandTest = xNewProjectTest;

}  // namespace

TEST_F(InfoCommandTest, MakesTheDatabaseFromTheBinFileAndShowsItsTables) {
    std::ostringstream out;
    EXPECT_EQ(cli::Info(par_, "", out), cli::kFailed);
    EXPECT_EQ(platform_.Texts("error"),
              std::vector<std::string>{"There is no survey file " + (dir_ / "survey.BIN").string() +
                                       ": run 701 (ASCII->Binary) first."});

    WriteSurvey(dir_ / "survey.BIN",
                {{30, {{1, 10, 20, 0, 50, 0}}}, {40, {{2, 11, 21, 0, 60, 5}}}});
    platform_.messages.clear();
    ASSERT_EQ(cli::Info(par_, "", out), cli::kSuccess);
    EXPECT_EQ(platform_.Texts("note"),
              std::vector<std::string>{"The survey database survey.SDB is missing or damaged; it "
                                       "is made again from survey.BIN."});
    const std::string all = out.str();
    EXPECT_EQ(all.rfind("Survey \tsurvey\n", 0), 0u) << all;
    EXPECT_NE(all.find("\nLine 30\n"), std::string::npos);
    EXPECT_NE(all.find("\nLine 40\n"), std::string::npos);

    std::string output;
    ASSERT_EQ(RunTovarn("info " + par_.string() + " --line 40", output), 0) << output;
    EXPECT_EQ(output.rfind("Line 40\nPARAMETER", 0), 0u) << output;
    EXPECT_NE(output.find("Altitude    \t          60.0\t          60.0\n"), std::string::npos);
    EXPECT_EQ(RunTovarn("info " + par_.string() + " --line 41", output), 1);
    EXPECT_NE(output.find("Node 41 is not among the children"), std::string::npos) << output;
}
