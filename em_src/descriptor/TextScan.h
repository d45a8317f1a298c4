#pragma once
// Small pieces shared by the readers of the text files that come with public
// surveys (system files, column definitions): trimming, case-blind names,
// numbers that must be whole tokens, and reading a file in one go.

#include <cctype>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace textscan {

inline bool IsBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v';
}

inline std::string_view Trim(std::string_view text) {
    while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
    return text;
}

inline char Upper(char c) {
    return static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
}

inline std::string Upper(std::string_view text) {
    std::string out(text);
    for (char& c : out) c = Upper(c);
    return out;
}

// Names in these files are written in any case by hand.
inline bool SameText(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (Upper(a[i]) != Upper(b[i])) return false;
    return true;
}

inline std::vector<std::string_view> SplitBlanks(std::string_view text) {
    std::vector<std::string_view> words;
    std::size_t i = 0;
    while (i < text.size()) {
        while (i < text.size() && IsBlank(text[i])) ++i;
        std::size_t start = i;
        while (i < text.size() && !IsBlank(text[i])) ++i;
        if (i > start) words.push_back(text.substr(start, i - start));
    }
    return words;
}

// The lines of a text, without their "\n" or "\r\n"; a last line without a line
// end counts.
inline std::vector<std::string_view> Lines(std::string_view text) {
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        std::size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        lines.push_back(line);
        if (end == std::string_view::npos) break;
        text.remove_prefix(end + 1);
    }
    return lines;
}

// A finite number that is the whole token: "1e15", "-1.000E-02", ".6264",
// "+0.5". Anything else, "inf" and "nan" included, is nothing.
inline std::optional<double> Number(std::string_view token) {
    token = Trim(token);
    if (!token.empty() && token.front() == '+') token.remove_prefix(1);
    if (token.empty() || token.front() == '+') return std::nullopt;
    double value = 0.0;
    auto [end, error] = std::from_chars(token.data(), token.data() + token.size(), value);
    if (error != std::errc() || end != token.data() + token.size() || !std::isfinite(value))
        return std::nullopt;
    return value;
}

// A whole-token integer, for counts and column numbers.
inline std::optional<long> Integer(std::string_view token) {
    token = Trim(token);
    if (!token.empty() && token.front() == '+') token.remove_prefix(1);
    long value = 0;
    auto [end, error] = std::from_chars(token.data(), token.data() + token.size(), value);
    if (token.empty() || error != std::errc() || end != token.data() + token.size())
        return std::nullopt;
    return value;
}

// Text quoted for a message, cut short so that a binary file's "line" stays readable.
inline std::string Quoted(std::string_view text) {
    constexpr std::size_t kShown = 80;
    if (text.size() <= kShown) return "\"" + std::string(text) + "\"";
    return "\"" + std::string(text.substr(0, kShown)) + "...\"";
}

inline bool ReadWholeFile(const std::filesystem::path& path, std::string& text) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    std::ostringstream all;
    all << in.rdbuf();
    if (in.bad()) return false;
    text = all.str();
    return true;
}

}  // namespace textscan
