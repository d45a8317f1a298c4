#include "xWaveBasisTD.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

#include "xEMDesc.h"
#include "xPlatform.h"
#include "xWaveBasisFD.h"

namespace {

// Beyond it the exponential is cut off: 0 below, 1e30 above.
constexpr double GuardLimit = 100.0;
// A waveform that ends this close to the half period ends on it.
constexpr double HalfPeriodTolerance = 1.0e-5;
// The finer windows of the Geotem stripping when the waveform has too few nodes.
constexpr long StripWindows = 350;

const char* const kHalfPeriodText =
    "ERROR: WaveBasis detected that wave form time definition "
    "half period is not a positive value. Please fix the wave form and try again. "
    "Click OK to terminate WaveBasis.";
const char* const kNegativeTimeText =
    "ERROR: WaveBasis detected that wave form time definition "
    "includes negative values. Please ensure that the wave form is defined "
    "only for zero or positive time. "
    "Click OK to terminate WaveBasis.";
const char* const kExtendsText =
    "ERROR: WaveBasis detected that wave form time definition "
    "extends half period. Please fix the wave form and try again. "
    "Click OK to terminate WaveBasis.";

std::string DecreasingText(double time) {
    char number[64];
    std::snprintf(number, sizeof number, "%f", time);
    return std::string("ERROR: WaveBasis detected that starting from time ") + number +
           " wave form is defined for decreasing time. "
           "Please ensure that time definition in the waveform is strictly increasing "
           "and try again. Click OK to terminate WaveBasis.";
}

// Column c of a windows matrix counted from 1, whatever its low bound.
float Start(const FloatMatrix& windows, long c) {
    return windows[windows.RowLow()][windows.ColLow() + c - 1];
}
float End(const FloatMatrix& windows, long c) {
    return windows[windows.RowLow() + 1][windows.ColLow() + c - 1];
}

double TimeScaleOf(const xEMSDesc& header) {
    return header.realHalfPeriod != 0.0f
               ? double(header.nominalHalfPeriod) / double(header.realHalfPeriod)
               : 0.0;
}

// One rising or falling stretch of the waveform.
struct Segment {
    double x0, x1, dy;
};

}  // namespace

// ---------------------------------------------------------------- closed forms

double xWaveBasisTD::E(double x) {
    if (x < -GuardLimit) return 0.0;
    if (x > GuardLimit) return 1.0e30;
    return std::exp(x);
}

double xWaveBasisTD::WindSamResp(double r1, double r2, double r3, double r4, double d, double f) {
    const double r21 = r2 - r1, r43 = r4 - r3, r14 = r1 - r4;
    auto general = [&] {
        // E(r4 - r1) + E(r3 - r2) - E(r3 - r1) - E(r4 - r2) is the product
        // (e^r4 - e^r3)(e^-r1 - e^-r2). Four terms of order one that cancel
        // to 1e-10 lose the result of a 10-ns step of a 100-ms decay; the
        // product keeps it. The guard only acts beyond |100|, where the terms
        // are taken as they stand.
        const double span = std::max(
            {std::fabs(r4 - r1), std::fabs(r3 - r2), std::fabs(r3 - r1), std::fabs(r4 - r2)});
        const double bracket = span <= GuardLimit
                                   ? std::exp(r3 - r1) * std::expm1(r43) * -std::expm1(-r21)
                                   : E(r4 - r1) + (E(r3 - r2) - E(r3 - r1) - E(r4 - r2));
        return std::fabs(bracket / r43 / r21) * d / f;
    };
    if (r14 == 0.0) return r21 == 0.0 ? 0.0 : general();
    // A window or a ramp that is short beside its distance from the other
    // stands for a point or a step.
    const double u = 100000.0 * r21 / r14, v = 100000.0 * r43 / r14;
    if (u < 0.0 || v < 0.0) Platform().Warning("windsamresp: r21 or r34 <0");
    if (u < 1.0 && v < 1.0) return Square(r14, d, f);
    if (u < 1.0) return Near(r1 - r3, r14, d, f);
    if (v < 1.0) return Near(r2 - r4, r14, d, f);
    return r21 == 0.0 ? 0.0 : general();
}

