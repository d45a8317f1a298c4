#include "xFitTau.h"

#include <filesystem>
#include <fstream>
#include <sstream>

#include "xAofTau.h"
#include "xBackground.h"
#include "xEMDesc.h"
#include "xFitAverage.h"
#include "xFitFactory.h"
#include "xFitParams.h"
#include "xMAmp.h"
#include "xMLine.h"
#include "xMLineBlock.h"
#include "xPendingFile.h"
#include "xPlatform.h"
#include "xProjectContext.h"
#include "xTRClasf.h"

namespace fs = std::filesystem;

xFitTau::xFitTau() : xObject(Id, "Deconvolution/") {}

int xFitTau::Init() {
    TakeParams(std::make_unique<xFitParams>());
    HoldDescriptor();
    return 1;
}

void xFitTau::SaveInAscii(const fs::path& path) {
    xMAmp amp;
    amp.SetPath(path);
    if (!amp.Exists() || !amp.Open() || !amp.ReadHeader()) {
        Platform().Warning("Deconvolution WARNING: There is no AMP file to save in ASCII!");
        return;
    }
    fs::path text = path;
    text.replace_filename(path.stem().string() + "_AMP.TEXT");
    xOutputFile out;
    if (!out.Open(text) || !amp.DumpAscii(out.Stream())) {
        Platform().Error("Cannot open ASCII file");
        return;
    }
    out.Commit();
}

xFitParams& xFitTau::Parameters() const {
    return static_cast<xFitParams&>(*Params());
}

xFitSettings xFitTau::Settings(const xFitParams& params) {
    xFitSettings settings;
    settings.algorithm = params.algorithm;
    settings.normalization = params.normalization;
    settings.threshold = params.threshold;
    settings.primaryFit = params.primaryFit != 0;
    settings.primaryFraction = params.primaryPercentage / 100.0f;
    settings.errorWeighting = params.errorWeighting;
    settings.weightParameter = params.weightParameter;
    settings.weights = params.weights;
    settings.smoothing = params.smoothing;
    settings.powerLaw = params.powerLaw;
    settings.forceToSurface = params.forceToSurface;
    settings.minLength = params.minLength;
    return settings;
}

bool xFitTau::DeconvolveLine(xFitFactory& engine, xMData& bin, const xMLineBlock& block, xMAmp& amp,
                             xLineAverages& averages) {
    xMLine line(&bin);
    if (!line.Load(block)) return false;
    FloatArray record(0, amp.RowLength() - 1);
    record *= 0.0f;
    xMLineStats mean(bin.RowLength());
    xMLineWriter writer(amp, line.LineNumber());
    long counter = 0;
    while (engine.NextRecord(counter) && counter <= line.Rows()) {
        if (counter <= writer.Rows()) continue;  // a record already written
        const FloatArray& row = line.Row(counter - 1);
        mean.Add(row.Data(), nullptr);
        engine.FitRecord(row.Data(), record.Data());
        writer.AddRow(record);
    }
    const bool finished = !engine.IsSet(xProcessState::Stop);
    if (!writer.Finish()) return false;
    averages = {};
    if (writer.Rows() > 0)
        for (const xComponentFit& fit : engine.FitAlone(mean.Mean().Data())) {
            averages.data.push_back(fit.data);
            averages.fit.push_back(fit.fit);
        }
    return finished;
}

void xFitTau::CalculateBackground(xMAmp& amp) {
    Platform().Note("Calculating background...");
    xBackground background(BackgroundLowOrder, BackgroundHighOrder, this);
    SetEngine(&background);
    OpenProgress("Line:");
    long channels = 0;
    for (long id = FirstComponent; id <= LastComponent; ++id)
        if (amp.AmplitudeOffset(id) != 0) channels += amp.Channels()[id];
    SetRange(long(amp.Records()) * channels);
    xMLine line(&amp);
    for (const xMLineBlock& block : amp.LineBlocks()) {
        if (!line.Load(block)) break;
        SetStatus("Line: " + std::to_string(block.number));
        for (long id = FirstComponent; id <= LastComponent; ++id)
            if (amp.AmplitudeOffset(id) != 0) background.Calculate(line, id, Platform());
        if (!line.Flush() || background.ErrorCode() == xBackground::Terminated) break;
    }
    SetEngine(nullptr);
    CloseProgress();
}

