#include "xProjectLock.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "TempFolder.h"
#include "xRecordingPlatform.h"

namespace fs = std::filesystem;

namespace {

// A child process that holds the project's lock until told how to let it go:
// 'r' releases it and exits, 'k' dies with it held.
class LockHolder {
  public:
    explicit LockHolder(const fs::path& par) {
        int up[2], down[2];
        EXPECT_EQ(pipe(up), 0);
        EXPECT_EQ(pipe(down), 0);
        pid_ = fork();
        if (pid_ == 0) {
            close(up[0]);
            close(down[1]);
            xProjectLock lock(par, "tovarn run holder.PAR");
            const char taken = lock.Take() ? 't' : 'f';
            char order = 0;
            if (write(up[1], &taken, 1) != 1 || read(down[0], &order, 1) != 1) _exit(2);
            if (order == 'r') lock.Release();
            _exit(0);
        }
        close(up[1]);
        close(down[0]);
        toChild_ = down[1];
        char taken = 0;
        EXPECT_EQ(read(up[0], &taken, 1), 1);
        EXPECT_EQ(taken, 't');
        close(up[0]);
    }
    ~LockHolder() { End('r'); }
    pid_t Pid() const { return pid_; }
    void End(char order) {
        if (toChild_ < 0) return;
        EXPECT_EQ(write(toChild_, &order, 1), 1);
        close(toChild_);
        toChild_ = -1;
        int status = 0;
        waitpid(pid_, &status, 0);
    }

  private:
    pid_t pid_ = -1;
    int toChild_ = -1;
};

class ProjectLockTest : public xTempFolderTest {
  protected:
    fs::path Par() const { return dir_ / "Proj.PAR"; }
    fs::path LockFile() const { return dir_ / "Proj.lock"; }
    xRecordingPlatform platform_;
};

}  // namespace

TEST_F(ProjectLockTest, ASecondHolderIsRefusedWithTheNameOfTheFirst) {
    EXPECT_EQ(xProjectLock::FileOf(dir_ / "survey.v2.PAR"), dir_ / "survey.lock");
    LockHolder holder(Par());
    const xProjectLock::Holder named = xProjectLock::ReadHolder(LockFile());
    EXPECT_EQ(named.pid, holder.Pid());
    EXPECT_EQ(named.command, "tovarn run holder.PAR");

    xProjectLock second(Par(), "tovarn set Proj.PAR");
    EXPECT_FALSE(second.Take());
    EXPECT_EQ(platform_.Texts("error"),
              std::vector<std::string>{
                  "The project is in use by process " + std::to_string(holder.Pid()) +
                  " (tovarn run holder.PAR), which holds " + LockFile().string() + "."});

    holder.End('r');
    EXPECT_FALSE(fs::exists(LockFile()));
    EXPECT_TRUE(second.Take());
    EXPECT_EQ(xProjectLock::ReadHolder(LockFile()).pid, getpid());
    second.Release();
    EXPECT_FALSE(fs::exists(LockFile()));
    EXPECT_TRUE(platform_.Texts("note").empty());
}

TEST_F(ProjectLockTest, TheLockOfADeadHolderIsTakenOverWithANote) {
    LockHolder holder(Par());
    const pid_t dead = holder.Pid();
    holder.End('k');
    ASSERT_TRUE(fs::exists(LockFile()));  // its name is still in it
    {
        xProjectLock lock(Par(), "tovarn run Proj.PAR");
        EXPECT_TRUE(lock.Take());
        EXPECT_EQ(platform_.Texts("note"),
                  std::vector<std::string>{"The lock Proj.lock of process " + std::to_string(dead) +
                                           " (tovarn run holder.PAR), which is no longer "
                                           "running, was taken over."});
        EXPECT_EQ(xProjectLock::ReadHolder(LockFile()).command, "tovarn run Proj.PAR");
    }
    EXPECT_FALSE(fs::exists(LockFile()));  // released when it goes out of scope
}

TEST_F(ProjectLockTest, AWaiterTakesTheLockOnceItsHolderLetsGoOrGivesUp) {
    LockHolder holder(Par());
    xProjectLock waiter(Par(), "tovarn run Proj.PAR");
    EXPECT_FALSE(waiter.Wait([] { return true; }, 1));
    EXPECT_EQ(platform_.Texts("note").size(), 1u);

    int looks = 0;
    EXPECT_TRUE(waiter.Wait(
        [&] {
            if (++looks == 2) holder.End('r');
            return false;
        },
        1));
    EXPECT_GE(looks, 2);
    EXPECT_TRUE(platform_.Texts("error").empty());
}