double xWaveBasisTD::Near(double p, double q, double d, double f) {
    if (p == q) return Square(p, d, f);
    // E(-p) - E(-q) as e^-p (1 - e^(p - q)), for the same reason as above.
    const double difference = std::fabs(p) <= GuardLimit && std::fabs(q) <= GuardLimit
                                  ? std::exp(-p) * -std::expm1(p - q)
                                  : E(-p) - E(-q);
    return std::fabs(difference / (q - p)) * d / f;
}

double xWaveBasisTD::Square(double p, double d, double f) {
    if (f == 0.0) Platform().Error("square: division by 0");
    return E(-p) * d / f;
}

double xWaveBasisTD::Ramp(double d, double p, double q) {
    if (q == p) return 0.0;
    const double x = q - p, g = 1.0 / x;
    // (E(-x) - 1) / x + 1 goes as x / 2 for a short ramp, where the
    // difference of the two would keep no digit: the series instead.
    const double shape = std::fabs(x) < 1e-3 ? x * (0.5 - x * (1.0 / 6.0 - x / 24.0))
                         : x <= GuardLimit   ? std::expm1(-x) * g + 1.0
                                             : (E(-x) - 1.0) * g + 1.0;
    return shape * d * g;
}

// ---------------------------------------------------------------- setup

void xWaveBasisTD::Setup(long component) {
    component_ = component;
    SetUnits();
    const auto found = descriptor_.Components().find(component);
    if (found == descriptor_.Components().end() || found->second.wave.windows.Rows() == 0)
        throw xBasisError("No Windows!");
    const FloatMatrix& nominal = found->second.wave.windows;
    const long m = nominal.Rows();
    windows_.Resize(0, 1, 1, m);
    for (long k = 0; k < m; ++k) {
        const float start = nominal[nominal.RowLow() + k][nominal.ColLow()];
        const float end = nominal[nominal.RowLow() + k][nominal.ColLow() + 1];
        if (!(end > start))
            throw xBasisError(
                "One or more sampling windows have negative or zero width. Please correct " +
                settings_.descriptorName + " file.");
        windows_[0][k + 1] = float(double(start) * timeScale_);
        windows_[1][k + 1] = float(double(end) * timeScale_);
    }
    state_.windows = nominal;
    state_.timeScale = timeScale_;
}

void xWaveBasisTD::MakeRxWaveform() {
    const xWaveform& rx = descriptor_.Components().at(component_).wave.rxPrimary;
    const FloatMatrix& samples = rx.samples;
    if (!rx.IsDefined() || samples.Rows() == 0) throw xBasisError("No Rx!");
    const long n = samples.Rows(), r0 = samples.RowLow(), c0 = samples.ColLow();
    std::vector<double> t(std::size_t(n + 1)), y(std::size_t(n + 1));
    for (long k = 1; k <= n; ++k) {
        t[std::size_t(k)] = double(samples[r0 + k - 1][c0]) * timeScale_;
        y[std::size_t(k)] = samples[r0 + k - 1][c0 + 1];
    }
    double h = double(descriptor_.systemDesc.nominalHalfPeriod) * timeScale_;
    if (!(h > 0.0)) throw xBasisError(kHalfPeriodText);
    const double last = t[std::size_t(n)];
    if (last >= h * (1.0 - HalfPeriodTolerance) && last <= h * (1.0 + HalfPeriodTolerance))
        h = last;
    for (long k = 1; k <= n; ++k)
        if (t[std::size_t(k)] < 0.0) throw xBasisError(kNegativeTimeText);
    for (long k = 2; k <= n; ++k)
        if (!(t[std::size_t(k)] > t[std::size_t(k - 1)]))
            throw xBasisError(DecreasingText(samples[r0 + k - 2][c0]));
    if (last > h) throw xBasisError(kExtendsText);

    // The negative half cycle goes before the positive one. A waveform that
    // starts at 0 has that point once: the end of the negative half replaces it.
    const long e = t[1] == 0.0 ? 1 : 0;
    halfPeriod_ = h;
    points_ = n;
    rx_.Resize(0, 1, 1 - n + e, n);
    for (long k = 1; k <= n; ++k) {
        rx_[0][k] = float(t[std::size_t(k)]);
        rx_[1][k] = float(y[std::size_t(k)]);
    }
    for (long k = 1; k <= n; ++k) {
        rx_[0][k - n + e] = float(t[std::size_t(k)] - h);
        rx_[1][k - n + e] = float(-y[std::size_t(k)]);
    }
    lastNode_ = rx_.ColLow();
    state_.rx = samples;
    state_.halfPeriod = descriptor_.systemDesc.nominalHalfPeriod;
}

