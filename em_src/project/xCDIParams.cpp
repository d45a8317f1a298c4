#include "xCDIParams.h"

#include <cmath>
#include <vector>

#include "xParFile.h"

namespace {

constexpr long kTzRx = 107;
constexpr long kTzRz = 109;

std::string ShowArray(const FloatArray& array) {
    std::string text;
    for (long i = array.Low(); i <= array.High(); ++i)
        text += (i == array.Low() ? "" : ", ") + ShowFloat(array[i]);
    return text;
}

bool ParseFloats(const std::string& text, std::vector<float>& values) {
    values.clear();
    for (const std::string& item : SplitList(text)) {
        double value;
        if (!ParseDouble(item, value)) return false;
        values.push_back(float(value));
    }
    return true;
}

// A list of values for an array whose bounds stay as they are.
xParamField ArrayField(const std::string& name, const std::string& label, FloatArray& array) {
    return {name, label,
            "numbers separated by commas, one for each index from " + std::to_string(array.Low()) +
                " to " + std::to_string(array.High()),
            [&array] { return ShowArray(array); },
            [&array](const std::string& text) {
                std::vector<float> values;
                if (!ParseFloats(text, values) || long(values.size()) != array.Length())
                    return false;
                for (long i = 0; i < array.Length(); ++i) array[array.Low() + i] = values[i];
                return true;
            }};
}

}  // namespace

FloatArray xCDIParams::LogSpaced(float low, float high, std::int32_t count) {
    FloatArray values(1, count);
    if (count < 1) return values;
    const double first = std::log10(double(low));
    const double last = std::log10(double(high));
    values[1] = low;
    for (std::int32_t i = 1; i < count; ++i)
        values[i + 1] = float(std::pow(10.0, first + i * (last - first) / (count - 1)));
    return values;
}

xCDIParams::xCDIParams()
    : xPrsCont(Id, BlockVersion, "CND"),
      conductivities(LogSpaced(LowConductivity, HighConductivity, MaxConductivities)),
      componentWeights(100, 109),
      crossComponents(101, 109) {
    componentWeights[kTzRx] = 1.0f;
    componentWeights[kTzRz] = 1.0f;
}

void xCDIParams::WriteBlock(xBlockWriter& out, std::streamoff) const {
    out.Put(maxAltitude);
    out.Put(maxDepth);
    out.Put(depthResolution);
    out.Put(useAllTaus);
    out.Put(fromTau);
    out.Put(toTau);
    out.Put(cutOffFactor);
    out.Put(std::int16_t(mode));
    out.Put(forceToSurface);
    out.Put(cut);
    out.Put(predict);
    out.Put(saveAscii);
    out.Put(displayFlags);
    out.Put(layerCount);
    out.Put(condCount);
    // Exactly condCount values follow the count, whatever the array holds.
    for (std::int32_t i = 1; i <= condCount; ++i)
        out.Put(conductivities.InRange(i) ? conductivities[i] : 0.0f);
    componentWeights.WriteBinary(out.Stream(), true);
    out.Put(manualLines);
    out.Put(showPenetration);
    crossComponents.WriteBinary(out.Stream(), true);
    out.Put(logDepths);
    out.Put(autoRange);
    out.Put(showTopography);
    out.PutText(userPattern);
    out.Put(cdiType);
    out.Put(airMode);
    out.Put(layerLines);
    out.Put(showAltitude);
}

void xCDIParams::ReadBlock(xBlockReader& in, std::int32_t version, std::streamoff) {
    in.Get(maxAltitude);
    in.Get(maxDepth);
    in.Get(depthResolution);
    in.Get(useAllTaus);
    in.Get(fromTau);
    in.Get(toTau);
    in.Get(cutOffFactor);
    std::int16_t storedMode = std::int16_t(mode);
    in.Get(storedMode);
    mode = storedMode;
    // Meant to bring an illegal mode back to 1, the test can never pass: the
    // stored value stands, and files rely on that.
    const bool negative = mode < 0;
    const bool aboveThree = mode > 3;
    if (negative && aboveThree) mode = 1;
    in.Get(forceToSurface);
    in.Get(cut);
    in.Get(predict);
    in.Get(saveAscii);
    in.Get(displayFlags);
    in.Get(layerCount);
    std::int32_t count = condCount;
    in.Get(count);
    if (in.Ok() && (count < 0 || count > MaxConductivities))
        in.Stream().setstate(std::ios::failbit);
    else if (in.Ok()) {
        FloatArray values(1, count);
        for (std::int32_t i = 1; i <= count; ++i) in.Get(values[i]);
        if (in.Ok()) {
            condCount = count;
            conductivities = values;
        }
    }
    in.GetArray(componentWeights);
    in.Get(manualLines);
    in.Get(showPenetration);
    if (version > 0xFFFF) {
        in.GetArray(crossComponents);
        in.Get(logDepths);
    }
    if (version > 0x1FFFF) in.Get(autoRange);
    if (version > 0x3FFFF) {
        in.Get(showTopography);
        in.GetText(userPattern);
    }
    if (version > 0x7FFFF) in.Get(cdiType);
    if (version > 0x8FFFF) in.Get(airMode);
    if (version == 0xA0000) {
        std::int16_t shortLines = 0;
        in.Get(shortLines);
    } else if (version > 0x9FFFF) {
        in.Get(layerLines);
    }
    // Layer boundaries are never carried over from a stored project.
    layerLines = 0;
    if (version > 0xBFFFF) in.Get(showAltitude);
}

