#include "xPlotStyle.h"

#include <qcustomplot.h>

#include <algorithm>
#include <array>

namespace {

const QString kFamily = QStringLiteral("DejaVu Sans");

// The map's colours at tenths of its length; between them it is linear in RGB,
// which keeps the lightness rising evenly.
constexpr std::array<QRgb, 11> kUniformStops = {0x440154, 0x482475, 0x414487, 0x355f8d,
                                                0x2a788e, 0x21918c, 0x22a884, 0x44bf70,
                                                0x7ad151, 0xbddf26, 0xfde725};

QColor UniformColour(double position) {
    position = std::clamp(position, 0.0, 1.0) * double(kUniformStops.size() - 1);
    const auto low = std::min<std::size_t>(std::size_t(position), kUniformStops.size() - 2);
    const double f = position - double(low);
    const QColor a(kUniformStops[low]), b(kUniformStops[low + 1]);
    return QColor::fromRgbF(float(a.redF() + f * (b.redF() - a.redF())),
                            float(a.greenF() + f * (b.greenF() - a.greenF())),
                            float(a.blueF() + f * (b.blueF() - a.blueF())));
}

QFont Font(int points, bool bold = false) {
    QFont font(kFamily, points);
    font.setBold(bold);
    font.setStyleHint(QFont::SansSerif);
    return font;
}

void StyleAxis(QCPAxis& axis) {
    const QPen dark(QColor(40, 40, 40), 1);
    axis.setBasePen(dark);
    axis.setTickPen(dark);
    axis.setSubTickPen(dark);
    axis.setTickLabelFont(xPlotStyle::TickFont());
    axis.setLabelFont(xPlotStyle::LabelFont());
    axis.setTickLengthIn(5);
    axis.setSubTickLengthIn(2);
    axis.grid()->setPen(QPen(QColor(215, 215, 215), 1, Qt::DotLine));
    axis.grid()->setSubGridVisible(false);
}

// Decades where the range spans enough of them; over a narrow range, where a
// decade tick may not fall at all, plain round numbers.
class xLogTicker : public QCPAxisTickerLog {
  public:
    xLogTicker() {
        setSubTickCount(8);
        linear_.setTickCount(4);
    }
    void generate(const QCPRange& range, const QLocale& locale, QChar formatChar, int precision,
                  QVector<double>& ticks, QVector<double>* subTicks,
                  QVector<QString>* labels) override {
        if (range.lower > 0 && range.upper / range.lower < 20.0)
            linear_.generate(range, locale, formatChar, precision, ticks, subTicks, labels);
        else
            QCPAxisTickerLog::generate(range, locale, formatChar, precision, ticks, subTicks,
                                       labels);
    }

  private:
    QCPAxisTicker linear_;
};

}  // namespace

QFont xPlotStyle::TickFont() {
    return Font(9);
}
QFont xPlotStyle::LabelFont() {
    return Font(10);
}
QFont xPlotStyle::TitleFont() {
    return Font(12, true);
}

QCPColorGradient xPlotStyle::SectionGradient() {
    QCPColorGradient gradient;
    gradient.clearColorStops();
    for (std::size_t i = 0; i < kUniformStops.size(); ++i)
        gradient.setColorStopAt(double(i) / double(kUniformStops.size() - 1),
                                QColor(kUniformStops[i]));
    gradient.setColorInterpolation(QCPColorGradient::ciRGB);
    gradient.setLevelCount(350);
    gradient.setNanHandling(QCPColorGradient::nhTransparent);
    return gradient;
}

QColor xPlotStyle::SequenceColour(int index, int count) {
    return UniformColour(count <= 1 ? 0.0 : 0.88 * double(index) / double(count - 1));
}

QPen xPlotStyle::CurvePen(const QColor& colour, double width) {
    QPen pen(colour, width);
    pen.setJoinStyle(Qt::RoundJoin);
    return pen;
}

