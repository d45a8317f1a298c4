#pragma once
// Column layouts of the survey data that public surveys ship: the ASEG-GDF2
// definition file (".dfn", one DEFN record per field) and the plain column list
// (".hdr", "26-55  conductivity"). Both give the fields of a data record in
// record order, each with the item where it starts in a blank-separated record,
// which is what the record format of a descriptor asks for.

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// A Fortran edit descriptor: "16F11.1" is 16 items of F, 11 wide, 1 decimal.
struct xGdfFormat {
    long count = 1;
    char letter = '\0';  // 'A', 'I', 'F', 'E', 'D' or 'G' in upper case; '\0' when not given
    long width = 0;      // characters per item; 0 when not given
    long decimals = -1;  // -1 when not given ("I10", "A4")
    std::string text;    // as written, trimmed

    // "[count]letter width[.decimals]" in any case; nothing if it is not that.
    static std::optional<xGdfFormat> Parse(std::string_view text);
};

struct xGdfField {
    std::string name;
    xGdfFormat format;
    std::string units;           // UNITS= or UNIT=
    std::optional<double> null;  // NULL=, when it is a number
    std::string longName;        // NAME=, else LONGNAME=, else DESC=
    long position = 0;           // 1-based item of its first value in a blank-separated record
    long column = 0;  // 1-based character where it starts in a fixed-width record; 0 unknown
    long defn = -1;   // the DEFN number as written; -1 when there is none
    // Every KEY=value of the definition, keys in upper case.
    std::map<std::string, std::string> attributes;

    long Items() const { return format.count; }
    long LastPosition() const { return position + format.count - 1; }
};

class xGdfDefinition {
  public:
    // The first fault is shown as an error naming the source and line, and the
    // definition is left empty. 1 on success.
    bool ParseDfn(std::string_view text, std::string source);
    bool ReadDfn(const std::filesystem::path& path);
    bool ParseHdr(std::string_view text, std::string source);
    bool ReadHdr(const std::filesystem::path& path);

    const std::vector<xGdfField>& Fields() const { return fields_; }
    // The first field of that name, ignoring case; nullptr if none.
    const xGdfField* Find(std::string_view name) const;
    // Items in a record: the last position of the last field.
    long ItemsPerRecord() const;
    // Characters of a fixed-width record, when every field gives a width; else 0.
    long RecordWidth() const;
    const std::string& Source() const { return source_; }

  private:
    bool Fail(const std::string& message);

    std::vector<xGdfField> fields_;
    std::string source_;
};
