#include <gtest/gtest.h>

#include <limits>

#include "FitTestSupport.h"
#include "simplx.h"
#include "xL1MinErrFit.h"
#include "xL1PosFit.h"

using namespace fittest;

namespace {

// sum |x| (or sum x) + 10 sum |b - A x| in double, A[t][c] the weighted basis.
double Objective(const FloatMatrix& a, const Eigen::VectorXd& b, const Eigen::VectorXd& x,
                 bool positive) {
    double sum = 0.0;
    for (long t = 0; t < x.size(); ++t) sum += positive ? x(t) : std::fabs(x(t));
    for (long c = 0; c < b.size(); ++c) {
        double fit = 0.0;
        for (long t = 0; t < x.size(); ++t) fit += double(a[t + 1][c + 1]) * x(t);
        sum += 10.0 * std::fabs(b(c) - fit);
    }
    return sum;
}

// The objective is convex and piecewise linear, with its kinks on the planes
// x[t] = 0 and (A x)[c] = b[c]; its minimum lies where n of them meet.
// Enumerating every such vertex is the oracle.
double BruteForceMinimum(const FloatMatrix& a, const Eigen::VectorXd& b, bool positive) {
    const long n = a.Rows(), m = a.Cols();
    const long planes = n + m;
    double best = std::numeric_limits<double>::infinity();
    for (long mask = 0; mask < (1L << planes); ++mask) {
        if (__builtin_popcountl(static_cast<unsigned long>(mask)) != n) continue;
        Eigen::MatrixXd system = Eigen::MatrixXd::Zero(n, n);
        Eigen::VectorXd rhs = Eigen::VectorXd::Zero(n);
        long row = 0;
        for (long p = 0; p < planes; ++p) {
            if (!(mask & (1L << p))) continue;
            if (p < n) {
                system(row, p) = 1.0;
            } else {
                for (long t = 0; t < n; ++t) system(row, t) = a[t + 1][p - n + 1];
                rhs(row) = b(p - n);
            }
            ++row;
        }
        Eigen::FullPivLU<Eigen::MatrixXd> lu(system);
        if (lu.rank() < n) continue;
        const Eigen::VectorXd x = lu.solve(rhs);
        if (positive && x.minCoeff() < -1e-9) continue;
        best = std::min(best, Objective(a, b, x, positive));
    }
    return best;
}

template <class Fit>
void ExpectOptimum(bool positive, std::mt19937& rng, long taus, long channels, float low,
                   float high) {
    const FloatMatrix basis = RandomBasis(taus, channels, rng, 0.0f, 1.0f);
    Fit fit;
    fit.SetTolerance(1e-5f);  // the smallest the process hands in
    fit.SetBasisAndWeights(basis, RandomArray(channels, rng, 0.5f, 1.5f));
    fit.BuildDesign();
    fit.SetData(RandomArray(channels, rng, low, high));
    FloatArray x(1, taus);
    fit.Solve(x);
    const Eigen::VectorXd b = ToEigen(fit.RightHandSide());
    const double optimum = BruteForceMinimum(fit.WeightedBasis(), b, positive);
    const double reached = Objective(fit.WeightedBasis(), b, ToEigen(x), positive);
    for (long t = 1; t <= taus && positive; ++t) EXPECT_GE(x[t], 0.0f);
    EXPECT_LT(std::fabs(reached - optimum) / std::max(1.0, optimum), 1e-5)
        << taus << "x" << channels << ": reached " << reached << ", optimum " << optimum;
}

}  // namespace

// Both L1 fits reach the optimum of their linear programs, for data of either
// sign and of mixed signs.
TEST(xL1Fit, BothReachTheOptimum) {
    std::mt19937 rng(3);
    const std::pair<float, float> ranges[] = {{0.0f, 2.0f}, {-2.0f, 0.0f}, {-1.0f, 1.0f}};
    for (long taus : {2L, 3L})
        for (long channels : {2L, 3L, 4L})
            for (const auto& [low, high] : ranges)
                for (int trial = 0; trial < 30; ++trial) {
                    ExpectOptimum<xL1MinErrFit>(false, rng, taus, channels, low, high);
                    ExpectOptimum<xL1PosFit>(true, rng, taus, channels, low, high);
                }
}

// An exact decay of a strong enough basis is worth fitting: ten times the
// misfit outweighs the amplitudes, so MinErr reproduces it, and negated data
// give negated amplitudes.
TEST(xL1Fit, ExactDecaysAreReproducedWithTheirSign) {
    FloatMatrix basis = DecayBasis(2, 4);
    basis *= 10.0f;
    FloatArray truth(1, 2);
    truth[1] = 1.0f, truth[2] = 0.5f;
    for (float sign : {1.0f, -1.0f}) {
        FloatArray data = Synthesize(basis, truth);
        data *= sign;
        xL1MinErrFit fit;
        fit.SetTolerance(1e-5f);
        fit.SetBasisAndWeights(basis, Ones(4));
        fit.SetData(data);
        FloatArray x(1, 2);
        fit.Solve(x);
        EXPECT_NEAR(x[1], sign * truth[1], 1e-4);
        EXPECT_NEAR(x[2], sign * truth[2], 1e-4);

        // Positive amplitudes cannot follow negative data: the cheapest is none.
        xL1PosFit pos;
        pos.SetTolerance(1e-5f);
        pos.SetBasisAndWeights(basis, Ones(4));
        pos.SetData(data);
        pos.Solve(x);
        EXPECT_NEAR(x[1], sign > 0 ? truth[1] : 0.0f, 1e-4);
        EXPECT_NEAR(x[2], sign > 0 ? truth[2] : 0.0f, 1e-4);
    }
}
