#pragma once
// The conductivity-depth section of a line: distance (or FID) across, depth
// or elevation down, the conductivity in colour with its bar, blank where a
// value is NULL. Several sections of the line stack with one colour bar. The
// estimated penetration is drawn as a line; with elevations, the ground and
// the flight height too.

#include <QString>

#include <optional>

class QCustomPlot;
struct xSectionGrid;

struct xSectionLook {
    bool logScale = true;
    std::optional<double> low, high;  // mS/m; else from the values shown
    bool elevation = false;
    QString title;
    long rows = 500;  // of the image under each section
};

// The colour range (RobustColourRange) of the grid's valid values down to the
// estimated penetration, or the given ends. False when no value qualifies.
bool SectionColourRange(const xSectionGrid& grid, const xSectionLook& look, double& low,
                        double& high);

// Draws the grid's sections on plot, replacing what it held.
void DrawSection(QCustomPlot& plot, const xSectionGrid& grid, const xSectionLook& look);
