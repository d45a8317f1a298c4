#include "xAsciiPattern.h"

#include <cmath>
#include <cstdlib>
#include <iomanip>
#include <istream>
#include <ostream>
#include <regex>
#include <sstream>

#include "xMLineBlock.h"
#include "xPlatform.h"

namespace fs = std::filesystem;

namespace {

// Widths and precisions beyond these are typing errors, not layouts.
constexpr long MaxWidth = 1000;
constexpr long MaxPrecision = 100;

std::string Trim(const std::string& text) {
    const auto first = text.find_first_not_of(" \t\r");
    if (first == std::string::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

void WrongFormat(const std::string& format) {
    Platform().Error("Wrong format definition <" + format + ">");
}

}  // namespace

// Formats ---------------------------------------------------------------------

bool xAsciiFormat::Parse(const std::string& text, xAsciiFormat& format) {
    static const std::regex scientific("[0-9]+[eE][0-9]+");
    static const std::regex fixed("[0-9]+[fF][0-9]+");
    static const std::regex integer("[0-9]+[iI]");
    static const std::regex longInteger("[0-9]+[lL]");
    static const std::regex string("[0-9]+[sS]");
    xAsciiFormat parsed;
    if (std::regex_match(text, scientific))
        parsed.kind = 'e';
    else if (std::regex_match(text, fixed))
        parsed.kind = 'f';
    else if (std::regex_match(text, integer))
        parsed.kind = 'i';
    else if (std::regex_match(text, longInteger))
        parsed.kind = 'l';
    else if (std::regex_match(text, string))
        parsed.kind = 's';
    else
        return false;
    const auto letter = text.find_first_not_of("0123456789");
    if (letter > 4) return false;
    const long width = std::strtol(text.substr(0, letter).c_str(), nullptr, 10);
    const std::string digits = text.substr(letter + 1);
    if (digits.size() > 4) return false;
    const long precision = digits.empty() ? 0 : std::strtol(digits.c_str(), nullptr, 10);
    if (width > MaxWidth || precision > MaxPrecision) return false;
    parsed.width = int(width);
    parsed.precision = int(precision);
    format = parsed;
    return true;
}

std::string xAsciiFormat::Value(float value) const {
    std::ostringstream out;
    switch (kind) {
        case 'e':
            out << std::scientific << std::setprecision(precision);
            break;
        case 'f':
            out << std::fixed << std::setprecision(precision);
            break;
        case 'i':
        case 'l':
            // Whole numbers are rounded, not cut: a FID stored as 1233.9999 is 1234.
            if (std::isfinite(value) && std::fabs(value) < 9.0e18f) {
                out << std::setw(width) << std::llround(value);
                return out.str();
            }
            out << std::fixed << std::setprecision(0);
            break;
        default:
            break;
    }
    out << std::setw(width) << value;
    return out.str();
}

std::string xAsciiFormat::Text(const std::string& text) const {
    if (long(text.size()) >= width) return text;
    return std::string(std::size_t(width) - text.size(), ' ') + text;
}

// Pattern file ----------------------------------------------------------------

void xAsciiPattern::Add(long number, const std::string& title, const std::string& format) {
    std::string f = format;
    if (f.empty())
        f = number == Text || number == EndOfLine ? DefaultTextFormat : DefaultValueFormat;
    items_.push_back({number, f, title});
}

bool xAsciiPattern::Read(std::istream& in, const std::string& source) {
    std::vector<Item> items;
    std::string line;
    long lineNumber = 0;
    while (std::getline(in, line)) {
        ++lineNumber;
        const std::string text = Trim(line);
        if (text.empty() || text[0] == '#') continue;
        std::istringstream fields(text);
        std::string number, format;
        fields >> number >> format;
        char* end = nullptr;
        const long value = std::strtol(number.c_str(), &end, 10);
        if (number.empty() || *end != '\0' || format.empty()) {
            Platform().Error(source + ", line " + std::to_string(lineNumber) +
                             ": an item number, a format and a title are wanted, not \"" + text +
                             "\".");
            return false;
        }
        xAsciiFormat parsed;
        if (!xAsciiFormat::Parse(format, parsed)) {
            WrongFormat(format);
            return false;
        }
        std::string title;
        std::getline(fields, title);
        items.push_back({value, format, Trim(title)});
    }
    items_ = std::move(items);
    formats_.clear();
    titles_.clear();
    return true;
}

void xAsciiPattern::Write(std::ostream& out) const {
    for (const auto& item : items_) {
        out << item.number << ' ' << item.format;
        if (!item.title.empty()) out << ' ' << item.title;
        out << '\n';
    }
}

bool xAsciiPattern::Load(const fs::path& path) {
    std::ifstream in(path);
    if (!in) {
        Platform().Error("Cannot open ASCII pattern file " + path.string());
        return false;
    }
    return Read(in, path.string());
}

bool xAsciiPattern::Save(const fs::path& path) const {
    xOutputFile out;
    if (out.Open(path)) {
        Write(out.Stream());
        if (out.Commit()) return true;
    }
    Platform().Error("Cannot save ASCII pattern file " + path.string());
    return false;
}

fs::path xAsciiPattern::DefaultPath(const fs::path& dataFile) {
    std::string extension = dataFile.extension().string();
    if (!extension.empty()) extension = "_" + extension.substr(1);
    return dataFile.parent_path() / (dataFile.stem().string() + extension + ".AFF");
}

// Output ----------------------------------------------------------------------

bool xAsciiPattern::Prepare(long recordLength) {
    formats_.clear();
    titles_.clear();
    for (const auto& item : items_) {
        xAsciiFormat format;
        if (!xAsciiFormat::Parse(item.format, format)) {
            WrongFormat(item.format);
            return false;
        }
        if (item.number < GroupBegin || item.number >= recordLength) {
            Platform().Error("Item " + std::to_string(item.number) +
                             " of the ASCII pattern is not in a record of " +
                             std::to_string(recordLength) + " items.");
            return false;
        }
        formats_.push_back(format);
        titles_.push_back(format.Text(item.title));
    }
    return true;
}

void xAsciiPattern::WriteTitles(std::ostream& out) const {
    out << '/';
    for (std::size_t i = 0; i < items_.size(); ++i) {
        const long number = items_[i].number;
        if (number == EndOfLine) {
            // A title row broken over lines stays a comment on each of them.
            if (i + 1 < items_.size()) out << "\n/";
        } else if (number != GroupEnd) {
            // The begin mark's title heads the column of the group's mean.
            out << titles_[i] << '\t';
        }
    }
    out << '\n';
}

void xAsciiPattern::WriteRecord(std::ostream& out, const FloatArray& record) const {
    bool inGroup = false;
    std::size_t groupStart = 0;
    float sum = 0.0f;
    long count = 0;
    for (std::size_t i = 0; i < items_.size(); ++i) {
        const long number = items_[i].number;
        if (number == EndOfLine) {
            if (i + 1 < items_.size()) out << '\n';
        } else if (number == GroupBegin) {
            inGroup = true;
            groupStart = i;
            sum = 0.0f;
            count = 0;
        } else if (number == GroupEnd) {
            if (!inGroup) continue;
            inGroup = false;
            out << formats_[groupStart].Value(count > 0 ? sum / float(count) : BlankValue) << '\t';
            // Blanks under the group's own titles keep the columns of the title row.
            for (std::size_t m = groupStart + 1; m < i; ++m)
                if (items_[m].number != EndOfLine)
                    out << std::string(titles_[m].size(), ' ') << '\t';
        } else if (inGroup) {
            if (number >= 0 && record[number] != BlankValue) {
                sum += record[number];
                ++count;
            }
        } else if (number == Text) {
            out << titles_[i] << '\t';
        } else {
            out << formats_[i].Value(record[number]) << '\t';
        }
    }
    out << '\n';
}

bool OpenAsciiFile(const fs::path& target, xOutputFile& out) {
    if (!out.Open(target)) {
        Platform().Error("Cannot open ASCII file");
        return false;
    }
    return true;
}
