#include "xCndMath.h"

#include <gtest/gtest.h>

#include <cmath>

#include "CdiTestSupport.h"
#include "xEMDesc.h"
#include "xRecordingPlatform.h"

using cdi::MU;
using cdi::NULLVALUE;
using cditest::AxialDipole;
using cditest::AxialLut;

namespace {

std::vector<float> Depths(float step, int count) {
    std::vector<float> d(count);
    for (int i = 0; i < count; ++i) d[i] = step * static_cast<float>(i);
    return d;
}

std::vector<float> LogSpaced(float low, float high, int n) {
    std::vector<float> v(n);
    for (int i = 0; i < n; ++i)
        v[i] = std::pow(10.0f, std::log10(low) + static_cast<float>(i) *
                                                     (std::log10(high) - std::log10(low)) /
                                                     static_cast<float>(n - 1));
    return v;
}

}  // namespace

TEST(CndMathGrid, TimeGridByHand) {
    // taus 1e-3 and 1e-2: dex = log10(1 / 1e-5) = 5, n = 2, so row k lies at
    // 1e-5 * 10^(5k / 8); row 1 is 0 and the grid never visits 1e-5 itself.
    xCndMath m({1e-3f, 1e-2f}, 1, 2);
    m.DefineTimes();
    ASSERT_EQ(m.GridRows(), 9);
    EXPECT_EQ(m.TimeGrid()[1], 0.0f);
    for (int k = 2; k <= 9; ++k)
        EXPECT_NEAR(m.TimeGrid()[k] / (1e-5 * std::pow(10.0, 5.0 * k / 8.0)), 1.0, 1e-5) << k;
    ASSERT_EQ(m.ShortTaus().size(), 1u);
    EXPECT_FLOAT_EQ(m.ShortTaus()[0], 0.5e-3f);
    m.SetShortTauCount(0);  // raised to one
    EXPECT_EQ(m.ShortTaus().size(), 1u);
    m.SetShortTauCount(3);
    EXPECT_FLOAT_EQ(m.ShortTaus()[2], 1e-3f / 4.0f);
}

TEST(CndMathLookups, AxialDipoleAgainstClosedForm) {
    xRecordingPlatform platform;
    xCndMath m({1e-3f}, 1, 1);
    m.BuildLookups(1, 400, AxialDipole());
    m.BuildDerivatives(1, 400);
    const auto& lut = m.Lookup(xCndMath::LUT, 109);
    const auto& deriv = m.Lookup(xCndMath::Deriv, 109);
    const auto& sum = m.Lookup(xCndMath::Sum, 109);
    for (long z : {1L, 7L, 50L, 399L, 400L}) EXPECT_NEAR(lut[z] / AxialLut(z), 1.0, 1e-4) << z;
    // Central difference against the slope -3000 / (z + 10)^4; the difference's
    // own truncation error is f''' / 6 over f', 10 / (3 (z + 10)^2).
    for (long z : {2L, 20L, 200L, 399L}) {
        const double u = z + 10.0;
        EXPECT_NEAR(deriv[z] / (-3000.0 / std::pow(u, 4.0)), 1.0, 4.0 / (u * u) + 1e-4) << z;
    }
    // Running sum from the deep end: the integral to row 400 plus half the last
    // row; trapezoid error below 0.5 % from row 1 down.
    const double tail = AxialLut(400) / 2.0;
    for (long z : {1L, 30L, 300L}) {
        const double integral = 500.0 * (1.0 / std::pow(z + 10.0, 2) - 1.0 / std::pow(410.0, 2));
        EXPECT_NEAR(sum[z] / (integral + tail), 1.0, 5e-3) << z;
    }
    EXPECT_EQ(m.SumSignChanges(109), 0);
    // Components the descriptor does not hold stay zero.
    EXPECT_EQ(m.Lookup(xCndMath::LUT, 107)[10], 0.0f);
    EXPECT_TRUE(platform.Texts("error").empty());
}

