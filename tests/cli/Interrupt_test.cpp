// A run stopped by a signal, as a user or a batch system stops it: the program
// is a child of the test, the signal is sent once the deconvolution has begun.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <thread>

#include "TempFolder.h"
#include "TovarnProgram.h"

namespace fs = std::filesystem;

namespace {

class InterruptTest : public xWorkFolderTest {
  protected:
    // A survey long enough that its deconvolution takes seconds, run once whole.
    // The survey file is named from the project's folder: the list's names are short.
    void SetUp() override {
        xWorkFolderTest::SetUp();
        const std::string dsc =
            std::string(TOVARN_SOURCE_DIR) + "/examples/tempest-frome2010/TEMPEST.DSC";
        std::string output;
        ASSERT_EQ(RunTovarn("synth " + dsc +
                                " --model 100:30,1000 --lines 20 --line-length 100000 --spacing 10"
                                " --altitude 120 --out " +
                                (dir_ / "syn").string(),
                            output),
                  0)
            << output;
        ASSERT_EQ(RunTovarn("new " + (dir_ / "s.PAR").string() + " --descriptor " + dsc, output),
                  0);
        ASSERT_EQ(
            RunTovarn("set " + (dir_ / "s.PAR").string() + " 701.Files=syn/TEMPEST_synthetic.asc",
                      output),
            0);
        ASSERT_EQ(RunTovarn("run " + (dir_ / "s.PAR").string() + " --only 701,702,703", output), 0)
            << output;
    }
};

TEST_F(InterruptTest, ASignalStopsTheRunAndKeepsTheLastCompleteFiles) {
    const std::string amp = Slurp(dir_ / "s.AMP"), bin = Slurp(dir_ / "s.BIN");
    for (int signal : {SIGTERM, SIGINT}) {
        const fs::path log = dir_ / "run.log";
        fs::remove(log);  // the last run's words must not start this one's signal
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            const std::string par = (dir_ / "s.PAR").string();
            freopen(log.c_str(), "w", stderr);
            execl(TOVARN_BINARY, "tovarn", "run", par.c_str(), "--only", "701,702,703", nullptr);
            _exit(127);
        }
        // Sent once the deconvolution says it has begun.
        for (int i = 0; i < 600 && Slurp(log).find("Deconvolving") == std::string::npos; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        kill(child, signal);
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFEXITED(status)) << Slurp(log);
        EXPECT_EQ(WEXITSTATUS(status), 128 + signal) << Slurp(log);
        EXPECT_EQ(Slurp(dir_ / "s.AMP"), amp);
        EXPECT_EQ(Slurp(dir_ / "s.BIN"), bin);
        for (const auto& entry : fs::directory_iterator(dir_))
            EXPECT_EQ(entry.path().string().find(".part-"), std::string::npos) << entry.path();
    }
}

}  // namespace
