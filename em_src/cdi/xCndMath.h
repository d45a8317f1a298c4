#pragma once
// The numerical core of the CDI: from the tau amplitudes of one record it
// rebuilds the decay A(t), matches it against the field of the transmitter's
// image sinking below the system, and turns the two slopes into cumulative
// conductance with depth. Everything here works on plain arrays handed in by
// the engine; the only outside things it touches are the descriptor's field
// routine (once a pass, for the lookups) and the platform's messages.
//
// Indices follow the tables they address: lookup rows are metres (1-based),
// grid rows are 1-based, depth indices and the amplitudes of a record are
// 0-based. Components are addressed by their ids 101..109.

#include <array>
#include <vector>

class xEMDesc;

namespace cdi {
// Deliberately this rounded value: every conductance of the CDI is scaled by it.
constexpr float MU = 1.256e-6f;
constexpr float NULLVALUE = -32767.0f;
constexpr int ComponentCount = 9;
}  // namespace cdi

// What the mathematics needs of one input record for one component.
struct xCndRecord {
    std::vector<float> amps;  // one per tau of the file, index 0 = first tau
    float height = 0.0f;      // receiver height + altitude item, metres
    // The six items at the file's attitude index; the triple at 3 turns first,
    // then the one at 0, each pitch, roll, yaw in degrees.
    std::array<float, 6> attitude{};
};

// Per-component results of one record.
struct xCndComponentResult {
    float RL = 0.0f;   // resistive limit
    float IL = 0.0f;   // inductive limit
    float TSC = 0.0f;  // thin sheet conductance
    float ASC = 0.0f;  // apparent surface conductance
    float FitDepth = 0.0f;
};

class xCndMath {
  public:
    enum LookupKind { LUT, Deriv, Sum };

    // taus: all taus of the file (seconds); first/last: the selected range,
    // 1-based tau indices.
    xCndMath(std::vector<float> taus, long first, long last);

    // --- settings -------------------------------------------------------
    void SetShortTauFlags(bool cut, bool predict) {
        cut_ = cut;
        predict_ = predict;
    }
    void SetShortTauCount(int count);  // below 1 is raised to 1
    // Each amplitude stands for a run of subordinate taus; exponent per
    // component id (101..109).
    void SetSpectrum(bool on, int subCount, const std::array<float, 9>& exponents);
    void SetDepths(std::vector<float> depths);  // positive metres below surface
    const std::vector<float>& Depths() const { return depths_; }
    void SetConductivities(std::vector<float> values);  // ascending, mS/m
    void SetLayerCount(int count) { layerCount_ = count; }
    void SetSystemSpan(float span) { systemSpan_ = span; }
    void SetCutOffFactor(float factor) { cutOffFactor_ = factor; }

    // --- time grid and lookups ------------------------------------------
    void DefineTimes();
    const std::vector<float>& TimeGrid() const { return timeGrid_; }  // rows 1..4n+1
    long GridRows() const { return static_cast<long>(timeGrid_.size()) - 1; }

    // Image field of every component of the descriptor, rows first..last.
    void BuildLookups(long first, long last, const xEMDesc& desc);
    void BuildDerivatives(long first, long last);
    // Direct access for the engine's drawing and for tests; rows 0..last. An
    // edit through the first form reaches the fitted-depth search too.
    std::vector<float>& Lookup(LookupKind kind, long component);
    const std::vector<float>& Lookup(LookupKind kind, long component) const;
    long LookupFirst() const { return lutFirst_; }
    long LookupLast() const { return lutLast_; }
    // Sign changes of the running sum, per component, for drawing.
    int SumSignChanges(long component) const { return signChanges_[Slot(component)]; }

    // --- decay of one record --------------------------------------------
    const std::vector<float>& ShortTaus() const { return shortTaus_; }  // 1..S at 0..S-1
    // The amplitude the short taus get; with Cut on it may trim the record's
    // amplitudes so that IL does not exceed the lookup near the surface.
    float ShortTauAdjustment(xCndRecord& record, long component) const;
    void ExpandAmplitudes(xCndRecord& record, long component);
    const std::vector<float>& AmpTable(long component) const { return ampTable_[Slot(component)]; }
    const std::vector<float>& AmpSlope(long component) const { return ampSlope_[Slot(component)]; }

    float GetRL(const xCndRecord& record, long component) const;
    float GetIL(const xCndRecord& record, long component) const;
    float GetASC(const xCndRecord& record, long component) const;
    // The row above the deepest row where IL is at most the lookup there and
    // one row up; 0 when there is none.
    long GetFittedDepth(float il, long component) const;
    float GetTSC(float rl, long fittedRow, long component) const;

    // Expands the record and fills the limits and the component's column.
    xCndComponentResult ComponentRecord(xCndRecord& record, long component);

