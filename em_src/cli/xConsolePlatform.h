#pragma once
// The platform of the command line. Boxes become lines on stderr led by their
// kind; questions are answered without a person, by a rule given with --answer
// or by the first caption, and each answer is printed; progress is a bar on a
// terminal and one line per stage elsewhere. Ctrl-C, SIGTERM and SIGHUP are the Stop button.

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "xPlatform.h"

class xConsolePlatform final : public xPlatform {
  public:
    // A rule "fragment=Caption": a question whose text holds the fragment is
    // answered with the caption.
    struct AnswerRule {
        std::string fragment;
        std::string caption;
    };
    // Parses "fragment=Caption"; false when there is no '=' or a side is empty.
    static bool ParseRule(const std::string& text, AnswerRule& rule);

    xConsolePlatform(std::ostream& out, bool terminal);

    void AddRule(const AnswerRule& rule) { rules_.push_back(rule); }
    // Called from Yield after Ctrl-C, SIGTERM or SIGHUP, once per signal.
    void OnStop(std::function<void()> stop) { onStop_ = std::move(stop); }
    // Installs the handler of Ctrl-C, SIGTERM and SIGHUP, which sets the stop
    // request; a second signal before a yield saw the first ends the program.
    static void CatchStopSignals();
    // The first stop signal of the run, 0 when none came.
    static int CaughtSignal();

    void Error(const std::string& text) override;
    void Warning(const std::string& text) override;
    void Note(const std::string& text) override;
    int Question(const std::string& text, const std::vector<std::string>& captions) override;
    std::optional<std::filesystem::path> FileBox(const std::string& title,
                                                 const std::string& pattern,
                                                 bool forSaving) override;
    void ProgressOpen(const std::string& title) override;
    void ProgressStatus(const std::string& text) override;
    void ProgressRange(long low, long high) override;
    void ProgressAdvance(long position) override;
    void ProgressClose() override;
    void Yield() override;
    bool Interrupted() const override;

    // How many error boxes were shown: a run with any ends with exit code 1.
    int Errors() const { return errors_; }

  protected:
    void ShowFatal(const std::string& text) override;

  private:
    void Line(const std::string& kind, const std::string& text);
    void DrawBar();
    void EndBar();

    std::ostream& out_;
    bool terminal_;
    std::vector<AnswerRule> rules_;
    std::function<void()> onStop_;
    std::string title_;
    long low_ = 0;
    long high_ = 1;
    long position_ = 0;
    int drawnPercent_ = -1;
    bool barOpen_ = false;
    int errors_ = 0;
};
