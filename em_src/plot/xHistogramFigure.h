#pragma once
// The conductivity histogram a CDI file keeps: the count of each bin as a bar
// over the bin on a log conductivity axis, with the range the automatic rule
// of the CDI chooses from it shaded between two lines and captioned.

#include <QString>

#include <string>
#include <vector>

class QCustomPlot;
class xMCond;

struct xHistogram {
    std::vector<double> counts;    // counts[k] holds edges[k - 1] .. edges[k]
    std::vector<double> edges;     // mS/m, rising
    double low = 0.0, high = 0.0;  // the chosen range, mS/m
};

// The histogram of a CDI file whose header is read. False with the system's
// message in error when the file has none or only empty bins.
bool ReadHistogram(const xMCond& cnd, xHistogram& histogram, std::string& error);

// "Conductivity Range <" low " " high "mS/m".
QString RangeCaption(const xHistogram& histogram);

// Draws the histogram on plot, replacing what it held.
void DrawHistogram(QCustomPlot& plot, const xHistogram& histogram, const QString& title);
