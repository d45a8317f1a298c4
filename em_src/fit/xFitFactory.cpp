#include "xFitFactory.h"

#include <algorithm>
#include <cmath>

#include "xEMDesc.h"
#include "xEMGDesc.h"
#include "xL1MinErrFit.h"
#include "xL1PosFit.h"
#include "xMAmp.h"
#include "xMLine.h"
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

void xFitFactory::SetBasis(const xAofTau& basis, int normalization, int) {
    basis_.CopyFrom(basis);
    basis_.NormalizeBasisFunctions(normalization);
    normalization_ = normalization;
}

void xFitFactory::Configure(const xFitParams& params, const xAofTau& basis) {
    SetBasis(basis, params.normalization, params.channelOrTau);
    SetAlgorithm(params.algorithm);
    SetThreshold(params.threshold);
    SetPrimary(params.primaryFit != 0, params.primaryPercentage / 100.0f);
    SetErrorWeights(params.weights, params.errorWeighting, params.weightParameter);
    // The smoothing rows pair neighbouring taus by the power law of their ratio.
    const FloatArray& taus = basis.Taus();
    const float ratio = taus.Length() >= 2 && params.powerLaw != 0.0f
                            ? std::pow(taus[taus.Low()] / taus[taus.Low() + 1], params.powerLaw)
                            : 1.0f;
    SetConditioning(params.smoothing * params.smoothing, ratio,
                    params.forceToSurface * params.forceToSurface,
                    params.minLength * params.minLength);
    CreateFitters();
}

void xFitFactory::SetPrimary(bool on, float value) {
    primaryOn_ = on;
    primaryValue_ = value;
}

void xFitFactory::SetErrorWeights(const std::map<std::int32_t, FloatMatrix>& weights,
                                  std::int32_t type, float parameter) {
    weights_.Set(weights, type, parameter, descriptor_);
}

