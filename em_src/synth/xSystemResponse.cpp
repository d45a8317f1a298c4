#include "xSystemResponse.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <numbers>
#include <sstream>

#include "xEMDesc.h"
#include "xRxUnit.h"
#include "xTRClasf.h"

namespace {

constexpr double Mu0 = 4.0e-7 * std::numbers::pi;
// Half periods of earlier pulses whose decays still reach the windows.
constexpr int EarlierPulses = 10;
// The step response is computed on times ten a decade from this one on (from
// later ones when every window lies well after the current's last change).
constexpr double EarliestTime = 1.0e-7;
constexpr int TimesPerDecade = 10;

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return char(std::tolower(c)); });
    return text;
}

// A natural cubic spline through (log t, y) on times spaced evenly in log t,
// for the step response between the times at which it was computed.
class LogTimeSpline {
  public:
    LogTimeSpline(const std::vector<double>& times, std::vector<double> values)
        : y_(std::move(values)), second_(y_.size(), 0.0) {
        const std::size_t n = times.size();
        first_ = std::log(times.front());
        step_ = (std::log(times.back()) - first_) / double(n - 1);
        std::vector<double> diagonal(n, 4.0 * step_), rhs(n, 0.0);
        for (std::size_t i = 1; i + 1 < n; ++i)
            rhs[i] = 6.0 * (y_[i + 1] - 2.0 * y_[i] + y_[i - 1]) / step_;
        // Tridiagonal sweep; the ends are natural (zero curvature).
        for (std::size_t i = 2; i + 1 < n; ++i) {
            const double w = step_ / diagonal[i - 1];
            diagonal[i] -= w * step_;
            rhs[i] -= w * rhs[i - 1];
        }
        for (std::size_t i = n - 1; i-- > 1;)
            second_[i] = (rhs[i] - (i + 2 < n ? step_ * second_[i + 1] : 0.0)) / diagonal[i];
    }

    double operator()(double t) const {
        const double position = (std::log(t) - first_) / step_;
        if (position <= 0.0) return y_.front();
        if (position >= double(y_.size() - 1)) return y_.back();
        const auto i = std::size_t(position);
        const double b = position - double(i), a = 1.0 - b;
        return a * y_[i] + b * y_[i + 1] +
               ((a * a * a - a) * second_[i] + (b * b * b - b) * second_[i + 1]) * step_ * step_ /
                   6.0;
    }

  private:
    std::vector<double> y_, second_;
    double first_ = 0.0, step_ = 1.0;
};

// Peak-normalised samples of a waveform, linearly interpolated at a time.
double ShapeAt(const FloatMatrix& samples, double peak, double t) {
    const long n = samples.Rows();
    if (t <= samples[0][0]) return samples[0][1] / peak;
    for (long r = 1; r < n; ++r) {
        if (t > samples[r][0]) continue;
        const double t0 = samples[r - 1][0], t1 = samples[r][0];
        const double w = t1 > t0 ? (t - t0) / (t1 - t0) : 1.0;
        return ((1.0 - w) * samples[r - 1][1] + w * samples[r][1]) / peak;
    }
    return samples[n - 1][1] / peak;
}

double Peak(const FloatMatrix& samples) {
    double peak = 0.0;
    for (long r = 0; r < samples.Rows(); ++r)
        peak = std::max(peak, std::fabs(double(samples[r][1])));
    return peak;
}

// A receiver whose primary does not follow the current's shape measures its
// rate of change.
bool ReceiverShowsRateOfChange(const xEMWDesc& wave) {
    const FloatMatrix& tx = wave.txWaveform.samples;
    const FloatMatrix& rx = wave.rxPrimary.samples;
    const double txPeak = Peak(tx), rxPeak = Peak(rx);
    if (tx.Rows() < 2 || rx.Rows() < 2 || txPeak == 0.0 || rxPeak == 0.0) return false;
    for (long r = 0; r < tx.Rows(); ++r)
        if (std::fabs(ShapeAt(rx, rxPeak, tx[r][0]) - tx[r][1] / txPeak) > 0.1) return true;
    return false;
}

}  // namespace

