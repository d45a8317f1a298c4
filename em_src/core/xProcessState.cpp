#include "xProcessState.h"

#include "xPlatform.h"

xProcessState::~xProcessState() {
    // A process must not send Stop to an engine that is gone.
    if (owner_) owner_->EngineGone(this);
}

void xProcessState::SetFlag(std::uint32_t bits) {
    bits &= AllFlags;
    for (std::uint32_t bit = 1; bit <= bits; bit <<= 1) {
        if (!(bits & bit)) continue;
        if (bit == Pause) flags_ &= ~Continue;
        if (bit == Continue) flags_ &= ~Pause;
        if (bit == StepForward) flags_ &= ~StepBackward;
        if (bit == StepBackward) flags_ &= ~StepForward;
        flags_ |= bit;
    }
}

void xProcessState::SetRange(long maximum) {
    if (owner_) owner_->SetRange(maximum);
}

void xProcessState::Advance(long steps) {
    if (owner_)
        owner_->Advance(steps);
    else
        Platform().Yield();
}

void xProcessState::SetStatus(const std::string& text) {
    if (owner_) owner_->SetStatus(text);
}

void xProcessState::SetTitle(const std::string& text) {
    if (owner_) owner_->SetTitle(text);
}

int xProcessState::NextRecord(long& counter) {
    Platform().Yield();
    if (IsSet(Stop)) return 0;
    if (IsSet(Pause)) {
        // No sleep: the yield is where the buttons get to set the next command.
        while (!IsSet(StepForward | StepBackward | Continue | Reprocess | Stop)) Platform().Yield();
        if (IsSet(Stop)) return 0;
    }
    if (IsSet(StepForward)) {
        ClearFlag(StepForward);
        ++counter;
        Advance(1);
        return 1;
    }
    if (IsSet(StepBackward)) {
        ClearFlag(StepBackward);
        --counter;
        Advance(-1);
        if (counter < 2) {
            counter = 1;
            Platform().Note("Can't step backwards. This is the first record of the line.");
        }
        return 1;
    }
    if (IsSet(Continue)) {
        ClearFlag(Pause);
        ++counter;
        Advance(1);
        return 1;
    }
    if (IsSet(Reprocess)) {
        ClearFlag(Reprocess);
        return 1;
    }
    ++counter;
    Advance(1);
    return 1;
}
