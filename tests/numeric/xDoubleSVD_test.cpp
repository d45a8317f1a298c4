#include "xDoubleSVD.h"

#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <cmath>
#include <random>

#include "xRecordingPlatform.h"

namespace {

Eigen::MatrixXd Random(long rows, long cols, unsigned seed) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    Eigen::MatrixXd e(rows, cols);
    for (long c = 0; c < cols; ++c)
        for (long r = 0; r < rows; ++r) e(r, c) = uniform(gen);
    return e;
}

// A copy of e whose first row and column are rowLow and colLow.
DoubleMatrix ToMatrix(const Eigen::MatrixXd& e, long rowLow = 1, long colLow = 1) {
    DoubleMatrix m(rowLow, rowLow + e.rows() - 1, colLow, colLow + e.cols() - 1);
    for (long r = 0; r < e.rows(); ++r)
        for (long c = 0; c < e.cols(); ++c) m[rowLow + r][colLow + c] = e(r, c);
    return m;
}

Eigen::VectorXd ToVector(const DoubleArray& x) {
    Eigen::VectorXd e(x.Length());
    for (long i = 0; i < x.Length(); ++i) e(i) = x[x.Low() + i];
    return e;
}

// Assign, decompose, cut at the tolerance unless it is negative, and solve, as
// the SVD fitter does.
Eigen::VectorXd Solve(const Eigen::MatrixXd& a, const Eigen::VectorXd& b, double tolerance = -1) {
    xDoubleSVD svd;
    svd.Assign(ToMatrix(a));
    EXPECT_EQ(svd.Decompose(), xDoubleSVD::Ok);
    if (tolerance >= 0) svd.SetTolerance(tolerance);
    DoubleArray x;
    EXPECT_EQ(svd.BackSubstitute(ToMatrix(b), x), xDoubleSVD::Ok);
    EXPECT_EQ(x.Low(), 1);
    return ToVector(x);
}

// Full-rank systems have a closed form to check against: the normal equations
// for a tall matrix, and x = A^T (A A^T)^-1 b, the shortest solution, for a wide
// one. Tolerance 1e-10 on values of order 1 from condition numbers of order 10.
TEST(xDoubleSVDTest, FullRankMatchesNormalEquations) {
    xRecordingPlatform platform;
    Eigen::MatrixXd tall = Random(12, 5, 1);
    Eigen::VectorXd bTall = Random(12, 1, 2);
    Eigen::VectorXd expectTall = (tall.transpose() * tall).ldlt().solve(tall.transpose() * bTall);
    EXPECT_LE((Solve(tall, bTall) - expectTall).cwiseAbs().maxCoeff(), 1e-10);

    Eigen::MatrixXd wide = Random(4, 9, 3);
    Eigen::VectorXd bWide = Random(4, 1, 4);
    Eigen::VectorXd expectWide = wide.transpose() * (wide * wide.transpose()).ldlt().solve(bWide);
    EXPECT_LE((Solve(wide, bWide) - expectWide).cwiseAbs().maxCoeff(), 1e-10);
    EXPECT_TRUE(platform.messages.empty());
}

// Rank 3 in 10 x 7 with a right-hand side outside the range. The shortest
// least-squares solution satisfies the normal equations and has no part in the
// null space (taken from an LU kernel); a complete orthogonal decomposition
// gives it independently. Checked with the fitter's kind of cut (largest value
// times 1e-10) and with the default one.
TEST(xDoubleSVDTest, RankDeficientGivesMinimumNorm) {
    xRecordingPlatform platform;
    Eigen::MatrixXd a = Random(10, 3, 11) * Random(3, 7, 12);
    Eigen::VectorXd b = Random(10, 1, 13);
    Eigen::VectorXd expect = a.completeOrthogonalDecomposition().solve(b);
    Eigen::MatrixXd nullSpace = a.fullPivLu().kernel();
    ASSERT_EQ(nullSpace.cols(), 4);
    const double largest = Eigen::JacobiSVD<Eigen::MatrixXd>(a).singularValues()(0);

    for (double tolerance : {largest * 1e-10, -1.0}) {
        SCOPED_TRACE(tolerance < 0 ? "default tolerance" : "tolerance set");
        Eigen::VectorXd x = Solve(a, b, tolerance);
        EXPECT_LE((x - expect).cwiseAbs().maxCoeff(), 1e-10);
        EXPECT_LE((a.transpose() * (a * x - b)).cwiseAbs().maxCoeff(), 1e-10)
            << "not a least-squares solution";
        EXPECT_LE((nullSpace.transpose() * x).cwiseAbs().maxCoeff(), 1e-10)
            << "x has a part in the null space";
    }
    EXPECT_TRUE(platform.messages.empty());
}

