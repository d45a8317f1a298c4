// A CDI run over amplitude files whose answer is known: the thin sheet of the
// support header under every record, and the order of events around it.

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <numbers>
#include <sstream>

#include "CdiTestSupport.h"
#include "TempFolder.h"
#include "xCDIParams.h"
#include "xCdiPass.h"
#include "xConda.h"
#include "xCondaCross.h"
#include "xMAmp.h"
#include "xMCond.h"
#include "xMLine.h"
#include "xMLineBlock.h"
#include "xObject.h"
#include "xRecordingPlatform.h"

namespace fs = std::filesystem;
using cdi::NULLVALUE;

namespace {

constexpr float SheetS = 10.0f;    // siemens
constexpr float Altitude = 70.0f;  // the receiver flies 20 m lower: 50 m
constexpr float SheetDepth = 30.0f;
constexpr float PPM = 1e6f;  // the system's unit: parts of the primary

// The system of the support header with a time span of one second.
xEMDesc SheetSystem() {
    xEMDesc desc = cditest::AxialDipole();
    FloatMatrix windows(2, 2);
    windows[0][0] = 0.0f;
    windows[0][1] = 1e-3f;
    windows[1][0] = 1.0f;
    windows[1][1] = 1.001f;
    desc.Components().at(109).wave.windows = windows;
    desc.Components().at(109).wave.rxPrimary.unit = "ppm";
    return desc;
}

class ProcessOwner : public xObject {
  public:
    ProcessOwner() : xObject(704) {}
    void Execute(int) override {}
    void Dialog(int, int) override {}
};

class CdiPassTest : public xTempFolderTest {
  protected:
    void SetUp() override {
        xTempFolderTest::SetUp();
        params.autoRange = 0;
        params.maxDepth = 300;
        params.depthResolution = 10;
        params.predict = 0;  // the sheet's decay alone, no early-time fill
    }

    // One line of records over the sheet in ppm, amplitudes scaled by gain; z is the
    // ground's elevation.
    fs::path WriteAmp(const std::vector<float>& altitudes, float gain = 1.0f, float z = 0.0f) {
        const auto sheet = cditest::SheetDecay(SheetS, Altitude - 20.0f, SheetDepth);
        const long n = long(sheet.taus.size());
        xMData bin;
        LongArray channels(100, 109), flags(100, 109);
        channels[109] = n;
        flags[109] = 1;
        bin.InitFromDescriptor(channels, flags, 0);
        FloatArray taus(1, n);
        for (long j = 0; j < n; ++j) taus[j + 1] = sheet.taus[j];
        xMAmp amp;
        amp.SetPath(dir_ / "T.AMP");
        amp.SetOverwrite(true);
        amp.InitFromData(bin, taus, 0);
        EXPECT_EQ(amp.Create(), 1);
        EXPECT_TRUE(amp.WriteHeader());
        xMLineWriter writer(amp, 100);
        FloatArray record(0, amp.RowLength() - 1);
        for (std::size_t r = 0; r < altitudes.size(); ++r) {
            record *= 0.0f;
            record[0] = float(r + 1);
            record[1] = 10.0f * float(r);
            record[3] = z;
            record[4] = altitudes[r];
            record[amp.AmplitudeOffset(109) - 1] = 0.25f;  // primary coefficient
            for (long j = 0; j < n; ++j)
                record[amp.AmplitudeOffset(109) + j] = gain * PPM * sheet.amps[j];
            writer.AddRow(record);
        }
        EXPECT_TRUE(writer.Finish());
        EXPECT_TRUE(amp.WriteHeader());
        amp.Commit();
        return dir_ / "T.AMP";
    }

    bool Run(const fs::path& amp, const std::string& ext = "CND", const fs::path& table = {}) {
        xCdiPass pass(params, system, platform, &owner);
        pass.SetConductanceTable(table);
        const bool ok = pass.Execute(amp, dir_ / ("T." + ext));
        histogram = pass.Histogram();
        return ok;
    }

    // The records of the written file's first line.
    std::vector<FloatArray> Records(xMCond& cnd, const std::string& ext = "CND") {
        return cditest::FirstLineRecords(cnd, dir_ / ("T." + ext));
    }

    xRecordingPlatform platform;
    xCdiSettings params = xConda::Settings(xCDIParams{}, nullptr);
    xEMDesc system = SheetSystem();
    ProcessOwner owner;
    FloatMatrix histogram;
};

}  // namespace

