#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>

#include "../store/SurveyFiles.h"
#include "Commands.h"
#include "xRecordingPlatform.h"

namespace fs = std::filesystem;

namespace {

class DumpCommandTest : public ::testing::Test {
  protected:
    void SetUp() override {
        dir_ = fs::temp_directory_path() /
               ("tovarn_dump_" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) +
                "_" + ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::create_directories(dir_);
        bin_ = dir_ / "S.BIN";
        WriteSurvey(bin_, {{10, {{100, 1}, {101, 2}}}, {20, {{200, 3}}}});
    }
    void TearDown() override { fs::remove_all(dir_); }

    static std::string Slurp(const fs::path& path) {
        std::ifstream in(path);
        std::stringstream s;
        s << in.rdbuf();
        return s.str();
    }
    static std::size_t Count(const std::string& text, const std::string& what) {
        std::size_t n = 0;
        for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
        return n;
    }

    fs::path dir_;
    fs::path bin_;
    xRecordingPlatform platform_;
};

// The program with its standard output in out; standard error is dropped.
int Tovarn(const std::string& arguments, std::string& out) {
    const std::string command = std::string(TOVARN_BINARY) + " " + arguments + " 2>/dev/null";
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return -1;
    char buffer[4096];
    out.clear();
    while (std::size_t n = fread(buffer, 1, sizeof buffer, pipe)) out.append(buffer, n);
    const int status = pclose(pipe);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

TEST_F(DumpCommandTest, LinesSelectAndOutGoesToTheFileOnly) {
    std::ostringstream all, one, none;
    ASSERT_EQ(cli::Dump(bin_, "", "", "", all), cli::kSuccess);
    EXPECT_EQ(Count(all.str(), "//Line     : "), 2u);

    ASSERT_EQ(cli::Dump(bin_, " 20 ", "", "", one), cli::kSuccess);
    EXPECT_EQ(Count(one.str(), "//Line     : "), 1u);
    EXPECT_NE(one.str().find("//Line     : 20\n"), std::string::npos);
    EXPECT_NE(one.str().find(std::string(11, ' ') + "200" + std::string(13, ' ') + "3"),
              std::string::npos);

    ASSERT_EQ(cli::Dump(bin_, "20", "", dir_ / "S.txt", none), cli::kSuccess);
    EXPECT_EQ(none.str(), "");
    EXPECT_EQ(Slurp(dir_ / "S.txt"), one.str());
    EXPECT_TRUE(platform_.messages.empty());
}

TEST_F(DumpCommandTest, BadLinesMissingFilesAndUnwritableOutput) {
    std::ostringstream out;
    EXPECT_EQ(cli::Dump(bin_, "10,x", "", "", out), cli::kUsage);
    EXPECT_EQ(cli::Dump(bin_, "10,30", "", "", out), cli::kUsage);
    EXPECT_EQ(cli::Dump(bin_, "", "", dir_ / "no" / "such" / "dir.txt", out), cli::kFailed);
    EXPECT_EQ(platform_.Texts("error"),
              (std::vector<std::string>{
                  "--lines wants line numbers separated by commas, e.g. 10010,22810, not "
                  "\"10,x\".",
                  "Line 30 is not in " + bin_.string() + "; its lines are 10, 20.",
                  "Cannot open ASCII file"}));
    EXPECT_EQ(out.str(), "");
    EXPECT_EQ(cli::Dump(dir_ / "none.BIN", "", "", "", out), cli::kFailed);
}

TEST_F(DumpCommandTest, MissingPatternIsWrittenWithTheDefaultAndUsed) {
    const fs::path aff = dir_ / "S_BIN.AFF";
    std::ostringstream out;
    ASSERT_EQ(cli::Dump(bin_, "10", aff, "", out), cli::kSuccess);
    EXPECT_EQ(Slurp(aff).substr(0, 22), "0 14f6 FID\n1 14f6 East");
    EXPECT_EQ(platform_.Texts("note").size(), 1u);
    EXPECT_NE(out.str().find("Line     10\n    100.000000\t      1.000000\t"), std::string::npos);

    std::ofstream(aff) << "0 5q FID\n";
    EXPECT_EQ(cli::Dump(bin_, "", aff, "", out), cli::kFailed);
    EXPECT_TRUE(platform_.Saw("error", "Wrong format definition <5q>"));
}

TEST_F(DumpCommandTest, ProgramWritesNothingOnStdoutWithOut) {
    std::string out;
    EXPECT_EQ(Tovarn("dump " + bin_.string() + " --out " + (dir_ / "S.txt").string(), out), 0);
    EXPECT_EQ(out, "");
    EXPECT_EQ(Slurp(dir_ / "S.txt").rfind("/___", 0), 0u);
    EXPECT_EQ(Tovarn("dump " + bin_.string() + " --lines 20", out), 0);
    EXPECT_NE(out.find("//Line     : 20"), std::string::npos);
    EXPECT_EQ(Tovarn("dump " + bin_.string() + " --lines ten", out), cli::kUsage);
    EXPECT_EQ(Tovarn("dump --help", out), 0);
    EXPECT_NE(out.find("--pattern"), std::string::npos);
    EXPECT_NE(out.find("--lines"), std::string::npos);
}
