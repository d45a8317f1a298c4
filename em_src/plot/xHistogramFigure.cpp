#include "xHistogramFigure.h"

#include <qcustomplot.h>

#include <algorithm>

#include "xCdiPass.h"
#include "xMCond.h"
#include "xPlotStyle.h"

namespace {

// A rectangle from key0 to key1 across the rectangle's axes; a value of NaN
// puts that side at the top (low) or bottom (high) of the rectangle.
QCPItemRect* AddSpan(QCPAxisRect& rect, double key0, double key1, double value0, double value1) {
    auto* span = new QCPItemRect(rect.parentPlot());
    span->setClipAxisRect(&rect);
    for (QCPItemPosition* corner : {span->topLeft, span->bottomRight}) {
        corner->setAxes(rect.axis(QCPAxis::atBottom), rect.axis(QCPAxis::atLeft));
        corner->setAxisRect(&rect);
    }
    span->topLeft->setCoords(key0, value1);
    span->bottomRight->setCoords(key1, value0);
    return span;
}

void AddBars(QCPAxisRect& rect, const xHistogram& histogram) {
    const QColor fill = xPlotStyle::BarColour();
    for (std::size_t k = 1; k < histogram.counts.size(); ++k) {
        if (histogram.counts[k] <= 0.0 || histogram.edges[k - 1] <= 0.0) continue;
        QCPItemRect* bar =
            AddSpan(rect, histogram.edges[k - 1], histogram.edges[k], 0.0, histogram.counts[k]);
        bar->setPen(QPen(fill.darker(140), 1));
        bar->setBrush(fill);
    }
}

void AddLimit(QCPAxisRect& rect, double key) {
    auto* line = new QCPItemStraightLine(rect.parentPlot());
    line->setClipAxisRect(&rect);
    for (QCPItemPosition* point : {line->point1, line->point2}) {
        point->setAxes(rect.axis(QCPAxis::atBottom), rect.axis(QCPAxis::atLeft));
        point->setAxisRect(&rect);
    }
    line->point1->setCoords(key, 0.0);
    line->point2->setCoords(key, 1.0);
    line->setPen(QPen(xPlotStyle::MarkerColour(), 1.5, Qt::DashLine));
}

// The chosen range: shaded behind the bars, its ends as lines, the caption.
void MarkRange(QCPAxisRect& rect, const xHistogram& histogram, double top) {
    QCPItemRect* shade = AddSpan(rect, histogram.low, histogram.high, 0.0, top);
    shade->setPen(Qt::NoPen);
    shade->setBrush(xPlotStyle::ShadeColour());
    AddLimit(rect, histogram.low);
    AddLimit(rect, histogram.high);
    xPlotStyle::PanelName(rect, RangeCaption(histogram));
}

}  // namespace

bool ReadHistogram(const xMCond& cnd, xHistogram& histogram, std::string& error) {
    const FloatMatrix& matrix = cnd.Histogram();
    histogram = xHistogram{};
    if (matrix.Rows() >= 2)
        for (long k = matrix.ColLow(); k < matrix.ColLow() + matrix.Cols(); ++k) {
            histogram.counts.push_back(matrix[matrix.RowLow()][k]);
            histogram.edges.push_back(matrix[matrix.RowLow() + 1][k]);
        }
    if (std::none_of(histogram.counts.begin(), histogram.counts.end(),
                     [](double count) { return count > 0.0; })) {
        error = "Conductivity histogram matrix is not available. Recalculate CDI and try again.";
        return false;
    }
    float low = 0.0f, high = 0.0f;
    xCdiPass::RangeFromHistogram(matrix, low, high);
    histogram.low = low;
    histogram.high = high;
    return true;
}

QString RangeCaption(const xHistogram& histogram) {
    return QString::asprintf("Conductivity Range <%g %gmS/m", histogram.low, histogram.high);
}

void DrawHistogram(QCustomPlot& plot, const xHistogram& histogram, const QString& title) {
    QCPLayoutGrid* body = xPlotStyle::StartPage(plot, title);
    QCPAxisRect* rect = xPlotStyle::AddAxisRect(plot, *body, 0, 0);
    const double top = 1.1 * *std::max_element(histogram.counts.begin(), histogram.counts.end());
    MarkRange(*rect, histogram, top);
    AddBars(*rect, histogram);
    QCPAxis& x = *rect->axis(QCPAxis::atBottom);
    QCPAxis& y = *rect->axis(QCPAxis::atLeft);
    xPlotStyle::LogAxis(x);
    x.setLabel("Conductivity(mS/m)");
    xPlotStyle::Label(y, "Count");
    double first = HUGE_VAL;
    for (double edge : histogram.edges)
        if (edge > 0.0) first = std::min(first, edge);
    x.setRange(first / 1.2, histogram.edges.back() * 1.2);
    y.setRange(0.0, top);
}