TEST_F(CdiPassTest, TheSheetIsImagedWithItsConductanceBelowIt) {
    ASSERT_TRUE(Run(WriteAmp({Altitude, Altitude, Altitude}, 1.0f, 0.0f)));
    xMCond cnd;
    const auto rows = Records(cnd);
    ASSERT_EQ(rows.size(), 3u);
    ASSERT_EQ(cnd.DepthCount(), 31);
    EXPECT_EQ(cnd.Depths()[30], -300.0f);  // Zmax 0: no shift to see
    const FloatArray& r = rows[1];
    EXPECT_EQ(r[1], 10.0f);
    EXPECT_EQ(r[4], Altitude);  // sensor elevation: altitude + Z
    // Only TzRz is present, so its weight is 1 after normalising.
    EXPECT_GT(r[xMCond::RLItem], 0.0f);
    EXPECT_NEAR(r[xMCond::ILItem] / cditest::AxialLut(80.0), 1.0, 1e-3);
    // The fitted depth goes in twice: one or two rows above the sheet's row 80.
    EXPECT_TRUE(r[xMCond::FitDepthItem] == -56.0f || r[xMCond::FitDepthItem] == -58.0f)
        << r[xMCond::FitDepthItem];
    EXPECT_EQ(r[xMCond::SusceptibilityItem], 0.25f);
    EXPECT_EQ(r[xMCond::PenetrationItem], -300.0f);
    // The conductance section: nothing above the sheet, S below it (2 %).
    const long conductance = cnd.SectionStart(2);
    for (long d = 0; d <= 2; ++d) EXPECT_EQ(r[conductance + d], NULLVALUE) << d;
    for (long d = 4; d <= 30; ++d)
        EXPECT_NEAR(r[conductance + d] / (1000.0f * SheetS), 1.0f, 0.02f) << d;
    // The discrete section spreads the sheet over the first valid interval
    // (35 m: from 5 m above the top depth), snapped down to the table, the
    // remainder into the next, and the table's floor below: the snapped
    // conductivities keep the sheet's conductance.
    const long discrete = cnd.SectionStart(0);
    const float first = r[conductance + 3] / 35.0f;
    EXPECT_LE(r[discrete + 3], first);
    EXPECT_GT(r[discrete + 3], first * 0.97f);
    EXPECT_NEAR(35.0f * r[discrete + 3] + 10.0f * r[discrete + 4], r[conductance + 4], 10.0f);
    for (long d = 5; d <= 30; ++d) EXPECT_EQ(r[discrete + d], params.conductivities[1]) << d;
    // Each of three records adds its one interval of sheet to the histogram.
    float counted = 0.0f;
    for (long k = 1; k <= xMCond::HistogramBins; ++k) counted += histogram[1][k];
    EXPECT_GE(counted, 3.0f);
    EXPECT_EQ(cnd.Histogram()[2][1], 1e-4f);
    // Layer bounds: the component's and the combined block agree.
    ASSERT_GT(cnd.LayerStart(0), 0);
    for (long i = 0; i < cnd.LayerCount(); ++i)
        EXPECT_EQ(r[cnd.LayerStart(109) + i], r[cnd.LayerStart(0) + i]) << i;
    EXPECT_EQ(r[cnd.LayerStart(0) + cnd.LayerCount() - 1], 300.0f);  // the bottom closes it
}

TEST_F(CdiPassTest, DepthsShiftByTheHighestGroundUnlessTheLastStepIsCoarse) {
    params.depthResolution = 0;  // read as 1 m
    params.maxDepth = 50;
    ASSERT_TRUE(Run(WriteAmp({Altitude}, 1.0f, 120.0f)));
    xMCond cnd;
    const auto rows = Records(cnd);
    ASSERT_EQ(cnd.DepthCount(), 51);
    EXPECT_EQ(cnd.Depths()[0], 120.0f);
    EXPECT_EQ(cnd.Depths()[50], 70.0f);
    EXPECT_EQ(rows[0][4], Altitude + 120.0f);

    params.depthResolution = 100;
    params.maxDepth = 300;
    ASSERT_TRUE(Run(WriteAmp({Altitude}, 1.0f, 120.0f)));
    xMCond coarse;
    Records(coarse);
    EXPECT_EQ(coarse.Depths()[3], -300.0f);
}

