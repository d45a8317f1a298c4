#include "xDescriptorBuilder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <sstream>

#include "SharedData.h"
#include "xRecordingPlatform.h"

namespace {

// A triangular pulse of 1000 us ending 1000 us into the half period; the table
// gives one half period from the pulse's start, time zero at its end.
const char* kSystem = R"(System Begin
	Name = Test-Ramp
	Transmitter Begin
		BaseFrequency = 25
		WaveFormCurrent Begin
			-0.0010 0.0
			-0.0005 1.0
			 0.0000 0.0
			 0.0190 0.0
		WaveFormCurrent End
	Transmitter End
	Receiver Begin
		NumberOfWindows = 3
		WindowWeightingScheme = Boxcar
		WindowTimes Begin
			0.0001 0.0002
			0.0002 0.0004
			0.0004 0.0008
		WindowTimes End
	Receiver End
	ForwardModelling Begin
		OutputType = dB/dt
		SecondaryFieldNormalisation = none
	ForwardModelling End
System End
)";

const char* kLayout = R"(DEFN   ST=RECD,RT=COMM;RT:A4;COMMENTS:A76
DEFN 1 ST=RECD,RT=;Line:I10
DEFN 2 ST=RECD,RT=;Fid:F10.1
DEFN 3 ST=RECD,RT=;East:F10.1
DEFN 4 ST=RECD,RT=;North:F10.1
DEFN 5 ST=RECD,RT=;Dtm:F10.1
DEFN 6 ST=RECD,RT=;Height:F10.1
DEFN 7 ST=RECD,RT=;Mag:F10.2
DEFN 8 ST=RECD,RT=;EMX:3F10.1
DEFN 9 ST=RECD,RT=;EMZ:3F10.1
DEFN 10 ST=RECD,RT=;EMZ_short:2F10.1
END DEFN
)";

xStmSystem System(const std::string& text = kSystem) {
    xStmFile file;
    EXPECT_TRUE(file.Parse(text, "ramp.stm"));
    xStmSystem system;
    EXPECT_TRUE(system.Read(file));
    return system;
}

xGdfDefinition Layout() {
    xGdfDefinition layout;
    EXPECT_TRUE(layout.ParseDfn(kLayout, "ramp.dfn"));
    return layout;
}

xDescriptorOptions Options() {
    xDescriptorOptions o;
    o.items = {{"line", "Line"},  {"fid", "Fid"},         {"east", "East"}, {"north", "North"},
               {"z_topo", "Dtm"}, {"altitude", "Height"}, {"mag", "Mag"}};
    o.channels = {{"Z", "EMZ"}, {"X", "EMX"}};
    o.rxOffset = {-120.0f, 0.0f, -45.0f};
    return o;
}

void ExpectRows(const FloatMatrix& samples, const std::vector<std::pair<float, float>>& rows) {
    ASSERT_EQ(samples.Rows(), long(rows.size()));
    for (long r = 0; r < samples.Rows(); ++r) {
        EXPECT_NEAR(samples[r][0], rows[std::size_t(r)].first, 1e-3) << "row " << r;
        EXPECT_NEAR(samples[r][1], rows[std::size_t(r)].second, 1e-6) << "row " << r;
    }
}

// A copy of the options with one change.
template <class Options, class Change>
Options Changed(Options options, Change change) {
    change(options);
    return options;
}

// Written and read back, a descriptor has the same system, components and
// format, and writes the same text again.
void ExpectReadsBack(const xEMDesc& built) {
    std::stringstream file;
    built.Write(file);
    xEMDesc read;
    ASSERT_TRUE(read.Read(file));
    EXPECT_EQ(read.systemDesc.name, built.systemDesc.name);
    EXPECT_EQ(read.systemDesc.timeUnit, built.systemDesc.timeUnit);
    EXPECT_EQ(read.systemDesc.nominalHalfPeriod, built.systemDesc.nominalHalfPeriod);
    EXPECT_EQ(read.systemDesc.normalization, built.systemDesc.normalization);
    EXPECT_EQ(read.IsFrequencyDomain(), built.IsFrequencyDomain());
    ASSERT_EQ(read.Components().size(), built.Components().size());
    for (const auto& [id, component] : built.Components()) {
        const xEMCompDesc& back = read.Components().at(id);
        EXPECT_EQ(back.wave, component.wave) << id;
        EXPECT_EQ(back.geometry.GetPosition(xEMGDesc::Rx),
                  component.geometry.GetPosition(xEMGDesc::Rx));
        EXPECT_EQ(back.geometry.receiver.UsedAxes(), component.geometry.receiver.UsedAxes());
    }
    EXPECT_EQ(read.formatDesc, built.formatDesc);
    EXPECT_EQ(read.GetClassification(), built.GetClassification());
    std::ostringstream again;
    read.Write(again);
    EXPECT_EQ(again.str(), file.str());
}

