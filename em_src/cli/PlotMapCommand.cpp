// tovarn plot map: the flight lines of a survey file in plan, plain or
// coloured by a record item or, of a CDI file, the conductivity at a depth.

#include <CLI/CLI.hpp>

#include <memory>

#include "Commands.h"
#include "PlotCommands.h"
#include "xMFile.h"
#include "xMapData.h"
#include "xMapFigure.h"
#include "xPlatform.h"

namespace cli {

namespace {

int ReadRequest(const PlotMapArgs& args, const FigureArgs& figure, xMapRequest& request,
                xMapLook& look) {
    if (!args.value.empty() && !args.depth.empty()) {
        Platform().Error("A map is coloured by --value or by --depth, not by both.");
        return kUsage;
    }
    if (!args.depth.empty()) {
        std::size_t used = 0;
        try {
            request.depth = std::stod(args.depth, &used);
        } catch (const std::exception&) {
        }
        if (!request.depth || used != args.depth.size() || !(*request.depth >= 0.0)) {
            Platform().Error("--depth wants metres below the surface, e.g. 50, not \"" +
                             args.depth + "\".");
            return kUsage;
        }
    }
    if (!ParseLines(args.lines, request.lines)) {
        Platform().Error(
            "--lines wants line numbers separated by commas, e.g. 10010,22810, not \"" +
            args.lines + "\".");
        return kUsage;
    }
    request.value = args.value;
    request.pixels = FigureWidth(figure);
    // A depth colours by conductivity, on a log scale; an item on a plain one.
    return ReadColourRange(args.range, request.depth.has_value(), request.depth ? "mS/m" : "",
                           look.low, look.high);
}

QString Title(const FigureArgs& figure, const xMapData& data, const xMFile& file) {
    if (!figure.title.empty()) return QString::fromStdString(figure.title);
    return QString::fromStdString("Flight lines - " + file.FileName() +
                                  (data.Coloured() ? ", " + data.quantity : ""));
}

}  // namespace

int PlotMap(const PlotMapArgs& args, const FigureArgs& figure, std::ostream& out) {
    xMapRequest request;
    xMapLook look;
    if (const int bad = ReadRequest(args, figure, request, look)) return bad;
    const std::unique_ptr<xMFile> file = OpenSurveyFile(args.file);
    if (!file) return kFailed;
    return DrawFigure(figure, out, [&](QCustomPlot& plot) {
        xMapData data;
        std::string error;
        if (!ReadMapData(*file, request, data, error)) {
            Platform().Error(error);
            return kFailed;
        }
        look.title = Title(figure, data, *file);
        DrawMap(plot, data, look);
        return kSuccess;
    });
}

void AddPlotMapCommand(CLI::App& plot, CommandTable& table) {
    struct Args {
        PlotMapArgs map;
        FigureArgs figure;
    };
    auto args = std::make_shared<Args>();
    auto* command = table.Add(
        plot, "map",
        "The flight lines of a survey (BIN), amplitude (AMP) or CDI (CND) file in easting and\n"
        "northing at equal scale, each line's number at its ends. With --value the lines are\n"
        "coloured by a record item, named as tovarn dump titles it (e.g. Altitude) or by its\n"
        "index; with --depth, of a CND file, by the discrete conductivity at the depth nearest\n"
        "it, on a log scale of mS/m. Missing values are grey. Examples:\n"
        "  tovarn plot map survey.BIN --out survey-map.png\n"
        "  tovarn plot map survey.CND --depth 50 --out survey-map-50m.png",
        [args](xConsolePlatform&) { return PlotMap(args->map, args->figure, std::cout); });
    command->add_option("FILE", args->map.file, "the survey, amplitude or CDI file")->required();
    command->add_option("--value", args->map.value, "the record item the lines are coloured by");
    command->add_option("--depth", args->map.depth,
                        "metres below the surface: a CND's conductivity colours the lines");
    command->add_option("--lines", args->map.lines, "the lines to draw, e.g. 10010,22810");
    command->add_option("--range", args->map.range,
                        "LOW:HIGH of the colour scale (mS/m with --depth); default the 2nd to\n"
                        "98th percentile, at most three decades for a conductivity");
    AddFigureOptions(*command, args->figure);
}

}  // namespace cli