// ---------------------------------------------------------------- response

void xWaveBasisTD::Response(const FloatMatrix& windows, FloatMatrix& result) {
    Response(windows, result, true);
}

void xWaveBasisTD::Response(const FloatMatrix& windows, FloatMatrix& result, bool) {
    const long n = taus_.Length(), m = windows.Cols();
    if (result.RowLow() != 1 || result.Rows() != n || result.ColLow() != 1 || result.Cols() != m)
        result.Resize(1, n, 1, m);

    // Flat stretches add nothing; the rest are met in rising time.
    std::vector<Segment> segments;
    for (long j = rx_.ColLow(); j < rx_.ColHigh(); ++j) {
        const double dy = double(rx_[1][j + 1]) - double(rx_[1][j]);
        if (dy == 0.0 || rx_[0][j + 1] == rx_[0][j]) continue;
        segments.push_back({rx_[0][j], rx_[0][j + 1], dy});
    }
    const double h = halfPeriod_;

    for (long i = 1; i <= n; ++i) {
        const double tau = taus_[taus_.Low() + i - 1];
        // The earlier half cycles, with their alternate signs, in one factor.
        const double f = 1.0 + E(-h / tau);
        for (long w = 1; w <= m; ++w) {
            const double t1 = Start(windows, w), t2 = End(windows, w);
            const double s = t1 - h;
            double sum = 0.0;
            for (const Segment& seg : segments) {
                const double x0 = seg.x0, x1 = seg.x1, dy = seg.dy;
                if (x0 >= t2) break;
                if (x1 <= s) continue;
                const double a = (t1 - x0) / tau, b = (t2 - x0) / tau, c = (x1 - x0) / tau;
                if (c == 0.0) continue;
                if (x0 < t2 - h) {
                    // More than a half period before the window's end: a ramp
                    // that s cuts counts from s on, measured from x0 like a, b
                    // and c.
                    if (s <= x0)
                        sum += WindSamResp(a, b, 0.0, c, dy, f);
                    else
                        sum += WindSamResp(a, b, (s - x0) / tau, c, (x1 - s) * dy / (x1 - x0), f);
                } else if (t1 >= x1) {
                    sum += WindSamResp(a, b, 0.0, c, dy, f);
                } else if (t1 <= x0) {
                    // The ramp starts inside the window: nothing before it.
                    if (t2 < x1) {
                        const double d = (t2 - x0) * dy / (x1 - x0);
                        sum += (t2 - x0) * Ramp(d, 0.0, b) / (t2 - t1);
                    } else {
                        sum += (t2 - x1) * WindSamResp(c, b, 0.0, c, dy, 1.0) / (t2 - t1) +
                               (x1 - x0) * Ramp(dy, 0.0, c) / (t2 - t1);
                    }
                } else {
                    // The ramp runs into the window: the part before it decays
                    // with its history, the part inside is new.
                    const double d1 = (t1 - x0) * dy / (x1 - x0);
                    if (t2 < x1) {
                        const double d2 = (t2 - t1) * dy / (x1 - x0);
                        sum += WindSamResp(a, b, 0.0, a, d1, f) + Ramp(d2, a, b);
                    } else {
                        const double d3 = dy - d1;
                        sum += WindSamResp(a, b, 0.0, a, d1, f) +
                               (x1 - t1) * Ramp(d3, a, c) / (t2 - t1) +
                               (t2 - x1) * WindSamResp(c, b, a, c, d3, 1.0) / (t2 - t1);
                    }
                }
            }
            result[i][w] = float(sum);
        }
    }
}

