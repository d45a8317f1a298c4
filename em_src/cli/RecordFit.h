#pragma once
// One record of a line deconvolved as a run would, with what its text and
// its figure both show: the fits per component, the basis that times their
// windows, and where the record lies.

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "xAofTau.h"
#include "xFitFactory.h"

namespace cli {

struct RecordFit {
    std::int32_t line = 0;
    long record = 0;  // from 1
    float fid = 0.0f;
    std::int32_t algorithm = 0;
    std::int32_t normalization = 0;
    xAofTau basis;
    std::vector<xComponentFit> fits;
    std::filesystem::path noiseFile;  // the project's NDF, which may not exist
};

// The record's fits; kSuccess, or the exit code after the reason was posted.
int FitRecord(const std::filesystem::path& parFile, std::int32_t line, long record,
              RecordFit& result);

}  // namespace cli
