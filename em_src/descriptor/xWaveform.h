#pragma once
// One waveform of a component as the descriptor holds it: the transmitter
// current or the receiver's primary field, sampled in nominal time.

#include <ostream>
#include <string>

#include "DscStream.h"
#include "xMatrix.h"

class xWaveform {
  public:
    xWaveform();

    // The block from the source line on. An "undefined" source is the whole
    // block; any other is followed by the scaling, the rows and one closing line.
    bool Read(xDscReader& in);
    void Write(std::ostream& out) const;

    bool IsDefined() const { return source != "undefined"; }
    // What the stored amplitudes are multiplied by. Without a primary amplitude
    // there is nothing to scale against, and the samples stand as they are.
    float AmplitudeFactor() const { return scaleFirst == 0.0f ? 1.0f : scaleSecond / scaleFirst; }

    bool operator==(const xWaveform& other) const;
    bool operator!=(const xWaveform& other) const { return !(*this == other); }

    // "undefined", "nominal", "averaged", "calibrated" or "other".
    std::string source = "undefined";
    float scaleFirst = 1.0f;   // nominal (primary) amplitude
    float scaleSecond = 1.0f;  // equivalent secondary amplitude
    std::string unit = "---";
    FloatMatrix samples;  // rows 0..n-1; columns 0..2: nominal time, amplitude, error
};