    // --- conductance columns --------------------------------------------
    // Every component's column to 0 (the engine's zeroing of work arrays).
    void ZeroColumns();
    std::vector<float>& CondColumn(long component) { return condColumn_[Slot(component)]; }
    const std::vector<float>& CondColumn(long component) const {
        return condColumn_[Slot(component)];
    }
    void ConductanceColumn(const xCndRecord& record, long component, long altitudeRow);
    // Lookup row of the component family of the transmitter axis, turned
    // through the record's attitude; the receiver axis picks the result.
    float GetAmpDepth(const xCndRecord& record, LookupKind kind, long row, long component) const;
    long FindAmpIndex(float value, long component) const;

    // Weighted mean of the active components' columns; weights by id 101..109.
    void MeanConductance(const std::array<float, 9>& weights, const std::array<bool, 9>& active,
                         std::vector<float>& mean) const;
    void DiscreteColumn(const std::vector<float>& cond, std::vector<float>& out) const;
    // Index of the discrete conductivity an interval conductivity c snaps to:
    // the lower end of the bracket, searched from the top; the ends beyond
    // the table; -1 when no bracket holds it (a NaN).
    long DiscreteIndex(float c) const;
    // boundaries, when given, gets the depth of each layer's bottom, shallow
    // first, one per layer kept.
    void LayeredColumn(const std::vector<float>& cond, std::vector<float>& out,
                       std::vector<float>* boundaries = nullptr) const;
    // Second layering, by index: bends found with sliding parabolas, merged down
    // to LayerCount, each layer its own straight line. No pass calls it yet.
    void LayeredApprox_ab(const std::vector<float>& cond, std::vector<float>& out) const;
    float EstimatePenetration(const std::vector<float>& cond) const;
    // counts[k + 1] gets a sample v with edges[k] < v <= edges[k + 1]; a
    // sample outside the edges is dropped.
    static void CountSample(float v, std::vector<float>& counts, const std::vector<float>& edges);
    // The interval conductances of a column into the histogram.
    void AccumulateHistogram(const std::vector<float>& cond, std::vector<float>& counts,
                             const std::vector<float>& edges) const;
    // Sum of IL over sum of the lookup 5 m below the receiver, gathered one
    // record at a time so that a whole survey is scaled in a single walk.
    struct ScalingSums {
        float il = 0.0f;
        float lut = 0.0f;
        float Factor() const;  // 1 when the lookups sum to next to nothing
    };
    void AddScalingSample(const xCndRecord& record, long component, ScalingSums& sums) const;

    void DefineFixedCond() const;

  private:
    static int Slot(long component) { return static_cast<int>(component - 101); }
    long ClampRow(long row) const;
    // Sum of weights of the run of selected tau j (1-based); 1 when ordinary.
    float SpectrumWeight(long j, long component) const;
    // Sum of w exp(-t / sub tau) over the run of tau j; exp(-t / tau) when ordinary.
    float SpectrumExp(long j, long component, float t) const;
    // SpectrumExp of every tau (columns) at every grid row (rows), for one
    // component: it depends on no record, so a pass computes it once.
    const std::vector<float>& DecayTable(long component);
    // exp(-t / short tau) at every grid row, the short taus in columns.
    const std::vector<float>& ShortDecayTable();
    // Row z: the largest min(LUT[r], LUT[r - 1]) over rows r = z..last. It
    // never rises with z, so the fitted depth is found by bisection.
    const std::vector<float>& FitReach(long component) const;

    std::vector<float> taus_;
    long first_, last_;
    bool cut_ = false, predict_ = true;
    bool spectrum_ = false;
    int subCount_ = 0;
    std::array<float, 9> exponents_{};
    std::vector<float> subTaus_;  // 1..L at 0..L-1
    float subStep_ = 0.0f;
    std::array<std::vector<std::vector<float>>, 9> runWeights_;  // per component, per tau

    std::vector<float> timeGrid_;
    std::vector<float> shortTaus_;
    std::array<std::vector<float>, 9> lut_, deriv_, sum_;
    std::array<int, 9> signChanges_{};
    mutable std::array<std::vector<float>, 9> fitReach_;  // emptied when the lookup changes
    long lutFirst_ = 1, lutLast_ = 0;
    std::array<std::vector<float>, 9> ampTable_, ampSlope_;
    std::array<std::vector<float>, 9> decayTable_;  // emptied when grid or spectrum change
    std::vector<float> shortDecayTable_;
    std::array<std::vector<float>, 9> condColumn_;

    std::vector<float> depths_;
    std::vector<float> disc_;
    int layerCount_ = 3;
    float systemSpan_ = 0.0f;
    float cutOffFactor_ = 1.0f;
};
