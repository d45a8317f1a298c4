#include "xWaveBasisTD.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <utility>
#include <vector>

#include "xBasisSettings.h"
#include "xEMDesc.h"
#include "xRecordingPlatform.h"
#include "xWaveBasisFD.h"

namespace fs = std::filesystem;

namespace {

using Points = std::vector<std::pair<float, float>>;

// A time-domain system of one TzRz pair, times in microseconds.
xEMDesc System(const Points& rx, const Points& windows, float halfPeriod,
               const std::string& name = "test system") {
    xEMDesc d;
    d.systemDesc.name = name;
    d.systemDesc.timeUnit = "microsec";
    d.systemDesc.nominalHalfPeriod = d.systemDesc.realHalfPeriod = halfPeriod;
    d.systemDesc.halfPeriod = halfPeriod;
    auto& wave = d.Components()[109].wave;
    wave.rxPrimary.source = "nominal";
    wave.rxPrimary.samples.Resize(0, long(rx.size()) - 1, 0, 2);
    for (std::size_t k = 0; k < rx.size(); ++k) {
        wave.rxPrimary.samples[long(k)][0] = rx[k].first;
        wave.rxPrimary.samples[long(k)][1] = rx[k].second;
        wave.rxPrimary.samples[long(k)][2] = 0.0f;
    }
    wave.windows.Resize(0, long(windows.size()) - 1, 0, 1);
    for (std::size_t k = 0; k < windows.size(); ++k) {
        wave.windows[long(k)][0] = windows[k].first;
        wave.windows[long(k)][1] = windows[k].second;
    }
    return d;
}

// Manual taus in microseconds, no stripping.
void Manual(xBasisSettings& p, long n, float early, float late) {
    p.unit = "microsec";
    p.automaticSelection = false;
    p.numberOfTaus = n;
    p.earlyTau = early;
    p.lateTau = late;
}

// A descriptor of the examples.
xEMDesc Example(const char* name) {
    xEMDesc d;
    EXPECT_TRUE(d.Read(fs::path(TOVARN_EXAMPLES) / name)) << name;
    return d;
}

// The oracle. The closed forms add, segment by segment, the decay's response
// to the waveform's rate of change: a ramp of height dy over [x0, x1] gives
// dy / (x1 - x0) * integral of e^(-(t - u)/T) du over the ramp, and the factor
// 1 / (1 + e^(-H/T)) sums the earlier half cycles with their alternate signs.
// So a channel is the window mean of
//   r(t) = integral over u <= t of y'(u) e^(-(t - u)/T) du,
// y the receiver waveform repeated with alternate signs every H. Here that
// integral is done by quadrature, cycle by cycle, straight from the samples.
class Convolution {
  public:
    Convolution(const FloatMatrix& samples, double halfPeriod) : h_(halfPeriod) {
        const long n = samples.Rows();
        const double last = samples[n - 1][0];
        if (std::fabs(last / h_ - 1.0) <= 1e-5) h_ = last;
        // One half period of nodes, from the end of the negative half on. A
        // first sample at time 0 gives way to that end, as the builder lays it.
        u_.push_back(last - h_);
        y_.push_back(-samples[n - 1][1]);
        for (long k = samples[0][0] == 0.0f ? 1 : 0; k < n; ++k) {
            u_.push_back(samples[k][0]);
            y_.push_back(samples[k][1]);
        }
        for (std::size_t j = 0; j + 1 < u_.size(); ++j)
            slope_.push_back((y_[j + 1] - y_[j]) / (u_[j + 1] - u_[j]));
    }

    double WindowMean(double t1, double t2, double tau) const {
        std::vector<double> cuts{t1, t2};
        for (long m = long(std::floor((t1 - u_.back()) / h_)) - 1;
             m <= long(std::ceil((t2 - u_.front()) / h_)) + 1; ++m)
            for (double u : u_)
                if (u + double(m) * h_ > t1 && u + double(m) * h_ < t2)
                    cuts.push_back(u + double(m) * h_);
        std::sort(cuts.begin(), cuts.end());
        double sum = 0.0;
        for (std::size_t i = 0; i + 1 < cuts.size(); ++i)
            sum += Gauss(cuts[i], cuts[i + 1], tau, [&](double t) { return At(t, tau); });
        return sum / (t2 - t1);
    }

    // The latest end of a rising or falling stretch up to t.
    double LastChangeBefore(double t) const {
        double latest = -1e300;
        for (long m = long(std::floor(t / h_)) - 2; m <= long(std::ceil(t / h_)) + 1; ++m)
            for (std::size_t j = 0; j < slope_.size(); ++j)
                if (slope_[j] != 0.0 && u_[j] + double(m) * h_ < t)
                    latest = std::max(latest, std::min(t, u_[j + 1] + double(m) * h_));
        return latest;
    }