TEST(CndMathLookups, ZeroPrimaryFieldIsReportedAndRowsStayZero) {
    xRecordingPlatform platform;
    xEMDesc desc = AxialDipole();
    desc.Components().at(109).geometry.transmitter.SetKind(xEMSensorType::Bipole);
    xCndMath m({1e-3f}, 1, 1);
    m.BuildLookups(1, 20, desc);
    EXPECT_TRUE(platform.Saw("error", "CDI FACTORY ERROR: Primary Filed(TzRz) is 0!"));
    EXPECT_EQ(m.Lookup(xCndMath::LUT, 109)[5], 0.0f);
    m.DefineFixedCond();
    EXPECT_TRUE(platform.Saw("error", "xCndMath::DefineFixedCond() not implemented!"));
}

class CndMathRecord : public ::testing::Test {
  protected:
    void SetUp() override {
        m.BuildLookups(1, 300, AxialDipole());
        m.BuildDerivatives(1, 300);
        m.DefineTimes();
    }
    xRecordingPlatform platform;
    xCndMath m{{1e-3f, 1e-2f}, 1, 2};
};

TEST_F(CndMathRecord, ExpandedDecayAndSlopeMatchTheExponentials) {
    m.SetShortTauFlags(false, false);
    xCndRecord r{{2.0f, 0.5f}, 100.0f, {}};
    m.ExpandAmplitudes(r, 109);
    for (long k = 1; k <= m.GridRows(); ++k) {
        const double t = m.TimeGrid()[k];
        const double e1 = 2.0 * std::exp(-t / 1e-3), e2 = 0.5 * std::exp(-t / 1e-2);
        if (e1 + e2 < 1e-20) continue;  // float underflow, nothing to compare
        EXPECT_NEAR(m.AmpTable(109)[k], e1 + e2, 1e-6 * (e1 + e2) + 1e-30) << k;
        EXPECT_NEAR(m.AmpSlope(109)[k], -e1 / 1e-3 - e2 / 1e-2, 1e-5 * (e1 / 1e-3 + e2 / 1e-2))
            << k;
    }
    EXPECT_FLOAT_EQ(m.GetIL(r, 109), 2.5f);
    EXPECT_FLOAT_EQ(m.GetRL(r, 109), 2.0f * 1e-3f + 0.5f * 1e-2f);
    // The bracket of a value between A(0) and the tail.
    const long row = m.FindAmpIndex(1.0f, 109);
    ASSERT_GT(row, 1);
    EXPECT_LE(m.AmpTable(109)[row], 1.0f);
    EXPECT_GT(m.AmpTable(109)[row - 1], 1.0f);
    EXPECT_EQ(m.FindAmpIndex(3.0f, 109), 0);  // above A(0)
}

TEST_F(CndMathRecord, PredictFillsTheGapToTheNearSurfaceLookup) {
    // IL far below the lookup at row 105: the short tau (tauF / 2) carries the
    // difference, so A(0) equals that lookup value.
    m.SetShortTauFlags(false, true);
    const float ref = m.Lookup(xCndMath::LUT, 109)[105];
    xCndRecord r{{0.1f * ref, 0.2f * ref}, 100.4f, {}};
    EXPECT_NEAR(m.ShortTauAdjustment(r, 109), 0.7f * ref, 1e-6f * ref);
    m.ExpandAmplitudes(r, 109);
    EXPECT_NEAR(m.AmpTable(109)[1], ref, 1e-6f * ref);
    // Off, both flags: no short tau at all.
    m.SetShortTauFlags(false, false);
    m.ExpandAmplitudes(r, 109);
    EXPECT_NEAR(m.AmpTable(109)[1], 0.3f * ref, 1e-6f * ref);
}

TEST(CndMathShortTaus, CutTrimsFromTheFirstAmplitudeAtMostNMinusTwoSteps) {
    xCndMath m({1e-4f, 1e-3f, 1e-2f, 1e-1f}, 1, 4);
    m.BuildLookups(1, 300, AxialDipole());
    m.SetShortTauFlags(true, false);
    auto& lut = m.Lookup(xCndMath::LUT, 109);
    lut[105] = 4.0f;
    xCndRecord r{{3.0f, 2.0f, 1.0f, 1.0f}, 100.0f, {}};
    EXPECT_EQ(m.ShortTauAdjustment(r, 109), 0.0f);
    EXPECT_EQ(r.amps, (std::vector<float>{0.0f, 2.0f, 1.0f, 1.0f}));
    // A reference of 1 would want three cuts; four taus allow two.
    lut[105] = 1.0f;
    r.amps = {3.0f, 2.0f, 1.0f, 1.0f};
    m.ShortTauAdjustment(r, 109);
    EXPECT_EQ(r.amps, (std::vector<float>{0.0f, 0.0f, 1.0f, 1.0f}));
}

