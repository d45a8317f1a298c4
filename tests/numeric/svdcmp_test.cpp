#include "svdcmp.h"

#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <functional>
#include <random>
#include <vector>

#include "xRecordingPlatform.h"

namespace {

const char* const kNoConvergence = "no convergence in 30 svdcmp iterations";
const double kFloatTolerance = 2e-5;
// Values below this fraction of the largest count as zero, the cut the tau
// selection applies to this routine's output.
const double kZeroCut = 1e-5;

// An m x n matrix from 1, entries uniform in [-1, 1], times scale.
FloatMatrix RandomMatrix(int m, int n, unsigned seed, float scale = 1.0f) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> uniform(-1.0f, 1.0f);
    FloatMatrix a(1, m, 1, n);
    for (int r = 1; r <= m; ++r)
        for (int c = 1; c <= n; ++c) a[r][c] = scale * uniform(gen);
    return a;
}

// Rows 1..m, columns 1..n of a matrix from 1, widened to double.
Eigen::MatrixXd ToEigen(const FloatMatrix& a, int m, int n) {
    Eigen::MatrixXd e(m, n);
    for (int r = 1; r <= m; ++r)
        for (int c = 1; c <= n; ++c) e(r - 1, c - 1) = a[r][c];
    return e;
}

Eigen::VectorXd ToEigen(const FloatArray& w, int n) {
    Eigen::VectorXd e(n);
    for (int i = 1; i <= n; ++i) e(i - 1) = w[i];
    return e;
}

struct Decomposition {
    Eigen::MatrixXd a;  // the input, in double
    Eigen::MatrixXd u;
    Eigen::VectorXd w;
    Eigen::MatrixXd v;
};

Decomposition Decompose(const FloatMatrix& input, int m, int n) {
    FloatMatrix a = input;
    FloatArray w(1, n);
    FloatMatrix v(1, n, 1, n);
    svdcmp(a, m, n, w, v);
    return {ToEigen(input, m, n), ToEigen(a, m, n), ToEigen(w, n), ToEigen(v, n, n)};
}

double MaxAbs(const Eigen::MatrixXd& x) {
    return x.cwiseAbs().maxCoeff();
}

int NearZeroValues(const Decomposition& d) {
    return int((d.w.array() < kZeroCut * d.w.maxCoeff()).count());
}

// Reconstruction, orthonormal V, orthonormal U over the columns whose w is
// above wFloor, non-negative w, and agreement of the sorted w with a double
// decomposition of the same (float) input. Tolerances are relative to the
// largest singular value: float epsilon is 6e-8 and the worst error seen on
// these matrices is 3.8e-6 (orthogonality of a 20 x 20 V), so kFloatTolerance
// leaves a margin of 5.
void ExpectValidSvd(const Decomposition& d, double wFloor) {
    const double largest = d.w.maxCoeff();
    const double scale = largest > 0 ? largest : 1.0;
    const Eigen::MatrixXd rebuilt = d.u * d.w.asDiagonal() * d.v.transpose();
    EXPECT_LE(MaxAbs(rebuilt - d.a), kFloatTolerance * scale) << "A != U diag(w) V^T";

    const long n = d.w.size();
    EXPECT_LE(MaxAbs(d.v.transpose() * d.v - Eigen::MatrixXd::Identity(n, n)), kFloatTolerance)
        << "V not orthonormal";

    std::vector<Eigen::Index> kept;
    for (Eigen::Index i = 0; i < n; ++i)
        if (d.w(i) > wFloor * scale) kept.push_back(i);
    Eigen::MatrixXd uKept = d.u(Eigen::all, kept);
    const long k = long(kept.size());
    EXPECT_LE(MaxAbs(uKept.transpose() * uKept - Eigen::MatrixXd::Identity(k, k)), kFloatTolerance)
        << "U not orthonormal over the nonzero values";

    EXPECT_GE(d.w.minCoeff(), 0.0) << "negative singular value";

    Eigen::VectorXd sorted = d.w;
    std::sort(sorted.begin(), sorted.end(), std::greater<double>());
    Eigen::VectorXd reference = Eigen::JacobiSVD<Eigen::MatrixXd>(d.a).singularValues();
    reference.conservativeResize(n);  // a padded square has n values; the tail is 0
    for (Eigen::Index i = reference.size(); i < n; ++i) reference(i) = 0.0;
    EXPECT_LE((sorted - reference).cwiseAbs().maxCoeff(), kFloatTolerance * scale)
        << "singular values differ from the double reference";
}

// Square and tall shapes near 1, and far from 1 in either direction: at 1e-20
// the squares of the entries fall below the smallest normal float, so a plain
// sqrt(f*f + h*h) in the rotations loses their orthogonality; the checks are
// relative to the matrix's own size.
TEST(SvdcmpTest, DecomposesEveryShapeAtEveryScale) {
    xRecordingPlatform platform;
    struct Case {
        int m, n;
        float scale;
    };
    const Case cases[] = {{1, 1, 1},        {2, 2, 1},       {7, 7, 1},        {20, 20, 1},
                          {30, 12, 1},      {50, 3, 1},      {9, 1, 1},        {12, 8, 1e-20f},
                          {24, 20, 1e-20f}, {12, 8, 1e-15f}, {24, 20, 1e-15f}, {12, 8, 1e15f},
                          {24, 20, 1e15f}};
    unsigned seed = 11;
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.m << " x " << c.n << " at " << c.scale);
        ExpectValidSvd(Decompose(RandomMatrix(c.m, c.n, seed++, c.scale), c.m, c.n), 0.0);
    }
    EXPECT_TRUE(platform.messages.empty());
}

