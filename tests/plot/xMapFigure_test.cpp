#include "xMapFigure.h"

#include <gtest/gtest.h>
#include <qcustomplot.h>

#include <cmath>

#include "PlotFixtures.h"
#include "PlotTestSupport.h"
#include "TempFolder.h"
#include "xMCond.h"
#include "xMData.h"
#include "xMapData.h"
#include "xPlotStyle.h"

using plottest::ClosestColourNear;
using plottest::ColourAt;
using plottest::ColourDistance;
using plottest::Render;

namespace {

// Two lines of 101 records, 1000 m long from X 1000, at Y 5000 and 6000: with
// them the survey is a square of 1000 m. The altitude of line 2 rises from
// 100 to 200 m along it.
void TwoLines(std::int32_t line, long r, float* row, long) {
    row[4] = line == 2 ? 100.0f + float(r) : 100.0f;
}

class xMapFigureTest : public xTempFolderTest {
  protected:
    bool Read(xMFile& file, const std::string& name, const xMapRequest& request,
              std::string& error) {
        file.SetPath(dir_ / name);
        EXPECT_EQ(file.Open(), 1);
        EXPECT_TRUE(file.ReadHeader());
        return ReadMapData(file, request, data_, error);
    }
    void ReadBin(const xMapRequest& request = {}) {
        plottest::WriteBin(dir_ / "P.BIN", {1, 2}, 101, 2, TwoLines);
        std::string error;
        ASSERT_TRUE(Read(bin_, "P.BIN", request, error)) << error;
    }
    QCPAxisRect& Rect() { return *plot_.axisRects().at(0); }
    QPointF Pixel(double x, double y) {
        return {Rect().axis(QCPAxis::atBottom)->coordToPixel(x),
                Rect().axis(QCPAxis::atLeft)->coordToPixel(y)};
    }

    xMData bin_;
    xMCond cnd_;
    xMapData data_;
    QCustomPlot plot_;
};

}  // namespace

TEST_F(xMapFigureTest, ASquareOfSurveyIsSquareInPixels) {
    ReadBin();
    EXPECT_EQ(data_.xLow, 1000.0);
    EXPECT_EQ(data_.yHigh, 6000.0);
    DrawMap(plot_, data_, xMapLook{});
    for (QSize size : {QSize(800, 500), QSize(400, 700)}) {
        const QImage image = Render(plot_, size);
        const QPointF low = Pixel(1000, 5000), high = Pixel(2000, 6000);
        EXPECT_NEAR(high.x() - low.x(), low.y() - high.y(), 1.0) << size.width();
        EXPECT_TRUE(Rect().rect().contains(low.toPoint()) &&
                    Rect().rect().contains(high.toPoint()));
        EXPECT_LE(ColourDistance(ColourAt(image, Rect(), 1500, 5000), xPlotStyle::TrackColour()),
                  60);
        EXPECT_EQ(ColourAt(image, Rect(), 1620, 5370), QColor(Qt::white));  // off the grid
    }
}

TEST_F(xMapFigureTest, TracksTakeTheColourOfTheirValue) {
    xMapRequest request;
    request.value = "altitude";
    ReadBin(request);
    EXPECT_EQ(data_.quantity, "Altitude");
    EXPECT_EQ(data_.unit, "m");
    double low = 0, high = 0;
    ASSERT_TRUE(MapColourRange(data_, xMapLook{}, low, high));
    DrawMap(plot_, data_, xMapLook{});
    const QImage image = Render(plot_, QSize(800, 600));
    QCPColorGradient gradient = xPlotStyle::SectionGradient();
    for (double x : {1300.0, 1700.0}) {  // altitude 130 and 170 m on line 2
        const QColor expected(gradient.color(100.0 + (x - 1000.0) / 10.0, QCPRange(low, high)));
        EXPECT_LE(ColourDistance(ClosestColourNear(image, Rect(), x, 6000, expected), expected), 12)
            << x;
    }
    EXPECT_GT(ColourDistance(QColor(gradient.color(130, QCPRange(low, high))),
                             QColor(gradient.color(170, QCPRange(low, high)))),
              60);
}