TEST(DescriptorBuilder, TimesStartAtTheHalfPeriodAndChannelsFollowTheLayout) {
    xRecordingPlatform platform;
    xEMDesc d;
    ASSERT_TRUE(xDescriptorBuilder::Build(System(), Layout(), Options(), d));
    EXPECT_TRUE(platform.messages.empty());

    EXPECT_EQ(d.systemDesc.name, "Test-Ramp");
    EXPECT_EQ(d.systemDesc.timeUnit, "microsec");
    EXPECT_FLOAT_EQ(d.systemDesc.nominalHalfPeriod, 20000.0f);
    EXPECT_FLOAT_EQ(d.systemDesc.realHalfPeriod, 20000.0f);
    EXPECT_DOUBLE_EQ(d.systemDesc.RealSeconds(20000.0), 0.02);
    EXPECT_EQ(d.systemDesc.normalization, "total field");

    ASSERT_EQ(d.Components().size(), 2u);
    const xEMCompDesc& z = d.Components().at(109);
    const xEMCompDesc& x = d.Components().at(107);
    // Time zero of the file is the end of the pulse, 1000 us into the half period.
    const float windows[3][2] = {{1100, 1200}, {1200, 1400}, {1400, 1800}};
    ASSERT_EQ(z.wave.windows.Rows(), 3);
    for (long w = 0; w < 3; ++w) {
        EXPECT_NEAR(z.wave.windows[w][0], windows[w][0], 1e-3);
        EXPECT_NEAR(z.wave.windows[w][1], windows[w][1], 1e-3);
        EXPECT_EQ(z.wave.weights[w], 1.0f);
    }
    EXPECT_EQ(x.wave, z.wave);
    ExpectRows(z.wave.txWaveform.samples, {{0, 0}, {500, 1}, {1000, 0}, {20000, 0}});

    EXPECT_EQ(z.geometry.receiver.UsedAxes(), std::vector<int>{AxisZ});
    EXPECT_EQ(x.geometry.receiver.UsedAxes(), std::vector<int>{AxisX});
    EXPECT_EQ(x.geometry.transmitter.UsedAxes(), std::vector<int>{AxisZ});
    EXPECT_EQ(x.geometry.GetPosition(xEMGDesc::Rx), (std::array<float, 3>{-120, 0, -45}));

    const xEMFDesc& f = d.formatDesc;
    EXPECT_EQ(f.itemsPerRecord, 15);
    EXPECT_EQ(
        std::vector<long>({f.posLine, f.posFid, f.posEast, f.posNorth, f.posZTopo, f.posAltitude}),
        std::vector<long>({1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(f.userItems, (std::vector<xEMFUserItem>{{"mag", 7}}));
    for (long ch = 1; ch <= 3; ++ch) {
        EXPECT_EQ(f.ChannelPosition(ch, 107), 7 + ch);
        EXPECT_EQ(f.ChannelPosition(ch, 109), 10 + ch);
    }
    EXPECT_EQ(d.GetClassification()[109], 3);
    EXPECT_EQ(d.GetClassification()[108], 0);
}

TEST(DescriptorBuilder, PrimaryIsTheCurrentsDerivativeForDbdtAndItsShapeForB) {
    xRecordingPlatform platform;
    xEMDesc d;
    ASSERT_TRUE(xDescriptorBuilder::Build(System(), Layout(), Options(), d));
    // Slopes 1/500 and -1/500 per microsecond, each change a 0.01 us step, also
    // the one at 0 from the flat end of the half period before; the samples are
    // kept at a peak of 1 and the factor carries the 1/500.
    const xWaveform& primary = d.Components().at(109).wave.rxPrimary;
    ExpectRows(
        primary.samples,
        {{0, 0}, {0.01f, 1}, {500, 1}, {500.01f, -1}, {1000, -1}, {1000.01f, 0}, {20000, 0}});
    EXPECT_FLOAT_EQ(primary.AmplitudeFactor(), 0.002f);

    std::string text = kSystem;
    text.replace(text.find("dB/dt"), 5, "B");
    ASSERT_TRUE(xDescriptorBuilder::Build(System(text), Layout(), Options(), d));
    const xEMWDesc& wave = d.Components().at(109).wave;
    EXPECT_EQ(wave.rxPrimary.samples, wave.txWaveform.samples);
}

// The unit comes from the option, else the column, else the system file's
// normalisation or output scaling; absolute units carry the peak moment as the
// transmitter's amplitude factor, the current kept at a peak of 1.
TEST(DescriptorBuilder, UnitAndMomentOfTheChannels) {
    auto withUnits = [](std::string layout) {
        layout.replace(layout.find("EMZ:3F10.1"), 10, "EMZ:3F10.1:UNITS=fT");
        return layout;
    };
    std::string bInFt = kSystem;
    bInFt.replace(bInFt.find("dB/dt"), 5, "B\n\t\tZOutputScaling = 1e15");
    bInFt.replace(bInFt.find("\t\tBaseFrequency"), 0,
                  "\t\tNumberOfTurns = 2\n\t\tLoopArea = 3\n\t\tPeakCurrent = 0.5\n");
    struct Case {
        std::string system, layout, option, unit, txUnit;
        float moment;
    };
    const std::vector<Case> cases = {
        {bInFt, withUnits(kLayout), "", "fT", "amp/m^2", 3.0f},    // the column's
        {bInFt, kLayout, "", "fT", "amp/m^2", 3.0f},               // the scaling's
        {bInFt, withUnits(kLayout), "pT", "pT", "amp/m^2", 3.0f},  // the option's
        {kSystem, kLayout, "V/(A.m^4)", "V/amp/m^4", "amp/m^2", 1.0f},
        {kSystem, kLayout, "nV/amp/m^2", "nV/amp/m^2", "amp/m^2", 1.0f},
        {kSystem, kLayout, "ppm", "ppm", "amp", 1.0f},
    };
    for (const Case& c : cases) {
        xRecordingPlatform platform;
        xGdfDefinition layout;
        ASSERT_TRUE(layout.ParseDfn(c.layout, "units.dfn"));
        xEMDesc d;
        ASSERT_TRUE(xDescriptorBuilder::Build(
            System(c.system), layout, Changed(Options(), [&](auto& o) { o.rxUnit = c.option; }),
            d));
        const xEMWDesc& wave = d.Components().at(109).wave;
        EXPECT_EQ(wave.rxPrimary.unit, c.unit) << c.option;
        EXPECT_EQ(wave.txWaveform.unit, c.txUnit) << c.unit;
        EXPECT_FLOAT_EQ(wave.txWaveform.AmplitudeFactor(), c.moment) << c.unit;
        EXPECT_TRUE(platform.Texts("error").empty());
    }

    // B with no turns, area or current in the file: the moment stays unknown, said once.
    std::string bareB = kSystem;
    bareB.replace(bareB.find("dB/dt"), 5, "B");
    xRecordingPlatform platform;
    xEMDesc d;
    ASSERT_TRUE(xDescriptorBuilder::Build(System(bareB), Layout(), Options(), d));
    EXPECT_EQ(d.Components().at(109).wave.rxPrimary.unit, "T");
    EXPECT_EQ(d.Components().at(109).wave.txWaveform.unit, "amp");
    EXPECT_EQ(platform.Texts("warning").size(), 2u);  // one per component
}

TEST(DescriptorBuilder, UnknownUnitIsRefusedWithTheKnownOnes) {
    xRecordingPlatform platform;
    xEMDesc d;
    EXPECT_FALSE(xDescriptorBuilder::Build(
        System(), Layout(), Changed(Options(), [](auto& o) { o.rxUnit = "mV"; }), d));
    ASSERT_EQ(platform.Texts("error").size(), 1u);
    EXPECT_EQ(
        platform.Texts("error")[0].rfind("The unit \"mV\" of the channels \"EMZ\" is not one "
                                         "we know; give one of ppm, ppt, %, Wb/m^2, T, nT, pT, "
                                         "fT, amp/m, V/amp/m^4,",
                                         0),
        0u);
}

TEST(DescriptorBuilder, MinusBeforeAColumnTurnsThatGroupsWeights) {
    xRecordingPlatform platform;
    xEMDesc d;
    ASSERT_TRUE(xDescriptorBuilder::Build(System(), Layout(),
                                          Changed(Options(),
                                                  [](auto& o) {
                                                      o.channels = {{"Z", "-EMZ"}, {"X", "EMX"}};
                                                  }),
                                          d));
    for (long w = 0; w < 3; ++w) {
        EXPECT_EQ(d.Components().at(109).wave.weights[w], -1.0f);
        EXPECT_EQ(d.Components().at(107).wave.weights[w], 1.0f);
        EXPECT_EQ(d.formatDesc.ChannelPosition(w + 1, 109), 11 + w);
    }
    ExpectReadsBack(d);
}

// The NULL of the channel columns goes into the descriptor and back byte for
// byte; a descriptor without one writes no block at all.
TEST(DescriptorBuilder, MissingValueOfTheChannelColumns) {
    std::string layout = kLayout;
    layout.replace(layout.find("EMX:3F10.1"), 10, "EMX:3F10.1:NULL=-9999.99");
    layout.replace(layout.find("EMZ:3F10.1"), 10, "EMZ:3F10.1:NULL=-9999.99");
    xGdfDefinition withNull;
    ASSERT_TRUE(withNull.ParseDfn(layout, "null.dfn"));
    xRecordingPlatform platform;
    xEMDesc d;
    ASSERT_TRUE(xDescriptorBuilder::Build(System(), withNull, Options(), d));
    EXPECT_EQ(d.formatDesc.missingValue, -9999.99);
    ExpectReadsBack(d);
    std::ostringstream text;
    d.Write(text);
    EXPECT_NE(text.str().find("\nMISSING VALUE OF THE CHANNELS\n-9999.99\n"), std::string::npos);

    ASSERT_TRUE(xDescriptorBuilder::Build(
        System(), withNull, Changed(Options(), [](auto& o) { o.missingValue = -1e30; }), d));
    EXPECT_EQ(d.formatDesc.missingValue, -1e30);

    ASSERT_TRUE(xDescriptorBuilder::Build(System(), Layout(), Options(), d));
    std::ostringstream none;
    d.Write(none);
    EXPECT_EQ(none.str().find("MISSING VALUE"), std::string::npos);
    EXPECT_FALSE(d.formatDesc.missingValue);

    layout.replace(layout.find("NULL=-9999.99"), 13, "NULL=-999");
    ASSERT_TRUE(withNull.ParseDfn(layout, "null.dfn"));
    EXPECT_FALSE(xDescriptorBuilder::Build(System(), withNull, Options(), d));
    EXPECT_EQ(platform.Texts("error").back(),
              "The channel columns declare different NULL values (-999 and -9999.99); give the "
              "one to use with --null.");
}

TEST(DescriptorBuilder, WholePeriodTableGivesThePositiveHalfHoldingTheWindows) {
    xRecordingPlatform platform;
    // Both polarities, time zero in the middle of the reversal, windows after it.
    std::string text = kSystem;
    const auto from = text.find("\t\t\t-0.0010");
    const auto to = text.find("\t\tWaveFormCurrent End");
    text.replace(from, to - from,
                 "-0.02 0\n-0.0199 1\n-0.00001 1\n0.00001 -1\n0.0199 -1\n0.02 0\n");
    xEMDesc d;
    ASSERT_TRUE(xDescriptorBuilder::Build(System(text), Layout(), Options(), d));
    const xEMWDesc& wave = d.Components().at(109).wave;
    EXPECT_NEAR(wave.windows[0][0], 100.0f, 1e-3);
    ExpectRows(wave.txWaveform.samples, {{0, 0}, {10, 1}, {19900, 1}, {20000, 0}});
}

// A Butterworth filter of order n delays a slow decay by 1 / (2 pi fc sin(pi/2n)):
// 1 / (2 pi 300 kHz) for the first order, sqrt 2 / (2 pi 450 kHz) for the
// second; in series they add, and the windows are taken that much earlier.
TEST(DescriptorBuilder, ReceiverFiltersMoveTheWindowsEarlierByTheirDelay) {
    xRecordingPlatform platform;
    xStmSystem system = System(kSystem);
    xEMDesc plain;
    ASSERT_TRUE(xDescriptorBuilder::Build(system, Layout(), Options(), plain));
    system.lowPassCutOff = {300000, 450000};
    system.lowPassOrder = {1, 2};
    const double delay =
        1.0 / (2 * std::numbers::pi * 300000) + std::sqrt(2.0) / (2 * std::numbers::pi * 450000);
    EXPECT_NEAR(xDescriptorBuilder::FilterDelay(system), delay, 1e-12);
    xEMDesc filtered;
    ASSERT_TRUE(xDescriptorBuilder::Build(system, Layout(), Options(), filtered));
    const FloatMatrix& before = plain.Components().at(109).wave.windows;
    const FloatMatrix& after = filtered.Components().at(109).wave.windows;
    for (long r = before.RowLow(); r <= before.RowHigh(); ++r)
        for (long c : {0L, 1L}) EXPECT_NEAR(before[r][c] - after[r][c], delay * 1e6, 1e-3);
    EXPECT_EQ(platform.Texts("note").size(), 1u);
}

// A waveform table that starts 1e60 s early is no half period of the system: it is
// refused at once (it once stepped through the table a half period at a time).
TEST(DescriptorBuilder, AbsurdlyLongWaveformTableFitsNoHalfPeriod) {
    xRecordingPlatform platform;
    xStmSystem system;
    system.baseFrequency = 3.0;
    system.waveform = {{-1e60, 0.0}, {0.816, 0.0}};
    system.windows = {{0.0004, 0.0008}};
    double shift = 0.0;
    EXPECT_FALSE(xDescriptorBuilder::HalfPeriodShift(system, shift));
}

TEST(DescriptorBuilder, WritesAndReadsBackIdentically) {
    xRecordingPlatform platform;
    xEMDesc built;
    ASSERT_TRUE(xDescriptorBuilder::Build(System(), Layout(), Options(), built));
    ExpectReadsBack(built);
    EXPECT_TRUE(platform.messages.empty());
}

// Each fault of the options is refused with the one error that names it.
TEST(DescriptorBuilder, RefusesMissingColumnsAndChannelCountsThatDisagree) {
    const std::vector<std::pair<xDescriptorOptions, std::string>> cases = {
        {Changed(Options(), [](auto& o) { o.items[4].second = "Elevation"; }),
         "The layout ramp.dfn has no column \"Elevation\" (given for the item \"z_topo\")."},
        {Changed(Options(),
                 [](auto& o) {
                     o.channels = {{"Z", "EMZ_short"}};
                 }),
         "The column \"EMZ_short\" holds 2 channels but the system file has 3 windows."},
        {Changed(Options(),
                 [](auto& o) {
                     o.channels = {{"Z", "EMY"}};
                 }),
         "The layout ramp.dfn has no column \"EMY\" (given for the channels of Z)."},
        {Changed(Options(), [](auto& o) { o.items.erase(o.items.begin() + 5); }),
         "No column is given for the item \"altitude\"."},
    };
    for (const auto& [o, message] : cases) {
        xRecordingPlatform platform;
        xEMDesc d;
        EXPECT_FALSE(xDescriptorBuilder::Build(System(), Layout(), o, d));
        EXPECT_EQ(platform.Texts("error"), std::vector<std::string>{message});
    }
}

TEST(DescriptorBuilder, BundledGeotemHasSixteenShiftedWindowsForXAndZ) {
    const auto dir = SharedDataDir() / "geotem-gsq823-1996";
    SKIP_UNLESS_EXISTS(dir / "Geotem3-GSQ823.stm");
    xRecordingPlatform platform;
    xStmFile file;
    ASSERT_TRUE(file.Read(dir / "Geotem3-GSQ823.stm"));
    xStmSystem system;
    ASSERT_TRUE(system.Read(file));
    xGdfDefinition layout;
    ASSERT_TRUE(layout.ReadDfn(dir / "Geotem_GSQ823.dfn"));
    xDescriptorOptions o;
    o.items = {
        {"line", "Line"},      {"fid", "Fiducial"},          {"east", "Easting"},
        {"north", "Northing"}, {"z_topo", "Elevation_SRTM"}, {"altitude", "Radar_Altimeter"}};
    o.channels = {{"X", "X_off_time"}, {"Z", "Z_off_time"}};
    o.rxOffset = {-120.0f, 0.0f, -45.0f};
    xEMDesc d;
    ASSERT_TRUE(xDescriptorBuilder::Build(system, layout, o, d));
    EXPECT_TRUE(platform.messages.empty());
    EXPECT_EQ(d.systemDesc.normalization, "component");
    for (long id : {107L, 109L}) {
        const xEMWDesc& wave = d.Components().at(id).wave;
        ASSERT_EQ(wave.windows.Rows(), 16);
        // 273.3 us after the end of the 4108 us pulse; the last ends at 15742.0.
        EXPECT_NEAR(wave.windows[0][0], 4381.3f, 0.01f);
        EXPECT_NEAR(wave.windows[15][1], 19850.0f, 0.01f);
        EXPECT_EQ(wave.rxPrimary.unit, "ppm");
        const FloatMatrix& tx = wave.txWaveform.samples;
        EXPECT_NEAR(tx[0][0], 0.0f, 1e-3);
        EXPECT_NEAR(tx[tx.Rows() - 1][0], 20000.0f, 1e-2);
    }
    // A half sine of unit peak over 4108 us starts with a slope near pi / 4108,
    // a step up from the flat end of the half period before.
    const xWaveform& primary = d.Components().at(109).wave.rxPrimary;
    EXPECT_EQ(primary.samples[0][1], 0.0f);
    EXPECT_NEAR(primary.samples[1][1] * primary.AmplitudeFactor(), 3.14159f / 4108.0f, 2e-5);
    EXPECT_EQ(d.formatDesc.itemsPerRecord, 55);
    EXPECT_EQ(d.formatDesc.ChannelPosition(1, 107), 20);
    EXPECT_EQ(d.formatDesc.ChannelPosition(16, 107), 35);
    EXPECT_EQ(d.formatDesc.ChannelPosition(1, 109), 40);
    EXPECT_EQ(d.formatDesc.ChannelPosition(16, 109), 55);
}

// Two coplanar frequencies and one coaxial, columns out of frequency order as
// the survey exports them.
const char* kFdLayout = R"(1   Line
2   Fiducial
3   Easting
4   Northing
5   Ground
6   Bird
7   CPI400
8   CPQ400
9   CXI3300
10  CXQ3300
11  CPI8200
12  CPQ8200
)";

xFdDescriptorOptions FdOptions() {
    xFdDescriptorOptions o;
    o.items = {{"line", "Line"},      {"fid", "Fiducial"},  {"east", "Easting"},
               {"north", "Northing"}, {"z_topo", "Ground"}, {"altitude", "Bird"}};
    o.components = {{109,
                     {382.0f, 7970.0f},
                     {"CPI400", "CPI8200"},
                     {"CPQ400", "CPQ8200"},
                     {-7.86f, 0.0f, 0.0f}},
                    {101, {3258.0f}, {"CXI3300"}, {"CXQ3300"}, {-8.99f, 0.0f, 0.0f}}};
    o.name = "Test-FD";
    return o;
}

xGdfDefinition FdLayout() {
    xGdfDefinition layout;
    EXPECT_TRUE(layout.ParseHdr(kFdLayout, "fd.hdr"));
    return layout;
}

TEST(DescriptorBuilder, FrequencyDomainPairsDipolesAndMapsInPhaseAndQuadrature) {
    xRecordingPlatform platform;
    xEMDesc d;
    ASSERT_TRUE(xDescriptorBuilder::BuildFrequencyDomain(FdLayout(), FdOptions(), d));
    EXPECT_TRUE(platform.messages.empty());
    EXPECT_TRUE(d.IsFrequencyDomain());
    EXPECT_EQ(d.systemDesc.normalization, "component");
    ASSERT_EQ(d.Components().size(), 2u);

    const xEMCompDesc& cp = d.Components().at(109);
    ASSERT_EQ(cp.wave.frequencies.Rows(), 2);
    EXPECT_EQ(cp.wave.frequencies[0][0], 382.0f);
    EXPECT_EQ(cp.wave.frequencies[1][0], 7970.0f);
    EXPECT_EQ(cp.wave.weights[1], 1.0f);
    EXPECT_EQ(cp.geometry.transmitter.UsedAxes(), std::vector<int>{AxisZ});
    EXPECT_EQ(cp.geometry.receiver.UsedAxes(), std::vector<int>{AxisZ});
    EXPECT_EQ(cp.geometry.GetPosition(xEMGDesc::Rx), (std::array<float, 3>{-7.86f, 0, 0}));

    const xEMCompDesc& cx = d.Components().at(101);
    ASSERT_EQ(cx.wave.frequencies.Rows(), 1);
    EXPECT_EQ(cx.wave.frequencies[0][0], 3258.0f);
    EXPECT_EQ(cx.geometry.transmitter.UsedAxes(), std::vector<int>{AxisX});
    EXPECT_EQ(cx.geometry.receiver.UsedAxes(), std::vector<int>{AxisX});

    // Dipole fields per unit moment: coplanar -1/(4 pi r^3), coaxial 2/(4 pi r^3).
    const float pi = 3.14159265f;
    FloatArray field(0, 2);
    ASSERT_TRUE(d.PrimaryFieldAtReceiver(109, field));
    EXPECT_NEAR(field[2], -1.0f / (4 * pi * 7.86f * 7.86f * 7.86f), 1e-8);
    ASSERT_TRUE(d.PrimaryFieldAtReceiver(101, field));
    EXPECT_NEAR(field[0], 2.0f / (4 * pi * 8.99f * 8.99f * 8.99f), 1e-8);

    const xEMFDesc& f = d.formatDesc;
    EXPECT_EQ(f.itemsPerRecord, 12);
    EXPECT_EQ(f.posZTopo, 5);
    EXPECT_EQ(f.posAltitude, 6);
    EXPECT_EQ(f.InPhasePosition(1, 109), 7);
    EXPECT_EQ(f.QuadraturePosition(1, 109), 8);
    EXPECT_EQ(f.InPhasePosition(2, 109), 11);
    EXPECT_EQ(f.QuadraturePosition(2, 109), 12);
    EXPECT_EQ(f.InPhasePosition(1, 101), 9);
    EXPECT_EQ(f.QuadraturePosition(1, 101), 10);
    EXPECT_EQ(f.InPhasePosition(2, 101), 0);

    const xTRClasf channels = d.GetClassification();
    EXPECT_EQ(channels[109], 4);
    EXPECT_EQ(channels[101], 2);
    EXPECT_EQ(channels[107], 0);
    EXPECT_EQ(d.GetNumberOfChannels(109), 2);

    ExpectReadsBack(d);
    EXPECT_TRUE(platform.messages.empty());
}

TEST(DescriptorBuilder, FrequencyDomainRefusesMissingColumnsAndUnpairedFrequencies) {
    const std::vector<std::pair<xFdDescriptorOptions, std::string>> cases = {
        {Changed(FdOptions(), [](auto& o) { o.components[0].quadrature[1] = "CPQ40k"; }),
         "The layout fd.hdr has no column \"CPQ40k\" (given for the quadrature at 7970 Hz of "
         "TzRz)."},
        {Changed(FdOptions(), [](auto& o) { o.components[1].inPhase.clear(); }),
         "The component TxRx needs one in-phase and one quadrature column per frequency."},
        {Changed(FdOptions(), [](auto& o) { o.items[4].second = "Elevation"; }),
         "The layout fd.hdr has no column \"Elevation\" (given for the item \"z_topo\")."},
    };
    for (const auto& [o, message] : cases) {
        xRecordingPlatform platform;
        xEMDesc d;
        EXPECT_FALSE(xDescriptorBuilder::BuildFrequencyDomain(FdLayout(), o, d));
        EXPECT_EQ(platform.Texts("error"), std::vector<std::string>{message});
    }

    EXPECT_EQ(xDescriptorBuilder::ComponentOfCoilPair("x"), 101);
    EXPECT_EQ(xDescriptorBuilder::ComponentOfCoilPair("Z"), 109);
    EXPECT_EQ(xDescriptorBuilder::ComponentOfCoilPair("TzRx"), 107);
    EXPECT_EQ(xDescriptorBuilder::ComponentOfCoilPair("W"), 100);
}

}  // namespace