TEST(CndMathSpectrum, RunsOfSubordinateTausByHand) {
    // Two taus a decade apart, no extra subordinates: the runs are {t1, t2} and
    // {t2}; with f = 1 the second member of the first run weighs 10^-1.
    xCndMath m({1e-3f, 1e-2f}, 1, 2);
    std::array<float, 9> f{};
    f[8] = 1.0f;
    m.SetSpectrum(true, 0, f);
    m.SetShortTauFlags(false, false);
    m.DefineTimes();
    xCndRecord r{{2.0f, 0.5f}, 100.0f, {}};
    EXPECT_NEAR(m.GetIL(r, 109), 2.0 * 1.1 + 0.5, 1e-6);
    EXPECT_NEAR(m.GetRL(r, 109), 2.0 * 1.1 * 1e-3 + 0.5 * 1e-2, 1e-8);
    m.ExpandAmplitudes(r, 109);
    for (long k : {1L, 4L, 6L}) {
        const double t = m.TimeGrid()[k];
        const double run1 = std::exp(-t / 1e-3) + 0.1 * std::exp(-t / 1e-2);
        const double e2 = 0.5 * std::exp(-t / 1e-2);
        EXPECT_NEAR(m.AmpTable(109)[k], 2.0 * run1 + e2, 1e-5);
        // The run is divided by its listed tau in the slope.
        EXPECT_NEAR(m.AmpSlope(109)[k] / (-2.0 * run1 / 1e-3 - e2 / 1e-2), 1.0, 1e-5);
    }
    // A steep exponent leaves each run a single tau: the ordinary case.
    f[8] = 1e6f;
    m.SetSpectrum(true, 0, f);
    EXPECT_FLOAT_EQ(m.GetIL(r, 109), 2.5f);
}

TEST_F(CndMathRecord, AttitudeTurnsAboutXYZWithTheOffsetThreeTripleFirst) {
    // Lookup vector (1, 2, 3) in the Z family; pitch 90 in the triple at 3, then
    // yaw 90 in the triple at 0: (1, 2, 3) -> (1, 3, -2) -> (3, -1, -2).
    for (long id : {107L, 108L, 109L})
        m.Lookup(xCndMath::LUT, id)[40] = static_cast<float>(id - 106);
    xCndRecord r{{0.0f, 0.0f}, 0.0f, {0.0f, 0.0f, 90.0f, 90.0f, 0.0f, 0.0f}};
    EXPECT_NEAR(m.GetAmpDepth(r, xCndMath::LUT, 40, 107), 3.0f, 1e-5f);
    EXPECT_NEAR(m.GetAmpDepth(r, xCndMath::LUT, 40, 108), -1.0f, 1e-5f);
    EXPECT_NEAR(m.GetAmpDepth(r, xCndMath::LUT, 40, 109), -2.0f, 1e-5f);
    // Roll 90: x' = z, z' = -x.
    r.attitude = {0.0f, 90.0f, 0.0f, 0.0f, 0.0f, 0.0f};
    EXPECT_NEAR(m.GetAmpDepth(r, xCndMath::LUT, 40, 107), 3.0f, 1e-5f);
    EXPECT_NEAR(m.GetAmpDepth(r, xCndMath::LUT, 40, 109), -1.0f, 1e-5f);
}

