#pragma once
// System files of the ".stm" form that public surveys ship beside their data:
// nested "Name Begin" ... "Name End" blocks of "key = value" lines and tables of
// numbers, with "//" comments. xStmFile keeps the text as a tree without
// knowing any key; xStmSystem is what our descriptor builder takes from it.

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct xStmEntry {
    std::string key;  // as written; looked up without regard to case
    std::string value;
    long line = 0;
};

class xStmBlock {
  public:
    std::string name;  // as written before "Begin"; empty for the file itself
    long line = 0;     // of its "Begin"
    std::vector<xStmEntry> entries;
    std::vector<xStmBlock> blocks;
    // Lines made only of numbers, in file order; rows need not be of one length.
    std::vector<std::vector<double>> rows;
    std::vector<long> rowLines;  // the line of each row, for messages

    // The first child block or entry of that name, ignoring case; nullptr if none.
    const xStmBlock* Block(std::string_view blockName) const;
    const xStmEntry* Entry(std::string_view key) const;
    std::optional<std::string> Text(std::string_view key) const;
    // Nothing when the key is missing or its value is not exactly one number.
    std::optional<double> Number(std::string_view key) const;
    // Nothing when the key is missing or any word of its value is not a number.
    std::optional<std::vector<double>> Numbers(std::string_view key) const;
};

class xStmFile {
  public:
    // The first fault found is shown as an error naming the source and the line,
    // and the tree is left empty. 1 on success.
    bool Parse(std::string_view text, std::string source);
    bool Read(const std::filesystem::path& path);

    // The file's top level; a well-formed system file holds one "System" block.
    const xStmBlock& Root() const { return root_; }
    const std::string& Source() const { return source_; }

  private:
    xStmBlock root_;
    std::string source_;
};

struct xStmSample {
    double time = 0.0;
    double current = 0.0;
};

struct xStmWindow {
    double start = 0.0;
    double end = 0.0;
};

// Where a system file puts time zero, seen from its current waveform.
enum class xStmTimeZero {
    Unknown,
    EndOfPulse,      // current falls to zero at 0 and stays off after it
    StartOfTurnOff,  // current is at its peak at 0 and falls after it
    MidReversal,     // current passes through zero at 0 on its way to the other polarity
};

enum class xStmOutput { Unknown, B, dBdt };

// The part of a system file that a descriptor needs. Times are in seconds on the
// file's own axis; the window times are on the same axis as the waveform.
class xStmSystem {
  public:
    // Takes the System block of a parsed file. The first missing or malformed
    // item is shown as an error and the result is 0; odd values that still make
    // sense (falling waveform times, a window that ends before it starts) warn.
    bool Read(const xStmFile& file);

    std::string name;
    std::string type;  // "Time Domain" in every file seen
    double baseFrequency = 0.0;
    std::optional<std::string> waveformType;
    std::optional<double> numberOfTurns;
    std::optional<double> peakCurrent;
    std::optional<double> loopArea;
    std::optional<double> digitisingFrequency;
    std::vector<xStmSample> waveform;

    long numberOfWindows = 0;
    std::string windowWeighting;  // "Boxcar", "AreaUnderCurve"
    std::vector<xStmWindow> windows;
    std::vector<double> lowPassCutOff;  // Hz
    std::vector<double> lowPassOrder;

    std::string outputType;  // as written: "B", "dB/dt"
    xStmOutput output = xStmOutput::Unknown;
    double xScaling = 1.0;
    double yScaling = 1.0;
    double zScaling = 1.0;
    std::string normalisation = "none";  // "none", "ppm", ...
    std::optional<double> modellingLoopRadius;
    // Keys of the ReferenceGeometry block in upper case (TXRX_DX, TXRX_DZ, ...).
    std::map<std::string, double> referenceGeometry;

    double HalfPeriod() const { return baseFrequency > 0.0 ? 0.5 / baseFrequency : 0.0; }
    double WaveformSpan() const;
    // How much of a period the waveform table covers: 0.5 when it gives one
    // polarity and leaves the other to symmetry, 1 when it gives both.
    double PeriodsCovered() const { return WaveformSpan() * baseFrequency; }
    xStmTimeZero TimeZero() const;
    // The first sample at or after time zero from which the current holds
    // steady: the end of the turn-off ramp. Nothing if the current never settles.
    std::optional<double> RampEnd() const;
    // The current at time t by straight lines between the samples; 0 outside.
    double CurrentAt(double t) const;
};

const char* TimeZeroName(xStmTimeZero zero);