// Rank 4 in 15 x 10: six values collapse to float rounding of the largest, U
// stays orthonormal on the other four and A is still rebuilt.
TEST(SvdcmpTest, RankDeficientMatrixHasNearZeroValues) {
    xRecordingPlatform platform;
    const int m = 15, n = 10, rank = 4;
    Eigen::MatrixXd left = ToEigen(RandomMatrix(m, rank, 21), m, rank);
    Eigen::MatrixXd right = ToEigen(RandomMatrix(rank, n, 22), rank, n);
    Eigen::MatrixXd product = left * right;
    FloatMatrix a(1, m, 1, n);
    for (int r = 1; r <= m; ++r)
        for (int c = 1; c <= n; ++c) a[r][c] = float(product(r - 1, c - 1));

    Decomposition d = Decompose(a, m, n);
    EXPECT_EQ(NearZeroValues(d), n - rank);
    ExpectValidSvd(d, kZeroCut);
    EXPECT_TRUE(platform.messages.empty());
}

// The tau selection's layout: 5 windows by 9 taus goes in a 9 x 9 buffer with
// rows 6..9 zero and m = n = 9. The zero rows must come back zero and the
// values are those of the 5 x 9 matrix plus four zeros.
TEST(SvdcmpTest, WideMatrixPaddedSquare) {
    xRecordingPlatform platform;
    const int windows = 5, taus = 9;
    FloatMatrix wide = RandomMatrix(windows, taus, 31);
    FloatMatrix padded(1, taus, 1, taus);
    for (int r = 1; r <= windows; ++r)
        for (int c = 1; c <= taus; ++c) padded[r][c] = wide[r][c];

    Decomposition d = Decompose(padded, taus, taus);
    ExpectValidSvd(d, kZeroCut);
    EXPECT_EQ(NearZeroValues(d), taus - windows);
    const double largest = d.w.maxCoeff();
    Eigen::MatrixXd rebuilt = d.u * d.w.asDiagonal() * d.v.transpose();
    EXPECT_LE(MaxAbs(rebuilt.bottomRows(taus - windows)), kFloatTolerance * largest);
    EXPECT_TRUE(platform.messages.empty());
}

TEST(SvdcmpTest, ZeroMatrix) {
    xRecordingPlatform platform;
    const int m = 6, n = 4;
    FloatMatrix a(1, m, 1, n);
    FloatArray w(1, n);
    FloatMatrix v(1, n, 1, n);
    w[2] = 7.0f;  // stale contents must not survive
    svdcmp(a, m, n, w, v);
    for (int i = 1; i <= n; ++i) EXPECT_EQ(w[i], 0.0f);
    Eigen::MatrixXd ve = ToEigen(v, n, n);
    EXPECT_LE(MaxAbs(ve.transpose() * ve - Eigen::MatrixXd::Identity(n, n)), 1e-6);
    for (int r = 1; r <= m; ++r)
        for (int c = 1; c <= n; ++c) EXPECT_TRUE(std::isfinite(a[r][c]));
    EXPECT_TRUE(platform.messages.empty());
}

// Outputs that do not cover 1..n are given those bounds rather than written
// out of range (the sanitizer build catches the latter).
TEST(SvdcmpTest, SizesOutputsThatAreTooSmall) {
    xRecordingPlatform platform;
    FloatMatrix a = RandomMatrix(4, 3, 41);
    FloatArray w;
    FloatMatrix v(0, 1, 0, 1);
    svdcmp(a, 4, 3, w, v);
    EXPECT_EQ(
        (std::vector<long>{w.Low(), w.High(), v.RowLow(), v.RowHigh(), v.ColLow(), v.ColHigh()}),
        (std::vector<long>{1, 3, 1, 3, 1, 3}));
    EXPECT_GT(w[3], 0.0f);
}

// A NaN never satisfies the convergence test. Each value but the first (whose
// superdiagonal is zero by construction) runs out of sweeps, posts the box and
// the routine goes on to the next instead of stopping.
TEST(SvdcmpTest, NonConvergencePostsErrorAndGoesOn) {
    xRecordingPlatform platform;
    const int n = 3;
    FloatMatrix a = RandomMatrix(n, n, 51);
    a[2][2] = std::nanf("");
    FloatArray w(1, n);
    FloatMatrix v(1, n, 1, n);
    svdcmp(a, n, n, w, v);
    EXPECT_TRUE(platform.Saw("error", kNoConvergence));
    EXPECT_EQ(platform.Texts("error").size(), std::size_t(n - 1));
    EXPECT_TRUE(platform.Texts("fatal").empty());
}

}  // namespace