TEST_F(CndMathRecord, AllZeroAmplitudesGiveNullsNotNaN) {
    m.SetDepths(Depths(10.0f, 31));
    m.SetSystemSpan(1.0f);
    m.SetShortTauFlags(false, false);
    xCndRecord r{{0.0f, 0.0f}, 50.0f, {}};
    const xCndComponentResult res = m.ComponentRecord(r, 109);
    EXPECT_EQ(res.RL, 0.0f);
    EXPECT_EQ(res.IL, 0.0f);
    EXPECT_EQ(res.ASC, 0.0f);
    EXPECT_EQ(res.TSC, 0.0f);
    for (float c : m.CondColumn(109)) EXPECT_EQ(c, NULLVALUE);

    std::array<float, 9> w{};
    std::array<bool, 9> active{};
    w[8] = 1.0f;
    active[8] = true;
    std::vector<float> mean, disc, layered;
    m.MeanConductance(w, active, mean);
    m.SetConductivities(LogSpaced(1.0f, 1000.0f, 20));
    m.DiscreteColumn(mean, disc);
    m.LayeredColumn(mean, layered);
    ASSERT_EQ(mean.size(), 31u);
    for (std::size_t d = 0; d < mean.size(); ++d) {
        EXPECT_EQ(mean[d], NULLVALUE);
        EXPECT_EQ(disc[d], NULLVALUE);
        EXPECT_EQ(layered[d], NULLVALUE);
    }
    EXPECT_EQ(m.EstimatePenetration(mean), 300.0f);
    std::vector<float> counts(40, 0.0f);
    m.AccumulateHistogram(mean, counts, LogSpaced(1e-4f, 1e5f, 40));
    for (float c : counts) EXPECT_EQ(c, 0.0f);
    // An empty histogram and a column of coinciding depths do no harm.
    std::vector<float> none;
    m.AccumulateHistogram(mean, none, none);
    m.SetDepths(std::vector<float>(3, 0.0f));
    m.DiscreteColumn({5.0f, 6.0f, 7.0f}, disc);
    m.LayeredColumn({5.0f, 6.0f, 7.0f}, layered);
    EXPECT_EQ(disc, std::vector<float>(3, NULLVALUE));
    m.SetDepths({0.0f});
    m.DiscreteColumn({5.0f}, disc);
    m.LayeredColumn({5.0f}, layered);
}

// The thin sheet of the support header, seen from 50 m with the sheet 30 m down.
class CndMathThinSheet : public ::testing::Test {
  protected:
    static constexpr float S = 10.0f;       // siemens
    static constexpr float Height = 50.0f;  // receiver above ground
    static constexpr float SheetDepth = 30.0f;
    void SetUp() override {
        const auto sheet = cditest::SheetDecay(S, Height, SheetDepth);
        taus = sheet.taus;
        amps = sheet.amps;
    }
    std::vector<float> taus, amps;
};

TEST_F(CndMathThinSheet, ConductanceColumnRecoversTheSheet) {
    xRecordingPlatform platform;
    xCndMath m(taus, 1, static_cast<long>(taus.size()));
    m.BuildLookups(1, 800, AxialDipole());
    m.BuildDerivatives(1, 800);
    m.DefineTimes();
    m.SetDepths(Depths(10.0f, 31));
    m.SetSystemSpan(1.0f);
    m.SetShortTauFlags(false, false);
    m.ZeroColumns();
    xCndRecord r{amps, Height, {}};
    const xCndComponentResult res = m.ComponentRecord(r, 109);
    const auto& col = m.CondColumn(109);
    // Above the sheet the lookup exceeds A(0): no time matches.
    for (int d = 0; d <= 2; ++d) EXPECT_EQ(col[d], NULLVALUE) << d;
    // Below it: S in mS within 2 % (slope interpolation on a ~10 % time grid and
    // the quadrature of the amplitudes).
    for (int d = 4; d <= 30; ++d) EXPECT_NEAR(col[d] / (1000.0f * S), 1.0f, 0.02f) << d;
    // The sheet's integral gives RL = MU S x the lookup's integral below the
    // sheet, so 2 RL / (MU x running sum) is 2 S scaled by the ratio of the
    // integrals below the sheet and below the fitted row.
    // The fitted row sits one or two rows above the sheet's (80), depending on
    // which side of LUT(80) the quadrature puts IL; the running sum there is the
    // integral of 1000 / (z + 10)^3 down to row 800.
    const long fitted = static_cast<long>(Height - res.FitDepth);
    EXPECT_TRUE(fitted == 78 || fitted == 79) << fitted;
    const double expected = 2.0 * S * (1.0 / (90.0 * 90.0)) /
                            (1.0 / std::pow(fitted + 10.0, 2) - 1.0 / (810.0 * 810.0));
    EXPECT_NEAR(res.TSC / expected, 1.0, 5e-3);
    EXPECT_NEAR(res.IL / AxialLut(SheetDepth + Height), 1.0, 1e-3);
    // ASC uses the running sum at the surface: the surface lies above the sheet,
    // so the apparent surface conductance is smaller.
    EXPECT_LT(res.ASC, res.TSC);
    EXPECT_GT(res.ASC, 0.0f);

    // The penetration limit: span x 1000 / MU against conductance x depth.
    std::vector<float> column(col.begin(), col.end());
    EXPECT_EQ(m.EstimatePenetration(column), 300.0f);
    m.SetSystemSpan(1e-3f);
    EXPECT_EQ(m.EstimatePenetration(column), 80.0f);  // 1e4 x 80 > 1e-3 x 1000 / MU

    // A short system sees only early times: the sheet is seen down to about
    // 1e-3 s / (MU S) = 80 m of image travel, i.e. depth 110, and not below.
    m.ZeroColumns();
    m.ComponentRecord(r, 109);
    EXPECT_NEAR(m.CondColumn(109)[8] / (1000.0f * S), 1.0f, 0.02f);
    for (int d = 12; d <= 30; ++d) EXPECT_EQ(m.CondColumn(109)[d], NULLVALUE) << d;
}

