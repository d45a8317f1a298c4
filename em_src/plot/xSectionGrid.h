#pragma once
// One line of a CDI file gathered for a picture: the records decimated to the
// columns of the figure, with each kept record's surface, sensor height,
// penetration depth and the values of the asked sections over the depths.

#include <cstdint>
#include <string>
#include <vector>

class xMCond;

struct xSectionRequest {
    std::int32_t line = 0;
    std::vector<long> sections = {0, 1};  // 0 discrete, 1 layered, 2 conductance
    bool byFid = false;                   // the across axis: FID, else distance
    long columns = 1200;
};

struct xSectionGrid {
    std::int32_t line = 0;
    bool byFid = false;
    std::vector<double> x;           // the centre of each column
    std::vector<float> surface;      // ground elevation Z; NaN where no record
    std::vector<float> sensor;       // sensor elevation
    std::vector<float> penetration;  // estimated penetration, metres below the surface
    std::vector<float> depths;       // metres below the surface, rising from 0
    std::vector<long> sections;
    // values[s][column * depths + d], mS/m; NaN for NULL and where no record.
    std::vector<std::vector<float>> values;

    long Columns() const { return long(x.size()); }
    long Depths() const { return long(depths.size()); }
    float Value(std::size_t section, long column, long depth) const {
        return values[section][std::size_t(column * Depths() + depth)];
    }
};

// The line of the request from an open CDI file whose header is read. False
// with the reason in error for a line the file does not have, a file with no
// depths, or a line with no valid value in any asked section.
bool ReadSectionGrid(xMCond& cnd, const xSectionRequest& request, xSectionGrid& grid,
                     std::string& error);

// The name of a section in figures: "Discrete", "Layered", "Conductance".
const char* SectionName(long section);