    // Half the length, in taus, of each ramp that is shorter than 1e-5 of
    // its distance to t, times its share at t.
    double StepAllowance(double t, double tau) const {
        double allowance = 0.0;
        for (long m = long(std::floor(t / h_)) - 2; m <= long(std::ceil(t / h_)) + 1; ++m)
            for (std::size_t j = 0; j < slope_.size(); ++j) {
                const double x0 = u_[j] + double(m) * h_, x1 = u_[j + 1] + double(m) * h_;
                const double c = (x1 - x0) / tau, distance = (t - x1) / tau;
                if (slope_[j] == 0.0 || x1 > t || !(c < 1e-5 * distance)) continue;
                allowance += std::fabs(y_[j + 1] - y_[j]) * 0.5 * c * std::exp(-distance);
            }
        return allowance;
    }

  private:
    double At(double t, double tau) const {
        // The last half period, the decay cut where it no longer counts.
        const double from = std::max(t - h_, t - 200.0 * tau);
        double g = 0.0;
        for (long m = long(std::floor((from - u_.back()) / h_)) - 1;
             m <= long(std::ceil((t - u_.front()) / h_)) + 1; ++m) {
            const double sign = (m % 2 == 0) ? 1.0 : -1.0;
            for (std::size_t j = 0; j < slope_.size(); ++j) {
                if (slope_[j] == 0.0) continue;
                const double a = std::max(from, u_[j] + double(m) * h_);
                const double b = std::min(t, u_[j + 1] + double(m) * h_);
                if (b <= a) continue;
                g += sign * slope_[j] *
                     Gauss(a, b, tau, [&](double u) { return std::exp(-(t - u) / tau); });
            }
        }
        // Every earlier half period again, sign turned and decayed once more.
        double cycles = 0.0, term = 1.0;
        const double q = std::exp(-h_ / tau);
        for (int k = 0; k < 100000 && std::fabs(term) > 1e-17; ++k) {
            cycles += term;
            term *= -q;
        }
        return g * cycles;
    }

    // Eight-point Gauss-Legendre on pieces no longer than tau.
    template <class F>
    static double Gauss(double a, double b, double tau, F f) {
        static const double x[4] = {0.1834346424956498, 0.5255324099163290, 0.7966664774136267,
                                    0.9602898564975363};
        static const double w[4] = {0.3626837833783620, 0.3137066458778873, 0.2223810344533745,
                                    0.1012285362903763};
        const long pieces = std::max(1L, long(std::ceil((b - a) / tau)));
        const double step = (b - a) / double(pieces);
        double sum = 0.0;
        for (long p = 0; p < pieces; ++p) {
            const double mid = a + (double(p) + 0.5) * step, half = 0.5 * step;
            for (int i = 0; i < 4; ++i)
                sum += w[i] * half * (f(mid - half * x[i]) + f(mid + half * x[i]));
        }
        return sum;
    }

    double h_;
    std::vector<double> u_, y_, slope_;
};

// Largest relative difference of the builder's amplitudes from the oracle's,
// over the channels the exponential guard leaves alone (the nearest change of
// the waveform less than 60 taus before the window). The closed forms take a
// ramp shorter than 1e-5 of its distance from the window as a step at its
// end, which is off by half the ramp's length in taus: that much of each such
// ramp's share is allowed on top of the 1e-4. It only shows where the shares
// cancel to a small sum (10-ns steps of a waveform seen by a 0.1-s decay).
struct Comparison {
    double worst = 0.0;   // |got - expected| / |expected|
    double beyond = 0.0;  // the same less the step allowance
    long compared = 0;
};

Comparison Compare(const xWaveBasisTD& builder, const xEMDesc& d, long id) {
    const xEMWDesc& wave = d.Components().at(id).wave;
    const Convolution oracle(wave.rxPrimary.samples, d.systemDesc.nominalHalfPeriod);
    Comparison result;
    for (long i = 1; i <= builder.Taus().Length(); ++i) {
        const double tau = builder.Taus()[i];
        for (long k = 1; k <= builder.Windows().Cols(); ++k) {
            const double t1 = builder.Windows()[0][k], t2 = builder.Windows()[1][k];
            const double gap = std::max(0.0, t1 - oracle.LastChangeBefore(t2)) / tau;
            if (gap > 60.0) continue;
            const double expected = oracle.WindowMean(t1, t2, tau);
            const double error = std::fabs(builder.Amplitudes()[i][k] - expected);
            const double allowance = oracle.StepAllowance(t1, tau);
            result.worst = std::max(result.worst, error / std::fabs(expected));
            result.beyond =
                std::max(result.beyond, std::max(0.0, error - allowance) / std::fabs(expected));
            ++result.compared;
        }
    }
    return result;
}

}  // namespace

// --------------------------------------------------------------- closed forms

