#include "xWaveBasis.h"

#include <algorithm>
#include <iomanip>
#include <limits>
#include <sstream>
#include <vector>

#include "xAofTau.h"
#include "xEMDesc.h"
#include "xIniFile.h"
#include "xPlatform.h"
#include "xProjectContext.h"
#include "xTRClasf.h"
#include "xWavParams.h"
#include "xWaveBasisFD.h"
#include "xWaveBasisTD.h"

xWaveBasis::xWaveBasis(xIniFile* ini) : xObject(Id, "Basis Functions/"), ini_(ini) {}

int xWaveBasis::Init() {
    TakeParams(std::make_unique<xWavParams>());
    HoldDescriptor();
    return 1;
}

xWavParams& xWaveBasis::Parameters() const {
    return static_cast<xWavParams&>(*Params());
}

xWaveBasisBuilder& xWaveBasis::Builder(const xEMDesc& descriptor) {
    if (!builder_) builder_ = MakeBasisBuilder(descriptor, settings_, Platform());
    return *builder_;
}

void xWaveBasis::TakeSettings() {
    const xWavParams& params = Parameters();
    settings_.numberOfTaus = params.numberOfTaus;
    settings_.earlyTau = params.earlyTau;
    settings_.lateTau = params.lateTau;
    settings_.automaticSelection = params.automaticSelection != 0;
    settings_.selectionWasAutomatic = params.selectionWasAutomatic != 0;
    settings_.earlyRelativeError = params.earlyRelativeError;
    settings_.lateRelativeError = params.lateRelativeError;
    settings_.unit = params.unit;
    settings_.stripping = params.stripping;
    settings_.approximationType = params.approximationType;
    settings_.descriptorName = Project().descriptorName;
    if (!ini_) return;
    settings_.thinSheetFactors = ini_->GetThinSheetFactors();
    settings_.halfSpaceFactors = ini_->GetHalfSpaceFactors();
    settings_.extraTaus = ini_->GetExtraTaus();
}

void xWaveBasis::KeepDecisions() const {
    xWavParams& params = Parameters();
    params.numberOfTaus = std::int32_t(settings_.numberOfTaus);
    params.earlyTau = settings_.earlyTau;
    params.lateTau = settings_.lateTau;
    params.selectionWasAutomatic = settings_.selectionWasAutomatic;
}

void xWaveBasis::AdviseOnTaus(const xEMDesc& descriptor) const {
    long fewest = std::numeric_limits<long>::max();
    const xTRClasf channels = descriptor.GetClassification();
    for (long id = FirstComponent; id <= LastComponent; ++id)
        if (channels[id] > 0) fewest = std::min<long>(fewest, channels[id]);
    if (fewest == std::numeric_limits<long>::max() || Parameters().numberOfTaus <= fewest) return;
    Platform().Note(
        "System detected number of taus greater than number of samples. "
        "Generally number of taus should not exceed number of samples/frequencies, "
        "unless you are going to use smoothing in DECONVOLUTION."
        "We advise you to decrease number of taus to " +
        std::to_string(fewest));
}

namespace {
// " (the earliest at most 1.7e-06 s, 0.25 of the first window's centre after the
// current's last change)", or nothing when no limit cut.
std::string LimitText(const char* which, double seconds, double fraction, const char* where) {
    if (!(seconds > 0.0)) return "";
    std::ostringstream text;
    text << " (the " << which << " at most " << seconds << " s, " << std::setprecision(2)
         << fraction << " of the " << where << " after the current's last change)";
    return text.str();
}

// " (the earliest at least 3.1e-07 s, 0.25 of 1 / (2 pi f) at the highest
// frequency) (the latest at most 0.0026 s, 1 period of the lowest frequency)".
std::string FrequencyLimitsText(const xBasisSettings& settings, double secondsPerUnit) {
    std::ostringstream text;
    if (settings.earlyTauLimit > 0.0)
        text << " (the earliest at least " << settings.earlyTauLimit * secondsPerUnit << " s, "
             << std::setprecision(2) << settings.earlyTauFrequencyFraction
             << " of 1 / (2 pi f) at the highest frequency)" << std::setprecision(6);
    if (settings.lateTauLimit > 0.0)
        text << " (the latest at most " << settings.lateTauLimit * secondsPerUnit << " s, "
             << std::setprecision(2) << settings.lateTauPeriods
             << " period of the lowest frequency)";
    return text.str();
}
}  // namespace

