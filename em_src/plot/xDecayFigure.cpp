#include "xDecayFigure.h"

#include <qcustomplot.h>

#include <algorithm>
#include <cmath>

#include "xDecayData.h"
#include "xPlotStyle.h"
#include "xTRClasf.h"

namespace {

// Both ends of the positive magnitudes of the lists.
QCPRange MagnitudeRange(std::initializer_list<const std::vector<double>*> lists) {
    double low = HUGE_VAL, high = 0.0;
    for (const auto* list : lists)
        for (double v : *list)
            if (std::isfinite(v) && v != 0.0) {
                low = std::min(low, std::abs(v));
                high = std::max(high, std::abs(v));
            }
    return high > 0.0 ? QCPRange(low, high) : QCPRange(0.1, 1.0);
}

QCPRange Widened(QCPRange range, double factor) {
    return QCPRange(range.lower / factor, range.upper * factor);
}

QCPGraph* AddPoints(QCPAxisRect& rect, const QString& name, QCPScatterStyle::ScatterShape shape) {
    auto* graph =
        rect.parentPlot()->addGraph(rect.axis(QCPAxis::atBottom), rect.axis(QCPAxis::atLeft));
    graph->setName(name);
    graph->setLineStyle(QCPGraph::lsNone);
    const QColor colour = xPlotStyle::DataColour();
    graph->setScatterStyle(QCPScatterStyle(
        shape, colour, shape == QCPScatterStyle::ssDisc ? QBrush(colour) : QBrush(Qt::white), 7));
    return graph;
}

// The measured channels of one sign at their magnitudes, with their noise;
// a bar reaching below zero stops short of it on the log axis.
void FillPoints(QCPGraph& graph, const xDecayPanel& panel, bool negative) {
    QVector<double> keys, values, below, above;
    for (std::size_t c = 0; c < panel.data.size(); ++c) {
        const double v = panel.data[c];
        if (!std::isfinite(v) || v == 0.0 || (v < 0.0) != negative) continue;
        keys << panel.times[c];
        values << std::abs(v);
        const double noise = panel.noise.empty() ? 0.0 : panel.noise[c];
        below << std::min(noise, 0.9 * std::abs(v));
        above << noise;
    }
    graph.setData(keys, values, true);
    if (panel.noise.empty() || keys.isEmpty()) return;
    auto* bars = new QCPErrorBars(graph.keyAxis(), graph.valueAxis());
    bars->setDataPlottable(&graph);
    bars->setData(below, above);
    bars->setPen(QPen(xPlotStyle::DataColour(), 1));
    bars->setWhiskerWidth(5);
    bars->setName("Noise (RMS of the NDF)");
}

QCPGraph* AddFit(QCPAxisRect& rect, const xDecayPanel& panel) {
    auto* graph =
        rect.parentPlot()->addGraph(rect.axis(QCPAxis::atBottom), rect.axis(QCPAxis::atLeft));
    QVector<double> keys, values;
    for (std::size_t c = 0; c < panel.fit.size(); ++c)
        if (panel.fit[c] != 0.0) {
            keys << panel.times[c];
            values << std::abs(panel.fit[c]);
        }
    graph->setData(keys, values, true);
    graph->setPen(xPlotStyle::CurvePen(xPlotStyle::FitColour(), 1.6));
    graph->setName("Fit");
    return graph;
}

// Decays fall from the top left: the bottom left is free.
void AddDecayLegend(QCPAxisRect& rect, QCPGraph& positive, QCPGraph& negative, QCPGraph& fit) {
    QCPLegend* legend = xPlotStyle::AddLegend(rect, Qt::AlignBottom | Qt::AlignLeft);
    legend->addItem(new QCPPlottableLegendItem(legend, &positive));
    if (!negative.data()->isEmpty()) legend->addItem(new QCPPlottableLegendItem(legend, &negative));
    legend->addItem(new QCPPlottableLegendItem(legend, &fit));
    for (QCPAbstractPlottable* bars : rect.plottables())
        if (qobject_cast<QCPErrorBars*>(bars)) {
            legend->addItem(new QCPPlottableLegendItem(legend, bars));
            break;
        }
}

void DrawDecayPanel(QCPAxisRect& rect, const xDecayPanel& panel, bool frequencyDomain,
                    bool withLegend) {
    // The fit first, so that the data stand on it.
    QCPGraph* fit = AddFit(rect, panel);
    QCPGraph* positive = AddPoints(rect, "Data", QCPScatterStyle::ssDisc);
    QCPGraph* negative = AddPoints(rect, "Data < 0, at |value|", QCPScatterStyle::ssCircle);
    FillPoints(*positive, panel, false);
    FillPoints(*negative, panel, true);
    if (withLegend) AddDecayLegend(rect, *positive, *negative, *fit);
    QCPAxis& x = *rect.axis(QCPAxis::atBottom);
    QCPAxis& y = *rect.axis(QCPAxis::atLeft);
    xPlotStyle::LogAxis(x);
    xPlotStyle::LogAxis(y);
    xPlotStyle::Label(x, frequencyDomain ? "Frequency" : "Time", frequencyDomain ? "Hz" : "ms");
    xPlotStyle::Label(y, "Normalised |data|");
    x.setRange(Widened(MagnitudeRange({&panel.times}), 1.25));
    y.setRange(Widened(MagnitudeRange({&panel.data, &panel.fit}), 2.0));
    // A decay falls from the top left: its name goes where it is not.
    xPlotStyle::PanelName(rect,
                          QString::fromStdString(ComponentName(panel.component)) +
                              QString("   misfit %1").arg(panel.misfit, 0, 'g', 3),
                          Qt::AlignRight | Qt::AlignTop);
}

void DrawSpectrum(QCPAxisRect& rect, const xDecayPanel& panel, const std::vector<double>& taus) {
    QCPAxis& x = *rect.axis(QCPAxis::atBottom);
    QCPAxis& y = *rect.axis(QCPAxis::atLeft);
    auto* bars = new QCPBars(&x, &y);
    const std::size_t n = std::min(taus.size(), panel.amplitudes.size());
    QVector<double> keys(taus.begin(), taus.begin() + long(n));
    QVector<double> values(panel.amplitudes.begin(), panel.amplitudes.begin() + long(n));
    bars->setData(keys, values, true);
    bars->setWidthType(QCPBars::wtAbsolute);
    bars->setWidth(6);
    bars->setPen(QPen(xPlotStyle::BarColour().darker(130), 1));
    bars->setBrush(xPlotStyle::BarColour());
    xPlotStyle::LogAxis(x);
    xPlotStyle::Label(x, "Tau", "ms");
    xPlotStyle::Label(y, "Amplitude", "data units");
    x.setRange(Widened(MagnitudeRange({&taus}), 1.5));
    double low = 0.0, high = 0.0;
    for (double v : values) low = std::min(low, v), high = std::max(high, v);
    const double pad = 0.08 * std::max(high - low, 1e-30);
    y.setRange(low < 0.0 ? low - pad : 0.0, high > 0.0 ? high + pad : 0.0);
}

}  // namespace

