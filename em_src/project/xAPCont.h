#pragma once
// Parameters of the anomaly picker: which anomaly shapes and response ranges
// are picked, the averaging length and the amplitude threshold.

#include <cstdint>

#include "xPrsCont.h"

class xAPCont : public xPrsCont {
  public:
    static constexpr int Id = 705;
    // All shape types and the range "Total".
    static constexpr std::uint32_t DefaultSelection = 0x0FFF0400;

    xAPCont();

    std::uint32_t selection = DefaultSelection;
    float averaging = 1000.0f;        // metres
    float amplitudeThreshold = 5.0f;  // percent

  protected:
    // For the inverter, which picks as the picker does and keeps the picker's
    // output name.
    xAPCont(int processId, std::int32_t blockVersion);

    void WriteBlock(xBlockWriter& out, std::streamoff sectionStart) const override;
    void ReadBlock(xBlockReader& in, std::int32_t version, std::streamoff sectionStart) override;
    void BlockFields(xParamFields& fields) override;
};
