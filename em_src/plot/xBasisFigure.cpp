#include "xBasisFigure.h"

#include <qcustomplot.h>

#include <algorithm>
#include <cmath>

#include "xAofTau.h"
#include "xPlotStyle.h"
#include "xTRClasf.h"

namespace {

struct Window {
    double start = 0, end = 0, centre = 0;  // ms, or the frequency in Hz
};

// Start and end rows in seconds; a frequency-domain basis has one row.
std::vector<Window> Windows(const FloatMatrix& windows) {
    std::vector<Window> out;
    const long first = windows.RowLow();
    for (long c = windows.ColLow(); c <= windows.ColHigh(); ++c) {
        Window w;
        if (windows.Rows() == 1) {
            w.start = w.end = w.centre = windows[first][c];
        } else {
            w.start = 1000.0 * windows[first][c];
            w.end = 1000.0 * windows[first + 1][c];
            w.centre = 0.5 * (w.start + w.end);
        }
        out.push_back(w);
    }
    return out;
}

void ShadeWindows(QCPAxisRect& rect, const std::vector<Window>& windows) {
    for (std::size_t w = 0; w < windows.size(); ++w) {
        auto* shade = new QCPItemRect(rect.parentPlot());
        shade->setClipAxisRect(&rect);
        for (QCPItemPosition* corner : {shade->topLeft, shade->bottomRight}) {
            corner->setAxes(rect.axis(QCPAxis::atBottom), rect.axis(QCPAxis::atLeft));
            corner->setAxisRect(&rect);
            corner->setTypeY(QCPItemPosition::ptAxisRectRatio);
        }
        shade->topLeft->setCoords(windows[w].start, 0.0);
        shade->bottomRight->setCoords(windows[w].end, 1.0);
        shade->setPen(Qt::NoPen);
        shade->setBrush(w % 2 == 0 ? xPlotStyle::ShadeColour()
                                   : xPlotStyle::AlternateShadeColour());
    }
}

QString TauName(double seconds) {
    return QString("tau %1 ms").arg(1000.0 * seconds, 0, 'g', 3);
}

// A curve per tau at the magnitudes of its response; zeros have no place on
// the log axis.
QCPRange AddCurves(QCPAxisRect& rect, const xAofTau& basis, const FloatMatrix& amplitudes,
                   const std::vector<Window>& windows, QCPLegend& legend) {
    const long taus = amplitudes.Rows();
    double lowest = HUGE_VAL, highest = 0.0;
    for (long t = 0; t < taus; ++t) {
        const long row = amplitudes.RowLow() + t;
        QVector<double> keys, magnitudes;
        for (std::size_t w = 0; w < windows.size(); ++w) {
            const double v = std::abs(amplitudes[row][amplitudes.ColLow() + long(w)]);
            if (!(v > 0.0)) continue;
            keys << windows[w].centre;
            magnitudes << v;
            lowest = std::min(lowest, v);
            highest = std::max(highest, v);
        }
        QCPGraph* graph =
            rect.parentPlot()->addGraph(rect.axis(QCPAxis::atBottom), rect.axis(QCPAxis::atLeft));
        graph->setData(keys, magnitudes, true);
        const QColor colour = xPlotStyle::SequenceColour(int(t), int(taus));
        graph->setPen(xPlotStyle::CurvePen(colour));
        graph->setScatterStyle(QCPScatterStyle(QCPScatterStyle::ssDisc, colour, colour, 4));
        graph->setName(TauName(basis.Taus()[basis.Taus().Low() + t]));
        legend.addItem(new QCPPlottableLegendItem(&legend, graph));
    }
    // Short taus die away by tens of decades; six below the largest show
    // every shape that the fit can tell apart.
    return highest > 0.0 ? QCPRange(std::max(lowest, 1e-6 * highest), highest) : QCPRange(0.1, 1.0);
}

std::string ComponentList(const xAofTau& basis) {
    std::string list;
    for (long id : basis.Components())
        list += (list.empty() ? "; it has " : ", ") + ComponentName(id);
    return list + ".";
}

}  // namespace

std::string BasisFigureProblem(const xAofTau& basis, long component) {
    const std::string name = ComponentName(component);
    const FloatMatrix* windows = basis.Windows(component);
    const FloatMatrix* amplitudes = basis.Amplitudes(component);
    if (!windows || !amplitudes) return "The basis has no component " + name + ComponentList(basis);
    if (amplitudes->Cols() != windows->Cols() || amplitudes->Rows() != basis.Taus().Length() ||
        amplitudes->Rows() == 0)
        return "The basis of component " + name + " has " + std::to_string(amplitudes->Rows()) +
               " x " + std::to_string(amplitudes->Cols()) + " amplitudes for " +
               std::to_string(basis.Taus().Length()) + " taus and " +
               std::to_string(windows->Cols()) + " windows.";
    return {};
}

void DrawBasis(QCustomPlot& plot, const xAofTau& basis, long component, const QString& title) {
    QCPLayoutGrid* body = xPlotStyle::StartPage(plot, title);
    QCPAxisRect* rect = xPlotStyle::AddAxisRect(plot, *body, 0, 0);
    const FloatMatrix& windowMatrix = *basis.Windows(component);
    const std::vector<Window> windows = Windows(windowMatrix);
    const bool frequencyDomain = windowMatrix.Rows() == 1;
    if (!frequencyDomain) ShadeWindows(*rect, windows);
    // The key stands at the top of a column of its own, as tall as it needs.
    auto* side = new QCPLayoutGrid;
    body->addElement(0, 1, side);
    auto* legend = new QCPLegend;
    side->addElement(0, 0, legend);
    side->addElement(1, 0, new QCPLayoutElement(&plot));
    side->setRowStretchFactors({0.001, 1.0});
    side->setMargins(QMargins(0, 0, 6, 0));
    xPlotStyle::StyleLegend(*legend);
    legend->setLayer(QStringLiteral("legend"));
    body->setColumnStretchFactors({1.0, 0.001});
    const QCPRange values = AddCurves(*rect, basis, *basis.Amplitudes(component), windows, *legend);
    QCPAxis& x = *rect->axis(QCPAxis::atBottom);
    QCPAxis& y = *rect->axis(QCPAxis::atLeft);
    xPlotStyle::LogAxis(x);
    xPlotStyle::LogAxis(y);
    xPlotStyle::Label(x, frequencyDomain ? "Frequency" : "Window time",
                      frequencyDomain ? "Hz" : "ms");
    xPlotStyle::Label(y, "|Basis response|");
    const double first = frequencyDomain ? windows.front().centre : windows.front().start;
    const double last = frequencyDomain ? windows.back().centre : windows.back().end;
    x.setRange(std::min(first, last) / 1.15, std::max(first, last) * 1.15);
    y.setRange(values.lower / 2.0, values.upper * 2.0);
    xPlotStyle::PanelName(*rect, QString::fromStdString(ComponentName(component)));
}
