#include "xPlatform.h"

#include <system_error>

void xPlatform::Fatal(const std::string& text) {
    ShowFatal(text);
    throw xFatalError(text);
}

std::chrono::system_clock::time_point xPlatform::Now() const {
    return std::chrono::system_clock::now();
}

std::uintmax_t xPlatform::FreeDiskSpace(const std::filesystem::path& where) const {
    std::error_code ec;
    auto info = std::filesystem::space(where, ec);
    return ec ? 0 : info.available;
}

namespace {

class xSilentPlatform final : public xPlatform {
  public:
    void Error(const std::string&) override {}
    void Warning(const std::string&) override {}
    void Note(const std::string&) override {}
    int Question(const std::string&, const std::vector<std::string>&) override { return 0; }
    std::optional<std::filesystem::path> FileBox(const std::string&, const std::string&,
                                                 bool) override {
        return std::nullopt;
    }
    void ProgressOpen(const std::string&) override {}
    void ProgressStatus(const std::string&) override {}
    void ProgressRange(long, long) override {}
    void ProgressAdvance(long) override {}
    void ProgressClose() override {}
    void Yield() override {}

  protected:
    void ShowFatal(const std::string&) override {}
};

xSilentPlatform silentPlatform;
xPlatform* currentPlatform = &silentPlatform;

}  // namespace

xPlatform& Platform() {
    return *currentPlatform;
}

xPlatform* SetPlatform(xPlatform* platform) {
    xPlatform* previous = currentPlatform;
    currentPlatform = platform ? platform : &silentPlatform;
    return previous == &silentPlatform ? nullptr : previous;
}
