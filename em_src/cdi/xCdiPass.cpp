#include "xCdiPass.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sstream>

#include "xCDIParams.h"
#include "xCndReports.h"
#include "xCondaCross.h"
#include "xCondaFactory.h"
#include "xEMDesc.h"
#include "xMAmp.h"
#include "xMCond.h"
#include "xMLineBlock.h"
#include "xPlatform.h"
#include "xRecordLayout.h"
#include "xTRClasf.h"

namespace fs = std::filesystem;

namespace {
constexpr long CalibrationRecords = 200;

const char* const kCalibrationQuestion =
    "CDI module detected a possibility that input data "
    "was incorrectly calibrated. You could terminate CDI, correct "
    "calibration and try again or continue with current data.";
}  // namespace

xCdiPass::xCdiPass(xCdiSettings& settings, const xEMDesc& descriptor, xPlatform& platform,
                   xProgressSink* owner)
    : settings_(settings), descriptor_(descriptor), platform_(platform), owner_(owner) {
    scaling_.fill(1.0f);
}

xCdiPass::~xCdiPass() = default;

bool xCdiPass::CrossComponent() const {
    return settings_.crossComponent;
}

FloatArray xCdiPass::LogDepths() {
    static const float depths[] = {1,  2,   3,   5,   7,   10,  20,   30,  50,
                                   70, 100, 200, 300, 500, 700, 1000, 2000};
    FloatArray column(0, long(std::size(depths)) - 1);
    for (long d = 0; d < column.Length(); ++d) column[d] = depths[d];
    return column;
}

void xCdiPass::RangeFromHistogram(const FloatMatrix& histogram, float& low, float& high) {
    const long first = histogram.ColLow(), last = histogram.ColHigh();
    const auto& counts = histogram[histogram.RowLow()];
    const auto& edges = histogram[histogram.RowLow() + 1];
    float peak = 0.0f;
    for (long k = first; k <= last; ++k) peak = std::max(peak, counts[k]);
    const float floor = 0.01f * peak;
    low = edges[first];
    high = edges[last];
    for (long k = first; k <= last; ++k)
        if (counts[k] >= floor) {
            low = edges[k == first ? k : k - 1];
            break;
        }
    for (long k = last; k >= first; --k)
        if (counts[k] >= floor) {
            high = edges[k];
            break;
        }
    if (!(low > 0.0f) || !(low < high)) low = edges[first];
    if (!(high > 0.0f)) high = edges[last];
}

bool xCdiPass::Execute(const fs::path& ampPath, const fs::path& cndPath) {
    if (!settings_.autoRange || CrossComponent()) return Stage(Single, ampPath, cndPath);
    if (!Stage(Estimate, ampPath, cndPath)) return false;
    float low = 0.0f, high = 0.0f;
    RangeFromHistogram(histogram_, low, high);
    const FloatArray& c = settings_.conductivities;
    if (c.Length() == 0 || c[c.Low()] != low || c[c.High()] != high)
        settings_.conductivities = xCDIParams::LogSpaced(low, high, settings_.condCount);
    return Stage(Final, ampPath, cndPath);
}

bool xCdiPass::OpenInput(xMAmp& amp, const fs::path& path) {
    platform_.ProgressStatus("Open AMP file");
    amp.SetPath(path);
    if (amp.Exists() && amp.Open() && amp.ReadHeader() && amp.TauCount() > 0) return true;
    platform_.Error("CDI ERROR: Cannot read the amplitude file " + path.string() +
                    ". Run the deconvolution (703) first.");
    return false;
}

void xCdiPass::ClampTaus(long tauCount) {
    const auto n = std::int32_t(tauCount);
    if (settings_.useAllTaus) {
        settings_.fromTau = 1;
        settings_.toTau = n;
        return;
    }
    settings_.fromTau = std::clamp(settings_.fromTau, 1, n);
    settings_.toTau = std::min(settings_.toTau, n);
    settings_.toTau = std::max(settings_.toTau, settings_.fromTau);
}

FloatArray xCdiPass::Depths() const {
    if (CrossComponent() && settings_.logDepths) return LogDepths();
    const std::int32_t step = std::max<std::int32_t>(settings_.depthResolution, 1);
    const long count = std::max<std::int32_t>(settings_.maxDepth, 0) / step + 1;
    FloatArray depths(0, count - 1);
    for (long k = 0; k < count; ++k) depths[k] = float(k * step);
    return depths;
}

