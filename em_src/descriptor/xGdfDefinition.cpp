#include "xGdfDefinition.h"

#include <cctype>
#include <set>
#include <utility>

#include "TextScan.h"
#include "xPlatform.h"
#include "xReadError.h"

using textscan::Quoted;
using textscan::SameText;
using textscan::Trim;

namespace {

// "<file>:<line>: ", the lead of every message that points into the file.
std::string At(const std::string& source, long line) {
    return AtLine(source, line, "");
}

bool IsDigit(char c) {
    return std::isdigit(static_cast<unsigned char>(c)) != 0;
}

// Digits from `at`, advancing it; nothing when there are none.
std::optional<long> Digits(std::string_view text, std::size_t& at) {
    std::size_t start = at;
    while (at < text.size() && IsDigit(text[at])) ++at;
    if (at == start) return std::nullopt;
    return textscan::Integer(text.substr(start, at - start));
}

// "END DEFN" with any blanks and case.
bool IsEndDefn(std::string_view text) {
    std::vector<std::string_view> words = textscan::SplitBlanks(text);
    return words.size() == 2 && SameText(words[0], "END") && SameText(words[1], "DEFN");
}

// The attributes after the format. Files in the field separate them with ':' or
// ',' interchangeably; a piece without '=' belongs to the value before it, so a
// description may hold either character.
bool ReadAttributes(std::string_view text, std::map<std::string, std::string>& attributes,
                    std::string& bad) {
    std::string* last = nullptr;
    std::size_t start = 0;
    char separator = '\0';
    for (std::size_t i = 0; i <= text.size(); ++i) {
        if (i < text.size() && text[i] != ':' && text[i] != ',') continue;
        std::string_view piece = text.substr(start, i - start);
        std::size_t equals = piece.find('=');
        if (equals != std::string_view::npos && !Trim(piece.substr(0, equals)).empty()) {
            std::string key = textscan::Upper(Trim(piece.substr(0, equals)));
            last = &(attributes[key] = std::string(Trim(piece.substr(equals + 1))));
        } else if (last) {
            *last += separator;
            *last += std::string(piece);
            std::string_view trimmed = Trim(*last);
            *last = std::string(trimmed);
        } else if (!Trim(piece).empty()) {
            bad = std::string(Trim(piece));
            return false;
        }
        if (i < text.size()) separator = text[i];
        start = i + 1;
    }
    return true;
}

void TakeKnownAttributes(xGdfField& field) {
    auto value = [&field](const char* key) -> const std::string* {
        auto found = field.attributes.find(key);
        return found == field.attributes.end() ? nullptr : &found->second;
    };
    if (const std::string* units = value("UNITS"))
        field.units = *units;
    else if (const std::string* unit = value("UNIT"))
        field.units = *unit;
    if (const std::string* null = value("NULL")) field.null = textscan::Number(*null);
    for (const char* key : {"NAME", "LONGNAME", "DESC"}) {
        if (const std::string* text = value(key)) {
            field.longName = *text;
            break;
        }
    }
}

}  // namespace

std::optional<xGdfFormat> xGdfFormat::Parse(std::string_view text) {
    text = Trim(text);
    xGdfFormat format;
    format.text = std::string(text);
    std::size_t at = 0;
    if (!text.empty() && IsDigit(text[0])) {
        std::optional<long> count = Digits(text, at);
        if (!count) return std::nullopt;
        format.count = *count;
    }
    if (at >= text.size()) return std::nullopt;
    format.letter = textscan::Upper(text[at++]);
    if (std::string_view("AIFEDG").find(format.letter) == std::string_view::npos)
        return std::nullopt;
    std::optional<long> width = Digits(text, at);
    if (!width) return std::nullopt;
    format.width = *width;
    if (at < text.size() && text[at] == '.') {
        ++at;
        std::optional<long> decimals = Digits(text, at);
        if (!decimals) return std::nullopt;
        format.decimals = *decimals;
    }
    // Bounds far beyond any survey keep the running column sums finite.
    constexpr long kLimit = 1000000;
    if (at != text.size() || format.count < 1 || format.width < 1 || format.count > kLimit ||
        format.width > kLimit)
        return std::nullopt;
    return format;
}

