#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "xCndMath.h"

using cdi::NULLVALUE;

namespace {

// A column made of straight pieces joined at the kinks: piece k runs with
// slope slopes[k] from kinks[k - 1] to kinks[k] (the kink itself lies on both).
std::vector<double> Polyline(int n, double start, const std::vector<int>& kinks,
                             const std::vector<double>& slopes) {
    std::vector<double> v(n);
    v[0] = start;
    for (int i = 1; i < n; ++i) {
        std::size_t piece = 0;
        while (piece < kinks.size() && i > kinks[piece]) ++piece;
        v[i] = v[i - 1] + slopes[piece];
    }
    return v;
}

std::vector<float> WithNoise(const std::vector<double>& v, double amplitude) {
    std::mt19937 gen(17);
    std::uniform_real_distribution<double> noise(-amplitude, amplitude);
    std::vector<float> out;
    for (double x : v) out.push_back(static_cast<float>(x + noise(gen)));
    return out;
}

// Where the output stops being one straight line: the indices with a second
// difference well above the float grain.
std::vector<int> Bends(const std::vector<float>& out, double tolerance) {
    std::vector<int> at;
    for (std::size_t i = 1; i + 1 < out.size(); ++i)
        if (std::fabs(double(out[i + 1]) - 2.0 * out[i] + out[i - 1]) > tolerance)
            at.push_back(static_cast<int>(i));
    return at;
}

xCndMath Math(int layers) {
    xCndMath m({1e-3f}, 1, 1);
    m.SetConductivities({1.0f, 10.0f, 100.0f, 1000.0f});
    m.SetLayerCount(layers);
    return m;
}

}  // namespace

TEST(CndLayeredApprox, KinksBecomeLayerBoundariesAndLayersFollowTheirLines) {
    struct Case {
        int n;
        std::vector<int> kinks;
        std::vector<double> slopes;
    };
    // Bends of opposite sense, which the first line already shows; bends of
    // one sense, where the line hides the upper one until its piece is
    // refitted; and a long column whose window is wider than five samples.
    const std::vector<Case> cases{{60, {20, 40}, {5.0, 20.0, 2.0}},
                                  {60, {25, 42}, {2.0, 6.0, 20.0}},
                                  {300, {90, 200}, {1.0, -1.5, 0.5}}};
    xCndMath m = Math(3);
    for (const Case& c : cases) {
        const std::vector<double> truth = Polyline(c.n, 300.0, c.kinks, c.slopes);
        std::vector<float> out;
        m.LayeredApprox_ab(WithNoise(truth, 0.01), out);
        ASSERT_EQ(out.size(), truth.size());
        const std::vector<int> bends = Bends(out, 0.1);
        ASSERT_GE(bends.size(), c.kinks.size()) << c.n;
        // A boundary closing its layer at sample b bends the output at b and
        // b + 1; one sample either side of the kink is within the method's
        // grain, more is a fault.
        auto near = [&](int i) {
            for (int k : c.kinks)
                if (i >= k - 1 && i <= k + 2) return true;
            return false;
        };
        for (int b : bends) EXPECT_TRUE(near(b)) << "bend at " << b << " of case n = " << c.n;
        for (int k : c.kinks) {
            bool found = false;
            for (int b : bends) found = found || (b >= k - 1 && b <= k + 2);
            EXPECT_TRUE(found) << "kink at " << k << " of case n = " << c.n;
        }
        // Each layer's line is its piece; a boundary one sample off tilts a
        // long layer's line by about a tenth, a wrong one by far more.
        for (int i = 0; i < c.n; ++i) {
            if (!near(i)) {
                EXPECT_NEAR(out[i], truth[i], 0.2) << i << " of case n = " << c.n;
            }
        }
    }
}