void xWaveBasis::TellTauRange(const FloatArray& taus, bool frequencyDomain) const {
    std::ostringstream note;
    note << "taus " << taus[taus.Low()] << " to " << taus[taus.High()] << " s: ";
    const double seconds = xEMSDesc::SecondsPer(Parameters().unit);
    if (!settings_.selectionWasAutomatic)
        note << "as 702.EarlyTau and 702.LateTau give them (702.AutomaticSelection=USER).";
    else if (settings_.earlyTauLimit > 0.0 || settings_.lateTauLimit > 0.0)
        note << "chosen automatically, then kept to what the "
             << (frequencyDomain ? "frequencies" : "windows") << " can tell apart"
             << (frequencyDomain
                     ? FrequencyLimitsText(settings_, seconds)
                     : LimitText("earliest", settings_.earlyTauLimit * seconds,
                                 settings_.earlyTauWindowFraction, "first window's centre") +
                           LimitText("latest", settings_.lateTauLimit * seconds,
                                     settings_.lateTauWindowFraction, "last window's start"))
             << "; for other taus set 702.AutomaticSelection=USER with 702.EarlyTau and "
                "702.LateTau.";
    else
        note << "chosen automatically from the decays the windows can tell apart.";
    Platform().Note(note.str());
}

bool xWaveBasis::BuildAll(const xEMDesc& descriptor, xAofTau& basis) {
    xWaveBasisBuilder& builder = Builder(descriptor);
    const double seconds = xEMSDesc::SecondsPer(Parameters().unit);
    const bool frequencyDomain = descriptor.IsFrequencyDomain();
    // The file has one set of taus for all components: the range is chosen on
    // the component with the most channels, built first, and the others are
    // built on that range, in rising id.
    const xTRClasf channels = descriptor.GetClassification();
    std::vector<long> order;
    for (const auto& [id, component] : descriptor.Components()) order.push_back(id);
    const auto lead = std::max_element(order.begin(), order.end(), [&channels](long a, long b) {
        return channels[a] < channels[b];
    });
    if (lead != order.end()) std::rotate(order.begin(), lead, lead + 1);
    // Only the first build chooses the range; the others are made on it.
    const bool automatic = settings_.automaticSelection;
    bool first = true;
    for (long id : order) {
        if (IsTerminated()) return false;
        if (first || builder.Changed(id)) {
            SetStatus("Creating Wave Basis");
            builder.Build(id);
            settings_.automaticSelection = false;
            settings_.selectionWasAutomatic = automatic;
        }
        first = false;
        FloatMatrix windows = builder.Windows();
        if (!frequencyDomain) windows *= float(seconds);
        basis.SetWindows(id, windows);
        basis.SetAmplitudes(id, builder.Amplitudes());
        basis.SetPrimary(id, builder.Primary());
        Advance();
    }
    FloatArray taus = builder.Taus();
    taus *= float(seconds);
    basis.SetTaus(taus);
    return !first;
}

void xWaveBasis::Execute(int) {
    const auto* descriptor = dynamic_cast<const xEMDesc*>(Descriptor());
    if (!descriptor) return SetOutcome(Outcome::Failed);
    SetRunState(Executing);
    const xProjectContext& project = Project();
    xAofTau basis;
    basis.SetPath(project.ProjectFile("AOT"));
    basis.SetOverwrite(project.autoFiles != 0);
    basis.SetDescriptorName(project.descriptorName);
    basis.SetDescriptorDate(DescriptorDateStamp(project.DescriptorPath()));
    basis.SetApproximation(Parameters().approximationType);
    AdviseOnTaus(*descriptor);
    OpenProgress("Create Basis Functions");
    SetRange(long(descriptor->Components().size()));
    bool built = false;
    TakeSettings();
    try {
        built = BuildAll(*descriptor, basis);
    } catch (const xBasisError& error) {
        Platform().Error(error.what());
    }
    KeepDecisions();
    CloseProgress();
    if (!built) {
        SetUnfinished();
        return SetRunState(Idle);
    }
    SetRunState(Idle);
    if (!basis.Write()) {
        Platform().Error("xWaveBasis::Execute() Cannot open " + basis.Path().string() + " file");
        return SetOutcome(Outcome::Failed);
    }
    Parameters().basisValid = 1;
    Parameters().Save();
    Project().latestCreatedFile = basis.FileName();
    TellTauRange(basis.Taus(), descriptor->IsFrequencyDomain());
    std::ostringstream note;
    const FloatArray& taus = basis.Taus();
    note << basis.FileName() << ": " << taus.Length() << " taus from " << taus[taus.Low()] << " to "
         << taus[taus.High()] << " s, " << basis.Components().size() << " components.";
    Platform().Note(note.str());
}
