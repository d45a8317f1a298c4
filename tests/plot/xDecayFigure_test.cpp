#include "xDecayFigure.h"

#include <gtest/gtest.h>
#include <qcustomplot.h>

#include <cmath>

#include "PlotFixtures.h"
#include "PlotTestSupport.h"
#include "TempFolder.h"
#include "xAofTau.h"
#include "xDecayData.h"
#include "xFitFactory.h"
#include "xMData.h"
#include "xMLineBlock.h"
#include "xPlotStyle.h"

using plottest::ColourAt;
using plottest::ColourDistance;
using plottest::Render;

namespace {

// Four windows of 1..2, 2..4, 4..8 and 8..16 ms; two taus, 1 and 10 ms.
void MakeFourWindowBasis(xAofTau& basis) {
    FloatMatrix windows(0, 1, 1, 4);
    for (long c = 1; c <= 4; ++c) {
        windows[0][c] = 0.001f * float(1 << (c - 1));
        windows[1][c] = 2.0f * windows[0][c];
    }
    basis.SetWindows(109, windows);
    basis.SetAmplitudes(109, FloatMatrix(1, 2, 1, 4));
    basis.SetPrimary(109, FloatArray(1, 4));
    FloatArray taus(1, 2);
    taus[1] = 0.001f;
    taus[2] = 0.01f;
    basis.SetTaus(taus);
}

// Data 1, -0.2, missing, 0.001 against a fit of 1, 0.1, 0.01, 0.001, with
// data scaled by 4 and amplitudes 3 and -1.
xComponentFit FourWindowFit() {
    xComponentFit fit;
    fit.component = 109;
    fit.data = FloatArray(1, 4);
    fit.fit = FloatArray(1, 4);
    const float data[] = {1.0f, -0.2f, BlankValue, 0.001f};
    for (long c = 1; c <= 4; ++c) {
        fit.data[c] = data[c - 1];
        fit.fit[c] = std::pow(10.0f, 1.0f - float(c));
    }
    fit.amplitudes = FloatArray(1, 2);
    fit.amplitudes[1] = 3.0f;
    fit.amplitudes[2] = -1.0f;
    fit.scale = 4.0f;
    fit.misfit = 0.02f;
    return fit;
}

class xDecayFigureTest : public xTempFolderTest {
  protected:
    void SetUp() override {
        xTempFolderTest::SetUp();
        decay_.line = 7;
        decay_.record = 3;
        MakeFourWindowBasis(basis_);
        std::string error;
        ASSERT_TRUE(DecayFromFits({FourWindowFit()}, basis_, decay_, error)) << error;
    }
    bool ReadNoise(std::string& error) {
        xMData ndf;
        ndf.SetPath(dir_ / "P.NDF");
        EXPECT_TRUE(ndf.Open() && ndf.ReadHeader());
        return ReadDecayNoise(ndf, decay_, error);
    }
    QCPAxisRect& Rect(int index) { return *plot_.axisRects().at(index); }

    xAofTau basis_;
    xDecayData decay_;
    QCustomPlot plot_;
};

}  // namespace

TEST_F(xDecayFigureTest, PanelsTakeTheWindowCentresAndTausInMilliseconds) {
    ASSERT_EQ(decay_.panels.size(), 1u);
    const xDecayPanel& panel = decay_.panels[0];
    ASSERT_EQ(panel.times.size(), 4u);
    for (std::size_t c = 0; c < 4; ++c) EXPECT_NEAR(panel.times[c], 1.5 * (1 << c), 1e-4);
    EXPECT_NEAR(decay_.taus[1], 10.0, 1e-4);
    EXPECT_TRUE(std::isnan(panel.data[2]));
    EXPECT_DOUBLE_EQ(panel.data[1], -0.2f);
    EXPECT_FALSE(decay_.frequencyDomain);

    basis_.SetWindows(109, FloatMatrix(0, 1, 1, 3));
    std::string error;
    EXPECT_FALSE(DecayFromFits({FourWindowFit()}, basis_, decay_, error));
    EXPECT_EQ(error, "The basis has no sampling windows for the 4 channels of component TzRz.");
}

