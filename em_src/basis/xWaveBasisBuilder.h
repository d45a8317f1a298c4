#pragma once
// The builders of the basis: for each tau of a grid, the response that a pure
// decay with that time constant gives in every channel of one component. The
// time-domain builder convolves the system's receiver waveform with the decay
// and averages over each window; the frequency-domain builder has closed forms.
// This base holds what both share: the tau grid, the automatic choice of the
// tau range from a singular value analysis, and the units.
//
// Builder units are the descriptor's nominal time units: a time in seconds is
// divided by the seconds of the descriptor's unit and multiplied by TimeScale
// (nominal over real half period). Results go back to the parameters' unit:
// taus and windows are multiplied by UnitFactor() / TimeScale().

#include <stdexcept>
#include <string>

#include "xArray.h"
#include "xBasisSettings.h"
#include "xMatrix.h"

class xEMDesc;

// A validation that ends the build; the text is the system's message.
class xBasisError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

class xWaveBasisBuilder {
  public:
    // The settings are read at each build and take what it decided.
    xWaveBasisBuilder(const xEMDesc& descriptor, xBasisSettings& settings);
    virtual ~xWaveBasisBuilder() = default;
    xWaveBasisBuilder(const xWaveBasisBuilder&) = delete;
    xWaveBasisBuilder& operator=(const xWaveBasisBuilder&) = delete;

    // The whole build for one component. Throws xBasisError on a fatal check.
    virtual void Build(long component) = 0;
    // A build for this component would differ from the last one.
    virtual bool Changed(long component) const = 0;
    // Remembers what Changed compares against.
    virtual void SaveState() = 0;
    // Reads the component's windows (or frequencies), time scale and units.
    virtual void Setup(long component) = 0;
    // Each tau's response (rows 1..n) in each window (columns 1..m of windows,
    // row 0 start and row 1 end, in builder units) into result.
    virtual void Response(const FloatMatrix& windows, FloatMatrix& result) = 0;

    // After Build, in the parameters' unit.
    const FloatArray& Taus() const { return taus_; }           // 1..n
    const FloatMatrix& Windows() const { return windows_; }    // rows 0..1, columns 1..m
    const FloatMatrix& Amplitudes() const { return result_; }  // rows 1..n, columns 1..channels
    const FloatArray& Primary() const { return primary_; }     // 1..channels
    const FloatArray& SingularValues() const { return w_; }
    const FloatMatrix& V() const { return v_; }
    const FloatMatrix& Display() const { return display_; }
    double TimeScale() const { return timeScale_; }
    double UnitFactor() const { return unitFactor_; }
    long Component() const { return component_; }

    // n taus spaced evenly in log between early and late: the tau grid.
    static FloatArray TauGrid(double early, double late, long n);
    static long EvenTaus(long n) { return n % 2 != 0 ? n + 1 : n; }
    // The decomposition that the choice of taus reads: svdcmp of the response's
    // transpose (taus by channels in, zero-padded to at least square), one pass
    // of adjacent swaps, values below 1e-5 of the largest set to zero.
    static void Decompose(const FloatMatrix& response, FloatArray& w, FloatMatrix& v);
    // The eigenvector index for a relative error in percent.
    static long EigenvectorIndex(const FloatArray& w, double errorPercent);
    // The early and late tau (from taus) picked by the vectors of the two errors.
    static void SelectRange(const FloatArray& w, const FloatMatrix& v, const FloatArray& taus,
                            double earlyErrorPercent, double lateErrorPercent, double& early,
                            double& late);

  protected:
    // The time scale and the unit factor from the descriptor and the
    // parameters; a zero time scale is fatal.
    void SetUnits();
    // A tau in the parameters' unit into builder units, and back.
    double ToBuilderUnits(double tau) const;
    double ToParameterUnits(double time) const;
    // The automatic stage: 32 taus from 1e-8 s to 0.1 s, their response on the
    // windows, the decomposition and the choice of range, which replaces
    // early_ and late_. Also fills the display matrix.
    void SelectTaus(const FloatMatrix& windows);
    // The final grid of n taus from early_ to late_ and its response.
    void BuildLast(const FloatMatrix& windows, long n);

    const xEMDesc& descriptor_;
    xBasisSettings& settings_;
    long component_ = 0;
    FloatArray taus_;
    FloatMatrix windows_;
    FloatMatrix result_;
    FloatArray primary_;
    FloatArray w_;
    FloatMatrix v_;
    FloatMatrix display_;
    double early_ = 0.0, late_ = 0.0;  // builder units
    double timeScale_ = 1.0;
    double unitFactor_ = 1.0;
};
