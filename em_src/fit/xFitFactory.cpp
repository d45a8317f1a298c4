#include "xFitFactory.h"

#include <algorithm>
#include <cmath>

#include "xEMDesc.h"
#include "xEMGDesc.h"
#include "xL1MinErrFit.h"
#include "xL1PosFit.h"
#include "xMAmp.h"
#include "xMData.h"
#include "xMLineBlock.h"
#include "xPLSFit.h"
#include "xPlatform.h"
#include "xSVDFit.h"
#include "xTRClasf.h"

namespace {

// The receiver axis of a component: 1 for TxRx, TyRx, TzRx, 3 for the Rz ones.
int ReceiverAxis(long component) {
    const long rx = (component - 101) % 3;
    return rx == 0 ? 1 : (rx == 2 ? 3 : 2);
}

std::unique_ptr<xFitSolver> MakeFitter(std::int32_t code, long component) {
    switch (code) {
        case xFitParams::L1NormMinErr:
            return std::make_unique<xL1MinErrFit>();
        case xFitParams::L1NormMinErrPos:
            return std::make_unique<xL1PosFit>();
        case xFitParams::PlsAllTaus:
            return std::make_unique<xPLSFit>();
        case xFitParams::SvdAllTaus:
            return std::make_unique<xSVDFit>();
        case xFitParams::PlsSvd:
            if (ReceiverAxis(component) == 3) return std::make_unique<xSVDFit>();
            return std::make_unique<xPLSFit>();
        default:
            return nullptr;
    }
}

}  // namespace

xFitFactory::xFitFactory(const xEMDesc& descriptor, xProgressSink* owner)
    : xProcessState(owner),
      descriptor_(descriptor),
      frequencyDomain_(descriptor.IsFrequencyDomain()) {}

xFitFactory::~xFitFactory() = default;

void xFitFactory::Configure(const xFitSettings& settings, const xAofTau& basis,
                            xPlatform& messages) {
    settings_ = settings;
    basis_.CopyFrom(basis);
    basis_.NormalizeBasisFunctions(settings.normalization);
    weights_.Set(settings.weights, settings.errorWeighting, settings.weightParameter, descriptor_,
                 messages);
    // The smoothing rows pair neighbouring taus by the power law of their ratio.
    const FloatArray& taus = basis.Taus();
    powerRatio_ = taus.Length() >= 2 && settings.powerLaw != 0.0f
                      ? std::pow(taus[taus.Low()] / taus[taus.Low() + 1], settings.powerLaw)
                      : 1.0f;
    smoothing_ = settings.smoothing * settings.smoothing;
    force_ = settings.forceToSurface * settings.forceToSurface;
    minLength_ = settings.minLength * settings.minLength;
    CreateFitters();
}

std::string xFitFactory::BasisMismatch(const xMData& bin) const {
    const xRecordLayout layout(bin);
    for (const auto& [id, fitter] : fitters_) {
        const long windows = fitter->Channels();
        const long channels = layout.ChannelCount(id);
        if (channels != windows)
            return "the basis has " + std::to_string(windows) + " windows of " + ComponentName(id) +
                   ", the survey file " + std::to_string(channels) + " channels";
        const FloatArray* primary = basis_.Primary(id);
        if (settings_.primaryFit && primary && primary->Length() < windows)
            return "the basis has a primary field of " + std::to_string(primary->Length()) +
                   " values for the " + std::to_string(windows) + " windows of " +
                   ComponentName(id);
    }
    return {};
}

void xFitFactory::SetLayouts(const xMData& bin, const xMAmp& amp) {
    bin_ = &bin;
    amp_ = &amp;
    binLayout_.emplace(bin);
    ampLayout_.emplace(amp);
}

FloatArray xFitFactory::WeightsOf(long component, long channels) const {
    // A table shorter than the channels (the power weights of a frequency
    // system have one value per frequency) leaves the rest at 1.
    const FloatArray row = weights_.GetRow(component);
    FloatArray weights(1, channels);
    for (long c = 1; c <= channels; ++c) {
        const long i = row.Low() + c - 1;
        weights[c] = row.Length() > 0 && row.InRange(i) ? row[i] : 1.0f;
    }
    return weights;
}

void xFitFactory::CreateFitters() {
    fitters_.clear();
    const float tolerance = settings_.threshold <= 1e-5f ? 1e-5f : settings_.threshold;
    for (const auto& [id, component] : descriptor_.Components()) {
        const FloatMatrix* basis = basis_.Amplitudes(id);
        auto fitter = basis ? MakeFitter(settings_.algorithm, id) : nullptr;
        if (!fitter) continue;
        // A primary field short of the windows is never read: BasisMismatch names it.
        const FloatArray* primary = basis_.Primary(id);
        if (settings_.primaryFit && (!primary || primary->Length() >= basis->Cols()))
            fitter->SetPrimary(true, settings_.primaryFraction, primary);
        fitter->SetTolerance(tolerance);
        fitter->SetConditioning(smoothing_, powerRatio_, force_, minLength_);
        fitter->SetBasisAndWeights(*basis, WeightsOf(id, basis->Cols()));
        if (force_ == 0.0f && minLength_ == 0.0f && !weights_.IsDataDependent())
            fitter->BuildDesign();
        fitters_[id] = std::move(fitter);
    }
}

