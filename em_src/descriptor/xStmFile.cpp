#include "xStmFile.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "TextScan.h"
#include "xPlatform.h"
#include "xReadError.h"

using textscan::Quoted;
using textscan::SameText;
using textscan::Trim;

namespace {

constexpr std::size_t kDeepestNesting = 32;

// "<file>:<line>: ", the lead of every message that points into the file.
std::string At(const std::string& source, long line) {
    return AtLine(source, line, "");
}

// A comment runs from "//" to the end of its line.
std::string_view WithoutComment(std::string_view line) {
    std::size_t slashes = line.find("//");
    return slashes == std::string_view::npos ? line : line.substr(0, slashes);
}

std::optional<std::vector<double>> AllNumbers(const std::vector<std::string_view>& words) {
    std::vector<double> values;
    values.reserve(words.size());
    for (std::string_view word : words) {
        std::optional<double> value = textscan::Number(word);
        if (!value) return std::nullopt;
        values.push_back(*value);
    }
    return values;
}

}  // namespace

const xStmBlock* xStmBlock::Block(std::string_view blockName) const {
    for (const xStmBlock& block : blocks)
        if (SameText(block.name, blockName)) return &block;
    return nullptr;
}

const xStmEntry* xStmBlock::Entry(std::string_view key) const {
    for (const xStmEntry& entry : entries)
        if (SameText(entry.key, key)) return &entry;
    return nullptr;
}

std::optional<std::string> xStmBlock::Text(std::string_view key) const {
    const xStmEntry* entry = Entry(key);
    if (!entry) return std::nullopt;
    return entry->value;
}

std::optional<double> xStmBlock::Number(std::string_view key) const {
    const xStmEntry* entry = Entry(key);
    if (!entry) return std::nullopt;
    return textscan::Number(entry->value);
}

std::optional<std::vector<double>> xStmBlock::Numbers(std::string_view key) const {
    const xStmEntry* entry = Entry(key);
    if (!entry) return std::nullopt;
    return AllNumbers(textscan::SplitBlanks(entry->value));
}

bool xStmFile::Parse(std::string_view text, std::string source) {
    root_ = xStmBlock{};
    source_ = std::move(source);
    // Ancestors stay put while a child is open: a block's siblings are only
    // added after it has closed, so these pointers never dangle.
    std::vector<xStmBlock*> open{&root_};
    auto fail = [this](const std::string& message) {
        Platform().Error("xStmFile: " + message);
        root_ = xStmBlock{};
        return false;
    };

    long lineNumber = 0;
    for (std::string_view raw : textscan::Lines(text)) {
        ++lineNumber;
        std::string_view line = Trim(WithoutComment(raw));
        if (line.empty()) continue;
        xStmBlock& current = *open.back();

        if (std::size_t equals = line.find('='); equals != std::string_view::npos) {
            std::string_view key = Trim(line.substr(0, equals));
            if (key.empty() || textscan::SplitBlanks(key).size() != 1)
                return fail(At(source_, lineNumber) + "the key of " + Quoted(line) +
                            " is not one word.");
            current.entries.push_back(
                {std::string(key), std::string(Trim(line.substr(equals + 1))), lineNumber});
            continue;
        }

        std::vector<std::string_view> words = textscan::SplitBlanks(line);
        if (words.size() == 2 && SameText(words[1], "Begin")) {
            xStmBlock child;
            child.name = std::string(words[0]);
            child.line = lineNumber;
            // Real files nest three deep; a limit keeps a broken one from
            // exhausting the stack when its tree is freed.
            if (open.size() > kDeepestNesting)
                return fail(At(source_, lineNumber) + "blocks nest deeper than " +
                            std::to_string(kDeepestNesting) + ".");
            current.blocks.push_back(std::move(child));
            open.push_back(&current.blocks.back());
            continue;
        }
        if (words.size() == 2 && SameText(words[1], "End")) {
            if (open.size() == 1)
                return fail(At(source_, lineNumber) + Quoted(line) + " has no matching Begin.");
            if (!SameText(words[0], current.name))
                return fail(At(source_, lineNumber) + Quoted(line) + " does not close " +
                            Quoted(current.name) + " (opened at line " +
                            std::to_string(current.line) + ").");
            open.pop_back();
            continue;
        }
        if (std::optional<std::vector<double>> row = AllNumbers(words)) {
            if (open.size() == 1)
                return fail(At(source_, lineNumber) + "numbers outside any block.");
            current.rows.push_back(std::move(*row));
            current.rowLines.push_back(lineNumber);
            continue;
        }
        return fail(At(source_, lineNumber) + "cannot read " + Quoted(line) +
                    "; expected \"Name Begin\", \"Name End\", \"key = value\" or a row of "
                    "numbers.");
    }
    if (open.size() > 1) {
        const xStmBlock& unclosed = *open.back();
        return fail(source_ + ": " + Quoted(unclosed.name) + " (opened at line " +
                    std::to_string(unclosed.line) + ") has no End.");
    }
    return true;
}