bool xGdfDefinition::Fail(const std::string& message) {
    Platform().Error("xGdfDefinition: " + message);
    fields_.clear();
    return false;
}

bool xGdfDefinition::ParseDfn(std::string_view text, std::string source) {
    fields_.clear();
    source_ = std::move(source);
    long position = 1;
    long column = 1;
    std::set<std::string> warnedTypes;

    long lineNumber = 0;
    for (std::string_view raw : textscan::Lines(text)) {
        ++lineNumber;
        std::string_view line = Trim(raw);
        if (line.empty()) continue;
        if (IsEndDefn(line)) break;

        std::vector<std::string_view> words = textscan::SplitBlanks(line);
        if (!SameText(words[0], "DEFN"))
            return Fail(At(source_, lineNumber) + "expected a DEFN record or END DEFN, found " +
                        Quoted(line) + ".");
        std::string_view rest = Trim(line.substr(words[0].size()));

        // The DEFN number: 0- or 1-based by the writer's habit, absent on the
        // comment record. The record order, not the number, places the fields.
        long defn = -1;
        std::vector<std::string_view> restWords = textscan::SplitBlanks(rest);
        if (!restWords.empty()) {
            if (std::optional<long> number = textscan::Integer(restWords[0])) {
                defn = *number;
                rest = Trim(rest.substr(restWords[0].data() - rest.data() + restWords[0].size()));
            }
        }

        std::size_t semicolon = rest.find(';');
        std::string_view header = Trim(rest.substr(0, semicolon));
        std::map<std::string, std::string> recordKeys;
        std::string bad;
        if (!ReadAttributes(header, recordKeys, bad) || !recordKeys.count("RT"))
            return Fail(At(source_, lineNumber) + "expected \"ST=RECD,RT=...\" after DEFN, found " +
                        Quoted(header) + ".");
        const std::string& recordType = recordKeys["RT"];
        bool isData = recordType.empty() || SameText(recordType, "DATA");
        if (!isData && !SameText(recordType, "COMM") && warnedTypes.insert(recordType).second)
            Platform().Warning("xGdfDefinition: " + At(source_, lineNumber) + "record type " +
                               Quoted(recordType) + " is not data; its fields are left out.");

        bool ended = false;
        std::vector<std::string_view> sections;
        for (std::size_t at = semicolon; at != std::string_view::npos;) {
            std::size_t next = rest.find(';', at + 1);
            sections.push_back(Trim(rest.substr(
                at + 1, next == std::string_view::npos ? std::string_view::npos : next - at - 1)));
            at = next;
        }
        for (std::string_view section : sections) {
            if (section.empty()) continue;
            // Some writers end the list on the last field's own line.
            if (IsEndDefn(section)) {
                ended = true;
                break;
            }
            if (!isData) continue;

            std::size_t colon = section.find(':');
            std::string_view name = Trim(section.substr(0, colon));
            if (name.empty() || textscan::SplitBlanks(name).size() != 1)
                return Fail(At(source_, lineNumber) + "expected a field name before ':' in " +
                            Quoted(section) + ".");
            if (colon == std::string_view::npos)
                return Fail(At(source_, lineNumber) + "field " + Quoted(name) + " has no format.");
            std::string_view after = section.substr(colon + 1);
            std::size_t nextColon = after.find(':');
            std::string_view formatText = Trim(after.substr(0, nextColon));
            std::optional<xGdfFormat> format = xGdfFormat::Parse(formatText);
            if (!format)
                return Fail(At(source_, lineNumber) + "format " + Quoted(formatText) +
                            " of field " + Quoted(name) +
                            " is not [count]letter width[.decimals], e.g. F10.2, I10, A4, "
                            "16F11.1.");

            xGdfField field;
            field.name = std::string(name);
            field.format = *format;
            field.defn = defn;
            if (nextColon != std::string_view::npos &&
                !ReadAttributes(after.substr(nextColon + 1), field.attributes, bad))
                return Fail(At(source_, lineNumber) + "cannot read " + Quoted(bad) +
                            " among the attributes of field " + Quoted(name) +
                            "; expected KEY=value.");
            TakeKnownAttributes(field);
            if (field.attributes.count("NULL") && !field.null)
                Platform().Warning("xGdfDefinition: " + At(source_, lineNumber) +
                                   "NULL=" + field.attributes["NULL"] + " of field " +
                                   Quoted(name) + " is not a number; the field has no null value.");
            if (Find(field.name))
                Platform().Warning("xGdfDefinition: " + At(source_, lineNumber) + "field " +
                                   Quoted(name) +
                                   " is defined twice; the first one is found by name.");
            field.position = position;
            field.column = column;
            position += field.format.count;
            column += field.format.count * field.format.width;
            fields_.push_back(std::move(field));
        }
        if (ended) break;
    }
    if (fields_.empty()) return Fail(source_ + ": no data fields are defined.");
    return true;
}

