#include "xAsciiScanner.h"

#include <algorithm>
#include <charconv>
#include <cstring>

namespace {

// Longer than any number written by a person or a program.
constexpr std::size_t NumberLookAhead = 128;

bool IsLineEnd(char c) {
    return c == '\n' || c == '\r';
}

bool StartsNumber(char c) {
    return (c >= '0' && c <= '9') || c == '.';
}

}  // namespace

xAsciiScanner::xAsciiScanner(std::istream& in, std::size_t capacity)
    : in_(in), buffer_(std::max<std::size_t>(capacity, 4 * NumberLookAhead)) {}

bool xAsciiScanner::Fill() {
    if (streamDone_) return false;
    // Keep what is unread and the character before it.
    const std::size_t keep = pos_ > 0 ? pos_ - 1 : 0;
    if (keep > 0) {
        std::memmove(buffer_.data(), buffer_.data() + keep, end_ - keep);
        bufferStart_ += std::int64_t(keep);
        pos_ -= keep;
        end_ -= keep;
    }
    if (end_ == buffer_.size()) buffer_.resize(buffer_.size() * 2);
    in_.read(buffer_.data() + end_, std::streamsize(buffer_.size() - end_));
    const auto got = std::size_t(in_.gcount());
    if (got == 0 || !in_) streamDone_ = true;
    end_ += got;
    return got > 0;
}

std::size_t xAsciiScanner::Ahead(std::size_t n) {
    while (end_ - pos_ < n && Fill()) {
    }
    return std::min(n, end_ - pos_);
}

bool xAsciiScanner::SkipBlanks() {
    for (;;) {
        while (pos_ < end_ && IsBlank(buffer_[pos_])) ++pos_;
        if (pos_ < end_) return true;
        if (!Fill()) {
            endHit_ = true;
            return false;
        }
    }
}

xAsciiScanner::LineEnd xAsciiScanner::DetectLineEnd() {
    LineEnd found = LineEnd::Unknown;
    for (;;) {
        while (pos_ < end_ && buffer_[pos_] != '\n' && buffer_[pos_] != '\r') ++pos_;
        if (pos_ < end_) break;
        if (!Fill()) break;
    }
    if (pos_ < end_) {
        if (buffer_[pos_] == '\n') {
            found = LineEnd::Unix;
        } else {
            ++pos_;
            found = (Ahead(1) == 1 && buffer_[pos_] == '\n') ? LineEnd::Dos : LineEnd::Mac;
        }
    }
    Seek(0);
    return found;
}

xAsciiScanner::Status xAsciiScanner::ReadFloat(float& value) {
    if (!SkipBlanks()) return Status::End;
    const std::size_t available = Ahead(NumberLookAhead);
    const char* first = buffer_.data() + pos_;
    const char* last = first + available;
    const char* digits = first;
    // A stream takes a plus sign, the parser does not.
    if (*digits == '+' || *digits == '-') ++digits;
    if (digits == last || !StartsNumber(*digits)) return Status::Bad;
    if (*first == '-') digits = first;
    auto [stop, error] = std::from_chars(digits, last, value, std::chars_format::general);
    if (error != std::errc()) return Status::Bad;
    pos_ += std::size_t(stop - first);
    // A number that runs to the very end of the file ends the stream, as it
    // would for a stream that looked for one more digit.
    if (pos_ == end_ && streamDone_) endHit_ = true;
    return Status::Ok;
}

bool xAsciiScanner::ReadWord(std::string& word) {
    word.clear();
    if (!SkipBlanks()) return false;
    for (;;) {
        while (pos_ < end_ && !IsBlank(buffer_[pos_])) {
            if (word.size() < MaxWord) word.push_back(buffer_[pos_]);
            ++pos_;
        }
        if (pos_ < end_) return true;
        if (!Fill()) {
            endHit_ = true;
            return true;
        }
    }
}

void xAsciiScanner::SkipLine() {
    for (;;) {
        while (pos_ < end_ && buffer_[pos_] != '\n' && buffer_[pos_] != '\r') ++pos_;
        if (pos_ < end_) break;
        if (!Fill()) {
            endHit_ = true;
            return;
        }
    }
    const bool cr = buffer_[pos_] == '\r';
    ++pos_;
    if (cr && Ahead(1) == 1 && buffer_[pos_] == '\n') ++pos_;
}

void xAsciiScanner::SkipWord() {
    for (;;) {
        while (pos_ < end_ && !IsBlank(buffer_[pos_])) ++pos_;
        if (pos_ < end_) return;
        if (!Fill()) {
            endHit_ = true;
            return;
        }
    }
}

bool xAsciiScanner::AtLineEnd() {
    for (;;) {
        while (pos_ < end_ && IsBlank(buffer_[pos_]) && !IsLineEnd(buffer_[pos_])) ++pos_;
        if (pos_ < end_) return IsLineEnd(buffer_[pos_]);
        if (!Fill()) return false;
    }
}

void xAsciiScanner::SkipByteOrderMark() {
    static constexpr char Mark[] = "\xEF\xBB\xBF";
    if (Ahead(3) == 3 && std::memcmp(buffer_.data() + pos_, Mark, 3) == 0) pos_ += 3;
}

char xAsciiScanner::Previous() const {
    if (pos_ > 0) return buffer_[pos_ - 1];
    return '\n';
}

void xAsciiScanner::Seek(std::int64_t offset, bool reload) {
    endHit_ = false;
    const std::int64_t bufferEnd = bufferStart_ + std::int64_t(end_);
    if (!reload && offset >= bufferStart_ && offset <= bufferEnd) {
        pos_ = std::size_t(offset - bufferStart_);
        return;
    }
    // Start one character early, so that Previous() still sees it.
    const std::int64_t from = offset > 0 ? offset - 1 : 0;
    in_.clear();
    in_.seekg(from);
    bufferStart_ = from;
    pos_ = end_ = 0;
    streamDone_ = false;
    Ahead(std::size_t(offset - from));
    pos_ = std::min(std::size_t(offset - from), end_);
}

std::string xAsciiScanner::Text(std::int64_t from, std::int64_t to) const {
    const std::int64_t low = std::max(from, bufferStart_);
    const std::int64_t high = std::min(to, bufferStart_ + std::int64_t(end_));
    if (high <= low) return {};
    return std::string(buffer_.data() + (low - bufferStart_), std::size_t(high - low));
}
