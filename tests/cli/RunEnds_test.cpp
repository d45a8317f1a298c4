// How a command ends when it cannot go on: a record the user terminates at, a
// process with nothing to read, a stop signal to a dump or an export, an
// output with no room left. The program runs as a child of the test on a
// small synthetic project.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <vector>

#include "TempFolder.h"
#include "TovarnProgram.h"

namespace fs = std::filesystem;

namespace {

const std::string kDescriptor =
    std::string(TOVARN_SOURCE_DIR) + "/examples/tempest-frome2010/TEMPEST.DSC";

class RunEndsTest : public xWorkFolderTest {
  protected:
    // Two lines of 101 records. The survey file is named from the project's
    // folder: the list's names are short.
    void SetUp() override {
        xWorkFolderTest::SetUp();
        par_ = (dir_ / "s.PAR").string();
        ASSERT_EQ(Tovarn("synth " + kDescriptor +
                         " --model 100:30,1000 --lines 2 --line-length 1000 --spacing 10"
                         " --altitude 120 --out syn"),
                  0)
            << output_;
        ASSERT_EQ(Tovarn("new " + par_ + " --descriptor " + kDescriptor), 0) << output_;
    }
    int Tovarn(const std::string& arguments) { return RunTovarn(arguments, output_); }
    bool Said(const std::string& text) const { return output_.find(text) != std::string::npos; }
    void ImportAndDeconvolve() {
        ASSERT_EQ(Tovarn("set " + par_ + " 701.Files=" + kSurvey), 0) << output_;
        ASSERT_EQ(Tovarn("run " + par_ + " --only 701,702,703"), 0) << output_;
    }
    void ExpectNoTemporaries() const {
        for (const auto& entry : fs::directory_iterator(dir_))
            EXPECT_EQ(entry.path().string().find(".part-"), std::string::npos) << entry.path();
    }

    const std::string kSurvey = "syn/TEMPEST_synthetic.asc";
    std::string par_, output_;
};

// The stop signal is already pending when the program starts (blocked in the
// child before exec), so it lands at the first yield of the walk, once the
// output is open: the same on any machine, however fast.
int StoppedTovarn(const std::vector<std::string>& arguments, const fs::path& log) {
    const pid_t child = fork();
    if (child < 0) return -1;
    if (child == 0) {
        sigset_t term;
        sigemptyset(&term);
        sigaddset(&term, SIGTERM);
        sigprocmask(SIG_BLOCK, &term, nullptr);
        kill(getpid(), SIGTERM);
        freopen(log.c_str(), "w", stderr);
        freopen("/dev/null", "w", stdout);
        std::vector<char*> argv{const_cast<char*>("tovarn")};
        for (const auto& a : arguments) argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        execv(TOVARN_BINARY, argv.data());
        _exit(127);
    }
    int status = 0;
    if (waitpid(child, &status, 0) != child || !WIFEXITED(status)) return -1;
    return WEXITSTATUS(status);
}

}  // namespace

TEST_F(RunEndsTest, TerminatingAtABadRecordEndsTheRunAndTheChain) {
    ImportAndDeconvolve();
    const std::string bin = Slurp(dir_ / "s.BIN");
    fs::remove(dir_ / "s.AMP");
    // The FID of a record of the second line no longer reads as a number.
    std::string survey = Slurp(kSurvey);
    const std::size_t fid = survey.find(" 10020 251 ");
    ASSERT_NE(fid, std::string::npos);
    survey.insert(fid + 7, "x");
    Put(kSurvey, survey);

    // Terminate is the console's answer.
    EXPECT_EQ(Tovarn("run " + par_ + " --only 701,702,703"), 1) << output_;
    EXPECT_TRUE(Said("Found an ASCII value that cannot be interpreted..")) << output_;
    EXPECT_TRUE(Said("The conversion is not completed: s.BIN was left as it was.")) << output_;
    EXPECT_FALSE(Said("Deconvolving")) << output_;
    EXPECT_EQ(Slurp(dir_ / "s.BIN"), bin);
    EXPECT_FALSE(fs::exists(dir_ / "s.AMP"));
    // The report of the ended run takes the last one's place and says why it ended.
    EXPECT_NE(Slurp(dir_ / "s.err").find("Fatal Error in file " + (dir_ / kSurvey).string()),
              std::string::npos)
        << Slurp(dir_ / "s.err");
}

TEST_F(RunEndsTest, AProcessThatCannotRunEndsTheChain) {
    // Neither a survey file nor an earlier BIN: the import has nothing to do.
    EXPECT_EQ(Tovarn("run " + par_ + " --only 701,702"), 1) << output_;
    EXPECT_TRUE(Said("WARNING: File \"s.BIN\" does not exist.")) << output_;
    EXPECT_FALSE(fs::exists(dir_ / "s.AOT"));

    ASSERT_EQ(Tovarn("run " + par_ + " --only 702"), 0) << output_;
    EXPECT_EQ(Tovarn("run " + par_ + " --only 703,704"), 1) << output_;
    EXPECT_TRUE(Said("There are no input file(s) for Deconvolution/.")) << output_;
    EXPECT_FALSE(fs::exists(dir_ / "s.CND"));
}

TEST_F(RunEndsTest, AStoppedDumpOrExportKeepsTheOlderOutput) {
    ImportAndDeconvolve();
    ASSERT_EQ(Tovarn("run " + par_ + " --only 704"), 0) << output_;
    const fs::path log = dir_ / "stop.log";
    const std::vector<std::vector<std::string>> commands = {
        {"dump", "s.BIN", "--out", "s.txt"},
        {"dump", "s.AMP", "--pattern", "amp.AFF", "--out", "s.txt"},
        {"cdi", "export", "s.CND", "--format", "simple-xyz", "--out", "s.txt"},
    };
    for (const auto& command : commands) {
        Put("s.txt", "older");
        EXPECT_EQ(StoppedTovarn(command, log), 128 + SIGTERM) << command[1] << Slurp(log);
        EXPECT_EQ(Slurp(dir_ / "s.txt"), "older") << command[1];
        ExpectNoTemporaries();
    }
}

// A listing that cannot be written is a failed command, not a silent success.
TEST_F(RunEndsTest, ShowingCommandsFailOnAFullOutput) {
    ImportAndDeconvolve();
    const std::string full = "Cannot write the standard output: No space left on device.";
    for (const std::string& command : {"params " + par_, "descriptor show " + kDescriptor,
                                       "fit " + par_ + " --line 10020 --record 5"}) {
        EXPECT_EQ(
            RunShell(std::string(TOVARN_BINARY) + " " + command + " 2>&1 >/dev/full", output_), 1)
            << command << '\n'
            << output_;
        EXPECT_TRUE(Said(full)) << command << '\n' << output_;
    }
}

// A damaged basis is named with the place its reader stopped at.
TEST_F(RunEndsTest, AFitOnADamagedBasisSaysWhereItStopped) {
    ImportAndDeconvolve();
    const std::string basis = Slurp(dir_ / "s.AOT");
    Put("s.AOT", basis.substr(0, basis.size() / 2));
    EXPECT_EQ(Tovarn("fit " + par_ + " --line 10020 --record 5"), 1) << output_;
    EXPECT_TRUE(Said("s.AOT cannot be read:")) << output_;
    EXPECT_TRUE(Said("expected more values, found the end of the file")) << output_;
    EXPECT_TRUE(Said("Run 702 (Basis Functions) again.")) << output_;
}