bool xSystemResponse::SetSystem(const xEMDesc& descriptor) {
    problem_.clear();
    components_.clear();
    frequencyDomain_ = descriptor.IsFrequencyDomain();
    normalization_ = Lower(descriptor.systemDesc.normalization);
    halfPeriod_ = descriptor.systemDesc.RealSeconds(descriptor.systemDesc.nominalHalfPeriod);
    if (descriptor.Components().empty()) {
        problem_ = "The descriptor has no components.";
        return false;
    }
    const xEMWDesc& first = descriptor.Components().begin()->second.wave;
    unit_ = first.rxPrimary.unit;
    const xRxUnit unit = xRxUnit::Of(unit_);
    if (unit.kind() == xRxUnit::Kind::Unknown) {
        problem_ = "The receiver unit \"" + unit_ +
                   "\" says nothing a survey can be modelled in: set the receiver primary "
                   "field's unit to ppm, ppt or %, to a field per unit moment (fT, pT, nT, T, "
                   "Wb/m^2, amp/m) or to its rate of change (V/amp/m^4, nV/amp/m^4, pV/amp/m^4, "
                   "nV/amp/m^2, T/s, nT/s, pT/s, fT/s).";
        return false;
    }
    if (unit.IsAbsolute())
        quantity_ = unit.kind() == xRxUnit::Kind::FieldRate ? Quantity::DbDt : Quantity::B;
    else
        quantity_ =
            first.rxPrimary.IsDefined() && !frequencyDomain_ && ReceiverShowsRateOfChange(first)
                ? Quantity::DbDt
                : Quantity::B;
    moment_ = TransmitterMoment(first.txWaveform);
    if (!frequencyDomain_ && !(halfPeriod_ > 0.0)) {
        problem_ = "The half period of the system is not defined.";
        return false;
    }
    for (const auto& [id, component] : descriptor.Components())
        if (!AddComponent(descriptor, id)) return false;
    return true;
}

double xSystemResponse::TransmitterMoment(const xWaveform& current) {
    return current.unit == "amp/m^2" ? double(current.AmplitudeFactor()) : 1.0;
}

bool xSystemResponse::AddComponent(const xEMDesc& descriptor, long id) {
    if (id < FirstComponent || id > LastComponent) {
        problem_ = "Component " + ComponentName(id) + " has no transmitter and receiver axes.";
        return false;
    }
    const xEMCompDesc& described = descriptor.Components().at(id);
    Component c;
    c.id = id;
    c.axis = int((id - FirstComponent) % 3);
    c.offset = {0.0, described.geometry.GetSeparationX(), described.geometry.GetSeparationY(),
                described.geometry.GetSeparationZ()};
    c.offset.axis = {0.0, 0.0, 0.0};
    c.offset.axis[std::size_t((id - FirstComponent) / 3)] = 1.0;
    const xEMWDesc& wave = described.wave;
    if (frequencyDomain_) {
        for (long r = 0; r < wave.frequencies.Rows(); ++r)
            c.edges.push_back(2.0 * std::numbers::pi * double(wave.frequencies[r][0]));
    } else if (!TakeWindowsAndCurrent(descriptor.systemDesc, wave, c)) {
        problem_ = "The transmitter current of component " + ComponentName(id) + " is not defined.";
        return false;
    }
    const xRxUnit unit = xRxUnit::Of(unit_);
    if (unit.IsAbsolute()) {
        c.factor = Mu0 * moment_ / unit.Factor();
    } else {
        c.reference = PrimaryReference(c);
        c.factor = unit.Factor();
        if (c.reference == 0.0) {
            problem_ = "The primary field of component " + ComponentName(id) +
                       " is zero at the receiver; data normalised by it cannot be modelled.";
            return false;
        }
    }
    components_.push_back(std::move(c));
    return true;
}

bool xSystemResponse::TakeWindowsAndCurrent(const xEMSDesc& header, const xEMWDesc& wave,
                                            Component& c) {
    for (long r = 0; r < wave.windows.Rows(); ++r) {
        c.edges.push_back(header.RealSeconds(wave.windows[r][0]));
        c.edges.push_back(header.RealSeconds(wave.windows[r][1]));
    }
    // The current's shape at a peak of 1 A: the moment scales the field.
    const FloatMatrix& samples = wave.txWaveform.samples;
    const double peak = Peak(samples);
    if (samples.Rows() < 2 || peak == 0.0) return false;
    for (long r = 0; r < samples.Rows(); ++r) {
        c.waveTimes.push_back(header.RealSeconds(samples[r][0]));
        c.waveCurrent.push_back(double(samples[r][1]) / peak);
    }
    return true;
}

