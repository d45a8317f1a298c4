#include "xMapFigure.h"

#include <qcustomplot.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <vector>

#include "xColourRange.h"
#include "xMapData.h"
#include "xPlotStyle.h"

namespace {

using ColourOf = std::function<QColor(double value)>;

// One flight line drawn as short segments, each in the colour of the value at
// its start; points are mapped through the plottable's axes.
class xTrackPlottable : public QCPAbstractPlottable {
  public:
    xTrackPlottable(QCPAxis* key, QCPAxis* value, const xMapTrack& track, ColourOf colour,
                    double width)
        : QCPAbstractPlottable(key, value),
          track_(track),
          colour_(std::move(colour)),
          width_(width) {}

    double selectTest(const QPointF&, bool, QVariant*) const override { return -1.0; }
    QCPRange getKeyRange(bool& found, QCP::SignDomain) const override {
        return Range(track_.x, found);
    }
    QCPRange getValueRange(bool& found, QCP::SignDomain, const QCPRange&) const override {
        return Range(track_.y, found);
    }

  protected:
    void draw(QCPPainter* painter) override {
        applyDefaultAntialiasingHint(painter);
        QPen pen = xPlotStyle::CurvePen(Qt::black, width_);
        pen.setCapStyle(Qt::FlatCap);
        QPointF from = coordsToPixels(track_.x.front(), track_.y.front());
        for (std::size_t i = 1; i < track_.x.size(); ++i) {
            const QPointF to = coordsToPixels(track_.x[i], track_.y[i]);
            pen.setColor(colour_(track_.value.empty() ? 0.0 : track_.value[i - 1]));
            painter->setPen(pen);
            painter->drawLine(from, to);
            from = to;
        }
    }
    void drawLegendIcon(QCPPainter*, const QRectF&) const override {}

  private:
    static QCPRange Range(const std::vector<double>& values, bool& found) {
        found = !values.empty();
        if (!found) return QCPRange();
        const auto [low, high] = std::minmax_element(values.begin(), values.end());
        return QCPRange(*low, *high);
    }

    xMapTrack track_;
    ColourOf colour_;
    double width_;
};

ColourOf TrackColours(const xMapData& data, bool coloured, double low, double high) {
    if (!coloured) return [](double) { return xPlotStyle::TrackColour(); };
    QCPColorGradient gradient = xPlotStyle::SectionGradient();
    const QCPRange range(low, high);
    const bool log = data.logValue;
    return [gradient, range, log](double value) mutable {
        if (std::isnan(value)) return xPlotStyle::MissingColour();
        return QColor::fromRgba(
            gradient.color(log ? std::max(value, range.lower) : value, range, log));
    };
}

// Beyond the end of a track, away from the points before it.
void AddLineNumber(QCustomPlot& plot, QCPAxisRect& rect, const xMapTrack& track, bool atStart) {
    const std::size_t n = track.x.size();
    const std::size_t end = atStart ? 0 : n - 1;
    const std::size_t before =
        atStart ? std::min(n - 1, std::size_t(5)) : n - 1 - std::min(n - 1, std::size_t(5));
    const double dx = track.x[end] - track.x[before], dy = track.y[end] - track.y[before];
    Qt::Alignment align = Qt::AlignCenter;
    if (std::abs(dx) >= std::abs(dy))
        align = (dx >= 0 ? Qt::AlignLeft : Qt::AlignRight) | Qt::AlignVCenter;
    else
        align = (dy >= 0 ? Qt::AlignBottom : Qt::AlignTop) | Qt::AlignHCenter;
    auto* text = new QCPItemText(&plot);
    text->setClipAxisRect(&rect);
    text->position->setAxes(rect.axis(QCPAxis::atBottom), rect.axis(QCPAxis::atLeft));
    text->position->setCoords(track.x[end], track.y[end]);
    text->setPositionAlignment(align);
    text->setPadding(QMargins(4, 2, 4, 2));
    text->setText(QString::number(track.line));
    text->setFont(xPlotStyle::TickFont());
    text->setColor(xPlotStyle::TrackColour());
}

void AddMarkers(QCustomPlot& plot, QCPAxisRect& rect, const xMapData& data) {
    if (data.markers.empty()) return;
    auto* points = new QCPCurve(rect.axis(QCPAxis::atBottom), rect.axis(QCPAxis::atLeft));
    points->setLineStyle(QCPCurve::lsNone);
    points->setScatterStyle(QCPScatterStyle(QCPScatterStyle::ssDiamond, xPlotStyle::MarkerColour(),
                                            xPlotStyle::MarkerColour(), 9));
    for (const xMapMarker& marker : data.markers) {
        points->addData(marker.x, marker.y);
        auto* text = new QCPItemText(&plot);
        text->setClipAxisRect(&rect);
        text->position->setAxes(rect.axis(QCPAxis::atBottom), rect.axis(QCPAxis::atLeft));
        text->position->setCoords(marker.x, marker.y);
        text->setPositionAlignment(Qt::AlignLeft | Qt::AlignBottom);
        text->setPadding(QMargins(6, 0, 0, 4));
        text->setText(QString::fromStdString(marker.label));
        text->setFont(xPlotStyle::TickFont());
        text->setColor(xPlotStyle::MarkerColour());
    }
}

struct Extent {
    double xLow, xHigh, yLow, yHigh;
    double border;  // pixels around the tracks, for the line numbers at their ends
};

double LabelRoom(const xMapData& data) {
    const QFontMetrics metrics(xPlotStyle::TickFont());
    int widest = 0;
    for (const xMapTrack& track : data.tracks)
        widest = std::max(widest, metrics.horizontalAdvance(QString::number(track.line)));
    return widest + 12.0;
}

// One metre is as long across as up: the ranges hold the tracks and the
// border, centred, at the scale of the tighter side of the laid out rectangle.
void FitEqualScale(QCPAxisRect& rect, const Extent& e) {
    const double width = rect.width() - 2 * e.border, height = rect.height() - 2 * e.border;
    if (width <= 0 || height <= 0) return;
    const double perPixel =
        std::max({(e.xHigh - e.xLow) / width, (e.yHigh - e.yLow) / height, 1e-6});
    const double cx = 0.5 * (e.xLow + e.xHigh), cy = 0.5 * (e.yLow + e.yHigh);
    const double halfX = 0.5 * perPixel * rect.width(), halfY = 0.5 * perPixel * rect.height();
    rect.axis(QCPAxis::atBottom)->setRange(cx - halfX, cx + halfX);
    rect.axis(QCPAxis::atLeft)->setRange(cy - halfY, cy + halfY);
    rect.update(QCPLayoutElement::upPreparation);  // the ticks of the new ranges
}

void StyleMapAxes(QCPAxisRect& rect) {
    for (auto [type, name] :
         {std::pair{QCPAxis::atBottom, "Easting"}, {QCPAxis::atLeft, "Northing"}}) {
        QCPAxis& axis = *rect.axis(type);
        xPlotStyle::Label(axis, name, "m");
        axis.setNumberFormat("f");
        axis.setNumberPrecision(0);
    }
}

}  // namespace

