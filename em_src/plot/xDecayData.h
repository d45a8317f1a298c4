#pragma once
// One record's decays gathered for a picture: per component the normalised
// data and fit at the window centres, the noise of each channel where the
// project has smoothing residuals, and the amplitudes of the taus.

#include <cstdint>
#include <string>
#include <vector>

class xAofTau;
class xMData;
struct xComponentFit;

struct xDecayPanel {
    long component = 0;
    std::vector<double> times;  // window centres in ms, or frequencies in Hz
    std::vector<double> data;   // normalised, signed; NaN where not measured
    std::vector<double> fit;
    std::vector<double> noise;  // normalised as the data; empty with no NDF file
    std::vector<double> amplitudes;
    double scale = 1.0;  // what the data were divided by
    double misfit = 0.0;
};

struct xDecayData {
    std::int32_t line = 0;
    long record = 0;
    double fid = 0.0;
    bool frequencyDomain = false;
    std::vector<double> taus;  // ms
    std::vector<xDecayPanel> panels;
};

// The panels of the fits, timed by the basis's windows. False with the reason
// in error when the basis has no windows for a fitted component or they do
// not match its channels.
bool DecayFromFits(const std::vector<xComponentFit>& fits, const xAofTau& basis, xDecayData& decay,
                   std::string& error);

// Each channel's noise: the RMS of its smoothing residuals over the decay's
// line in the open NDF file, divided by the panel's scale. False with the
// reason in error when the file has not the line or not the channels.
bool ReadDecayNoise(xMData& ndf, xDecayData& decay, std::string& error);