bool xGdfDefinition::ParseHdr(std::string_view text, std::string source) {
    fields_.clear();
    source_ = std::move(source);
    long lastColumn = 0;
    long lineNumber = 0;
    for (std::string_view raw : textscan::Lines(text)) {
        ++lineNumber;
        std::vector<std::string_view> words = textscan::SplitBlanks(raw);
        if (words.empty()) continue;
        auto expected = [&]() {
            return Fail(At(source_, lineNumber) +
                        "expected a column or a range of columns and a name "
                        "(\"4  Fiducial\", \"26-55  conductivity\"), found " +
                        Quoted(Trim(raw)) + ".");
        };
        if (words.size() != 2) return expected();

        std::string_view range = words[0];
        std::size_t dash = range.find('-');
        std::optional<long> first = textscan::Integer(range.substr(0, dash));
        std::optional<long> last =
            dash == std::string_view::npos ? first : textscan::Integer(range.substr(dash + 1));
        if (!first || !last) return expected();
        if (*first < 1 || *last < *first)
            return Fail(At(source_, lineNumber) + "columns " + Quoted(range) +
                        " do not run upwards from 1 or more.");
        // The columns are given, so a gap is taken as it is; going back is not.
        if (*first <= lastColumn)
            return Fail(At(source_, lineNumber) + "columns " + Quoted(range) +
                        " overlap the field before, which ends at column " +
                        std::to_string(lastColumn) + ".");
        lastColumn = *last;

        xGdfField field;
        field.name = std::string(words[1]);
        field.format.count = *last - *first + 1;
        field.format.text = std::string(range);
        field.position = *first;
        if (Find(field.name))
            Platform().Warning("xGdfDefinition: " + At(source_, lineNumber) + "field " +
                               Quoted(field.name) +
                               " is listed twice; the first one is found by name.");
        fields_.push_back(std::move(field));
    }
    if (fields_.empty()) return Fail(source_ + ": no columns are listed.");
    return true;
}

namespace {

bool ReadText(const std::filesystem::path& path, std::string& text) {
    if (textscan::ReadWholeFile(path, text)) return true;
    Platform().Error("xGdfDefinition: cannot open < " + path.string() + " >.");
    return false;
}

}  // namespace

bool xGdfDefinition::ReadDfn(const std::filesystem::path& path) {
    std::string text;
    if (!ReadText(path, text)) {
        fields_.clear();
        source_ = path.string();
        return false;
    }
    return ParseDfn(text, path.string());
}

bool xGdfDefinition::ReadHdr(const std::filesystem::path& path) {
    std::string text;
    if (!ReadText(path, text)) {
        fields_.clear();
        source_ = path.string();
        return false;
    }
    return ParseHdr(text, path.string());
}

const xGdfField* xGdfDefinition::Find(std::string_view name) const {
    for (const xGdfField& field : fields_)
        if (SameText(field.name, name)) return &field;
    return nullptr;
}

long xGdfDefinition::ItemsPerRecord() const {
    return fields_.empty() ? 0 : fields_.back().LastPosition();
}

long xGdfDefinition::RecordWidth() const {
    long width = 0;
    for (const xGdfField& field : fields_) {
        if (field.format.width == 0) return 0;
        width += field.format.count * field.format.width;
    }
    return width;
}
