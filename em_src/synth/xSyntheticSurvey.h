#pragma once
// A planned survey over a layered earth, written as the system's survey files
// are: records in the descriptor's layout, one ASCII line per record, in
// parallel lines flown back and forth with rising FID, ready for the import.

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

class xEMDesc;

struct xSurveyPlan {
    int lines = 1;
    double lineLength = 1000.0;  // m
    double spacing = 10.0;       // m between records along a line
    double lineSpacing = 200.0;  // m between lines
    double altitude = 100.0;     // m, transmitter above the ground
    double groundLevel = 0.0;    // m above the datum
    double noisePercent = 0.0;   // of each value, Gaussian
    std::uint32_t seed = 1;
    double east0 = 500000.0, north0 = 7000000.0;

    long RecordsPerLine() const;
    // Line labels 10010, 10020, ...
    static std::int32_t LineLabel(int line) { return 10000 + 10 * (line + 1); }
};

class xSyntheticSurvey {
  public:
    // channels: per component id, the noise-free values in the descriptor's
    // units, as the system delivers them: the import's window weights are
    // divided out here, so that it gets the values back.
    xSyntheticSurvey(const xEMDesc& descriptor, const xSurveyPlan& plan,
                     std::map<long, std::vector<double>> channels);

    // Writes every record; progress is told the records written so far. The
    // file takes the place of an older one only when whole; false when it
    // cannot be written.
    bool Write(const std::filesystem::path& file,
               const std::function<void(long)>& progress = nullptr) const;
    long Records() const { return long(plan_.lines) * plan_.RecordsPerLine(); }

  private:
    const xEMDesc& descriptor_;
    xSurveyPlan plan_;
    std::map<long, std::vector<double>> channels_;
};