TEST_F(CdiPassTest, HighFlightRaisesMaxAltitudeAndTheTauRangeIsClamped) {
    params.maxAltitude = 100;
    params.useAllTaus = 0;
    params.fromTau = 40;
    params.toTau = 12;  // below FromTau: one tau
    ASSERT_TRUE(Run(WriteAmp({Altitude, 180.5f})));
    EXPECT_EQ(params.maxAltitude, 181);
    EXPECT_EQ(params.fromTau, 40);
    EXPECT_EQ(params.toTau, 40);
    EXPECT_TRUE(platform.Saw(
        "warning",
        "CDI WARNING: Max flight altitude for this survey detected to be higher specified in CDI "
        "dialog box. The biggest value will be used..."));
    xMCond cnd;
    const auto rows = Records(cnd);
    const auto sheet = cditest::SheetDecay(SheetS, Altitude - 20.0f, SheetDepth);
    EXPECT_FLOAT_EQ(rows[0][xMCond::ILItem], sheet.amps[39]);
    EXPECT_FLOAT_EQ(rows[0][xMCond::RLItem], sheet.amps[39] * sheet.taus[39]);
}

// Force to surface divides each component by IL over the lookup 5 m below the
// receiver (row 55 here), whatever the data's calibration.
TEST_F(CdiPassTest, ForceToSurfaceStartsTheDecayAtTheImageBelowTheReceiver) {
    params.forceToSurface = 1;
    ASSERT_TRUE(Run(WriteAmp({Altitude, Altitude}, 3.0f)));
    xMCond cnd;
    const auto rows = Records(cnd);
    EXPECT_NEAR(rows[1][xMCond::ILItem] / cditest::AxialLut(55.0), 1.0, 1e-5);
    EXPECT_NEAR(rows[1][xMCond::SusceptibilityItem],
                0.25 * cditest::AxialLut(55.0) / (3.0 * cditest::AxialLut(80.0)), 2e-3);
    const auto notes = platform.Texts("note");
    ASSERT_FALSE(notes.empty());
    EXPECT_EQ(notes[0].rfind("Contributions of all taus will be reduced by factor of TzRz ", 0), 0u)
        << notes[0];
}

TEST_F(CdiPassTest, NoWeightsLeaveTheMeanNullAndZeroAmplitudesGiveNulls) {
    params.componentWeights[109] = 0.0f;
    params.componentWeights[107] = 0.0f;
    ASSERT_TRUE(Run(WriteAmp({Altitude})));
    xMCond cnd;
    auto rows = Records(cnd);
    for (long s = 0; s < 3; ++s)
        for (long d = 0; d < cnd.DepthCount(); ++d)
            EXPECT_EQ(rows[0][cnd.SectionStart(s) + d], NULLVALUE) << s << ' ' << d;
    EXPECT_EQ(rows[0][xMCond::RLItem], 0.0f);

    params.componentWeights[109] = 1.0f;
    ASSERT_TRUE(Run(WriteAmp({Altitude}, 0.0f)));
    xMCond zero;
    rows = Records(zero);
    for (long d = 0; d < zero.DepthCount(); ++d)
        EXPECT_EQ(rows[0][zero.SectionStart(2) + d], NULLVALUE) << d;
    EXPECT_EQ(rows[0][xMCond::ILItem], 0.0f);
    EXPECT_EQ(rows[0][xMCond::TSCItem], 0.0f);
}

// Amplitudes far off the lookups ask whether to go on, through the platform the
// pass was given; terminating leaves no file.
TEST_F(CdiPassTest, MiscalibratedAmplitudesAskWhetherToGoOn) {
    params.inspectAmplitudes = true;
    params.amplitudeDeviation = 2.0f;
    const fs::path amp = WriteAmp({Altitude, Altitude}, 100.0f);
    platform.answers = {1, 0};
    EXPECT_FALSE(Run(amp));
    EXPECT_FALSE(fs::exists(dir_ / "T.CND"));
    EXPECT_TRUE(Run(amp));
    EXPECT_EQ(platform.Texts("question"),
              std::vector<std::string>(
                  2,
                  "CDI module detected a possibility that input data was incorrectly "
                  "calibrated. You could terminate CDI, correct calibration and try again or "
                  "continue with current data."));
    params.amplitudeDeviation = 1000.0f;  // within the tolerance: nothing asked
    EXPECT_TRUE(Run(amp));
    EXPECT_EQ(platform.Texts("question").size(), 2u);
}

