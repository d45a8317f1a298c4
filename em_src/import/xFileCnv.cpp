#include "xFileCnv.h"

#include <memory>
#include <system_error>

#include "xASCII2BinFactory.h"
#include "xCnvParams.h"
#include "xEMDesc.h"
#include "xMData.h"
#include "xPlatform.h"
#include "xProjectContext.h"
#include "xRecordChecker.h"
#include "xSurveyInfo.h"

namespace fs = std::filesystem;

xFileCnv::xFileCnv() : xObject(Id, "ASCII->Binary/") {}

int xFileCnv::Init() {
    TakeParams(std::make_unique<xCnvParams>());
    HoldDescriptor();
    return 1;
}

xCnvParams& xFileCnv::Parameters() const {
    return static_cast<xCnvParams&>(*Params());
}

std::vector<fs::path> xFileCnv::SurveyFiles() const {
    std::vector<fs::path> files;
    for (const auto& name : Parameters().files) {
        const fs::path path(name);
        files.push_back(path.is_absolute() ? path : Project().projectDir / path);
    }
    return files;
}

xImportSettings xFileCnv::Settings() const {
    const xCnvParams& params = Parameters();
    xImportSettings settings;
    settings.files = SurveyFiles();
    settings.checkX = params.warnX != 0;
    settings.checkY = params.warnY != 0;
    settings.checkAltitude = params.warnZ != 0;
    settings.checkFid = params.warnFid != 0;
    settings.maxDx = params.maxDx;
    settings.maxDy = params.maxDy;
    settings.maxDz = params.maxDz;
    settings.maxDFid = params.maxDFid;
    settings.reports = params.errorOutput == 0   ? xImportSettings::Reports::Screen
                       : params.errorOutput == 2 ? xImportSettings::Reports::Both
                                                 : xImportSettings::Reports::File;
    return settings;
}

void xFileCnv::Execute(int) {
    const xImportSettings settings = Settings();
    const auto& files = settings.files;
    const auto* descriptor = dynamic_cast<const xEMDesc*>(Descriptor());
    if (files.empty() || !descriptor) {
        if (!NothingToConvert()) SetOutcome(Outcome::Failed);
        return;
    }
    if (!RecordFormatUsable(*descriptor)) return SetOutcome(Outcome::Failed);
    SetRunState(Executing);
    const xProjectContext& project = Project();
    xMData bin;
    bin.SetOverwrite(project.autoFiles != 0);
    if (!OpenOutput(bin, project.projectName + ".BIN", "Save BIN file as :", 1)) {
        SetOutcome(Outcome::Failed);
        SetRunState(Idle);
        return;
    }
    xASCII2BinFactory engine(Platform(), this);
    SetEngine(&engine);
    engine.SetDescriptor(descriptor);
    engine.SetTarget(&bin);
    engine.SetFiles(files);
    OpenProgress("Converting:");
    std::uintmax_t bytes = 0;
    for (const auto& file : files) {
        std::error_code ec;
        const auto size = fs::file_size(file, ec);
        if (!ec) bytes += size;
    }
    SetRange(long(bytes));
    bool converted = false;
    if (engine.Ready()) {
        xRecordChecker checker(project.projectDir / (project.projectName + ".err"),
                               engine.RecordLength(), settings, Platform());
        engine.SetChecker(&checker);
        converted = engine.Convert() && !engine.IsSet(xProcessState::Stop);
    } else {
        engine.Convert();  // says why it cannot
    }
    SetEngine(nullptr);
    CloseProgress();
    if (!converted || IsTerminated() || bin.Lines() == 0) {
        // A BIN cut short would feed the rest of the chain: the old one stays.
        SetUnfinished();
        bin.Delete();
        Platform().Note("The conversion is not completed: " + bin.FileName() +
                        " was left as it was.");
        return SetRunState(Idle);
    }
    if (!bin.Commit()) {
        SetOutcome(Outcome::Failed);
        return SetRunState(Idle);
    }
    Project().latestCreatedFile = bin.FileName();
    AfterConversion();
}

bool xFileCnv::RecordFormatUsable(const xEMDesc& descriptor) {
    bool usable = true;
    for (const xEMFCheck& check : descriptor.CheckRecordFormat()) {
        if (check.isQuestion) continue;
        Platform().Error(check.text);
        usable = false;
    }
    return usable;
}

void xFileCnv::AfterConversion() {
    xMData bin;
    bin.SetPath(Project().ProjectFile("BIN"));
    if (bin.Open() && bin.ReadHeader())
        Platform().Note(bin.FileName() + ": " + std::to_string(bin.Lines()) + " lines, " +
                        std::to_string(bin.Records()) + " records.");
    // The survey tree describes the lines just written.
    xSurveyInfo::Rebuild(Project().ProjectFile("SDB"), bin.Path(), Project().projectName);
    // Residuals of an earlier smoothing no longer belong to these lines.
    std::error_code ec;
    fs::remove(Project().ProjectFile("NDF"), ec);
    if (Parameters().smoothing != 0)
        Platform().Note("Smoothing is not built yet: the lines were imported unsmoothed.");
    SetRunState(Idle);
}

bool xFileCnv::NothingToConvert() {
    const fs::path bin = Project().ProjectFile("BIN");
    if (!fs::exists(bin)) {
        Platform().Warning("PROCESS: ASCII->Binary Conversion\nWARNING: File \"" +
                           Project().projectName + ".BIN\" does not exist. ");
        return false;
    }
    Platform().Question(
        "There were no ASCII files selected, but there is binary file created before. Do you "
        "want to draw this file?",
        {"Yes", "No"});
    return true;
}
