#pragma once
// Line-ordered reading and writing of the descriptor's text. Label lines are
// read and dropped: only the order of lines counts. A number that does not
// parse fails the reader, and every later read fails with it, so that the
// caller reports once at the end of the block.

#include <iomanip>
#include <istream>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

class xDscReader {
  public:
    explicit xDscReader(std::istream& in) : in_(in) {}

    // The next line without its line end ("\r\n" files too).
    bool Line(std::string& line) {
        if (!ok_ || !std::getline(in_, line)) return ok_ = false;
        if (!line.empty() && line.back() == '\r') line.pop_back();
        return true;
    }
    std::string Line() {
        std::string line;
        Line(line);
        return line;
    }
    // A label line, read and dropped.
    bool Skip(int lines = 1) {
        std::string line;
        for (int i = 0; i < lines; ++i)
            if (!Line(line)) return false;
        return true;
    }
    // The blank-separated tokens of the next line.
    std::vector<std::string> Tokens() {
        std::vector<std::string> tokens;
        std::istringstream words(Line());
        for (std::string word; words >> word;) tokens.push_back(word);
        return tokens;
    }
    // The numbers at the head of the next line; the rest of the line is dropped.
    // Fails the reader when fewer than values.size() numbers are there.
    template <class... T>
    bool Numbers(T&... values) {
        std::istringstream words(Line());
        if (ok_ && !(words >> ... >> values)) ok_ = false;
        return ok_;
    }
    bool Ok() const { return ok_; }
    void Fail() { ok_ = false; }
    std::istream& Stream() { return in_; }

  private:
    std::istream& in_;
    bool ok_ = true;
};

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
