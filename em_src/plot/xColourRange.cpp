#include "xColourRange.h"

#include <algorithm>
#include <cmath>

std::optional<xColourRange> RobustColourRange(std::vector<double>& values, bool logScale,
                                              std::optional<double> low,
                                              std::optional<double> high) {
    if (logScale)
        values.erase(
            std::remove_if(values.begin(), values.end(), [](double v) { return !(v > 0.0); }),
            values.end());
    if (values.empty() && !(low && high)) return std::nullopt;
    auto percentile = [&values](double p) {
        auto at = values.begin() + long(p * double(values.size() - 1));
        std::nth_element(values.begin(), at, values.end());
        return *at;
    };
    xColourRange range;
    range.high = high ? *high : percentile(0.98);
    range.low = low ? *low : percentile(0.02);
    if (logScale && !low) range.low = std::max(range.low, range.high / MaxDefaultContrast);
    if (!(range.high > range.low)) {
        const double centre = range.high;
        const double half = std::max(1.0, std::abs(centre) * 0.5);
        range.low = logScale ? centre / 2.0 : centre - half;
        range.high = logScale ? centre * 2.0 : centre + half;
    }
    return range;
}
