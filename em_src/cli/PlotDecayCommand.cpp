// tovarn plot decay: one record's decays, fits and tau spectra, as tovarn fit
// shows them in numbers.

#include <CLI/CLI.hpp>

#include <memory>

#include "Commands.h"
#include "PlotCommands.h"
#include "RecordFit.h"
#include "xDecayData.h"
#include "xDecayFigure.h"
#include "xMData.h"
#include "xPlatform.h"

namespace cli {

namespace {

// The noise where the project has smoothing residuals; a file that cannot be
// read or has not the line costs the error bars, not the figure.
void AddNoise(const RecordFit& fit, xDecayData& decay) {
    xMData ndf;
    ndf.SetPath(fit.noiseFile);
    if (!ndf.Exists()) return;
    std::string error;
    if (!ndf.Open() || !ndf.ReadHeader())
        error = "The noise file " + fit.noiseFile.string() + " cannot be read.";
    else if (ReadDecayNoise(ndf, decay, error))
        return;
    Platform().Warning(error + " The decays are drawn without error bars.");
}

}  // namespace

int DrawRecordFit(const RecordFit& fit, const FigureArgs& figure, std::ostream& out) {
    xDecayData decay;
    decay.line = fit.line;
    decay.record = fit.record;
    decay.fid = fit.fid;
    std::string error;
    if (!DecayFromFits(fit.fits, fit.basis, decay, error)) {
        Platform().Error(error);
        return kFailed;
    }
    AddNoise(fit, decay);
    const QString title =
        figure.title.empty() ? DecayTitle(decay) : QString::fromStdString(figure.title);
    return DrawFigure(figure, out, [&](QCustomPlot& plot) {
        DrawDecay(plot, decay, title);
        return kSuccess;
    });
}

int PlotDecay(const PlotDecayArgs& args, const FigureArgs& figure, std::ostream& out) {
    if (const int bad = CheckFigureArgs(figure)) return bad;
    RecordFit fit;
    if (const int failed = FitRecord(args.par, args.line, args.record, fit)) return failed;
    return DrawRecordFit(fit, figure, out);
}

void AddPlotDecayCommand(CLI::App& plot, CommandTable& table) {
    struct Args {
        PlotDecayArgs decay;
        FigureArgs figure;
    };
    auto args = std::make_shared<Args>();
    auto* command = table.Add(
        plot, "decay",
        "One record deconvolved as 703 would, a panel per component: the normalised data\n"
        "(hollow where negative, drawn at their size) and the fit against the window time,\n"
        "with error bars from the project's NDF noise where there is one, and beside it the\n"
        "amplitudes of the taus. The same figure as tovarn fit --plot. Example:\n"
        "  tovarn plot decay survey.PAR --line 10010 --record 250 --out decay.png",
        [args](xConsolePlatform&) { return PlotDecay(args->decay, args->figure, std::cout); });
    command->add_option("PROJECT.PAR", args->decay.par, "the project")->required();
    command->add_option("--line", args->decay.line, "the line number, e.g. 10010")->required();
    command->add_option("--record", args->decay.record, "the record of the line, from 1")
        ->required();
    AddFigureOptions(*command, args->figure);
}

}  // namespace cli