bool MapColourRange(const xMapData& data, const xMapLook& look, double& low, double& high) {
    std::vector<double> values;
    for (const xMapTrack& track : data.tracks)
        for (double v : track.value)
            if (!std::isnan(v)) values.push_back(v);
    const auto range = RobustColourRange(values, data.logValue, look.low, look.high);
    if (!range) return false;
    low = range->low;
    high = range->high;
    return true;
}

void DrawMap(QCustomPlot& plot, const xMapData& data, const xMapLook& look) {
    QCPLayoutGrid* body = xPlotStyle::StartPage(plot, look.title);
    QCPAxisRect* rect = xPlotStyle::AddAxisRect(plot, *body, 0, 0);
    StyleMapAxes(*rect);
    double low = 1, high = 10;
    const bool coloured = data.Coloured() && MapColourRange(data, look, low, high);
    if (coloured) {
        QCPColorScale* bar =
            xPlotStyle::AddColourBar(plot, *body, 0, 1, QString::fromStdString(data.quantity),
                                     QString::fromStdString(data.unit));
        bar->setDataScaleType(data.logValue ? QCPAxis::stLogarithmic : QCPAxis::stLinear);
        if (data.logValue) xPlotStyle::LogAxis(*bar->axis());
        bar->setDataRange(QCPRange(low, high));
        auto* margins = new QCPMarginGroup(&plot);
        rect->setMarginGroup(QCP::msTop | QCP::msBottom, margins);
        bar->setMarginGroup(QCP::msTop | QCP::msBottom, margins);
    }
    const ColourOf colour = TrackColours(data, coloured, low, high);
    for (const xMapTrack& track : data.tracks) {
        new xTrackPlottable(rect->axis(QCPAxis::atBottom), rect->axis(QCPAxis::atLeft), track,
                            colour, coloured ? 4.5 : 1.5);
        AddLineNumber(plot, *rect, track, true);
        if (track.x.size() > 1) AddLineNumber(plot, *rect, track, false);
    }
    AddMarkers(plot, *rect, data);
    // The scale holds only once the rectangle has its size, so it is set at
    // every layout; the ticks of the new ranges take their room in a second
    // layout, which the scale then follows.
    const Extent extent{data.xLow, data.xHigh, data.yLow, data.yHigh, LabelRoom(data)};
    QObject::connect(&plot, &QCustomPlot::afterLayout, rect, [rect, extent] {
        FitEqualScale(*rect, extent);
        QCPLayout& page = *rect->parentPlot()->plotLayout();
        for (auto phase : {QCPLayoutElement::upPreparation, QCPLayoutElement::upMargins,
                           QCPLayoutElement::upLayout})
            page.update(phase);
        FitEqualScale(*rect, extent);
    });
}
