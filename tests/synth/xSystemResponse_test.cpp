#include "xSystemResponse.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>

#include "HalfSpaceForms.h"
#include "xEMDesc.h"
#include "xRecordingPlatform.h"

namespace {

using halfspace::Mu0;
using halfspace::Pi;

// One TzRz component with the receiver at an offset from a dipole transmitter.
xEMDesc OneComponent(float dx, float dz, const std::string& unit) {
    xEMDesc d;
    xEMCompDesc z;
    z.id = 109;
    z.geometry.transmitter = xEMSensorType();
    z.geometry.transmitter.AddComponent(AxisZ);
    z.geometry.SetPosition(xEMGDesc::Rx, dx, 0.0f, dz);
    z.wave.rxPrimary.source = "nominal";
    z.wave.rxPrimary.unit = unit;
    d.Components().clear();
    d.Components()[109] = z;
    return d;
}

// Half period 20 ms in seconds: the current ramps on over 1 ms, stays, and
// ramps off from 9 to 10 ms; windows after it.
xEMDesc TimeDomainSystem(const std::string& unit, float dz = 0.0f) {
    xEMDesc d = OneComponent(-100.0f, dz, unit);
    auto& s = d.systemDesc;
    s.timeUnit = "sec";
    s.nominalHalfPeriod = s.realHalfPeriod = s.halfPeriod = 0.02f;
    auto& wave = d.Components()[109].wave;
    const float samples[5][2] = {{0, 0}, {0.001f, 1}, {0.009f, 1}, {0.010f, 0}, {0.02f, 0}};
    wave.txWaveform.source = "nominal";
    wave.txWaveform.samples.Resize(0, 4, 0, 2);
    for (long r = 0; r < 5; ++r) {
        wave.txWaveform.samples[r][0] = samples[r][0];
        wave.txWaveform.samples[r][1] = samples[r][1];
    }
    const float windows[4][2] = {
        {0.0101f, 0.0102f}, {0.0105f, 0.011f}, {0.012f, 0.014f}, {0.015f, 0.019f}};
    wave.windows.Resize(0, 3, 0, 1);
    wave.weights.Resize(0, 3);
    for (long r = 0; r < 4; ++r) {
        wave.windows[r][0] = windows[r][0];
        wave.windows[r][1] = windows[r][1];
        wave.weights[r] = 1.0f;
    }
    return d;
}

// The field of the bipolar train by brute force: each ramp's slope times the
// closed-form step response, integrated by the midpoint rule on a fine grid.
double TrainHz(double sigma, double r, double t) {
    const double H = 0.02;
    auto ramp = [&](double x, double from, double to, double slope) {
        const double end = std::min(to, x);
        if (end <= from) return 0.0;
        const int n = 4000;
        double sum = 0.0;
        for (int k = 0; k < n; ++k) {
            const double tau = from + (end - from) * (k + 0.5) / n;
            sum += halfspace::SurfaceStepOff(sigma, r, x - tau);
        }
        return -slope * sum * (end - from) / n;
    };
    double total = 0.0, sign = 1.0;
    for (int n = 0; n <= 10; ++n, sign = -sign) {
        const double x = t + n * H;
        const double last = n == 10 ? 0.5 : 1.0;  // the train is cut as the system cuts it
        total += sign * last * (ramp(x, 0.0, 0.001, 1000.0) + ramp(x, 0.009, 0.010, -1000.0));
    }
    return total;
}

}  // namespace

TEST(SystemResponse, WindowsAverageTheBipolarTrainOverAHalfSpace) {
    xRecordingPlatform platform;
    const double sigma = 0.1, r = 100.0;
    const xEMDesc system = TimeDomainSystem("nV/amp/m^2");
    xSystemResponse response;
    ASSERT_TRUE(response.SetSystem(system)) << response.Problem();
    const auto values = response.Sounding({{sigma}, {}}, 0.0).at(109);
    const FloatMatrix& windows = system.Components().at(109).wave.windows;
    ASSERT_EQ(values.size(), 4u);
    for (int w = 0; w < 4; ++w) {
        const double s = windows[w][0], e = windows[w][1];
        const double expected =
            -(TrainHz(sigma, r, e) - TrainHz(sigma, r, s)) / (e - s) * Mu0 * 1e9;
        // Spline and quadrature of the kernel against brute force: 0.5 %.
        EXPECT_NEAR(values[std::size_t(w)], expected, 5e-3 * std::fabs(expected)) << "window " << w;
    }
}

