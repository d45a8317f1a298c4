#pragma once
// The survey map: the flight lines in easting and northing at equal scale,
// each line's number at its ends, the lines coloured by a record value (with
// its colour bar) or drawn plain, and the marks in plan with their labels.

#include <QString>

class QCustomPlot;
struct xMapData;

struct xMapLook {
    QString title;
};

// The colour range of the values: the 2nd and 98th percentile of the valid
// ones (of the positive ones on a log scale), widened about a single value.
// False when no value qualifies.
bool MapColourRange(const xMapData& data, double& low, double& high);

// Draws the map on plot, replacing what it held.
void DrawMap(QCustomPlot& plot, const xMapData& data, const xMapLook& look);
