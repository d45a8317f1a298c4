#pragma once
// The system header of a descriptor: identity and the timing common to every
// component. Nominal times (waveforms, windows) turn into real seconds through
// the two half periods and the time unit.

#include <ostream>
#include <string>

#include "DscStream.h"

// The unit written at the end of a line: the text between the last "[" and the
// last "]"; "---" when the line has no such pair. Every block of the descriptor
// finds its units this way.
std::string UnitOfLine(const std::string& line);

class xEMSDesc {
  public:
    // Reads the header from "SYSTEM NAME" to the normalisation. A file from
    // before the normalisation has none: the line found in its place is kept as
    // PendingLine() and belongs to the block that follows.
    bool Read(xDscReader& in);
    void Write(std::ostream& out) const;

    bool IsFrequencyDomain() const { return waveformType == "frequency domain"; }
    // Seconds of one time unit; an unknown unit counts as seconds.
    double SecondsPerUnit() const { return SecondsPer(timeUnit); }
    static double SecondsPer(const std::string& unit);
    // A nominal time in real seconds. A frequency-domain system has no time, and
    // an undefined nominal half period none either: both answer 0.
    double RealSeconds(double nominal) const;

    bool HasPendingLine() const { return hasPendingLine_; }
    const std::string& PendingLine() const { return pendingLine_; }

    // Two headers are the same system when the identity matches; timing may
    // differ between versions of one system.
    bool operator==(const xEMSDesc& other) const;
    bool operator!=(const xEMSDesc& other) const { return !(*this == other); }

    float nominalHalfPeriod = 1.0f;
    float realHalfPeriod = 1.0f;
    float halfPeriod = 0.0f;  // the nominal value again after any read
    std::string timeUnit = "sec";
    std::string waveformType = "halfperiod";
    std::string normalization = "total field";
    std::string name;
    std::string version;
    std::string definedBy;
    std::string dateDefined;
    std::string txSource = "nominal";
    std::string rxSource = "undefined";

  private:
    std::string pendingLine_;
    bool hasPendingLine_ = false;
};
