#pragma once
// Spearman's rank correlation, the measure the survey checks hold a section
// against a published model with: it asks only that both order the ground the
// same way, so a CDI that is smoother or offset by a constant factor still
// scores as it should.

#include <vector>

// The rank of every value, 1 for the smallest; tied values share the average
// of the ranks they span.
std::vector<double> AverageRanks(const std::vector<double>& values);

// Pearson's correlation of the average ranks of x and y (equal lengths, at
// least two values); 0 when either is constant.
double SpearmanRho(const std::vector<double>& x, const std::vector<double>& y);