double xSystemResponse::PrimaryReference(const Component& c) const {
    const xRealField primary = PrimaryField(c.offset);
    const double along = primary[std::size_t(c.axis)];
    if (frequencyDomain_)
        return normalization_ == "component" ? along
                                             : std::hypot(primary[0], primary[1], primary[2]);
    // A decay is a part of the primary as the receiver sees it at its peak: the
    // field at the current's peak, or for dB/dt the rate of change as the current
    // falls, of the sign opposite to the field's. Per component the primary
    // along the receiver's axis keeps its sign, as delivered surveys have it;
    // against the whole primary a late decay reads positive.
    const bool rate = quantity_ == Quantity::DbDt;
    if (normalization_ != "component")
        return std::hypot(primary[0], primary[1], primary[2]) * PeakRate(c, rate);
    return (rate ? -along : along) * PeakRate(c, rate);
}

double xSystemResponse::PeakRate(const Component& c, bool rate) {
    if (!rate) return 1.0;
    double peak = 0.0;
    for (std::size_t j = 0; j + 1 < c.waveTimes.size(); ++j) {
        const double dt = c.waveTimes[j + 1] - c.waveTimes[j];
        if (dt > 0.0)
            peak = std::max(peak, std::fabs(c.waveCurrent[j + 1] - c.waveCurrent[j]) / dt);
    }
    return peak;
}

std::map<long, std::vector<double>> xSystemResponse::Sounding(const xLayeredEarth& earth,
                                                              double txHeight) const {
    std::map<long, std::vector<double>> channels;
    // Components whose receivers share a place share the earth's response.
    std::vector<std::pair<const Component*, xStepOff>> computed;
    for (const Component& c : components_) {
        if (frequencyDomain_) {
            channels[c.id] = FrequencyDomain(c, earth, txHeight);
            continue;
        }
        auto same = std::find_if(computed.begin(), computed.end(),
                                 [&c](const auto& done) { return done.first->offset == c.offset; });
        if (same == computed.end()) {
            xDipoleGeometry at = c.offset;
            at.txHeight = txHeight;
            // Only the axes of the receivers there.
            std::array<bool, 3> axes{false, false, false};
            for (const Component& other : components_)
                if (other.offset == c.offset) axes[std::size_t(other.axis)] = true;
            computed.emplace_back(&c, StepOffResponse(earth, at, StepTimes(), axes));
            same = computed.end() - 1;
        }
        channels[c.id] = TimeDomain(c, same->second);
    }
    return channels;
}

double xSystemResponse::EarliestDelay() const {
    double earliest = HUGE_VAL;
    for (const Component& c : components_) {
        // The last time the current changes, or steps off from its last value.
        const std::vector<double>& tau = c.waveTimes;
        double lastChange = c.waveCurrent.back() != 0.0 ? tau.back() : -HUGE_VAL;
        for (std::size_t j = 0; j + 1 < tau.size(); ++j)
            if (c.waveCurrent[j + 1] != c.waveCurrent[j])
                lastChange = std::max(lastChange, tau[j + 1]);
        if (c.waveCurrent.front() != 0.0) lastChange = std::max(lastChange, tau.front());
        for (std::size_t w = 0; w < c.edges.size(); w += 2)
            earliest = std::min(earliest, c.edges[w] - lastChange);
    }
    return earliest > 0.0 && std::isfinite(earliest) ? earliest : 0.0;
}

std::vector<double> xSystemResponse::StepTimes() const {
    const double latest = (EarlierPulses + 2) * halfPeriod_;
    // Half a decade of margin below the earliest delay, so that the spline's
    // natural end stays away from the windows.
    int first = 0;
    const double delay = EarliestDelay();
    if (delay > EarliestTime)
        first = std::max(0, int(std::floor(TimesPerDecade * std::log10(delay / EarliestTime))) - 5);
    std::vector<double> times;
    for (int k = first; times.empty() || times.back() < latest; ++k)
        times.push_back(EarliestTime * std::pow(10.0, double(k) / TimesPerDecade));
    return times;
}

std::vector<double> xSystemResponse::FrequencyDomain(const Component& c, const xLayeredEarth& earth,
                                                     double txHeight) const {
    xDipoleGeometry at = c.offset;
    at.txHeight = txHeight;
    const auto fields = SecondaryFieldFD(earth, at, c.edges);
    const double scale = c.factor / c.reference;
    std::vector<double> values(2 * fields.size());
    for (std::size_t k = 0; k < fields.size(); ++k) {
        values[k] = fields[k][std::size_t(c.axis)].real() * scale;
        values[fields.size() + k] = fields[k][std::size_t(c.axis)].imag() * scale;
    }
    return values;
}