TEST(WaveBasisTD, ClosedFormsMatchANumericalConvolution) {
    xRecordingPlatform platform;
    // A rise and a fall, an overshoot and a cut-off ramp; the windows lie in the
    // on-time and the off-time, starting before, on and after the nodes, so
    // that each row of the segment table has a part. A window that starts
    // inside a ramp cuts that ramp's copy a half period back: with taus near
    // the half period that cut part still counts (it once was 6% off there).
    const Points ramp{{0, 0}, {200, 0}, {300, 1}, {500, 0.5f}, {510, 0}, {1000, 0}};
    const Points rampWindows{{150, 250},  {180, 320}, {300, 505}, {100, 600}, {510, 700},
                             {700, 1000}, {250, 280}, {350, 520}, {150, 200}};
    // A half sine, sampled.
    Points sine;
    for (int k = 0; k <= 32; ++k)
        sine.push_back({float(k * 8), float(std::sin(3.14159265358979 * k / 32.0))});
    sine.push_back({1024, 0});
    const Points sineWindows{{20, 60},    {100, 200},  {240, 300}, {256, 400},
                             {400, 1000}, {500, 1024}, {0, 256}};
    struct Case {
        const char* name;
        xEMDesc d;
        float early, late;
    };
    std::vector<Case> cases;
    cases.push_back({"ramp", System(ramp, rampWindows, 1000), 5.0f, 20.0f});
    cases.push_back({"ramp, long taus", System(ramp, rampWindows, 1000), 5, 5000});
    cases.push_back({"half sine", System(sine, sineWindows, 1024), 4.0f, 30.0f});
    cases.push_back({"half sine, long taus", System(sine, sineWindows, 1024), 4, 1e4});
    for (Case& c : cases) {
        xBasisSettings p;
        Manual(p, 6, c.early, c.late);
        xWaveBasisTD builder(c.d, p, platform);
        builder.Build(109);
        const Comparison r = Compare(builder, c.d, 109);
        EXPECT_LT(r.worst, 1e-4) << c.name;
        EXPECT_GT(r.compared, 8) << c.name;
    }
    EXPECT_TRUE(platform.messages.empty());
}

TEST(WaveBasisTD, ExampleSystemsMatchANumericalConvolution) {
    xRecordingPlatform platform;
    for (const char* file : {"geotem-gsq823/GEOTEM.DSC", "tempest-ausaem2020/TEMPEST.DSC"}) {
        const xEMDesc d = Example(file);
        for (long id : {107L, 109L}) {
            if (!d.HasComponent(id)) continue;
            xBasisSettings p;
            Manual(p, 8, 5.0f, 1e5f);
            xWaveBasisTD builder(d, p, platform);
            builder.Build(id);
            const Comparison r = Compare(builder, d, id);
            EXPECT_LT(r.beyond, 1e-4) << file << " " << id;
            EXPECT_GT(r.compared, 40) << file;
        }
    }
    EXPECT_TRUE(platform.messages.empty());
}

TEST(WaveBasisTD, GuardAndLimits) {
    xRecordingPlatform platform;
    EXPECT_EQ(xWaveBasisTD::E(-100.5), 0.0);
    EXPECT_EQ(xWaveBasisTD::E(100.5), 1e30);
    EXPECT_DOUBLE_EQ(xWaveBasisTD::E(-1.0), std::exp(-1.0));
    // A window shrunk to a point reads the ramp's response at that point; a
    // ramp shrunk to a step at its end.
    EXPECT_NEAR(xWaveBasisTD::WindSamResp(5, 5 + 1e-7, 0, 1, 1, 1), std::exp(-4.0) - std::exp(-5.0),
                1e-9);
    EXPECT_NEAR(xWaveBasisTD::WindSamResp(5, 6, 0, 1e-7, 1, 1),
                (std::exp(-5.0) - std::exp(-6.0)) / 1.0, 1e-8);
    // The mean of 1 - e^(-t) over the ramp [0, 2], times the ramp's slope.
    EXPECT_NEAR(xWaveBasisTD::Ramp(2, 0, 2), (1 - (1 - std::exp(-2.0)) / 2), 1e-12);
    EXPECT_EQ(xWaveBasisTD::Ramp(2, 3, 3), 0.0);
    EXPECT_TRUE(platform.messages.empty());
    xWaveBasisTD::Square(1, 1, 0);
    xWaveBasisTD::WindSamResp(1, 2, 0, 3, 1, 1);  // window before the ramp's end
    EXPECT_TRUE(platform.Saw("error", "square: division by 0"));
    EXPECT_TRUE(platform.Saw("warning", "windsamresp: r21 or r34 <0"));

    // Taus far below the microsecond: every exponential is guarded, nothing
    // overflows, and the off-time reads nothing.
    const Points ramp{{0, 0}, {100, 1}, {110, 0}, {1000, 0}};
    xEMDesc d = System(ramp, {{50, 105}, {120, 500}}, 1000);
    xBasisSettings p;
    Manual(p, 2, 1e-6f, 1e-5f);
    xWaveBasisTD builder(d, p, platform);
    builder.Build(109);
    for (long i = 1; i <= 2; ++i) {
        EXPECT_TRUE(std::isfinite(builder.Amplitudes()[i][1]));
        EXPECT_EQ(builder.Amplitudes()[i][2], 0.0f);
    }
}

