#include "xPLSFit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

#include "FitTestSupport.h"
#include "xRecordingPlatform.h"

using namespace fittest;

namespace {

// The exact non-negative least-squares solution by enumeration of all active
// sets: the unconstrained solution on each subset, kept when it is feasible
// and no column outside has a positive gradient (the KKT conditions), the
// smallest residual winning.
Eigen::VectorXd BruteForceNnls(const Eigen::MatrixXd& t, const Eigen::VectorXd& b) {
    const long n = t.cols();
    Eigen::VectorXd best = Eigen::VectorXd::Zero(n);
    double bestResidual = std::numeric_limits<double>::infinity();
    const double gradientSlack = 1e-9 * (1.0 + t.norm() * b.norm());
    for (long mask = 0; mask < (1L << n); ++mask) {
        std::vector<long> cols;
        for (long j = 0; j < n; ++j)
            if (mask & (1L << j)) cols.push_back(j);
        Eigen::VectorXd x = Eigen::VectorXd::Zero(n);
        if (!cols.empty()) {
            Eigen::MatrixXd sub(t.rows(), long(cols.size()));
            for (std::size_t k = 0; k < cols.size(); ++k) sub.col(long(k)) = t.col(cols[k]);
            const Eigen::VectorXd xs = sub.colPivHouseholderQr().solve(b);
            bool feasible = true;
            for (std::size_t k = 0; k < cols.size(); ++k) {
                if (xs(long(k)) <= 0.0) feasible = false;
                x(cols[k]) = xs(long(k));
            }
            if (!feasible) continue;
        }
        const Eigen::VectorXd g = t.transpose() * (b - t * x);
        bool kkt = true;
        for (long j = 0; j < n; ++j)
            if (!(mask & (1L << j)) && g(j) > gradientSlack) kkt = false;
        const double residual = (b - t * x).norm();
        if (kkt && residual < bestResidual) {
            bestResidual = residual;
            best = x;
        }
    }
    return best;
}

struct Case {
    long taus, channels;
    float smoothing, ratio, minLength;
};

double CompareWithBruteForce(const Case& k, std::mt19937& rng, int& solved, int& roundLimit) {
    const FloatMatrix basis = RandomBasis(k.taus, k.channels, rng);
    const FloatArray w = RandomArray(k.channels, rng, 0.5f, 1.5f);
    xPLSFit fit;
    fit.SetTolerance(1e-6f);
    fit.SetConditioning(k.smoothing, k.ratio, 0.0f, k.minLength);
    fit.SetBasisAndWeights(basis, w);
    fit.BuildDesign();
    fit.SetData(RandomArray(k.channels, rng, -1.0f, 1.0f));
    FloatArray x(1, fit.Cols());
    if (fit.Pass(x) != xPLSFit::Solved) {
        ++roundLimit;
        return 0.0;
    }
    ++solved;
    const Eigen::VectorXd exact =
        BruteForceNnls(ToEigen(fit.Design()), ToEigen(fit.RightHandSide()));
    return (ToEigen(x) - exact).norm() / std::max(1.0, exact.norm());
}

int ExpectExactPasses(const std::vector<Case>& cases, int trials) {
    std::mt19937 rng(20261121);
    int solved = 0, roundLimit = 0;
    for (const Case& k : cases)
        for (int trial = 0; trial < trials; ++trial)
            EXPECT_LT(CompareWithBruteForce(k, rng, solved, roundLimit), 1e-4)
                << k.taus << "x" << k.channels << " trial " << trial;
    return roundLimit;
}

// A normalised decay basis as the examples have them: windows log-spaced over
// two to three decades, taus log-spaced around them, each row at most 1.
FloatMatrix ExampleSizedBasis(long taus, long channels, std::mt19937& rng) {
    std::uniform_real_distribution<double> u(0.0, 1.0);
    const double firstWindow = 1e-5 * std::pow(10.0, u(rng)), windowSpan = 2.0 + u(rng);
    const double firstTau = firstWindow * std::pow(10.0, u(rng) - 0.5),
                 tauSpan = 1.5 + 2.0 * u(rng);
    FloatMatrix basis(1, taus, 1, channels);
    for (long t = 1; t <= taus; ++t) {
        const double tau = firstTau * std::pow(10.0, tauSpan * double(t - 1) / double(taus - 1));
        double largest = 0.0;
        for (long c = 1; c <= channels; ++c) {
            const double time =
                firstWindow * std::pow(10.0, windowSpan * double(c - 1) / double(channels - 1));
            largest = std::max(largest, std::exp(-time / tau));
        }
        for (long c = 1; c <= channels; ++c) {
            const double time =
                firstWindow * std::pow(10.0, windowSpan * double(c - 1) / double(channels - 1));
            basis[t][c] = float(largest > 0.0 ? std::exp(-time / tau) / largest : 0.0);
        }
    }
    return basis;
}

// A few positive amplitudes through the basis, a few percent of noise, either
// sign, scaled to a largest value of 1 as the engine hands data on.
FloatArray NoisyDecay(const FloatMatrix& basis, std::mt19937& rng) {
    std::uniform_real_distribution<float> u(0.0f, 1.0f);
    FloatArray truth(1, basis.Rows());
    for (long t = 1; t <= basis.Rows(); ++t) truth[t] = u(rng) < 0.3f ? u(rng) : 0.0f;
    FloatArray data = Synthesize(basis, truth);
    std::normal_distribution<float> noise(0.0f, 0.01f + 0.04f * u(rng));
    float largest = 0.0f;
    for (long c = 1; c <= data.High(); ++c) {
        data[c] += noise(rng) * (std::fabs(data[c]) + 0.01f);
        largest = std::max(largest, std::fabs(data[c]));
    }
    data *= (u(rng) < 0.5f ? -1.0f : 1.0f) / (largest > 0.0f ? largest : 1.0f);
    return data;
}

// The non-negative least-squares optimality of x for the design and rhs: x at
// least 0, the gradient T'(b - T x) within tol of 0 where x is positive, and at
// most tol where x is 0. There the pass measures it as an amplitude (the value
// at which the column alone would enter, gradient / |column|^2), the unit of
// its tolerance; so does this check. Answers the worst violation.
double OptimalityViolation(const FloatMatrix& design, const FloatArray& rhs, const FloatArray& x) {
    const Eigen::MatrixXd t = ToEigen(design);
    const Eigen::VectorXd xs = ToEigen(x);
    const Eigen::VectorXd g = t.transpose() * (ToEigen(rhs) - t * xs);
    double worst = 0.0;
    for (long j = 0; j < xs.size(); ++j) {
        const double entering = g(j) / std::max(1.0, t.col(j).squaredNorm());
        worst = std::max({worst, -xs(j), xs(j) > 0.0 ? std::fabs(g(j)) : entering});
    }
    return worst;
}

}  // namespace

