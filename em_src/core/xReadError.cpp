#include "xReadError.h"

namespace {

// A line of a damaged file may be megabytes long or binary: show its start.
std::string Readable(const std::string& text) {
    constexpr std::size_t kShown = 60;
    std::string shown;
    for (char c : text.substr(0, kShown)) {
        const auto u = static_cast<unsigned char>(c);
        shown += (u < 0x20 || u == 0x7f) ? '?' : c;
    }
    if (text.size() > kShown) shown += "...";
    return shown;
}

}  // namespace

std::string AtLine(const std::filesystem::path& file, long line, const std::string& what) {
    return file.filename().string() + ":" + std::to_string(line) + ": " + what;
}

std::string AtOffset(const std::filesystem::path& file, std::int64_t offset,
                     const std::string& what) {
    return file.filename().string() + ": byte " + std::to_string(offset) + ": " + what;
}

std::string ExpectedFound(const std::string& expected, const std::string& found) {
    return "expected " + expected + ", found \"" + Readable(found) + "\"";
}
