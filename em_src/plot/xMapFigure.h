#pragma once
// The survey map: the flight lines in easting and northing at equal scale,
// each line's number at its ends, the lines coloured by a record value (with
// its colour bar) or drawn plain, and the marks in plan with their labels.

#include <QString>

#include <optional>

class QCustomPlot;
struct xMapData;

struct xMapLook {
    QString title;
    std::optional<double> low, high;  // of the colour scale; else from the values
};

// The colour range (RobustColourRange) of the tracks' valid values, or the
// ends the look gives. False when no value qualifies.
bool MapColourRange(const xMapData& data, const xMapLook& look, double& low, double& high);

// Draws the map on plot, replacing what it held.
void DrawMap(QCustomPlot& plot, const xMapData& data, const xMapLook& look);