TEST(WaveBasisTD, FlatWaveformGivesNothing) {
    xRecordingPlatform platform;
    // Flat means zero: a constant of any other value is a square wave once the
    // negative half is put before it.
    xEMDesc d = System({{0, 0}, {400, 0}, {1000, 0}}, {{10, 50}, {500, 900}}, 1000);
    xBasisSettings p;
    Manual(p, 4, 1, 1000);
    xWaveBasisTD builder(d, p, platform);
    builder.Build(109);
    for (long i = 1; i <= 4; ++i)
        for (long k = 1; k <= 2; ++k) EXPECT_EQ(builder.Amplitudes()[i][k], 0.0f);
}

// --------------------------------------------------------------- waveform

TEST(WaveBasisTD, ReceiverWaveformIsLaidOutBipolar) {
    xRecordingPlatform platform;
    xBasisSettings p;
    // A first time of 0: the negative half's end replaces that point.
    xEMDesc d = System({{0, 0.5f}, {10, 1}, {20, 0.25f}}, {{1, 2}}, 20);
    xWaveBasisTD builder(d, p, platform);
    builder.Setup(109);
    builder.MakeRxWaveform();
    const FloatMatrix& rx = builder.RxWaveform();
    EXPECT_EQ(rx.ColLow(), -1);
    EXPECT_EQ(rx.ColHigh(), 3);
    const float times[] = {-20, -10, 0, 10, 20}, values[] = {-0.5f, -1, -0.25f, 1, 0.25f};
    for (long c = -1; c <= 3; ++c) {
        EXPECT_EQ(rx[0][c], times[c + 1]) << c;
        EXPECT_EQ(rx[1][c], values[c + 1]) << c;
    }
    // Starting later: every point twice.
    xEMDesc later = System({{5, 0.5f}, {20, 1}}, {{1, 2}}, 20);
    xWaveBasisTD second(later, p, platform);
    second.Setup(109);
    second.MakeRxWaveform();
    EXPECT_EQ(second.RxWaveform().ColLow(), -1);
    EXPECT_EQ(second.RxWaveform()[0][-1], -15.0f);
    EXPECT_EQ(second.RxWaveform()[0][0], 0.0f);
    EXPECT_EQ(second.RxWaveform()[1][0], -1.0f);
    EXPECT_EQ(second.RxWaveform()[0][1], 5.0f);

    // A last time within 1e-5 of the half period is the half period.
    xBasisSettings q;
    Manual(q, 2, 1, 10);
    xEMDesc near = System({{0, 0}, {100, 1}, {20000 * 1.000005f, 0}}, {{200, 300}}, 20000);
    xWaveBasisTD third(near, q, platform);
    EXPECT_NO_THROW(third.Build(109));
    EXPECT_EQ(third.HalfPeriod(), double(20000 * 1.000005f));
    EXPECT_EQ(third.RxWaveform()[0][1], 0.0f);  // the negative half ends at 0
}

TEST(WaveBasisTD, WaveformAndWindowChecks) {
    xRecordingPlatform platform;
    const Points windows{{100, 200}};
    struct Case {
        Points rx, windows;
        float h;
        std::string text;
    };
    const std::vector<Case> cases{
        {{{0, 0}, {10, 1}},
         windows,
         -20,
         "ERROR: WaveBasis detected that wave form time definition half period is not a "
         "positive value. Please fix the wave form and try again. Click OK to terminate "
         "WaveBasis."},
        {{{-1, 0}, {10, 1}},
         windows,
         20,
         "ERROR: WaveBasis detected that wave form time definition includes negative values. "
         "Please ensure that the wave form is defined only for zero or positive time. Click OK "
         "to terminate WaveBasis."},
        {{{0, 0}, {10, 1}, {8, 1}, {12, 0}},
         windows,
         20,
         "ERROR: WaveBasis detected that starting from time 10.000000 wave form is defined for "
         "decreasing time. Please ensure that time definition in the waveform is strictly "
         "increasing and try again. Click OK to terminate WaveBasis."},
        {{{0, 0}, {10, 1}, {20.001f, 0}},
         windows,
         20,
         "ERROR: WaveBasis detected that wave form time definition extends half period. Please "
         "fix the wave form and try again. Click OK to terminate WaveBasis."},
        {{{0, 0}, {10, 1}},
         {{100, 200}, {300, 300}},
         20,
         "One or more sampling windows have negative or zero width. Please correct SYSTEM.DSC "
         "file."},
        {{{0, 0}, {10, 1}}, {}, 20, "No Windows!"},
        {{}, windows, 20, "No Rx!"},
    };
    for (const Case& c : cases) {
        xEMDesc d = System(c.rx, c.windows, c.h);
        if (c.rx.empty()) d.Components()[109].wave.rxPrimary.source = "undefined";
        xBasisSettings p;
        p.descriptorName = "SYSTEM.DSC";
        xWaveBasisTD builder(d, p, platform);
        try {
            builder.Build(109);
            ADD_FAILURE() << "no error for: " << c.text;
        } catch (const xBasisError& e) {
            EXPECT_EQ(std::string(e.what()), c.text);
        }
    }
}

