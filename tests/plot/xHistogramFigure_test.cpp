#include "xHistogramFigure.h"

#include <gtest/gtest.h>
#include <qcustomplot.h>

#include <cmath>

#include "PlotFixtures.h"
#include "PlotTestSupport.h"
#include "TempFolder.h"
#include "xMCond.h"
#include "xPlotStyle.h"

using plottest::ColourAt;
using plottest::Render;

namespace {

class xHistogramFigureTest : public xTempFolderTest {
  protected:
    // Edges 1, 2, 4 .. 2^39 mS/m; count k holds edges k-1 .. k.
    bool Read(const std::function<float(long bin)>& count, std::string& error) {
        FloatMatrix matrix(1, 2, 1, xMCond::HistogramBins);
        for (long k = 1; k <= xMCond::HistogramBins; ++k) {
            matrix[1][k] = count(k - 1);
            matrix[2][k] = std::ldexp(1.0f, int(k - 1));
        }
        plottest::WriteCnd(
            dir_ / "P.CND", 7, 2, [](long, float) { return 1.0f; }, &matrix);
        xMCond cnd;
        cnd.SetPath(dir_ / "P.CND");
        EXPECT_EQ(cnd.Open(), 1);
        EXPECT_TRUE(cnd.ReadHeader());
        return ReadHistogram(cnd, histogram_, error);
    }

    xHistogram histogram_;
};

// Counts 100 in the bin of 8..16 mS/m, 50 in 16..32, 1 in 32..64.
float ThreeBins(long bin) {
    return bin == 4 ? 100.0f : bin == 5 ? 50.0f : bin == 6 ? 1.0f : 0.0f;
}

}  // namespace

// The range the CDI chooses: from the first bin holding 1 % of the peak to
// the last such, here 8 to 64 mS/m.
TEST_F(xHistogramFigureTest, BarsStandOverTheirBinsAndTheRangeIsMarked) {
    std::string error;
    ASSERT_TRUE(Read(ThreeBins, error)) << error;
    EXPECT_EQ(histogram_.low, 8.0);
    EXPECT_EQ(histogram_.high, 64.0);
    EXPECT_EQ(RangeCaption(histogram_), "Conductivity Range <8 64mS/m");
    QCustomPlot plot;
    DrawHistogram(plot, histogram_, "Conductivity Histogram");
    const QImage image = Render(plot, QSize(800, 500));
    QCPAxisRect& rect = *plot.axisRects().at(0);
    EXPECT_EQ(ColourAt(image, rect, 11.3, 95), xPlotStyle::BarColour());
    EXPECT_EQ(ColourAt(image, rect, 22.6, 45), xPlotStyle::BarColour());
    EXPECT_NE(ColourAt(image, rect, 22.6, 55), xPlotStyle::BarColour());
    // Inside the range but over no bar: shaded; outside it: the page.
    EXPECT_LT(ColourAt(image, rect, 45, 50).red(), 250);
    EXPECT_EQ(ColourAt(image, rect, 5.6, 50), QColor(Qt::white));
    EXPECT_EQ(ColourAt(image, rect, 1000, 50), QColor(Qt::white));
    EXPECT_EQ(rect.axis(QCPAxis::atBottom)->label(), "Conductivity(mS/m)");
}

TEST_F(xHistogramFigureTest, EmptyCountsHaveTheSystemsMessage) {
    std::string error;
    EXPECT_FALSE(Read([](long) { return 0.0f; }, error));
    EXPECT_EQ(error,
              "Conductivity histogram matrix is not available. Recalculate CDI and try again.");
}

TEST_F(xHistogramFigureTest, ReferencePicture) {
    std::string error;
    ASSERT_TRUE(
        Read([](long bin) { return bin > 2 && bin < 12 ? float(bin * (12 - bin)) : 0.0f; }, error));
    QCustomPlot plot;
    DrawHistogram(plot, histogram_, "Conductivity Histogram");
    EXPECT_TRUE(plottest::MatchesReference(Render(plot, QSize(480, 320)), "histogram"));
}