TEST_F(CdiPassTest, AReceiverBelowGroundStopsThePassWithoutAFile) {
    EXPECT_FALSE(Run(WriteAmp({Altitude, 15.0f})));
    EXPECT_TRUE(platform.Saw(
        "warning",
        "CDI WARNING:According to System Geometry there are readings whenTzRz receiver must be "
        "located beneath the surface!? Check altitudes in RawData file & receiver vertical "
        "position in the DSC file."))
        << ::testing::PrintToString(platform.Texts("warning"));
    EXPECT_FALSE(fs::exists(dir_ / "T.CND"));
}

TEST_F(CdiPassTest, AStopDeletesThePartlyWrittenFile) {
    const fs::path amp = WriteAmp(std::vector<float>(120, Altitude));
    platform.onYield = [&](long) {
        if (owner.Engine() && dynamic_cast<xCondaFactory*>(owner.Engine())->RecordsDone() >= 60)
            owner.Engine()->SetFlag(xProcessState::Stop);
    };
    EXPECT_FALSE(Run(amp));
    EXPECT_FALSE(fs::exists(dir_ / "T.CND"));
}

TEST_F(CdiPassTest, AutoRangeSpreadsTheConductivitiesOverTheHistogram) {
    params.autoRange = 1;
    params.condCount = 20;
    params.conductivities = xCDIParams::LogSpaced(1.0f, 1000.0f, 20);
    ASSERT_TRUE(Run(WriteAmp({Altitude, Altitude}), "CND", dir_ / "table.txt"));
    // The conductance table holds the final stage alone: one line, two records.
    std::istringstream table(Slurp(dir_ / "table.txt"));
    std::string first;
    std::getline(table, first);
    EXPECT_EQ(first, "/Conductance Table");
    long rows = 0;
    for (std::string text; std::getline(table, text);) rows += text.rfind('/', 0) != 0;
    EXPECT_EQ(rows, 2);
    const FloatArray& c = params.conductivities;
    EXPECT_EQ(c.Length(), 20);
    float low = 0.0f, high = 0.0f;
    xCdiPass::RangeFromHistogram(histogram, low, high);
    EXPECT_EQ(c[1], low);
    EXPECT_FLOAT_EQ(c[20], high);
    EXPECT_LT(low, high);
}

TEST(CdiHistogramRange, BoundsByHandAndTheEmptyFallback) {
    FloatMatrix h(1, 2, 1, 5);
    const float edges[] = {1, 10, 100, 1000, 10000};
    for (long k = 1; k <= 5; ++k) h[2][k] = edges[k - 1];
    float low = 0.0f, high = 0.0f;
    xCdiPass::RangeFromHistogram(h, low, high);  // empty: the outer edges
    EXPECT_EQ(low, 1.0f);
    EXPECT_EQ(high, 10000.0f);
    h[1][3] = 1000.0f;
    h[1][4] = 10.0f;  // exactly 1 % of the peak counts
    h[1][5] = 9.0f;   // below it
    xCdiPass::RangeFromHistogram(h, low, high);
    EXPECT_EQ(low, 10.0f);  // the edge of the bin before
    EXPECT_EQ(high, 1000.0f);
    h[1][1] = 500.0f;  // the first bin: its own edge
    xCdiPass::RangeFromHistogram(h, low, high);
    EXPECT_EQ(low, 1.0f);
}

TEST_F(CdiPassTest, CrossComponentPacksThePlainIndexOfOneComponent) {
    params.crossComponent = true;
    params.predict = 1;  // an early-time fill gives the column a gradient to snap
    params.logDepths = 1;
    params.condCount = 20;
    params.conductivities = xCDIParams::LogSpaced(1.0f, 1000.0f, 20);
    ASSERT_TRUE(Run(WriteAmp({Altitude}), "CRS"));
    xMCondCross crs;
    const auto rows = Records(crs, "CRS");
    ASSERT_EQ(crs.DepthCount(), 17);
    EXPECT_EQ(crs.Depths()[16], -2000.0f);
    EXPECT_EQ(crs.Count(), 1);  // nothing asked for: the present component
    EXPECT_TRUE(crs.IsSelected(109));
    bool packed = false;
    for (long d = 0; d < crs.DepthCount(); ++d) {
        const float v = rows[0][crs.SectionStart(0) + d];
        EXPECT_TRUE(v >= 0.0f && v < 20.0f && v == float(long(v))) << d << ' ' << v;
        packed |= v > 0.0f;
    }
    EXPECT_TRUE(packed);
}

