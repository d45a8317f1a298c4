#include "LayeredEarth.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "HalfSpaceForms.h"

namespace {

using Complex = std::complex<double>;
using halfspace::SurfaceHz;
using halfspace::SurfaceStepOff;
constexpr double kPi = halfspace::Pi;
constexpr double kMu0 = halfspace::Mu0;

xLayeredEarth HalfSpace(double sigma) {
    return {{sigma}, {}};
}

std::vector<double> LogSpaced(double lo, double hi, int n) {
    std::vector<double> v(n);
    for (int i = 0; i < n; ++i) v[i] = lo * std::pow(hi / lo, i / (n - 1.0));
    return v;
}

// The impulse response -dhz/dt of the step-off (the published rate
// expression is of the switch-on, hence its sign).
double SurfaceStepOffRate(double sigma, double r, double t) {
    const double th = std::sqrt(kMu0 * sigma / (4.0 * t)), x = th * r;
    return -(9.0 * std::erf(x) - 2.0 * x / std::sqrt(kPi) *
                                     (9.0 + 6.0 * x * x + 4.0 * std::pow(x, 4)) *
                                     std::exp(-x * x)) /
           (2.0 * kPi * kMu0 * sigma * std::pow(r, 5));
}

// int_0^t of the closed form, by Gauss-Legendre on log-spaced panels.
double SurfaceStepOffIntegral(double sigma, double r, double t) {
    static const double gx[5] = {-0.9061798459386640, -0.5384693101056831, 0.0, 0.5384693101056831,
                                 0.9061798459386640};
    static const double gw[5] = {0.2369268850561891, 0.4786286704993665, 0.5688888888888889,
                                 0.4786286704993665, 0.2369268850561891};
    const double start = 1e-14;
    double sum = start * SurfaceStepOff(sigma, r, start);
    const std::vector<double> edges = LogSpaced(start, t, 400);
    for (size_t i = 0; i + 1 < edges.size(); ++i) {
        const double mid = 0.5 * (edges[i] + edges[i + 1]), half = 0.5 * (edges[i + 1] - edges[i]);
        for (int q = 0; q < 5; ++q)
            sum += half * gw[q] * SurfaceStepOff(sigma, r, mid + half * gx[q]);
    }
    return sum;
}

TEST(LayeredEarthTest, PrimaryFieldIsTheDipoleField) {
    // Independent form: (3 (m.n) n - m) / (4 pi R^3), m = z.
    for (const auto& p :
         std::vector<std::array<double, 3>>{{3, 4, 0}, {0, 0, 2}, {-5, 2, 7}, {1, -1, -3}}) {
        const double rr = std::hypot(p[0], p[1], p[2]);
        const double n[3] = {p[0] / rr, p[1] / rr, p[2] / rr};
        const xRealField h = PrimaryField({10.0, p[0], p[1], p[2]});
        for (int c = 0; c < 3; ++c) {
            const double expected = (3.0 * n[2] * n[c] - (c == 2)) / (4.0 * kPi * rr * rr * rr);
            EXPECT_NEAR(h[c], expected, 1e-14 / (rr * rr * rr)) << c;  // rounding only
        }
    }
    EXPECT_NEAR(PrimaryField({0.0, 3, 4, 0})[2], -1.0 / (500.0 * kPi),
                1e-16);  // on the plane: -1/(4 pi r^3)
}

TEST(LayeredEarthTest, SurfacePairOverHalfSpaceMatchesClosedForm) {
    const std::vector<double> omegas = LogSpaced(1.0, 1e6, 7);
    for (double sigma : {0.01, 1.0}) {
        for (double r : {10.0, 100.0, 400.0}) {
            const xDipoleGeometry geometry{0.0, r * 0.6, r * 0.8, 0.0};
            const auto fd = SecondaryFieldFD(HalfSpace(sigma), geometry, omegas);
            const double primary = PrimaryField(geometry)[2];
            for (size_t i = 0; i < omegas.size(); ++i) {
                const Complex expected = SurfaceHz(sigma, omegas[i], r);
                const Complex total = fd[i][2] + primary;
                const double tol = 1e-4 * std::abs(expected);  // rel. 1e-4 of |Hz|, each part
                EXPECT_NEAR(total.real(), expected.real(), tol)
                    << sigma << " " << r << " " << omegas[i];
                EXPECT_NEAR(total.imag(), expected.imag(), tol)
                    << sigma << " " << r << " " << omegas[i];
            }
        }
    }
    // The closed form's own DC limit is the primary field.
    EXPECT_NEAR(SurfaceHz(0.01, 1e-6, 100.0).real(), -1.0 / (4e6 * kPi), 1e-8 / (4e6 * kPi));
}

TEST(LayeredEarthTest, ImageOfPerfectConductorAndFreeSpace) {
    const xDipoleGeometry geometry{30.0, 6.0, -8.0, 5.0};  // a = 65, r = 10
    const double a = 65.0, r = 10.0, d5 = std::pow(a * a + r * r, 2.5);
    // Opposite image at depth: Hz = -(2a^2 - r^2)/(4 pi d^5), Hr = -3ar/(4 pi d^5).
    const auto hi = SecondaryFieldFD(HalfSpace(100.0), geometry, {1e9});
    const double hz = -(2 * a * a - r * r) / (4 * kPi * d5), hr = -3 * a * r / (4 * kPi * d5);
    EXPECT_NEAR(hi[0][2].real(), hz, 1e-3 * std::abs(hz));  // r_TE = -1 + O(1/|k|a): rel. 1e-3
    EXPECT_NEAR(hi[0][0].real(), hr * 0.6, 1e-3 * std::abs(hr));
    EXPECT_NEAR(hi[0][1].real(), -hr * 0.8, 1e-3 * std::abs(hr));
    EXPECT_LT(std::abs(hi[0][2].imag()), 1e-2 * std::abs(hz));  // the image is real

    // Nearly free space: the induced field is negligible against the primary.
    const xRealField primary = PrimaryField(geometry);
    const auto fs = SecondaryFieldFD(HalfSpace(1e-12), geometry, {1.0, 1e3, 1e6});
    for (const auto& h : fs)
        for (int c = 0; c < 3; ++c) EXPECT_LT(std::abs(h[c]), 1e-9 * std::abs(primary[2])) << c;
}

TEST(LayeredEarthTest, LayersThatAreReallyOneHalfSpace) {
    const std::vector<double> omegas = LogSpaced(10.0, 1e6, 6);
    const xDipoleGeometry geometry{30.0, 12.0, 5.0, 2.0};
    const auto compare = [&](const std::vector<xComplexField>& got,
                             const std::vector<xComplexField>& ref, double rel, const char* what) {
        for (size_t i = 0; i < omegas.size(); ++i)
            for (int c = 0; c < 3; ++c)
                EXPECT_LE(std::abs(got[i][c] - ref[i][c]), rel * std::abs(ref[i][2]))
                    << what << " " << i << " " << c;
    };
    const auto half = SecondaryFieldFD(HalfSpace(0.05), geometry, omegas);
    // Two equal layers: the recursion must return the half-space admittance
    // (rounding only); a micrometre of anything on top changes nothing.
    compare(SecondaryFieldFD({{0.05, 0.05}, {20.0}}, geometry, omegas), half, 1e-12, "equal");
    compare(SecondaryFieldFD({{0.5, 0.05}, {1e-6}}, geometry, omegas), half, 1e-4, "thin");
    // A resistive top layer only lifts the pair: the same as raising it by its thickness.
    xDipoleGeometry raised = geometry;
    raised.txHeight += 20.0;
    compare(SecondaryFieldFD({{1e-9, 1e-9, 0.05}, {5.0, 15.0}}, geometry, omegas),
            SecondaryFieldFD(HalfSpace(0.05), raised, omegas), 1e-5, "resistive");
}

TEST(LayeredEarthTest, StepOffOnHalfSpaceSurfaceMatchesClosedForm) {
    const double sigma = 0.01, r = 100.0;
    const xDipoleGeometry geometry{0.0, 0.0, r, 0.0};
    const std::vector<double> times = LogSpaced(1e-6, 1e-2, 33);
    // Each time with a near neighbour on either side for the derivative.
    std::vector<double> all;
    constexpr double kStep = 5e-3;
    for (double t : times) all.insert(all.end(), {t * (1 - kStep), t, t * (1 + kStep)});
    const xStepOff so = StepOffResponse(HalfSpace(sigma), geometry, all);
    ASSERT_EQ(so.field.size(), all.size());
    for (size_t i = 0; i < times.size(); ++i) {
        const double t = times[i];
        const double b = so.field[3 * i + 1][2];
        const double expected = SurfaceStepOff(sigma, r, t);
        const double scale = std::max(std::abs(expected), 1e-3 / (4 * kPi * r * r * r));
        EXPECT_NEAR(b, expected, 1e-3 * scale)
            << t;  // rel. 1e-3 (near the sign change: of 1e-3 of the primary)
        EXPECT_EQ(so.field[3 * i + 1][0], 0.0);  // the receiver is on the y axis

        const double rate = (so.field[3 * i][2] - so.field[3 * i + 2][2]) / (2 * kStep * t);
        const double expectedRate = SurfaceStepOffRate(sigma, r, t);
        // rel. 5e-3 (the interpolation's ripple in b, differentiated), floored where the
        // rate passes through zero
        EXPECT_NEAR(rate, expectedRate,
                    5e-3 * (std::abs(expectedRate) + 0.01 * std::abs(expected) / t))
            << t;

        const double integral = SurfaceStepOffIntegral(sigma, r, t);
        EXPECT_NEAR(so.integral[3 * i + 1][2], integral, 1e-3 * std::abs(integral))
            << t;  // rel. 1e-3
    }
}

TEST(LayeredEarthTest, LateTimeDecayOfElevatedPair) {
    const xDipoleGeometry geometry{30.0, 0.0, 0.0, 0.0};
    const double sigma = 0.01;  // mu0 sigma a^2 = 4.5e-5 s
    std::vector<double> times;
    constexpr double kStep = 5e-3;
    for (double t : {0.05, 0.1}) times.insert(times.end(), {t * (1 - kStep), t, t * (1 + kStep)});
    const std::vector<double> early = LogSpaced(1e-6, 0.04, 20);
    times.insert(times.begin(), early.begin(), early.end());
    const xStepOff so = StepOffResponse(HalfSpace(sigma), geometry, times);
    // The secondary field keeps the direction of the switched-off primary, and decays.
    for (size_t i = 0; i < early.size(); ++i) {
        EXPECT_GT(so.field[i][2], 0.0) << times[i];
        if (i > 0) {
            EXPECT_LT(so.field[i][2], so.field[i - 1][2]) << times[i];
            EXPECT_GT(so.integral[i][2], so.integral[i - 1][2]) << times[i];
        }
    }
    const size_t n = early.size();
    const auto b = [&](size_t k) { return so.field[n + k][2]; };
    const double slope = std::log(b(4) / b(1)) / std::log(2.0);
    EXPECT_NEAR(slope, -1.5, 0.05) << slope;  // b ~ t^{-3/2}, within 0.05
    const double rate1 = (b(2) - b(0)) / (2 * kStep * 0.05),
                 rate2 = (b(5) - b(3)) / (2 * kStep * 0.1);
    const double rateSlope = std::log(rate2 / rate1) / std::log(2.0);
    EXPECT_NEAR(rateSlope, -2.5, 0.05) << rateSlope;  // db/dt ~ t^{-5/2}, within 0.05
}

TEST(LayeredEarthTest, RejectsImpossibleInput) {
    const xDipoleGeometry geometry{30.0, 10.0, 0.0, 0.0};
    EXPECT_THROW(SecondaryFieldFD({{0.1, 0.1}, {}}, geometry, {1.0}), std::invalid_argument);
    EXPECT_THROW(SecondaryFieldFD(HalfSpace(0.1), {0.0, 0.0, 0.0, 0.0}, {1.0}),
                 std::invalid_argument);
    EXPECT_THROW(SecondaryFieldFD(HalfSpace(0.1), {10.0, 1.0, 0.0, -11.0}, {1.0}),
                 std::invalid_argument);
    EXPECT_THROW(StepOffResponse(HalfSpace(0.1), geometry, {1e-3, 1e-4}), std::invalid_argument);
    EXPECT_TRUE(StepOffResponse(HalfSpace(0.1), geometry, {}).field.empty());
}

}  // namespace

