#pragma once
// The colour range of what a figure colours: by default the 2nd and 98th
// percentile of the values, so that a few wild ones do not wash out the
// rest; on a log scale of the positive values only, and at most
// MaxDefaultContrast below the upper end, since a conductivity four decades
// under the survey's conductors tells the eye nothing a darker shade does
// not. A single value is widened about itself.

#include <optional>
#include <vector>

constexpr double MaxDefaultContrast = 1000.0;

struct xColourRange {
    double low = 1.0, high = 10.0;
};

// The range of values (reordered here), with the ends given kept as they
// are. None when no value qualifies and an end is missing.
std::optional<xColourRange> RobustColourRange(std::vector<double>& values, bool logScale,
                                              std::optional<double> low = std::nullopt,
                                              std::optional<double> high = std::nullopt);
