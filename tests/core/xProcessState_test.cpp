#include "xProcessState.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

#include "xObject.h"
#include "xRecordingPlatform.h"

namespace {

class xBareProcess : public xObject {
  public:
    xBareProcess() : xObject(703, "Deconvolution/") {}
    void Execute(int) override {}
    void Dialog(int, int) override {}
};

const std::string kFirstRecord = "Can't step backwards. This is the first record of the line.";

}  // namespace

TEST(xProcessStateTest, SetterKeepsPauseContinueAndTheStepsExclusive) {
    xRecordingPlatform platform;
    platform.yieldLimit = 1000;
    xProcessState state;
    EXPECT_EQ(state.Flags(), xProcessState::Continue);

    state.SetFlag(xProcessState::Pause | 0x100);  // foreign bits are ignored
    EXPECT_EQ(state.Flags(), xProcessState::Pause);
    state.SetFlag(xProcessState::Continue);
    EXPECT_EQ(state.Flags(), xProcessState::Continue);

    state.SetFlag(xProcessState::StepForward);
    state.SetFlag(xProcessState::StepBackward);
    EXPECT_EQ(state.Flags(), xProcessState::Continue | xProcessState::StepBackward);
    state.SetFlag(xProcessState::StepForward | xProcessState::Reprocess);
    EXPECT_EQ(state.Flags(),
              xProcessState::Continue | xProcessState::StepForward | xProcessState::Reprocess);

    // Both of a pair at once: never both set afterwards.
    state.SetFlag(xProcessState::Pause | xProcessState::Continue);
    EXPECT_NE(state.IsSet(xProcessState::Pause), state.IsSet(xProcessState::Continue));
    state.SetFlag(xProcessState::StepForward | xProcessState::StepBackward);
    EXPECT_NE(state.IsSet(xProcessState::StepForward), state.IsSet(xProcessState::StepBackward));
}

TEST(xProcessStateTest, RunningEngineAdvancesUntilStop) {
    xRecordingPlatform platform;
    platform.yieldLimit = 1000;
    xBareProcess process;
    xProcessState state(&process);
    process.SetRange(10);
    long counter = 1;
    EXPECT_EQ(state.NextRecord(counter), 1);
    EXPECT_EQ(state.NextRecord(counter), 1);
    EXPECT_EQ(counter, 3);
    EXPECT_EQ(process.Position(), 2);
    EXPECT_GE(platform.yields, 2);

    // Stop arrives during the yield at the head of the step.
    platform.onYield = [&](long) { state.SetFlag(xProcessState::Stop); };
    EXPECT_EQ(state.NextRecord(counter), 0);
    EXPECT_EQ(counter, 3);
    EXPECT_EQ(process.Position(), 2);
    EXPECT_TRUE(platform.messages.empty());
}

TEST(xProcessStateTest, PausedEngineWaitsThenStepsForwardAndStaysPaused) {
    xRecordingPlatform platform;
    platform.yieldLimit = 1000;
    xBareProcess process;
    xProcessState state(&process);
    process.SetRange(100);
    process.Advance(3);
    state.SetFlag(xProcessState::Pause);
    long counter = 4;

    // The step comes at the fifth yield: the engine must have waited for it.
    const long start = platform.yields;
    platform.onYield = [&](long n) {
        if (n == start + 5) state.SetFlag(xProcessState::StepForward);
    };
    ASSERT_EQ(state.NextRecord(counter), 1);
    EXPECT_GE(platform.yields, start + 5);
    EXPECT_EQ(counter, 5);
    EXPECT_EQ(process.Position(), 4);
    EXPECT_EQ(state.Flags(), xProcessState::Pause);

    // Still paused: the next call waits again, now for Continue.
    const long before = platform.yields;
    platform.onYield = [&](long n) {
        if (n == before + 3) state.SetFlag(xProcessState::Continue);
    };
    ASSERT_EQ(state.NextRecord(counter), 1);
    EXPECT_GE(platform.yields, before + 3);
    EXPECT_EQ(counter, 6);
    EXPECT_EQ(process.Position(), 5);
    EXPECT_EQ(state.Flags(), xProcessState::Continue);
}

TEST(xProcessStateTest, ReprocessKeepsTheRecordAndStopEndsThePause) {
    xRecordingPlatform platform;
    platform.yieldLimit = 1000;
    xProcessState state;
    state.SetFlag(xProcessState::Pause);
    long counter = 7;
    platform.onYield = [&](long n) {
        if (n == 2) state.SetFlag(xProcessState::Reprocess);
    };
    ASSERT_EQ(state.NextRecord(counter), 1);
    EXPECT_EQ(counter, 7);
    EXPECT_EQ(state.Flags(), xProcessState::Pause);

    const long before = platform.yields;
    platform.onYield = [&](long n) {
        if (n == before + 4) state.SetFlag(xProcessState::Stop);
    };
    EXPECT_EQ(state.NextRecord(counter), 0);
    EXPECT_EQ(counter, 7);
}

TEST(xProcessStateTest, StepBackwardStopsAtTheFirstRecordWithANote) {
    xRecordingPlatform platform;
    platform.yieldLimit = 1000;
    xBareProcess process;
    xProcessState state(&process);
    process.SetRange(50);
    process.Advance(4);
    state.SetFlag(xProcessState::Pause);

    long counter = 5;
    state.SetFlag(xProcessState::StepBackward);
    ASSERT_EQ(state.NextRecord(counter), 1);
    EXPECT_EQ(counter, 4);
    EXPECT_EQ(process.Position(), 3);
    EXPECT_TRUE(platform.messages.empty());
    EXPECT_TRUE(state.IsSet(xProcessState::Pause));

    counter = 2;
    state.SetFlag(xProcessState::StepBackward);
    ASSERT_EQ(state.NextRecord(counter), 1);
    EXPECT_EQ(counter, 1);
    EXPECT_EQ(platform.Texts("note"), std::vector<std::string>{kFirstRecord});

    state.SetFlag(xProcessState::StepBackward);
    ASSERT_EQ(state.NextRecord(counter), 1);
    EXPECT_EQ(counter, 1);
    EXPECT_EQ(platform.Texts("note"), (std::vector<std::string>{kFirstRecord, kFirstRecord}));
    EXPECT_EQ(state.Flags(), xProcessState::Pause);
}
