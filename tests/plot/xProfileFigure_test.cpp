#include "xProfileFigure.h"

#include <gtest/gtest.h>
#include <qcustomplot.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "PlotFixtures.h"
#include "PlotTestSupport.h"
#include "TempFolder.h"
#include "xColumnDecimation.h"
#include "xMData.h"
#include "xPlotStyle.h"
#include "xProfileData.h"

using plottest::ColourAt;
using plottest::ColourDistance;
using plottest::Render;

namespace {

// Channel c of record r: 100 (c + 1) + r, a ramp per channel.
void Ramps(std::int32_t, long r, float* row, long tzrz) {
    for (long c = 0; c < 3; ++c) row[tzrz + c] = 100.0f * float(c + 1) + float(r);
    row[4] = 100.0f + 20.0f * float(r >= 100);  // the altitude steps up halfway
}

class xProfileFigureTest : public xTempFolderTest {
  protected:
    void Write(long records, const plottest::RowFill& fill, long channels = 3) {
        plottest::WriteBin(dir_ / "P.BIN", {7}, records, channels, fill);
    }
    bool Read(xProfileRequest request, std::string& error) {
        bin_.SetPath(dir_ / "P.BIN");
        EXPECT_EQ(bin_.Open(), 1);
        EXPECT_TRUE(bin_.ReadHeader());
        return ReadProfileData(bin_, request, data_, error);
    }
    void Read(xProfileRequest request = {}) {
        request.line = 7;
        std::string error;
        ASSERT_TRUE(Read(request, error)) << error;
    }
    QCPAxisRect& Rect(int index) { return *plot_.axisRects().at(index); }
    // The share of the rows of the rectangle, below its labels, that are red
    // in one of the three pixel columns about x.
    static double RedShare(const QImage& image, QCPAxisRect& rect, double x) {
        const int px = int(std::lround(rect.axis(QCPAxis::atBottom)->coordToPixel(x)));
        int red = 0;
        for (int py = rect.top() + 20; py < rect.bottom(); ++py)
            for (int dx = -1; dx <= 1; ++dx) {
                const QColor c = image.pixelColor(px + dx, py);
                if (c.red() - c.green() > 60 && c.red() - c.blue() > 60) {
                    ++red;
                    break;
                }
            }
        return double(red) / double(rect.bottom() - rect.top() - 20);
    }
    // Which of the curves' colours, or the white page, the pixel is nearest:
    // an antialiased curve is paler than its pen, but nearer it than the rest.
    static int NearestCurve(QColor seen, int curves) {
        int best = -1, distance = ColourDistance(seen, Qt::white);
        for (int c = 0; c < curves; ++c)
            if (const int d = ColourDistance(seen, xPlotStyle::SequenceColour(c, curves));
                d < distance)
                best = c, distance = d;
        return best;
    }

    xMData bin_;
    xProfileData data_;
    QCustomPlot plot_;
};

}  // namespace

TEST_F(xProfileFigureTest, CurvesPassThroughThePixelsOfTheirValues) {
    Write(200, Ramps);
    Read();
    ASSERT_EQ(data_.curves.size(), 3u);
    EXPECT_EQ(data_.component, "TzRz");  // TzRz before TxRx, which comes first in the file
    DrawProfiles(plot_, data_, xProfileLook{});
    const QImage image = Render(plot_, QSize(800, 600));
    for (int c = 0; c < 3; ++c)
        for (long r : {40L, 120L}) {
            const QColor seen = plottest::ClosestColourNear(
                image, Rect(0), 10.0 * r, 100.0 * (c + 1) + r, xPlotStyle::SequenceColour(c, 3));
            EXPECT_EQ(NearestCurve(seen, 3), c) << r;
            EXPECT_EQ(NearestCurve(ColourAt(image, Rect(0), 10.0 * r, 100.0 * c + 150.0 + r), 3),
                      -1);
        }
    // The altitude strip below: 100 m, then 120 m.
    EXPECT_LE(ColourDistance(ColourAt(image, Rect(1), 500, 100), xPlotStyle::FlightColour()), 40);
    EXPECT_LE(ColourDistance(ColourAt(image, Rect(1), 1500, 120), xPlotStyle::FlightColour()), 40);
    EXPECT_EQ(ColourAt(image, Rect(1), 500, 120), QColor(Qt::white));
}

TEST_F(xProfileFigureTest, MarkersAreVerticalLinesAcrossBothRectangles) {
    Write(200, Ramps);
    Read();
    data_.markers = {{700.0, "A1"}, {1300.0, "A2"}};
    DrawProfiles(plot_, data_, xProfileLook{});
    const QImage image = Render(plot_, QSize(800, 600));
    for (int rect = 0; rect < 2; ++rect) {
        // Dashed: most of the column, but not all, is red; between the marks
        // only the altitude's flat line crosses it.
        EXPECT_GT(RedShare(image, Rect(rect), 700.0), 0.5) << rect;
        EXPECT_GT(RedShare(image, Rect(rect), 1300.0), 0.5) << rect;
        EXPECT_LT(RedShare(image, Rect(rect), 400.0), 0.1) << rect;
    }
}