// Both passes of every record-like problem reach the optimum of their
// problem, conditioning rows included, and none runs out of rounds.
TEST(xPLSFit, PassesOfExampleSizedProblemsAreOptimal) {
    std::mt19937 rng(703);
    std::uniform_int_distribution<long> taus(8, 16), channels(14, 20);
    std::uniform_real_distribution<float> u(0.0f, 1.0f);
    const float tol = 1e-4f;  // the default error tolerance
    int notOptimal = 0, roundLimits = 0;
    for (int problem = 0; problem < 10000; ++problem) {
        const FloatMatrix basis = ExampleSizedBasis(taus(rng), channels(rng), rng);
        const float smoothing = u(rng) < 0.2f ? 0.0f : 0.5f * u(rng);
        xPLSFit fit;
        fit.SetTolerance(tol);
        fit.SetConditioning(smoothing * smoothing, u(rng) < 0.5f ? 1.0f : 0.5f + u(rng), 0.0f,
                            0.0f);
        fit.SetBasisAndWeights(
            basis, u(rng) < 0.5f ? Ones(basis.Cols()) : RandomArray(basis.Cols(), rng, 0.5f, 1.5f));
        fit.BuildDesign();
        FloatArray data = NoisyDecay(basis, rng);
        for (int pass = 0; pass < 2; ++pass, data *= -1.0f) {
            fit.SetData(data);
            FloatArray x(1, fit.Cols());
            if (fit.Pass(x) == xPLSFit::RoundLimit) ++roundLimits;
            const double violation = OptimalityViolation(fit.Design(), fit.RightHandSide(), x);
            if (violation > tol) {
                ++notOptimal;
                ADD_FAILURE() << "problem " << problem << " pass " << pass << ": " << violation;
            }
            if (notOptimal > 5) return;
        }
    }
    EXPECT_EQ(roundLimits, 0);
}