namespace {

xDipoleGeometry Pair(double txHeight, double dx, double dy, double dz, xRealField axis) {
    xDipoleGeometry g{txHeight, dx, dy, dz};
    g.axis = axis;
    return g;
}

constexpr xRealField kAxisX{1.0, 0.0, 0.0}, kAxisY{0.0, 1.0, 0.0}, kAxisZ{0.0, 0.0, 1.0};

// The field of a unit dipole of axis m at the relative position p, a vector of
// its own: (3 (m.n) n - m) / (4 pi R^3).
xRealField DipoleAt(const xRealField& m, const std::array<double, 3>& p) {
    const double rr = std::hypot(p[0], p[1], p[2]);
    const double mn = (m[0] * p[0] + m[1] * p[1] + m[2] * p[2]) / rr;
    xRealField h;
    for (int c = 0; c < 3; ++c) h[c] = (3.0 * mn * p[c] / rr - m[c]) / (4.0 * kPi * rr * rr * rr);
    return h;
}

// Half-space under a layer, the admittance by its textbook form.
Complex TwoLayerReflection(double lambda, double omega, double s1, double s2, double d) {
    const Complex u1 = std::sqrt(Complex(lambda * lambda, omega * kMu0 * s1));
    const Complex u2 = std::sqrt(Complex(lambda * lambda, omega * kMu0 * s2));
    const Complex t = std::tanh(u1 * d);
    const Complex y = u1 * (u2 + u1 * t) / (u1 + u2 * t);
    return (lambda - y) / (lambda + y);
}

// int_0^inf r_TE l^m e^{-la} J(lr) dl / (4 pi) by composite Simpson on a fine grid.
Complex BruteHankel(double omega, double a, double r, int power, bool besselOne) {
    const double top = 60.0 / a;
    const int n = 200000;
    const double h = top / n;
    Complex sum = 0.0;
    for (int i = 0; i <= n; ++i) {
        const double l = i * h;
        const double bessel = besselOne ? ::j1(l * r) : ::j0(l * r);
        const double weight = (i == 0 || i == n) ? 1.0 : (i % 2 ? 4.0 : 2.0);
        sum += weight * TwoLayerReflection(l, omega, 0.02, 0.2, 25.0) * std::pow(l, power) *
               std::exp(-l * a) * bessel;
    }
    return sum * h / 3.0 / (4.0 * kPi);
}

}  // namespace

