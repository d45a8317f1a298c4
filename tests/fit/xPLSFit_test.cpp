#include "xPLSFit.h"

#include <gtest/gtest.h>

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

// Passes that end normally are exact; rare circles at the round limit are the
// method's own: the step length is the smallest |x / (x - z)| over all active
// columns, so a column whose candidate grew can set a step backwards, which on
// square systems now and then sends the pass round until the round limit.
int ExpectExactPasses(const std::vector<Case>& cases, int trials) {
    std::mt19937 rng(20261121);
    int solved = 0, roundLimit = 0;
    for (const Case& k : cases)
        for (int trial = 0; trial < trials; ++trial)
            EXPECT_LT(CompareWithBruteForce(k, rng, solved, roundLimit), 1e-4)
                << k.taus << "x" << k.channels << " trial " << trial;
    return roundLimit;
}

}  // namespace

// The first pass is the exact NNLS solution of the design and rhs it was
// given, conditioning rows included.
TEST(xPLSFit, FirstPassIsTheExactNonNegativeLeastSquaresSolution) {
    EXPECT_LE(ExpectExactPasses({{4, 8, 0.0f, 1.0f, 0.0f},
                                 {6, 12, 0.0f, 1.0f, 0.0f},
                                 {4, 8, 0.3f, 0.8f, 0.0f},
                                 {6, 12, 0.2f, 1.0f, 0.1f}},
                                250),
              10);
    EXPECT_LT(ExpectExactPasses({{5, 5, 0.0f, 1.0f, 0.0f}}, 300), 15);
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
// with somewhere to say it the pass says so and ends, without it the rounds run out.
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
    EXPECT_EQ(fit.Pass(x), xPLSFit::RoundLimit);
    EXPECT_TRUE(platform.messages.empty());
    for (long t = 1; t <= 3; ++t) EXPECT_EQ(x[t], 0.0f);
}