// The first pass is the exact NNLS solution of the design and rhs it was
// given, conditioning rows included.
TEST(xPLSFit, FirstPassIsTheExactNonNegativeLeastSquaresSolution) {
    EXPECT_EQ(ExpectExactPasses({{4, 8, 0.0f, 1.0f, 0.0f},
                                 {6, 12, 0.0f, 1.0f, 0.0f},
                                 {4, 8, 0.3f, 0.8f, 0.0f},
                                 {6, 12, 0.2f, 1.0f, 0.1f},
                                 {5, 5, 0.0f, 1.0f, 0.0f}},
                                300),
              0);
}

// Data of the other sign: the first pass finds nothing positive, the negated
// pass fits them and wins.
TEST(xPLSFit, NegativeDataAreFittedByTheSecondPass) {
    const FloatMatrix basis = DecayBasis(4, 10);
    FloatArray truth(1, 4);
    truth[1] = 0.5f, truth[2] = 0.0f, truth[3] = 1.5f, truth[4] = 0.25f;
    FloatArray data = Synthesize(basis, truth);
    data *= -1.0f;

    xPLSFit fit;
    fit.SetTolerance(1e-6f);
    fit.SetBasisAndWeights(basis, Ones(10));
    fit.BuildDesign();
    fit.SetData(data);

    FloatArray first(1, 4);
    fit.Pass(first);
    const float e1 = fit.Misfit(first);
    for (long t = 1; t <= 4; ++t) EXPECT_EQ(first[t], 0.0f);

    FloatArray x(1, 4);
    fit.Solve(x);
    for (long t = 1; t <= 4; ++t) EXPECT_NEAR(x[t], truth[t], 2e-3) << t;
    EXPECT_EQ(fit.ModelSign(), -1.0f);
    // The solution fits the negated data; the rhs itself is left as it was.
    EXPECT_EQ(fit.RightHandSide()[3], data[3]);
    FloatArray negated(x);
    negated *= -1.0f;
    EXPECT_LT(fit.Misfit(negated), 1e-4f * e1);
}

TEST(xPLSFit, AllZeroDataGiveZeroAmplitudes) {
    xPLSFit fit;
    fit.SetBasisAndWeights(DecayBasis(3, 6), Ones(6));
    fit.BuildDesign();
    fit.SetData(FloatArray(1, 6));
    FloatArray x(1, 3);
    x[2] = 7.0f;
    fit.Solve(x);
    for (long t = 1; t <= 3; ++t) EXPECT_EQ(x[t], 0.0f);
}

// A column whose reflection would be below the tolerance cannot be added;
// with somewhere to say it the pass says so and ends, without it the column is
// passed over, as one that rounding alone made steepest.
TEST(xPLSFit, AddFailureIsReportedOnlyWithMessages) {
    xRecordingPlatform platform;
    const FloatMatrix basis = DecayBasis(3, 6);
    xPLSFit fit;
    fit.SetTolerance(100.0f);  // more than any column's norm
    fit.SetBasisAndWeights(basis, Ones(6));
    fit.BuildDesign();
    fit.SetData(Synthesize(basis, Ones(3)));
    FloatArray x(1, 3);

    fit.SetMessages(&platform);
    EXPECT_EQ(fit.Pass(x), xPLSFit::AddFailed);
    EXPECT_EQ(platform.Texts("error"), std::vector<std::string>{"Error in add"});

    platform.messages.clear();
    fit.SetMessages(nullptr);
    EXPECT_EQ(fit.Pass(x), xPLSFit::Solved);
    EXPECT_TRUE(platform.messages.empty());
    for (long t = 1; t <= 3; ++t) EXPECT_EQ(x[t], 0.0f);
}
