#pragma once
// The channel profiles of one component along a line: a curve per channel
// (or tau) in the order of the channels' colours, a legend beside them, the
// marks along the line (anomalies) as vertical lines with their labels, and
// the sensor altitude in a strip below on the same axis along the line.

#include <QString>

class QCustomPlot;
struct xProfileData;

struct xProfileLook {
    bool logScale = false;
    QString title;
};

// Curves per legend column, so that a legend of thirty channels still reads.
constexpr int kLegendRows = 16;

// Draws the profiles on plot, replacing what it held: the profiles' axis
// rectangle first, the altitude strip second.
void DrawProfiles(QCustomPlot& plot, const xProfileData& data, const xProfileLook& look);
