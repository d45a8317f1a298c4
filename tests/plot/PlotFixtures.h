#pragma once
// Small survey files made for figure tests, whose every value is known.

#include <cstdint>
#include <filesystem>
#include <functional>
#include <vector>

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

// A survey file (BIN) with the given lines, each of `records` records and
// TxRx and TzRz with `channels` channels each. Record r of the i-th line is at
// distance and FID 10 r, X = 1000 + 10 r, Y = 5000 + 1000 i, Z 0, altitude
// 100 m, every channel 1; then fill(line, r, row) sets what a test wants,
// with row[tzrz + c] channel c (0-based) of TzRz.
using RowFill = std::function<void(std::int32_t line, long record, float* row, long tzrz)>;
void WriteBin(const std::filesystem::path& path, const std::vector<std::int32_t>& lines,
              long records, long channels, const RowFill& fill);

}  // namespace plottest
