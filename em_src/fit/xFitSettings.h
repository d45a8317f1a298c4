#pragma once
// What the deconvolution engine needs to know of a run, as plain values: the
// process fills it from its parameters, a test or another front end by hand.

#include <cstdint>
#include <map>

#include "xFitParams.h"
#include "xMatrix.h"

struct xFitSettings {
    // One of the algorithm codes of the deconvolution parameters.
    std::int32_t algorithm = xFitParams::PlsAllTaus;
    int normalization = 1;  // 1 largest value, 2 first channel, 3 largest and no sign
    float threshold = 1e-4f;
    bool primaryFit = false;
    float primaryFraction = 0.0f;  // the primary percentage / 100
    // Error weighting: the type, its parameter and the user's one-row tables
    // by component id.
    std::int32_t errorWeighting = 0;
    float weightParameter = 1.0f;
    std::map<std::int32_t, FloatMatrix> weights;
    // Conditioning, unsquared.
    float smoothing = 0.0f;
    float powerLaw = 0.0f;
    float forceToSurface = 0.0f;
    float minLength = 0.0f;
};