// Amplitudes that cannot become fractions of the primary are refused, saying
// what to set, unless force to surface scales them instead.
TEST_F(CdiPassTest, AmplitudesOfAnUnknownMomentNeedForceToSurface) {
    xEMCompDesc& z = system.Components().at(109);
    z.wave.rxPrimary.unit = "fT";
    z.wave.txWaveform.unit = "amp";
    const fs::path amp = WriteAmp({Altitude});
    EXPECT_FALSE(Run(amp));
    EXPECT_FALSE(fs::exists(dir_ / "T.CND"));
    const auto errors = platform.Texts("error");
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(errors[0].rfind("CDI ERROR: The amplitudes cannot be brought to fractions of the "
                              "primary field: the data of TzRz are in fT but the descriptor does "
                              "not give the transmitter moment; ",
                              0),
              0u)
        << errors[0];
    EXPECT_NE(errors[0].find("Or set 704.ForceToSurface=1"), std::string::npos);
    params.forceToSurface = 1;
    EXPECT_TRUE(Run(amp));
}

// With the moment known, data in fT image as the same data in ppm: the primary
// of this dipole 20 m above its receiver is mu0 2 / (4 pi 20^3) per A m^2.
TEST_F(CdiPassTest, AbsoluteDataImageAsFractionsOfThePrimary) {
    ASSERT_TRUE(Run(WriteAmp({Altitude})));
    xMCond relative;
    const FloatArray expected = Records(relative)[0];

    xEMCompDesc& z = system.Components().at(109);
    z.wave.rxPrimary.unit = "fT";
    z.wave.txWaveform.unit = "amp/m^2";
    z.wave.txWaveform.scaleSecond = 4.0f;  // A m^2
    const double primary = 1.25663706212e-6 * 2.0 / (4.0 * std::numbers::pi * 8000.0);
    ASSERT_TRUE(Run(WriteAmp({Altitude}, float(4.0 * primary / 1e-15 / PPM))));
    xMCond absolute;
    const FloatArray r = Records(absolute)[0];
    EXPECT_NEAR(r[xMCond::ILItem] / expected[xMCond::ILItem], 1.0, 1e-4);
    for (long d = 0; d < absolute.DepthCount(); ++d)
        EXPECT_NEAR(r[absolute.SectionStart(2) + d], expected[relative.SectionStart(2) + d],
                    1e-3f * std::fabs(expected[relative.SectionStart(2) + d]))
            << d;
}

TEST_F(CdiPassTest, ANegativeForceToSurfaceFactorNamesTheSignOfTheData) {
    params.forceToSurface = 1;
    EXPECT_FALSE(Run(WriteAmp({Altitude}, -1.0f)));
    EXPECT_FALSE(fs::exists(dir_ / "T.CND"));
    const auto errors = platform.Texts("error");
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(errors[0].rfind("CDI ERROR: The force-to-surface factor of TzRz is -", 0), 0u)
        << errors[0];
    EXPECT_NE(errors[0].find("(descriptor build --channels Z=-COLUMN)"), std::string::npos)
        << errors[0];
}

// A section with no value between the table's ends is a fault to report; the
// sheet's section is not.
TEST_F(CdiPassTest, ASectionOfNullsOrTableEndsIsAProblem) {
    xCdiPass sheet(params, system, platform, &owner);
    ASSERT_TRUE(sheet.Execute(WriteAmp({Altitude}), dir_ / "T.CND"));
    EXPECT_EQ(sheet.EmptySectionProblem(), "");

    xCdiPass zero(params, system, platform, &owner);
    ASSERT_TRUE(zero.Execute(WriteAmp({Altitude}, 0.0f), dir_ / "T.CND"));
    EXPECT_EQ(zero.EmptySectionProblem().rfind(
                  "CDI ERROR: The section says nothing of the ground: every conductivity is NULL. "
                  "The amplitudes are not fractions of the primary field",
                  0),
              0u);

    // A table above every conductivity of the sheet: all at its floor.
    params.conductivities = xCDIParams::LogSpaced(1000.0f, 2000.0f, params.condCount);
    xCdiPass floor(params, system, platform, &owner);
    ASSERT_TRUE(floor.Execute(WriteAmp({Altitude}), dir_ / "T.CND"));
    EXPECT_NE(floor.EmptySectionProblem().find(
                  "every conductivity lies at an end of the table (1000 or 2000 mS/m)."),
              std::string::npos)
        << floor.EmptySectionProblem();
}