// ---------------------------------------------------------------- primary field

FloatArray xWaveBasisTD::PrimaryField(const FloatMatrix& windows) {
    const long m = windows.Cols();
    FloatArray p(1, m);
    const long low = rx_.ColLow(), high = rx_.ColHigh();
    if (rx_.Cols() == 0) return p;
    const FloatArray& time = rx_[0];
    const FloatArray& value = rx_[1];
    const double latest = time[high];
    auto at = [&](long j, double t) {
        const double t0 = time[j], t1 = time[j + 1];
        return double(value[j]) + (double(value[j + 1]) - value[j]) * (t - t0) / (t1 - t0);
    };
    long& j = lastNode_;
    j = std::clamp(j, low, std::max(low, high - 1));
    for (long k = 1; k <= m; ++k) {
        const double t1 = Start(windows, k), t2 = End(windows, k);
        if (t1 > latest) break;
        // Windows need not be sorted: the node walks back as well as on.
        while (j > low && time[j] > t1) --j;
        while (j < high - 1 && time[j + 1] <= t1) ++j;
        // The trapezium over the nodes inside, the ends interpolated. It is
        // exact on each straight piece, zero crossings included.
        double integral = 0.0;
        for (long s = j; s < high && time[s] < t2; ++s) {
            const double xa = std::max(t1, double(time[s]));
            const double xb = std::min(t2, double(time[s + 1]));
            if (xb <= xa) continue;
            integral += 0.5 * (at(s, xa) + at(s, xb)) * (xb - xa);
        }
        if (t1 < t2) integral /= t2 - t1;
        p[k] = float(integral);
    }
    return p;
}

// ---------------------------------------------------------------- stripping

bool xWaveBasisTD::Confirm(int system, const char* systemText, const char* nameText) const {
    if (descriptor_.KnownSystem() == system) return true;
    const std::string question =
        std::string("Requested primary field stripping algorithm should be applied ") + "to " +
        systemText + " systems. Descriptor file does not define used system as " + nameText + ". " +
        "Do you want to proceed anyway?";
    return ui_.Question(question, {"Yes", "No"}) == 0;
}

bool xWaveBasisTD::Strip(const FloatMatrix& windows) {
    switch (settings_.stripping) {
        case 0:
        case 4:
            return false;
        case 1:
            if (!Confirm(xEMDesc::Geotem, "GEOTEM", "Geotem")) return false;
            StripGeotem(windows);
            return true;
        case 2:
            if (!Confirm(xEMDesc::Spectrem, "SPECTREM", "SPECTREM")) return false;
            StripSpectrem(windows);
            return true;
        case 3:
            if (!Confirm(xEMDesc::Questem, "QUESTEM", "Questem")) return false;
            StripQuestem(windows);
            return true;
        default:
            ui_.Warning("Cannot define EM system type. No stripping performed.");
            return false;
    }
}

FloatMatrix xWaveBasisTD::NodeWindows() const {
    const long n = points_;
    FloatMatrix aux(0, 1, 1, n);
    for (long k = 1; k <= n; ++k) {
        aux[0][k] = rx_[0][k - 1];
        aux[1][k] = rx_[0][k];
    }
    return aux;
}

void xWaveBasisTD::Resample(const FloatMatrix& auxWindows, const FloatMatrix& aux,
                            const FloatMatrix& windows, FloatMatrix& result) {
    const long n = aux.Rows(), na = auxWindows.Cols(), m = windows.Cols();
    result.Resize(1, n, 1, m);
    std::vector<double> weight(std::size_t(na + 1));
    for (long k = 1; k <= m; ++k) {
        const double t1 = Start(windows, k), t2 = End(windows, k);
        double total = 0.0;
        for (long i = 1; i <= na; ++i) {
            const double overlap = std::min(t2, double(End(auxWindows, i))) -
                                   std::max(t1, double(Start(auxWindows, i)));
            weight[std::size_t(i)] = std::max(overlap, 0.0);
            total += weight[std::size_t(i)];
        }
        for (long r = 1; r <= n; ++r) {
            double sum = 0.0;
            for (long i = 1; i <= na; ++i)
                if (weight[std::size_t(i)] > 0.0) sum += weight[std::size_t(i)] * aux[r][i];
            result[r][k] = total > 0.0 ? float(sum / total) : 0.0f;
        }
    }
}

