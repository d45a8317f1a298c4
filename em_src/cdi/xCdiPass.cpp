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
#include "xIniFile.h"
#include "xMAmp.h"
#include "xMCond.h"
#include "xMLineBlock.h"
#include "xObject.h"
#include "xPlatform.h"
#include "xTRClasf.h"

namespace fs = std::filesystem;

namespace {
constexpr long CalibrationRecords = 200;
constexpr float DefaultCalibrationTolerance = 10.0f;

const char* const kCalibrationQuestion =
    "CDI module detected a possibility that input data "
    "was incorrectly calibrated. You could terminate CDI, correct "
    "calibration and try again or continue with current data.";
}  // namespace

xCdiPass::xCdiPass(xCDIParams& params, const xEMDesc& descriptor, xProgressSink* owner)
    : params_(params), descriptor_(descriptor), owner_(owner) {
    scaling_.fill(1.0f);
}

xCdiPass::~xCdiPass() = default;

bool xCdiPass::CrossComponent() const {
    return params_.mode == xCDIParams::ProcessCross;
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
    if (!params_.autoRange || CrossComponent()) return Stage(Single, ampPath, cndPath);
    if (!Stage(Estimate, ampPath, cndPath)) return false;
    float low = 0.0f, high = 0.0f;
    RangeFromHistogram(histogram_, low, high);
    const FloatArray& c = params_.conductivities;
    if (c.Length() == 0 || c[c.Low()] != low || c[c.High()] != high)
        params_.conductivities = xCDIParams::LogSpaced(low, high, params_.condCount);
    return Stage(Final, ampPath, cndPath);
}

bool xCdiPass::OpenInput(xMAmp& amp, const fs::path& path) {
    Platform().ProgressStatus("Open AMP file");
    amp.SetPath(path);
    if (amp.Exists() && amp.Open() && amp.ReadHeader() && amp.TauCount() > 0) return true;
    Platform().Error("CDI ERROR: Cannot read the amplitude file " + path.string() +
                     ". Run the deconvolution (703) first.");
    return false;
}

void xCdiPass::ClampTaus(long tauCount) {
    const auto n = std::int32_t(tauCount);
    if (params_.useAllTaus) {
        params_.fromTau = 1;
        params_.toTau = n;
        return;
    }
    params_.fromTau = std::clamp(params_.fromTau, 1, n);
    params_.toTau = std::min(params_.toTau, n);
    params_.toTau = std::max(params_.toTau, params_.fromTau);
}

FloatArray xCdiPass::Depths() const {
    if (CrossComponent() && params_.logDepths) return LogDepths();
    const std::int32_t step = std::max<std::int32_t>(params_.depthResolution, 1);
    const long count = std::max<std::int32_t>(params_.maxDepth, 0) / step + 1;
    FloatArray depths(0, count - 1);
    for (long k = 0; k < count; ++k) depths[k] = float(k * step);
    return depths;
}

std::unique_ptr<xMCond> xCdiPass::MakeOutput(const xMAmp& amp) const {
    auto cnd = CrossComponent() ? std::make_unique<xMCondCross>() : std::make_unique<xMCond>();
    cnd->SetCdiType(params_.cdiType);
    cnd->SetLayerCount(params_.layerCount);
    cnd->Init(Depths(), amp.ComponentFlags());
    cnd->SetFlight(amp.Flight());
    cnd->SetNoiseLevel(amp.NoiseLevel());
    for (long id = FirstComponent; id <= LastComponent; ++id)
        cnd->SetWeight(id, params_.componentWeights[id]);
    if (auto* cross = dynamic_cast<xMCondCross*>(cnd.get())) {
        cross->SetConductivities(params_.conductivities);
        for (long id = FirstComponent; id <= LastComponent; ++id)
            if (params_.crossComponents[id] != 0.0f && amp.ComponentFlags()[id] != 0)
                cross->Add(id);
    }
    return cnd;
}

std::unique_ptr<xCondaFactory> xCdiPass::MakeEngine(xMAmp& amp, xMCond& cnd) const {
    const long first = params_.fromTau, last = params_.toTau;
    if (auto* cross = dynamic_cast<xMCondCross*>(&cnd))
        return std::make_unique<xCondaCross>(descriptor_, amp, *cross, first, last, owner_);
    return std::make_unique<xCondaFactory>(descriptor_, amp, cnd, first, last, owner_);
}

bool xCdiPass::CheckGeometry(const xMAmp& amp) const {
    const float lowest = amp.Min()[4];
    for (const auto& [id, component] : descriptor_.Components()) {
        if (id < FirstComponent || id > LastComponent || amp.ComponentFlags()[id] == 0) continue;
        const xEMGDesc& g = component.geometry;
        const std::string name = ComponentName(id);
        if (lowest + g.GetPosition(xEMGDesc::Tx)[2] <= 0.0f) {
            Platform().Warning(
                "CDI WARNING:According to System Geometry there are readings when " + name +
                " transmitter must be located beneath the surface!?" +
                " Check altitudes in the ASC file & transmitter position in the DSC file.");
            return false;
        }
        if (lowest + g.GetPosition(xEMGDesc::Rx)[2] <= 0.0f) {
            Platform().Warning(
                "CDI WARNING:According to System Geometry there are readings when" + name +
                " receiver must be located beneath the surface!?" +
                " Check altitudes in RawData file & receiver vertical position in the DSC file.");
            return false;
        }
    }
    return true;
}

