#pragma once
// What a CDI run needs to know, as plain values: the process fills it from its
// parameters and the configuration. A pass updates the fields it settles as it
// goes (a raised altitude, the taus clamped to the file, an automatic range).

#include <cstdint>

#include "xArray.h"

struct xCdiSettings {
    static constexpr float DefaultAmplitudeDeviation = 10.0f;

    // The cross-component form instead of the CDI.
    bool crossComponent = false;
    // A first pass finds the conductivity range from its histogram.
    bool autoRange = true;
    // All taus of the amplitude file, or fromTau..toTau (1-based).
    bool useAllTaus = true;
    std::int32_t fromTau = 1;
    std::int32_t toTau = 1;
    std::int32_t maxAltitude = 500;  // m
    std::int32_t maxDepth = 300;     // m
    std::int32_t depthResolution = 10;
    // Cross-component depths on the 1-2-3-5-7 progression.
    bool logDepths = false;
    float cutOffFactor = 1.0f;
    bool forceToSurface = false;
    bool cut = false;
    bool predict = true;
    std::int32_t layerCount = 3;
    std::int32_t cdiType = 0;
    std::int32_t condCount = 0;
    FloatArray conductivities;    // 1..condCount, mS/m, rising
    FloatArray componentWeights;  // by component id
    FloatArray crossComponents;   // by component id, non-zero when selected

    // From the configuration: the factor beyond which the amplitudes look
    // miscalibrated, and whether to look at all.
    float amplitudeDeviation = DefaultAmplitudeDeviation;
    bool inspectAmplitudes = false;
};