void xWaveBasisTD::StripGeotem(const FloatMatrix& windows) {
    FloatMatrix auxWindows;
    if (points_ < windows.Cols()) {
        // Too few nodes to carry the windows: equal windows over the whole span.
        const double first = rx_[0][rx_.ColLow()], last = rx_[0][rx_.ColHigh()];
        const double width = (last - first) / double(StripWindows);
        auxWindows.Resize(0, 1, 1, StripWindows);
        for (long k = 1; k <= StripWindows; ++k) {
            auxWindows[0][k] = float(first + double(k - 1) * width);
            auxWindows[1][k] = float(first + double(k) * width);
        }
    } else {
        auxWindows = NodeWindows();
    }
    FloatMatrix aux;
    Response(auxWindows, aux);
    const FloatArray p = PrimaryField(auxWindows);
    double q = 0.0;
    for (long k = p.Low(); k <= p.High(); ++k) q += double(p[k]) * p[k];
    // Each decay loses its part along the primary field.
    if (q > 0.0) {
        for (long r = 1; r <= aux.Rows(); ++r) {
            double dot = 0.0;
            for (long k = 1; k <= aux.Cols(); ++k) dot += double(aux[r][k]) * p[k];
            const double ratio = dot / q;
            for (long k = 1; k <= aux.Cols(); ++k) aux[r][k] -= float(ratio * p[k]);
        }
    }
    Resample(auxWindows, aux, windows, result_);
}

void xWaveBasisTD::StripQuestem(const FloatMatrix& windows) {
    const FloatMatrix auxWindows = NodeWindows();
    FloatMatrix aux;
    // The fundamental of the waveform comes off each decay; the primary
    // field of these windows is not needed for it.
    Response(auxWindows, aux);
    const long n = points_;
    // Short of pi on purpose: the fundamental the system removes.
    const double piShort = 3.1415926;
    std::vector<double> cosine(std::size_t(n + 1)), sine(std::size_t(n + 1));
    double c1 = 0.0, s1 = 0.0;
    for (long i = 1; i <= n; ++i) {
        cosine[std::size_t(i)] = std::cos(double(i) * piShort / double(n));
        sine[std::size_t(i)] = std::sin(double(i) * piShort / double(n));
        c1 += rx_[1][i] * cosine[std::size_t(i)];
        s1 += rx_[1][i] * sine[std::size_t(i)];
    }
    const double a1 = std::sqrt(c1 * c1 + s1 * s1);
    for (long r = 1; r <= aux.Rows(); ++r) {
        double c2 = 0.0, s2 = 0.0;
        for (long i = 1; i <= n; ++i) {
            c2 += aux[r][i] * cosine[std::size_t(i)];
            s2 += aux[r][i] * sine[std::size_t(i)];
        }
        const double a2 = std::sqrt(c2 * c2 + s2 * s2);
        if (std::fabs(a1) > 1e-20)
            for (long i = 1; i <= n; ++i) aux[r][i] -= float(a2 / a1 * rx_[1][i]);
    }
    Resample(auxWindows, aux, windows, result_);
}

void xWaveBasisTD::StripSpectrem(const FloatMatrix& windows) {
    const long m = windows.Cols();
    // One more window from the last window's start to the half period: what
    // the receiver reads there is taken as the primary field's.
    FloatMatrix extended(0, 1, 1, m + 1);
    for (long k = 1; k <= m; ++k) {
        extended[0][k] = Start(windows, k);
        extended[1][k] = End(windows, k);
    }
    extended[0][m + 1] = Start(windows, m);
    extended[1][m + 1] = float(halfPeriod_);
    FloatMatrix all;
    Response(extended, all);
    result_.Resize(1, all.Rows(), 1, m);
    for (long r = 1; r <= all.Rows(); ++r)
        for (long k = 1; k <= m; ++k) result_[r][k] = all[r][k] - all[r][m + 1];
}