std::unique_ptr<xMCond> xCdiPass::MakeOutput(const xMAmp& amp) const {
    auto cnd = CrossComponent() ? std::make_unique<xMCondCross>() : std::make_unique<xMCond>();
    cnd->SetCdiType(settings_.cdiType);
    cnd->SetLayerCount(settings_.layerCount);
    cnd->Init(Depths(), amp.ComponentFlags());
    cnd->SetFlight(amp.Flight());
    cnd->SetNoiseLevel(amp.NoiseLevel());
    for (long id = FirstComponent; id <= LastComponent; ++id)
        cnd->SetWeight(id, settings_.componentWeights[id]);
    if (auto* cross = dynamic_cast<xMCondCross*>(cnd.get())) {
        cross->SetConductivities(settings_.conductivities);
        for (long id = FirstComponent; id <= LastComponent; ++id)
            if (settings_.crossComponents[id] != 0.0f && amp.ComponentFlags()[id] != 0)
                cross->Add(id);
    }
    return cnd;
}

std::unique_ptr<xCondaFactory> xCdiPass::MakeEngine(xMAmp& amp, xMCond& cnd) const {
    const long first = settings_.fromTau, last = settings_.toTau;
    if (auto* cross = dynamic_cast<xMCondCross*>(&cnd))
        return std::make_unique<xCondaCross>(descriptor_, amp, *cross, first, last, owner_);
    return std::make_unique<xCondaFactory>(descriptor_, amp, cnd, first, last, owner_);
}

bool xCdiPass::CheckGeometry(const xMAmp& amp) const {
    const float lowest = amp.Min()[xRecordLayout::Altitude];
    for (const auto& [id, component] : descriptor_.Components()) {
        if (id < FirstComponent || id > LastComponent || amp.ComponentFlags()[id] == 0) continue;
        const xEMGDesc& g = component.geometry;
        const std::string name = ComponentName(id);
        if (lowest + g.GetPosition(xEMGDesc::Tx)[2] <= 0.0f) {
            platform_.Warning(
                "CDI WARNING:According to System Geometry there are readings when " + name +
                " transmitter must be located beneath the surface!?" +
                " Check altitudes in the ASC file & transmitter position in the DSC file.");
            return false;
        }
        if (lowest + g.GetPosition(xEMGDesc::Rx)[2] <= 0.0f) {
            platform_.Warning(
                "CDI WARNING:According to System Geometry there are readings when" + name +
                " receiver must be located beneath the surface!?" +
                " Check altitudes in RawData file & receiver vertical position in the DSC file.");
            return false;
        }
    }
    return true;
}

void xCdiPass::RaiseMaxAltitude(const xMAmp& amp) {
    const float highest = amp.Max()[xRecordLayout::Altitude] + 1.0f;
    if (!(highest > float(settings_.maxAltitude))) return;
    platform_.Warning(
        "CDI WARNING: Max flight altitude for this survey detected to be higher specified in CDI "
        "dialog box. The biggest value will be used...");
    settings_.maxAltitude = std::int32_t(highest);
}

bool xCdiPass::CalibrationLooksWrong(const std::array<float, 9>& factors) const {
    const float tolerance = settings_.amplitudeDeviation;
    for (float f : factors)
        if (std::fabs(f) > tolerance || std::fabs(f) < 1.0f / tolerance) return true;
    return false;
}

bool xCdiPass::CheckFractions(const xMAmp& amp) const {
    if (settings_.forceToSurface) return true;
    for (long id = FirstComponent; id <= LastComponent; ++id) {
        if (amp.ComponentFlags()[id] == 0 || !descriptor_.HasComponent(id)) continue;
        std::string why;
        if (descriptor_.PrimaryFractionFactor(id, why) != 0.0) continue;
        platform_.Error(
            "CDI ERROR: The amplitudes cannot be brought to fractions of the primary "
            "field: " +
            why + ". Or set 704.ForceToSurface=1 to scale them to the surface.");
        return false;
    }
    return true;
}

bool xCdiPass::CheckScalingSigns(const xCondaFactory& engine) const {
    for (long id = FirstComponent; id <= LastComponent; ++id) {
        const float factor = scaling_[id - FirstComponent];
        if (engine.Weights()[id - FirstComponent] == 0.0f || !(factor < 0.0f)) continue;
        std::ostringstream text;
        text << "CDI ERROR: The force-to-surface factor of " << ComponentName(id) << " is "
             << factor
             << ": its data have the opposite sign to the primary field of the descriptor. "
                "Most likely the channels need their sign turned: build the descriptor again "
                "with the group negated (descriptor build --channels "
             << char('X' + RxAxis(id) - 1) << "=-COLUMN) and run 701 to 704 again.";
        platform_.Error(text.str());
        return false;
    }
    return true;
}

