#pragma once
// Makes a descriptor from what a public survey ships: the system file (.stm)
// gives the timing, waveform, windows and output type; the column definition
// (.dfn or .hdr) gives where each quantity lies in a record. Times of the
// descriptor run from 0 to the half period in microseconds, whatever the system
// file takes for its time zero.

#include <array>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "xEMDesc.h"
#include "xGdfDefinition.h"
#include "xStmFile.h"

struct xDescriptorOptions {
    // Item name -> column name: line, fid, east, north, z_topo, altitude and the
    // angles (Rx_pitch, ..., Tx_roll) are the named items, any other name becomes
    // a user item. Names of the items are taken without regard to case.
    std::vector<std::pair<std::string, std::string>> items;
    // Receiver axis ("X", "Y", "Z") -> the array column holding its channels; a
    // "-" before the column ("-EMZ") turns the group's sign round.
    std::vector<std::pair<std::string, std::string>> channels;
    // Receiver minus transmitter, metres, x forward, z up.
    std::array<float, 3> rxOffset{0.0f, 0.0f, 0.0f};
    std::string name;  // empty: the system file's name
    // The unit of the channels in any spelling a survey uses; empty: the unit of
    // the channel columns, else the system file's normalisation or output scaling.
    std::string rxUnit;
    // The value the survey writes for a missing reading; none: the NULL of the
    // channel columns, if they declare one.
    std::optional<double> missingValue;
    std::string version;
    std::string definedBy;
    std::string dateDefined;
};

// One component of a frequency-domain system: its frequencies in Hz with the
// columns of their in-phase and quadrature values, in the same order.
struct xFdComponentOptions {
    long id = 109;  // TzRz for horizontal coplanar, TxRx for coaxial, ...
    std::vector<float> frequencies;
    std::vector<std::string> inPhase;
    std::vector<std::string> quadrature;
    // Receiver minus transmitter, metres, x forward, z up.
    std::array<float, 3> rxOffset{0.0f, 0.0f, 0.0f};
};

struct xFdDescriptorOptions {
    // As for the time domain: item name -> column name.
    std::vector<std::pair<std::string, std::string>> items;
    std::vector<xFdComponentOptions> components;
    std::string name;
    std::string version;
    std::string definedBy;
    std::string dateDefined;
};

class xDescriptorBuilder {
  public:
    static constexpr const char* TimeUnit = "microsec";

    // Fills the descriptor; the first problem is shown as an error and the result
    // is 0, the descriptor then being of no use.
    static bool Build(const xStmSystem& system, const xGdfDefinition& layout,
                      const xDescriptorOptions& options, xEMDesc& descriptor);

    // A frequency-domain descriptor: each component a pair of dipoles, the
    // transmitter at the origin along the component's transmitter axis, the
    // receiver at its offset along its receiver axis; data in parts of the primary
    // field of each component. Same failures as Build.
    static bool BuildFrequencyDomain(const xGdfDefinition& layout,
                                     const xFdDescriptorOptions& options, xEMDesc& descriptor);

    // Seconds to add to the system file's times so that its half period starts
    // at 0: the start of a table of one half period, or of the half of a whole
    // period's table that holds the windows. Nothing when the windows fit in no
    // half period.
    static bool HalfPeriodShift(const xStmSystem& system, double& shift);

    // Seconds by which the receiver's low-pass filters delay a decay much longer
    // than their time constants: a Butterworth filter of order n and cut-off fc
    // passes exp(-t/tau) as exp(-(t - d)/tau), d = 1 / (2 pi fc sin(pi / 2n)),
    // its group delay at low frequencies. The delays of filters in series add.
    static double FilterDelay(const xStmSystem& system);

    // Time derivative of a current given by straight segments, rows of (time,
    // amplitude): constant on each segment, each change of slope written as two
    // rows epsilon apart because the times of a waveform must rise.
    // Samples scaled to a peak of 1, the peak kept in the amplitude scaling.
    static void NormaliseToPeak(xWaveform& wave);
    // The transmitter's peak moment in A m^2 for data in that unit: 1 for units
    // per unit moment by name, else turns x loop area x peak current of the
    // system file. Nothing for relative units, or when the file leaves one out.
    static std::optional<double> Moment(const xStmSystem& system, const std::string& rxUnit);
    static FloatMatrix Derivative(const FloatMatrix& current, double epsilon);

    // "Z" -> 109 (TzRz), "X" -> 107, "Y" -> 108; 100 for anything else.
    static long ComponentOfAxis(const std::string& axis);
    // The component of transmitter and receiver both along the axis, as the
    // coils of a frequency-domain bird are paired: "Z" -> 109 (TzRz, coplanar),
    // "X" -> 101 (TxRx, coaxial), "Y" -> 105; any component name (e.g. "TzRz")
    // as itself; 100 for anything else.
    static long ComponentOfCoilPair(const std::string& axis);
};
