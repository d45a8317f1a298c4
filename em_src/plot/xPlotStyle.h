#pragma once
// The house style of every figure: fonts, pens, axis labels with units, the
// colour map of conductivity and the palette of curves. Figures take their
// look from here and nowhere else, so that a change of style is one change.

#include <QColor>
#include <QFont>
#include <QPen>
#include <QString>

class QCustomPlot;
class QCPAxis;
class QCPAxisRect;
class QCPColorGradient;
class QCPColorScale;
class QCPLayoutGrid;
class QCPLegend;

class xPlotStyle {
  public:
    static constexpr int DefaultWidth = 1200;
    static constexpr int DefaultHeight = 800;

    static QFont TickFont();
    static QFont LabelFont();
    static QFont TitleFont();

    // A perceptually uniform map from dark blue-violet (low) to yellow (high),
    // with missing values transparent.
    static QCPColorGradient SectionGradient();
    // Colour i of count curves that follow an order (channels, taus): the
    // same uniform map, kept short of its palest end so that every curve
    // reads on white.
    static QColor SequenceColour(int index, int count);
    // Fixed colours of the marks drawn over data.
    static QColor GroundColour() { return QColor(90, 60, 30); }
    static QColor FlightColour() { return QColor(200, 30, 30); }
    static QColor PenetrationColour() { return QColor(20, 20, 20); }
    static QColor MarkerColour() { return QColor(220, 40, 40); }
    static QColor ShadeColour() { return QColor(0, 0, 0, 22); }
    // Every other shade of a row of shaded spans, so that neighbours part.
    static QColor AlternateShadeColour() { return QColor(0, 0, 0, 10); }
    // Measured values, the model's curve through them, and bars.
    static QColor DataColour() { return QColor(25, 25, 25); }
    static QColor FitColour() { return QColor(200, 30, 30); }
    static QColor BarColour() { return QColor(60, 110, 170); }
    // Flight lines on a map: plain, and where a coloured one has no value.
    static QColor TrackColour() { return QColor(40, 40, 40); }
    static QColor MissingColour() { return QColor(190, 190, 190); }
    static QPen CurvePen(const QColor& colour, double width = 1.4);

    // Clears the plot to a white page with a title row when title is not
    // empty, and answers the grid below it that the figure fills.
    static QCPLayoutGrid* StartPage(QCustomPlot& plot, const QString& title);
    // An axis rectangle in the body at row, column, styled.
    static QCPAxisRect* AddAxisRect(QCustomPlot& plot, QCPLayoutGrid& body, int row, int column);
    // Ticks, grid and pens of an axis rectangle's four axes.
    static void StyleAxisRect(QCPAxisRect& rect);
    static void StyleLegend(QCPLegend& legend);
    // A new legend inside the rectangle at the corner alignment says, styled.
    static QCPLegend* AddLegend(QCPAxisRect& rect, Qt::Alignment corner);
    // A name in a corner of the rectangle (top left unless told), on a pale ground.
    static void PanelName(QCPAxisRect& rect, const QString& name,
                          Qt::Alignment corner = Qt::AlignLeft | Qt::AlignTop);
    // "Quantity (unit)", or the quantity alone with no unit.
    static void Label(QCPAxis& axis, const QString& quantity, const QString& unit = QString());
    // The scale logarithmic, labelled at 1, 10, 100..., or at round numbers
    // when the range spans less than a decade and a bit.
    static void LogAxis(QCPAxis& axis);
    // A vertical colour bar in the body at row, column, styled and labelled.
    static QCPColorScale* AddColourBar(QCustomPlot& plot, QCPLayoutGrid& body, int row, int column,
                                       const QString& quantity, const QString& unit);
};
