#include "xWaveBasisBuilder.h"

#include <algorithm>
#include <cmath>

#include "svdcmp.h"
#include "xEMDesc.h"

namespace {

// The range of the automatic stage, in seconds, and its number of taus.
constexpr double AutoEarliest = 1.0e-8;
constexpr double AutoLatest = 0.1;
constexpr long AutoTaus = 32;

}  // namespace

xWaveBasisBuilder::xWaveBasisBuilder(const xEMDesc& descriptor, xBasisSettings& settings)
    : descriptor_(descriptor), settings_(settings) {}

FloatArray xWaveBasisBuilder::TauGrid(double early, double late, long n) {
    FloatArray taus(1, n);
    const double low = std::log10(early), high = std::log10(late);
    for (long i = 1; i <= n; ++i)
        taus[i] = float(n > 1 ? std::pow(10.0, low + double(i - 1) * (high - low) / double(n - 1))
                              : early);
    return taus;
}

void xWaveBasisBuilder::Decompose(const FloatMatrix& response, FloatArray& w, FloatMatrix& v) {
    const long n = response.Rows(), m = response.Cols();
    const long rows = std::max(m, n);
    FloatMatrix left(1, rows, 1, n);
    for (long r = 1; r <= rows; ++r)
        for (long c = 1; c <= n; ++c) left[r][c] = 0.0f;
    for (long tau = 1; tau <= n; ++tau)
        for (long channel = 1; channel <= m; ++channel)
            left[channel][tau] =
                response[response.RowLow() + tau - 1][response.ColLow() + channel - 1];
    // Sized afresh: the routine keeps arrays that already cover its bounds.
    w.Resize(1, n);
    v.Resize(1, n, 1, n);
    svdcmp(left, int(rows), int(n), w, v);
    // One pass of neighbour swaps, not a sort: the choice of taus reads the
    // vectors in the order this leaves them.
    for (long i = 1; i < n; ++i) {
        if (!(w[i] < w[i + 1])) continue;
        std::swap(w[i], w[i + 1]);
        for (long r = 1; r <= n; ++r) std::swap(v[r][i], v[r][i + 1]);
        for (long r = 1; r <= rows; ++r) std::swap(left[r][i], left[r][i + 1]);
    }
    float largest = 0.0f;
    for (long i = 1; i <= n; ++i) largest = std::max(largest, w[i]);
    for (long i = 1; i <= n; ++i)
        if (w[i] < 1.0e-5f * largest) w[i] = 0.0f;
}

long xWaveBasisBuilder::EigenvectorIndex(const FloatArray& w, double errorPercent) {
    const long n = w.Length();
    const double limit = errorPercent * 0.01;
    for (long i = 1;; ++i) {
        if (i >= n) return n;
        if (w[i + 1] == 0.0f) return i;
        // The second w(i) is not divided by w(1): the rule is kept as it stands.
        if ((double(w[i]) - double(w[i + 1])) * 0.5 / double(w[1]) + double(w[i]) < limit) return i;
    }
}

void xWaveBasisBuilder::SelectRange(const FloatArray& w, const FloatMatrix& v,
                                    const FloatArray& taus, double earlyErrorPercent,
                                    double lateErrorPercent, double& early, double& late) {
    const long n = w.Length();
    const long kE = EigenvectorIndex(w, earlyErrorPercent);
    const long kL = EigenvectorIndex(w, lateErrorPercent);
    auto largest = [&](long k) {
        float most = 0.0f;
        for (long j = 1; j <= n; ++j) most = std::max(most, std::fabs(v[k][j]));
        return most;
    };
    const float mE = largest(kE), mL = largest(kL);
    long j = n;
    while (j > 1 && !(std::fabs(v[kL][j]) / mL > 0.1f)) --j;
    if (j < n) ++j;
    late = taus[j];
    j = 1;
    while (j < n && !(std::fabs(v[kE][j]) / mE > 0.1f)) ++j;
    if (j > 1) --j;
    early = taus[j];
}

void xWaveBasisBuilder::SetUnits() {
    const xEMSDesc& header = descriptor_.systemDesc;
    timeScale_ = header.realHalfPeriod != 0.0f
                     ? double(header.nominalHalfPeriod) / double(header.realHalfPeriod)
                     : 0.0;
    if (timeScale_ == 0.0 || !std::isfinite(timeScale_))
        throw xBasisError("TimeScale factor is zero. WaveForm descriptor is possibly wrong!");
    unitFactor_ = header.SecondsPerUnit() / xEMSDesc::SecondsPer(settings_.unit);
}

double xWaveBasisBuilder::ToBuilderUnits(double tau) const {
    return tau / unitFactor_ * timeScale_;
}

double xWaveBasisBuilder::ToParameterUnits(double time) const {
    return time * unitFactor_ / timeScale_;
}

void xWaveBasisBuilder::SelectTaus(const FloatMatrix& windows) {
    const double secondsPerUnit = descriptor_.systemDesc.SecondsPerUnit();
    taus_ = TauGrid(AutoEarliest / secondsPerUnit * timeScale_,
                    AutoLatest / secondsPerUnit * timeScale_, AutoTaus);
    result_.Resize(1, AutoTaus, 1, windows.Cols());
    Response(windows, result_);
    Decompose(result_, w_, v_);
    SelectRange(w_, v_, taus_, settings_.earlyRelativeError, settings_.lateRelativeError, early_,
                late_);
    // What the plot of the choice shows: the first vector, scaled, times the
    // running sum of the second; and the taus.
    const long n = w_.Length();
    display_.Resize(1, 2, 1, n);
    float first = 0.0f, sumLargest = 0.0f, running = 0.0f;
    FloatArray sums(1, n);
    for (long j = 1; j <= n; ++j) {
        first = std::max(first, std::fabs(v_[1][j]));
        running += n > 1 ? v_[2][j] : 0.0f;
        sums[j] = running;
        sumLargest = std::max(sumLargest, std::fabs(running));
    }
    for (long j = 1; j <= n; ++j) {
        const float value = (first > 0.0f ? v_[1][j] / first : 0.0f) *
                            (sumLargest > 0.0f ? sums[j] / sumLargest : 0.0f);
        display_[1][j] = std::max(value, 0.0f);
        display_[2][j] = float(ToParameterUnits(taus_[j]));
    }
}

void xWaveBasisBuilder::BuildLast(const FloatMatrix& windows, long n) {
    taus_ = TauGrid(early_, late_, n);
    result_.Resize(1, n, 1, windows.Cols());
    Response(windows, result_);
}
