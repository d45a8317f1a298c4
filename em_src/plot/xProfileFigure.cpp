#include "xProfileFigure.h"

#include <qcustomplot.h>

#include <algorithm>
#include <cmath>

#include "xPlotStyle.h"
#include "xProfileData.h"

namespace {

QCPGraph* AddCurve(QCPAxisRect& rect, const xProfileCurve& curve, const QPen& pen) {
    auto* graph =
        rect.parentPlot()->addGraph(rect.axis(QCPAxis::atBottom), rect.axis(QCPAxis::atLeft));
    graph->setData(QVector<double>(curve.x.begin(), curve.x.end()),
                   QVector<double>(curve.y.begin(), curve.y.end()));
    graph->setPen(pen);
    graph->setName(QString::fromStdString(curve.name));
    graph->setAdaptiveSampling(false);  // thinned to the columns already
    graph->removeFromLegend();          // only the channels have a legend
    return graph;
}

// The legend beside the profiles, at the top of its column, wrapped into
// columns of at most kLegendRows curves.
QCPLegend* AddLegend(QCustomPlot& plot, QCPLayoutGrid& body, int curves) {
    auto* column = new QCPLayoutGrid;
    body.addElement(0, 1, column);
    column->setMargins(QMargins(0, 0, 8, 0));
    auto* legend = new QCPLegend;
    column->addElement(0, 0, legend);
    column->addElement(1, 0, new QCPLayoutElement(&plot));  // takes the height left below
    column->setRowStretchFactors({0.001, 1.0});
    legend->setLayer(QStringLiteral("legend"));
    xPlotStyle::StyleLegend(*legend);
    const int columns = (curves + kLegendRows - 1) / kLegendRows;
    legend->setFillOrder(QCPLayoutGrid::foRowsFirst);
    legend->setWrap((curves + columns - 1) / std::max(1, columns));
    return legend;
}

void AddMarker(QCPAxisRect& rect, double position, const QString& label) {
    QCustomPlot& plot = *rect.parentPlot();
    auto* line = new QCPItemLine(&plot);
    line->setClipAxisRect(&rect);
    line->setPen(QPen(xPlotStyle::MarkerColour(), 1.2, Qt::DashLine));
    for (QCPItemPosition* end : {line->start, line->end}) {
        end->setAxisRect(&rect);
        end->setAxes(rect.axis(QCPAxis::atBottom), rect.axis(QCPAxis::atLeft));
        end->setTypeX(QCPItemPosition::ptPlotCoords);
        end->setTypeY(QCPItemPosition::ptAxisRectRatio);
    }
    line->start->setCoords(position, 0.0);
    line->end->setCoords(position, 1.0);
    if (label.isEmpty()) return;
    auto* text = new QCPItemText(&plot);
    text->setClipAxisRect(&rect);
    text->position->setParentAnchor(line->start);
    text->position->setCoords(3, 2);
    text->setPositionAlignment(Qt::AlignLeft | Qt::AlignTop);
    text->setText(label);
    text->setFont(xPlotStyle::TickFont());
    text->setColor(xPlotStyle::MarkerColour());
    text->setBrush(QColor(255, 255, 255, 200));
}

void LabelAlong(QCPAxis& axis, bool byFid) {
    xPlotStyle::Label(axis, byFid ? "FID" : "Distance", byFid ? "" : "m");
}

QString ResponseName(const xProfileData& data) {
    return QString::fromStdString(data.component) +
           (data.amplitudes ? " tau amplitude" : " response");
}

}  // namespace

void DrawProfiles(QCustomPlot& plot, const xProfileData& data, const xProfileLook& look) {
    QCPLayoutGrid* body = xPlotStyle::StartPage(plot, look.title);
    QCPAxisRect* profiles = xPlotStyle::AddAxisRect(plot, *body, 0, 0);
    QCPAxisRect* strip = xPlotStyle::AddAxisRect(plot, *body, 1, 0);
    body->setRowStretchFactors({3.0, 1.0});
    auto* margins = new QCPMarginGroup(&plot);
    profiles->setMarginGroup(QCP::msLeft | QCP::msRight, margins);
    strip->setMarginGroup(QCP::msLeft | QCP::msRight, margins);

    QCPLegend* legend = AddLegend(plot, *body, int(data.curves.size()));
    body->setColumnStretchFactors({1.0, 0.001});
    const int count = int(data.curves.size());
    for (int c = 0; c < count; ++c) {
        const QColor colour = xPlotStyle::SequenceColour(c, count);
        // A noisy curve thinned to its columns' extremes zigzags over the
        // height of every column: a pen of one pixel draws it in a tenth of a
        // second, a wider one in seconds.
        AddCurve(*profiles, data.curves[std::size_t(c)], xPlotStyle::CurvePen(colour, 1.0))
            ->addToLegend(legend);
    }
    // The legend keeps its own height at the top of its column.
    legend->setMaximumSize(legend->minimumOuterSizeHint() + QSize(0, 4));
    AddCurve(*strip, data.altitude, xPlotStyle::CurvePen(xPlotStyle::FlightColour()));
    for (const xProfileMarker& marker : data.markers) {
        AddMarker(*profiles, marker.position, QString::fromStdString(marker.label));
        AddMarker(*strip, marker.position, QString());
    }

    QCPAxis& along = *profiles->axis(QCPAxis::atBottom);
    QCPAxis& stripAlong = *strip->axis(QCPAxis::atBottom);
    QObject::connect(&along, qOverload<const QCPRange&>(&QCPAxis::rangeChanged), &stripAlong,
                     qOverload<const QCPRange&>(&QCPAxis::setRange));
    along.setTickLabels(false);
    LabelAlong(stripAlong, data.byFid);
    along.setRange(std::min(data.first, data.last), std::max(data.first, data.last));

    QCPAxis& response = *profiles->axis(QCPAxis::atLeft);
    if (look.logScale) xPlotStyle::LogAxis(response);
    xPlotStyle::Label(response, ResponseName(data));
    response.rescale();
    response.scaleRange(1.05);
    QCPAxis& height = *strip->axis(QCPAxis::atLeft);
    xPlotStyle::Label(height, "Altitude", "m");
    height.ticker()->setTickCount(3);  // the strip is low: few ticks read
    height.rescale();
    height.scaleRange(1.15);
}
