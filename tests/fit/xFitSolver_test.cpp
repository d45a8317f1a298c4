#include "xFitSolver.h"

#include <gtest/gtest.h>

#include "FitTestSupport.h"
#include "xPLSFit.h"
#include "xSVDFit.h"

using namespace fittest;

namespace {

constexpr long kTaus = 5;
constexpr long kChannels = 3;
constexpr float kS = 0.04f, kR = 0.5f, kF = 0.09f, kL = 0.01f;
constexpr float kRatio = 0.8f, kScale = 2.0f, kNp = 4.0f;

struct Problem {
    FloatMatrix basis = DecayBasis(kTaus, kChannels);
    FloatArray weights{1, kChannels};
    FloatArray primary{1, kChannels};
    FloatArray tauFactors{1, kTaus};
    Problem() {
        for (long c = 1; c <= kChannels; ++c) {
            weights[c] = 0.5f * float(c);
            primary[c] = 10.0f + float(c);
        }
        for (long t = 1; t <= kTaus; ++t) tauFactors[t] = float(t);
    }
    void Prepare(xFitSolver& fit, bool primaryOn, float force, float minLength) {
        fit.SetConditioning(kS, kR, force, minLength);
        fit.SetPrimary(primaryOn, 0.25f, &primary);
        fit.SetRatio(kRatio, kScale, kNp, &tauFactors);
        fit.SetBasisAndWeights(basis, weights);
        fit.BuildDesign();
    }
};

}  // namespace

// The rows of the design: the weighted basis, the surface row and the
// smoothing rows, which pair neighbouring taus and never touch the primary.
TEST(xFitSolver, DesignRowsWithAndWithoutThePrimaryColumn) {
    for (bool primaryOn : {false, true}) {
        SCOPED_TRACE(primaryOn ? "primary on" : "primary off");
        Problem setup;
        xPLSFit fit;
        setup.Prepare(fit, primaryOn, kF, kL);
        const long cols = kTaus + (primaryOn ? 1 : 0);
        ASSERT_EQ(fit.Rows(), kChannels + 1 + (kTaus - 1));
        ASSERT_EQ(fit.Cols(), cols);
        const FloatMatrix& t = fit.Design();

        for (long c = 1; c <= kChannels; ++c) {
            for (long k = 1; k <= kTaus; ++k)
                EXPECT_FLOAT_EQ(t[c][k], setup.basis[k][c] * setup.weights[c]);
            if (primaryOn) {
                EXPECT_FLOAT_EQ(t[c][cols], setup.primary[c]);
            }
        }
        const long surface = kChannels + 1;
        for (long k = 1; k <= kTaus; ++k)
            EXPECT_FLOAT_EQ(t[surface][k], (kF * kScale / float(k)) / kRatio + kL);
        if (primaryOn) {
            EXPECT_FLOAT_EQ(t[surface][cols], -(kF * kScale / kNp) / kRatio + kL);
        }

        for (long row = 1; row <= kTaus - 1; ++row) {
            const long r = surface + row;
            for (long k = 1; k <= cols; ++k) {
                const float expected = k == row ? kS : k == row + 1 ? -kS * kR : 0.0f;
                EXPECT_FLOAT_EQ(t[r][k], expected) << "row " << r << " col " << k;
            }
        }
    }
}

// Minimum length alone makes a plain surface row for PLS; SVD keeps no such
// row: the value is dropped, the force stays.
TEST(xFitSolver, MinimumLengthRows) {
    Problem setup;
    xPLSFit fit;
    setup.Prepare(fit, false, 0.0f, kL);
    for (long k = 1; k <= kTaus; ++k) EXPECT_FLOAT_EQ(fit.Design()[kChannels + 1][k], kL);
    xPLSFit plain;
    setup.Prepare(plain, false, 0.0f, 0.0f);
    EXPECT_EQ(plain.Rows(), kChannels + kTaus - 1);

    xSVDFit svd;
    setup.Prepare(svd, false, 0.0f, kL);
    EXPECT_EQ(svd.Rows(), kChannels + kTaus - 1);
    xSVDFit forced;
    setup.Prepare(forced, false, kF, kL);
    EXPECT_EQ(forced.Rows(), kChannels + kTaus);
    EXPECT_FLOAT_EQ(forced.Design()[kChannels + 1][2], (kF * kScale / 2.0f) / kRatio);
}

// The right-hand side: weighted data less the weighted primary level, the
// force in the surface row; PLS adds the level back unweighted.
TEST(xFitSolver, RightHandSideAndThePrimaryAsymmetryOfPls) {
    Problem setup;
    FloatArray data(1, kChannels);
    for (long c = 1; c <= kChannels; ++c) data[c] = 3.0f - float(c);

    xSVDFit svd;
    setup.Prepare(svd, true, kF, kL);
    xPLSFit pls;
    setup.Prepare(pls, true, kF, kL);
    svd.SetData(data);
    pls.SetData(data);
    for (long c = 1; c <= kChannels; ++c) {
        const float base = (data[c] - 0.25f * setup.primary[c]) * setup.weights[c];
        EXPECT_FLOAT_EQ(svd.RightHandSide()[c], base);
        EXPECT_FLOAT_EQ(pls.RightHandSide()[c], base + 0.25f * setup.primary[c]);
    }
    EXPECT_FLOAT_EQ(pls.RightHandSide()[kChannels + 1], kF);
    for (long r = kChannels + 2; r <= pls.Rows(); ++r) EXPECT_EQ(pls.RightHandSide()[r], 0.0f);

    // Without the primary both are the weighted data.
    xPLSFit off;
    setup.Prepare(off, false, 0.0f, 0.0f);
    off.SetData(data);
    for (long c = 1; c <= kChannels; ++c)
        EXPECT_FLOAT_EQ(off.RightHandSide()[c], data[c] * setup.weights[c]);
}
