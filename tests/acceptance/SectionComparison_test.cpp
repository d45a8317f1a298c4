// The measure the survey checks report: rank correlation with ties, the
// model's layer at a depth, and the pairing of CDI stations with models.

#include <gtest/gtest.h>

#include <cmath>

#include "RankCorrelation.h"
#include "SectionComparison.h"
#include "TempFolder.h"

TEST(RankCorrelation, TiedValuesShareTheirAverageRank) {
    EXPECT_EQ(AverageRanks({5, 2, 3, 2, 1}), (std::vector<double>{5, 2.5, 4, 2.5, 1}));
    // By hand: ranks x 1 2.5 2.5 4 5 and y 2 1 4.5 4.5 3, both of mean 3;
    // sum of products of deviations 3.75, of squares 9.5 each: 15/38. The
    // shortcut 1 - 6 sum(d^2) / (n (n^2 - 1)), wrong with ties, gives 0.425.
    EXPECT_NEAR(SpearmanRho({1, 2, 2, 3, 5}, {2, 1, 4, 4, 3}), 15.0 / 38.0, 1e-12);
}

TEST(RankCorrelation, OnlyTheOrderCounts) {
    const std::vector<double> x{0.1, 3, 7, 40, 41};
    EXPECT_DOUBLE_EQ(SpearmanRho(x, {1, 2, 3, 4, 1000}), 1.0);
    EXPECT_DOUBLE_EQ(SpearmanRho(x, {9, 8, 7, -6, -60}), -1.0);
    EXPECT_EQ(SpearmanRho(x, {4, 4, 4, 4, 4}), 0.0);
}

TEST(LayeredModelTest, ADepthOnAnInterfaceBelongsToTheLayerBelow) {
    const LayeredModel model{0, {0.1, 0.2, 0.3}, {4, 4.4, 4.4}};
    EXPECT_EQ(model.ConductivityAt(0), 0.1);
    EXPECT_EQ(model.ConductivityAt(3.99), 0.1);
    EXPECT_EQ(model.ConductivityAt(4), 0.2);
    EXPECT_EQ(model.ConductivityAt(8.4), 0.3);
    EXPECT_EQ(model.ConductivityAt(5000), 0.3);  // the half-space
}

using SectionComparisonTest = xTempFolderTest;

TEST_F(SectionComparisonTest, StationsPairByFidAndOnlyTheirLineCounts) {
    // line fid c1 c2 t1 t2: a conductive layer of 50 m over a resistive half-space
    const auto file = Put("models.asc",
                          "7 10.0 0.1 0.01 50 50\n"
                          "8 10.0 9.0 9.0 50 50\n"  // another line at the same FID
                          "7 20.0 0.2 0.02 50 50\n");
    const auto models = ReadModels({file}, {1, 2, 3, 5, 2}, 7);
    ASSERT_EQ(models.size(), 2u);
    EXPECT_EQ(models[1].conductivity, (std::vector<double>{0.2, 0.02}));

    // The CDI reads every model conductivity as 20 times too high but ranks
    // them alike; the station at FID 30 has no model, and only the first
    // reaches 100 m. Depths without a value and below 300 m are not compared.
    const double none = std::nan("");
    const std::vector<CdiStation> cdi{{10.001, {0, 40, 120, 310}, {2000, 2000, 200, 1}},
                                      {19.999, {0, 60, 120}, {4000, 400, none}},
                                      {30.0, {0, 200}, {5, 5}}};
    const SectionAgreement agreement = CompareSections(cdi, models, 300, 100, 0.1);
    EXPECT_EQ(agreement.stations, 3u);
    EXPECT_EQ(agreement.paired, 2u);
    EXPECT_EQ(agreement.values, 5u);
    EXPECT_NEAR(agreement.rho, 1.0, 1e-12);
    EXPECT_DOUBLE_EQ(agreement.deepShare, 0.5);
}