TEST(SystemResponse, NormalisationByComponentOrByTheWholePrimary) {
    xRecordingPlatform platform;
    const xLayeredEarth earth{{0.05}, {}};
    xEMDesc byComponent = TimeDomainSystem("ppm", -40.0f);
    byComponent.systemDesc.normalization = "component";
    xEMDesc byTotal = TimeDomainSystem("ppm", -40.0f);
    xSystemResponse a, b;
    ASSERT_TRUE(a.SetSystem(byComponent));
    ASSERT_TRUE(b.SetSystem(byTotal));
    const auto component = a.Sounding(earth, 100.0).at(109);
    const auto total = b.Sounding(earth, 100.0).at(109);
    // The primary of a vertical dipole 100 m across and 40 m down.
    const double x = -100.0, z = -40.0, R = std::hypot(x, z);
    const double px = 3 * x * z / std::pow(R, 5), pz = (3 * z * z - R * R) / std::pow(R, 5);
    // Per component the primary keeps its sign (down at this receiver).
    for (std::size_t w = 0; w < total.size(); ++w)
        EXPECT_NEAR(total[w] / component[w], pz / std::hypot(px, pz), 1e-9);
}

TEST(SystemResponse, FrequencyDomainPpmAgainstTheSurfaceHalfSpace) {
    xRecordingPlatform platform;
    xEMDesc d = OneComponent(-10.0f, 0.0f, "ppm");
    d.systemDesc.waveformType = "frequency domain";
    d.systemDesc.normalization = "component";
    auto& wave = d.Components()[109].wave;
    wave.frequencies.Resize(0, 1, 0, 0);
    wave.frequencies[0][0] = 900.0f;
    wave.frequencies[1][0] = 7200.0f;
    xSystemResponse response;
    ASSERT_TRUE(response.SetSystem(d)) << response.Problem();
    const double sigma = 0.02, r = 10.0;
    const auto values = response.Sounding({{sigma}, {}}, 0.0).at(109);
    ASSERT_EQ(values.size(), 4u);
    for (int k = 0; k < 2; ++k) {
        const double omega = 2.0 * Pi * (k == 0 ? 900.0 : 7200.0);
        const std::complex<double> hz = halfspace::SurfaceHz(sigma, omega, r);
        const double primary = -1.0 / (4.0 * Pi * r * r * r);
        const std::complex<double> ppm = (hz - primary) / primary * 1e6;
        // The kernel's surface Hankel sums against the closed form: 0.1 %.
        EXPECT_NEAR(values[std::size_t(k)], ppm.real(), 1e-3 * std::abs(ppm)) << "in-phase " << k;
        EXPECT_NEAR(values[std::size_t(2 + k)], ppm.imag(), 1e-3 * std::abs(ppm)) << "quad " << k;
    }
}

TEST(SystemResponse, SystemsThatCannotBeModelledSaySo) {
    xRecordingPlatform platform;
    xEMDesc undefined = TimeDomainSystem("ppm");
    undefined.Components()[UndefinedComponent] = undefined.Components()[109];
    xSystemResponse response;
    EXPECT_FALSE(response.SetSystem(undefined));
    EXPECT_EQ(response.Problem(), "Component ???? has no transmitter and receiver axes.");
    xEMDesc noCurrent = TimeDomainSystem("ppm");
    noCurrent.Components()[109].wave.txWaveform.samples.Resize(0, 0, 0, 2);
    EXPECT_FALSE(response.SetSystem(noCurrent));
    EXPECT_EQ(response.Problem(), "The transmitter current of component TzRz is not defined.");
}