QString DecayTitle(const xDecayData& decay) {
    return QString("Line %1, record %2 (FID %3)")
        .arg(decay.line)
        .arg(decay.record)
        .arg(decay.fid, 0, 'f', 1);
}

void DrawDecay(QCustomPlot& plot, const xDecayData& decay, const QString& title) {
    QCPLayoutGrid* body = xPlotStyle::StartPage(plot, title);
    // Panels line up down the page, each column on its own.
    auto* curveMargins = new QCPMarginGroup(&plot);
    auto* spectrumMargins = new QCPMarginGroup(&plot);
    for (std::size_t p = 0; p < decay.panels.size(); ++p) {
        QCPAxisRect* curves = xPlotStyle::AddAxisRect(plot, *body, int(p), 0);
        QCPAxisRect* spectrum = xPlotStyle::AddAxisRect(plot, *body, int(p), 1);
        curves->setMarginGroup(QCP::msLeft | QCP::msRight, curveMargins);
        spectrum->setMarginGroup(QCP::msLeft | QCP::msRight, spectrumMargins);
        DrawDecayPanel(*curves, decay.panels[p], decay.frequencyDomain, p == 0);
        DrawSpectrum(*spectrum, decay.panels[p], decay.taus);
    }
    body->setColumnStretchFactors({2.0, 1.0});
}