TEST(LayeredEarthTest, PrimaryFieldOfEveryAxis) {
    for (const xRealField& m : {kAxisX, kAxisY, kAxisZ, xRealField{0.6, 0.0, 0.8}})
        for (const auto& p : std::vector<std::array<double, 3>>{{3, 4, 0}, {0, 0, 2}, {-5, 2, 7}}) {
            const xRealField got = PrimaryField(Pair(10.0, p[0], p[1], p[2], m));
            const xRealField expected = DipoleAt(m, p);
            for (int c = 0; c < 3; ++c)
                EXPECT_NEAR(got[c], expected[c], 1e-14 / std::pow(std::hypot(p[0], p[1], p[2]), 3))
                    << m[0] << m[1] << m[2] << " " << c;  // rounding only
        }
}

TEST(LayeredEarthTest, HorizontalDipoleImageOfPerfectConductorAndFreeSpace) {
    // Over a perfect conductor a horizontal dipole has an image of the same
    // direction at depth; inline, broadside, on the axis and off the axes.
    for (const auto& offset :
         std::vector<std::array<double, 3>>{{9, 0, 0}, {0, 9, 0}, {0, 0, 0.5}, {6, -8, 5}}) {
        for (const xRealField& m : {kAxisX, kAxisY}) {
            const xDipoleGeometry g = Pair(30.0, offset[0], offset[1], offset[2], m);
            const xRealField image = DipoleAt(m, {offset[0], offset[1], 60.0 + offset[2]});
            const auto hi = SecondaryFieldFD(HalfSpace(100.0), g, {1e9});
            const double size = std::hypot(image[0], image[1], image[2]);
            for (int c = 0; c < 3; ++c) {
                // r_TE = -1 + O(1/|k|a): rel. 1e-3 of the image's size
                EXPECT_NEAR(hi[0][c].real(), image[c], 1e-3 * size) << offset[0] << " " << c;
                EXPECT_LT(std::abs(hi[0][c].imag()), 1e-2 * size) << c;  // the image is real
            }
            const xRealField primary = PrimaryField(g);
            const double primarySize = std::hypot(primary[0], primary[1], primary[2]);
            for (const auto& h : SecondaryFieldFD(HalfSpace(1e-12), g, {1.0, 1e3, 1e6}))
                for (int c = 0; c < 3; ++c) EXPECT_LT(std::abs(h[c]), 1e-9 * primarySize) << c;
        }
    }
}

