#pragma once
// What an EM system records over a layered earth. The field of the earth is
// sampled as the descriptor says the system samples it: in the time domain the
// step response is convolved with the transmitter's bipolar current waveform
// (one half period, repeated with alternating sign) and averaged over each
// window; in the frequency domain it is taken at each frequency as in-phase and
// quadrature. Values come out in the descriptor's receiver units:
//
//   ppm, ppt, %   the secondary over the primary field at the receiver: the
//                 component's own primary, with its sign, for "component"
//                 normalisation, the magnitude of the primary vector for "total
//                 field". A B receiver's primary is the field at the current's
//                 peak; a dB/dt receiver's is the largest rate of change, taken
//                 as the current falls (of the sign opposite to the field's).
//   fields        B in the unit's tesla (fT, ..., Wb/m^2), or amp/m, for the
//                 transmitter's moment: the amplitude of an "amp/m^2" current,
//                 1 A m^2 for an "amp" one. The current's shape is scaled to a
//                 peak of 1.
//   rates         -dB/dt in the unit's T/s (V/amp/m^4, nV/amp/m^2, ...), which
//                 is the receiver's EMF per unit area, for the same moment.
//
// A dB/dt receiver in absolute units reports -dB/dt, so that a field decaying
// with the sign of the transmitter's moment gives positive decays, as survey
// data show them. Transmitters of every axis are modelled (TxRx .. TzRz); a
// loop counts as a dipole of its moment at its centre.

#include <map>
#include <string>
#include <vector>

#include "LayeredEarth.h"

class xEMDesc;
class xEMSDesc;
class xEMWDesc;
class xWaveform;

class xSystemResponse {
  public:
    // False, with the reason in Problem(), when the system cannot be modelled.
    bool SetSystem(const xEMDesc& descriptor);
    const std::string& Problem() const { return problem_; }

    // The channels of every component over the earth with the transmitter at a
    // height: one per window, or the in-phase values then the quadrature ones.
    std::map<long, std::vector<double>> Sounding(const xLayeredEarth& earth, double txHeight) const;

    // What a value means, for the survey's notes.
    std::string UnitsText() const;

  private:
    enum class Quantity { B, DbDt };
    struct Component {
        long id = 0;
        int axis = 2;                     // receiver axis: 0 x, 1 y, 2 z
        xDipoleGeometry offset;           // with the transmitter's axis
        double reference = 1.0;           // what the secondary is divided by
        double factor = 1.0;              // then multiplied by
        std::vector<double> edges;        // window starts and ends in s, or frequencies in rad/s
        std::vector<double> waveTimes;    // s
        std::vector<double> waveCurrent;  // A, piecewise linear
    };

    // The windows of a component from the step-off response at its receiver.
    std::vector<double> TimeDomain(const Component& component, const xStepOff& step) const;
    // Where the step-off response is computed: from the earliest time a window
    // can see on to beyond the earlier pulses that still reach the windows.
    std::vector<double> StepTimes() const;
    // The earliest delay after a change of current at which a window samples the
    // step response (s), or 0 when windows overlap the current's changes.
    double EarliestDelay() const;
    std::vector<double> FrequencyDomain(const Component& component, const xLayeredEarth& earth,
                                        double txHeight) const;
    bool AddComponent(const xEMDesc& descriptor, long id);
    // False when the component's current has no shape.
    static bool TakeWindowsAndCurrent(const xEMSDesc& header, const xEMWDesc& wave, Component& c);
    // What data normalised by the primary field are divided by (H per unit moment,
    // times the peak rate of change of a unit current for dB/dt).
    double PrimaryReference(const Component& c) const;
    static double PeakRate(const Component& c, bool rate);
    // A-m^2 at the current's peak: the amplitude of an "amp/m^2" current, else 1.
    static double TransmitterMoment(const xWaveform& current);

    bool frequencyDomain_ = false;
    Quantity quantity_ = Quantity::B;
    std::string unit_;
    std::string normalization_;
    double moment_ = 1.0;
    double halfPeriod_ = 0.0;
    std::vector<Component> components_;
    std::string problem_;
};
