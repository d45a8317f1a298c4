#include "xWaveBasisBuilder.h"

#include <gtest/gtest.h>

#include <cmath>

#include "xBasisSettings.h"
#include "xEMDesc.h"
#include "xRecordingPlatform.h"
#include "xWaveBasisFD.h"

namespace {

FloatArray Values(std::initializer_list<float> values) {
    FloatArray a(1, long(values.size()));
    long i = 1;
    for (float v : values) a[i++] = v;
    return a;
}

// A frequency-domain system of one TzRz pair; times in seconds.
xEMDesc FrequencySystem(std::initializer_list<float> hertz) {
    xEMDesc d;
    d.systemDesc.waveformType = "frequency domain";
    auto& wave = d.Components()[109].wave;
    wave.frequencies.Resize(0, long(hertz.size()) - 1, 0, 0);
    long r = 0;
    for (float f : hertz) wave.frequencies[r++][0] = f;
    wave.rxPrimary.scaleFirst = 2.0f;
    wave.rxPrimary.scaleSecond = 3.0f;  // G = 1.5
    return d;
}

}  // namespace

TEST(WaveBasisBuilder, TauGridIsEvenInLog) {
    const FloatArray taus = xWaveBasisBuilder::TauGrid(1e-4, 1e-2, 5);
    const float expected[5] = {1e-4f, 3.1622777e-4f, 1e-3f, 3.1622777e-3f, 1e-2f};
    for (long i = 1; i <= 5; ++i) EXPECT_FLOAT_EQ(taus[i], expected[i - 1]);
    EXPECT_EQ(xWaveBasisBuilder::EvenTaus(3), 4);
    EXPECT_EQ(xWaveBasisBuilder::EvenTaus(4), 4);
}

TEST(WaveBasisBuilder, EigenvectorIndexFollowsItsRule) {
    // All values but the first zero: index 1.
    EXPECT_EQ(xWaveBasisBuilder::EigenvectorIndex(Values({5, 0, 0, 0}), 2), 1);
    // A large error holds at once.
    EXPECT_EQ(xWaveBasisBuilder::EigenvectorIndex(Values({0.5f, 0.4f, 0.1f}), 100), 1);
    // (w(i) - w(i+1)) / 2 / w(1) + w(i) against 0.02: i = 3 gives 0.0051 + 0.01.
    EXPECT_EQ(xWaveBasisBuilder::EigenvectorIndex(Values({1, 0.5f, 0.01f, 0.0001f}), 2), 3);
    // Never below the limit: the last index.
    EXPECT_EQ(xWaveBasisBuilder::EigenvectorIndex(Values({1, 0.9f, 0.8f}), 2), 3);
}

TEST(WaveBasisBuilder, RangeComesFromTheRowsOfV) {
    const FloatArray w = Values({4, 0, 0, 0, 0});  // index 1 for any error
    const FloatArray taus = Values({1, 2, 3, 4, 5});
    FloatMatrix v(1, 5, 1, 5);  // zeroed
    // Row 1 (both errors give index 1 here): significant from column 3 to 4.
    const float row[5] = {0.05f, 0.09f, 1.0f, 0.5f, 0.02f};
    for (long c = 1; c <= 5; ++c) v[1][c] = row[c - 1];
    double early = 0, late = 0;
    xWaveBasisBuilder::SelectRange(w, v, taus, 90, 90, early, late);
    EXPECT_EQ(early, 2.0);  // one before the first significant
    EXPECT_EQ(late, 5.0);   // one after the last significant
}

TEST(WaveBasisBuilder, DecomposeSwapsOnceAndZeroesTheSmall) {
    // Taus by channels; the transpose's columns have norms 1, 3 and 1e-7.
    FloatMatrix a(1, 3, 1, 4);  // zeroed
    a[1][1] = 1.0f;
    a[2][2] = 3.0f;
    a[3][3] = 1e-7f;
    FloatArray w;
    FloatMatrix v;
    xWaveBasisBuilder::Decompose(a, w, v);
    ASSERT_EQ(w.Length(), 3);
    EXPECT_FLOAT_EQ(w[1] * w[2], 3.0f);
    EXPECT_GE(w[1], w[2]);  // the first pair is in order after the pass
    EXPECT_EQ(w[3], 0.0f);  // below 1e-5 of the largest
}

TEST(WaveBasisFD, ClosedFormAtOneAndInBothLimits) {
    xRecordingPlatform platform;
    const xEMDesc system = FrequencySystem({1000.0f});
    xBasisSettings params;
    params.automaticSelection = false;
    params.numberOfTaus = 3;  // made even: 4
    // x = 2 pi f tau = 1 for the second tau.
    const double one = 1.0 / (2.0 * 3.14159265358979 * 1000.0);
    params.earlyTau = float(one / 10.0);
    params.lateTau = float(one * 100.0);
    xWaveBasisFD builder(system, params);
    builder.Build(109);
    EXPECT_EQ(params.numberOfTaus, 4);
    const FloatMatrix& a = builder.Amplitudes();
    ASSERT_EQ(a.Cols(), 2);  // one frequency: in-phase and quadrature
    ASSERT_EQ(a.Rows(), 4);
    EXPECT_NEAR(a[2][1], 0.75f, 1e-5);  // G / 2
    EXPECT_NEAR(a[2][2], 0.75f, 1e-5);
    // x = 0.1 and x = 100: quadrature ~ G x, in-phase ~ G x^2; then in-phase
    // -> G and quadrature ~ G / x.
    EXPECT_NEAR(a[1][2], 1.5 * 0.1 / 1.01, 1e-6);
    EXPECT_NEAR(a[1][1], 1.5 * 0.01 / 1.01, 1e-6);
    EXPECT_NEAR(a[4][1], 1.5 * 1e4 / (1e4 + 1), 1e-5);
    EXPECT_NEAR(a[4][2], 1.5 * 100 / (1e4 + 1), 1e-6);
    EXPECT_FLOAT_EQ(builder.Primary()[1], -a[4][1]);  // minus the largest in-phase
    EXPECT_FLOAT_EQ(builder.Taus()[2], float(one));
}

TEST(WaveBasisFD, RangesAndReuse) {
    xRecordingPlatform platform;
    const xEMDesc system = FrequencySystem({400, 1800, 8200, 40000, 140000});
    xBasisSettings params;
    xWaveBasisFD builder(system, params);
    builder.Build(109);
    // The automatic range is one of the 32 taus from 1e-8 to 0.1 s, and the
    // final grid runs over it.
    EXPECT_TRUE(params.selectionWasAutomatic);
    EXPECT_GE(params.earlyTau, 0.99e-8f);
    EXPECT_LE(params.lateTau, 0.101f);
    EXPECT_FLOAT_EQ(builder.Taus()[1], params.earlyTau);
    EXPECT_FLOAT_EQ(builder.Taus()[params.numberOfTaus], params.lateTau);
    // By hand, the same taus and frequencies need no new build.
    params.automaticSelection = false;
    builder.Build(109);
    EXPECT_FALSE(builder.Changed(109));
    params.lateTau *= 2.0f;
    EXPECT_TRUE(builder.Changed(109));

    xEMDesc none = FrequencySystem({1000.0f});
    none.Components()[109].wave.frequencies.Resize(0, -1, 0, 0);
    xWaveBasisFD empty(none, params);
    EXPECT_THROW(empty.Build(109), xBasisError);
}
