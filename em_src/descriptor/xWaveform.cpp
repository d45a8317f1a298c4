#include "xWaveform.h"

#include <sstream>

#include "TextScan.h"
#include "xEMSDesc.h"

namespace {

// Anything larger is not a waveform but a broken count.
constexpr long kMaxSamples = 100000;

}  // namespace

xWaveform::xWaveform() : samples(0, 3) {}

bool xWaveform::operator==(const xWaveform& other) const {
    if (source != other.source) return false;
    if (!IsDefined()) return true;
    return scaleFirst == other.scaleFirst && scaleSecond == other.scaleSecond &&
           unit == other.unit && samples == other.samples;
}

bool xWaveform::Read(xDscReader& in) {
    std::string line;
    if (!in.Line(line, "the waveform's source")) return false;
    *this = xWaveform();
    source = std::string(textscan::Trim(line));
    if (!IsDefined()) return true;

    in.Skip("\"AMPLITUDE SCALING\"");
    constexpr const char* kScaling = "2 numbers";
    if (!in.Line(line, kScaling)) return false;
    std::istringstream scaling(line);
    if (!(scaling >> scaleFirst >> scaleSecond)) {
        in.Fail(kScaling);
        return false;
    }
    unit = UnitOfLine(line);

    long count = 0;
    if (!in.Count(count, 0, kMaxSamples)) return false;
    in.Skip("the column header");
    FloatMatrix rows(count, 3);
    for (long r = 0; r < count; ++r)
        if (!in.Numbers(rows[r][0], rows[r][1], rows[r][2])) return false;
    // The writer closes a defined waveform with an empty line; it is never
    // looked at, so older files with anything there read the same.
    in.Skip("the empty line after the samples");
    samples = rows;
    return in.Ok();
}

void xWaveform::Write(std::ostream& out) const {
    out << source << '\n';
    if (!IsDefined()) return;
    out << "AMPLITUDE SCALING\n"
        << dsc::Fixed(scaleFirst) << "  " << dsc::Fixed(scaleSecond) << "   [" << unit << "]\n";
    out << samples.Rows() << '\n';
    out << "        TIME      CURRENT        ERROR  [ppm]\n";
    for (long r = 0; r < samples.Rows(); ++r) {
        const FloatArray& row = samples[samples.RowLow() + r];
        for (long c = 0; c < 3; ++c) {
            if (c > 0) out << ' ';
            out << dsc::Fixed(row.InRange(row.Low() + c) ? row[row.Low() + c] : 0.0f, 12);
        }
        out << '\n';
    }
    out << '\n';
}
