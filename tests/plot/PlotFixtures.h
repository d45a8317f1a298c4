#pragma once
// Small survey files made for figure tests, whose every value is known.

#include <cstdint>
#include <filesystem>
#include <functional>

namespace plottest {

// A CDI file of one line: records r = 0..records-1 at distance and FID 10 r,
// ground Z 100 m, sensor at 220 m, penetration 150 m; depths 0, 10 .. 200 m.
// Both sections hold value(r, depth) (NULL where it answers the NULL value).
void WriteCnd(const std::filesystem::path& path, std::int32_t line, long records,
              const std::function<float(long record, float depth)>& value);

}  // namespace plottest