void xCDIParams::BlockFields(xParamFields& fields) {
    fields.Long("MaxAltitude", "Max Altitude", maxAltitude, 1, 10000);
    fields.Long("MaxDepth", "Max Depth(m):", maxDepth, 1, 10000);
    fields.Long("DepthResolution", "Depth Resolution(m):", depthResolution, 1, 1000);
    fields.Flag("UseAllTaus", "Use all TAUs:", useAllTaus);
    fields.Long("FromTau", "from:", fromTau, 1, 1000);
    fields.Long("ToTau", "to", toTau, 1, 1000);
    fields.Float("CutOffFactor", "Time CutOff:", cutOffFactor, 0.0, 100.0);
    fields.Choice("Mode", "Mode", mode,
                  {"Draw Existing CDI", "Process for CDI", "Draw Existing CrossComp Analysis",
                   "Process CrossComp.Analysis"});
    fields.Flag("ForceToSurface", "Force conductors at the surface:", forceToSurface);
    fields.Flag("Cut", "Cut", cut);
    fields.Flag("Predict", "Predict", predict);
    fields.Long("SaveAscii", "Save ASCII", saveAscii, 10, 19);
    fields.Long("DisplayFlags", "Display", displayFlags, 0, 0x7FFFFFFF);
    fields.Long("LayerCount", "Number of layers:", layerCount, 1, 100);
    // A new count spaces the conductivities afresh between the present ends.
    fields.Add({"CondCount", "Number of conductivities", "a number from 1 to 250",
                [this] { return std::to_string(condCount); },
                [this](const std::string& text) {
                    long value;
                    if (!ParseLong(text, value) || value < 1 || value > MaxConductivities)
                        return false;
                    const bool ends = conductivities.Length() > 0;
                    const float low = ends ? conductivities[conductivities.Low()] : LowConductivity;
                    const float high =
                        ends ? conductivities[conductivities.High()] : HighConductivity;
                    condCount = std::int32_t(value);
                    conductivities = LogSpaced(low, high, condCount);
                    return true;
                }});
    fields.Add({"Conductivities", "Conductivities (mS/m)",
                "1 to 250 positive numbers separated by commas",
                [this] { return ShowArray(conductivities); },
                [this](const std::string& text) {
                    std::vector<float> values;
                    if (!ParseFloats(text, values) || values.empty() ||
                        long(values.size()) > MaxConductivities)
                        return false;
                    for (float value : values)
                        if (!(value > 0.0f)) return false;
                    condCount = std::int32_t(values.size());
                    conductivities = FloatArray(1, condCount);
                    for (std::int32_t i = 1; i <= condCount; ++i) conductivities[i] = values[i - 1];
                    return true;
                }});
    fields.Add(ArrayField("ComponentWeights", "Component weighting coefficients(parts per comp-nt)",
                          componentWeights));
    fields.Flag("ManualLines", "Select lines to process manually", manualLines);
    fields.Flag("ShowPenetration", "penetration depth", showPenetration);
    fields.Add(ArrayField("CrossComponents", "Cross components", crossComponents));
    fields.Long("LogDepths", "Depth from 1 to 2000m in log scale.", logDepths, 0, 1);
    fields.Flag("AutoRange", "Define automatically.", autoRange);
    fields.Flag("ShowTopography", "topography", showTopography);
    fields.Text("UserPattern", "User pattern", userPattern);
    fields.Choice("CdiType", "CDI type", cdiType, {"Full CDI", "Background"});
    fields.Choice("AirMode", "Conductors in air", airMode, {"Allow in air", "Force to surface"});
    fields.Long("LayerLines", "layer boundaries", layerLines, 0, 3);
    fields.Flag("ShowAltitude", "altitude", showAltitude);
}
