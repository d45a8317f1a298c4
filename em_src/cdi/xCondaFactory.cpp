#include "xCondaFactory.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "xCDIParams.h"
#include "xCndReports.h"
#include "xEMDesc.h"
#include "xMAmp.h"
#include "xMCond.h"
#include "xMLine.h"
#include "xMLineBlock.h"
#include "xPlatform.h"
#include "xRecordLayout.h"
#include "xTRClasf.h"

using cdi::NULLVALUE;

namespace {
constexpr long HistogramBins = xMCond::HistogramBins;
constexpr float HistogramLow = 1e-4f;  // mS/m
constexpr float HistogramHigh = 1e5f;  // mS/m
constexpr long AttitudeItems = 6;

int Slot(long component) {
    return static_cast<int>(component - FirstComponent);
}

// Mean of the spread of the window ends and of the window starts, in seconds.
float WindowSpan(const xEMSDesc& header, const FloatMatrix& windows) {
    if (windows.Rows() == 0) return 0.0f;
    const float startSpan = windows.ColumnMax(0) - windows.ColumnMin(0);
    const float endSpan = windows.ColumnMax(1) - windows.ColumnMin(1);
    return static_cast<float>(header.RealSeconds(0.5 * (startSpan + endSpan)) -
                              header.RealSeconds(0.0));
}
}  // namespace

xCondaFactory::xCondaFactory(const xEMDesc& descriptor, xMAmp& input, xMCond& output, long first,
                             long last, xProgressSink* owner)
    : xProcessState(owner),
      descriptor_(descriptor),
      input_(input),
      output_(output),
      math_(std::vector<float>(input.Taus().Data(), input.Taus().Data() + input.TauCount()), first,
            last),
      first_(first),
      last_(last) {
    scaling_.fill(1.0f);
    toPrimaryFraction_.fill(1.0f);
    for (long id = FirstComponent; id <= LastComponent; ++id) {
        const long offset = input.AmplitudeOffset(id);
        active_[Slot(id)] = offset > 0;
        if (offset > 0)
            ampOffset_[Slot(id)] =
                output.CdiType() == xMCond::BackgroundCdi ? input.BackgroundOffset(id) : offset;
    }
    math_.SetSpectrum(false, 0, {});
    if (input.OrientationItems() > 0) attitudeItem_ = input.RowLength() - input.OrientationItems();
}

xCondaFactory::~xCondaFactory() = default;

void xCondaFactory::SetConductivities(const FloatArray& values) {
    floor_ = values.Length() > 0 ? values[values.Low()] : 0.0f;
    ceiling_ = values.Length() > 0 ? values[values.High()] : 0.0f;
    math_.SetConductivities(std::vector<float>(values.Data(), values.Data() + values.Length()));
}

bool xCondaFactory::BuildLookups(long first, long last) {
    math_.BuildLookups(first, last, descriptor_);
    return !IsSet(Stop);
}

bool xCondaFactory::BuildDerivatives(long first, long last) {
    math_.BuildDerivatives(first, last);
    return !IsSet(Stop);
}

