// tovarn plot cdi: the conductivity-depth sections of one line of a CND file.

#include <CLI/CLI.hpp>

#include <memory>

#include "Commands.h"
#include "PlotCommands.h"
#include "xMCond.h"
#include "xPlatform.h"
#include "xSectionFigure.h"
#include "xSectionGrid.h"

namespace cli {

namespace {

int ReadLook(const PlotCdiArgs& args, xSectionRequest& request, xSectionLook& look) {
    if (args.scale != "log" && args.scale != "linear") {
        Platform().Error("--scale wants log or linear, not \"" + args.scale + "\".");
        return kUsage;
    }
    look.logScale = args.scale == "log";
    if (const int bad = ReadColourRange(args.range, look.logScale, "mS/m", look.low, look.high))
        return bad;
    if (args.section == "discrete")
        request.sections = {0};
    else if (args.section == "layered")
        request.sections = {1};
    else if (!args.section.empty()) {
        Platform().Error("--section wants discrete or layered, not \"" + args.section + "\".");
        return kUsage;
    }
    look.elevation = args.elevation;
    request.byFid = args.fid;
    request.line = args.line;
    return kSuccess;
}

}  // namespace

int PlotCdi(const PlotCdiArgs& args, const FigureArgs& figure, std::ostream& out) {
    xSectionRequest request;
    xSectionLook look;
    if (const int bad = ReadLook(args, request, look)) return bad;
    xMCond cnd;
    cnd.SetPath(args.cnd);
    if (!cnd.Exists()) {
        Platform().Error("There is no CDI file " + args.cnd.string() + ": run 704 (CDI) first.");
        return kFailed;
    }
    if (cnd.Open() != 1 || !cnd.ReadHeader()) return kFailed;
    request.columns = FigureWidth(figure);
    look.title =
        figure.title.empty()
            ? QString::fromStdString("Line " + std::to_string(args.line) + " - " + cnd.FileName() +
                                     " (" + xMCond::CdiTypeName(cnd.CdiType()) + ")")
            : QString::fromStdString(figure.title);
    return DrawFigure(figure, out, [&](QCustomPlot& plot) {
        xSectionGrid grid;
        std::string error;
        if (!ReadSectionGrid(cnd, request, grid, error)) {
            Platform().Error(error);
            return kFailed;
        }
        DrawSection(plot, grid, look);
        return kSuccess;
    });
}

void AddPlotCdiCommand(CLI::App& plot, CommandTable& table) {
    struct Args {
        PlotCdiArgs cdi;
        FigureArgs figure;
    };
    auto args = std::make_shared<Args>();
    auto* command = table.Add(
        plot, "cdi",
        "The conductivity-depth sections of one line of a CND file: distance across, depth\n"
        "(or elevation) down, conductivity in colour on a log scale of mS/m. The discrete and\n"
        "the layered section stack with one colour bar; NULL cells are blank; the dashed line\n"
        "is the estimated penetration. Example:\n"
        "  tovarn plot cdi survey.CND --line 10010 --out survey-10010-cdi.png",
        [args](xConsolePlatform&) { return PlotCdi(args->cdi, args->figure, std::cout); });
    command->add_option("CDI.CND", args->cdi.cnd, "the CDI file")->required();
    command->add_option("--line", args->cdi.line, "the line number, e.g. 10010")->required();
    command->add_option("--section", args->cdi.section, "discrete or layered; default both");
    command->add_option("--scale", args->cdi.scale, "log or linear colour scale")
        ->capture_default_str();
    command->add_option(
        "--range", args->cdi.range,
        "LOW:HIGH colour range in mS/m; default the 2nd to 98th percentile\n"
        "of the values above the penetration, at most three decades on a log scale");
    command->add_flag("--elevation", args->cdi.elevation,
                      "elevation down instead of depth, with the ground and the sensor height");
    command->add_flag("--fid", args->cdi.fid, "FID across instead of distance");
    AddFigureOptions(*command, args->figure);
}

}  // namespace cli
