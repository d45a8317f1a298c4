// tovarn plot: what every kind of figure shares, and the command itself.

#include <qcustomplot.h>
#include <CLI/CLI.hpp>

#include <cctype>
#include <memory>
#include <regex>

#include "Commands.h"
#include "PlotCommands.h"
#include "xFigureFile.h"
#include "xMAmp.h"
#include "xMCond.h"
#include "xMData.h"
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

int CheckFigureArgs(const FigureArgs& figure, const std::string& option) {
    if (!FigureFormatOf(figure.out)) {
        Platform().Error(option + " names the figure as FILE.png, FILE.svg or FILE.pdf, not \"" +
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

int ReadColourRange(const std::string& text, bool logScale, const std::string& unit,
                    std::optional<double>& low, std::optional<double>& high) {
    if (text.empty()) return kSuccess;
    static const std::regex form(R"(\s*([-+0-9.eE]+)\s*:\s*([-+0-9.eE]+)\s*)");
    std::smatch match;
    try {
        if (std::regex_match(text, match, form)) {
            low = std::stod(match[1]);
            high = std::stod(match[2]);
            if (*high > *low && (!logScale || *low > 0.0)) return kSuccess;
        }
    } catch (const std::exception&) {
    }
    Platform().Error("--range wants LOW:HIGH" + (unit.empty() ? "" : " in " + unit) +
                     " with LOW below HIGH" + (logScale ? " and above 0 on a log scale" : "") +
                     ", not \"" + text + "\".");
    return kUsage;
}

QCustomPlot& FigurePlot() {
    EnsureFigureApplication();
    static QCustomPlot* plot = new QCustomPlot;
    return *plot;
}

int SaveFigureFile(QCustomPlot& plot, const FigureArgs& figure, std::ostream& out) {
    const QSize size = *ParseFigureSize(figure.size);
    std::string error;
    const bool saved = SaveFigure(plot, figure.out, size, error);
    EndFigureThreads();  // the command ends with the figure
    if (!saved) {
        if (!error.empty()) Platform().Error(error);
        return kFailed;
    }
    out << "Wrote " << figure.out.string() << " (" << size.width() << " x " << size.height()
        << ")\n";
    return kSuccess;
}

std::unique_ptr<xMFile> OpenSurveyFile(const fs::path& path) {
    std::string extension = path.extension().string();
    for (char& c : extension) c = char(std::toupper(static_cast<unsigned char>(c)));
    std::unique_ptr<xMFile> file;
    if (extension == ".AMP")
        file = std::make_unique<xMAmp>();
    else if (extension == ".CND")
        file = std::make_unique<xMCond>();
    else
        file = std::make_unique<xMData>();
    file->SetPath(path);
    if (!file->Exists()) {
        Platform().Error("There is no file " + path.string() + ".");
        return nullptr;
    }
    if (file->Open() != 1 || !file->ReadHeader()) return nullptr;
    return file;
}

void AddPlotCommands(CLI::App& app, CommandTable& table) {
    CLI::App* plot = app.add_subcommand(
        "plot",
        "Draw a figure of a project's file as PNG, SVG or PDF (by the extension of --out):\n"
        "  cdi        the conductivity-depth sections of a line (CND)\n"
        "  profiles   the channel or tau amplitude profiles of a line (BIN, AMP)\n"
        "  decay      one record's decays with their fit and tau spectrum (PAR)\n"
        "  map        the flight lines in plan, plain or coloured by a value (BIN, AMP, CND)\n"
        "  histogram  the conductivity histogram of a CDI with its chosen range (CND)\n"
        "  basis      the basis functions of a component, a curve per tau (AOT)\n"
        "Examples:\n"
        "  tovarn plot cdi survey.CND --line 10010 --out survey-10010-cdi.png\n"
        "  tovarn plot cdi survey.CND --line 10010 --elevation --range 1:300 --out cdi.pdf\n"
        "  tovarn plot profiles survey.BIN --line 10010 --log --out survey-10010-profiles.png\n"
        "  tovarn plot decay survey.PAR --line 10010 --record 250 --out decay.png\n"
        "  tovarn plot map survey.CND --depth 50 --out survey-map.png");
    plot->require_subcommand(1);
    AddPlotCdiCommand(*plot, table);
    AddPlotProfilesCommand(*plot, table);
    AddPlotDecayCommand(*plot, table);
    AddPlotMapCommand(*plot, table);
    AddPlotHistogramCommand(*plot, table);
    AddPlotBasisCommand(*plot, table);
}

}  // namespace cli
