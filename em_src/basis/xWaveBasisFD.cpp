#include "xWaveBasisFD.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "xEMDesc.h"

FloatMatrix xWaveBasisFD::Frequencies(long component) const {
    const auto found = descriptor_.Components().find(component);
    const long nf =
        found == descriptor_.Components().end() ? 0 : found->second.wave.frequencies.Rows();
    FloatMatrix frequencies(0, 1, 1, std::max(nf, 1L));
    for (long c = 1; c <= frequencies.ColHigh(); ++c) frequencies[0][c] = frequencies[1][c] = 0.0f;
    for (long f = 0; f < nf; ++f) frequencies[0][f + 1] = found->second.wave.frequencies[f][0];
    return nf > 0 ? frequencies : FloatMatrix();
}

void xWaveBasisFD::Setup(long component) {
    component_ = component;
    windows_ = Frequencies(component);
    if (windows_.Cols() == 0)
        throw xBasisError("There are no frequencies defined. Please correct " +
                          settings_.descriptorName + " file.");
    SetUnits();
    scale_ = descriptor_.Components().at(component).wave.rxPrimary.AmplitudeFactor();
}

void xWaveBasisFD::Response(const FloatMatrix& windows, FloatMatrix& result) {
    const long n = taus_.Length(), nf = windows.Cols();
    result.Resize(1, n, 1, 2 * nf);
    // Seconds into builder units, then per unit of the time scale.
    const float k = float(1.0 / descriptor_.systemDesc.SecondsPerUnit() / timeScale_);
    const float twoPi = 6.2831855f;
    float largest = 0.0f;
    for (long f = 1; f <= nf; ++f) {
        for (long t = 1; t <= n; ++t) {
            const float x = twoPi * windows[0][windows.ColLow() + f - 1] * k * taus_[t];
            const float d = scale_ * x / (x * x + 1.0f);
            result[t][f] = x * d;
            result[t][nf + f] = d;
            largest = std::max(largest, std::fabs(result[t][f]));
        }
    }
    primary_.Resize(1, nf);
    for (long f = 1; f <= nf; ++f) primary_[f] = -largest;
}

void xWaveBasisFD::Build(long component) {
    SaveState();
    Setup(component);
    // Even, and written back even when the taus are chosen by hand.
    const long n = EvenTaus(settings_.numberOfTaus);
    settings_.numberOfTaus = n;
    early_ = ToBuilderUnits(settings_.earlyTau);
    late_ = ToBuilderUnits(settings_.lateTau);
    if (settings_.automaticSelection) {
        settings_.earlyTauLimit = settings_.lateTauLimit = 0.0;
        SelectTaus(windows_);
        LimitToFrequencies();
    }
    BuildLast(windows_, n);
    Decompose(result_, w_, v_);
    for (long t = 1; t <= taus_.Length(); ++t) taus_[t] = float(ToParameterUnits(taus_[t]));
    settings_.earlyTau = float(ToParameterUnits(early_));
    settings_.lateTau = float(ToParameterUnits(late_));
    settings_.selectionWasAutomatic = settings_.automaticSelection;
}

void xWaveBasisFD::LimitToFrequencies() {
    const FloatArray& hertz = windows_[0];
    float lowest = hertz[hertz.Low()], highest = lowest;
    for (long f = hertz.Low(); f <= hertz.High(); ++f) {
        lowest = std::min(lowest, hertz[f]);
        highest = std::max(highest, hertz[f]);
    }
    if (!(lowest > 0.0f)) return;
    // Builder units per second of a frequency's period, as Response takes them.
    const double k = 1.0 / descriptor_.systemDesc.SecondsPerUnit() / timeScale_;
    const double earliest =
        settings_.earlyTauFrequencyFraction / (2.0 * std::numbers::pi * highest * k);
    const double latest = settings_.lateTauPeriods / (lowest * k);
    if (latest > 0.0 && late_ > latest) {
        late_ = latest;
        settings_.lateTauLimit = ToParameterUnits(latest);
    }
    if (earliest > 0.0 && early_ < earliest && earliest < late_) {
        early_ = earliest;
        settings_.earlyTauLimit = ToParameterUnits(earliest);
    }
}

void xWaveBasisFD::SaveState() {
    state_.frequencies = windows_;
    state_.timeScale = timeScale_;
    state_.early = settings_.earlyTau;
    state_.late = settings_.lateTau;
    state_.taus = settings_.numberOfTaus;
    state_.saved = true;
}

bool xWaveBasisFD::Changed(long component) const {
    if (!state_.saved) return true;
    auto near = [](float a, float b) { return std::fabs(a - b) <= 1e-6f * std::fabs(b); };
    const FloatMatrix frequencies = Frequencies(component);
    if (frequencies.Cols() != windows_.Cols()) return true;
    for (long c = 1; c <= frequencies.Cols(); ++c)
        if (frequencies[0][c] != windows_[0][c]) return true;
    return !near(settings_.earlyTau, state_.early) || !near(settings_.lateTau, state_.late) ||
           settings_.numberOfTaus != state_.taus;
}
