#pragma once
// What one component knows of time: the transmitter current, the receiver's
// primary field and the sampling windows of a time-domain system, or the
// frequencies of a frequency-domain one, each channel with its weight.

#include <ostream>
#include <string>
#include <vector>

#include "DscStream.h"
#include "xArray.h"
#include "xEMSDesc.h"
#include "xMatrix.h"
#include "xWaveform.h"

class xEMWDesc {
  public:
    static constexpr long CurrentVersion = 9;
    // A frequency block has no line for its unit: its in-phase and quadrature
    // are parts per million of the component's primary field.
    static constexpr const char* FrequencyDomainUnit = "ppm";

    // One window and one frequency, weight 1, no waveforms.
    xEMWDesc();

    // The block from its first separator to its last. Files before version 5
    // carry no weights (all stay 1); those before version 4 no amplitude
    // scaling of the frequencies (it keeps its value).
    bool Read(xDscReader& in, long fileVersion, bool frequencyDomain);
    // Always the current layout, weights included.
    void Write(std::ostream& out, bool frequencyDomain) const;

    long GetChannels(bool frequencyDomain) const {
        return frequencyDomain ? frequencies.Rows() : windows.Rows();
    }
    const FloatMatrix& GetWindows() const { return windows; }
    const FloatMatrix& GetFrequencies() const { return frequencies; }
    const FloatArray& GetWeights() const { return weights; }
    // One value per channel, from 0: the centre (start + end) / 2 of each window
    // in nominal time, or in the frequency domain the frequency itself.
    FloatArray GetSampleTimes(bool frequencyDomain = false) const;

    // The editor's refusals on OK, in the order it shows them; empty when the
    // component can be used with this header.
    std::vector<std::string> Validate(const xEMSDesc& header) const;

    bool operator==(const xEMWDesc& other) const;
    bool operator!=(const xEMWDesc& other) const { return !(*this == other); }

    xWaveform txWaveform;     // TRANSMITTER CURRENT WAVEFORM
    xWaveform rxPrimary;      // RECEIVER PRIMARY FIELD
    FloatMatrix windows;      // rows 0..n-1; column 0 start, 1 end, nominal time
    FloatMatrix frequencies;  // rows 0..n-1, one column, Hz
    FloatArray weights;       // 0..n-1 over the windows or the frequencies
    float scaleReal = 1.0f;
    float scaleNominal = 1.0f;
    long fileVersion = CurrentVersion;

    std::vector<std::string> txUnits{"amp", "amp/m^2"};
    std::vector<std::string> rxUnits{"amp/m", "nanoVolts", "nV/amp",     "%",
                                     "ppt",   "ppm",       "nV/amp/m^2", "Wb/m^2"};
    std::vector<std::string> errorUnits{"%", "ppt", "ppm", "rms", "---"};
};
