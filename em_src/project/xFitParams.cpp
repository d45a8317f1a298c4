#include "xFitParams.h"

#include "xParFile.h"
#include "xPlatform.h"

namespace {

// Weighting tables hold one entry per component, and there are nine: any
// other count is not a table of ours and is passed over.
bool PlausibleCount(std::int32_t count) {
    return count > 0 && count < 10;
}

// The count, then per component its id and its table. A table that cannot be
// read leaves the weights as they were.
template <class ReadTable>
void ReadTables(xBlockReader& in, std::map<std::int32_t, FloatMatrix>& weights,
                ReadTable readTable) {
    std::int32_t count = 0;
    in.Get(count);
    if (!in.Ok() || !PlausibleCount(count)) return;
    std::map<std::int32_t, FloatMatrix> read;
    for (std::int32_t i = 0; i < count && in.Ok(); ++i) {
        std::int32_t id = 0;
        in.Get(id);
        readTable(read[id]);
    }
    if (in.Ok()) weights = read;
}

// The current tables hold a matrix with bounds per component.
void ReadWeights(xBlockReader& in, std::map<std::int32_t, FloatMatrix>& weights) {
    ReadTables(in, weights, [&in](FloatMatrix& table) { in.GetMatrix(table); });
}

// The older block kept one plain array with bounds per component; each
// becomes a one-row matrix, row 0, over the array's columns.
void ReadOldWeights(xBlockReader& in, std::map<std::int32_t, FloatMatrix>& weights) {
    ReadTables(in, weights, [&in](FloatMatrix& table) {
        FloatArray array;
        in.GetArray(array);
        table.Resize(0, 0, array.Low(), array.High());
        if (array.Length() > 0) table[0] = array;
    });
}

}  // namespace

xFitParams::xFitParams() : xPrsCont(Id, BlockVersion, "AMP") {}

void xFitParams::WriteBlock(xBlockWriter& out, std::streamoff) const {
    out.Put(threshold);
    out.Put(normalization);
    out.Put(algorithm);
    out.Put(selectLines);
    out.Put(primaryFit);
    out.Put(errorWeighting);
    out.Put(weightParameter);
    out.Put(saveInAscii);
    out.Put(std::int32_t(weights.size()));
    for (const auto& [id, matrix] : weights) {
        out.Put(id);
        matrix.WriteBinary(out.Stream(), true);
    }
    out.Put(smoothing);
    out.Put(calculateBackground);
    out.Put(forceToSurface);
    out.Put(minLength);
    out.Put(powerLaw);
    out.Put(primaryPercentage);
    out.Put(channelOrTau);
}

void xFitParams::ReadBlock(xBlockReader& in, std::int32_t version, std::streamoff) {
    in.Get(threshold);
    in.Get(normalization);
    in.Get(algorithm);
    in.Get(selectLines);
    in.Get(primaryFit);
    in.Get(errorWeighting);
    in.Get(weightParameter);
    // Blocks from 0xF0000 up to 0x1F0000 hold none of these three, on purpose.
    if (version >= 0x10000 && version < 0x30000) {
        in.Get(saveInAscii);
        ReadOldWeights(in, weights);
        in.Get(smoothing);
    } else if (version >= 0x30000 && version < 0xF0000) {
        ReadOldWeights(in, weights);
        in.Get(smoothing);
    } else if (version >= 0x1F0000) {
        in.Get(saveInAscii);
        ReadWeights(in, weights);
        in.Get(smoothing);
    }
    if (version > 0x1EFFFF) in.Get(calculateBackground);
    if (version > 0x3EFFFF) {
        in.Get(forceToSurface);
        in.Get(minLength);
        in.Get(powerLaw);
        in.Get(primaryPercentage);
        // A reloaded project runs with no primary percentage; the fit takes
        // another branch with 0, and that is wanted.
        primaryPercentage = 0.0f;
    }
    if (version > 0x7EFFFF) in.Get(channelOrTau);
}

// Leaving the smoothing field low while the background is on is allowed, with a
// word of warning: the background's fits follow the unsmoothed amplitudes.
void xFitParams::WarnOnLowSmoothing(xParamFields& fields) {
    xParamField& field = fields.Last();
    field.assign = [this, assign = field.assign](const std::string& text) {
        if (!assign(text)) return false;
        if (calculateBackground && smoothing <= 0.01f)
            Platform().Warning("Background can be calculated correctly only with smoothing > 0.15");
        return true;
    };
}

void xFitParams::BlockFields(xParamFields& fields) {
    fields.Float("Threshold", "ThreshHold(norm):", threshold, 0.0, 1.0);
    fields.Long("Normalization", "Normalization", normalization, 1, 4);
    fields.Add({"Algorithm", "Algorithm",
                "a sum of 128 (PLS all taus), 2048 (SVD all taus), 2 (L1Norm MinErr(1:10)), "
                "16 (L1Norm MinErrPos) and 32 (PLS(x),SVD(z)); the deconvolution runs with "
                "one of them alone",
                [this] { return std::to_string(algorithm); },
                [this](const std::string& text) {
                    constexpr long known =
                        PlsAllTaus | SvdAllTaus | L1NormMinErr | L1NormMinErrPos | PlsSvd;
                    long value;
                    if (!ParseLong(text, value) || value < 0 || (value & ~known)) return false;
                    algorithm = std::int32_t(value);
                    return true;
                }});
    fields.Flag("SelectLines", "Select line to deconvolve", selectLines);
    fields.Flag("PrimaryFit", "Primary/Mu", primaryFit);
    fields.Choice(
        "ErrorWeighting", "Error weighting", errorWeighting,
        {"No weighting", "Power % time or 1/Power % frequency", "Noise Dependent", "User Defined"});
    fields.Float("WeightParameter", "Parameter:", weightParameter, 0.0, 100.0);
    fields.Flag("SaveInAscii", "Save in ASCII", saveInAscii);
    fields.Float("Smoothing", "Smoothing (0-0.5)", smoothing, 0.0, 0.5);
    WarnOnLowSmoothing(fields);
    fields.Flag("CalculateBackground", "Calculate background", calculateBackground);
    fields.Float("ForceToSurface", "Force to surface", forceToSurface, 0.0, 1.0e6);
    fields.Float("MinLength", "Min Length", minLength, 0.0, 0.5);
    fields.Float("PowerLaw", "Power Law", powerLaw, -100.0, 100.0);
    fields.Float("PrimaryPercentage", "Primary percentage %", primaryPercentage, 0.0, 100.0);
    fields.Add({"ChannelOrTau", "Chan/Tau",
                "a whole number from 0 to 99 (one below the stored index)",
                [this] { return std::to_string(channelOrTau - 1); },
                [this](const std::string& text) {
                    long value;
                    if (!ParseLong(text, value) || value < 0 || value > 99) return false;
                    channelOrTau = std::int32_t(value + 1);
                    return true;
                }});
}
