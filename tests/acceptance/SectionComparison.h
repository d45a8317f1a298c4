#pragma once
// A discrete CDI held against a published layered inversion of the same
// records: the stations are paired by FID, and every depth where the CDI has
// a value is paired with the model's layer at that depth below ground.

#include <cstddef>
#include <filesystem>
#include <vector>

// One station of a published layered inversion.
struct LayeredModel {
    double fid = 0;
    std::vector<double> conductivity;  // S/m, top layer first
    std::vector<double> thickness;     // m; the last layer is a half-space
    // The conductivity of the layer holding this depth below ground (m); a
    // depth on an interface belongs to the layer below it.
    double ConductivityAt(double depth) const;
};

// Where a station's items are in the rows of a published file: 1-based
// columns, as the files' column lists number them.
struct ModelColumns {
    int line = 0;  // 0: every row is of the line
    int fid = 0;
    int conductivity = 0;  // first of `layers` columns
    int thickness = 0;     // first of `layers` columns
    int layers = 0;
};

// The stations of one line in the files (rows of whitespace-separated items),
// in the order of the files.
std::vector<LayeredModel> ReadModels(const std::vector<std::filesystem::path>& files,
                                     const ModelColumns& columns, long line);

// The discrete section of one CDI record: the depths below ground (m) and
// the conductivities there (mS/m), NaN where the record has none or only the
// floor or ceiling of the conductivity table (0.0001 and 100000 mS/m).
struct CdiStation {
    double fid = 0;
    std::vector<double> depth;
    std::vector<double> conductivity;
};

// Every record of every line of a CDI file; empty when it cannot be read.
std::vector<CdiStation> ReadDiscreteSections(const std::filesystem::path& cnd);

struct SectionAgreement {
    std::size_t stations = 0;  // CDI records
    std::size_t paired = 0;    // of them, with a model at their FID
    std::size_t values = 0;    // (depth, conductivity) pairs compared
    double rho = 0;            // rank correlation of log10 conductivity over those pairs
    double deepShare = 0;      // paired stations with a value at or below deepDepth
};

// Compares over the depths 0..maxDepth. A station pairs with the model whose
// FID is within fidTolerance of its own.
SectionAgreement CompareSections(const std::vector<CdiStation>& cdi,
                                 const std::vector<LayeredModel>& models, double maxDepth,
                                 double deepDepth, double fidTolerance);
