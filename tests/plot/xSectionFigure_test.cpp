#include "xSectionFigure.h"

#include <gtest/gtest.h>
#include <qcustomplot.h>

#include <cmath>

#include "PlotFixtures.h"
#include "PlotTestSupport.h"
#include "TempFolder.h"
#include "xColourRange.h"
#include "xMCond.h"
#include "xPlotStyle.h"
#include "xSectionGrid.h"

using plottest::ColourAt;
using plottest::ColourDistance;
using plottest::Render;

namespace {

// 10 mS/m down to 50 m, 100 mS/m below.
float TwoLayers(long, float depth) {
    return depth < 50.0f ? 10.0f : 100.0f;
}

class xSectionFigureTest : public xTempFolderTest {
  protected:
    bool Read(const xSectionRequest& request, std::string& error) {
        cnd_.SetPath(dir_ / "P.CND");
        EXPECT_EQ(cnd_.Open(), 1);
        EXPECT_TRUE(cnd_.ReadHeader());
        return ReadSectionGrid(cnd_, request, grid_, error);
    }
    void Read(long records, const std::function<float(long, float)>& value,
              xSectionRequest request = {}) {
        plottest::WriteCnd(dir_ / "P.CND", 7, records, value);
        request.line = 7;
        std::string error;
        ASSERT_TRUE(Read(request, error)) << error;
    }
    QCPAxisRect& Rect(int index) { return *plot_.axisRects().at(index); }
    QColor Expected(double value) {
        return xPlotStyle::SectionGradient().color(value, QCPRange(10, 100), true);
    }

    xMCond cnd_;
    xSectionGrid grid_;
    QCustomPlot plot_;
};

}  // namespace

TEST_F(xSectionFigureTest, TwoLayersShowTheirColoursAboveAndBelowTheBoundary) {
    Read(200, TwoLayers);
    xSectionLook look;
    DrawSection(plot_, grid_, look);
    const QImage image = Render(plot_, QSize(800, 600));
    ASSERT_EQ(plot_.axisRects().size(), 2);  // discrete over layered
    for (int s = 0; s < 2; ++s)
        for (double x : {600.0, 1000.0, 1800.0}) {  // clear of the section's name
            // Cells are centred on their depths: 0..5 m, 5..15 m, ... 45..55 m.
            EXPECT_LE(ColourDistance(ColourAt(image, Rect(s), x, 20), Expected(10)), 6) << x;
            EXPECT_LE(ColourDistance(ColourAt(image, Rect(s), x, 120), Expected(100)), 6) << x;
        }
    EXPECT_GT(ColourDistance(Expected(10), Expected(100)), 100);
}

TEST_F(xSectionFigureTest, ElevationsHangTheSectionFromTheGround) {
    Read(200, TwoLayers);
    xSectionLook look;
    look.elevation = true;
    DrawSection(plot_, grid_, look);
    const QImage image = Render(plot_, QSize(800, 600));
    // Ground at 100 m: depth 20 m is at elevation 80 m, depth 120 m at -20 m.
    EXPECT_LE(ColourDistance(ColourAt(image, Rect(0), 1000, 80), Expected(10)), 6);
    EXPECT_LE(ColourDistance(ColourAt(image, Rect(0), 1000, -20), Expected(100)), 6);
    // Above the ground the page shows through, up to the sensor's line.
    EXPECT_EQ(ColourAt(image, Rect(0), 1000, 160), QColor(Qt::white));
    EXPECT_LE(ColourDistance(ColourAt(image, Rect(0), 1000, 220), xPlotStyle::FlightColour()), 40);
}

TEST_F(xSectionFigureTest, NullCellsAndGapsStayBlank) {
    // The first 20 records NULL, the section NULL below 150 m.
    Read(200, [](long r, float depth) {
        return r < 20 || depth > 150.0f ? xMCond::NullValue : TwoLayers(r, depth);
    });
    DrawSection(plot_, grid_, xSectionLook{});
    const QImage image = Render(plot_, QSize(800, 600));
    EXPECT_EQ(ColourAt(image, Rect(0), 100, 120), QColor(Qt::white));
    EXPECT_EQ(ColourAt(image, Rect(0), 1000, 180), QColor(Qt::white));
    EXPECT_LE(ColourDistance(ColourAt(image, Rect(0), 1000, 120), Expected(100)), 6);
}

