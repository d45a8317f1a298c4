#pragma once
// The deconvolution engine: every record of every component of a survey line
// fitted on the normalised basis, the amplitudes written in data units with the
// data's sign. The fitters do the arithmetic; this engine normalises the data,
// chooses the weights, measures the misfit and lays out the amplitude record.

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "xAofTau.h"
#include "xArray.h"
#include "xErrWeight.h"
#include "xFitParams.h"
#include "xFitSolver.h"
#include "xMatrix.h"
#include "xProcessState.h"

class xEMDesc;
class xMAmp;
class xMData;
struct xMLineBlock;

class xFitFactory : public xProcessState {
  public:
    explicit xFitFactory(const xEMDesc& descriptor, xProgressSink* owner = nullptr);
    ~xFitFactory() override;

    // Everything from the deconvolution parameters and the basis, in the order
    // a run sets it, fitters made.
    void Configure(const xFitParams& params, const xAofTau& basis);

    void SetBasis(const xAofTau& basis, int normalization, int chanTau);
    // One of the algorithm codes of the deconvolution parameters.
    void SetAlgorithm(std::int32_t code) { algorithm_ = code; }
    void SetThreshold(float threshold) { threshold_ = threshold; }
    // The primary column, and the primary percentage / 100.
    void SetPrimary(bool on, float value);
    void SetErrorWeights(const std::map<std::int32_t, FloatMatrix>& weights, std::int32_t type,
                         float parameter);
    // Smoothing squared, power-law ratio, force to surface squared, minimum length squared.
    void SetConditioning(float smoothing, float ratio, float force, float minLength);
    void CreateFitters();
    bool HasFitter(long component) const { return fitters_.count(component) > 0; }

    // Every record of one line of bin into a new line of amp; false when the
    // run was stopped or a record could not be made.
    bool ProcessLine(xMData& bin, const xMLineBlock& line, xMAmp& amp);
    // One record: the base items copied, each component fitted, the error item.
    void ProcessRecord(const xMData& bin, const float* binRecord, const xMAmp& amp,
                       float* ampRecord, long recordIndex);
    // One component of one record; the misfit.
    float FitComponent(const xMData& bin, const float* binRecord, const xMAmp& amp,
                       float* ampRecord, long component, long recordIndex);

    // The rows of the last component fitted: 0 data, 1 fit, 2 error, 3 cumulative.
    const FloatMatrix& Working() const { return working_; }
    const FloatArray& Amplitudes() const { return amplitudes_; }
    // Records fitted in the run and the sum of their misfits, per component.
    long RecordsFitted() const { return records_; }
    double MeanMisfit(long component) const;
    // Per line, FIT_AVERAGE rows: the data and fit rows of each component on
    // the line's mean record.
    const std::vector<FloatArray>& AverageData() const { return averageData_; }
    const std::vector<FloatArray>& AverageFit() const { return averageFit_; }

  private:
    float PrimaryRatio(long component, float altitude) const;
    FloatArray WeightsOf(long component, long channels) const;
    void WriteAmplitudes(const xMAmp& amp, float* ampRecord, long component, float scale,
                         float sign, float ratio);

    const xEMDesc& descriptor_;
    xNormalizedAofTau basis_;
    xErrWeight weights_;
    std::map<long, std::unique_ptr<xFitSolver>> fitters_;
    bool frequencyDomain_ = false;
    int normalization_ = 1;
    std::int32_t algorithm_ = xFitParams::PlsAllTaus;
    float threshold_ = 1e-4f;
    bool primaryOn_ = false;
    float primaryValue_ = 0.0f;
    float smoothing_ = 0.0f, powerRatio_ = 1.0f, force_ = 0.0f, minLength_ = 0.0f;
    FloatMatrix working_;
    FloatArray amplitudes_;
    float scale_ = 1.0f;
    long records_ = 0;
    std::map<long, double> misfits_;
    std::map<long, long> fitted_;
    std::vector<FloatArray> averageData_, averageFit_;
};