// A = U diag(4, 2, 1e-3) V^T built from known orthonormal U and V. A cut one
// part in a million above 1e-3 drops the smallest value; one part below, or
// equal to it, keeps it. Bounds are free: columns from 0 and rhs rows from 5
// here, and the results follow the columns' low bound.
TEST(xDoubleSVDTest, ToleranceDropsValuesBelowIt) {
    xRecordingPlatform platform;
    Eigen::MatrixXd u =
        Random(6, 3, 21).householderQr().householderQ() * Eigen::MatrixXd::Identity(6, 3);
    Eigen::MatrixXd v = Random(3, 3, 22).householderQr().householderQ();
    Eigen::Vector3d s(4.0, 2.0, 1e-3);
    Eigen::MatrixXd a = u * s.asDiagonal() * v.transpose();
    Eigen::VectorXd b = Random(6, 1, 23);
    Eigen::VectorXd coefficients = u.transpose() * b;

    xDoubleSVD svd;
    svd.Assign(ToMatrix(a, 1, 0));
    ASSERT_EQ(svd.Decompose(), xDoubleSVD::Ok);
    DoubleArray values;
    ASSERT_EQ(svd.SingularValues(values), xDoubleSVD::Ok);
    ASSERT_EQ(values.Low(), 0);
    ASSERT_EQ(values.High(), 2);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(values[i], s(i), 1e-13);

    struct Cut {
        double tolerance;
        bool dropped;
        const char* name;
    };
    for (const Cut& cut :
         {Cut{1e-3 * (1 + 1e-6), true, "just above the smallest value"},
          Cut{values[2], false, "equal to it"}, Cut{1e-3 * (1 - 1e-6), false, "just below it"}}) {
        SCOPED_TRACE(cut.name);
        const bool dropped = cut.dropped;
        svd.SetTolerance(cut.tolerance);
        Eigen::Vector3d inverse(1 / 4.0, 1 / 2.0, dropped ? 0.0 : 1e3);
        Eigen::VectorXd expect = v * inverse.asDiagonal() * coefficients;
        DoubleArray x;
        ASSERT_EQ(svd.BackSubstitute(ToMatrix(b, 5, 1), x), xDoubleSVD::Ok);
        ASSERT_EQ(x.Low(), 0);
        ASSERT_EQ(x.High(), 2);
        // The kept 1/1e-3 magnifies rounding a thousandfold: 1e-9 on order 1e3.
        EXPECT_LE((ToVector(x) - expect).cwiseAbs().maxCoeff(), 1e-9);
    }
    EXPECT_TRUE(platform.messages.empty());
}

// Misuse and bad data answer a status, leave the solution alone and post
// nothing.
TEST(xDoubleSVDTest, MisuseReportsStatus) {
    xRecordingPlatform platform;
    DoubleArray x(1, 2);
    x[1] = 7.0;
    auto untouched = [&] { return x.Low() == 1 && x.High() == 2 && x[1] == 7.0; };
    DoubleArray values;

    xDoubleSVD svd;
    EXPECT_EQ(svd.Decompose(), xDoubleSVD::NotAssigned);
    EXPECT_EQ(svd.SingularValues(values), xDoubleSVD::NotDecomposed);
    EXPECT_EQ(svd.BackSubstitute(ToMatrix(Random(5, 1, 31)), x), xDoubleSVD::NotDecomposed);
    EXPECT_TRUE(untouched());

    svd.Assign(DoubleMatrix());
    EXPECT_EQ(svd.Decompose(), xDoubleSVD::NotAssigned);

    svd.Assign(ToMatrix(Random(5, 3, 32)));
    ASSERT_EQ(svd.Decompose(), xDoubleSVD::Ok);
    EXPECT_EQ(svd.BackSubstitute(ToMatrix(Random(4, 1, 33)), x), xDoubleSVD::DimensionMismatch);
    EXPECT_EQ(svd.BackSubstitute(ToMatrix(Random(6, 1, 33)), x), xDoubleSVD::DimensionMismatch);
    EXPECT_EQ(svd.BackSubstitute(ToMatrix(Random(5, 2, 34)), x), xDoubleSVD::DimensionMismatch);
    DoubleMatrix nanRhs = ToMatrix(Random(5, 1, 35));
    nanRhs[3][1] = std::nan("");
    EXPECT_EQ(svd.BackSubstitute(nanRhs, x), xDoubleSVD::NotFinite);
    EXPECT_TRUE(untouched());

    // A new matrix voids the old decomposition.
    svd.Assign(ToMatrix(Random(5, 3, 36)));
    EXPECT_EQ(svd.BackSubstitute(ToMatrix(Random(5, 1, 37)), x), xDoubleSVD::NotDecomposed);

    DoubleMatrix infinite = ToMatrix(Random(5, 3, 38));
    infinite[2][2] = INFINITY;
    svd.Assign(infinite);
    EXPECT_EQ(svd.Decompose(), xDoubleSVD::NotFinite);
    EXPECT_EQ(svd.BackSubstitute(ToMatrix(Random(5, 1, 39)), x), xDoubleSVD::NotDecomposed);
    EXPECT_TRUE(untouched());
    EXPECT_TRUE(platform.messages.empty());
}

}  // namespace
