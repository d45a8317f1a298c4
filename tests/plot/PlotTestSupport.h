#pragma once
// What figure tests share: Qt made ready offscreen before any test runs, a
// figure drawn at a known size so that the axes' pixel mapping is the one of
// the picture, colour distances, and the comparison with stored reference
// pictures (TOVARN_UPDATE_FIGURES=1 writes them anew, to be reviewed).

#include <QColor>
#include <QImage>
#include <QSize>

#include <string>

class QCustomPlot;
class QCPAxisRect;

namespace plottest {

// The plot laid out at size, and its picture with the same layout.
QImage Render(QCustomPlot& plot, QSize size);
// Largest difference of the red, green and blue parts.
int ColourDistance(QColor a, QColor b);
// The colour of the picture at the data point (x, y) of the rectangle's bottom
// and left axes.
QColor ColourAt(const QImage& image, QCPAxisRect& rect, double x, double y);
// Of the pixels within one of the data point's, the one nearest in colour to
// wanted: an antialiased line of a pixel or two may fall between pixels.
QColor ClosestColourNear(const QImage& image, QCPAxisRect& rect, double x, double y, QColor wanted);
// The picture against tests/plot/reference/<name>.png: same size, and at most
// a fraction `share` of pixels farther than `distance` from the reference.
// The failure text says how many differ and where the new picture was put.
::testing::AssertionResult MatchesReference(const QImage& image, const std::string& name,
                                            double share = 0.003, int distance = 40);

}  // namespace plottest
