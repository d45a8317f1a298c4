#pragma once
// The engine's only window on the person at the screen. Message boxes, questions,
// file boxes, progress and the yield point all pass through the platform that the
// front end installs; the engine itself never prints, never exits.

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

// Thrown by xPlatform::Fatal after the box is shown: the run ends and the front
// end catches it. Nothing below the front end should swallow it.
class xFatalError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

class xPlatform {
  public:
    virtual ~xPlatform() = default;

    virtual void Error(const std::string& text) = 0;
    virtual void Warning(const std::string& text) = 0;
    virtual void Note(const std::string& text) = 0;
    // Shows the fatal box, then throws xFatalError with the same text.
    [[noreturn]] void Fatal(const std::string& text);

    // Up to three captions; answers the index of the one chosen.
    virtual int Question(const std::string& text, const std::vector<std::string>& captions) = 0;
    // A path, or nothing when the user cancels.
    virtual std::optional<std::filesystem::path> FileBox(const std::string& title,
                                                         const std::string& pattern,
                                                         bool forSaving) = 0;

    virtual void ProgressOpen(const std::string& title) = 0;
    virtual void ProgressStatus(const std::string& text) = 0;
    virtual void ProgressRange(long low, long high) = 0;
    virtual void ProgressAdvance(long position) = 0;
    virtual void ProgressClose() = 0;

    // Where a long loop lets commands in (stop, pause, step).
    virtual void Yield() = 0;
    // True once the person asked the whole run to end (a signal, the window
    // closed): walks that have no process to stop leave at their next yield.
    virtual bool Interrupted() const { return false; }

    virtual std::chrono::system_clock::time_point Now() const;
    virtual std::uintmax_t FreeDiskSpace(const std::filesystem::path& where) const;

  protected:
    virtual void ShowFatal(const std::string& text) = 0;
};

// The platform in force. Until a front end installs one, a silent platform
// answers every question with its first caption and drops every message.
xPlatform& Platform();
// Installs a platform (not owned) and answers the one it replaced; nullptr
// restores the silent one.
xPlatform* SetPlatform(xPlatform* platform);