TEST(LayeredEarthTest, ReciprocityAndRotationOfHorizontalDipoles) {
    const xLayeredEarth earth{{0.02, 0.2}, {25.0}};
    const std::vector<double> omegas = LogSpaced(1e2, 1e6, 5);
    const auto near = [](Complex got, Complex expected, Complex scale, const char* what) {
        EXPECT_LE(std::abs(got - expected), 1e-7 * std::abs(scale)) << what;  // the sums' tolerance
    };
    // Swapping transmitter and receiver: the x field of a vertical dipole at B
    // seen from A is the z field of an x dipole at A seen from B.
    const auto xz = SecondaryFieldFD(earth, Pair(30.0, 7.0, -3.0, 4.0, kAxisX), omegas);
    const auto zx = SecondaryFieldFD(earth, Pair(34.0, -7.0, 3.0, -4.0, kAxisZ), omegas);
    // A quarter turn about z takes a y dipole at (dx, dy) to an x dipole at (dy, -dx).
    const auto yy = SecondaryFieldFD(earth, Pair(30.0, 7.0, -3.0, 4.0, kAxisY), omegas);
    for (size_t i = 0; i < omegas.size(); ++i) {
        near(xz[i][2], zx[i][0], zx[i][2], "reciprocal");
        near(yy[i][1],
             SecondaryFieldFD(earth, Pair(30.0, -3.0, -7.0, 4.0, kAxisX), {omegas[i]})[0][0],
             yy[i][1], "turned");
    }
}

