#include "xDecayData.h"

#include <cmath>
#include <limits>

#include "xAofTau.h"
#include "xFitFactory.h"
#include "xMData.h"
#include "xMLine.h"
#include "xMLineBlock.h"
#include "xRecordLayout.h"
#include "xTRClasf.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

std::vector<double> Values(const FloatArray& values, bool blanksMissing) {
    std::vector<double> out;
    for (long i = values.Low(); i <= values.High(); ++i)
        out.push_back(blanksMissing && values[i] == BlankValue ? kNaN : double(values[i]));
    return out;
}

// Window centres in ms from the basis's start and end rows in seconds; a
// frequency-domain basis has one row, the frequencies.
std::vector<double> Centres(const FloatMatrix& windows) {
    std::vector<double> centres;
    const long start = windows.RowLow();
    for (long c = windows.ColLow(); c <= windows.ColHigh(); ++c)
        centres.push_back(windows.Rows() == 1
                              ? double(windows[start][c])
                              : 500.0 * (double(windows[start][c]) + windows[start + 1][c]));
    return centres;
}

std::string ComponentText(long component) {
    return "component " + ComponentName(component);
}

// Blank residuals, of windows not measured, are left out.
std::vector<double> ChannelRms(xMLine& line, const xRecordLayout& layout, long component,
                               double scale) {
    const auto channels = std::size_t(layout.ChannelCount(component));
    std::vector<double> sums(channels, 0.0), counts(channels, 0.0);
    for (long r = 0; r < line.Rows(); ++r) {
        const float* values = xRecordView(layout, line.Row(r).Data()).Channels(component);
        for (std::size_t c = 0; c < channels; ++c)
            if (values[c] != BlankValue) {
                sums[c] += double(values[c]) * values[c];
                counts[c] += 1.0;
            }
    }
    for (std::size_t c = 0; c < channels; ++c)
        sums[c] = counts[c] > 0.0 ? std::sqrt(sums[c] / counts[c]) / scale : kNaN;
    return sums;
}

}  // namespace

bool DecayFromFits(const std::vector<xComponentFit>& fits, const xAofTau& basis, xDecayData& decay,
                   std::string& error) {
    decay.panels.clear();
    decay.taus.clear();
    for (long t = basis.Taus().Low(); t <= basis.Taus().High(); ++t)
        decay.taus.push_back(1000.0 * basis.Taus()[t]);
    for (const xComponentFit& fit : fits) {
        const FloatMatrix* windows = basis.Windows(fit.component);
        if (!windows || windows->Cols() != fit.data.Length()) {
            error = "The basis has no sampling windows for the " +
                    std::to_string(fit.data.Length()) + " channels of " +
                    ComponentText(fit.component) + ".";
            return false;
        }
        decay.frequencyDomain = windows->Rows() == 1;
        xDecayPanel panel;
        panel.component = fit.component;
        panel.times = Centres(*windows);
        panel.data = Values(fit.data, true);
        panel.fit = Values(fit.fit, false);
        panel.amplitudes = Values(fit.amplitudes, false);
        panel.scale = fit.scale;
        panel.misfit = fit.misfit;
        decay.panels.push_back(std::move(panel));
    }
    return true;
}

bool ReadDecayNoise(xMData& ndf, xDecayData& decay, std::string& error) {
    xMLine line(&ndf, 4096);
    if (!line.Find(decay.line)) {
        error = "Line " + std::to_string(decay.line) + " is not in the noise file " +
                ndf.FileName() + ".";
        return false;
    }
    const xRecordLayout layout(ndf);
    for (xDecayPanel& panel : decay.panels) {
        if (layout.ChannelCount(panel.component) != long(panel.data.size())) {
            error = "The noise file " + ndf.FileName() + " has not the " +
                    std::to_string(panel.data.size()) + " channels of " +
                    ComponentText(panel.component) + ".";
            return false;
        }
        panel.noise = ChannelRms(line, layout, panel.component, panel.scale);
    }
    return true;
}