std::string xFitTau::FitterProblem(const xFitFactory& engine, long algorithm, const xAofTau& basis,
                                   const xMData& bin) {
    if (!engine.HasAnyFitter())
        return "Algorithm " + std::to_string(algorithm) +
               " names no fitter: set 703.Algorithm to one of 128 (PLS), 2048 (SVD), 2 (L1), 16 "
               "(positive L1) or 32 (PLS for X, SVD for Z).";
    const std::string mismatch = engine.BasisMismatch(bin);
    if (mismatch.empty()) return {};
    return basis.Path().filename().string() + " does not fit " + bin.FileName() + ": " + mismatch +
           "; run 702 (Basis Functions) again, then 703.";
}

void xFitTau::Execute(int) {
    const auto* descriptor = dynamic_cast<const xEMDesc*>(Descriptor());
    if (!descriptor) return SetOutcome(Outcome::Failed);
    const xProjectContext& project = Project();
    const xFitParams& params = Parameters();
    xMData bin;
    bin.SetPath(project.ProjectFile("BIN"));
    if (!bin.Exists() || !bin.Open() || !bin.ReadHeader()) {
        Platform().Note("There are no input file(s) for " + Title() +
                        ".  Please run the previous process to create one.");
        return SetOutcome(Outcome::Failed);
    }
    xAofTau basis;
    basis.SetPath(project.ProjectFile("AOT"));
    if (!basis.Exists() || !basis.Read()) {
        const std::string where = basis.Where().empty() ? "" : "\n" + basis.Where();
        Platform().Error("Deconvolution Erorr: Cannot open " + basis.Path().string() + " file" +
                         where);
        return SetOutcome(Outcome::Failed);
    }
    basis.CheckDescriptor(project.descriptorName, DescriptorDateStamp(project.DescriptorPath()));

    xMAmp amp;
    amp.SetPath(project.ProjectFile("AMP"));
    amp.SetOverwrite(project.autoFiles != 0);
    amp.InitFromData(bin, basis.Taus(), basis.Approximation());
    if (!OpenOutput(amp, amp.FileName(), "Save AMP file as :", 1) || !amp.WriteHeader())
        return SetOutcome(Outcome::Failed);

    SetRunState(Executing);
    xFitFactory engine(*descriptor, this);
    SetEngine(&engine);
    engine.Configure(Settings(params), basis, Platform());
    const std::string problem = FitterProblem(engine, params.algorithm, basis, bin);
    if (!problem.empty()) {
        Platform().Error(problem);
        SetEngine(nullptr);
        SetRunState(Idle);
        amp.Delete();
        return SetOutcome(Outcome::Failed);
    }

    xOutputFile averageFile(project.projectDir / FitAverageFileName);
    std::ostream& average = averageFile.Stream();
    const auto columns = FitAverageColumns(bin, descriptor->IsFrequencyDomain());
    WriteFitAverageHeader(average, columns, descriptor->IsFrequencyDomain(), bin.Version());

    OpenProgress("Deconvolving");
    SetRange(bin.Records());
    engine.SetLayouts(bin, amp);
    bool finished = true;
    xLineAverages averages;
    for (const xMLineBlock& block : bin.LineBlocks()) {
        SetStatus("Line: " + std::to_string(block.number));
        if (!DeconvolveLine(engine, bin, block, amp, averages)) {
            finished = false;
            break;
        }
        WriteFitAverageLine(average, block.number, averages.data, averages.fit);
    }
    amp.WriteHeader();
    SetEngine(nullptr);
    CloseProgress();
    if (!finished || IsTerminated()) {
        Platform().Note("The process is not completed. Current amplitude file will be deleted!");
        amp.Delete();
        SetUnfinished();
        return SetRunState(Idle);
    }
    if (params.calculateBackground) CalculateBackground(amp);
    SetRunState(Idle);
    if (!amp.Commit() || !averageFile.Commit()) return SetOutcome(Outcome::Failed);
    if (params.saveInAscii) SaveInAscii(amp.Path());
    Project().latestCreatedFile = amp.FileName();
    std::ostringstream note;
    note << amp.FileName() << ": " << amp.Lines() << " lines, " << engine.RecordsFitted()
         << " records; mean misfit";
    for (const auto& column : columns)
        note << ' ' << ComponentName(column.component) << ' '
             << engine.MeanMisfit(column.component);
    Platform().Note(note.str());
    if (const long stopped = engine.PassesAtRoundLimit(); stopped > 0)
        Platform().Warning(std::to_string(stopped) +
                           " positive least-squares passes stopped at their round limit: the "
                           "amplitudes of those fits are not the best fit of their data.");
}