void xCdiPass::RaiseMaxAltitude(const xMAmp& amp) {
    const float highest = amp.Max()[4] + 1.0f;
    if (!(highest > float(params_.maxAltitude))) return;
    Platform().Warning(
        "CDI WARNING: Max flight altitude for this survey detected to be higher specified in CDI "
        "dialog box. The biggest value will be used...");
    params_.maxAltitude = std::int32_t(highest);
}

bool xCdiPass::CalibrationLooksWrong(const std::array<float, 9>& factors) const {
    float tolerance = DefaultCalibrationTolerance;
    if (IniFile() && IniFile()->GetAmplitudeDeviation() > 0.0)
        tolerance = float(IniFile()->GetAmplitudeDeviation());
    for (float f : factors)
        if (std::fabs(f) > tolerance || std::fabs(f) < 1.0f / tolerance) return true;
    return false;
}

bool xCdiPass::Scale(xCondaFactory& engine, bool compute) {
    if (params_.forceToSurface) {
        if (compute) {
            scaling_ = engine.ComputeScalingFactors(0);
            std::ostringstream shown;
            shown << "Contributions of all taus will be reduced by factor of";
            for (long id = FirstComponent; id <= LastComponent; ++id)
                if (engine.Weights()[id - FirstComponent] != 0.0f ||
                    scaling_[id - FirstComponent] != 1.0f)
                    shown << ' ' << ComponentName(id) << ' ' << scaling_[id - FirstComponent];
            Platform().Note(shown.str());
        }
        engine.SetScalingFactors(scaling_);
        engine.SetScalingEnabled(true);
        return true;
    }
    if (!compute || !IniFile() || !IniFile()->GetInspectAmplitudes()) return true;
    if (!CalibrationLooksWrong(engine.ComputeScalingFactors(CalibrationRecords))) return true;
    return Platform().Question(kCalibrationQuestion, {"Continue", "Terminate"}) == 0;
}

bool xCdiPass::RunLines(xMAmp& amp, xCondaFactory& engine) {
    Platform().ProgressStatus("Calculating CDI Matrix");
    Platform().ProgressRange(0, amp.Records());
    for (const xMLineBlock& line : amp.LineBlocks())
        if (!engine.ProcessLine(line)) return false;
    return true;
}

bool xCdiPass::Close(xMCond& cnd, xCondaFactory& engine, bool finished) {
    histogram_ = engine.Histogram();
    records_ = engine.RecordsDone();
    cnd.ShiftDepthsByZmax();
    cnd.SetHistogram(histogram_);
    const bool written = cnd.WriteHeader();
    cnd.Close();
    if (finished && written) return true;
    cnd.Delete();
    return false;
}

bool xCdiPass::Stage(StageKind kind, const fs::path& ampPath, const fs::path& cndPath) {
    Platform().ProgressOpen(kind == Estimate ? "-Estimating conductivity range.."
                                             : "-Final stage..");
    xMAmp amp;
    if (!OpenInput(amp, ampPath)) return false;
    ClampTaus(amp.TauCount());
    auto cnd = MakeOutput(amp);
    Platform().ProgressStatus("Open CND file.");
    cnd->SetPath(cndPath);
    cnd->SetOverwrite(true);
    if (!cnd->Create() || !cnd->WriteHeader()) {
        Platform().Error("CDI ERROR: Cannot create " + cndPath.string());
        return false;
    }
    Platform().ProgressStatus("Preparing data for CDI...");
    auto engine = MakeEngine(amp, *cnd);
    engine->SetCutOffFactor(std::fabs(params_.cutOffFactor));
    engine->SetConductivities(params_.conductivities);
    engine->SetShortTauFlags(params_.cut != 0, params_.predict != 0);
    engine->SetLayerCount(params_.layerCount);
    if (owner_) owner_->SetEngine(engine.get());
    bool finished = CheckGeometry(amp);
    if (finished) RaiseMaxAltitude(amp);
    const long deepest = long(params_.maxAltitude) + params_.maxDepth;
    finished = finished && engine->BuildLookups(1, deepest) &&
               engine->BuildDerivatives(1, deepest) && engine->Init() &&
               Scale(*engine, kind != Final);
    xConductanceTable table;
    if (finished && kind != Estimate && !tablePath_.empty() && table.Open(tablePath_, *cnd))
        engine->SetConductanceTable(&table);
    if (finished) finished = RunLines(amp, *engine);
    if (owner_) owner_->SetEngine(nullptr);
    return Close(*cnd, *engine, finished);
}
