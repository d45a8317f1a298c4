#pragma once
// What a basis builder is given: the tau grid or its automatic choice, the
// unit of the taus, the stripping, the approximation and its factors, and the
// descriptor's file name for the messages that ask to correct it. A build
// writes back what it decided: the even number of taus, the range it chose
// and whether the choice was automatic.

#include <string>

#include "xArray.h"

struct xBasisSettings {
    xBasisSettings();

    long numberOfTaus = 12;
    float earlyTau = 0.0002f;  // in unit
    float lateTau = 0.005f;
    bool automaticSelection = true;
    bool selectionWasAutomatic = false;
    double earlyRelativeError = 2.0;  // percent
    double lateRelativeError = 2.0;
    std::string unit = "sec";
    int stripping = 0;          // 1 Geotem, 2 Spectrem, 3 Questem; 0 and 4 none
    int approximationType = 0;  // 1 thin sheet, 2 half space, else plain decays
    // Power-law factors of the thin-sheet and half-space decays by component
    // id (101..109), and the finer taus put between two coarse ones.
    FloatArray thinSheetFactors;
    FloatArray halfSpaceFactors;
    long extraTaus = 2;
    // The automatic choice keeps to decays the windows can tell apart, timed
    // from the current's last change: its earliest tau no later than this
    // fraction of the first window's centre (a shorter decay still shows there),
    // its latest no later than this fraction of the last window's start (a
    // longer one hardly decays over the windows and is told from its
    // neighbours by the late, noisiest windows only). 0 lifts a limit.
    double earlyTauWindowFraction = 0.25;
    double lateTauWindowFraction = 0.4;
    // A frequency f tells apart best the decays of tau = 1 / (2 pi f). In the
    // frequency domain the automatic choice starts no earlier than this
    // fraction of that tau at the highest frequency (shorter decays have hardly
    // any in-phase part anywhere) and ends no later than this many periods of
    // the lowest frequency (longer ones are a constant in-phase part at every
    // frequency, and the CDI reads decays no further than that period).
    double earlyTauFrequencyFraction = 0.25;
    double lateTauPeriods = 1.0;
    // Written back, in unit, when a limit cut the automatic choice; else 0.
    double earlyTauLimit = 0.0;
    double lateTauLimit = 0.0;
    std::string descriptorName;
};
