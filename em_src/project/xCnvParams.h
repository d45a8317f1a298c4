#pragma once
// Parameters of the ASCII to binary import: the position checks between
// consecutive records, where their complaints go, the survey files to read and
// the smoothing that follows.

#include <cstdint>
#include <string>
#include <vector>

#include "xPrsCont.h"

class xCnvParams : public xPrsCont {
  public:
    static constexpr int Id = 701;

    xCnvParams();

    std::int16_t warnX = 1;
    std::int16_t warnY = 1;
    std::int16_t warnZ = 1;
    std::int16_t warnFid = 1;
    float maxDx = 20.0f;
    float maxDy = 20.0f;
    float maxDz = 20.0f;
    float maxDFid = 2.0f;
    std::int32_t errorOutput = 1;  // 0 screen, 1 <project>.err, 2 both
    std::int16_t manualLines = 0;
    // The ASCII survey files. Each name keeps at most 99 characters in the
    // section, and only as many names as the section has room for.
    std::vector<std::string> files;
    std::int32_t smoothing = 0;  // the smoothing grade, 0 for none

  protected:
    void WriteBlock(xBlockWriter& out, std::streamoff sectionStart) const override;
    void ReadBlock(xBlockReader& in, std::int32_t version, std::streamoff sectionStart) override;
    void BlockFields(xParamFields& fields) override;
};
