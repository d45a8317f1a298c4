#pragma once
// Parameters of the conductivity-depth imaging: depth range and resolution,
// the taus used, short-tau adjustments, outputs and drawings, the discrete
// conductivities and the weights of the components.

#include <cstdint>
#include <string>

#include "xArray.h"
#include "xPrsCont.h"

class xCDIParams : public xPrsCont {
  public:
    static constexpr int Id = 704;
    static constexpr std::int32_t BlockVersion = 0xC0000;
    static constexpr std::int32_t MaxConductivities = 250;
    static constexpr float LowConductivity = 1.0f;      // mS/m
    static constexpr float HighConductivity = 1000.0f;  // mS/m
    enum Mode : std::int32_t { DrawCdi = 0, ProcessCdi = 1, DrawCross = 2, ProcessCross = 3 };

    xCDIParams();

    // count values from low to high, evenly spaced in their logarithms,
    // indexed from 1; a single value is low alone.
    static FloatArray LogSpaced(float low, float high, std::int32_t count);

    std::int32_t maxAltitude = 500;
    std::int32_t maxDepth = 300;
    std::int32_t depthResolution = 10;
    std::int16_t useAllTaus = 1;
    std::int32_t fromTau = 1;
    std::int32_t toTau = 1;
    float cutOffFactor = 1.0f;
    std::int32_t mode = 1;  // 16 bits on file
    std::int16_t forceToSurface = 0;
    std::int16_t cut = 0;
    std::int16_t predict = 1;
    std::int32_t saveAscii = 11;
    std::int32_t displayFlags = 1;
    std::int32_t layerCount = 3;
    std::int32_t condCount = MaxConductivities;
    FloatArray conductivities;    // 1..condCount, mS/m
    FloatArray componentWeights;  // 100..109, by component id; 100 unused
    FloatArray crossComponents;   // 101..109, by component id
    std::int16_t manualLines = 0;
    std::int16_t showPenetration = 1;
    std::int32_t logDepths = 0;
    std::int16_t autoRange = 1;
    std::int16_t showTopography = 0;
    std::string userPattern;
    std::int32_t cdiType = 0;
    std::int32_t airMode = 0;
    std::int32_t layerLines = 0;
    std::int16_t showAltitude = 0;

  protected:
    void WriteBlock(xBlockWriter& out, std::streamoff sectionStart) const override;
    void ReadBlock(xBlockReader& in, std::int32_t version, std::streamoff sectionStart) override;
    void BlockFields(xParamFields& fields) override;
};
