#include "xConsolePlatform.h"

#include <algorithm>
#include <atomic>
#include <csignal>

namespace {

// The signal not yet seen by a yield, and the first of the run, which sets the
// exit status.
std::atomic<int> pendingSignal{0};
std::atomic<int> caughtSignal{0};

extern "C" void RequestStop(int signal) {
    int none = 0;
    caughtSignal.compare_exchange_strong(none, signal);
    // A second one before any yield saw the first: the run is stuck, end it now.
    if (pendingSignal.exchange(signal) != 0) {
        std::signal(signal, SIG_DFL);
        std::raise(signal);
    }
}

std::string SignalName(int signal) {
    switch (signal) {
        case SIGINT:
            return "Ctrl-C";
        case SIGTERM:
            return "SIGTERM";
        case SIGHUP:
            return "SIGHUP";
        default:
            return "signal " + std::to_string(signal);
    }
}

// Multi-line texts keep their lines, each indented under the kind.
std::string Indented(const std::string& text) {
    std::string result;
    for (char c : text) {
        result += c;
        if (c == '\n') result += "    ";
    }
    return result;
}

}  // namespace

bool xConsolePlatform::ParseRule(const std::string& text, AnswerRule& rule) {
    auto equals = text.rfind('=');
    if (equals == std::string::npos || equals == 0 || equals + 1 == text.size()) return false;
    rule = {text.substr(0, equals), text.substr(equals + 1)};
    return true;
}

xConsolePlatform::xConsolePlatform(std::ostream& out, bool terminal)
    : out_(out), terminal_(terminal) {}

void xConsolePlatform::CatchStopSignals() {
    struct sigaction action {};
    action.sa_handler = RequestStop;
    sigemptyset(&action.sa_mask);
    sigset_t stops;
    sigemptyset(&stops);
    for (int signal : {SIGINT, SIGTERM, SIGHUP}) {
        sigaction(signal, &action, nullptr);
        sigaddset(&stops, signal);
    }
    // A parent may hand them on blocked; one sent before the start still stops the run.
    sigprocmask(SIG_UNBLOCK, &stops, nullptr);
}

int xConsolePlatform::CaughtSignal() {
    return caughtSignal;
}

bool xConsolePlatform::Interrupted() const {
    return caughtSignal != 0;
}

void xConsolePlatform::Line(const std::string& kind, const std::string& text) {
    EndBar();
    out_ << kind << ": " << Indented(text) << std::endl;
}

void xConsolePlatform::Error(const std::string& text) {
    ++errors_;
    Line("error", text);
}

void xConsolePlatform::Warning(const std::string& text) {
    Line("warning", text);
}

void xConsolePlatform::Note(const std::string& text) {
    Line("note", text);
}

void xConsolePlatform::ShowFatal(const std::string& text) {
    Line("fatal", text);
}

int xConsolePlatform::Question(const std::string& text, const std::vector<std::string>& captions) {
    int chosen = 0;
    for (const auto& rule : rules_) {
        if (text.find(rule.fragment) == std::string::npos) continue;
        for (std::size_t i = 0; i < captions.size(); ++i)
            if (captions[i] == rule.caption) chosen = int(i);
        break;
    }
    std::string choices;
    for (const auto& caption : captions) choices += (choices.empty() ? "" : " / ") + caption;
    Line("question", text + "\n[" + choices + "] -> " +
                         (captions.empty() ? std::string("OK") : captions[std::size_t(chosen)]));
    return chosen;
}

std::optional<std::filesystem::path> xConsolePlatform::FileBox(const std::string& title,
                                                               const std::string& pattern, bool) {
    Line("note", title + " (" + pattern + "): no file chosen on the command line");
    return std::nullopt;
}

void xConsolePlatform::ProgressOpen(const std::string& title) {
    title_ = title;
    if (!terminal_) out_ << title << std::endl;
}

void xConsolePlatform::ProgressStatus(const std::string& text) {
    if (terminal_) {
        title_ = text;
        DrawBar();
    } else {
        out_ << "  " << text << std::endl;
    }
}

void xConsolePlatform::ProgressRange(long low, long high) {
    low_ = low;
    high_ = high > low ? high : low + 1;
    position_ = low;
    drawnPercent_ = -1;
}

void xConsolePlatform::ProgressAdvance(long position) {
    position_ = std::min(std::max(position, low_), high_);
    if (terminal_) DrawBar();
}

void xConsolePlatform::ProgressClose() {
    EndBar();
}

void xConsolePlatform::DrawBar() {
    int percent = int(100.0 * double(position_ - low_) / double(high_ - low_));
    if (percent == drawnPercent_ && barOpen_) return;
    drawnPercent_ = percent;
    const int width = 30, filled = percent * width / 100;
    out_ << '\r' << std::string(std::size_t(filled), '#')
         << std::string(std::size_t(width - filled), '.') << ' ' << percent << "% " << title_
         << "\x1b[K" << std::flush;
    barOpen_ = true;
}

void xConsolePlatform::EndBar() {
    if (!barOpen_) return;
    out_ << '\n';
    barOpen_ = false;
}

void xConsolePlatform::Yield() {
    const int signal = pendingSignal.exchange(0);
    if (signal == 0) return;
    Line("note",
         "Stop requested (" + SignalName(signal) + "): the process ends at its next record.");
    if (onStop_) onStop_();
}