TEST_F(xProfileFigureTest, LogScaleBreaksTheCurveAtValuesAtOrBelowZero) {
    // Channel 1 is negative from record 50 to 59, and zero at 60.
    Write(100, [](std::int32_t, long r, float* row, long tzrz) {
        row[tzrz] = r >= 50 && r < 60 ? -5.0f : r == 60 ? 0.0f : 10.0f;
    });
    xProfileRequest request;
    request.logScale = true;
    request.lastChannel = 1;
    Read(request);
    const xProfileCurve& curve = data_.curves.at(0);
    long breaks = 0;
    for (std::size_t i = 0; i < curve.y.size(); ++i) {
        EXPECT_TRUE(std::isnan(curve.y[i]) || curve.y[i] > 0.0) << i;
        breaks += std::isnan(curve.y[i]);
    }
    EXPECT_EQ(breaks, 1);  // one break for the whole run
    DrawProfiles(plot_, data_, xProfileLook{true, ""});
    EXPECT_EQ(Rect(0).axis(QCPAxis::atLeft)->scaleType(), QCPAxis::stLogarithmic);
}

TEST_F(xProfileFigureTest, ChannelsAndComponentsAreChosenByName) {
    Write(10, Ramps, 5);
    xProfileRequest request;
    request.component = "txrx";
    request.firstChannel = 2;
    request.lastChannel = 4;
    Read(request);
    EXPECT_EQ(data_.component, "TxRx");
    ASSERT_EQ(data_.curves.size(), 3u);
    EXPECT_EQ(data_.curves[0].name, "Ch 2");
    EXPECT_EQ(data_.curves[2].name, "Ch 4");
}

TEST_F(xProfileFigureTest, LongLinesKeepTheExtremesOfEveryColumn) {
    // A random walk of 100,000 records over 300 columns: each column keeps
    // at most four points, with the smallest and largest of its records.
    std::mt19937 random(17);
    std::normal_distribution<float> step(0.0f, 1.0f);
    std::vector<float> walk(100000);
    float level = 0.0f;
    for (float& v : walk) v = level += step(random);
    Write(long(walk.size()), [&walk](std::int32_t, long r, float* row, long tzrz) {
        row[tzrz] = walk[std::size_t(r)];
    });
    xProfileRequest request;
    request.columns = 300;
    request.lastChannel = 1;
    Read(request);
    const xProfileCurve& curve = data_.curves.at(0);
    EXPECT_LE(curve.x.size(), 4u * 300u);
    const xColumnGrid grid(data_.first, data_.last, 300);
    std::vector<double> low(300, HUGE_VAL), high(300, -HUGE_VAL);
    for (std::size_t r = 0; r < walk.size(); ++r) {
        const auto c = std::size_t(grid.ColumnOf(10.0 * double(r)));
        low[c] = std::min(low[c], double(walk[r]));
        high[c] = std::max(high[c], double(walk[r]));
    }
    std::vector<double> keptLow(300, HUGE_VAL), keptHigh(300, -HUGE_VAL);
    for (std::size_t i = 0; i < curve.x.size(); ++i) {
        const auto c = std::size_t(grid.ColumnOf(curve.x[i]));
        keptLow[c] = std::min(keptLow[c], curve.y[i]);
        keptHigh[c] = std::max(keptHigh[c], curve.y[i]);
    }
    EXPECT_EQ(keptLow, low);
    EXPECT_EQ(keptHigh, high);
    EXPECT_EQ(curve.x.front(), 0.0);
    EXPECT_EQ(curve.x.back(), 10.0 * double(walk.size() - 1));
}

TEST_F(xProfileFigureTest, BadRequestsAreRefusedInWords) {
    Write(
        5, [](std::int32_t, long, float* row, long tzrz) { row[tzrz] = BlankValue; }, 2);
    std::string error;
    xProfileRequest request;
    request.line = 8;
    EXPECT_FALSE(Read(request, error));
    EXPECT_EQ(error, "Line 8 is not in P.BIN; its lines are 7.");
    request.line = 7;
    request.component = "TyRy";
    EXPECT_FALSE(Read(request, error));
    EXPECT_EQ(error, "P.BIN has no component TyRy; its components are TxRx, TzRz.");
    request.component = "";
    request.lastChannel = 3;
    EXPECT_FALSE(Read(request, error));
    EXPECT_EQ(error, "The channels are 1 to 2, not 1 to 3.");
    request.lastChannel = 1;
    EXPECT_FALSE(Read(request, error));
    EXPECT_EQ(error, "Line 7 of P.BIN has no valid value in TzRz to draw.");
}

TEST_F(xProfileFigureTest, SmallFigureMatchesItsReference) {
    Write(
        200,
        [](std::int32_t, long r, float* row, long tzrz) {
            for (long c = 0; c < 12; ++c)
                row[tzrz + c] = 1000.0f / float(c + 1) * (1.0f + 0.5f * std::sin(float(r) / 20.0f));
            row[4] = 100.0f + 10.0f * std::cos(float(r) / 30.0f);
        },
        12);
    Read();
    data_.markers = {{1200.0, "A1"}};
    DrawProfiles(plot_, data_, xProfileLook{true, "Line 7"});
    EXPECT_TRUE(plottest::MatchesReference(Render(plot_, QSize(480, 320)), "profiles"));
}
