#include "xSectionFigure.h"

#include <qcustomplot.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "xColourRange.h"
#include "xPlotStyle.h"
#include "xSectionGrid.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Boundaries of the depth cells: each value holds from halfway to the depth
// above to halfway to the one below; the first from the surface, the last
// as far below as the step above it.
std::vector<double> DepthEdges(const std::vector<float>& depths) {
    std::vector<double> edges(depths.size() + 1);
    edges[0] = std::min(0.0, double(depths.front()));
    for (std::size_t d = 1; d < depths.size(); ++d) edges[d] = 0.5 * (depths[d - 1] + depths[d]);
    const double step = depths.size() > 1 ? depths.back() - depths[depths.size() - 2] : 1.0;
    edges.back() = depths.back() + 0.5 * step;
    return edges;
}

long DepthCell(const std::vector<double>& edges, double depth) {
    if (!(depth >= edges.front()) || depth >= edges.back()) return -1;
    return long(std::upper_bound(edges.begin(), edges.end(), depth) - edges.begin()) - 1;
}

struct VerticalExtent {
    double low = 0, high = 0;  // of the image: depth 0..bottom, or elevations
    double axisLow = 0, axisHigh = 0;
};

double Finite(const std::vector<float>& values, bool largest) {
    double best = largest ? -HUGE_VAL : HUGE_VAL;
    for (float v : values)
        if (!std::isnan(v)) best = largest ? std::max(best, double(v)) : std::min(best, double(v));
    return best;
}

VerticalExtent Extent(const xSectionGrid& grid, const std::vector<double>& edges, bool elevation) {
    VerticalExtent e;
    if (!elevation) {
        e.low = e.axisLow = 0.0;
        e.high = e.axisHigh = edges.back();
        return e;
    }
    e.high = Finite(grid.surface, true);
    e.low = Finite(grid.surface, false) - edges.back();
    const double sensor = std::max(e.high, Finite(grid.sensor, true));
    e.axisLow = e.low;
    e.axisHigh = sensor + 0.05 * (sensor - e.low);
    return e;
}

double ColourValue(float value, double low, bool logScale) {
    if (std::isnan(value)) return kNaN;
    return logScale && value < low ? low : double(value);
}

void FillImage(QCPColorMap& map, const xSectionGrid& grid, std::size_t section,
               const std::vector<double>& edges, const VerticalExtent& extent,
               const xSectionLook& look, double low) {
    const long columns = grid.Columns(), rows = std::max(2L, look.rows);
    const bool ascending = grid.x.front() <= grid.x.back();
    map.data()->setSize(int(columns), int(rows));
    map.data()->setRange(
        QCPRange(std::min(grid.x.front(), grid.x.back()), std::max(grid.x.front(), grid.x.back())),
        QCPRange(extent.low, extent.high));
    for (long c = 0; c < columns; ++c) {
        const long cell = ascending ? c : columns - 1 - c;
        for (long r = 0; r < rows; ++r) {
            double y;
            map.data()->cellToCoord(int(cell), int(r), nullptr, &y);
            const double depth = look.elevation ? grid.surface[std::size_t(c)] - y : y;
            const long d = DepthCell(edges, depth);
            map.data()->setCell(
                int(cell), int(r),
                d < 0 ? kNaN : ColourValue(grid.Value(section, c, d), low, look.logScale));
        }
    }
}

QCPGraph* AddLine(QCPAxisRect& rect, const std::vector<double>& x, const std::vector<double>& y,
                  const QPen& pen, const QString& name) {
    auto* graph =
        rect.parentPlot()->addGraph(rect.axis(QCPAxis::atBottom), rect.axis(QCPAxis::atLeft));
    graph->setData(QVector<double>(x.begin(), x.end()), QVector<double>(y.begin(), y.end()), true);
    graph->setPen(pen);
    graph->setName(name);
    graph->setAdaptiveSampling(false);
    return graph;
}

// The penetration, and with elevations the ground and the sensor. The
// penetration is dashed dark on a pale line, to read on every colour.
void AddMarks(QCPAxisRect& rect, const xSectionGrid& grid, bool elevation) {
    const auto n = grid.x.size();
    std::vector<double> penetration(n), surface(n), sensor(n);
    for (std::size_t c = 0; c < n; ++c) {
        penetration[c] = elevation ? grid.surface[c] - grid.penetration[c] : grid.penetration[c];
        surface[c] = grid.surface[c];
        sensor[c] = grid.sensor[c];
    }
    AddLine(rect, grid.x, penetration, QPen(QColor(255, 255, 255, 200), 3.0), "");
    AddLine(rect, grid.x, penetration, QPen(xPlotStyle::PenetrationColour(), 1.2, Qt::DashLine),
            "Est. penetration");
    if (elevation) {
        AddLine(rect, grid.x, surface, xPlotStyle::CurvePen(xPlotStyle::GroundColour(), 2.0),
                "Ground");
        AddLine(rect, grid.x, sensor, xPlotStyle::CurvePen(xPlotStyle::FlightColour(), 1.5),
                "Sensor");
    }
}

