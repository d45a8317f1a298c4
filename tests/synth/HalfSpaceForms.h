#pragma once
// Closed forms of a unit vertical magnetic dipole on the surface of a uniform
// half-space, receiver on the surface at offset r: the oracles of the forward
// model's suites.

#include <cmath>
#include <complex>
#include <numbers>

namespace halfspace {

constexpr double Pi = std::numbers::pi;
constexpr double Mu0 = 4e-7 * Pi;

// Total Hz at angular frequency omega (Wait's closed form), e^{iwt} convention.
inline std::complex<double> SurfaceHz(double sigma, double omega, double r) {
    const std::complex<double> k2(0.0, -omega * Mu0 * sigma);
    const std::complex<double> k = std::sqrt(k2);  // principal root: Im k < 0
    const std::complex<double> i(0.0, 1.0);
    const std::complex<double> x = i * k * r;
    return (9.0 - (9.0 + 9.0 * x - 4.0 * k2 * r * r - i * k2 * k * r * r * r) * std::exp(-x)) /
           (2.0 * Pi * k2 * std::pow(r, 5));
}

// Step-off hz(t).
inline double SurfaceStepOff(double sigma, double r, double t) {
    const double x = std::sqrt(Mu0 * sigma / (4.0 * t)) * r;
    return ((4.5 / (x * x) - 1.0) * std::erf(x) -
            (9.0 / x + 4.0 * x) * std::exp(-x * x) / std::sqrt(Pi)) /
           (4.0 * Pi * r * r * r);
}

}  // namespace halfspace