TEST(CndMathColumns, DiscreteSnapsDownAndTracksConductance) {
    xRecordingPlatform platform;
    xCndMath m({1e-3f}, 1, 1);
    m.SetDepths(Depths(10.0f, 5));
    m.SetConductivities({1.0f, 10.0f, 100.0f, 1000.0f});
    // Intervals: 50 over 5 m (10), 1000 over 10 m (100), 3000 over 10 m (300,
    // snapped to 100, so only 1000 is counted), a NULL, then 100000 over 20 m
    // (above the table: the largest).
    std::vector<float> out;
    m.DiscreteColumn({50.0f, 1050.0f, 4050.0f, NULLVALUE, 102050.0f}, out);
    EXPECT_EQ(out, (std::vector<float>{10.0f, 100.0f, 100.0f, NULLVALUE, 1000.0f}));
    m.DiscreteColumn({0.1f, NULLVALUE, NULLVALUE, NULLVALUE, NULLVALUE}, out);
    EXPECT_EQ(out[0], 1.0f);  // below the table: the smallest
    EXPECT_TRUE(platform.Texts("error").empty());
}

TEST(CndMathColumns, LayeredFindsTheSlopeChange) {
    // 10 mS/m down to 100 m, 200 mS/m below.
    xCndMath m({1e-3f}, 1, 1);
    m.SetDepths(Depths(10.0f, 31));
    m.SetConductivities(LogSpaced(1.0f, 1000.0f, 50));
    std::vector<float> cond(31);
    for (int d = 0; d < 31; ++d) {
        const float z = 10.0f * d;
        cond[d] = z <= 100.0f ? 10.0f * z : 1000.0f + 200.0f * (z - 100.0f);
    }
    std::vector<float> out;
    m.SetLayerCount(3);
    m.LayeredColumn(cond, out);
    EXPECT_EQ(out[0], NULLVALUE);
    for (int d = 12; d <= 30; ++d) EXPECT_NEAR(out[d], 200.0f, 1e-3f) << d;
    for (int d = 1; d <= 11; ++d) {
        EXPECT_EQ(out[d], out[1]);
        EXPECT_GT(out[d], 10.0f);
        EXPECT_LT(out[d], 200.0f);
    }
    // One layer: the bottom break alone, one mean over the whole column.
    m.SetLayerCount(1);
    m.LayeredColumn(cond, out);
    for (int d = 2; d <= 30; ++d) EXPECT_EQ(out[d], out[1]);
}