void xFitFactory::SetConditioning(float smoothing, float ratio, float force, float minLength) {
    smoothing_ = smoothing;
    powerRatio_ = ratio;
    force_ = force;
    minLength_ = minLength;
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
    const float tolerance = threshold_ <= 1e-5f ? 1e-5f : threshold_;
    for (const auto& [id, component] : descriptor_.Components()) {
        const FloatMatrix* basis = basis_.Amplitudes(id);
        auto fitter = basis ? MakeFitter(algorithm_, id) : nullptr;
        if (!fitter) continue;
        if (primaryOn_) fitter->SetPrimary(true, primaryValue_, basis_.Primary(id));
        fitter->SetVerbose(false);
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

float xFitFactory::FitComponent(const xMData& bin, const float* binRecord, const xMAmp& amp,
                                float* ampRecord, long component, long recordIndex) {
    xFitSolver& fitter = *fitters_.at(component);
    const FloatMatrix& basis = *basis_.Amplitudes(component);
    const long nChan = fitter.Channels(), nTaus = fitter.Taus();
    amplitudes_.Resize(1, nTaus + (primaryOn_ ? 1 : 0));
    working_.Resize(0, 3, 1, nChan);
    working_ *= 0.0f;
    const long first = bin.ChannelOffset(component);
    FloatArray data(1, nChan);
    double sum = 0.0;
    float largest = -1e30f, smallest = 1e30f;
    for (long c = 1; c <= nChan; ++c) {
        data[c] = binRecord[first + c - 1];
        sum += data[c];
        largest = std::max(largest, data[c]);
        smallest = std::min(smallest, data[c]);
    }
    float sign = sum >= 0.0 ? 1.0f : -1.0f;
    if (normalization_ == 2) scale_ = std::fabs(data[1]);
    if (normalization_ == 1 || normalization_ == 3)
        scale_ = std::max(std::fabs(largest), std::fabs(smallest));
    if (normalization_ == 3) sign = 1.0f;
    if (scale_ == 0.0f)
        scale_ = 1.0f;
    else
        data *= 1.0f / scale_;
    for (long c = 1; c <= nChan; ++c) working_[0][c] = data[c];

    bool stale = false;
    if (weights_.IsDataDependent()) {
        fitter.SetBasisAndWeights(basis, weights_.ComputeNoiseWeights(data, 1.0f, 1.0f));
        stale = true;
    }
    float ratio = 0.0f;
    if (force_ != 0.0f || minLength_ != 0.0f || primaryOn_) {
        ratio = PrimaryRatio(component, binRecord[4]);
        fitter.SetRatio(ratio, scale_, basis_.PrimaryFactor(component), basis_.Norms(component));
    }
    if (force_ != 0.0f || minLength_ != 0.0f) stale = true;
    if (stale) fitter.BuildDesign();
    fitter.SetData(data);
    fitter.Solve(amplitudes_);

    // Misfit of the weighted basis against the data as they came.
    const FloatMatrix& weighted = fitter.WeightedBasis();
    const FloatArray* primary = basis_.Primary(component);
    double misfit = 0.0;
    for (long c = 1; c <= nChan; ++c) {
        double model = 0.0, fit = 0.0;
        for (long t = 1; t <= nTaus; ++t) {
            model += double(weighted[t][c]) * amplitudes_[t];
            fit += double(basis[t][c]) * amplitudes_[t];
        }
        if (primaryOn_ && primary) fit += double((*primary)[c]) * amplitudes_[nTaus + 1];
        const float residual = float(model - data[c]);
        working_[2][c] = residual;
        working_[3][c] = std::fabs(residual) / float(recordIndex + 1);
        working_[1][c] = float(fit);
        misfit += std::fabs(residual);
    }
    WriteAmplitudes(amp, ampRecord, component, scale_, sign, ratio);
    return float(misfit / double(nChan));
}

void xFitFactory::WriteAmplitudes(const xMAmp& amp, float* record, long component, float scale,
                                  float sign, float ratio) {
    const long S = amp.AmplitudeOffset(component);
    const long nTaus = fitters_.at(component)->Taus();
    const float np = basis_.PrimaryFactor(component);
    float p = 0.0f;
    if (amp.ItemsPerComponent() == 2) {
        if (primaryOn_) p = amplitudes_[nTaus + 1] / (np / scale);
        // A ratio never computed leaves both primary items at 0.
        record[S - 1] = primaryOn_ && ratio != 0.0f ? p / ratio : 0.0f;
        float level = 0.0f;
        if (ratio != 0.0f) level = working_[1][frequencyDomain_ ? working_.ColHigh() : 1] / ratio;
        record[S - 2] = level < -30000.0f ? 0.0f : level;
    }
    float sum = 0.0f;
    for (long t = 1; t <= nTaus; ++t) {
        record[S + t - 1] = amplitudes_[t] / (basis_.Norm(component, t) / scale) * sign;
        sum += record[S + t - 1];
    }
    if (primaryOn_ && primaryValue_ == 0.0f && sum != 0.0f)
        for (long t = 1; t <= nTaus; ++t) record[S + t - 1] /= p / sum + 1.0f;
}

void xFitFactory::ProcessRecord(const xMData& bin, const float* binRecord, const xMAmp& amp,
                                float* ampRecord, long recordIndex) {
    for (long i = 0; i < bin.BaseItems(); ++i) ampRecord[i] = binRecord[i];
    double sum = 0.0;
    long count = 0;
    for (long id = FirstComponent; id <= LastComponent; ++id) {
        if (bin.ComponentFlags()[id] == 0 || !HasFitter(id)) continue;
        const float misfit = FitComponent(bin, binRecord, amp, ampRecord, id, recordIndex);
        misfits_[id] += misfit;
        ++fitted_[id];
        sum += misfit;
        ++count;
    }
    ampRecord[xMAmp::ErrorItem] = float(sum / (double(count) + 1e-6));
}

bool xFitFactory::ProcessLine(xMData& bin, const xMLineBlock& block, xMAmp& amp) {
    xMLine line(&bin);
    if (!line.Load(block)) return false;
    const long R = amp.RowLength();
    FloatArray record(0, R - 1);
    record *= 0.0f;
    // User and orientation items follow the channels in both files.
    const long binTail = bin.RowLength() - bin.UserItems() - bin.OrientationItems();
    const long ampTail = R - amp.UserItems() - amp.OrientationItems();
    xMLineStats mean(bin.RowLength());
    xMLineWriter writer(amp, line.LineNumber());
    long counter = 0;
    while (NextRecord(counter) && counter <= line.Rows()) {
        if (counter <= writer.Rows()) continue;  // a record already written
        const FloatArray& row = line.Row(counter - 1);
        mean.Add(row.Data(), nullptr);
        ProcessRecord(bin, row.Data(), amp, record.Data(), counter - 1);
        for (long i = 0; binTail + i < bin.RowLength(); ++i) record[ampTail + i] = row[binTail + i];
        writer.AddRow(record);
        ++records_;
    }
    const bool finished = !IsSet(Stop);
    if (!writer.Finish()) return false;
    // The line's mean record, fitted once more for the averages.
    averageData_.clear();
    averageFit_.clear();
    if (writer.Rows() > 0) {
        FloatArray scratch(0, R - 1);
        const FloatArray& meanRecord = mean.Mean();
        for (long id = FirstComponent; id <= LastComponent; ++id) {
            if (bin.ComponentFlags()[id] == 0 || !HasFitter(id)) continue;
            FitComponent(bin, meanRecord.Data(), amp, scratch.Data(), id, 0);
            averageData_.push_back(FloatArray(working_[0]));
            averageFit_.push_back(FloatArray(working_[1]));
        }
    }
    return finished;
}

double xFitFactory::MeanMisfit(long component) const {
    const auto n = fitted_.find(component);
    if (n == fitted_.end() || n->second == 0) return 0.0;
    return misfits_.at(component) / double(n->second);
}
