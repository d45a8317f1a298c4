// tovarn plot histogram: the conductivity histogram kept in a CDI file.

#include <CLI/CLI.hpp>

#include <memory>

#include "Commands.h"
#include "PlotCommands.h"
#include "xHistogramFigure.h"
#include "xMCond.h"
#include "xPlatform.h"

namespace cli {

int PlotHistogram(const std::filesystem::path& path, const FigureArgs& figure, std::ostream& out) {
    if (const int bad = CheckFigureArgs(figure)) return bad;
    xMCond cnd;
    cnd.SetPath(path);
    if (!cnd.Exists()) {
        Platform().Error("There is no CDI file " + path.string() + ": run 704 (CDI) first.");
        return kFailed;
    }
    if (cnd.Open() != 1 || !cnd.ReadHeader()) return kFailed;
    xHistogram histogram;
    std::string error;
    if (!ReadHistogram(cnd, histogram, error)) {
        Platform().Error(error);
        return kFailed;
    }
    const QString title = figure.title.empty() ? QString("Conductivity Histogram")
                                               : QString::fromStdString(figure.title);
    return DrawFigure(figure, out, [&](QCustomPlot& plot) {
        DrawHistogram(plot, histogram, title);
        return kSuccess;
    });
}

void AddPlotHistogramCommand(CLI::App& plot, CommandTable& table) {
    struct Args {
        std::filesystem::path cnd;
        FigureArgs figure;
    };
    auto args = std::make_shared<Args>();
    auto* command = table.Add(
        plot, "histogram",
        "The conductivity histogram a CDI file keeps: counts over their bins on a log axis\n"
        "of mS/m, with the range the automatic rule of the CDI chooses from it shaded.\n"
        "Example:\n"
        "  tovarn plot histogram survey.CND --out survey-histogram.png",
        [args](xConsolePlatform&) { return PlotHistogram(args->cnd, args->figure, std::cout); });
    command->add_option("CDI.CND", args->cnd, "the CDI file")->required();
    AddFigureOptions(*command, args->figure);
}

}  // namespace cli
