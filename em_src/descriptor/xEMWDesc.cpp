#include "xEMWDesc.h"

#include <sstream>

namespace {

// More channels than this is a broken count, not a system.
constexpr long kMaxChannels = 100000;

// Weights came with version 5; frequency amplitude scaling with version 4.
constexpr long kFirstVersionWithWeights = 5;
constexpr long kFirstVersionWithFrequencyScaling = 4;

float WeightOf(const FloatArray& weights, long channel) {
    long i = weights.Low() + channel;
    return weights.InRange(i) ? weights[i] : 1.0f;
}

float Cell(const FloatMatrix& m, long row, long col) {
    const FloatArray* r = m.RowAt(m.RowLow() + row);
    if (!r) return 0.0f;
    long c = m.ColLow() + col;
    return r->InRange(c) ? (*r)[c] : 0.0f;
}

FloatArray Ones(long n) {
    FloatArray ones(n);
    for (long i = 0; i < n; ++i) ones[i] = 1.0f;
    return ones;
}

}  // namespace

xEMWDesc::xEMWDesc() : windows(1, 2), frequencies(1, 1), weights(Ones(1)) {}

bool xEMWDesc::operator==(const xEMWDesc& other) const {
    return txWaveform == other.txWaveform && rxPrimary == other.rxPrimary &&
           windows == other.windows && frequencies == other.frequencies &&
           weights == other.weights && scaleReal == other.scaleReal &&
           scaleNominal == other.scaleNominal;
}

bool xEMWDesc::Read(xDscReader& in, long version, bool frequencyDomain) {
    fileVersion = version;
    bool withWeights = version >= kFirstVersionWithWeights;
    long count = 0;

    if (frequencyDomain) {
        in.SkipSeparator();
        in.Skip("\"FREQUENCIES\"");
        if (!in.Count(count, 0, kMaxChannels)) return false;
        in.SkipSeparator();
        FloatMatrix read(count, 1);
        FloatArray readWeights = Ones(count);
        for (long r = 0; r < count; ++r) {
            bool ok = withWeights ? in.Numbers(read[r][0], readWeights[r]) : in.Numbers(read[r][0]);
            if (!ok) return false;
        }
        frequencies = read;
        weights = readWeights;
        rxPrimary.unit = FrequencyDomainUnit;
        if (version >= kFirstVersionWithFrequencyScaling) {
            in.Skip("\"AMPLITUDE SCALING\"");
            if (!in.Numbers(scaleReal, scaleNominal)) return false;
        }
        in.SkipSeparator();
        return in.Ok();
    }

    in.SkipSeparator();
    in.Skip("\"TRANSMITTER CURRENT WAVEFORM\"");
    if (!txWaveform.Read(in)) return false;
    in.SkipSeparator();
    in.Skip("\"RECEIVER PRIMARY FIELD\"");
    if (!rxPrimary.Read(in)) return false;
    in.SkipSeparator();
    in.Skip("\"RECEIVER SAMPLING\"");
    if (!in.Count(count, 0, kMaxChannels)) return false;
    in.Skip("the column header");
    FloatMatrix read(count, 2);
    FloatArray readWeights = Ones(count);
    for (long r = 0; r < count; ++r) {
        bool ok = withWeights ? in.Numbers(read[r][0], read[r][1], readWeights[r])
                              : in.Numbers(read[r][0], read[r][1]);
        if (!ok) return false;
    }
    windows = read;
    weights = readWeights;
    in.SkipSeparator();
    return in.Ok();
}

void xEMWDesc::Write(std::ostream& out, bool frequencyDomain) const {
    const std::string separator = dsc::Separator() + '\n';
    if (frequencyDomain) {
        out << separator << "FREQUENCIES\n" << frequencies.Rows() << '\n' << separator;
        for (long r = 0; r < frequencies.Rows(); ++r)
            out << dsc::Fixed(Cell(frequencies, r, 0), 12) << ' '
                << dsc::Fixed(WeightOf(weights, r), 12) << '\n';
        out << "AMPLITUDE SCALING\n"
            << dsc::Fixed(scaleReal) << ' ' << dsc::Fixed(scaleNominal) << '\n';
        out << separator;
        return;
    }

    out << separator << "TRANSMITTER CURRENT WAVEFORM\n";
    txWaveform.Write(out);
    out << separator << "RECEIVER PRIMARY FIELD\n";
    rxPrimary.Write(out);
    out << separator << "RECEIVER SAMPLING\n" << windows.Rows() << '\n';
    out << "       START          END       WEIGHT\n";
    for (long r = 0; r < windows.Rows(); ++r)
        out << dsc::Fixed(Cell(windows, r, 0), 12) << ' ' << dsc::Fixed(Cell(windows, r, 1), 12)
            << ' ' << dsc::Fixed(WeightOf(weights, r), 12) << '\n';
    out << separator;
}

FloatArray xEMWDesc::GetSampleTimes(bool frequencyDomain) const {
    long n = GetChannels(frequencyDomain);
    FloatArray times(n);
    for (long r = 0; r < n; ++r)
        times[r] = frequencyDomain ? Cell(frequencies, r, 0)
                                   : (Cell(windows, r, 0) + Cell(windows, r, 1)) / 2.0f;
    return times;
}

std::vector<std::string> xEMWDesc::Validate(const xEMSDesc& header) const {
    std::vector<std::string> refusals;
    if (header.IsFrequencyDomain()) {
        if (frequencies.Rows() == 0) refusals.push_back("Undefined frequencies.");
        return refusals;
    }
    // Not above zero covers a NaN read from a damaged file as well.
    if (!(header.realHalfPeriod > 0.0f)) refusals.push_back("Undefined halfperiod in real time.");
    if (!(header.nominalHalfPeriod > 0.0f))
        refusals.push_back("Undefined halfperiod in nominal time.");
    // The receiver waveform is the one the basis convolves with.
    if (windows.Rows() == 0 || rxPrimary.samples.Rows() == 0)
        refusals.push_back("Undefined waveform or windows.");
    // A window that ends after the half period samples the next pulse.
    for (long r = 0; r < windows.Rows(); ++r) {
        if (Cell(windows, r, 1) > header.nominalHalfPeriod) {
            std::ostringstream text;
            text << "Window " << r + 1 << " ends at " << Cell(windows, r, 1)
                 << ", past the half period of " << header.nominalHalfPeriod << ".";
            refusals.push_back(text.str());
            break;
        }
    }
    return refusals;
}
