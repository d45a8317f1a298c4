#pragma once
// The flight lines of a survey file gathered for a map: each line's track in
// X and Y thinned to about a point per pixel, with the value it is coloured
// by at each kept point, and the marks to draw in plan.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

class xMFile;

struct xMapRequest {
    std::vector<std::int32_t> lines;  // empty: every line of the file
    std::string value;                // a record item by its title or index; empty: none
    std::optional<double> depth;      // of a CDI file: the discrete section nearest it, m
    long pixels = 1200;               // across the wider side of the survey
};

// A place in plan worth pointing at, e.g. an anomaly or an inverted body.
struct xMapMarker {
    double x = 0, y = 0;
    std::string label;
};

struct xMapTrack {
    std::int32_t line = 0;
    std::vector<double> x, y;
    std::vector<double> value;  // at each point, NaN where missing; empty: plain
};

struct xMapData {
    std::vector<xMapTrack> tracks;
    std::string quantity, unit;  // of the value; no quantity: plain lines
    bool logValue = false;       // a conductivity, coloured on a log scale
    std::vector<xMapMarker> markers;
    double xLow = 0, xHigh = 0, yLow = 0, yHigh = 0;  // of the tracks

    bool Coloured() const { return !quantity.empty(); }
};

// The lines of the request from a survey file (BIN, AMP, CND) whose header is
// read. False with the reason in error for a line the file does not have, an
// item it does not have, a depth asked of a file without depths, or a file
// with no position to draw.
bool ReadMapData(xMFile& file, const xMapRequest& request, xMapData& data, std::string& error);