// ---------------------------------------------------------------- build

void xWaveBasisTD::Build(long component) {
    const long n = EvenTaus(settings_.numberOfTaus);
    if (settings_.automaticSelection) settings_.numberOfTaus = n;
    BuildStages(component, n);
}

void xWaveBasisTD::BuildStages(long component, long n) {
    SaveState();
    Setup(component);
    early_ = ToBuilderUnits(settings_.earlyTau);
    late_ = ToBuilderUnits(settings_.lateTau);
    MakeRxWaveform();
    if (settings_.automaticSelection) {
        settings_.earlyTauLimit = settings_.lateTauLimit = 0.0;
        SelectTaus(windows_);
        LimitToWindows();
    }
    taus_ = TauGrid(early_, late_, n);
    if (!Strip(windows_)) BuildLast(windows_, n);
    Decompose(result_, w_, v_);
    primary_ = PrimaryField(windows_);

    builderWindows_ = windows_;
    builderTaus_ = taus_;
    const float toParameters = float(unitFactor_ / timeScale_);
    for (long t = taus_.Low(); t <= taus_.High(); ++t) taus_[t] = float(ToParameterUnits(taus_[t]));
    windows_ *= toParameters;
    settings_.earlyTau = float(ToParameterUnits(early_));
    settings_.lateTau = float(ToParameterUnits(late_));
    settings_.selectionWasAutomatic = settings_.automaticSelection;
}

double xWaveBasisTD::CurrentsLastChange() const {
    // The windows are seen from the last node of the current before the first
    // of them: the end of the turn-off, or of the reversal of a square wave.
    const FloatMatrix& current = descriptor_.Components().at(component_).wave.txWaveform.samples;
    const double first = windows_[0][windows_.ColLow()];
    double from = 0.0;
    for (long r = current.RowLow(); r <= current.RowHigh(); ++r) {
        const double t = double(current[r][current.ColLow()]) * timeScale_;
        if (t <= first) from = std::max(from, t);
    }
    return from;
}

void xWaveBasisTD::LimitToWindows() {
    const double from = CurrentsLastChange();
    const long first = windows_.ColLow();
    const double centre = (double(windows_[0][first]) + double(windows_[1][first])) / 2.0;
    const double earliest = settings_.earlyTauWindowFraction * (centre - from);
    const double latest =
        settings_.lateTauWindowFraction * (windows_[0][windows_.ColHigh()] - from);
    if (latest > 0.0 && late_ > latest) {
        late_ = latest;
        settings_.lateTauLimit = ToParameterUnits(latest);
    }
    if (earliest > 0.0 && early_ > earliest) {
        early_ = earliest;
        settings_.earlyTauLimit = ToParameterUnits(earliest);
    }
    early_ = std::min(early_, late_ / 10.0);
}

void xWaveBasisTD::SaveState() {
    state_.early = settings_.earlyTau;
    state_.late = settings_.lateTau;
    state_.taus = settings_.numberOfTaus;
    state_.saved = true;
}

bool xWaveBasisTD::Changed(long component) const {
    if (!state_.saved) return true;
    const auto found = descriptor_.Components().find(component);
    if (found == descriptor_.Components().end()) return true;
    const xEMWDesc& wave = found->second.wave;
    auto near = [](float a, float b) { return std::fabs(a - b) <= 1e-6f * std::fabs(b); };
    return wave.windows != state_.windows || wave.rxPrimary.samples != state_.rx ||
           TimeScaleOf(descriptor_.systemDesc) != state_.timeScale ||
           descriptor_.systemDesc.nominalHalfPeriod != state_.halfPeriod ||
           !near(settings_.earlyTau, state_.early) || !near(settings_.lateTau, state_.late) ||
           settings_.numberOfTaus != state_.taus;
}