TEST(CndLayeredApprox, MergesTheMostAlikeNeighboursDownToLayerCount) {
    // Level, rise, fall, level: the rise and the fall have nearly the same mean
    // (about 405 and 395) and differ from the levels at 300 by a quarter.
    const std::vector<double> truth = Polyline(80, 300.0, {20, 40, 60}, {0.0, 10.0, -10.0, 0.0});
    const std::vector<float> column = WithNoise(truth, 0.01);
    std::vector<float> out;

    Math(4).LayeredApprox_ab(column, out);
    for (int i : {0, 10, 18, 22, 30, 38, 42, 50, 58, 62, 79})
        EXPECT_NEAR(out[i], truth[i], 0.05) << i;

    Math(3).LayeredApprox_ab(column, out);
    for (int i = 0; i <= 18; ++i) EXPECT_NEAR(out[i], 300.0, 0.05) << i;
    for (int i = 62; i < 80; ++i) EXPECT_NEAR(out[i], 300.0, 0.05) << i;
    // The rise and fall share one line: nearly level, where either alone
    // would run at 10 per sample.
    for (int i = 23; i <= 57; ++i)
        EXPECT_NEAR(out[i + 1] - 2.0 * out[i] + out[i - 1], 0.0, 1e-3) << i;
    EXPECT_LT(std::fabs(out[57] - out[22]) / 35.0, 1.0);
    EXPECT_GT(out[40], 350.0);

    // One layer: the straight line of the whole column.
    Math(1).LayeredApprox_ab(column, out);
    EXPECT_TRUE(Bends(out, 1e-2).empty());
    Math(0).LayeredApprox_ab(column, out);  // no layer count still leaves one layer
    EXPECT_TRUE(Bends(out, 1e-2).empty());
}

TEST(CndLayeredApprox, ValuesOutsideTheConductivitiesAreCappedOrNull) {
    // One straight line from -50 up by 40 a sample: below 1 mS/m at the top,
    // above 1000 from sample 27 on.
    std::vector<float> column;
    for (int i = 0; i < 40; ++i) column.push_back(-50.0f + 40.0f * i);
    std::vector<float> out;
    Math(3).LayeredApprox_ab(column, out);
    ASSERT_EQ(out.size(), column.size());
    EXPECT_EQ(out[0], NULLVALUE);
    EXPECT_EQ(out[1], NULLVALUE);
    for (int i = 2; i < 27; ++i) EXPECT_NEAR(out[i], column[i], 1e-3) << i;
    for (int i = 27; i < 40; ++i) EXPECT_EQ(out[i], 1000.0f) << i;

    xCndMath none({1e-3f}, 1, 1);  // no conductivities: no range to put a value in
    none.LayeredApprox_ab(column, out);
    EXPECT_EQ(out, std::vector<float>(40, NULLVALUE));
}

TEST(CndLayeredApprox, ShortEmptyAndNullColumns) {
    xCndMath m = Math(3);
    std::vector<float> out{1.0f};
    m.LayeredApprox_ab({}, out);
    EXPECT_TRUE(out.empty());
    m.LayeredApprox_ab({50.0f}, out);
    EXPECT_EQ(out, std::vector<float>{50.0f});
    m.LayeredApprox_ab({NULLVALUE, NULLVALUE, NULLVALUE}, out);
    EXPECT_EQ(out, std::vector<float>(3, NULLVALUE));
    // Fewer samples than a window: the straight line through them.
    m.LayeredApprox_ab({10.0f, 30.0f, 20.0f}, out);
    EXPECT_EQ(out, (std::vector<float>{15.0f, 20.0f, 25.0f}));
    // A window as long as the column, with a sharp bend in it.
    m.LayeredApprox_ab({100.0f, 50.0f, 0.0f, 50.0f, 100.0f}, out);
    EXPECT_EQ(out.size(), 5u);

    // NULLs at the bottom and in a gap stay NULL; the rest is one line, with
    // the gap taking no part in the fit.
    std::vector<float> column;
    for (int i = 0; i < 30; ++i) column.push_back(100.0f + 3.0f * i);
    column[12] = NULLVALUE;
    column.insert(column.end(), 5, NULLVALUE);
    m.LayeredApprox_ab(column, out);
    ASSERT_EQ(out.size(), 35u);
    for (int i = 0; i < 30; ++i)
        if (i != 12) {
            EXPECT_NEAR(out[i], 100.0f + 3.0f * i, 1e-3) << i;
        }
    EXPECT_EQ(out[12], NULLVALUE);
    for (int i = 30; i < 35; ++i) EXPECT_EQ(out[i], NULLVALUE) << i;
}
