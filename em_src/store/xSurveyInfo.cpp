#include "xSurveyInfo.h"

#include <cstdio>

#include "xMData.h"
#include "xPendingFile.h"
#include "xPlatform.h"
#include "xSurveyDatabase.h"

namespace fs = std::filesystem;

namespace {

struct StatisticRow {
    const char* label;
    long item;
    const char* format;
};

// The northing's label is the survey window's own.
constexpr StatisticRow kRows[] = {
    {"Fiducial    \t", 0, "%14.3f\t%14.3f\n"}, {"Nothing     \t", 2, "%14.1f\t%14.1f\n"},
    {"Easting     \t", 1, "%14.1f\t%14.1f\n"}, {"Distance    \t", 5, "%14.1f\t%14.1f\n"},
    {"Topography  \t", 3, "%14.1f\t%14.1f\n"}, {"Altitude    \t", 4, "%14.1f\t%14.1f\n"}};

std::string StatisticsTable(const FloatArray& min, const FloatArray& max) {
    std::string table = "PARAMETER   \t           MIN\t           MAX\n";
    for (const auto& row : kRows) {
        const bool known = row.item >= min.Low() && row.item <= min.High() &&
                           row.item >= max.Low() && row.item <= max.High();
        char values[64];
        std::snprintf(values, sizeof values, row.format, known ? min[row.item] : 0.0f,
                      known ? max[row.item] : 0.0f);
        table += std::string(row.label) + values;
    }
    return table;
}

bool WriteTree(const fs::path& target, xMFile& file, const std::string& survey) {
    xSurveyDatabase db;
    if (!db.Create(target)) return false;
    xSurveyItem root{
        xSurveyInfo::SurveyText(survey, file), file.FileName(), 0, 0, 0, xSurveyItem::SurveyKind};
    if (db.NewNode(survey, root) < 0) return false;
    xMLineBlock line;
    file.ResetLines();
    while (file.NextLine(line)) {
        xSurveyItem item{xSurveyInfo::LineText(line), file.FileName(), 1, 0, 0,
                         xSurveyItem::LineKind};
        if (db.NewNode(std::to_string(line.number), item) < 0) return false;
    }
    return true;
}

}  // namespace

std::string xSurveyInfo::SurveyText(const std::string& survey, const xMFile& file) {
    return "Survey \t" + survey + "\n" + "Flight \t" + std::to_string(file.Flight()) + "\n" +
           "# Lines \t" + std::to_string(file.Lines()) + "\n" + "# FIDs \t" +
           std::to_string(file.Records()) + "\n" + StatisticsTable(file.Min(), file.Max());
}

std::string xSurveyInfo::LineText(const xMLineBlock& line) {
    return "Line " + std::to_string(line.number) + "\n" + StatisticsTable(line.min, line.max);
}

bool xSurveyInfo::Rebuild(const fs::path& sdb, const fs::path& bin, const std::string& survey) {
    xMData file;
    file.SetPath(bin);
    if (file.Open() != 1 || !file.ReadHeader()) return false;
    xPendingFile pending(sdb);
    if (!WriteTree(pending.Temporary(), file, survey)) return false;
    // A WAL file of the old database would be replayed into the new one.
    for (const char* suffix : {"-wal", "-shm"}) {
        std::error_code ec;
        fs::remove(fs::path(sdb) += suffix, ec);
    }
    return pending.CommitClosed();
}

bool xSurveyInfo::OpenOrRebuild(xSurveyDatabase& db, const fs::path& sdb, const fs::path& bin,
                                const std::string& survey) {
    if (!xSurveyDatabase::IsWhole(sdb)) {
        Platform().Note("The survey database " + sdb.filename().string() +
                        " is missing or damaged; it is made again from " + bin.filename().string() +
                        ".");
        if (!Rebuild(sdb, bin, survey)) return false;
    }
    return db.Open(sdb);
}