// --------------------------------------------------------------- primary field

TEST(WaveBasisTD, PrimaryFieldIsTheWindowMeanOfTheWaveform) {
    xRecordingPlatform platform;
    xBasisSettings p;
    Manual(p, 2, 1, 10);
    // A trapezium that crosses zero on its way down.
    const Points rx{{0, 0}, {100, 1}, {200, 1}, {300, -1}, {400, 0}, {1000, 0}};
    // Out of order on purpose, and the last one starts past the waveform.
    xEMDesc d =
        System(rx, {{50, 150}, {250, 350}, {0, 100}, {150, 250}, {900, 1100}, {1001, 1002}}, 1000);
    xWaveBasisTD builder(d, p, platform);
    builder.Build(109);
    const FloatArray& primary = builder.Primary();
    EXPECT_FLOAT_EQ(primary[1], 0.875f);   // (37.5 + 50) / 100
    EXPECT_FLOAT_EQ(primary[2], -0.625f);  // (-25 - 37.5) / 100, through zero at 250
    EXPECT_FLOAT_EQ(primary[3], 0.5f);     // back before the last window
    EXPECT_FLOAT_EQ(primary[4], 0.75f);    // (50 + 25) / 100
    EXPECT_FLOAT_EQ(primary[5], 0.0f);
    EXPECT_FLOAT_EQ(primary[6], 0.0f);
}

// --------------------------------------------------------------- stripping

namespace {

// A waveform of 40 nodes and windows that are exactly the intervals between
// the builder's columns 0..N, so that the stripping's auxiliary windows are the
// real ones and nothing is resampled.
xEMDesc NodeWindowSystem(const std::string& name) {
    Points rx;
    for (int k = 0; k < 40; ++k) {
        const double t = k * 25.0;
        rx.push_back({float(t), float(t < 500 ? std::sin(3.14159265 * t / 500.0) : 0.0)});
    }
    rx.push_back({1000, 0});
    Points windows{{975 - 1000, 0}};
    for (std::size_t k = 1; k < rx.size(); ++k) windows.push_back({rx[k - 1].first, rx[k].first});
    return System(rx, windows, 1000, name);
}

}  // namespace

TEST(WaveBasisTD, GeotemStrippingRemovesThePrimaryField) {
    xRecordingPlatform platform;
    // A descriptor made here names no system: the question comes, and "Yes".
    xEMDesc d = NodeWindowSystem("GEOTEM test");
    ASSERT_EQ(d.Components()[109].wave.windows.Rows(), 41);
    xBasisSettings p;
    Manual(p, 6, 10, 3000);
    p.stripping = 1;
    xWaveBasisTD builder(d, p, platform);
    platform.answers = {0};
    builder.Build(109);
    EXPECT_EQ(platform.Texts("question").size(), 1u);
    const FloatArray& primary = builder.Primary();
    double pp = 0;
    for (long k = 1; k <= primary.High(); ++k) pp += double(primary[k]) * primary[k];
    ASSERT_GT(pp, 1.0);
    for (long i = 1; i <= 6; ++i) {
        double dot = 0, rr = 0;
        for (long k = 1; k <= primary.High(); ++k) {
            dot += double(builder.Amplitudes()[i][k]) * primary[k];
            rr += double(builder.Amplitudes()[i][k]) * builder.Amplitudes()[i][k];
        }
        EXPECT_LT(std::fabs(dot), 1e-5 * std::sqrt(pp * rr)) << i;
        EXPECT_GT(rr, 0.0);
    }
}

TEST(WaveBasisTD, SpectremStrippingSubtractsTheLastWindow) {
    xRecordingPlatform platform;
    const Points rx{{0, 0}, {100, 1}, {110, 0}, {1000, 0}};
    const Points windows{{150, 200}, {200, 400}, {400, 800}};
    xBasisSettings p;
    Manual(p, 4, 10, 1000);
    p.stripping = 2;
    xEMDesc d = System(rx, windows, 1000, "SPECTREM 2000");
    xWaveBasisTD stripped(d, p, platform);
    stripped.Build(109);
    // The same windows and the extra one, unstripped.
    p.stripping = 0;
    xEMDesc wider = System(rx, {{150, 200}, {200, 400}, {400, 800}, {400, 1000}}, 1000);
    xWaveBasisTD plain(wider, p, platform);
    plain.Build(109);
    for (long i = 1; i <= 4; ++i)
        for (long k = 1; k <= 3; ++k)
            EXPECT_FLOAT_EQ(stripped.Amplitudes()[i][k],
                            plain.Amplitudes()[i][k] - plain.Amplitudes()[i][4]);
    EXPECT_TRUE(platform.Texts("warning").empty());
}