QCPLayoutGrid* xPlotStyle::StartPage(QCustomPlot& plot, const QString& title) {
    plot.clearPlottables();
    plot.clearItems();
    plot.plotLayout()->clear();
    plot.setBackground(Qt::white);
    // A legend lists what a figure puts in it, not every curve of the page.
    plot.setAutoAddPlottableToLegend(false);
    plot.setFont(TickFont());
    plot.plotLayout()->setRowSpacing(0);
    int row = 0;
    if (!title.isEmpty()) {
        auto* text = new QCPTextElement(&plot, title, TitleFont());
        text->setMargins(QMargins(0, 8, 0, 2));
        plot.plotLayout()->addElement(row++, 0, text);
    }
    auto* body = new QCPLayoutGrid;
    plot.plotLayout()->addElement(row, 0, body);
    body->setRowSpacing(8);
    body->setColumnSpacing(6);
    return body;
}

QCPAxisRect* xPlotStyle::AddAxisRect(QCustomPlot& plot, QCPLayoutGrid& body, int row, int column) {
    auto* rect = new QCPAxisRect(&plot);
    body.addElement(row, column, rect);
    StyleAxisRect(*rect);
    return rect;
}

void xPlotStyle::StyleAxisRect(QCPAxisRect& rect) {
    for (QCPAxis* axis : rect.axes()) StyleAxis(*axis);
    // The frame closes on the top and right, with ticks but no labels.
    for (auto [axis, twin] : {std::pair{rect.axis(QCPAxis::atBottom), rect.axis(QCPAxis::atTop)},
                              {rect.axis(QCPAxis::atLeft), rect.axis(QCPAxis::atRight)}}) {
        twin->setVisible(true);
        twin->setTickLabels(false);
        twin->grid()->setVisible(false);
        QObject::connect(axis, qOverload<const QCPRange&>(&QCPAxis::rangeChanged), twin,
                         qOverload<const QCPRange&>(&QCPAxis::setRange));
    }
}

void xPlotStyle::StyleLegend(QCPLegend& legend) {
    legend.setVisible(true);
    legend.setFont(TickFont());
    legend.setBrush(QColor(255, 255, 255));
    legend.setBorderPen(QPen(QColor(150, 150, 150)));
    legend.setRowSpacing(0);
}

QCPLegend* xPlotStyle::AddLegend(QCPAxisRect& rect, Qt::Alignment corner) {
    auto* legend = new QCPLegend;
    rect.insetLayout()->addElement(legend, corner);
    legend->setLayer(QStringLiteral("legend"));
    StyleLegend(*legend);
    return legend;
}

void xPlotStyle::PanelName(QCPAxisRect& rect, const QString& name, Qt::Alignment corner) {
    auto* text = new QCPItemText(rect.parentPlot());
    text->setClipAxisRect(&rect);
    text->position->setAxisRect(&rect);
    text->position->setType(QCPItemPosition::ptAxisRectRatio);
    text->position->setCoords(corner & Qt::AlignRight ? 0.995 : 0.005,
                              corner & Qt::AlignBottom ? 0.99 : 0.01);
    text->setPositionAlignment(corner);
    text->setText(name);
    text->setFont(LabelFont());
    text->setBrush(QColor(255, 255, 255, 170));
    text->setPadding(QMargins(4, 2, 4, 2));
}

void xPlotStyle::Label(QCPAxis& axis, const QString& quantity, const QString& unit) {
    axis.setLabel(unit.isEmpty() ? quantity : quantity + " (" + unit + ")");
}

void xPlotStyle::LogAxis(QCPAxis& axis) {
    axis.setScaleType(QCPAxis::stLogarithmic);
    axis.setTicker(QSharedPointer<QCPAxisTicker>(new xLogTicker));
    axis.setNumberFormat("g");
    axis.setNumberPrecision(6);
}

QCPColorScale* xPlotStyle::AddColourBar(QCustomPlot& plot, QCPLayoutGrid& body, int row, int column,
                                        const QString& quantity, const QString& unit) {
    auto* scale = new QCPColorScale(&plot);
    body.addElement(row, column, scale);
    scale->setType(QCPAxis::atRight);
    scale->setBarWidth(14);
    scale->setGradient(SectionGradient());
    StyleAxis(*scale->axis());
    scale->axis()->grid()->setVisible(false);
    Label(*scale->axis(), quantity, unit);
    return scale;
}
