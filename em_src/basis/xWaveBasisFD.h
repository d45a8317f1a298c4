#pragma once
// The basis of a frequency-domain system: the response of a decay with time
// constant tau at frequency f has a closed form, x = 2 pi f tau:
//   in-phase  G x^2 / (x^2 + 1),  quadrature  G x / (x^2 + 1),
// G being the receiver's primary field scale of the component. There is no
// waveform and no stripping; the half-space and thin-sheet forms do not apply.

#include "xWaveBasisBuilder.h"

class xWaveBasisFD : public xWaveBasisBuilder {
  public:
    using xWaveBasisBuilder::xWaveBasisBuilder;

    void Build(long component) override;
    bool Changed(long component) const override;
    void SaveState() override;
    void Setup(long component) override;
    // Columns 1..nf in-phase, nf + 1..2 nf quadrature.
    void Response(const FloatMatrix& windows, FloatMatrix& result) override;

  private:
    // Frequencies of a component, row 0 of columns 1..nf.
    FloatMatrix Frequencies(long component) const;
    // Brings the automatic taus within those the frequencies resolve (the
    // settings' fraction and periods).
    void LimitToFrequencies();

    float scale_ = 1.0f;  // G
    struct State {
        FloatMatrix frequencies;
        double timeScale = 0.0;
        float early = 0.0f, late = 0.0f;
        long taus = 0;
        bool saved = false;
    } state_;
};
