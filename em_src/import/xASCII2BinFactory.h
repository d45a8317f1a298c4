#pragma once
// The import engine: reads the survey's ASCII files record by record, by the
// record layout of the system descriptor, and writes the project's survey file
// line by line. A line is a run of records with one label; a line flown with
// falling FID is turned round so that every line of the file has rising FID.

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "xArray.h"
#include "xMatrix.h"
#include "xProcessState.h"

class xAsciiScanner;
class xEMDesc;
class xMData;
class xMLineWriter;
class xPlatform;
class xRecordChecker;

class xASCII2BinFactory : public xProcessState {
  public:
    enum class Source { Ascii = 0, Binary = 1 };
    // Opens a text editor on the file at a byte range and waits until it is
    // closed; false when no editor could be run.
    using Editor =
        std::function<bool(const std::filesystem::path& file, std::int64_t from, std::int64_t to)>;

    // Messages and the questions of a run (a bad value, a jump the checker
    // reports) go to ui.
    explicit xASCII2BinFactory(xPlatform& ui, xProgressSink* owner = nullptr);
    ~xASCII2BinFactory() override;

    // Builds the position, gain and scale tables of the record layout.
    void SetDescriptor(const xEMDesc* descriptor);
    void SetTarget(xMData* target) { target_ = target; }
    void SetFiles(std::vector<std::filesystem::path> files) { files_ = std::move(files); }
    void SetChecker(xRecordChecker* checker) { checker_ = checker; }
    void SetSource(Source source, const std::string& name = "BINARY");
    void SetEditor(Editor editor) { editor_ = std::move(editor); }

    // Target, descriptor and files are all there; prepares the target: its
    // layout from the descriptor and the header's place reserved.
    bool Ready();
    // Every file in turn, then the header with the totals. False when the run
    // ended at a file whose line ends could not be told: the header is left as
    // reserved then.
    bool Convert();

    long RecordLength() const { return record_.Length(); }
    // Multiplier of each component's channels, 1 but for data normalised by
    // component.
    float Scale(long component) const { return scale_[component]; }

    // Captions of the bad-value question; the last stands for the "Skip all"
    // box checked together with "Skip record".
    static const std::vector<std::string>& BadValueCaptions();

  private:
    enum class Read { Ok, End, Bad };
    enum Answer { Terminate = 0, TextEditor = 1, SkipRecord = 2, SkipAll = 3 };

    void BuildTables();
    bool ConvertFile(const std::filesystem::path& file);
    bool CheckLineEnds(xAsciiScanner& in, const std::filesystem::path& file);
    // One line into the target; the records it took.
    long ReadSurveyLine(xAsciiScanner& in, const std::filesystem::path& file);
    void FinishLine(xMLineWriter& line, float firstFid, float lastFid);
    // A record into the raw items, bad values dealt with; start is where it began.
    bool ReadRecord(xAsciiScanner& in, const std::filesystem::path& file, std::int64_t& start);
    Read ReadItems(xAsciiScanner& in);
    Read ReadGeosoftRecord(xAsciiScanner& in, std::int64_t& dataStart);
    // What the user wants done with a record holding a bad value; true to read
    // on, false to end the line.
    bool BadValue(xAsciiScanner& in, const std::filesystem::path& file, std::int64_t dataStart);
    // The record read from dataStart to here goes to the report as skipped.
    void ReportSkipped(xAsciiScanner& in, const std::filesystem::path& file,
                       std::int64_t dataStart);
    // The survey's missing value, read as a float, compared as the text gave it.
    bool IsMissing(float value) const;
    // A record without FID, position or altitude cannot be placed on its line.
    bool LacksPosition() const;
    // A channel's value in the target: blank when the survey has no reading.
    float Channel(long position, float factor) const;
    // A bad value at a byte: what was expected there; with itemsFound, the
    // line ended after that many items.
    void SetBadValue(std::int64_t at, std::string expected, long itemsFound = -1);
    // Where the bad value stands and what it is, for the question.
    std::string BadValuePlace(xAsciiScanner& in, const std::filesystem::path& file);
    void Transform();
    float Raw(long position) const { return position > 0 ? raw_[position] : 0.0f; }

    xPlatform& ui_;
    const xEMDesc* descriptor_ = nullptr;
    xMData* target_ = nullptr;
    std::vector<std::filesystem::path> files_;
    xRecordChecker* checker_ = nullptr;
    Source source_ = Source::Ascii;
    std::string sourceName_ = "ASCII";
    Editor editor_;
    bool ready_ = false;

    // Record layout, positions 1-based in the raw items, 0 when absent.
    long items_ = 0;
    long posLine_ = 0, posFid_ = 0, posEast_ = 0, posNorth_ = 0, posZTopo_ = 0, posAltitude_ = 0,
         posZAsl_ = 0;
    long posAngles_[6] = {};
    std::vector<long> userPositions_;
    std::vector<char> used_;  // by position
    bool frequencyDomain_ = false;
    bool geosoft_ = false;
    long commentLines_ = 0;
    LongArray channels_;  // per component, as the target holds them
    LongArray flags_;
    FloatMatrix positions_;  // time domain [component][channel]
    FloatMatrix inPhase_, quadrature_;
    FloatMatrix gains_;
    FloatArray scale_;
    std::optional<double> missing_;

    FloatArray raw_;     // 1..items
    FloatArray record_;  // 0..R-1
    std::int64_t badValueAt_ = 0;
    std::string badValueExpected_;
    long itemsFound_ = -1;
    std::int64_t labelAt_ = 0;   // where the label item of the last record began
    bool labelRefused_ = false;  // the last Geosoft line header's label did not fit
    std::int32_t label_ = 0;
    std::int32_t lineNumber_ = 0;
    float x0_ = 0.0f, y0_ = 0.0f;
    bool altitudeWarned_ = false;

    // Across the files of one run.
    bool skipAll_ = false;
    bool floatLabelWarned_ = false;
};
