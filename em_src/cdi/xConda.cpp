#include "xConda.h"

#include <filesystem>
#include <sstream>

#include "xCDIParams.h"
#include "xCdiPass.h"
#include "xCndReports.h"
#include "xEMDesc.h"
#include "xIniFile.h"
#include "xMCond.h"
#include "xPlatform.h"
#include "xProjectContext.h"

namespace fs = std::filesystem;

namespace {
constexpr std::int32_t FirstAsciiCode = 10;
constexpr std::int32_t LastAsciiCode = 18;
constexpr std::int32_t DisplaySections = 0x3;  // discrete and layered
}  // namespace

xConda::xConda(xIniFile* configuration) : xObject(Id, "CDI/"), configuration_(configuration) {}

int xConda::Init() {
    TakeParams(std::make_unique<xCDIParams>());
    HoldDescriptor();
    return 1;
}

xCDIParams& xConda::Parameters() const {
    return static_cast<xCDIParams&>(*Params());
}

xCdiSettings xConda::Settings(const xCDIParams& p, xIniFile* configuration) {
    xCdiSettings s;
    s.crossComponent = p.mode == xCDIParams::ProcessCross;
    s.autoRange = p.autoRange != 0;
    s.useAllTaus = p.useAllTaus != 0;
    s.fromTau = p.fromTau;
    s.toTau = p.toTau;
    s.maxAltitude = p.maxAltitude;
    s.maxDepth = p.maxDepth;
    s.depthResolution = p.depthResolution;
    s.logDepths = p.logDepths != 0;
    s.cutOffFactor = p.cutOffFactor;
    s.forceToSurface = p.forceToSurface != 0;
    s.cut = p.cut != 0;
    s.predict = p.predict != 0;
    s.layerCount = p.layerCount;
    s.cdiType = p.cdiType;
    s.condCount = p.condCount;
    s.conductivities = p.conductivities;
    s.componentWeights = p.componentWeights;
    s.crossComponents = p.crossComponents;
    if (configuration) {
        if (configuration->GetAmplitudeDeviation() > 0.0)
            s.amplitudeDeviation = float(configuration->GetAmplitudeDeviation());
        s.inspectAmplitudes = configuration->GetInspectAmplitudes();
    }
    return s;
}

void xConda::KeepSettled(const xCdiSettings& settings) {
    xCDIParams& p = Parameters();
    p.maxAltitude = settings.maxAltitude;
    p.fromTau = settings.fromTau;
    p.toTau = settings.toTau;
    p.conductivities = settings.conductivities;
}

bool xConda::CheckParameters() const {
    const xCDIParams& p = Parameters();
    if (p.condCount < 1 || p.condCount > xCDIParams::MaxConductivities ||
        p.conductivities.Length() != p.condCount) {
        Platform().Error("CDI ERROR: 704.CondCount must lie in 1..250 and match the " +
                         std::to_string(p.conductivities.Length()) +
                         " conductivities given; set 704.CondCount and 704.Conductivities.");
        return false;
    }
    for (long i = p.conductivities.Low() + 1; i <= p.conductivities.High(); ++i)
        if (!(p.conductivities[i - 1] > 0.0f && p.conductivities[i - 1] < p.conductivities[i])) {
            Platform().Error(
                "CDI ERROR: 704.Conductivities must be positive and rise from the first to the "
                "last (mS/m).");
            return false;
        }
    long selected = 0;
    for (long id = p.crossComponents.Low(); id <= p.crossComponents.High(); ++id)
        selected += p.crossComponents[id] != 0.0f;
    if (p.mode == xCDIParams::ProcessCross && selected > xMCondCross::MaxSelected) {
        Platform().Error("Up to " + std::to_string(xMCondCross::MaxSelected) +
                         " components is allowed for cross-component analysis. Please make a "
                         "selection again.");
        return false;
    }
    if (p.maxDepth <= 0 || p.maxAltitude < 0) {
        Platform().Error("CDI ERROR: 704.MaxDepth must be above 0 and 704.MaxAltitude at least 0.");
        return false;
    }
    if (p.cutOffFactor > 1.0f)
        Platform().Warning(
            "Selected Cut-Off Factor > 1.0 defines an EM system which accepts data at later "
            "times than the specified system. Reduce the Cut-Off Factor.");
    return true;
}

