#include "xSVDFit.h"

#include <gtest/gtest.h>

#include "FitTestSupport.h"

using namespace fittest;

// The answer is the minimum-norm least-squares solution, signs free, on a
// design short of rank.
TEST(xSVDFit, MinimumNormLeastSquaresSolution) {
    std::mt19937 rng(11);
    for (int trial = 0; trial < 40; ++trial) {
        FloatMatrix basis = RandomBasis(5, 9, rng);
        // Tau 5 is a combination of taus 1 and 2: rank 4.
        for (long c = 1; c <= 9; ++c) basis[5][c] = 0.5f * basis[1][c] - 2.0f * basis[2][c];
        xSVDFit fit;
        fit.SetTolerance(1e-5f);
        if (trial % 2) fit.SetConditioning(0.09f, 0.7f, 0.0f, 0.0f);
        fit.SetBasisAndWeights(basis, RandomArray(9, rng, 0.5f, 2.0f));
        fit.BuildDesign();
        fit.SetData(RandomArray(9, rng, -1.0f, 1.0f));
        FloatArray x(1, 5);
        fit.Solve(x);

        const Eigen::MatrixXd t = ToEigen(fit.Design());
        // The rank cut of the oracle matches the fitter's: the float design
        // keeps a trace of the dependent column near 1e-7.
        Eigen::CompleteOrthogonalDecomposition<Eigen::MatrixXd> cod;
        cod.setThreshold(1e-5);
        cod.compute(t);
        const Eigen::VectorXd exact = cod.pseudoInverse() * ToEigen(fit.RightHandSide());
        EXPECT_LT((ToEigen(x) - exact).norm() / exact.norm(), 1e-4) << trial;
    }
}

// Singular values below largest * tolerance count as zero: the answer is the
// one of the design with them removed.
TEST(xSVDFit, SmallSingularValuesAreCut) {
    // basis^T = U diag(s) V^T with orthonormal U (6x3) and V (3x3).
    const Eigen::MatrixXd u = Eigen::MatrixXd::Identity(6, 3);
    Eigen::MatrixXd v(3, 3);
    v << 0.6, 0.8, 0.0, -0.8, 0.6, 0.0, 0.0, 0.0, 1.0;
    const Eigen::Vector3d s(2.0, 0.5, 2e-4);
    const Eigen::MatrixXd design = u * s.asDiagonal() * v.transpose();
    FloatMatrix basis(1, 3, 1, 6);
    for (long t = 1; t <= 3; ++t)
        for (long c = 1; c <= 6; ++c) basis[t][c] = float(design(c - 1, t - 1));
    FloatArray data(1, 6);
    for (long c = 1; c <= 6; ++c) data[c] = float(c);

    for (float tolerance : {1e-3f, 1e-5f}) {
        xSVDFit fit;
        fit.SetTolerance(tolerance);
        fit.SetBasisAndWeights(basis, Ones(6));
        fit.BuildDesign();
        EXPECT_NEAR(fit.Cut(), 2.0 * tolerance, 1e-9);
        fit.SetData(data);
        FloatArray x(1, 3);
        fit.Solve(x);

        Eigen::VectorXd expected = Eigen::VectorXd::Zero(3);
        const Eigen::VectorXd b = ToEigen(data);
        for (int i = 0; i < 3; ++i)
            if (s(i) >= 2.0 * tolerance) expected += (u.col(i).dot(b) / s(i)) * v.col(i);
        EXPECT_LT((ToEigen(x) - expected).norm() / expected.norm(), 1e-4) << tolerance;
    }
}