// The legend of the marks, in the top section's lower right corner.
void AddLegend(QCustomPlot& plot, QCPAxisRect& rect) {
    QCPLegend* legend = xPlotStyle::AddLegend(rect, Qt::AlignRight | Qt::AlignBottom);
    for (int i = 0; i < plot.graphCount(); ++i)
        if (!plot.graph(i)->name().isEmpty() && plot.graph(i)->valueAxis()->axisRect() == &rect)
            plot.graph(i)->addToLegend(legend);
}

void LabelAxes(QCPAxisRect& rect, const xSectionGrid& grid, bool elevation, bool lowest) {
    QCPAxis& x = *rect.axis(QCPAxis::atBottom);
    QCPAxis& y = *rect.axis(QCPAxis::atLeft);
    x.setTickLabels(lowest);
    if (lowest) xPlotStyle::Label(x, grid.byFid ? "FID" : "Distance", grid.byFid ? "" : "m");
    xPlotStyle::Label(y, elevation ? "Elevation" : "Depth", "m");
    y.setRangeReversed(!elevation);
}

void StyleColourBar(QCPColorScale& bar, bool logScale, double low, double high) {
    bar.setDataScaleType(logScale ? QCPAxis::stLogarithmic : QCPAxis::stLinear);
    if (logScale) xPlotStyle::LogAxis(*bar.axis());
    bar.setDataRange(QCPRange(low, high));
}

}  // namespace

bool SectionColourRange(const xSectionGrid& grid, const xSectionLook& look, double& low,
                        double& high) {
    // What lies below the estimated penetration is not seen by the system; it
    // would stretch the scale to values that mean nothing.
    std::vector<double> values;
    for (std::size_t s = 0; s < grid.values.size(); ++s)
        for (long c = 0; c < grid.Columns(); ++c)
            for (long d = 0; d < grid.Depths(); ++d) {
                const float v = grid.Value(s, c, d);
                if (!std::isnan(v) &&
                    !(grid.depths[std::size_t(d)] > grid.penetration[std::size_t(c)]))
                    values.push_back(v);
            }
    const auto range = RobustColourRange(values, look.logScale, look.low, look.high);
    if (!range) return false;
    low = range->low;
    high = range->high;
    return true;
}

void DrawSection(QCustomPlot& plot, const xSectionGrid& grid, const xSectionLook& look) {
    QCPLayoutGrid* body = xPlotStyle::StartPage(plot, look.title);
    auto* stack = new QCPLayoutGrid;
    body->addElement(0, 0, stack);
    stack->setRowSpacing(10);
    double low = 1, high = 10;
    SectionColourRange(grid, look, low, high);
    QCPColorScale* bar = xPlotStyle::AddColourBar(plot, *body, 0, 1, "Conductivity", "mS/m");
    StyleColourBar(*bar, look.logScale, low, high);
    auto* margins = new QCPMarginGroup(&plot);
    const std::vector<double> edges = DepthEdges(grid.depths);
    const VerticalExtent extent = Extent(grid, edges, look.elevation);
    const double halfColumn = grid.Columns() > 1 ? 0.5 * std::abs(grid.x[1] - grid.x[0]) : 0.5;
    for (std::size_t s = 0; s < grid.sections.size(); ++s) {
        QCPAxisRect* rect = xPlotStyle::AddAxisRect(plot, *stack, int(s), 0);
        rect->setMarginGroup(QCP::msLeft | QCP::msRight, margins);
        auto* map = new QCPColorMap(rect->axis(QCPAxis::atBottom), rect->axis(QCPAxis::atLeft));
        map->setInterpolate(false);
        map->setColorScale(bar);
        FillImage(*map, grid, s, edges, extent, look, low);
        map->setDataRange(QCPRange(low, high));
        AddMarks(*rect, grid, look.elevation);
        xPlotStyle::PanelName(*rect, SectionName(grid.sections[s]));
        if (s == 0) AddLegend(plot, *rect);
        LabelAxes(*rect, grid, look.elevation, s + 1 == grid.sections.size());
        rect->axis(QCPAxis::atBottom)
            ->setRange(std::min(grid.x.front(), grid.x.back()) - halfColumn,
                       std::max(grid.x.front(), grid.x.back()) + halfColumn);
        rect->axis(QCPAxis::atLeft)->setRange(extent.axisLow, extent.axisHigh);
    }
    bar->setMarginGroup(QCP::msTop | QCP::msBottom, margins);
}
