#pragma once
// One component of one line gathered for a profile figure: a curve per
// channel (or per tau of an amplitude file) and the sensor altitude, each
// thinned to the columns of the figure, and the marks to draw along the line.

#include <cstdint>
#include <string>
#include <vector>

class xMData;
class xMFile;

struct xProfileRequest {
    std::int32_t line = 0;
    std::string component;  // a component name, e.g. TzRz; empty: the default
    long firstChannel = 1;  // 1-based, both included; 0 for lastChannel: to the last
    long lastChannel = 0;
    bool byFid = false;  // along the line: FID, else distance
    bool logScale = false;
    long columns = 1200;
};

// A place along the line worth pointing at, e.g. an anomaly.
struct xProfileMarker {
    double position = 0;  // distance or FID, as the figure's axis
    std::string label;
};

// Points in the order of the line; NaN in y breaks the curve.
struct xProfileCurve {
    std::string name;
    std::vector<double> x, y;
};

struct xProfileData {
    std::int32_t line = 0;
    bool byFid = false;
    std::string component;
    bool amplitudes = false;  // taus of an amplitude file, else channels of data
    double first = 0, last = 0;
    std::vector<xProfileCurve> curves;
    xProfileCurve altitude;
    std::vector<xProfileMarker> markers;
};

// The component a profile shows by default: TzRz when the file has it, else
// its first component; empty when it has none.
std::string DefaultProfileComponent(const xMData& file);

// The line of the request from a survey or amplitude file whose header is
// read. Missing values are breaks, and so are values at or below 0 on a log
// scale. False with the reason in error for a line, component or channel the
// file does not have, or a line with no value to draw.
bool ReadProfileData(xMData& file, const xProfileRequest& request, xProfileData& data,
                     std::string& error);
