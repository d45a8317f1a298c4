#pragma once
// The survey window's texts and the making of the survey tree from a survey
// file: the root holds the survey's table, each line under it its own.

#include <filesystem>
#include <string>

#include "xMFile.h"
#include "xMLineBlock.h"

class xSurveyDatabase;

class xSurveyInfo {
  public:
    // The survey's table: name, flight, lines and FIDs, then the extremes of
    // the position items over the file.
    static std::string SurveyText(const std::string& survey, const xMFile& file);
    // A line's table: its number, then the same extremes over the line.
    static std::string LineText(const xMLineBlock& line);

    // The tree of the survey file bin, written to sdb through a pending file,
    // so a reader never sees half a tree. False after a message.
    static bool Rebuild(const std::filesystem::path& sdb, const std::filesystem::path& bin,
                        const std::string& survey);
    // sdb opened for reading; a missing or damaged one is first made again
    // from bin, with a note.
    static bool OpenOrRebuild(xSurveyDatabase& db, const std::filesystem::path& sdb,
                              const std::filesystem::path& bin, const std::string& survey);
};
