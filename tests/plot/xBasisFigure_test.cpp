#include "xBasisFigure.h"

#include <gtest/gtest.h>
#include <qcustomplot.h>

#include <cmath>

#include "PlotTestSupport.h"
#include "xAofTau.h"
#include "xPlotStyle.h"

using plottest::ColourAt;
using plottest::ColourDistance;
using plottest::Render;

namespace {

// Windows 1..2, 3..4, 5..6 and 7..8 ms with gaps between them; three taus
// whose responses fall as exp(-t / tau) at the window centres.
void MakeGappedBasis(xAofTau& basis) {
    FloatMatrix windows(0, 1, 1, 4), amplitudes(1, 3, 1, 4);
    FloatArray taus(1, 3);
    for (long t = 1; t <= 3; ++t) taus[t] = 0.001f * float(t * t);
    for (long c = 1; c <= 4; ++c) {
        windows[0][c] = 0.001f * float(2 * c - 1);
        windows[1][c] = 0.001f * float(2 * c);
        for (long t = 1; t <= 3; ++t)
            amplitudes[t][c] = std::exp(-(2.0f * float(c) - 0.5f) / (1000.0f * taus[t]));
    }
    basis.SetTaus(taus);
    basis.SetWindows(109, windows);
    basis.SetAmplitudes(109, amplitudes);
    basis.SetPrimary(109, FloatArray(1, 4));
}

}  // namespace

TEST(xBasisFigure, CurvesPassTheirResponsesAndTheWindowsAreShaded) {
    xAofTau basis;
    MakeGappedBasis(basis);
    QCustomPlot plot;
    DrawBasis(plot, basis, 109, "Basis");
    const QImage image = Render(plot, QSize(800, 500));
    QCPAxisRect& rect = *plot.axisRects().at(0);
    for (long t = 1; t <= 3; ++t) {
        const double at = std::exp(-5.5 / (1000.0 * basis.Taus()[t]));  // third window
        EXPECT_LE(ColourDistance(ColourAt(image, rect, 5.5, at),
                                 xPlotStyle::SequenceColour(int(t - 1), 3)),
                  40)
            << t;
    }
    // Low in the plot, clear of the curves: shade inside a window, the page
    // in the gap after it.
    const QColor inside = ColourAt(image, rect, 1.5, 4e-4);
    EXPECT_LT(inside.red(), 250);
    EXPECT_GT(inside.red(), 200);
    EXPECT_EQ(ColourAt(image, rect, 2.5, 4e-4), QColor(Qt::white));
}

TEST(xBasisFigure, AMissingComponentIsNamedWithTheOnesThereAre) {
    xAofTau basis;
    MakeGappedBasis(basis);
    EXPECT_EQ(BasisFigureProblem(basis, 109), "");
    EXPECT_EQ(BasisFigureProblem(basis, 107), "The basis has no component TzRx; it has TzRz.");
}

TEST(xBasisFigure, ReferencePicture) {
    xAofTau basis;
    MakeGappedBasis(basis);
    QCustomPlot plot;
    DrawBasis(plot, basis, 109, "Basis functions");
    EXPECT_TRUE(plottest::MatchesReference(Render(plot, QSize(480, 320)), "basis"));
}