void xConda::SaveOutput(const fs::path& cndPath) {
    const xCDIParams& p = Parameters();
    if (p.saveAscii < FirstAsciiCode || p.saveAscii > LastAsciiCode) return;
    xMCond cnd;
    cnd.SetPath(cndPath);
    if (!cnd.Open() || !cnd.ReadHeader()) return;
    xCdiOutputOptions options;
    options.out = DefaultCdiOutputPath(cndPath, p.saveAscii);
    options.forceToSurface = p.airMode == 1;
    options.sections = p.displayFlags & DisplaySections;
    options.pattern = p.userPattern;
    if (configuration_ && !configuration_->GetCdiAsciiExtension().empty())
        options.extension = configuration_->GetCdiAsciiExtension();
    if (SaveCdiOutput(cnd, p.saveAscii, options, Platform()) && p.saveAscii != 14)
        Platform().Note("CDI output written to " + DescribeCdiOutput(p.saveAscii, options));
}

void xConda::DescribeExisting(const std::string& extension) {
    xMCond existing;
    existing.SetPath(Project().ProjectFile(extension));
    if (!existing.Exists() || existing.Open() != 1 || !existing.ReadHeader()) {
        Platform().Error("CDI Creation Error: File <" + existing.Path().string() +
                         "> could not be opened.");
        return;
    }
    Platform().Note(existing.FileName() + ": " + std::to_string(existing.Lines()) + " lines, " +
                    std::to_string(existing.Records()) + " records, " +
                    std::to_string(existing.DepthCount()) +
                    " depths. Drawing needs the desktop program; set 704.Mode=1 (CDI) or 3 "
                    "(cross-component analysis) to compute the section again.");
}

void xConda::Execute(int) {
    const auto* descriptor = dynamic_cast<const xEMDesc*>(Descriptor());
    if (!descriptor) return SetOutcome(Outcome::Failed);
    xCDIParams& params = Parameters();
    if (params.mode == xCDIParams::DrawCdi || params.mode == xCDIParams::DrawCross) {
        DescribeExisting(params.mode == xCDIParams::DrawCross ? "CRS" : "CND");
        return;
    }
    if (!CheckParameters()) return SetOutcome(Outcome::Failed);
    const xProjectContext& project = Project();
    const fs::path ampPath = project.ProjectFile("AMP");
    if (!fs::exists(ampPath)) {
        Platform().Note("There are no input file(s) for " + Title() +
                        ".  Please run the previous process to create one.");
        return SetOutcome(Outcome::Failed);
    }
    xCdiSettings settings = Settings(params, configuration_);
    xCdiPass pass(settings, *descriptor, Platform(), this);
    xMCond target;
    target.SetPath(project.ProjectFile(pass.CrossComponent() ? "CRS" : "CND"));
    target.SetOverwrite(project.autoFiles != 0);
    if (!OpenOutput(target, target.FileName(), "Save CDI file as :", 1))
        return SetOutcome(Outcome::Failed);
    const fs::path cndPath = target.Path();
    target.Close();

    SetRunState(Executing);
    OpenProgress("CDI");
    const bool written = pass.Execute(ampPath, cndPath);
    KeepSettled(settings);
    CloseProgress();
    if (!written) {
        if (IsTerminated())
            Platform().Note("The process is not completed. Current CDI file will be deleted!");
        SetUnfinished();
        return SetRunState(Idle);
    }
    SetRunState(Idle);
    Project().latestCreatedFile = cndPath.filename().string();
    std::ostringstream note;
    note << cndPath.filename().string() << ": " << pass.Records() << " records, depths 0 to "
         << params.maxDepth << " m, conductivities " << params.conductivities[1] << " to "
         << params.conductivities[params.condCount] << " mS/m";
    Platform().Note(note.str());
    if (pass.CrossComponent()) return;
    SaveOutput(cndPath);
    if (const std::string problem = pass.EmptySectionProblem(); !problem.empty())
        Platform().Error(problem);
}