TEST_F(xMapFigureTest, AGivenColourRangeHoldsOverTheValues) {
    xMapRequest request;
    request.value = "altitude";
    ReadBin(request);
    xMapLook look;
    look.low = 100.0;
    look.high = 300.0;
    double low = 0, high = 0;
    ASSERT_TRUE(MapColourRange(data_, look, low, high));
    EXPECT_EQ(low, 100.0);
    EXPECT_EQ(high, 300.0);
    DrawMap(plot_, data_, look);
    const QImage image = Render(plot_, QSize(800, 600));
    const QColor expected(xPlotStyle::SectionGradient().color(150.0, QCPRange(100.0, 300.0)));
    EXPECT_LE(ColourDistance(ClosestColourNear(image, Rect(), 1500, 6000, expected), expected), 12);
}

TEST_F(xMapFigureTest, LongLinesAreThinnedToAboutAPointAPixel) {
    plottest::WriteBin(dir_ / "P.BIN", {1}, 100000, 1, [](std::int32_t, long r, float* row, long) {
        row[1] = 1000.0f + 0.1f * float(r);  // 10,000 m
    });
    xMapRequest request;
    request.pixels = 500;
    std::string error;
    ASSERT_TRUE(Read(bin_, "P.BIN", request, error)) << error;
    const xMapTrack& track = data_.tracks.at(0);
    EXPECT_GE(track.x.size(), 480u);
    EXPECT_LE(track.x.size(), 520u);
    EXPECT_EQ(track.x.front(), 1000.0);
    EXPECT_NEAR(track.x.back(), 1000.0 + 0.1 * 99999, 0.01);  // the end, for its label
}

TEST_F(xMapFigureTest, ACdiFileIsColouredByTheConductivityNearestTheDepth) {
    plottest::WriteCnd(dir_ / "P.CND", 7, 20, [](long, float depth) { return depth + 1.0f; });
    xMapRequest request;
    request.depth = 47.0;
    std::string error;
    ASSERT_TRUE(Read(cnd_, "P.CND", request, error)) << error;
    EXPECT_EQ(data_.quantity, "Conductivity at 50 m");
    EXPECT_EQ(data_.unit, "mS/m");
    EXPECT_TRUE(data_.logValue);
    EXPECT_EQ(data_.tracks.at(0).value.front(), 51.0);
}

TEST_F(xMapFigureTest, MarkersAreDrawnWhereTheyLie) {
    ReadBin();
    data_.markers = {{1500.0, 5500.0, "B1"}};
    DrawMap(plot_, data_, xMapLook{});
    const QImage image = Render(plot_, QSize(600, 600));
    EXPECT_LE(ColourDistance(ColourAt(image, Rect(), 1500, 5500), xPlotStyle::MarkerColour()), 20);
}

TEST_F(xMapFigureTest, BadRequestsAreRefusedInWords) {
    plottest::WriteBin(dir_ / "P.BIN", {1, 2}, 5, 2, TwoLines);
    std::string error;
    xMapRequest request;
    request.lines = {1, 3};
    EXPECT_FALSE(Read(bin_, "P.BIN", request, error));
    EXPECT_EQ(error, "Line 3 is not in P.BIN; its lines are 1, 2.");
    bin_.Close();
    request = {};
    request.value = "Height";
    EXPECT_FALSE(Read(bin_, "P.BIN", request, error));
    EXPECT_EQ(error,
              "P.BIN has no item \"Height\": name one as tovarn dump titles it (e.g. Altitude) or "
              "give its index, 0 to 15.");
    bin_.Close();
    request = {};
    request.depth = 50.0;
    EXPECT_FALSE(Read(bin_, "P.BIN", request, error));
    EXPECT_EQ(error, "P.BIN has no depths: a depth colours the map of a CDI file.");

    plottest::WriteCnd(dir_ / "P.CND", 7, 5, [](long, float) { return xMCond::NullValue; });
    EXPECT_FALSE(Read(cnd_, "P.CND", request, error));
    EXPECT_EQ(error, "The lines of P.CND have no valid Conductivity at 50 m: every value is NULL.");
}

TEST_F(xMapFigureTest, SmallFigureMatchesItsReference) {
    xMapRequest request;
    request.value = "Altitude";
    ReadBin(request);
    data_.markers = {{1400.0, 5600.0, "B1"}};
    xMapLook look;
    look.title = "Flight lines";
    DrawMap(plot_, data_, look);
    EXPECT_TRUE(plottest::MatchesReference(Render(plot_, QSize(480, 320)), "map"));
}
