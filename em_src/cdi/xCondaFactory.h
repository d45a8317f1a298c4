#pragma once
// The CDI engine: every record of an amplitude file turned into a record of a
// CND file. Per component the mathematics rebuilds the decay and gives the
// limits and a cumulative conductance column; the engine weighs the
// components together, snaps the mean column to discrete and layered
// sections, fills the histogram and lays out the output record.
//
// A run sets the engine up in this order: the settings, BuildLookups,
// BuildDerivatives, Init; then ProcessLine for each line.

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "xArray.h"
#include "xCndMath.h"
#include "xMatrix.h"
#include "xProcessState.h"

class xConductanceTable;
class xEMDesc;
class xMAmp;
class xMCond;
struct xMLineBlock;

class xCondaFactory : public xProcessState {
  public:
    // first, last: the selected taus of input, 1-based and already in range.
    xCondaFactory(const xEMDesc& descriptor, xMAmp& input, xMCond& output, long first, long last,
                  xProgressSink* owner = nullptr);
    ~xCondaFactory() override;

    void SetCutOffFactor(float factor) { math_.SetCutOffFactor(factor); }
    void SetConductivities(const FloatArray& values);  // ascending, mS/m
    void SetShortTauFlags(bool cut, bool predict) { math_.SetShortTauFlags(cut, predict); }
    void SetLayerCount(int count) { math_.SetLayerCount(count); }
    // Rows of items 0..8 and the mean column, one a record; not owned.
    void SetConductanceTable(xConductanceTable* table) { table_ = table; }
    // Per component id 101..109, IL over the lookup 5 m below the receiver as
    // ComputeScalingFactors gives them: with force to surface enabled each
    // record's taus are reduced by them, so that the decay starts where the
    // image of a conductor at the surface would.
    void SetScalingFactors(const std::array<float, 9>& factors) { scaling_ = factors; }
    void SetScalingEnabled(bool on) { scalingOn_ = on; }

    // The image-field tables over metres first..last; false when stopped.
    bool BuildLookups(long first, long last);
    bool BuildDerivatives(long first, long last);

    // Time grid, depths, weights, heights, system span and histogram; false
    // when there is nothing to work on.
    virtual bool Init();
    // One line of the input into a new line of the output; false when the
    // user stopped the run or the line could not be written.
    virtual bool ProcessLine(const xMLineBlock& line);
    // One input record into a zeroed output record with its fixed items copied.
    virtual void ProcessRecord(const float* in, float* out);

    // IL against the lookup 5 m below the receiver, per component, over the
    // first limit - 1 records of the input (all with 0).
    std::array<float, 9> ComputeScalingFactors(long limit);

    // Rows 1..2 by 1..40: counts, then the bin edges in mS/m.
    FloatMatrix Histogram() const;
    const std::array<float, 9>& Weights() const { return weights_; }
    long RecordsDone() const { return records_; }
    // Cells of the discrete mean sections written: those holding a value, and
    // those strictly between the first and last conductivity of the table.
    struct CellCounts {
        long valid = 0, inside = 0;
    };
    const CellCounts& Cells() const { return cells_; }

    static constexpr long ProgressStep = 50;

  protected:
    bool IsActive(long component) const { return active_[component - 101]; }
    // The input record as the mathematics takes it for one component; the
    // amplitudes scaled when force to surface is on.
    xCndRecord MakeRecord(const float* in, long component) const;
    // What force to surface multiplies a component's amplitudes by: 1 / its
    // factor, 1 when it is off or the factor is 0.
    float ForceScale(long component) const;
    // Items 12 and 14 of a component: the two items ahead of its amplitudes.
    void CopyAmplitudeItems(const float* in, long component, float weight, float* out) const;
    // Discrete, layered and conductance sections of a column, and its layer bounds.
    void WriteSections(const std::vector<float>& column, float* out, long layerItem);
    void CountCells(const float* discrete);

    const xEMDesc& descriptor_;
    xMAmp& input_;
    xMCond& output_;
    xCndMath math_;
    long first_, last_;
    long ampOffset_[9] = {};
    std::array<bool, 9> active_{};
    std::array<float, 9> weights_{};
    std::array<float, 9> scaling_;
    std::array<long, 9> rxHeight_{};
    // What turns a component's amplitudes into fractions of the primary field,
    // the unit of the lookups; 1 where the descriptor cannot say.
    std::array<float, 9> toPrimaryFraction_;
    bool scalingOn_ = false;
    float systemSpan_ = 0.0f;
    long attitudeItem_ = -1;
    xConductanceTable* table_ = nullptr;
    std::vector<float> counts_, edges_;
    std::vector<float> mean_, section_, bounds_;
    long records_ = 0;
    float floor_ = 0.0f, ceiling_ = 0.0f;
    CellCounts cells_;
};
