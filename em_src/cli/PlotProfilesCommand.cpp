// tovarn plot profiles: the channel (or tau amplitude) profiles of one
// component along one line of a BIN or AMP file, the altitude below.

#include <CLI/CLI.hpp>

#include <memory>
#include <regex>

#include "Commands.h"
#include "PlotCommands.h"
#include "xMData.h"
#include "xPlatform.h"
#include "xProfileData.h"
#include "xProfileFigure.h"

namespace cli {

namespace {

bool ParseChannels(const std::string& text, xProfileRequest& request) {
    static const std::regex form(R"(\s*([0-9]{1,6})\s*(?:-\s*([0-9]{1,6}))?\s*)");
    std::smatch match;
    if (!std::regex_match(text, match, form)) return false;
    request.firstChannel = std::stol(match[1]);
    request.lastChannel = match[2].matched ? std::stol(match[2]) : request.firstChannel;
    return request.firstChannel >= 1 && request.lastChannel >= request.firstChannel;
}

QString Title(const FigureArgs& figure, const xProfileData& data, const xMData& file) {
    if (!figure.title.empty()) return QString::fromStdString(figure.title);
    return QString::fromStdString("Line " + std::to_string(data.line) + " - " + file.FileName() +
                                  ", " + data.component +
                                  (data.amplitudes ? " tau amplitudes" : " channels"));
}

}  // namespace

int PlotProfiles(const PlotProfilesArgs& args, const FigureArgs& figure, std::ostream& out) {
    xProfileRequest request;
    if (!args.channels.empty() && !ParseChannels(args.channels, request)) {
        Platform().Error("--channels wants FIRST-LAST or ONE from 1, e.g. 1-16, not \"" +
                         args.channels + "\".");
        return kUsage;
    }
    request.line = args.line;
    request.component = args.component;
    request.byFid = args.fid;
    request.logScale = args.log;
    request.columns = FigureWidth(figure);
    const std::unique_ptr<xMFile> opened = OpenSurveyFile(args.file);
    if (!opened) return kFailed;
    auto* file = dynamic_cast<xMData*>(opened.get());
    if (file == nullptr) {
        Platform().Error("Profiles are drawn from a survey (BIN) or amplitude (AMP) file, not " +
                         args.file.filename().string() + ".");
        return kUsage;
    }
    return DrawFigure(figure, out, [&](QCustomPlot& plot) {
        xProfileData data;
        std::string error;
        if (!ReadProfileData(*file, request, data, error)) {
            Platform().Error(error);
            return kFailed;
        }
        DrawProfiles(plot, data, xProfileLook{args.log, Title(figure, data, *file)});
        return kSuccess;
    });
}

void AddPlotProfilesCommand(CLI::App& plot, CommandTable& table) {
    struct Args {
        PlotProfilesArgs profiles;
        FigureArgs figure;
    };
    auto args = std::make_shared<Args>();
    auto* command = table.Add(
        plot, "profiles",
        "The profiles of one component along one line: a curve per channel of a survey file\n"
        "(BIN), or per tau of an amplitude file (AMP), coloured from early (dark) to late\n"
        "(light), with the sensor altitude in a strip below. The component is TzRz when the\n"
        "file has it, else the file's first one. With --log the response axis is\n"
        "logarithmic and values at or below 0 are left out: the curve breaks there. Example:\n"
        "  tovarn plot profiles survey.BIN --line 10010 --log --out survey-10010-profiles.png",
        [args](xConsolePlatform&) {
            return PlotProfiles(args->profiles, args->figure, std::cout);
        });
    command->add_option("FILE", args->profiles.file, "the survey (BIN) or amplitude (AMP) file")
        ->required();
    command->add_option("--line", args->profiles.line, "the line number, e.g. 10010")->required();
    command->add_option("--component", args->profiles.component,
                        "the component, e.g. TzRz (or ZZ) or TxRx; default TzRz, else the first");
    command->add_option("--channels", args->profiles.channels,
                        "FIRST-LAST channels (taus of an AMP file), from 1; default all");
    command->add_flag("--log", args->profiles.log,
                      "a logarithmic response axis; values at or below 0 are left out");
    command->add_flag("--fid", args->profiles.fid, "FID along the line instead of distance");
    AddFigureOptions(*command, args->figure);
}

}  // namespace cli
