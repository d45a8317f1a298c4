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

// The colour range of the grid: the given ends, else the 2nd and 98th
// percentile of its valid values down to the estimated penetration (with a
// log scale, of the positive ones, and at most MaxDefaultContrast below the
// upper end), widened about a single value. Answers false when no value qualifies.
constexpr double MaxDefaultContrast = 1000.0;

bool SectionColourRange(const xSectionGrid& grid, const xSectionLook& look, double& low,
                        double& high);

// Draws the grid's sections on plot, replacing what it held.
void DrawSection(QCustomPlot& plot, const xSectionGrid& grid, const xSectionLook& look);