float xFitFactory::PrimaryRatio(long component, float altitude) const {
    // The primary of the receiver seen at the transmitter's image under the
    // ground, against the one at the transmitter.
    const auto found = descriptor_.Components().find(component);
    if (found == descriptor_.Components().end()) return 0.0f;
    const xEMGDesc& geometry = found->second.geometry;
    const float x = -geometry.GetSeparationX(), y = -geometry.GetSeparationY(),
                z = -geometry.GetSeparationZ();
    const int axis = ReceiverAxis(component);
    float image[3], direct[3];
    if (!xEMGDesc::DipoleField(axis, x, y, z - 2.0f * altitude, image) ||
        !xEMGDesc::DipoleField(axis, x, y, z, direct))
        return 0.0f;
    const float length =
        std::sqrt(direct[0] * direct[0] + direct[1] * direct[1] + direct[2] * direct[2]);
    return length > 0.0f ? image[axis - 1] / length : 0.0f;
}

namespace {

// A window holding the blank value was not measured: the fit must not see it.
std::vector<char> MissingWindows(const FloatArray& data) {
    std::vector<char> missing(std::size_t(data.High()) + 1, 0);
    for (long c = data.Low(); c <= data.High(); ++c)
        missing[std::size_t(c)] = data[c] == BlankValue;
    return missing;
}

bool AnyMissing(const std::vector<char>& missing) {
    return std::find(missing.begin(), missing.end(), 1) != missing.end();
}

}  // namespace

float xFitFactory::Normalize(FloatArray& data, const std::vector<char>& missing) {
    double sum = 0.0;
    float largest = 0.0f, smallest = 0.0f, first = 0.0f;
    bool seen = false;
    for (long c = data.Low(); c <= data.High(); ++c) {
        if (missing[std::size_t(c)]) {
            data[c] = 0.0f;
            continue;
        }
        sum += data[c];
        largest = seen ? std::max(largest, data[c]) : data[c];
        smallest = seen ? std::min(smallest, data[c]) : data[c];
        if (!seen) first = data[c];
        seen = true;
    }
    float sign = sum >= 0.0 ? 1.0f : -1.0f;
    const int normalization = settings_.normalization;
    if (normalization == 2) scale_ = std::fabs(first);
    if (normalization == 1 || normalization == 3)
        scale_ = std::max(std::fabs(largest), std::fabs(smallest));
    if (normalization == 3) sign = 1.0f;
    if (scale_ == 0.0f)
        scale_ = 1.0f;
    else
        data *= 1.0f / scale_;
    return sign;
}

bool xFitFactory::SetRecordWeights(long component, const FloatArray& data,
                                   const std::vector<char>& missing) {
    const bool gaps = AnyMissing(missing);
    bool& masked = masked_[component];
    if (!weights_.IsDataDependent() && !gaps && !masked) return false;
    xFitSolver& fitter = *fitters_.at(component);
    FloatArray w = weights_.IsDataDependent() ? weights_.ComputeNoiseWeights(data, 1.0f, 1.0f)
                                              : WeightsOf(component, fitter.Channels());
    for (long c = w.Low(); c <= w.High(); ++c)
        if (missing[std::size_t(c)]) w[c] = 0.0f;
    fitter.SetBasisAndWeights(*basis_.Amplitudes(component), w);
    masked = gaps;
    return true;
}

void xFitFactory::Measure(xComponentFit& result, const FloatArray& x,
                          const std::vector<char>& missing) const {
    // Data, fit and residuals with the data's own sign: a pass that fitted the
    // data upside down has its model turned back.
    const xFitSolver& fitter = *fitters_.at(result.component);
    const FloatMatrix& basis = *basis_.Amplitudes(result.component);
    const FloatMatrix& weighted = fitter.WeightedBasis();
    const FloatArray* primary = basis_.Primary(result.component);
    const long nChan = fitter.Channels(), nTaus = fitter.Taus();
    const double sign = fitter.ModelSign();
    result.fit.Resize(1, nChan);
    result.residuals.Resize(1, nChan);
    double misfit = 0.0;
    long measured = 0;
    for (long c = 1; c <= nChan; ++c) {
        double model = 0.0, fit = 0.0;
        for (long t = 1; t <= nTaus; ++t) {
            model += double(weighted[t][c]) * x[t];
            fit += double(basis[t][c]) * x[t];
        }
        if (settings_.primaryFit && primary) fit += double((*primary)[c]) * x[nTaus + 1];
        result.fit[c] = float(sign * fit);
        if (missing[std::size_t(c)]) {
            result.data[c] = result.residuals[c] = BlankValue;
            continue;
        }
        result.residuals[c] = float(sign * model - result.data[c]);
        misfit += std::fabs(result.residuals[c]);
        ++measured;
    }
    result.misfit = measured > 0 ? float(misfit / double(measured)) : 0.0f;
}