bool xStmFile::Read(const std::filesystem::path& path) {
    std::string text;
    if (!textscan::ReadWholeFile(path, text)) {
        root_ = xStmBlock{};
        source_ = path.string();
        Platform().Error("xStmFile: cannot open < " + path.string() + " >.");
        return false;
    }
    return Parse(text, path.string());
}

// ---------------------------------------------------------------------------

namespace {

// Reads what the view needs and remembers the first fault: each step is skipped
// once one has failed, so that only one error reaches the user.
class StmReader {
  public:
    explicit StmReader(const std::string& source) : source_(source) {}

    bool ok() const { return ok_; }

    const xStmBlock* Require(const xStmBlock* parent, std::string_view name) {
        if (!ok_ || !parent) return nullptr;
        const xStmBlock* block = parent->Block(name);
        if (!block)
            Fail("no " + Quoted(name) + " block" +
                 (parent->name.empty() ? std::string() : " in " + parent->name) + ".");
        return block;
    }

    // A number that must be there; nothing (after the error) otherwise.
    std::optional<double> RequiredNumber(const xStmBlock* block, std::string_view key) {
        if (!ok_ || !block) return std::nullopt;
        if (!block->Entry(key)) {
            Fail(Quoted(key) + " is missing from " + block->name + ".");
            return std::nullopt;
        }
        return OptionalNumber(block, key);
    }

    // Absent is fine; present and not a number is a fault.
    std::optional<double> OptionalNumber(const xStmBlock* block, std::string_view key) {
        if (!ok_ || !block) return std::nullopt;
        const xStmEntry* entry = block->Entry(key);
        if (!entry) return std::nullopt;
        std::optional<double> value = textscan::Number(entry->value);
        if (!value) NotNumbers(*entry, "is not a number.");
        return value;
    }

    std::vector<double> OptionalNumbers(const xStmBlock* block, std::string_view key) {
        if (!ok_ || !block) return {};
        const xStmEntry* entry = block->Entry(key);
        if (!entry) return {};
        std::optional<std::vector<double>> values = block->Numbers(key);
        if (!values) {
            NotNumbers(*entry, "is not a list of numbers.");
            return {};
        }
        return *values;
    }

    // A table of rows of exactly `columns` numbers.
    const xStmBlock* Table(const xStmBlock* parent, std::string_view name, std::size_t columns,
                           const char* what) {
        const xStmBlock* table = Require(parent, name);
        if (!table) return nullptr;
        for (std::size_t i = 0; i < table->rows.size(); ++i) {
            if (table->rows[i].size() != columns) {
                Fail(table->name + " row " + std::to_string(i + 1) + " (line " +
                     std::to_string(table->rowLines[i]) + ") has " +
                     std::to_string(table->rows[i].size()) +
                     (table->rows[i].size() == 1 ? " number" : " numbers") + "; expected " +
                     std::to_string(columns) + " (" + what + ").");
                return nullptr;
            }
        }
        return table;
    }