TEST(WaveBasisTD, StrippingOfAnotherSystemAsksFirst) {
    const std::string head = "Requested primary field stripping algorithm should be applied to ";
    const std::string tail = "Do you want to proceed anyway?";
    const std::string questions[] = {
        "", head + "GEOTEM systems. Descriptor file does not define used system as Geotem. " + tail,
        head + "SPECTREM systems. Descriptor file does not define used system as SPECTREM. " + tail,
        head + "QUESTEM systems. Descriptor file does not define used system as Questem. " + tail};
    xEMDesc d = NodeWindowSystem("some other system");
    xBasisSettings p;
    Manual(p, 4, 10, 1000);
    xRecordingPlatform quiet;
    xWaveBasisTD plain(d, p, quiet);
    plain.Build(109);
    for (int stripping = 1; stripping <= 3; ++stripping) {
        for (int answer : {0, 1}) {
            xRecordingPlatform platform;
            platform.answers = {answer};
            p.stripping = stripping;
            Manual(p, 4, 10, 1000);
            xWaveBasisTD builder(d, p, platform);
            builder.Build(109);
            EXPECT_EQ(platform.Texts("question"), std::vector<std::string>{questions[stripping]});
            // "No" builds as without stripping; "Yes" strips.
            if (answer == 1)
                EXPECT_EQ(builder.Amplitudes(), plain.Amplitudes()) << stripping;
            else
                EXPECT_NE(builder.Amplitudes(), plain.Amplitudes()) << stripping;
        }
    }
    xRecordingPlatform warned;
    p.stripping = 7;
    Manual(p, 4, 10, 1000);
    xWaveBasisTD builder(d, p, warned);
    builder.Build(109);
    EXPECT_EQ(warned.Texts("warning"),
              std::vector<std::string>{"Cannot define EM system type. No stripping performed."});
    EXPECT_EQ(builder.Amplitudes(), plain.Amplitudes());

    // A descriptor that names its system: no question for its own stripping,
    // one for another's.
    const xEMDesc geotem = Example("geotem-gsq823/GEOTEM.DSC");
    ASSERT_EQ(geotem.KnownSystem(), xEMDesc::Geotem);
    for (int stripping : {1, 2}) {
        xRecordingPlatform asked;
        asked.answers = {1};
        Manual(p, 4, 10, 1000);
        p.stripping = stripping;
        xWaveBasisTD own(geotem, p, asked);
        own.Build(109);
        EXPECT_EQ(asked.Texts("question").size(), stripping == 1 ? 0u : 1u);
    }
}

TEST(WaveBasisTD, QuestemStrippingTakesTheFundamentalOff) {
    xRecordingPlatform platform;
    xEMDesc d = NodeWindowSystem("QUESTEM");
    xBasisSettings p;
    Manual(p, 4, 10, 1000);
    xWaveBasisTD plain(d, p, platform);
    plain.Build(109);
    p.stripping = 3;
    Manual(p, 4, 10, 1000);
    xWaveBasisTD builder(d, p, platform);
    builder.Build(109);
    // Each row loses the waveform at the nodes, scaled by the ratio of the
    // amplitudes of the two fundamentals (row and waveform, over the node
    // windows, which here are the real ones).
    const FloatMatrix& rx = builder.RxWaveform();
    const long n = 41;
    ASSERT_EQ(rx.ColHigh(), n);
    for (long i = 1; i <= 4; ++i) {
        double c1 = 0, s1 = 0, c2 = 0, s2 = 0;
        for (long k = 1; k <= n; ++k) {
            const double c = std::cos(k * 3.1415926 / n), s = std::sin(k * 3.1415926 / n);
            c1 += rx[1][k] * c;
            s1 += rx[1][k] * s;
            c2 += plain.Amplitudes()[i][k] * c;
            s2 += plain.Amplitudes()[i][k] * s;
        }
        const double ratio = std::hypot(c2, s2) / std::hypot(c1, s1);
        EXPECT_GT(ratio, 0.0);
        for (long k = 1; k <= n; ++k)
            EXPECT_NEAR(builder.Amplitudes()[i][k], plain.Amplitudes()[i][k] - ratio * rx[1][k],
                        1e-5 * ratio + 1e-7)
                << i << " " << k;
    }
}

// --------------------------------------------------------------- build