bool xCdiPass::Scale(xCondaFactory& engine, bool compute) {
    if (settings_.forceToSurface) {
        if (compute) {
            scaling_ = engine.ComputeScalingFactors(0);
            if (!CheckScalingSigns(engine)) return false;
            std::ostringstream shown;
            shown << "Contributions of all taus will be reduced by factor of";
            for (long id = FirstComponent; id <= LastComponent; ++id)
                if (engine.Weights()[id - FirstComponent] != 0.0f ||
                    scaling_[id - FirstComponent] != 1.0f)
                    shown << ' ' << ComponentName(id) << ' ' << scaling_[id - FirstComponent];
            platform_.Note(shown.str());
        }
        engine.SetScalingFactors(scaling_);
        engine.SetScalingEnabled(true);
        return true;
    }
    if (!compute || !settings_.inspectAmplitudes) return true;
    if (!CalibrationLooksWrong(engine.ComputeScalingFactors(CalibrationRecords))) return true;
    return platform_.Question(kCalibrationQuestion, {"Continue", "Terminate"}) == 0;
}

bool xCdiPass::RunLines(xMAmp& amp, xCondaFactory& engine) {
    platform_.ProgressStatus("Calculating CDI Matrix");
    platform_.ProgressRange(0, amp.Records());
    for (const xMLineBlock& line : amp.LineBlocks())
        if (!engine.ProcessLine(line)) return false;
    return true;
}

bool xCdiPass::Close(xMCond& cnd, xCondaFactory& engine, bool finished, bool keep) {
    histogram_ = engine.Histogram();
    records_ = engine.RecordsDone();
    cells_ = engine.Cells();
    cnd.ShiftDepthsByZmax();
    cnd.SetHistogram(histogram_);
    const bool written = cnd.WriteHeader();
    if (finished && written && keep) return cnd.Commit() == 1;
    // An estimate only tells the range: its section is not kept.
    cnd.Delete();
    return finished && written;
}

bool xCdiPass::Stage(StageKind kind, const fs::path& ampPath, const fs::path& cndPath) {
    platform_.ProgressOpen(kind == Estimate ? "-Estimating conductivity range.."
                                            : "-Final stage..");
    xMAmp amp;
    if (!OpenInput(amp, ampPath)) return false;
    ClampTaus(amp.TauCount());
    auto cnd = MakeOutput(amp);
    platform_.ProgressStatus("Open CND file.");
    cnd->SetPath(cndPath);
    cnd->SetOverwrite(true);
    if (!cnd->Create() || !cnd->WriteHeader()) {
        platform_.Error("CDI ERROR: Cannot create " + cndPath.string());
        return false;
    }
    platform_.ProgressStatus("Preparing data for CDI...");
    auto engine = MakeEngine(amp, *cnd);
    engine->SetCutOffFactor(std::fabs(settings_.cutOffFactor));
    engine->SetConductivities(settings_.conductivities);
    engine->SetShortTauFlags(settings_.cut, settings_.predict);
    engine->SetLayerCount(settings_.layerCount);
    if (owner_) owner_->SetEngine(engine.get());
    bool finished = CheckFractions(amp) && CheckGeometry(amp);
    if (finished) RaiseMaxAltitude(amp);
    const long deepest = long(settings_.maxAltitude) + settings_.maxDepth;
    finished = finished && engine->BuildLookups(1, deepest) &&
               engine->BuildDerivatives(1, deepest) && engine->Init() &&
               Scale(*engine, kind != Final);
    xConductanceTable table;
    if (finished && kind != Estimate && !tablePath_.empty() && table.Open(tablePath_, *cnd))
        engine->SetConductanceTable(&table);
    if (finished) finished = RunLines(amp, *engine);
    if (finished && table.IsOpen()) finished = table.Commit();
    if (owner_) owner_->SetEngine(nullptr);
    return Close(*cnd, *engine, finished, kind != Estimate);
}

std::string xCdiPass::EmptySectionProblem() const {
    if (records_ == 0 || cells_.inside > 0) return "";
    const FloatArray& c = settings_.conductivities;
    std::ostringstream text;
    text << "CDI ERROR: The section says nothing of the ground: ";
    if (cells_.valid == 0)
        text << "every conductivity is NULL.";
    else
        text << "every conductivity lies at an end of the table (" << c[c.Low()] << " or "
             << c[c.High()] << " mS/m).";
    text << " The amplitudes are not fractions of the primary field: check the descriptor's "
            "receiver unit and transmitter moment and the sign of the data, or set "
            "704.ForceToSurface=1.";
    return text.str();
}
