#pragma once
// FIT_AVERAGE.TXT: for each deconvolved line, the line's mean record and the
// fit of it, component by component, so that the quality of a run can be
// judged line by line without opening the amplitude file.
//
// Two title rows, then two rows per line: the line number and the data, then
// 13 blanks and the fit, every value in "%13.4e".

#include <cstdint>
#include <iosfwd>
#include <vector>

#include "xArray.h"

class xMFile;

constexpr const char* FitAverageFileName = "FIT_AVERAGE.TXT";

// The columns of one component: its id and the number of its channels, or of
// its frequencies for frequency-domain data.
struct xFitAverageColumns {
    long component = 0;
    long count = 0;
};

// Every flagged component of a survey file; frequency-domain components hold
// two channels per frequency.
std::vector<xFitAverageColumns> FitAverageColumns(const xMFile& file, bool frequencyDomain);

// The two title rows. Frequency-domain files have an in-phase and a
// quadrature column per frequency, and above version 13 a third one.
void WriteFitAverageHeader(std::ostream& out, const std::vector<xFitAverageColumns>& columns,
                           bool frequencyDomain, std::int32_t version);

// The rows of one line: data and fit rows of each component, in component
// order, each written from its low bound to its high bound.
void WriteFitAverageLine(std::ostream& out, std::int32_t line, const std::vector<FloatArray>& data,
                         const std::vector<FloatArray>& fit);
