#pragma once
// Compares each record of a survey line with the one before it and reports
// jumps of position, altitude or FID that are larger than the user allows. The
// reports go to the screen, to the project's .err file, or to both.

#include <cstdint>
#include <filesystem>
#include <string>

#include "xArray.h"
#include "xImportSettings.h"
#include "xPendingFile.h"

class xPlatform;

class xRecordChecker {
  public:
    enum Checks : std::uint32_t { CheckX = 1, CheckY = 2, CheckAltitude = 4, CheckFid = 8 };
    enum Destination : std::uint32_t { Screen = 1, ErrorFile = 2 };

    // The report file is opened (and emptied) only when the destination
    // includes it; questions and screen reports go to ui.
    xRecordChecker(const std::filesystem::path& errorFile, long recordLength,
                   const xImportSettings& settings, xPlatform& ui);
    // Puts the report file in place of the last one, and tells the user to read
    // it when anything went there.
    ~xRecordChecker();
    xRecordChecker(const xRecordChecker&) = delete;
    xRecordChecker& operator=(const xRecordChecker&) = delete;

    // The words put between a report and the FID: file, line and "FID".
    void SetContext(const std::string& context) { context_ = context; }
    // The next record is the first of a line: it is only kept for comparison.
    void SetFirstRecord() { firstRecord_ = true; }
    // Compares the record with the previous one; false when the user chose to
    // quit at a report on screen.
    bool Check(const FloatArray& record);
    // A text of the run (a skipped record, a fatal error) to every destination.
    void Report(const std::string& text);

  private:
    void Compare(long item, std::uint32_t bit, const char* what, const char* valueFormat,
                 const FloatArray& record);
    void ReportJump(const std::string& text, float fid);
    void OpenReportFile();

    xPlatform& ui_;
    std::uint32_t enabled_ = 0;
    std::uint32_t destination_ = 0;
    FloatArray limits_;
    FloatArray previous_;
    std::filesystem::path path_;
    xOutputFile file_;
    std::string context_;
    bool firstRecord_ = true;
    bool quit_ = false;
    bool wroteHere_ = false;
};