TEST(WaveBasisTD, BuildWritesTheChosenTausBackInTheirUnit) {
    xRecordingPlatform platform;
    const xEMDesc d = Example("geotem-gsq823/GEOTEM.DSC");
    xBasisSettings p;
    p.unit = "mSec";
    p.numberOfTaus = 5;
    xWaveBasisTD builder(d, p, platform);
    builder.Build(109);
    EXPECT_EQ(p.numberOfTaus, 6);  // even, and kept in automatic mode
    EXPECT_TRUE(p.selectionWasAutomatic);
    EXPECT_EQ(builder.Taus().Length(), 6);
    EXPECT_FLOAT_EQ(builder.Taus()[1], p.earlyTau);
    EXPECT_FLOAT_EQ(builder.Taus()[6], p.lateTau);
    EXPECT_GE(p.earlyTau, 1e-5f * 0.999f);  // 1e-8 s in mSec
    EXPECT_LE(p.lateTau, 100.0f * 1.001f);  // 0.1 s
    EXPECT_LT(p.earlyTau, p.lateTau);
    // Windows in the parameters' unit; the descriptor's are microseconds.
    EXPECT_FLOAT_EQ(builder.Windows()[0][1], 4.3813f);
    EXPECT_EQ(builder.Amplitudes().Rows(), 6);
    EXPECT_EQ(builder.Amplitudes().Cols(), 16);
    EXPECT_EQ(builder.SingularValues().Length(), 6);

    // By hand: an odd number builds even but stays in the parameters.
    Manual(p, 5, 0.02f, 2.0f);
    p.unit = "mSec";
    builder.Build(109);
    EXPECT_EQ(p.numberOfTaus, 5);
    EXPECT_FALSE(p.selectionWasAutomatic);
    EXPECT_EQ(builder.Taus().Length(), 6);
    EXPECT_NEAR(builder.Taus()[1], 0.02f, 1e-7);
    EXPECT_NEAR(builder.Taus()[6], 2.0f, 1e-5);
}

// GEOTEM's last window starts 12929.5 us after the pulse ends (at 4108 us;
// the windows run to 19850 us): the automatic choice, 0.1 s unbounded, stops at 0.4 of
// that unless lifted.
TEST(WaveBasisTD, AutomaticTausEndWhereTheWindowsDo) {
    xRecordingPlatform platform;
    const xEMDesc d = Example("geotem-gsq823/GEOTEM.DSC");
    xBasisSettings p;
    xWaveBasisTD builder(d, p, platform);
    builder.Build(109);
    EXPECT_NEAR(p.lateTau, 0.0051718, 1e-6);
    EXPECT_NEAR(p.lateTauLimit, 0.0051718, 1e-6);
    EXPECT_LT(p.earlyTau, 1e-4f);

    xBasisSettings lifted;
    lifted.earlyTauWindowFraction = lifted.lateTauWindowFraction = 0.0;
    xWaveBasisTD unbounded(d, lifted, platform);
    unbounded.Build(109);
    EXPECT_GT(lifted.lateTau, 0.05f);
    EXPECT_EQ(lifted.lateTauLimit, 0.0);
    EXPECT_FLOAT_EQ(lifted.earlyTau, p.earlyTau);
}

// TEMPEST's current reverses by 6.67 us, its first window runs 6.67 to 20 us:
// the automatic choice (41 us onwards) starts at a quarter of 6.67 us instead.
TEST(WaveBasisTD, AutomaticTausStartWhereTheFirstWindowSees) {
    xRecordingPlatform platform;
    const xEMDesc d = Example("tempest-frome2010/TEMPEST.DSC");
    xBasisSettings p;
    xWaveBasisTD builder(d, p, platform);
    builder.Build(109);
    EXPECT_NEAR(p.earlyTau, 1.6667e-6, 1e-9);
    EXPECT_NEAR(p.earlyTauLimit, 1.6667e-6, 1e-9);
    EXPECT_NEAR(p.lateTau, 0.4 * (0.0124067 - 6.6667e-6), 1e-7);
}

TEST(WaveBasisTD, ChangedComparesWindowsWaveformAndTaus) {
    xRecordingPlatform platform;
    const Points rx{{0, 0}, {100, 1}, {110, 0}, {1000, 0}};
    xEMDesc d = System(rx, {{150, 200}, {200, 400}}, 1000);
    d.Components()[107] = d.Components()[109];
    d.Components()[107].id = 107;
    d.Components()[108] = d.Components()[109];
    d.Components()[108].wave.windows[1][1] = 401;
    xBasisSettings p;
    Manual(p, 4, 10, 1000);
    xWaveBasisTD builder(d, p, platform);
    EXPECT_TRUE(builder.Changed(107));
    builder.Build(107);
    EXPECT_FALSE(builder.Changed(109));
    EXPECT_TRUE(builder.Changed(108));
    p.earlyTau = 10.0f * (1 + 1e-7f);
    EXPECT_FALSE(builder.Changed(109));
    p.earlyTau = 10.0f * (1 + 1e-5f);
    EXPECT_TRUE(builder.Changed(109));
    p.earlyTau = 10.0f;
    p.numberOfTaus = 6;
    EXPECT_TRUE(builder.Changed(109));
}

