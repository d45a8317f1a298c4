#pragma once
// The control word of a numerical engine and its line back to the process that
// runs it. Buttons and commands set the flags while the engine works, from
// inside the yield of its own loop; the engine reads them once per record.

#include <cstdint>
#include <string>

class xProcessState;

// Where an engine's progress goes: the process that runs it. The process knows
// its running engine, to pass Stop on, and hears when it is destroyed, so that
// Stop never reaches a dead engine.
class xProgressSink {
  public:
    virtual ~xProgressSink() = default;
    virtual void SetRange(long maximum) = 0;
    virtual void Advance(long steps) = 0;
    virtual void SetStatus(const std::string& text) = 0;
    virtual void SetTitle(const std::string& text) = 0;
    virtual void SetEngine(xProcessState* engine) = 0;
    virtual void EngineGone(const xProcessState* engine) = 0;
};

class xProcessState {
  public:
    enum Flag : std::uint32_t {
        Stop = 0x01,
        Pause = 0x02,
        StepForward = 0x04,
        StepBackward = 0x08,
        Continue = 0x10,
        Reprocess = 0x20,
    };
    static constexpr std::uint32_t AllFlags = 0x3f;

    explicit xProcessState(xProgressSink* owner = nullptr) : owner_(owner) {}
    virtual ~xProcessState();
    xProcessState(const xProcessState&) = delete;
    xProcessState& operator=(const xProcessState&) = delete;

    std::uint32_t Flags() const { return flags_; }
    // True when any of the bits is set.
    bool IsSet(std::uint32_t bits) const { return (flags_ & bits) != 0; }
    // Bits outside the six flags are ignored. Pause and Continue exclude each
    // other, so do the two steps; when both of a pair come at once the higher
    // bit wins.
    void SetFlag(std::uint32_t bits);
    void ClearFlag(std::uint32_t bits) { flags_ &= ~bits; }

    xProgressSink* Owner() const { return owner_; }
    void SetOwner(xProgressSink* owner) { owner_ = owner; }

    // Reports go to the owning process's progress; without one they are dropped,
    // but Advance still yields so that commands get in.
    void SetRange(long maximum);
    void Advance(long steps = 1);
    void SetStatus(const std::string& text);
    void SetTitle(const std::string& text);

    // Called before each record with the record counter (starting at 1). Answers
    // 0 when the engine must leave its loop, 1 to go on with the record the
    // counter now names. While paused it waits here, yielding, for a command.
    int NextRecord(long& counter);

  private:
    std::uint32_t flags_ = Continue;
    xProgressSink* owner_;
};
