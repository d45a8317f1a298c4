#pragma once
// The pattern of the ASCII report of a survey file: which record items are
// written, in what order, under which titles and in which formats. A pattern
// is kept in an .AFF file beside the data so that the last one used returns as
// the default; docs/FILE_FORMATS.md describes that file.
//
// .AFF layout, one item a line, fields separated by blanks:
//
//     number format title
//
// number: a record index (0 and above) or a mark: -1 line end, -2 text (the
// title is written as it stands), -4 begin and -3 end of an averaged group.
// format: 14f6 (fixed), 14e6 (scientific), 10i or 10l (whole numbers), 14s
// (text); the digits before the letter are the width, those after it the
// precision. title: the rest of the line, blanks inside kept; may be empty.
// Empty lines and lines that begin with '#' are passed over.

#include <filesystem>
#include <fstream>
#include <iosfwd>
#include <string>
#include <vector>

#include "xArray.h"
#include "xPendingFile.h"

// One format string of a pattern item: a width, a kind, and for the real kinds
// a precision.
struct xAsciiFormat {
    char kind = 'f';  // 'e', 'f', 'i', 'l' or 's'
    int width = 14;
    int precision = 6;

    // False, without a message, when text is none of the known forms.
    static bool Parse(const std::string& text, xAsciiFormat& format);
    // Right-aligned in the width; never cut when wider.
    std::string Value(float value) const;
    std::string Text(const std::string& text) const;
};

class xAsciiPattern {
  public:
    static constexpr long EndOfLine = -1;
    static constexpr long Text = -2;
    static constexpr long GroupEnd = -3;
    static constexpr long GroupBegin = -4;
    static constexpr const char* DefaultTextFormat = "14S";
    static constexpr const char* DefaultValueFormat = "14f6";

    struct Item {
        long number = 0;
        std::string format;
        std::string title;
        bool operator==(const Item&) const = default;
    };

    // An empty format takes the default of the item's kind.
    void Add(long number, const std::string& title, const std::string& format = {});
    const std::vector<Item>& Items() const { return items_; }
    bool Empty() const { return items_.empty(); }

    // The .AFF text. Read reports the first fault, naming source, and leaves
    // the pattern as it was.
    bool Read(std::istream& in, const std::string& source);
    void Write(std::ostream& out) const;
    bool Load(const std::filesystem::path& path);
    bool Save(const std::filesystem::path& path) const;
    // Beside a data file: "P.BIN" gives "P_BIN.AFF".
    static std::filesystem::path DefaultPath(const std::filesystem::path& dataFile);

    // Checks every format and record index against a record length before any
    // output; reports the first fault.
    bool Prepare(long recordLength);
    // Output of a prepared pattern. Each ends with a line end; an end-of-line
    // mark as the last item is that end and is not doubled.
    void WriteTitles(std::ostream& out) const;
    void WriteRecord(std::ostream& out, const FloatArray& record) const;

  private:
    std::vector<Item> items_;
    std::vector<xAsciiFormat> formats_;  // of items_, after Prepare
    std::vector<std::string> titles_;    // each title as the title row writes it
};

// Creates target for an ASCII form; "Cannot open ASCII file" when it cannot.
bool OpenAsciiFile(const std::filesystem::path& target, xOutputFile& out);
