#include "xErrWeight.h"

#include <cmath>

#include "xEMDesc.h"
#include "xPlatform.h"
#include "xTRClasf.h"

namespace {

FloatMatrix OneRow(long columns, float value) {
    FloatMatrix row(1, 1, 1, columns);
    row.Fill(value);
    return row;
}

// Divides by the largest weight; answers false when that is not positive.
bool ScaleToMaximum(FloatArray& w) {
    float largest = 0.0f;
    for (long i = w.Low(); i <= w.High(); ++i)
        if (i == w.Low() || w[i] > largest) largest = w[i];
    if (!(largest > 0.0f)) return false;
    for (long i = w.Low(); i <= w.High(); ++i) w[i] /= largest;
    return true;
}

FloatMatrix PowerWeights(const xEMWDesc& wave, bool frequencyDomain, float power,
                         xPlatform& messages) {
    FloatArray w;
    if (frequencyDomain) {
        // One value per frequency, not one per half: old projects hold it so.
        const FloatMatrix& f = wave.GetFrequencies();
        w.Resize(1, f.Rows());
        for (long i = 1; i <= f.Rows(); ++i)
            w[i] = std::pow(1.0f / f[f.RowLow() + i - 1][f.ColLow()], power);
    } else {
        // The power goes on each window's width, not on its time.
        const FloatMatrix& windows = wave.GetWindows();
        const bool bothEnds = windows.Cols() >= 2;
        w.Resize(1, bothEnds ? windows.Rows() : 0);
        for (long i = 1; i <= w.Length(); ++i) {
            const FloatArray& window = windows[windows.RowLow() + i - 1];
            const long start = windows.ColLow();
            w[i] = std::pow(std::fabs(window[start + 1] - window[start]), power);
        }
    }
    if (!ScaleToMaximum(w)) {
        messages.Warning(
            "Creating error weighting function for Deconvolution: Max=0 has been detected.\n"
            "No weighting will be used ...");
        for (long i = w.Low(); i <= w.High(); ++i) w[i] = 1.0f;
    }
    FloatMatrix table(1, 1, 1, w.Length());
    for (long i = 1; i <= w.Length(); ++i) table[1][i] = w[i];
    return table;
}

}  // namespace

void xErrWeight::Set(const std::map<std::string, FloatMatrix>& weights, std::int32_t type,
                     float parameter, const xEMDesc& descriptor, xPlatform& messages) {
    std::map<std::string, FloatMatrix>::operator=(weights);
    type_ = type;
    parameter_ = std::fabs(parameter) < SmallestParameter ? SmallestParameter : parameter;
    Recompute(descriptor, messages);
}

void xErrWeight::Set(const std::map<std::int32_t, FloatMatrix>& weights, std::int32_t type,
                     float parameter, const xEMDesc& descriptor, xPlatform& messages) {
    std::map<std::string, FloatMatrix> byName;
    for (const auto& [id, matrix] : weights) byName[ComponentName(id)] = matrix;
    Set(byName, type, parameter, descriptor, messages);
}

std::map<std::int32_t, FloatMatrix> xErrWeight::ById() const {
    std::map<std::int32_t, FloatMatrix> byId;
    for (const auto& [name, matrix] : *this) byId[std::int32_t(ComponentId(name))] = matrix;
    return byId;
}

void xErrWeight::Recompute(const xEMDesc& descriptor, xPlatform& messages) {
    const bool fd = descriptor.IsFrequencyDomain();
    for (const auto& [id, component] : descriptor.Components()) {
        const std::string name = ComponentName(id);
        const long channels = component.wave.GetChannels(fd) * (fd ? 2 : 1);
        switch (type_) {
            case PowerOfTime:
                (*this)[name] = PowerWeights(component.wave, fd, parameter_, messages);
                break;
            case UserDefined:
                // The user's table stands as entered, signs and all; a component
                // the user never saw gets ones so that the fit can go on.
                if (find(name) == end()) (*this)[name] = OneRow(channels, 1.0f);
                break;
            default:
                // No weighting, and the noise weights until the first record.
                (*this)[name] = OneRow(channels, 1.0f);
                break;
        }
    }
}

const FloatMatrix* xErrWeight::Get(const std::string& component) const {
    const auto found = find(component);
    return found == end() ? nullptr : &found->second;
}

const FloatMatrix* xErrWeight::Get(long id) const {
    return Get(ComponentName(id));
}

FloatArray xErrWeight::GetRow(const std::string& component) const {
    const FloatMatrix* table = Get(component);
    if (table == nullptr || table->Rows() < 1) return FloatArray(1, 0);
    return (*table)[table->RowLow()];
}

FloatArray xErrWeight::GetRow(long id) const {
    return GetRow(ComponentName(id));
}

void xErrWeight::Store(const std::string& component, const FloatMatrix& matrix) {
    (*this)[component] = matrix;
}

FloatArray xErrWeight::ComputeNoiseWeights(const FloatArray& data, float noise, float scale) const {
    const float level = std::fabs(noise / scale) < 1e-10f ? 1e-10f : noise * parameter_ / scale;
    FloatArray w(data.Low(), data.High());
    for (long i = data.Low(); i <= data.High(); ++i) {
        const float v = data[i];
        if (v < 1e-10f) {
            w[i] = 0.0f;
            continue;
        }
        const float q = std::fabs(v) >= level ? v / level : level / v;
        w[i] = std::sqrt(1.0f / (q * q + 1.0f));
    }
    // A record with nothing above the floor keeps its zeros.
    ScaleToMaximum(w);
    return w;
}