    void Fail(const std::string& message) {
        if (!ok_) return;
        ok_ = false;
        Platform().Error("xStmSystem: " + source_ + ": " + message);
    }
    void Warn(const std::string& message) {
        Platform().Warning("xStmSystem: " + source_ + ": " + message);
    }

  private:
    void NotNumbers(const xStmEntry& entry, const char* what) {
        Fail(Quoted(entry.key + " = " + entry.value) + " (line " + std::to_string(entry.line) +
             ") " + what);
    }

    const std::string& source_;
    bool ok_ = true;
};

}  // namespace

bool xStmSystem::Read(const xStmFile& file) {
    *this = xStmSystem{};
    StmReader in(file.Source());

    const xStmBlock* system = in.Require(&file.Root(), "System");
    if (system) {
        name = system->Text("Name").value_or("");
        type = system->Text("Type").value_or("");
    }

    const xStmBlock* tx = in.Require(system, "Transmitter");
    if (std::optional<double> f = in.RequiredNumber(tx, "BaseFrequency")) {
        if (*f > 0.0)
            baseFrequency = *f;
        else
            in.Fail("BaseFrequency must be above 0 (line " +
                    std::to_string(tx->Entry("BaseFrequency")->line) + ").");
    }
    if (tx) waveformType = tx->Text("WaveformType");
    numberOfTurns = in.OptionalNumber(tx, "NumberOfTurns");
    peakCurrent = in.OptionalNumber(tx, "PeakCurrent");
    loopArea = in.OptionalNumber(tx, "LoopArea");
    digitisingFrequency = in.OptionalNumber(tx, "WaveformDigitisingFrequency");
    if (const xStmBlock* table = in.Table(tx, "WaveFormCurrent", 2, "time, current")) {
        if (table->rows.size() < 2) {
            in.Fail("WaveFormCurrent needs at least 2 rows; it has " +
                    std::to_string(table->rows.size()) + ".");
        } else {
            for (const std::vector<double>& row : table->rows) waveform.push_back({row[0], row[1]});
            for (std::size_t i = 1; i < waveform.size(); ++i)
                if (waveform[i].time <= waveform[i - 1].time)
                    in.Warn("WaveFormCurrent times do not rise at line " +
                            std::to_string(table->rowLines[i]) + ".");
        }
    }

    const xStmBlock* rx = in.Require(system, "Receiver");
    std::optional<double> count = in.OptionalNumber(rx, "NumberOfWindows");
    if (rx) windowWeighting = rx->Text("WindowWeightingScheme").value_or("");
    if (const xStmBlock* table = in.Table(rx, "WindowTimes", 2, "start, end")) {
        for (const std::vector<double>& row : table->rows) windows.push_back({row[0], row[1]});
        numberOfWindows = static_cast<long>(windows.size());
        if (windows.empty()) in.Fail("WindowTimes is empty.");
        // A count that disagrees with the table most often means a table cut short.
        if (count && *count != static_cast<double>(windows.size()))
            in.Fail("NumberOfWindows = " + rx->Entry("NumberOfWindows")->value +
                    " but WindowTimes has " + std::to_string(windows.size()) + " rows.");
        for (std::size_t i = 0; in.ok() && i < windows.size(); ++i)
            if (windows[i].end <= windows[i].start)
                in.Warn("window " + std::to_string(i + 1) + " (line " +
                        std::to_string(table->rowLines[i]) + ") does not end after it starts.");
    }
    const xStmBlock* filter = rx ? rx->Block("LowPassFilter") : nullptr;
    lowPassCutOff = in.OptionalNumbers(filter, "CutOffFrequency");
    lowPassOrder = in.OptionalNumbers(filter, "Order");

    if (in.ok()) {
        const xStmBlock* forward = system->Block("ForwardModelling");
        if (!forward) {
            in.Warn("no \"ForwardModelling\" block: the output type is unknown.");
        } else {
            outputType = forward->Text("OutputType").value_or("");
            if (SameText(outputType, "B"))
                output = xStmOutput::B;
            else if (SameText(outputType, "dB/dt") || SameText(outputType, "dBdt"))
                output = xStmOutput::dBdt;
            else
                in.Warn("OutputType " + Quoted(outputType) + " is neither B nor dB/dt.");
            xScaling = in.OptionalNumber(forward, "XOutputScaling").value_or(1.0);
            yScaling = in.OptionalNumber(forward, "YOutputScaling").value_or(1.0);
            zScaling = in.OptionalNumber(forward, "ZOutputScaling").value_or(1.0);
            normalisation = forward->Text("SecondaryFieldNormalisation").value_or("none");
            modellingLoopRadius = in.OptionalNumber(forward, "ModellingLoopRadius");
        }
        if (const xStmBlock* geometry = system->Block("ReferenceGeometry")) {
            for (const xStmEntry& entry : geometry->entries)
                if (std::optional<double> value = in.OptionalNumber(geometry, entry.key))
                    referenceGeometry[textscan::Upper(entry.key)] = *value;
        }
    }

    if (!in.ok()) *this = xStmSystem{};
    return in.ok();
}

