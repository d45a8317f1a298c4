#include "xPendingFile.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>

#include "TempFolder.h"
#include "xRecordingPlatform.h"

namespace fs = std::filesystem;

namespace {

class xPendingFileTest : public xTempFolderTest {
  protected:
    // Files of the folder other than those named: a temporary left behind.
    std::vector<std::string> Leftovers(const std::vector<std::string>& expected) const {
        std::vector<std::string> left;
        for (const auto& entry : fs::directory_iterator(dir_)) {
            const std::string name = entry.path().filename().string();
            if (std::find(expected.begin(), expected.end(), name) == expected.end())
                left.push_back(name);
        }
        return left;
    }
    xRecordingPlatform platform_;
};

TEST_F(xPendingFileTest, TheOldFileStaysUntilTheNewOneIsCommitted) {
    const fs::path target = Put("S.AMP", "old");
    {
        xOutputFile out(target);
        out.Stream() << "new";
        EXPECT_EQ(Slurp(target), "old");
        EXPECT_EQ(Leftovers({"S.AMP"}).size(), 1u);  // the temporary beside it
    }
    EXPECT_EQ(Slurp(target), "old") << "dropped without a commit";
    EXPECT_TRUE(Leftovers({"S.AMP"}).empty());

    xOutputFile out(target);
    out.Stream() << "new";
    EXPECT_TRUE(out.Commit());
    EXPECT_EQ(Slurp(target), "new");
    EXPECT_TRUE(Leftovers({"S.AMP"}).empty());
    EXPECT_TRUE(platform_.messages.empty());
}

TEST_F(xPendingFileTest, AFolderThatCannotBeWrittenIsRefusedAtOpen) {
    xOutputFile out;
    EXPECT_FALSE(out.Open(dir_ / "no" / "S.AMP"));
    EXPECT_FALSE(out.Commit());
    EXPECT_TRUE(platform_.messages.empty()) << "the caller says so in its own words";
}

// A file size limit stands in for a full disk: the write fails with EFBIG
// once SIGXFSZ is ignored. The limit is set in a child so that the suite
// keeps its own.
TEST_F(xPendingFileTest, AFailedWriteIsReportedWithTheSystemsReasonAndTheOldFileStays) {
    const fs::path target = Put("S.BIN", "old");
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{4096, 4096};
        setrlimit(RLIMIT_FSIZE, &limit);
        xRecordingPlatform platform;
        xOutputFile out(target);
        out.Stream() << std::string(100000, 'x');
        const bool refused = !out.Commit();
        const bool told =
            platform.Texts("error") ==
            std::vector<std::string>{"Cannot write " + target.string() + ": File too large."};
        _exit(refused && told ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0) << "refused, with the file's name and the reason";
    EXPECT_EQ(Slurp(target), "old");
    EXPECT_TRUE(Leftovers({"S.BIN"}).empty());
}

// A run killed outright leaves its temporary; the next writer of the same
// target clears it once its process is gone, never one of a live process nor
// one of another target.
TEST_F(xPendingFileTest, ATemporaryOfADeadRunIsRemovedByTheNextWriter) {
    const pid_t dead = fork();
    ASSERT_GE(dead, 0);
    if (dead == 0) _exit(0);
    int status = 0;
    ASSERT_EQ(waitpid(dead, &status, 0), dead);
    const std::string part = ".part-" + std::to_string(dead);
    const std::string live = ".part-" + std::to_string(getppid());
    Put("S.AMP", "old");
    Put("S.AMP" + part, "half");
    Put("S.AMP" + live, "being written");
    Put("S.BIN" + part, "another target");
    Put("S.AMP.part-x1", "not a temporary");

    xOutputFile out(dir_ / "S.AMP");
    out.Stream() << "new";
    ASSERT_TRUE(out.Commit());
    EXPECT_EQ(Slurp(dir_ / "S.AMP"), "new");
    EXPECT_FALSE(fs::exists(dir_ / ("S.AMP" + part)));
    std::vector<std::string> left = Leftovers({"S.AMP"});
    std::sort(left.begin(), left.end());
    EXPECT_EQ(left, (std::vector<std::string>{"S.AMP" + live, "S.AMP.part-x1", "S.BIN" + part}));
    EXPECT_EQ(platform_.Texts("note"),
              std::vector<std::string>{"Removed " + (dir_ / ("S.AMP" + part)).string() +
                                       ", left by an interrupted run."});
}

}  // namespace
