#pragma once
// Small survey files made for figure tests, whose every value is known.

#include <cstdint>
#include <filesystem>
#include <functional>

#include "xMatrix.h"

namespace plottest {

// A CDI file of one line: records r = 0..records-1 at distance and FID 10 r,
// ground Z 100 m, sensor at 220 m, penetration 150 m; depths 0, 10 .. 200 m.
// Both sections hold value(r, depth) (NULL where it answers the NULL value).
// The header keeps the histogram given, else none.
void WriteCnd(const std::filesystem::path& path, std::int32_t line, long records,
              const std::function<float(long record, float depth)>& value,
              const FloatMatrix* histogram = nullptr);

// A survey file of TzRz channels (an NDF file has this layout): one line of
// records whose channel c (from 0) holds value(record, c).
void WriteTzRzSurvey(const std::filesystem::path& path, std::int32_t line, long channels,
                     long records, const std::function<float(long record, long channel)>& value);

}  // namespace plottest