bool xCondaFactory::Init() {
    if (input_.TauCount() == 0 || output_.DepthCount() == 0) return false;
    math_.DefineTimes();
    std::vector<float> depths(output_.DepthCount());
    for (long d = 0; d < output_.DepthCount(); ++d) depths[d] = -output_.Depths()[d];
    math_.SetDepths(std::move(depths));

    float total = 0.0f;
    for (long id = FirstComponent; id <= LastComponent; ++id) {
        weights_[Slot(id)] = IsActive(id) ? output_.Weights()[id] : 0.0f;
        total += weights_[Slot(id)];
    }
    if (total != 0.0f)
        for (float& w : weights_) w /= total;

    const bool frequencyDomain = descriptor_.IsFrequencyDomain();
    float lowestFrequency = 0.0f;
    for (const auto& [id, component] : descriptor_.Components()) {
        if (id < FirstComponent || id > LastComponent) continue;
        rxHeight_[Slot(id)] = static_cast<long>(component.geometry.GetPosition(xEMGDesc::Rx)[2]);
        const xEMWDesc& wave = component.wave;
        std::string why;
        const double fraction = descriptor_.PrimaryFractionFactor(id, why);
        // Unknown only when force to surface is on: its factors scale the data instead.
        if (fraction != 0.0) toPrimaryFraction_[Slot(id)] = static_cast<float>(fraction);
        if (!frequencyDomain && wave.GetWindows().Rows() > 0)
            systemSpan_ = WindowSpan(descriptor_.systemDesc, wave.GetWindows());
        if (frequencyDomain && wave.GetFrequencies().Rows() > 0) {
            const float low = wave.GetFrequencies().ColumnMin(0);
            if (low > 0.0f && (lowestFrequency == 0.0f || low < lowestFrequency))
                lowestFrequency = low;
        }
    }
    if (frequencyDomain && lowestFrequency > 0.0f) systemSpan_ = 1.0f / lowestFrequency;
    math_.SetSystemSpan(systemSpan_);

    const FloatArray edges = xCDIParams::LogSpaced(HistogramLow, HistogramHigh, HistogramBins);
    edges_.assign(edges.Data(), edges.Data() + HistogramBins);
    counts_.assign(HistogramBins, 0.0f);
    return true;
}

FloatMatrix xCondaFactory::Histogram() const {
    FloatMatrix histogram(1, 2, 1, HistogramBins);
    for (long k = 1; k <= HistogramBins; ++k) {
        histogram[1][k] = counts_.empty() ? 0.0f : counts_[k - 1];
        histogram[2][k] = edges_.empty() ? 0.0f : edges_[k - 1];
    }
    return histogram;
}

float xCondaFactory::ForceScale(long component) const {
    const float factor = scaling_[Slot(component)];
    return scalingOn_ && factor != 0.0f ? 1.0f / factor : 1.0f;
}

xCndRecord xCondaFactory::MakeRecord(const float* in, long component) const {
    xCndRecord record;
    const long offset = ampOffset_[Slot(component)];
    record.amps.assign(in + offset, in + offset + input_.TauCount());
    const float scale = toPrimaryFraction_[Slot(component)] * ForceScale(component);
    for (float& a : record.amps) a *= scale;
    record.height = static_cast<float>(rxHeight_[Slot(component)]) + in[xRecordLayout::Altitude];
    if (attitudeItem_ >= 0)
        for (long i = 0; i < AttitudeItems && attitudeItem_ + i < input_.RowLength(); ++i)
            record.attitude[i] = in[attitudeItem_ + i];
    return record;
}

void xCondaFactory::CopyAmplitudeItems(const float* in, long component, float weight,
                                       float* out) const {
    const long offset = ampOffset_[Slot(component)];
    // Force to surface scales the item just ahead of the amplitudes with them.
    const float scale = ForceScale(component);
    if (offset >= 1) out[xMCond::SusceptibilityItem] += weight * in[offset - 1] * scale;
    if (offset >= 2 && output_.BaseItems() > xMCond::PermittivityItem)
        out[xMCond::PermittivityItem] += weight * in[offset - 2];
}

void xCondaFactory::WriteSections(const std::vector<float>& column, float* out, long layerItem) {
    math_.DiscreteColumn(column, section_);
    std::copy(section_.begin(), section_.end(), out + output_.SectionStart(0));
    math_.LayeredColumn(column, section_, &bounds_);
    std::copy(section_.begin(), section_.end(), out + output_.SectionStart(1));
    if (layerItem <= 0) return;
    for (long i = 0; i < output_.LayerCount(); ++i)
        out[layerItem + i] = i < static_cast<long>(bounds_.size()) ? bounds_[i] : NULLVALUE;
}