TEST(CndMathColumns, MeanHistogramAndScaling) {
    xRecordingPlatform platform;
    xCndMath m({1e-3f, 1e-2f}, 1, 2);
    m.SetDepths({0.0f, 10.0f, 20.0f});
    m.CondColumn(107) = {10.0f, 20.0f, NULLVALUE};
    m.CondColumn(109) = {30.0f, NULLVALUE, -5.0f};
    std::array<float, 9> w{};
    std::array<bool, 9> active{};
    w[6] = 1.0f;
    w[8] = 3.0f;
    active[6] = active[8] = true;
    std::vector<float> mean;
    m.MeanConductance(w, active, mean);
    // (10 + 90) / 4; 20 alone; -5 alone is not positive.
    EXPECT_EQ(mean, (std::vector<float>{25.0f, 20.0f, NULLVALUE}));
    std::array<float, 9> zero{};
    std::vector<float> untouched{1.0f};
    m.MeanConductance(zero, active, untouched);
    EXPECT_EQ(untouched, std::vector<float>{1.0f});

    std::vector<float> counts(4, 0.0f);
    const std::vector<float> edges{1.0f, 5.0f, 20.0f, 100.0f};
    m.AccumulateHistogram({0.0f, 100.0f, 150.0f}, counts, edges);  // samples 10 and 5
    EXPECT_EQ(counts, (std::vector<float>{0.0f, 1.0f, 1.0f, 0.0f}));

    m.BuildLookups(1, 300, AxialDipole());
    std::vector<xCndRecord> recs{{{1.0f, 1.0f}, 100.0f, {}}, {{2.0f, 0.0f}, 200.0f, {}}};
    const double lut = AxialLut(105) + AxialLut(205);
    xCndMath::ScalingSums z, x;
    for (const auto& r : recs) {
        m.AddScalingSample(r, 109, z);
        m.AddScalingSample(r, 107, x);
    }
    EXPECT_NEAR(z.Factor(), 4.0 / lut, 1e-3 * 4.0 / lut);
    EXPECT_EQ(x.Factor(), 1.0f);  // no lookup there
}

// The searches by bisection against the scans they replace, on a lookup that
// changes sign (an offset receiver) and on a table with repeated values.
TEST(CndMathSearches, BisectionsAgreeWithTheLiteralScans) {
    xRecordingPlatform platform;
    xEMDesc desc = AxialDipole();
    desc.Components().at(109).geometry.SetPosition(xEMGDesc::Rx, -120.0f, 0.0f, -45.0f);
    xCndMath m({1e-3f}, 1, 1);
    m.BuildLookups(1, 400, desc);
    const auto& lut = m.Lookup(xCndMath::LUT, 109);
    const auto scanDepth = [&](float il) -> long {
        for (long z = 400; z > 1; --z)
            if (il <= lut[z] && il <= lut[z - 1]) return z - 1;
        return 0;
    };
    for (float il = -0.6f; il <= 0.3f; il += 0.0007f)
        ASSERT_EQ(m.GetFittedDepth(il, 109), scanDepth(il)) << il;
    // An edit of the lookup reaches the search.
    m.Lookup(xCndMath::LUT, 109)[300] = 5.0f;
    m.Lookup(xCndMath::LUT, 109)[301] = 5.0f;
    EXPECT_EQ(m.GetFittedDepth(1.0f, 109), 300);

    const std::vector<float> table{1, 2, 2, 3, 5, 8, 8, 13};
    m.SetConductivities(table);
    const auto scanIndex = [&](float c) -> long {
        const long top = long(table.size()) - 1;
        if (c < table[0]) return 0;
        if (c > table[top]) return top;
        for (long k = top; k >= 1; --k)
            if (table[k] >= c && table[k - 1] <= c) return k - 1;
        return -1;
    };
    for (float c = 0.0f; c <= 14.0f; c += 0.125f) ASSERT_EQ(m.DiscreteIndex(c), scanIndex(c)) << c;
    EXPECT_EQ(m.DiscreteIndex(std::nanf("")), -1);
    m.SetConductivities({4.0f});
    EXPECT_EQ(m.DiscreteIndex(4.0f), -1);
    EXPECT_EQ(m.DiscreteIndex(5.0f), 0);
}
