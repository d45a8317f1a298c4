#pragma once
// Small problems for the fitter suites: random or decay-shaped bases and the
// conversions to Eigen for the oracles.

#include <Eigen/Dense>
#include <cmath>
#include <random>

#include "xArray.h"
#include "xMatrix.h"

namespace fittest {

// Rows taus, columns channels, from 1; entries uniform in [low, high].
inline FloatMatrix RandomBasis(long taus, long channels, std::mt19937& rng, float low = -1.0f,
                               float high = 1.0f) {
    std::uniform_real_distribution<float> u(low, high);
    FloatMatrix basis(1, taus, 1, channels);
    for (long t = 1; t <= taus; ++t)
        for (long c = 1; c <= channels; ++c) basis[t][c] = u(rng);
    return basis;
}

// exp(-time / tau) over channels at times 0.1 .. and taus spread on a log scale.
inline FloatMatrix DecayBasis(long taus, long channels) {
    FloatMatrix basis(1, taus, 1, channels);
    for (long t = 1; t <= taus; ++t) {
        const double tau = 0.05 * std::pow(2.0, double(t - 1));
        for (long c = 1; c <= channels; ++c) basis[t][c] = float(std::exp(-0.1 * c / tau));
    }
    return basis;
}

inline FloatArray RandomArray(long n, std::mt19937& rng, float low, float high) {
    std::uniform_real_distribution<float> u(low, high);
    FloatArray a(1, n);
    for (long i = 1; i <= n; ++i) a[i] = u(rng);
    return a;
}

inline FloatArray Ones(long n) {
    FloatArray a(1, n);
    for (long i = 1; i <= n; ++i) a[i] = 1.0f;
    return a;
}

inline Eigen::MatrixXd ToEigen(const FloatMatrix& a) {
    Eigen::MatrixXd e(a.Rows(), a.Cols());
    for (long r = 0; r < a.Rows(); ++r)
        for (long c = 0; c < a.Cols(); ++c) e(r, c) = a[a.RowLow() + r][a.ColLow() + c];
    return e;
}

inline Eigen::VectorXd ToEigen(const FloatArray& a) {
    Eigen::VectorXd e(a.Length());
    for (long i = 0; i < a.Length(); ++i) e(i) = a[a.Low() + i];
    return e;
}

// Data that the basis reproduces with the given amplitudes: d[c] = sum_t x[t] basis[t][c].
inline FloatArray Synthesize(const FloatMatrix& basis, const FloatArray& x) {
    FloatArray d(1, basis.Cols());
    for (long c = 1; c <= basis.Cols(); ++c)
        for (long t = 1; t <= basis.Rows(); ++t) d[c] += basis[t][c] * x[t];
    return d;
}

}  // namespace fittest
