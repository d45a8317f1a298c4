#pragma once
// Parameters of the deconvolution: solver tolerance, normalisation, the fit
// algorithms, error weighting with the user's weighting tables, smoothing,
// background and the conditioning channel or tau.

#include <cstdint>
#include <map>

#include "xMatrix.h"
#include "xPrsCont.h"

class xFitParams : public xPrsCont {
  public:
    static constexpr int Id = 703;
    static constexpr std::int32_t BlockVersion = 0x7F0000;
    // Algorithm bits.
    static constexpr std::int32_t PlsAllTaus = 0x80;
    static constexpr std::int32_t L1NormMinErr = 0x02;
    static constexpr std::int32_t L1NormMinErrPos = 0x10;
    static constexpr std::int32_t PlsSvd = 0x20;
    static constexpr std::int32_t SvdAllTaus = 0x800;

    xFitParams();

    float threshold = 0.0001f;
    std::int32_t normalization = 1;
    std::int32_t algorithm = PlsAllTaus;
    std::int16_t selectLines = 1;
    std::int16_t primaryFit = 0;
    std::int32_t errorWeighting = 0;
    float weightParameter = 1.0f;
    std::int16_t saveInAscii = 0;
    // The user's weights: one-row matrices over the channels, by component id
    // (101..109). Empty until the process fills them from the descriptor.
    std::map<std::int32_t, FloatMatrix> weights;
    float smoothing = 0.2f;
    std::int16_t calculateBackground = 0;
    float forceToSurface = 0.0f;
    float minLength = 0.0f;
    float powerLaw = 0.0f;
    float primaryPercentage = 0.1f;
    std::int32_t channelOrTau = 1;  // shown one lower

  protected:
    void WriteBlock(xBlockWriter& out, std::streamoff sectionStart) const override;
    void ReadBlock(xBlockReader& in, std::int32_t version, std::streamoff sectionStart) override;
    void BlockFields(xParamFields& fields) override;

  private:
    // The smoothing field, just added, warns when it is left too low for the
    // background.
    void WarnOnLowSmoothing(xParamFields& fields);
};