TEST(LayeredEarthTest, HorizontalDipoleAgainstBruteForceHankelSums) {
    const xLayeredEarth earth{{0.02, 0.2}, {25.0}};
    const double omega = 2.0 * kPi * 3300.0, a = 60.0, r = 9.0;
    const Complex i0 = BruteHankel(omega, a, r, 2, false), i1 = BruteHankel(omega, a, r, 2, true);
    const Complex k = BruteHankel(omega, a, r, 1, true) / r;
    // Coaxial and inline vertical: Hx = I0 - K, Hz = -I1; broadside: Hx = K.
    const auto inline_ = SecondaryFieldFD(earth, Pair(30.0, r, 0.0, 0.0, kAxisX), {omega})[0];
    const auto broadside = SecondaryFieldFD(earth, Pair(30.0, 0.0, r, 0.0, kAxisX), {omega})[0];
    const double tol = 1e-6 * std::abs(i0);  // Simpson at 3e-4 m^-1 steps: rel. 1e-6
    EXPECT_NEAR(std::abs(inline_[0] - (i0 - k)), 0.0, tol);
    EXPECT_NEAR(std::abs(inline_[2] + i1), 0.0, tol);
    EXPECT_NEAR(std::abs(broadside[0] - k), 0.0, tol);
    EXPECT_NEAR(std::abs(broadside[1]) + std::abs(broadside[2]), 0.0, tol);
}

TEST(LayeredEarthTest, HorizontalDipoleStepOffStartsAtTheImage) {
    // Switched off over a good conductor, the earth holds the field it had: at
    // times far below mu0 sigma a^2 (here 45 s) the secondary is the image of
    // the dipole with its sign turned. The times reach past 45 s so that the
    // spectrum is sampled where the earth's response lies.
    const xDipoleGeometry g = Pair(30.0, -9.0, 2.0, 0.5, kAxisX);
    const xRealField image = DipoleAt(kAxisX, {-9.0, 2.0, 60.5});
    const std::vector<double> times = LogSpaced(1e-6, 100.0, 9);
    const xStepOff so = StepOffResponse(HalfSpace(1e4), g, times);
    const double size = std::hypot(image[0], image[1], image[2]);
    // The currents sink as 2 sqrt(t/(pi mu0 sigma)), 1 cm by 1 us: 3 cm/a of the field.
    for (int c = 0; c < 3; ++c) EXPECT_NEAR(so.field[0][c], -image[c], 1e-3 * size) << c;
    // Only the axes asked for.
    const xStepOff z = StepOffResponse(HalfSpace(1e4), g, times, {false, false, true});
    EXPECT_EQ(z.field[0][0], 0.0);
    EXPECT_EQ(z.field[0][2], so.field[0][2]);
}