void xCondaFactory::ProcessRecord(const float* in, float* out) {
    math_.ZeroColumns();
    for (long id = FirstComponent; id <= LastComponent; ++id) {
        if (!IsActive(id)) continue;
        xCndRecord record = MakeRecord(in, id);
        const xCndComponentResult r = math_.ComponentRecord(record, id);
        const float w = weights_[Slot(id)];
        out[xMCond::RLItem] += w * r.RL;
        out[xMCond::ILItem] += w * r.IL;
        out[xMCond::TSCItem] += w * r.TSC;
        out[xMCond::ASCItem] += w * r.ASC;
        // Twice, as it has always been: the fitted depth carries double weight.
        out[xMCond::FitDepthItem] += w * r.FitDepth;
        out[xMCond::FitDepthItem] += w * r.FitDepth;
        CopyAmplitudeItems(in, id, w, out);
        WriteSections(math_.CondColumn(id), out, output_.LayerStart(id));
    }
    mean_.assign(output_.DepthCount(), NULLVALUE);
    math_.MeanConductance(weights_, active_, mean_);
    WriteSections(mean_, out, output_.LayerStart(0));
    CountCells(out + output_.SectionStart(0));
    if (output_.SectionCount() > 2)
        std::copy(mean_.begin(), mean_.end(), out + output_.SectionStart(2));
    math_.AccumulateHistogram(mean_, counts_, edges_);
    out[xMCond::PenetrationItem] = -math_.EstimatePenetration(mean_);
    out[xRecordLayout::Altitude] += out[xRecordLayout::Z];
    if (table_) table_->WriteRow(out, mean_);
}

void xCondaFactory::CountCells(const float* discrete) {
    for (long d = 0; d < output_.DepthCount(); ++d) {
        if (discrete[d] == NULLVALUE) continue;
        ++cells_.valid;
        if (discrete[d] > floor_ && discrete[d] < ceiling_) ++cells_.inside;
    }
}

bool xCondaFactory::ProcessLine(const xMLineBlock& block) {
    Platform().ProgressStatus("Line: " + std::to_string(block.number));
    if (table_) table_->WriteLineHeader(block.number);
    xMLine line(&input_);
    if (!line.Load(block)) return false;
    FloatArray record(0, output_.RowLength() - 1);
    xMLineWriter writer(output_, block.number, &xMCond::NullValue);
    long counter = 0;
    while (NextRecord(counter) && counter <= line.Rows()) {
        const FloatArray& row = line.Row(counter - 1);
        record *= 0.0f;
        for (long i = 0; i < 7; ++i) record[i] = row[i];
        ProcessRecord(row.Data(), record.Data());
        writer.AddRow(record);
        ++records_;
        if (records_ % ProgressStep == 0) Advance(ProgressStep);
    }
    const bool finished = !IsSet(Stop);
    return writer.Finish() && finished;
}

std::array<float, 9> xCondaFactory::ComputeScalingFactors(long limit) {
    std::array<xCndMath::ScalingSums, 9> sums;
    Platform().ProgressStatus("Scaling");
    long done = 0;
    const bool all = limit <= 0;
    for (const xMLineBlock& b : input_.LineBlocks()) {
        xMLine line(&input_);
        if (!line.Load(b)) break;
        for (long r = 0; r < line.Rows() && (all || done < limit - 1); ++r, ++done) {
            const float* in = line.Row(r).Data();
            for (long id = FirstComponent; id <= LastComponent; ++id)
                if (IsActive(id)) math_.AddScalingSample(MakeRecord(in, id), id, sums[Slot(id)]);
            if ((done + 1) % ProgressStep == 0) Platform().ProgressAdvance(done + 1);
        }
    }
    std::array<float, 9> factors;
    for (int c = 0; c < cdi::ComponentCount; ++c) factors[c] = sums[c].Factor();
    return factors;
}
