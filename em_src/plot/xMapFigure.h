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

// The colour range (RobustColourRange) of the tracks' valid values. False when
// no value qualifies.
bool MapColourRange(const xMapData& data, double& low, double& high);

// Draws the map on plot, replacing what it held.
void DrawMap(QCustomPlot& plot, const xMapData& data, const xMapLook& look);
