// tovarn plot: what every kind of figure shares, and the command itself.

#include <qcustomplot.h>
#include <CLI/CLI.hpp>

#include <memory>

#include "Commands.h"
#include "PlotCommands.h"
#include "xFigureFile.h"
#include "xPlatform.h"

namespace fs = std::filesystem;

namespace cli {

void AddFigureOptions(CLI::App& command, FigureArgs& figure) {
    command.add_option("--out", figure.out, "the figure: FILE.png, FILE.svg or FILE.pdf")
        ->required();
    command.add_option("--size", figure.size, "width x height in pixels (points for PDF)")
        ->capture_default_str();
    command.add_option("--title", figure.title, "the title above the figure");
}

int FigureWidth(const FigureArgs& figure) {
    const auto size = ParseFigureSize(figure.size);
    return size ? size->width() : 0;
}

int CheckFigureArgs(const FigureArgs& figure) {
    if (!FigureFormatOf(figure.out)) {
        Platform().Error("--out names the figure as FILE.png, FILE.svg or FILE.pdf, not \"" +
                         figure.out.string() + "\".");
        return kUsage;
    }
    if (!ParseFigureSize(figure.size)) {
        Platform().Error(
            "--size wants WIDTHxHEIGHT in pixels from 100 to 20000, e.g. 1200x800, "
            "not \"" +
            figure.size + "\".");
        return kUsage;
    }
    return kSuccess;
}

QCustomPlot& FigurePlot() {
    EnsureFigureApplication();
    static QCustomPlot* plot = new QCustomPlot;
    return *plot;
}

int SaveFigureFile(QCustomPlot& plot, const FigureArgs& figure, std::ostream& out) {
    const QSize size = *ParseFigureSize(figure.size);
    std::string error;
    if (!SaveFigure(plot, figure.out, size, error)) {
        if (!error.empty()) Platform().Error(error);
        return kFailed;
    }
    out << "Wrote " << figure.out.string() << " (" << size.width() << " x " << size.height()
        << ")\n";
    return kSuccess;
}

void AddPlotCommands(CLI::App& app, CommandTable& table) {
    CLI::App* plot = app.add_subcommand(
        "plot",
        "Draw a figure of a project's file as PNG, SVG or PDF (by the extension of --out):\n"
        "  cdi        the conductivity-depth sections of a line (CND)\n"
        "  decay      one record's decays with their fit and tau spectrum (PAR)\n"
        "  basis      the basis functions of a component, a curve per tau (AOT)\n"
        "  histogram  the conductivity histogram of a CDI with its chosen range (CND)\n"
        "Examples:\n"
        "  tovarn plot cdi survey.CND --line 10010 --out survey-10010-cdi.png\n"
        "  tovarn plot cdi survey.CND --line 10010 --elevation --range 1:300 --out cdi.pdf\n"
        "  tovarn plot decay survey.PAR --line 10010 --record 250 --out decay.png");
    plot->require_subcommand(1);
    AddPlotCdiCommand(*plot, table);
    AddPlotDecayCommand(*plot, table);
    AddPlotBasisCommand(*plot, table);
    AddPlotHistogramCommand(*plot, table);
}

}  // namespace cli
