// tovarn fit: one record deconvolved as a run would, with its data, fit,
// residuals and amplitudes per component, to check a fit by eye.

#include <CLI/CLI.hpp>

#include <cstdio>
#include <iomanip>
#include <iostream>
#include <memory>

#include "Commands.h"
#ifdef TOVARN_FIGURES
#include "PlotCommands.h"
#endif
#include "ProjectParams.h"
#include "RecordFit.h"
#include "xAofTau.h"
#include "xEMDesc.h"
#include "xFitFactory.h"
#include "xFitParams.h"
#include "xFitTau.h"
#include "xMAmp.h"
#include "xMLine.h"
#include "xMLineBlock.h"
#include "xPlatform.h"
#include "xProjectContext.h"
#include "xRecordLayout.h"
#include "xShellApp.h"
#include "xTRClasf.h"

namespace fs = std::filesystem;

namespace cli {

namespace {

void ShowComponent(const xComponentFit& fit, const FloatArray& taus, std::ostream& out) {
    out << ComponentName(fit.component) << "  misfit " << fit.misfit << "\n"
        << "  channel      data (norm.)         fit            residual\n";
    for (long c = fit.data.Low(); c <= fit.data.High(); ++c) {
        out << std::setw(9) << c;
        if (fit.data[c] == BlankValue)
            out << std::setw(18) << "missing" << std::setw(18) << fit.fit[c] << std::setw(18) << "-"
                << "\n";
        else
            out << std::setw(18) << fit.data[c] << std::setw(18) << fit.fit[c] << std::setw(18)
                << fit.residuals[c] << "\n";
    }
    out << "  tau [s]            amplitude (data units)\n";
    for (long t = 0; t < taus.Length(); ++t)
        out << std::setw(14) << taus[taus.Low() + t] << std::setw(22)
            << fit.amplitudes[fit.amplitudes.Low() + t] << "\n";
}

}  // namespace

int FitRecord(const fs::path& parFile, std::int32_t lineNumber, long recordNumber,
              RecordFit& result) {
    if (!OpenParFile(parFile, true)) return kFailed;
    const xProjectContext& project = ProjectContext();
    xEMDesc descriptor;
    if (!descriptor.Read(project.DescriptorPath())) return kFailed;
    xFitParams params;
    params.Load();
    xMData bin;
    bin.SetPath(project.ProjectFile("BIN"));
    if (!bin.Exists() || !bin.Open() || !bin.ReadHeader()) {
        Platform().Error("There is no survey file " + bin.Path().string() +
                         ": run 701 (ASCII->Binary) first.");
        return kFailed;
    }
    xAofTau& basis = result.basis;
    basis.SetPath(project.ProjectFile("AOT"));
    if (!basis.Exists()) {
        Platform().Error("There is no basis " + basis.Path().string() +
                         ": run 702 (Basis Functions) first.");
        return kFailed;
    }
    if (!basis.Read()) {
        Platform().Error("The basis " + basis.Path().string() + " cannot be read" +
                         (basis.Where().empty() ? "" : ":\n" + basis.Where()) +
                         "\nRun 702 (Basis Functions) again.");
        return kFailed;
    }
    xMLine line(&bin);
    if (!line.Find(lineNumber)) {
        Platform().Error(bin.MissingLineText(lineNumber));
        return kUsage;
    }
    if (recordNumber < 1 || recordNumber > line.Rows()) {
        Platform().Error("Line " + std::to_string(lineNumber) + " has records 1 to " +
                         std::to_string(line.Rows()) + ", not " + std::to_string(recordNumber) +
                         ".");
        return kUsage;
    }
    xMAmp amp;  // the layout of an amplitude record, not a file
    amp.InitFromData(bin, basis.Taus(), basis.Approximation());
    xFitFactory engine(descriptor);
    engine.Configure(xFitTau::Settings(params), basis, Platform());
    const std::string problem = xFitTau::FitterProblem(engine, params.algorithm, basis, bin);
    if (!problem.empty()) {
        Platform().Error(problem);
        return kFailed;
    }
    engine.SetLayouts(bin, amp);
    const FloatArray binRecord = line.Row(recordNumber - 1);
    result.line = lineNumber;
    result.record = recordNumber;
    result.fid = xRecordView(xRecordLayout(bin), binRecord.Data()).Fid();
    result.algorithm = params.algorithm;
    result.normalization = params.normalization;
    result.fits = engine.FitAlone(binRecord.Data());
    result.noiseFile = project.ProjectFile("NDF");
    return kSuccess;
}

int Fit(const fs::path& parFile, std::int32_t lineNumber, long recordNumber, std::ostream& out,
        [[maybe_unused]] const fs::path& plot) {
#ifdef TOVARN_FIGURES
    FigureArgs figure;
    figure.out = plot;
    // A figure that cannot be made is refused before anything is shown.
    if (!plot.empty())
        if (const int bad = CheckFigureArgs(figure, "--plot")) return bad;
#endif
    RecordFit result;
    if (const int failed = FitRecord(parFile, lineNumber, recordNumber, result)) return failed;
    out << "Line " << lineNumber << ", record " << recordNumber << " (FID " << result.fid
        << "), algorithm " << result.algorithm << ", normalization " << result.normalization
        << "\n";
    for (const xComponentFit& fit : result.fits) ShowComponent(fit, result.basis.Taus(), out);
#ifdef TOVARN_FIGURES
    if (!plot.empty()) return DrawRecordFit(result, figure, out);
#endif
    return kSuccess;
}

void AddFitCommand(CLI::App& app, CommandTable& table) {
    struct Args {
        std::string par;
        std::int32_t line = 0;
        long record = 0;
        std::string plot;
    };
    auto args = std::make_shared<Args>();
    auto* command = table.Add(
        app, "fit",
        "Deconvolve one record as 703 would and show, per component, the normalised data, the\n"
        "fit, the residuals and the amplitudes of the taus, to check a fit by eye. Needs the\n"
        "project's BIN (701) and AOT (702) files. Example:\n"
        "  tovarn fit survey.PAR --line 10010 --record 250",
        [args](xConsolePlatform&) {
            return Fit(args->par, args->line, args->record, std::cout, args->plot);
        });
    command->add_option("PROJECT.PAR", args->par, "the project")->required();
    command->add_option("--line", args->line, "the line number, e.g. 10010")->required();
    command->add_option("--record", args->record, "the record of the line, from 1")->required();
#ifdef TOVARN_FIGURES
    command->add_option("--plot", args->plot,
                        "also draw the record's decays as tovarn plot decay does: FILE.png, "
                        "FILE.svg or FILE.pdf");
#endif
}

}  // namespace cli