// The error bar of a channel is the RMS of its residuals over the line,
// divided by what the record's data were divided by; blanks are left out.
TEST_F(xDecayFigureTest, NoiseIsTheScaledRmsOfTheLinesResiduals) {
    plottest::WriteTzRzSurvey(dir_ / "P.NDF", 7, 4, 3, [](long r, long c) {
        if (c == 3 && r == 2) return BlankValue;
        return (r % 2 == 0 ? 1.0f : -1.0f) * float(c + 1) * (r == 2 && c == 0 ? 7.0f : 1.0f);
    });
    std::string error;
    ASSERT_TRUE(ReadNoise(error)) << error;
    const std::vector<double>& noise = decay_.panels[0].noise;
    ASSERT_EQ(noise.size(), 4u);
    EXPECT_NEAR(noise[0], std::sqrt((1.0 + 1.0 + 49.0) / 3.0) / 4.0, 1e-6);
    EXPECT_NEAR(noise[1], 2.0 / 4.0, 1e-6);
    EXPECT_NEAR(noise[3], 4.0 / 4.0, 1e-6);

    decay_.line = 8;
    EXPECT_FALSE(ReadNoise(error));
    EXPECT_EQ(error, "Line 8 is not in the noise file P.NDF.");
    plottest::WriteTzRzSurvey(dir_ / "P.NDF", 8, 5, 3, [](long, long) { return 0.0f; });
    EXPECT_FALSE(ReadNoise(error));
    EXPECT_EQ(error, "The noise file P.NDF has not the 4 channels of component TzRz.");
}

TEST_F(xDecayFigureTest, DataFitAndSpectrumShowWhereTheirValuesAre) {
    DrawDecay(plot_, decay_, "Decay");
    const QImage image = Render(plot_, QSize(900, 500));
    ASSERT_EQ(plot_.axisRects().size(), 2);  // the decay, the spectrum beside it
    QCPAxisRect& curves = Rect(0);
    // A positive datum is a filled disc; a negative one a ring at its size,
    // white inside.
    EXPECT_LE(ColourDistance(ColourAt(image, curves, 1.5, 1.0), xPlotStyle::DataColour()), 40);
    EXPECT_EQ(ColourAt(image, curves, 3.0, 0.2), QColor(Qt::white));
    // The fit passes the missing window at its own value.
    EXPECT_LE(ColourDistance(ColourAt(image, curves, 6.0, 0.01), xPlotStyle::FitColour()), 60);
    // Bars of 3 up and 1 down from zero; nothing above the first.
    QCPAxisRect& spectrum = Rect(1);
    EXPECT_EQ(ColourAt(image, spectrum, 1.0, 1.5), xPlotStyle::BarColour());
    EXPECT_EQ(ColourAt(image, spectrum, 10.0, -0.5), xPlotStyle::BarColour());
    EXPECT_NE(ColourAt(image, spectrum, 1.0, 3.15), xPlotStyle::BarColour());
}

TEST_F(xDecayFigureTest, ErrorBarsReachTheNoiseAboveAndBelow) {
    decay_.panels[0].noise = {0.0, 0.0, 0.0, 0.0005};
    DrawDecay(plot_, decay_, "");
    const QImage image = Render(plot_, QSize(900, 500));
    // The last datum, 0.001, has a bar from 0.0005 to 0.0015: drawn at 0.0013,
    // not at 0.0017.
    EXPECT_LE(ColourDistance(ColourAt(image, Rect(0), 12.0, 0.0013), xPlotStyle::DataColour()), 60);
    EXPECT_EQ(ColourAt(image, Rect(0), 12.0, 0.0017), QColor(Qt::white));
}

TEST_F(xDecayFigureTest, ReferencePicture) {
    decay_.panels.push_back(decay_.panels[0]);
    decay_.panels[1].noise = {0.2, 0.02, 0.0, 0.0005};
    DrawDecay(plot_, decay_, DecayTitle(decay_));
    EXPECT_TRUE(plottest::MatchesReference(Render(plot_, QSize(480, 320)), "decay"));
}
