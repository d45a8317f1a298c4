// The forward model against the predictions published beside real surveys: the
// layered model of a station, under a descriptor built from the survey's own
// system and column files, must give the decay the publisher's model gave. This
// fixes what the absolute units mean: B in fT for the moment the descriptor
// states (TEMPEST: 0.5 A m^2, a 1 A step), dB/dt in V/(A m^4) per unit moment
// (SkyTEM), and the sign of each against the delivered data.

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "SharedData.h"
#include "xDescriptorBuilder.h"
#include "xRecordingPlatform.h"
#include "xSystemResponse.h"

namespace fs = std::filesystem;

namespace {

// The columns of one published station (1-based, as the survey's notes give them).
struct xStationColumns {
    int txHeight, dx, dz, conductivity, thickness, predicted;
    int layers, windows;
};

struct xStation {
    xLayeredEarth earth;
    double txHeight = 0.0;
    float dx = 0.0f, dz = 0.0f;
    std::vector<double> predicted;
};

xStation ReadStation(const fs::path& file, int row, const xStationColumns& at) {
    std::ifstream in(file);
    std::string line;
    for (int r = 0; r <= row; ++r) std::getline(in, line);
    std::istringstream fields(line);
    std::vector<double> v{0.0};  // 1-based
    for (double x; fields >> x;) v.push_back(x);
    xStation s;
    s.txHeight = v.at(std::size_t(at.txHeight));
    s.dx = float(v.at(std::size_t(at.dx)));
    s.dz = float(v.at(std::size_t(at.dz)));
    for (int k = 0; k < at.layers; ++k) {
        s.earth.conductivity.push_back(v.at(std::size_t(at.conductivity + k)));
        if (k + 1 < at.layers) s.earth.thickness.push_back(v.at(std::size_t(at.thickness + k)));
    }
    for (int w = 0; w < at.windows; ++w) s.predicted.push_back(v.at(std::size_t(at.predicted + w)));
    return s;
}

// A Z-only descriptor from a system file and a column definition, in the
// survey's receiver unit for a transmitter moment, the receiver where the
// station had it (the frame's lateral offset changes Z by well under 1 %).
xEMDesc Descriptor(const fs::path& stm, const fs::path& dfn,
                   const std::vector<std::pair<std::string, std::string>>& items,
                   const std::string& channels, const std::string& rxUnit, float moment,
                   const xStation& station) {
    xStmFile file;
    xStmSystem system;
    xGdfDefinition layout;
    EXPECT_TRUE(file.Read(stm) && system.Read(file) && layout.ReadDfn(dfn));
    xDescriptorOptions options;
    options.items = items;
    options.channels = {{"Z", channels}};
    options.rxOffset = {station.dx, 0.0f, station.dz};
    options.rxUnit = rxUnit;
    xEMDesc d;
    EXPECT_TRUE(xDescriptorBuilder::Build(system, layout, options, d));
    const xWaveform& current = d.Components().at(109).wave.txWaveform;
    EXPECT_EQ(current.unit, "amp/m^2");
    EXPECT_FLOAT_EQ(current.AmplitudeFactor(), moment);
    return d;
}

std::vector<double> Modelled(const xEMDesc& d, const xStation& station) {
    xSystemResponse response;
    EXPECT_TRUE(response.SetSystem(d)) << response.Problem();
    return response.Sounding(station.earth, station.txHeight).at(109);
}

}  // namespace

// Frome 2010, line 3001401: 30-layer models, Z secondary B in fT. The published
// predictions have the publisher's sign, the delivered data negated; the
// descriptor's half period follows a rise of the current, whose secondary field
// has that same sign. The model's transmitter is level, the flown one pitched:
// over the 101 stations the first window's excess is -2 % - 3.8 % per degree of
// pitch (correlation 0.98), so the two stations flown within 1.4 degrees of
// level are the check.
TEST(PublishedPredictions, TempestFromeStationsInFemtotesla) {
    const fs::path dir = SharedDataDir() / "tempest-frome2010-invsample";
    SKIP_UNLESS_EXISTS(dir / "inversion.output-smalltest.dat");
    xRecordingPlatform platform;
    const xStationColumns at{14, 18, 20, 26, 56, 296, 30, 15};
    for (int row : {0, 1}) {
        const xStation station = ReadStation(dir / "inversion.output-smalltest.dat", row, at);
        const xEMDesc d = Descriptor(dir / "Tempest-standard.stm", dir / "inversion.output.dfn",
                                     {{"line", "Line"},
                                      {"fid", "Fiducial"},
                                      {"east", "Easting"},
                                      {"north", "Northing"},
                                      {"z_topo", "DTM"},
                                      {"altitude", "input_tx_height"}},
                                     "observed_EMSystem_1_ZS", "fT", 0.5f, station);
        const auto values = Modelled(d, station);
        ASSERT_EQ(values.size(), station.predicted.size());
        for (std::size_t w = 0; w < values.size(); ++w)
            EXPECT_NEAR(values[w] / station.predicted[w], 1.0, 0.035)
                << "station " << row << ", window " << w + 1 << ": " << values[w] << " against "
                << station.predicted[w];
    }
}

// BHMAR 2009, one moment: 30-layer models of the joint inversion, Z dB/dt in
// V/(A m^4), predicted columns from `predicted`. The predictions are the
// delivered data negated; every window of the stations lies within 4.5 % of them.
void ExpectBhmarMoment(const std::string& moment, int predicted, int windows) {
    const fs::path dir = SharedDataDir() / "skytem-bhmar2009";
    const fs::path models = dir / "inversion_galeisbstdem" / "inversion.output.0000.asc";
    SKIP_UNLESS_EXISTS(models);
    xRecordingPlatform platform;
    const xStationColumns at{9, 13, 15, 20, 50, predicted, 30, windows};
    for (int row = 0; row < 333; row += 37) {
        const xStation station = ReadStation(models, row, at);
        const xEMDesc d = Descriptor(dir / ("Skytem-" + moment + ".stm"), dir / "bhmar-skytem.dfn",
                                     {{"line", "Line"},
                                      {"fid", "Fiducial"},
                                      {"east", "Easting"},
                                      {"north", "Northing"},
                                      {"z_topo", "Ground_Elevation_Lidar"},
                                      {"altitude", "Frame_Height_Lidar"}},
                                     moment + "Z", "V/amp/m^4", 1.0f, station);
        const auto values = Modelled(d, station);
        ASSERT_EQ(values.size(), station.predicted.size());
        for (std::size_t w = 0; w < values.size(); ++w)
            EXPECT_NEAR(-values[w] / station.predicted[w], 1.0, 0.045)
                << moment << " station " << row << ", window " << w + 1 << ": " << values[w]
                << " against " << station.predicted[w];
    }
}

// With the windows moved by the delay of the receiver's filters (1.03 us) the
// high moment lies within +0.7 % and +4.0 % (without: -1.6 % to +2.9 %).
TEST(PublishedPredictions, SkytemHighMomentStationsInVoltsPerAmpPerMetreToTheFourth) {
    ExpectBhmarMoment("HM", 176, 21);
}

// The low moment (a fast ramp, windows from 15 us) is where the filters' delay
// matters most: without it the first window read 9 % low on average (up to
// 12 %), falling to 1 % by window 6; with it every window lies within -0.8 %
// and +4.3 %.
TEST(PublishedPredictions, SkytemLowMomentStationsInVoltsPerAmpPerMetreToTheFourth) {
    ExpectBhmarMoment("LM", 158, 18);
}
