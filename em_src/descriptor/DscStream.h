#pragma once
// Line-ordered reading and writing of the descriptor's text. Label lines are
// read and dropped: only the order of lines counts. The first read that fails
// says where and why (Where()), and every later read fails with it, so that the
// caller reports once at the end of the block.

#include <filesystem>
#include <iomanip>
#include <istream>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include "xReadError.h"

namespace dsc {

constexpr int kSeparatorWidth = 57;
inline std::string Separator() {
    return std::string(kSeparatorWidth, '_');
}

// A float as the descriptor writes it: fixed notation, default precision.
inline std::string Fixed(double value, int width = 0) {
    std::ostringstream text;
    text << std::fixed << std::setw(width) << value;
    return text.str();
}

}  // namespace dsc

class xDscReader {
  public:
    explicit xDscReader(std::istream& in, std::filesystem::path file = "descriptor")
        : in_(in), file_(std::move(file)) {}

    // The next line without its line end ("\r\n" files too); expected names
    // what should stand there when the file ends instead.
    bool Line(std::string& line, const std::string& expected = "another line") {
        if (!ok_) return false;
        if (!std::getline(in_, line)) {
            FailAt(line_ + 1, "expected " + expected + ", found the end of the file");
            return false;
        }
        ++line_;
        if (!line.empty() && line.back() == '\r') line.pop_back();
        last_ = line;
        return true;
    }
    std::string Line(const std::string& expected = "another line") {
        std::string line;
        Line(line, expected);
        return line;
    }
    // Whether the next line that is not blank is this label; nothing is consumed
    // when it is not (an optional block at the end of the file).
    bool NextIs(const std::string& label) {
        if (!ok_ || in_.peek() == std::char_traits<char>::eof()) return false;
        const std::streampos at = in_.tellg();
        const long line = line_;
        std::string text;
        while (std::getline(in_, text)) {
            ++line_;
            if (!text.empty() && text.back() == '\r') text.pop_back();
            if (text.find_first_not_of(" \t") == std::string::npos) continue;
            if (text == label) {
                last_ = text;
                return true;
            }
            break;
        }
        in_.clear();
        in_.seekg(at);
        line_ = line;
        return false;
    }
    // A label line, read and dropped.
    bool Skip(const std::string& label = "a label line") {
        std::string line;
        return Line(line, label);
    }
    // A separator line, dropped like a label whatever it holds. The first one
    // that is no bar of underscores is remembered: a block that ends a line
    // early or late shows there first, so a later failure names it.
    bool SkipSeparator() {
        std::string line;
        if (!Line(line, kSeparator)) return false;
        const auto first = line.find_first_not_of(" \t");
        if (suspect_.empty() && (first == std::string::npos || line[first] != '_'))
            suspect_ = AtLine(file_, line_, ExpectedFound(kSeparator, line));
        return true;
    }
    // The blank-separated tokens of the next line.
    std::vector<std::string> Tokens(const std::string& expected = "another line") {
        std::vector<std::string> tokens;
        std::istringstream words(Line(expected));
        for (std::string word; words >> word;) tokens.push_back(word);
        return tokens;
    }
    // The numbers at the head of the next line; the rest of the line is dropped.
    // Fails the reader when fewer than values.size() numbers are there.
    template <class... T>
    bool Numbers(T&... values) {
        constexpr auto count = sizeof...(T);
        const std::string expected =
            count == 1 ? std::string("a number") : std::to_string(count) + " numbers";
        std::istringstream words(Line(expected));
        if (ok_ && !(words >> ... >> values)) Fail(expected);
        return ok_;
    }
    // A count on a line of its own, from low to high.
    bool Count(long& count, long low, long high) {
        if (!Numbers(count)) return false;
        if (count < low || count > high)
            Fail("a count from " + std::to_string(low) + " to " + std::to_string(high));
        return ok_;
    }
    // Fails the reader at the line last read, which is not what was expected.
    void Fail(const std::string& expected) { FailAt(line_, ExpectedFound(expected, last_)); }
    void FailAt(long line, const std::string& what) {
        if (!ok_) return;
        where_ = suspect_.empty()
                     ? AtLine(file_, line, what)
                     : suspect_ + "; the read failed at line " + std::to_string(line) + ": " + what;
        ok_ = false;
    }
    bool Ok() const { return ok_; }
    long LineNumber() const { return line_; }
    // Where and why the first failed read failed: "GEOTEM.DSC:98: expected ...".
    const std::string& Where() const { return where_; }
    std::istream& Stream() { return in_; }

  private:
    static constexpr const char* kSeparator = "the separator line \"_____\u2026\"";

    std::istream& in_;
    std::filesystem::path file_;
    long line_ = 0;
    std::string last_;
    std::string where_;
    std::string suspect_;  // the first separator line that was none
    bool ok_ = true;
};
