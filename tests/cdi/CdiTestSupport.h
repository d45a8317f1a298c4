#pragma once
// A system and an earth whose CDI is known in closed form, for the CDI suites.
//
// The system: a z dipole transmitter with the receiver 20 m straight below it.
// On the axis the image field falls as the cube of the distance, so the
// lookup of row z is (20 / (2z + 20))^3 = (10 / (z + 10))^3 in units of the
// primary field.
//
// The earth: a thin sheet of conductance S whose image sinks at 1 / (MU S)
// metres of lookup row per second, so the decay is
// A(t) = LUT(h + t / (MU S)) = LUT(h) / (1 + t / T)^3, T = (2h + 20) MU S / 2,
// with h the lookup row of the sheet. The cube of a rational decay is the
// Laplace transform of s^2 e^-s / 2, which sampled on a log grid of taus gives
// the amplitudes; every depth below the sheet must then carry S.

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <vector>

#include "xArray.h"
#include "xCndMath.h"
#include "xEMDesc.h"
#include "xMCond.h"
#include "xMLine.h"

namespace cditest {

// The records of the first line of a written CDI file, read into cnd.
inline std::vector<FloatArray> FirstLineRecords(xMCond& cnd, const std::filesystem::path& path) {
    cnd.SetPath(path);
    EXPECT_EQ(cnd.Open(), 1);
    EXPECT_TRUE(cnd.ReadHeader());
    xMLine line(&cnd);
    std::vector<FloatArray> rows;
    if (!line.Next()) return rows;
    for (long r = 0; r < line.Rows(); ++r) rows.push_back(line.Row(r));
    return rows;
}

inline xEMDesc AxialDipole() {
    xEMDesc desc;
    xEMGDesc& g = desc.Components().at(109).geometry;
    g.transmitter.SetKind(xEMSensorType::Dipole);
    g.SetPosition(xEMGDesc::Tx, 0.0f, 0.0f, 0.0f);
    g.SetPosition(xEMGDesc::Rx, 0.0f, 0.0f, -20.0f);
    return desc;
}

// A depth column from 0 in metres, and the flags of the components given.
inline FloatArray DepthColumn(const std::vector<float>& values) {
    FloatArray depths(0, long(values.size()) - 1);
    for (long d = 0; d < depths.Length(); ++d) depths[d] = values[std::size_t(d)];
    return depths;
}

inline LongArray ComponentFlags(const std::vector<long>& set) {
    LongArray flags(100, 109);
    for (long id : set) flags[id] = 1;
    return flags;
}

inline double AxialLut(double z) {
    return std::pow(10.0 / (z + 10.0), 3.0);
}

struct ThinSheet {
    std::vector<float> taus, amps;
};

// 51 taus, 10 a decade, for a sheet of s siemens sheetDepth below ground seen
// from a receiver height metres above it.
inline ThinSheet SheetDecay(double s, double height, double sheetDepth) {
    const double h = sheetDepth + height;
    const double T = (2.0 * h + 20.0) * cdi::MU * s / 2.0;
    const double dln = std::log(10.0) / 10.0;  // s from 1e2 down to 1e-3
    ThinSheet sheet;
    for (int j = 0; j < 51; ++j) {
        const double x = 100.0 * std::exp(-dln * j);
        sheet.taus.push_back(static_cast<float>(T / x));
        sheet.amps.push_back(
            static_cast<float>(AxialLut(h) * x * x * x / 2.0 * std::exp(-x) * dln));
    }
    return sheet;
}

}  // namespace cditest
