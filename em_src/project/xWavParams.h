#pragma once
// Parameters of the basis functions: the tau range or its automatic
// selection, the time unit of the taus, primary field stripping and the kind
// of approximation.

#include <cstdint>
#include <string>

#include "xPrsCont.h"

class xWavParams : public xPrsCont {
  public:
    static constexpr int Id = 702;
    // Three generations of the block or-ed together, as every file since has
    // carried them.
    static constexpr std::int32_t BlockVersion = 0x20000 | 0x30000 | 0x40000;

    xWavParams();

    std::int32_t numberOfTaus = 12;
    float earlyTau = 0.0002f;
    float lateTau = 0.005f;
    std::int32_t eigenvectorsToDisplay = 8;
    std::int16_t basisValid = 0;
    std::int16_t automaticSelection = 1;
    std::int16_t selectionWasAutomatic = 0;
    std::int32_t earlyRelativeError = 2;
    std::int32_t lateRelativeError = 2;
    std::string unit = "sec";  // time unit of the two taus
    std::int16_t stripping = 0;
    std::int32_t approximationType = 0;
    std::int16_t useHalfPeriod = 0;

  protected:
    void WriteBlock(xBlockWriter& out, std::streamoff sectionStart) const override;
    void ReadBlock(xBlockReader& in, std::int32_t version, std::streamoff sectionStart) override;
    void BlockFields(xParamFields& fields) override;
};
