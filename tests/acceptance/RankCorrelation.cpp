#include "RankCorrelation.h"

#include <algorithm>
#include <cmath>
#include <numeric>

std::vector<double> AverageRanks(const std::vector<double>& values) {
    std::vector<std::size_t> order(values.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t a, std::size_t b) { return values[a] < values[b]; });
    std::vector<double> ranks(values.size());
    for (std::size_t first = 0; first < order.size();) {
        std::size_t last = first + 1;
        while (last < order.size() && values[order[last]] == values[order[first]]) ++last;
        const double shared = 0.5 * double(first + 1 + last);  // mean of ranks first+1 .. last
        for (std::size_t k = first; k < last; ++k) ranks[order[k]] = shared;
        first = last;
    }
    return ranks;
}

double SpearmanRho(const std::vector<double>& x, const std::vector<double>& y) {
    const std::vector<double> rx = AverageRanks(x), ry = AverageRanks(y);
    const double mean = 0.5 * double(rx.size() + 1);  // the same for both, ties or not
    double sxy = 0, sxx = 0, syy = 0;
    for (std::size_t k = 0; k < rx.size(); ++k) {
        sxy += (rx[k] - mean) * (ry[k] - mean);
        sxx += (rx[k] - mean) * (rx[k] - mean);
        syy += (ry[k] - mean) * (ry[k] - mean);
    }
    return sxx > 0 && syy > 0 ? sxy / std::sqrt(sxx * syy) : 0.0;
}
