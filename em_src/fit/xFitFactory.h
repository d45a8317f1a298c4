#pragma once
// The deconvolution engine: every record of every component of a survey line
// fitted on the normalised basis, the amplitudes written in data units with the
// data's sign. The fitters do the arithmetic; this engine normalises the data,
// chooses the weights, measures the misfit and lays out the amplitude record.
// It works on records handed to it; whoever runs it reads and writes the files.

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "xAofTau.h"
#include "xArray.h"
#include "xErrWeight.h"
#include "xFitSettings.h"
#include "xFitSolver.h"
#include "xProcessState.h"
#include "xRecordLayout.h"

class xEMDesc;
class xMAmp;
class xMData;
class xPlatform;

// One component of one record as it was fitted.
struct xComponentFit {
    long component = 0;
    // Data, fit and residuals are normalised and carry the data's sign; a
    // window that was not measured holds the blank value in data and residuals.
    FloatArray data;        // 1..channels
    FloatArray fit;         // the basis (and the primary) times the amplitudes
    FloatArray residuals;   // weighted basis times the amplitudes, less the data
    FloatArray amplitudes;  // as written: data units with the data's sign, 1..taus
    float misfit = 0.0f;    // mean |residual| over the measured channels
    float scale = 1.0f;     // what the data were divided by
};

class xFitFactory : public xProcessState {
  public:
    explicit xFitFactory(const xEMDesc& descriptor, xProgressSink* owner = nullptr);
    ~xFitFactory() override;

    // The settings and the basis, fitters made; a weighting that cannot be
    // made is reported to messages.
    void Configure(const xFitSettings& settings, const xAofTau& basis, xPlatform& messages);
    bool HasFitter(long component) const { return fitters_.count(component) > 0; }
    bool HasAnyFitter() const { return !fitters_.empty(); }

    // What keeps the basis from fitting the survey file's records: a component
    // whose windows are not its channels there, or whose primary field does not
    // cover them when it is fitted; empty when the two agree.
    std::string BasisMismatch(const xMData& bin) const;

    // The survey and amplitude files whose records the engine is handed; both
    // must outlive the run.
    void SetLayouts(const xMData& bin, const xMAmp& amp);

    // One survey record into one amplitude record: the base items copied, each
    // component fitted, the error item, the user and orientation items. The
    // record counts in the run's misfits.
    void FitRecord(const float* binRecord, float* ampRecord);
    // The fitted components of the last FitRecord, in component order.
    const std::vector<xComponentFit>& Fits() const { return fits_; }
    // A record fitted by itself (a line's mean, a record to look at): the same
    // fits, nothing counted.
    std::vector<xComponentFit> FitAlone(const float* binRecord);

    // Records fitted in the run and the mean of their misfits, per component.
    long RecordsFitted() const { return records_; }
    double MeanMisfit(long component) const;
    // Fitter passes that stopped at their round limit in the run, short of
    // their optimum.
    long PassesAtRoundLimit() const;

  private:
    void CreateFitters();
    // The components of a record that are in the survey and have a fitter.
    std::vector<long> FittedComponents() const;
    xComponentFit FitComponent(const float* binRecord, float* ampRecord, long component);
    // Divides the data by the normalisation's scale, missing windows set to 0
    // and left out of it; answers the data's sign.
    float Normalize(FloatArray& data, const std::vector<char>& missing);
    // Weights of the data, or of windows missing in this record or the one
    // before, handed to the fitter; answers whether the design must be rebuilt.
    bool SetRecordWeights(long component, const FloatArray& data, const std::vector<char>& missing);
    void Measure(xComponentFit& result, const FloatArray& x,
                 const std::vector<char>& missing) const;
    float PrimaryRatio(long component, float altitude) const;
    FloatArray WeightsOf(long component, long channels) const;
    void WriteAmplitudes(xComponentFit& result, const FloatArray& x, float* ampRecord, float sign,
                         float ratio) const;

    const xEMDesc& descriptor_;
    xFitSettings settings_;
    xNormalizedAofTau basis_;
    xErrWeight weights_;
    std::map<long, std::unique_ptr<xFitSolver>> fitters_;
    bool frequencyDomain_ = false;
    // Squared conditioning and the smoothing's power-law ratio of the basis taus.
    float smoothing_ = 0.0f, powerRatio_ = 1.0f, force_ = 0.0f, minLength_ = 0.0f;
    const xMData* bin_ = nullptr;
    const xMAmp* amp_ = nullptr;
    std::optional<xRecordLayout> binLayout_, ampLayout_;
    // A normalisation that sets no scale keeps the last one.
    float scale_ = 1.0f;
    std::vector<xComponentFit> fits_;
    std::map<long, bool> masked_;  // per component: the fitter's weights leave windows out
    long records_ = 0;
    std::map<long, double> misfits_;
    std::map<long, long> fitted_;
};
