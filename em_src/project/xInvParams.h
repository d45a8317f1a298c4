#pragma once
// Parameters of the inverter: the tau range and data it inverts on, the
// convergence limits, the picking of anomalies and the body kinds to try. The
// inverter picks as the anomaly picker does, but stores none of the picker's
// own values.

#include <cstdint>
#include <vector>

#include "xAPCont.h"

class xInvParams : public xAPCont {
  public:
    static constexpr int Id = 706;
    // Files up to this version have no inverter values in the section.
    static constexpr float FirstVersionWithBlock = 3.12f;

    xInvParams();

    std::int32_t firstTau = -1;  // -1: all taus
    std::int32_t lastTau = -1;
    std::int32_t invertOn = 0;  // 0 inductive limit, 1 resistive limit
    std::int32_t maxIterations = 25;
    float tolerance = 1.0f;       // percent
    float removeAbove = 50.0f;    // percent of the body's response
    float pickSpacing = 1000.0f;  // metres
    float minAmplitude = 100.0f;  // ppm
    std::vector<std::int32_t> bodyKinds = {101};

  protected:
    void WriteBlock(xBlockWriter& out, std::streamoff sectionStart) const override;
    void ReadBlock(xBlockReader& in, std::int32_t version, std::streamoff sectionStart) override;
    void BlockFields(xParamFields& fields) override;
};
