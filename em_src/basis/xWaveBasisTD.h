#pragma once
// The basis of a time-domain system. For a decay e^(-t/tau) the receiver sees
// the rate of change of its primary waveform convolved with the decay,
//   r(t) = integral of y'(u) e^(-(t - u)/tau) du over all the past,
// the waveform repeating with alternate signs every half period H; each
// channel is r averaged over its window. The waveform is piecewise linear, so
// every segment gives a closed form: no numerical integration, which is what
// keeps fine auxiliary windows and long waveforms affordable.
//
// The same object gives the primary field of each window and strips the
// primary field from the basis in the three ways the airborne systems need.

#include <memory>

#include "xWaveBasisBuilder.h"

class xPlatform;

class xWaveBasisTD : public xWaveBasisBuilder {
  public:
    // The question whether to strip a system the descriptor does not name as
    // such goes to ui.
    xWaveBasisTD(const xEMDesc& descriptor, xBasisSettings& settings, xPlatform& ui);

    void Build(long component) override;
    bool Changed(long component) const override;
    void SaveState() override;
    // The component's windows in builder units, row 0 start and row 1 end,
    // columns 1..m. Throws xBasisError when there are none or one is empty.
    void Setup(long component) override;
    void Response(const FloatMatrix& windows, FloatMatrix& result) override;
    // The stages pass automatic = true, the energy analysis false; the result
    // is the same either way.
    void Response(const FloatMatrix& windows, FloatMatrix& result, bool automatic);
    // The energy analysis, after a Build: for each tau (column), row 1 is the
    // share of the response's energy that the real windows see (sum of
    // |response| x width over the real windows over the same sum over the
    // intervals between the waveform's nodes), row 2 the tau in the
    // parameters' unit.
    void SVDAnalysis(FloatMatrix& result);

    // Reads and checks the component's receiver waveform and lays it out
    // bipolar (see RxWaveform). Needs Setup first. Throws xBasisError.
    void MakeRxWaveform();
    // Row 0 time, row 1 amplitude, in builder units: columns 1 - N + e .. 0
    // hold the negative half cycle, 1..N the positive one (e = 1 when the first
    // time is 0, whose point the negative half then replaces).
    const FloatMatrix& RxWaveform() const { return rx_; }
    double HalfPeriod() const { return halfPeriod_; }

    // The mean of the receiver waveform over each window (columns of
    // windows), the trapezium over its nodes. Windows that start beyond the
    // waveform's last time stay 0.
    FloatArray PrimaryField(const FloatMatrix& windows);

    // The closed forms, public for their own tests. E is exp with a guard:
    // 0 below -100, 1e30 above 100.
    static double E(double x);
    // Mean over [r1, r2] of the response to a ramp of height d from r3 to r4,
    // all in units of tau and relative to the segment's start; f divides out
    // the earlier half cycles.
    static double WindSamResp(double r1, double r2, double r3, double r4, double d, double f);
    // A window shrunk to a point, and a segment shrunk to a step.
    static double Near(double p, double q, double d, double f);
    static double Square(double p, double d, double f);
    // Mean of the response over a ramp of height d while it rises, p to q.
    static double Ramp(double d, double p, double q);

  protected:
    // Build after the number of taus has been chosen: every stage, the
    // primary field and the conversion to the parameters' unit.
    void BuildStages(long component, long n);
    // Builder units: the current's last change before the first window.
    double CurrentsLastChange() const;
    // Brings the automatic taus within the settings' fractions of the first
    // and the last window's start after that change.
    void LimitToWindows();
    // The last stage with the stripping of the parameters; false when there is
    // none or the user declined it, and result_ is then untouched.
    bool Strip(const FloatMatrix& windows);
    void StripGeotem(const FloatMatrix& windows);
    void StripSpectrem(const FloatMatrix& windows);
    void StripQuestem(const FloatMatrix& windows);
    // Asks whether to strip a system the descriptor does not name as such.
    bool Confirm(int system, const char* systemText, const char* nameText) const;
    // The windows between adjacent waveform columns 0..N.
    FloatMatrix NodeWindows() const;
    // Each real window as the overlap-weighted mean of auxiliary ones.
    static void Resample(const FloatMatrix& auxWindows, const FloatMatrix& aux,
                         const FloatMatrix& windows, FloatMatrix& result);

    xPlatform& ui_;
    FloatMatrix rx_;
    double halfPeriod_ = 0.0;  // H, builder units
    long points_ = 0;          // N
    long lastNode_ = 0;        // where the primary field walk stands
    FloatMatrix builderWindows_;
    FloatArray builderTaus_;

    struct State {
        bool saved = false;
        FloatMatrix windows;  // the descriptor's, nominal
        FloatMatrix rx;       // the descriptor's samples
        double timeScale = 0.0;
        float halfPeriod = 0.0f;
        float early = 0.0f, late = 0.0f;
        long taus = 0;
    } state_;
};

// Half-space and thin-sheet decays: each tau's decay is the exponential plus
// the later exponentials of a finer grid, weighted by a power law in tau, so a
// coarse tau carries the tail that a conductive half space or sheet adds.
class xWaveBasisTDDecay : public xWaveBasisTD {
  public:
    using xWaveBasisTD::xWaveBasisTD;

    void Build(long component) override;

    // The n coarse rows from the fine response (rows 1..N): coarse b starts at
    // fine row b + (b - 1) x and adds the later rows with weights
    // 10^((i0 - i) L / (N - 1) c), L the decades the grid spans, until a
    // weight falls below 1e-5.
    static FloatMatrix Reduce(const FloatMatrix& fine, long n, long extra, double decades,
                              float factor);
};

// The builder for the system and the approximation of the parameters.
std::unique_ptr<xWaveBasisBuilder> MakeBasisBuilder(const xEMDesc& descriptor,
                                                    xBasisSettings& settings, xPlatform& ui);
