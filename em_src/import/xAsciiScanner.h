#pragma once
// Reads the words and numbers of a survey's ASCII file through a buffer of its
// own. Numbers are parsed in place, so a file of millions of records costs no
// allocation per item; the reading rules are those of a C++ stream reading a
// float (blanks and line ends skipped alike, a number ends at the first
// character that cannot continue it, a failed read consumes nothing). Offsets
// are bytes from the start of the file, so that a record can be read again.

#include <cstddef>
#include <cstdint>
#include <istream>
#include <string>
#include <vector>

class xAsciiScanner {
  public:
    enum class Status { Ok, End, Bad };
    enum class LineEnd { Unix, Dos, Mac, Unknown };

    explicit xAsciiScanner(std::istream& in, std::size_t capacity = 1 << 16);

    // How the first line of the file ends; the scanner is back at offset 0 after.
    LineEnd DetectLineEnd();

    Status ReadFloat(float& value);
    // The next blank-delimited word, at most MaxWord characters of it kept;
    // false at the end of the file.
    bool ReadWord(std::string& word);
    // Past the next line end: LF, CR or CR LF.
    void SkipLine();
    // To the next blank or line end.
    void SkipWord();
    // Skips blanks but line ends; true when a line end comes before the next
    // word. A record of a survey file is one text line: it is not filled up
    // from the next.
    bool AtLineEnd();
    // Past a UTF-8 byte-order mark at the read position, which some programs
    // put at the start of a text file.
    void SkipByteOrderMark();
    // The character before the read position; a line end at the start.
    char Previous() const;

    std::int64_t Tell() const { return bufferStart_ + std::int64_t(pos_); }
    // Back (or on) to an offset. Within the buffer nothing is read again unless
    // reload is set, which the text editor needs after it changed the file.
    void Seek(std::int64_t offset, bool reload = false);
    // False once a read ran into the end of the file, as a stream's good().
    bool Good() const { return !endHit_; }
    // The bytes from one offset to another, as far as the buffer still has them.
    std::string Text(std::int64_t from, std::int64_t to) const;

    static constexpr std::size_t MaxWord = 256;
    static bool IsBlank(char c) {
        return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
    }

  private:
    // Reads more behind what is left; false when nothing more came.
    bool Fill();
    // At least n bytes from the read position, unless the file ends first.
    std::size_t Ahead(std::size_t n);
    // Skips blanks; false at the end of the file.
    bool SkipBlanks();

    std::istream& in_;
    std::vector<char> buffer_;
    std::int64_t bufferStart_ = 0;  // file offset of buffer_[0]
    std::size_t pos_ = 0;
    std::size_t end_ = 0;
    bool streamDone_ = false;
    bool endHit_ = false;
};