TEST(WaveBasisTD, EnergyAnalysisOfTheNodeWindowsIsWhole) {
    xRecordingPlatform platform;
    // The last node window mirrors the first, past the half period: real
    // windows that are the node windows see all of the energy.
    const Points rx{{0, 0}, {100, 1}, {200, 0}, {1000, 0}};
    xEMDesc d = System(rx, {{0, 100}, {100, 200}, {200, 1000}, {1000, 1100}}, 1000);
    xBasisSettings p;
    Manual(p, 4, 10, 1000);
    xWaveBasisTD builder(d, p, platform);
    builder.Build(109);
    FloatMatrix energy;
    builder.SVDAnalysis(energy);
    ASSERT_EQ(energy.Rows(), 2);
    ASSERT_EQ(energy.Cols(), 4);
    for (long i = 1; i <= 4; ++i) {
        EXPECT_FLOAT_EQ(energy[1][i], 1.0f);
        EXPECT_FLOAT_EQ(energy[2][i], builder.Taus()[i]);
    }
    // Only the off-time: a part.
    xEMDesc off = System(rx, {{200, 1000}}, 1000);
    xWaveBasisTD second(off, p, platform);
    Manual(p, 4, 10, 1000);
    second.Build(109);
    second.SVDAnalysis(energy);
    for (long i = 1; i <= 4; ++i) {
        EXPECT_GT(energy[1][i], 0.0f);
        EXPECT_LT(energy[1][i], 1.0f);
    }
}

// --------------------------------------------------------------- decays

TEST(WaveBasisTD, DecaysAddTheLaterTausByAPowerLaw) {
    xRecordingPlatform platform;
    // Two coarse taus from four fine ones (x = 1), over 3 decades, factor 2:
    // coarse 1 starts at fine 1, coarse 2 at fine 3; weights 10^(-2 k).
    FloatMatrix fine(1, 4, 1, 1);
    for (long i = 1; i <= 4; ++i) fine[i][1] = float(i);
    const FloatMatrix coarse = xWaveBasisTDDecay::Reduce(fine, 2, 1, 3.0, 2.0f);
    EXPECT_FLOAT_EQ(coarse[1][1], 1 + 2e-2f + 3e-4f);  // 4e-6 is below 1e-5: not added
    EXPECT_FLOAT_EQ(coarse[2][1], 3 + 4e-2f);

    // The builder: the same reduction of the exponential build on the fine grid.
    const Points rx{{0, 0}, {100, 1}, {110, 0}, {1000, 0}};
    xEMDesc d = System(rx, {{150, 200}, {200, 400}, {400, 900}}, 1000);
    FloatArray thin(101, 109), half(101, 109);
    thin[109] = 3.0f;
    half[109] = 1.5f;
    xBasisSettings p;
    Manual(p, 3, 10, 1000);
    p.approximationType = 2;
    p.thinSheetFactors = thin;
    p.halfSpaceFactors = half;
    p.extraTaus = 2;
    xWaveBasisTDDecay builder(d, p, platform);
    builder.Build(109);
    ASSERT_EQ(builder.Amplitudes().Rows(), 4);
    EXPECT_NEAR(builder.Taus()[1], 10.0f, 1e-4);
    EXPECT_NEAR(builder.Taus()[4], 1000.0f, 1e-2);
    EXPECT_NEAR(builder.Taus()[2], 46.4159f, 1e-3);

    xBasisSettings q;
    Manual(q, 12, 10, 1000);  // 4 + 2 x 4
    xWaveBasisTD exponential(d, q, platform);
    exponential.Build(109);
    const FloatMatrix expected =
        xWaveBasisTDDecay::Reduce(exponential.Amplitudes(), 4, 2, 2.0, 1.5f);
    for (long i = 1; i <= 4; ++i)
        for (long k = 1; k <= 3; ++k)
            EXPECT_NEAR(builder.Amplitudes()[i][k], expected[i][k],
                        1e-5 * std::fabs(expected[i][k]));

    // The factory picks it for the two decays, and the frequency builder for
    // a frequency-domain system whatever the approximation.
    EXPECT_NE(dynamic_cast<xWaveBasisTDDecay*>(MakeBasisBuilder(d, p, platform).get()), nullptr);
    p.approximationType = 0;
    auto plain = MakeBasisBuilder(d, p, platform);
    EXPECT_EQ(dynamic_cast<xWaveBasisTDDecay*>(plain.get()), nullptr);
    EXPECT_NE(dynamic_cast<xWaveBasisTD*>(plain.get()), nullptr);
    d.systemDesc.waveformType = "frequency domain";
    p.approximationType = 1;
    EXPECT_NE(dynamic_cast<xWaveBasisFD*>(MakeBasisBuilder(d, p, platform).get()), nullptr);
}