double xStmSystem::WaveformSpan() const {
    return waveform.size() < 2 ? 0.0 : waveform.back().time - waveform.front().time;
}

double xStmSystem::CurrentAt(double t) const {
    for (std::size_t i = 1; i < waveform.size(); ++i) {
        const xStmSample& a = waveform[i - 1];
        const xStmSample& b = waveform[i];
        if (t < a.time || t > b.time) continue;
        if (b.time == a.time) return b.current;
        return a.current + (b.current - a.current) * (t - a.time) / (b.time - a.time);
    }
    return 0.0;
}

namespace {

double PeakCurrent(const std::vector<xStmSample>& waveform) {
    double peak = 0.0;
    for (const xStmSample& sample : waveform) peak = std::max(peak, std::abs(sample.current));
    return peak;
}

}  // namespace

xStmTimeZero xStmSystem::TimeZero() const {
    if (waveform.size() < 2 || waveform.front().time > 0.0 || waveform.back().time < 0.0)
        return xStmTimeZero::Unknown;
    double peak = PeakCurrent(waveform);
    if (peak == 0.0) return xStmTimeZero::Unknown;
    // The tables are typed by hand to three or four figures.
    double tolerance = 1e-3 * peak;
    double atZero = CurrentAt(0.0);
    if (std::abs(atZero) >= peak - tolerance) return xStmTimeZero::StartOfTurnOff;
    if (std::abs(atZero) > tolerance) return xStmTimeZero::Unknown;

    // The nearest samples on either side that are not at zero itself.
    const xStmSample* before = nullptr;
    const xStmSample* after = nullptr;
    for (const xStmSample& sample : waveform) {
        if (sample.time < 0.0) before = &sample;
        if (sample.time > 0.0 && !after) after = &sample;
    }
    if (!before || !after || std::abs(before->current) <= tolerance) return xStmTimeZero::Unknown;
    if (std::abs(after->current) <= tolerance) return xStmTimeZero::EndOfPulse;
    if ((before->current > 0.0) != (after->current > 0.0)) return xStmTimeZero::MidReversal;
    return xStmTimeZero::Unknown;
}

std::optional<double> xStmSystem::RampEnd() const {
    // Exact: the tail of a ramp is typed down to 1e-4 of the peak and more, and
    // a plateau is typed as the same figure twice.
    for (std::size_t i = 0; i + 1 < waveform.size(); ++i)
        if (waveform[i].time >= 0.0 && waveform[i + 1].current == waveform[i].current)
            return waveform[i].time;
    return std::nullopt;
}

const char* TimeZeroName(xStmTimeZero zero) {
    switch (zero) {
        case xStmTimeZero::EndOfPulse:
            return "end of pulse";
        case xStmTimeZero::StartOfTurnOff:
            return "start of turn-off";
        case xStmTimeZero::MidReversal:
            return "mid reversal";
        case xStmTimeZero::Unknown:
            break;
    }
    return "unknown";
}
