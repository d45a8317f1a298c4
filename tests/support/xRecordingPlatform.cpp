#include "xRecordingPlatform.h"

#include <algorithm>
#include <stdexcept>

xRecordingPlatform::xRecordingPlatform() : previous_(SetPlatform(this)) {}

xRecordingPlatform::~xRecordingPlatform() {
    SetPlatform(previous_);
}

void xRecordingPlatform::Record(const std::string& kind, const std::string& text) {
    messages.push_back({kind, text});
}

int xRecordingPlatform::Question(const std::string& text, const std::vector<std::string>&) {
    Record("question", text);
    if (answers.empty()) return 0;
    int answer = answers.front();
    answers.pop_front();
    return answer;
}

std::optional<std::filesystem::path> xRecordingPlatform::FileBox(const std::string& title,
                                                                 const std::string&, bool) {
    Record("filebox", title);
    if (files.empty()) return std::nullopt;
    auto file = files.front();
    files.pop_front();
    return file;
}

void xRecordingPlatform::ProgressRange(long low, long high) {
    progress.push_back("range " + std::to_string(low) + " " + std::to_string(high));
}

void xRecordingPlatform::Yield() {
    if (++yields > yieldLimit) throw std::runtime_error("still waiting after yieldLimit yields");
    if (onYield) onYield(yields);
}

std::vector<std::string> xRecordingPlatform::Texts(const std::string& kind) const {
    std::vector<std::string> texts;
    for (const auto& m : messages)
        if (m.kind == kind) texts.push_back(m.text);
    return texts;
}

bool xRecordingPlatform::Saw(const std::string& kind, const std::string& text) const {
    return std::find(messages.begin(), messages.end(), xRecordedMessage{kind, text}) !=
           messages.end();
}