TEST_F(xSectionFigureTest, ColourRangeFollowsTheValuesOrTheUser) {
    // Values 1..100 by record: the 2nd and 98th percentile of the positive ones.
    Read(100, [](long r, float) { return r == 0 ? -5.0f : float(r); });
    double low = 0, high = 0;
    xSectionLook look;
    ASSERT_TRUE(SectionColourRange(grid_, look, low, high));
    EXPECT_NEAR(low, 2.0, 1.0);
    EXPECT_NEAR(high, 97.0, 1.0);
    look.logScale = false;  // the negative value counts on a linear scale
    ASSERT_TRUE(SectionColourRange(grid_, look, low, high));
    EXPECT_LE(low, 2.0);
    look.low = 3.0;
    look.high = 30.0;
    ASSERT_TRUE(SectionColourRange(grid_, look, low, high));
    EXPECT_EQ(low, 3.0);
    EXPECT_EQ(high, 30.0);
}

TEST_F(xSectionFigureTest, DefaultRangeLooksAboveThePenetrationAndSpansThreeDecadesAtMost) {
    // 1e-4 mS/m in the upper half of the records, 100 in the lower; 1e6
    // below the penetration at 150 m, which does not count.
    Read(100, [](long r, float depth) { return depth > 150.0f ? 1e6f : r < 50 ? 1e-4f : 100.0f; });
    double low = 0, high = 0;
    ASSERT_TRUE(SectionColourRange(grid_, xSectionLook{}, low, high));
    EXPECT_DOUBLE_EQ(high, 100.0);
    EXPECT_DOUBLE_EQ(low, 100.0 / MaxDefaultContrast);
}

TEST_F(xSectionFigureTest, TheColourBarIsLabelledOverWideAndNarrowRanges) {
    Read(10, TwoLayers);
    for (auto [low, high] : {std::pair{1.0, 1000.0}, {20.0, 80.0}}) {
        xSectionLook look;
        look.low = low;
        look.high = high;
        DrawSection(plot_, grid_, look);
        Render(plot_, QSize(600, 400));
        QCPColorScale* bar = nullptr;
        for (QCPLayoutElement* element : plot_.plotLayout()->elements(true))
            if (auto* scale = qobject_cast<QCPColorScale*>(element)) bar = scale;
        ASSERT_NE(bar, nullptr);
        EXPECT_GE(bar->axis()->tickVectorLabels().size(), 3) << low << ":" << high;
    }
}

TEST_F(xSectionFigureTest, OneValueEverywhereGetsARangeAroundIt) {
    Read(10, [](long, float) { return 40.0f; });
    double low = 0, high = 0;
    ASSERT_TRUE(SectionColourRange(grid_, xSectionLook{}, low, high));
    EXPECT_DOUBLE_EQ(low, 20.0);
    EXPECT_DOUBLE_EQ(high, 80.0);
}

TEST_F(xSectionFigureTest, LongLinesAreDecimatedToTheColumns) {
    xSectionRequest request;
    request.columns = 300;
    Read(
        30000, [](long r, float) { return float(r % 1000); }, request);
    EXPECT_EQ(grid_.Columns(), 300);
    // Each column keeps the record nearest its centre: column c covers
    // distances 999.9 c .. 999.9 (c + 1), centred on a record's value.
    for (long c : {0L, 150L, 299L}) {
        const double record = grid_.x[std::size_t(c)] / 10.0;
        EXPECT_NEAR(grid_.Value(0, c, 3), std::fmod(std::round(record), 1000.0), 1.0) << c;
    }
}

TEST_F(xSectionFigureTest, AFileWithoutDepthsHasNoSectionToDraw) {
    xMCond cnd;
    cnd.SetPath(dir_ / "P.CND");
    cnd.SetOverwrite(true);
    ASSERT_EQ(cnd.Create(), 1);
    LongArray flags(100, 109);
    flags[109] = 1;
    cnd.Init(FloatArray(0L), flags);
    ASSERT_TRUE(cnd.WriteHeader());
    ASSERT_EQ(cnd.Commit(), 1);
    std::string error;
    xSectionRequest request;
    request.line = 7;
    EXPECT_FALSE(Read(request, error));
    EXPECT_EQ(error, "P.CND has no depths: its sections are empty. Run the CDI (704) again.");
}

TEST_F(xSectionFigureTest, BadRequestsAreRefusedInWords) {
    plottest::WriteCnd(dir_ / "P.CND", 7, 5, [](long, float) { return xMCond::NullValue; });
    std::string error;
    xSectionRequest request;
    request.line = 8;
    EXPECT_FALSE(Read(request, error));
    EXPECT_EQ(error, "Line 8 is not in P.CND; its lines are 7.");
    request.line = 7;
    EXPECT_FALSE(Read(request, error));
    EXPECT_EQ(error, "Line 7 of P.CND has no valid conductivity: every value is NULL.");
}