std::vector<double> xSystemResponse::TimeDomain(const Component& c, const xStepOff& step) const {
    const std::vector<double>& times = step.times;
    std::vector<double> field, integral;
    for (std::size_t k = 0; k < times.size(); ++k) {
        field.push_back(step.field[k][std::size_t(c.axis)]);
        integral.push_back(step.integral[k][std::size_t(c.axis)]);
    }
    const LogTimeSpline fieldSpline(times, field), integralSpline(times, integral);
    // The step-off field and its integral from 0; near 0 the field is constant.
    auto B = [&](double x) { return x <= 0.0 ? 0.0 : fieldSpline(x); };
    auto C = [&](double x) {
        if (x <= 0.0) return 0.0;
        return x < times.front() ? integral.front() * x / times.front() : integralSpline(x);
    };
    // The secondary field of one pulse, the current piecewise linear: each
    // segment's slope switches the step response on over its span, and a pulse
    // that starts or ends off zero switches it at once.
    const std::vector<double>& tau = c.waveTimes;
    const std::vector<double>& current = c.waveCurrent;
    auto pulse = [&](double x) {
        double sum = 0.0;
        if (current.front() != 0.0) sum += current.front() * B(x - tau.front());
        if (current.back() != 0.0) sum -= current.back() * B(x - tau.back());
        // Each segment switches on over its span: consecutive segments share an
        // end. A segment of constant current switches nothing.
        double before = 0.0;
        std::size_t beforeAt = tau.size();  // where 'before' was taken
        for (std::size_t j = 0; j + 1 < tau.size() && tau[j] < x; ++j) {
            const double dt = tau[j + 1] - tau[j], change = current[j + 1] - current[j];
            if (!(dt > 0.0) || change == 0.0) continue;
            if (beforeAt != j) before = C(x - tau[j]);
            const double after = C(x - std::min(tau[j + 1], x));
            sum += change / dt * (before - after);
            before = after;
            beforeAt = j + 1;
        }
        return -sum;
    };
    // The bipolar train: each earlier half period with the opposite sign. The
    // sum alternates with falling terms, so half the last term left in halves
    // the error of cutting it there.
    auto train = [&](double t) {
        double sum = 0.0, sign = 1.0;
        for (int n = 0; n <= EarlierPulses; ++n, sign = -sign)
            sum += sign * pulse(t + n * halfPeriod_) * (n == EarlierPulses ? 0.5 : 1.0);
        return sum;
    };
    const double scale = c.factor / c.reference;
    std::vector<double> values;
    // Windows often end where the next one starts: the train there is reused.
    double lastTime = -1.0, lastTrain = 0.0;
    auto trainAtEdge = [&](double t) {
        if (t != lastTime) {
            lastTime = t;
            lastTrain = train(t);
        }
        return lastTrain;
    };
    for (std::size_t w = 0; w + 1 < c.edges.size(); w += 2) {
        const double start = c.edges[w], end = c.edges[w + 1];
        double mean = 0.0;
        if (quantity_ == Quantity::DbDt) {
            // The mean rate of change over a window is the change across it.
            if (end > start) {
                const double before = trainAtEdge(start);
                mean = -(trainAtEdge(end) - before) / (end - start);
            }
        } else {
            static const double nodes[4] = {0.1834346424956498, 0.5255324099163290,
                                            0.7966664774136267, 0.9602898564975363};
            static const double weights[4] = {0.3626837833783620, 0.3137066458778873,
                                              0.2223810344533745, 0.1012285362903763};
            const double mid = (start + end) / 2.0, half = (end - start) / 2.0;
            for (int k = 0; k < 4; ++k)
                mean += weights[k] * (train(mid - half * nodes[k]) + train(mid + half * nodes[k]));
            mean /= 2.0;
        }
        values.push_back(mean * scale);
    }
    return values;
}

std::string xSystemResponse::UnitsText() const {
    const std::string quantity = quantity_ == Quantity::DbDt ? "-dB/dt" : "B";
    if (xRxUnit::Of(unit_).IsRelative())
        return quantity + " in " + unit_ + " of the " +
               (normalization_ == "component" ? "component's primary field"
                                              : "magnitude of the primary field") +
               " at the receiver" + (frequencyDomain_ ? ", in-phase then quadrature" : "");
    std::ostringstream moment;
    moment << moment_;
    return quantity + " in " + unit_ + " for a transmitter moment of " + moment.str() + " A m^2";
}