// Absolute data are the field for the descriptor's moment in the unit's SI
// multiple; relative data the same field over the signed primary. A value in
// either unit is one fraction of the primary: the rule the CDI reads them by.
TEST(SystemResponse, AbsoluteUnitsScaleByTheirMultipleAndTheMoment) {
    xRecordingPlatform platform;
    const xLayeredEarth earth{{0.05}, {}};
    auto sounding = [&](const std::string& unit, const std::string& txUnit, float moment) {
        xEMDesc d = TimeDomainSystem(unit, -40.0f);
        d.systemDesc.normalization = "component";
        xWaveform& current = d.Components()[109].wave.txWaveform;
        current.unit = txUnit;
        current.scaleSecond = moment;
        // The shape's own peak does not count: the moment does.
        for (long r = 0; r < current.samples.Rows(); ++r) current.samples[r][1] *= 3.0f;
        xSystemResponse response;
        EXPECT_TRUE(response.SetSystem(d)) << response.Problem();
        return response.Sounding(earth, 100.0).at(109);
    };
    const auto tesla = sounding("Wb/m^2", "amp", 7.0f);  // an "amp" current is 1 A m^2
    const auto femto = sounding("fT", "amp/m^2", 0.5f);
    const auto ppm = sounding("ppm", "amp/m^2", 0.5f);
    const auto rate = sounding("V/amp/m^4", "amp", 1.0f);
    const auto nanoRate = sounding("nV/amp/m^2", "amp/m^2", 2.0f);
    const double x = -100.0, z = -40.0, R = std::hypot(x, z);
    const double bp = Mu0 * (3 * z * z - R * R) / (4.0 * Pi * std::pow(R, 5));
    for (std::size_t w = 0; w < tesla.size(); ++w) {
        EXPECT_NEAR(femto[w], tesla[w] * 0.5e15, 1e-6 * std::fabs(femto[w]));
        EXPECT_NEAR(nanoRate[w], rate[w] * 2.0e9, 1e-6 * std::fabs(nanoRate[w]));
        EXPECT_NEAR(ppm[w] / 1e6, femto[w] * 1e-15 / (0.5 * bp), 1e-6 * std::fabs(ppm[w] / 1e6));
    }
    // After the current's fall the field keeps the moment's sign, and decays.
    EXPECT_GT(tesla.back(), 0.0);
    EXPECT_GT(rate.back(), 0.0);
}

TEST(SystemResponse, UnknownReceiverUnitsAreRefusedWithTheUnitsToSet) {
    xRecordingPlatform platform;
    xSystemResponse response;
    EXPECT_FALSE(response.SetSystem(TimeDomainSystem("nanoVolts")));
    EXPECT_NE(response.Problem().find("The receiver unit \"nanoVolts\" says nothing a survey can "
                                      "be modelled in: set the receiver primary field's unit to"),
              std::string::npos)
        << response.Problem();
}

TEST(SystemResponse, CoaxialPairOverAGoodConductorReadsItsImage) {
    // A coaxial pair with the receiver 9 m behind, 30 m up: over a good
    // conductor the in-phase ppm is the image dipole's field along x over the
    // primary's, and the quadrature vanishes; a coplanar pair beside it keeps
    // its own response.
    xRecordingPlatform platform;
    xEMDesc d = OneComponent(-9.0f, 0.0f, "ppm");
    d.systemDesc.waveformType = "frequency domain";
    d.systemDesc.normalization = "component";
    auto& wave = d.Components()[109].wave;
    wave.frequencies.Resize(0, 0, 0, 0);
    wave.frequencies[0][0] = 3300.0f;
    xEMCompDesc coaxial = d.Components()[109];
    coaxial.id = 101;
    coaxial.geometry.transmitter = xEMSensorType();
    coaxial.geometry.transmitter.AddComponent(AxisX);
    d.Components()[101] = coaxial;
    xSystemResponse response;
    ASSERT_TRUE(response.SetSystem(d)) << response.Problem();
    const auto channels = response.Sounding({{1e6}, {}}, 30.0);
    const double x = -9.0, a = 60.0, d2 = x * x + a * a;
    const double imageX = (3.0 * x * x / d2 - 1.0) / std::pow(d2, 1.5);  // both over 4 pi
    const double primaryX = 2.0 / std::pow(std::fabs(x), 3);
    const double ppm = imageX / primaryX * 1e6;
    const auto& xx = channels.at(101);
    ASSERT_EQ(xx.size(), 2u);
    EXPECT_NEAR(xx[0], ppm, 2e-3 * std::fabs(ppm));  // the skin depth, 9 mm, over a: 0.05 %
    EXPECT_LT(std::fabs(xx[1]), 2e-2 * std::fabs(ppm));
    const double imageZ = -(3.0 * a * a / d2 - 1.0) / std::pow(d2, 1.5);  // the opposite image
    const double primaryZ = -1.0 / std::pow(std::fabs(x), 3);
    EXPECT_NEAR(channels.at(109)[0], imageZ / primaryZ * 1e6,
                2e-3 * std::fabs(imageZ / primaryZ * 1e6));
}