void xWaveBasisTD::SVDAnalysis(FloatMatrix& result) {
    const long n = builderTaus_.Length();
    if (points_ < 2 || builderWindows_.Cols() == 0) {
        result = FloatMatrix();
        return;
    }
    // The intervals between the nodes, the last as wide as the first.
    FloatMatrix nodes(0, 1, 1, points_);
    for (long k = 1; k < points_; ++k) {
        nodes[0][k] = rx_[0][k];
        nodes[1][k] = rx_[0][k + 1];
    }
    const float firstWidth = rx_[0][2] - rx_[0][1];
    nodes[0][points_] = rx_[0][points_];
    nodes[1][points_] = rx_[0][points_] + firstWidth;

    const FloatArray shown = taus_;
    taus_ = builderTaus_;
    FloatMatrix real, all;
    Response(builderWindows_, real, false);
    Response(nodes, all, false);
    taus_ = shown;

    auto energy = [](const FloatMatrix& response, const FloatMatrix& windows, long row) {
        double sum = 0.0;
        for (long k = 1; k <= windows.Cols(); ++k)
            sum += std::fabs(double(response[row][k])) * (End(windows, k) - Start(windows, k));
        return sum;
    };
    result.Resize(1, 2, 1, n);
    for (long i = 1; i <= n; ++i) {
        const double whole = energy(all, nodes, i);
        result[1][i] = whole > 0.0 ? float(energy(real, builderWindows_, i) / whole) : 0.0f;
        result[2][i] = taus_[taus_.Low() + i - 1];
    }
}

// ---------------------------------------------------------------- decays

FloatMatrix xWaveBasisTDDecay::Reduce(const FloatMatrix& fine, long n, long extra, double decades,
                                      float factor) {
    const long fineCount = fine.Rows(), m = fine.Cols();
    const long r0 = fine.RowLow(), c0 = fine.ColLow();
    FloatMatrix coarse(1, n, 1, m);
    const double step = fineCount > 1 ? decades / double(fineCount - 1) : 0.0;
    for (long b = 1; b <= n; ++b) {
        const long i0 = b + (b - 1) * extra;
        for (long k = 1; k <= m; ++k) {
            double sum = 0.0;
            for (long i = i0; i <= fineCount; ++i) {
                const double w = std::pow(10.0, double(i0 - i) * step * factor);
                if (w < 1e-5) break;
                sum += w * fine[r0 + i - 1][c0 + k - 1];
            }
            coarse[b][k] = float(sum);
        }
    }
    return coarse;
}

void xWaveBasisTDDecay::Build(long component) {
    const int type = settings_.approximationType;
    if (type != 1 && type != 2) {
        xWaveBasisTD::Build(component);
        return;
    }
    const FloatArray& factors = type == 1 ? settings_.thinSheetFactors : settings_.halfSpaceFactors;
    const long extra = settings_.extraTaus;
    const long n = EvenTaus(settings_.numberOfTaus);
    if (settings_.automaticSelection) settings_.numberOfTaus = n;
    const long fine = EvenTaus(n + extra * n);
    BuildStages(component, fine);

    const float factor = factors.InRange(component) ? factors[component] : 0.0f;
    const double first = taus_[taus_.Low()], last = taus_[taus_.High()];
    result_ = Reduce(result_, n, extra, std::log10(last / first), factor);
    taus_ = TauGrid(first, last, n);
}

xWaveBasisTD::xWaveBasisTD(const xEMDesc& descriptor, xBasisSettings& settings, xPlatform& ui)
    : xWaveBasisBuilder(descriptor, settings), ui_(ui) {}

std::unique_ptr<xWaveBasisBuilder> MakeBasisBuilder(const xEMDesc& descriptor,
                                                    xBasisSettings& settings, xPlatform& ui) {
    if (descriptor.IsFrequencyDomain()) return std::make_unique<xWaveBasisFD>(descriptor, settings);
    if (settings.approximationType == 1 || settings.approximationType == 2)
        return std::make_unique<xWaveBasisTDDecay>(descriptor, settings, ui);
    return std::make_unique<xWaveBasisTD>(descriptor, settings, ui);
}