xComponentFit xFitFactory::FitComponent(const float* binRecord, float* ampRecord, long component) {
    xFitSolver& fitter = *fitters_.at(component);
    const bool primaryOn = settings_.primaryFit;
    const xRecordView record(*binLayout_, binRecord);
    const float* channels = record.Channels(component);
    xComponentFit result;
    result.component = component;
    FloatArray& data = result.data;
    data.Resize(1, fitter.Channels());
    for (long c = 1; c <= data.High(); ++c) data[c] = channels[c - 1];
    const std::vector<char> missing = MissingWindows(data);
    const float sign = Normalize(data, missing);
    result.scale = scale_;

    bool stale = SetRecordWeights(component, data, missing);
    float ratio = 0.0f;
    if (force_ != 0.0f || minLength_ != 0.0f || primaryOn) {
        ratio = PrimaryRatio(component, record.Altitude());
        fitter.SetRatio(ratio, scale_, basis_.PrimaryFactor(component), basis_.Norms(component));
    }
    if (force_ != 0.0f || minLength_ != 0.0f) stale = true;
    if (stale) fitter.BuildDesign();
    fitter.SetData(data);
    FloatArray x(1, fitter.Taus() + (primaryOn ? 1 : 0));
    fitter.Solve(x);

    Measure(result, x, missing);
    WriteAmplitudes(result, x, ampRecord, sign, ratio);
    return result;
}

void xFitFactory::WriteAmplitudes(xComponentFit& result, const FloatArray& x, float* record,
                                  float sign, float ratio) const {
    const long component = result.component;
    const long first = amp_->AmplitudeOffset(component);
    const long nTaus = fitters_.at(component)->Taus();
    const float np = basis_.PrimaryFactor(component);
    const bool primaryOn = settings_.primaryFit;
    float p = 0.0f;
    if (amp_->ItemsPerComponent() == 2) {
        if (primaryOn) p = x[nTaus + 1] / (np / scale_);
        // A ratio never computed leaves both primary items at 0.
        record[amp_->PrimaryCoefficientItem(component)] =
            primaryOn && ratio != 0.0f ? p / ratio : 0.0f;
        float level = 0.0f;
        // The level keeps the sign of the pass that fitted it.
        const float fitted = result.fit[frequencyDomain_ ? result.fit.High() : 1] *
                             fitters_.at(component)->ModelSign();
        if (ratio != 0.0f) level = fitted / ratio;
        record[amp_->PrimaryLevelItem(component)] = level < -30000.0f ? 0.0f : level;
    }
    float* amplitudes = record + first;
    float sum = 0.0f;
    for (long t = 1; t <= nTaus; ++t) {
        amplitudes[t - 1] = x[t] / (basis_.Norm(component, t) / scale_) * sign;
        sum += amplitudes[t - 1];
    }
    if (primaryOn && settings_.primaryFraction == 0.0f && sum != 0.0f)
        for (long t = 1; t <= nTaus; ++t) amplitudes[t - 1] /= p / sum + 1.0f;
    result.amplitudes.Resize(1, nTaus);
    for (long t = 1; t <= nTaus; ++t) result.amplitudes[t] = amplitudes[t - 1];
}

std::vector<long> xFitFactory::FittedComponents() const {
    std::vector<long> components;
    for (long id = FirstComponent; id <= LastComponent; ++id)
        if (bin_->ComponentFlags()[id] != 0 && HasFitter(id)) components.push_back(id);
    return components;
}

void xFitFactory::FitRecord(const float* binRecord, float* ampRecord) {
    const xRecordLayout& in = *binLayout_;
    const xRecordLayout& out = *ampLayout_;
    for (long i = 0; i < in.BaseItems(); ++i) ampRecord[i] = binRecord[i];
    fits_.clear();
    double sum = 0.0;
    for (long id : FittedComponents()) {
        fits_.push_back(FitComponent(binRecord, ampRecord, id));
        misfits_[id] += fits_.back().misfit;
        ++fitted_[id];
        sum += fits_.back().misfit;
    }
    ampRecord[xMAmp::ErrorItem] = float(sum / (double(fits_.size()) + 1e-6));
    // User and orientation items close both records.
    const long tail = in.UserItems() + in.OrientationItems();
    for (long i = 0; i < tail; ++i)
        ampRecord[out.FirstUserItem() + i] = binRecord[in.FirstUserItem() + i];
    ++records_;
}

std::vector<xComponentFit> xFitFactory::FitAlone(const float* binRecord) {
    std::vector<float> scratch(std::size_t(ampLayout_->Length()), 0.0f);
    std::vector<xComponentFit> fits;
    for (long id : FittedComponents()) fits.push_back(FitComponent(binRecord, scratch.data(), id));
    return fits;
}

long xFitFactory::PassesAtRoundLimit() const {
    long passes = 0;
    for (const auto& [id, fitter] : fitters_) passes += fitter->RoundLimitsReached();
    return passes;
}

double xFitFactory::MeanMisfit(long component) const {
    const auto n = fitted_.find(component);
    if (n == fitted_.end() || n->second == 0) return 0.0;
    return misfits_.at(component) / double(n->second);
}
