#pragma once
// What is written from a CDI file: the choice of report by its SaveAscii code,
// the items of the user pattern, and the conductance table that a CDI pass
// fills as it goes. The layouts themselves are xMCond's dumps.

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "xMCond.h"
#include "xPendingFile.h"

// One item of the user pattern: a record item (index 0 and up) or a mark.
struct xItem {
    static constexpr long EndOfLine = -1;
    static constexpr long Text = -2;  // label written as it stands
    static constexpr long GroupEnd = -3;
    static constexpr long GroupBegin = -4;
    static constexpr long LineNumber = -5;  // "Line#": from the line, not the record

    std::string label;
    long index = 0;
    std::string format;
    bool operator==(const xItem&) const = default;
};

// The items a pattern may name, in the order a pattern of nothing writes
// them; sections: bit 1 adds "DC(depth m)", bit 2 "LC(depth m)" per depth.
std::vector<xItem> CdiSourceItems(const xMCond& cnd, int sections);
// Pattern text against a source list: blank-separated tokens LABEL[:FORMAT],
// "text"[:FORMAT], EOL, { and }[:FORMAT]. Labels match with their blanks
// left out. An open group is closed and a last EOL added. False after the
// first fault was reported.
bool ParseCdiPattern(const std::string& text, const std::vector<xItem>& source,
                     std::vector<xItem>& items);

struct xCdiOutputOptions {
    std::filesystem::path out;      // file, or stem for per-line and GDF2 outputs
    bool forceToSurface = false;    // AirMode 1
    int sections = 1;               // bit 1 discrete, bit 2 layered (DisplayFlags bits 1 and 2)
    std::string pattern;            // user pattern text, code 10
    int units = 1;                  // bits 1 mS/m, 2 S/m, 4 ohm-m, code 18
    std::optional<float> alignTop;  // depth grid
    std::string extension = "DOC";
};

// SaveAscii code 10..18 (14 writes nothing); false after the failure was reported.
// The user pattern's question goes to questions.
bool SaveCdiOutput(xMCond& cnd, int code, const xCdiOutputOptions& options, xPlatform& questions);
// What a code wrote, as a person looks for it: per-line layouts as
// stem-<line>.ext, the GDF2 pair as its two files.
std::string DescribeCdiOutput(int code, const xCdiOutputOptions& options);
// Where a code writes by default beside the CND file; empty for 14.
std::filesystem::path DefaultCdiOutputPath(const std::filesystem::path& cnd, int code);

// The ASCII conductance table, written record by record while a CDI pass runs.
class xConductanceTable {
  public:
    // Writes "/Conductance Table", the CND header dump, "/" + the nine names of
    // items 0..8 in "14s", the depths, the rule. False, with "Cannot open a file
    // to store ASCII conductance table.", when the file cannot be made.
    bool Open(const std::filesystem::path& path, const xMCond& cnd);
    void WriteLineHeader(std::int32_t line);
    // Items 0..8 of a CND record in "14f2" six times, "14f5", "14e4", "14e4",
    // then the record's conductance column (one value per depth, "14e4").
    void WriteRow(const float* record, const std::vector<float>& column);
    bool IsOpen() const { return file_.IsOpen(); }
    // The table takes its place only when the pass finished.
    bool Commit() { return file_.Commit(); }

  private:
    xOutputFile file_;
    std::ostream& out_ = file_.Stream();

  public:
    xConductanceTable() = default;
    xConductanceTable(const xConductanceTable&) = delete;
    xConductanceTable& operator=(const xConductanceTable&) = delete;
};
