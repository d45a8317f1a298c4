#include "xEMSDesc.h"

#include <array>
#include <sstream>
#include <utility>

#include "TextScan.h"
#include "xPlatform.h"

namespace {

constexpr const char* kNormalizationLabel = "WAVEFORM NORMALIZED BY";

struct TimeUnit {
    const char* name;
    double seconds;
};

// A "month" is 30 weeks on purpose: files of long-period systems were made with
// this factor, and a calendar month would move every time they hold.
constexpr std::array<TimeUnit, 9> kTimeUnits{{
    {"nSec", 1e-9},
    {"microsec", 1e-6},
    {"mSec", 1e-3},
    {"sec", 1.0},
    {"min", 60.0},
    {"hour", 3600.0},
    {"day", 86400.0},
    {"week", 604800.0},
    {"month", 18144000.0},
}};

// "<value>   [unit]" and "<real>  <nominal>   [unit]": the numbers lead the line.
template <class... T>
bool LeadingNumbers(const std::string& line, T&... values) {
    std::istringstream words(line);
    return static_cast<bool>((words >> ... >> values));
}

}  // namespace

std::string UnitOfLine(const std::string& line) {
    std::size_t open = line.rfind('[');
    std::size_t close = line.rfind(']');
    if (open == std::string::npos || close == std::string::npos || close < open) return "---";
    return line.substr(open + 1, close - open - 1);
}

double xEMSDesc::SecondsPer(const std::string& unit) {
    for (const TimeUnit& entry : kTimeUnits)
        if (unit == entry.name) return entry.seconds;
    return 1.0;
}

double xEMSDesc::RealSeconds(double nominal) const {
    if (IsFrequencyDomain() || nominalHalfPeriod == 0.0f) return 0.0;
    return nominal * (double(realHalfPeriod) / double(nominalHalfPeriod)) * SecondsPerUnit();
}

bool xEMSDesc::operator==(const xEMSDesc& other) const {
    return name == other.name && version == other.version && definedBy == other.definedBy &&
           dateDefined == other.dateDefined;
}

bool xEMSDesc::Read(xDscReader& in) {
    pendingLine_.clear();
    hasPendingLine_ = false;

    in.Skip("\"SYSTEM NAME\"");
    in.Line(name, "the system name");
    in.Skip("\"VERSION\"");
    in.Line(version, "the system version");
    in.Skip("\"DEFINED BY\"");
    in.Line(definedBy, "the author");
    in.Skip("\"DATE DEFINED\"");
    in.Line(dateDefined, "the date");

    in.Skip("\"TIME SCALING\"");
    constexpr const char* kScaling = "the real and nominal half periods";
    std::string line = in.Line(kScaling);
    if (in.Ok()) {
        if (LeadingNumbers(line, realHalfPeriod, nominalHalfPeriod))
            timeUnit = UnitOfLine(line);
        else
            in.Fail(kScaling);
    }

    in.Skip("\"WAVEFORM TYPE\"");
    waveformType = std::string(textscan::Trim(in.Line("the waveform type")));
    if (!IsFrequencyDomain()) {
        // The third copy is written for the reader's eye; the nominal value is
        // the one that holds.
        line = in.Line("the half period");
        float ignored = 0.0f;
        if (in.Ok() && !LeadingNumbers(line, ignored)) in.Fail("the half period");
    }
    halfPeriod = nominalHalfPeriod;

    if (!in.Line(line, "the separator line or \"" + std::string(kNormalizationLabel) + "\""))
        return false;
    if (textscan::Trim(line) == kNormalizationLabel) {
        normalization = std::string(textscan::Trim(in.Line("the normalization")));
    } else {
        // Written before waveforms could be normalised: what stands here is
        // already the next block's first line, and the next write adds the label.
        normalization = "total field";
        Platform().Note(
            "Old system descriptor, will be updated to support waveform normalization.");
        pendingLine_ = std::move(line);
        hasPendingLine_ = true;
    }
    return in.Ok();
}

void xEMSDesc::Write(std::ostream& out) const {
    out << "SYSTEM NAME\n" << name << '\n';
    out << "VERSION\n" << version << '\n';
    out << "DEFINED BY\n" << definedBy << '\n';
    out << "DATE DEFINED\n" << dateDefined << '\n';
    out << "TIME SCALING\n"
        << dsc::Fixed(realHalfPeriod) << "  " << dsc::Fixed(nominalHalfPeriod) << "   [" << timeUnit
        << "]\n";
    out << "WAVEFORM TYPE\n" << waveformType << '\n';
    if (!IsFrequencyDomain()) out << dsc::Fixed(halfPeriod) << "   [" << timeUnit << "]\n";
    out << kNormalizationLabel << '\n' << normalization << '\n';
}
