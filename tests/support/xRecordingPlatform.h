#pragma once
// The platform of the tests: records every box with its kind and text, answers
// questions from a script (first caption when the script is empty), and installs
// itself for its lifetime.

#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "xPlatform.h"

struct xRecordedMessage {
    std::string kind;  // "error", "warning", "note", "fatal", "question"
    std::string text;
    bool operator==(const xRecordedMessage&) const = default;
};

class xRecordingPlatform final : public xPlatform {
  public:
    xRecordingPlatform();
    ~xRecordingPlatform() override;
    xRecordingPlatform(const xRecordingPlatform&) = delete;
    xRecordingPlatform& operator=(const xRecordingPlatform&) = delete;

    void Error(const std::string& text) override { Record("error", text); }
    void Warning(const std::string& text) override { Record("warning", text); }
    void Note(const std::string& text) override { Record("note", text); }
    int Question(const std::string& text, const std::vector<std::string>& captions) override;
    std::optional<std::filesystem::path> FileBox(const std::string& title,
                                                 const std::string& pattern,
                                                 bool forSaving) override;
    void ProgressOpen(const std::string& title) override { progress.push_back("open " + title); }
    void ProgressStatus(const std::string& text) override { progress.push_back("status " + text); }
    void ProgressRange(long low, long high) override;
    void ProgressAdvance(long position) override { lastProgress = position; }
    void ProgressClose() override { progress.push_back("close"); }
    // Commands reach an engine only from inside a yield: onYield plays them, as
    // the buttons of a progress window would. A wait that nothing ends would
    // hang the suite, so more than yieldLimit yields throw.
    void Yield() override;

    // Messages of one kind, in order.
    std::vector<std::string> Texts(const std::string& kind) const;
    bool Saw(const std::string& kind, const std::string& text) const;

    std::vector<xRecordedMessage> messages;
    std::vector<std::string> progress;
    std::deque<int> answers;                                 // indices handed to Question in turn
    std::deque<std::optional<std::filesystem::path>> files;  // handed to FileBox in turn
    long lastProgress = 0;
    long yields = 0;
    std::function<void(long)> onYield;
    long yieldLimit = 100000;

  protected:
    void ShowFatal(const std::string& text) override { Record("fatal", text); }

  private:
    void Record(const std::string& kind, const std::string& text);
    xPlatform* previous_;
};
