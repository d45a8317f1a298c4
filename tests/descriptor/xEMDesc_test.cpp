#include "xEMDesc.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <sstream>

#include "TempFolder.h"
#include "xRecordingPlatform.h"

namespace {

// A two-component time-domain system with waveforms, windows and a format.
xEMDesc TwoComponentSystem() {
    xEMDesc d;
    d.systemDesc.name = "GEOTEM 25 Hz";
    d.systemDesc.version = "1996";
    d.systemDesc.definedBy = "tests";
    d.systemDesc.dateDefined = "21/11/2026";
    d.systemDesc.nominalHalfPeriod = 20.0f;
    d.systemDesc.realHalfPeriod = 20.0f;
    d.systemDesc.halfPeriod = 20.0f;
    d.systemDesc.timeUnit = "mSec";
    xEMCompDesc z;
    z.id = 109;
    z.wave.windows.Resize(0, 2, 0, 1);
    z.wave.weights.Resize(0, 2);
    for (long r = 0; r < 3; ++r) {
        z.wave.windows[r][0] = 4.5f + float(r);
        z.wave.windows[r][1] = 5.5f + float(r);
        z.wave.weights[r] = 1.0f;
    }
    z.wave.txWaveform.source = "nominal";
    z.wave.txWaveform.unit = "amp";
    z.wave.txWaveform.samples.Resize(0, 1, 0, 2);
    z.wave.txWaveform.samples[1][0] = 4.108f;
    z.wave.txWaveform.samples[1][1] = 1.0f;
    z.geometry.SetPosition(xEMGDesc::Rx, -120.0f, 0.0f, -45.0f);
    xEMCompDesc x = z;
    x.id = 107;
    x.geometry.receiver = xEMSensorType();
    x.geometry.receiver.AddComponent(AxisX);
    x.geometry.SetPosition(xEMGDesc::Rx, -120.0f, 0.0f, -45.0f);
    d.Components().clear();
    d.Components()[107] = x;
    d.Components()[109] = z;
    d.formatDesc.itemsPerRecord = 12;
    d.formatDesc.posLine = 2;
    d.formatDesc.posFid = 4;
    d.formatDesc.SetChannels(3);
    for (long ch = 1; ch <= 3; ++ch) {
        d.formatDesc.channelMap[ch][107] = float(6 + ch);
        d.formatDesc.channelMap[ch][109] = float(9 + ch);
    }
    return d;
}

std::string Written(const xEMDesc& d) {
    std::ostringstream out;
    d.Write(out);
    return out.str();
}

bool ReadText(xEMDesc& d, const std::string& text) {
    std::istringstream in(text);
    return d.Read(in);
}

// Replaces the first occurrence of what with by.
std::string Replaced(std::string text, const std::string& what, const std::string& by) {
    auto at = text.find(what);
    if (at != std::string::npos) text.replace(at, what.size(), by);
    return text;
}

}  // namespace

TEST(EMDesc, CurrentVersionReadsBackIdentically) {
    xRecordingPlatform platform;
    const std::string text = Written(TwoComponentSystem());
    EXPECT_NE(text.find("  TxRx  TxRy  TxRz  TyRx  TyRy  TyRz  TzRx  TzRy  TzRz\n"
                        "     0     0     0     0     0     0     3     0     3\n"),
              std::string::npos);
    EXPECT_NE(text.find(std::string(25, ' ') + "+ TzRx +\n"), std::string::npos);
    xEMDesc back;
    ASSERT_TRUE(ReadText(back, text));
    EXPECT_EQ(Written(back), text);
    EXPECT_TRUE(platform.messages.empty());
    EXPECT_EQ(back.KnownSystem(), xEMDesc::Geotem);
    EXPECT_EQ(back.CurrentComponent(), 107);  // the first component is selected
    EXPECT_EQ(back.GetNumberOfChannels(109), 3);
    EXPECT_FLOAT_EQ(back.GetSeparation(109, AxisX), -120.0f);
    EXPECT_EQ(back.Geometry(107)->receiver.UsedAxes(), std::vector<int>{AxisX});
}

TEST(EMDesc, MissingComponentsAnswerZeroAndKeepTheSelection) {
    xEMDesc d = TwoComponentSystem();
    ASSERT_EQ(d.SelectComponent(109), 1);
    EXPECT_EQ(d.SelectComponent(101), 0);
    EXPECT_EQ(d.CurrentComponent(), 109);
    EXPECT_EQ(d.GetNumberOfChannels(101), 0);
    EXPECT_EQ(d.Wave(101), nullptr);
    EXPECT_EQ(d.GetSeparation(101, AxisZ), 0.0f);
    EXPECT_EQ(d.MaxChannelsExcept(109), 3);
    FloatArray field(0, 2);
    EXPECT_EQ(d.PrimaryFieldAtReceiver(105, field), 0);
}

TEST(EMDesc, FrequencyDomainChannelsDoubleOnlyInTheClassification) {
    xEMDesc d;
    d.systemDesc.waveformType = "frequency domain";
    d.Components()[109].wave.frequencies.Resize(0, 4, 0, 0);
    d.Components()[109].wave.weights.Resize(0, 4);
    EXPECT_EQ(d.GetNumberOfChannels(109), 5);
    EXPECT_EQ(d.GetClassification()[109], 10);
    EXPECT_TRUE(d.FrequencyDomain());
}

TEST(EMDesc, KnownSystemLastMatchWins) {
    for (auto [name, known] :
         std::vector<std::pair<std::string, int>>{{"Questem/GeoTem hybrid", xEMDesc::Questem},
                                                  {"my SPECTREM", xEMDesc::Spectrem},
                                                  {"TEMPEST", xEMDesc::Unknown}}) {
        xEMDesc d = TwoComponentSystem();
        d.systemDesc.name = name;
        xEMDesc back;
        ASSERT_TRUE(ReadText(back, Written(d)));
        EXPECT_EQ(back.KnownSystem(), known) << name;
    }
    EXPECT_EQ(xEMDesc().KnownSystem(), xEMDesc::NotRead);
}

// The older format block: the channel tables, then a label before every group
// of positions, and no user items.
std::string OldFormatTail() {
    return "Position (index) of line label in each data record (starting from 1)\n     2\n"
           "Position (index) of station (FID) label in each data record\n     4\n"
           "Position (index) of xyz coordinates in each data record\n     5     6     0\n"
           "Position (index) of flight altitude in each data record\n     7\n"
           "Position (index) of RECEIVER orientation angles (pitch, roll, yaw)  in each data "
           "record\n     0     0     0\n"
           "Position (index) of TRANSMITTER orientation angles (pitch, roll, yaw)  in each data "
           "record\n     0     0     0\n";
}

// The current file as an older version wrote it.
std::string AsVersion(const std::string& current, int version) {
    std::string text = Replaced(current, "FILE FORMAT VERSION\n9\n",
                                "FILE FORMAT VERSION\n" + std::to_string(version) + "\n");
    const auto table = text.find("POSITION (INDEX) OF CHANNELS");
    return text.substr(0, text.find("----------------------\n", table)) + OldFormatTail();
}

TEST(EMDesc, VersionEightReadsWithTheOlderFormatAndCorrectedGeometry) {
    // Version 8 kept the separation as transmitter minus receiver: the receiver
    // written at (-120, 0, -45) with the transmitter at the origin gives a
    // separation of (120, 0, 45), and the reader takes that separation off the
    // stored receiver position, as files have always been converted.
    xEMDesc back;
    ASSERT_TRUE(ReadText(back, AsVersion(Written(TwoComponentSystem()), 8)));
    EXPECT_EQ(back.FileVersion(), 9);
    EXPECT_EQ(back.formatDesc.posFid, 4);
    EXPECT_EQ(back.formatDesc.posAltitude, 7);
    EXPECT_EQ(back.GetNumberOfChannels(107), 3);
    const xEMGDesc* geometry = back.Geometry(109);
    EXPECT_EQ(geometry->fileVersion, 9);
    EXPECT_FLOAT_EQ(geometry->GetSeparationX(), -240.0f);
    EXPECT_FLOAT_EQ(geometry->GetSeparationZ(), -90.0f);
}

// A system as the single-system versions wrote it: header, the first
// component's waveform and geometry, and the older format block.
std::string OldSystemBlock(const xEMDesc& d) {
    const std::string current = Written(d);
    const std::string version = "FILE FORMAT VERSION\n9\n";
    const std::string header =
        current.substr(version.size(), current.find("  TxRx  TxRy") - version.size());
    const std::string banner = std::string(25, ' ') + "++++++++\n";
    const auto waveStart = current.find(banner, current.find(banner) + 1) + banner.size();
    const auto waveEnd = current.find(banner, waveStart);
    const auto format = current.find("DATA FORMAT\n");
    const auto formatEnd = current.find("----------------------\n", format);
    return header + current.substr(waveStart, std::min(waveEnd, format) - waveStart) +
           current.substr(format, formatEnd - format) + OldFormatTail();
}

TEST(EMDesc, VersionFiveIsOneSystemSharedByItsComponents) {
    // The components come from the format's channel map and share the one
    // waveform and geometry.
    xEMDesc back;
    ASSERT_TRUE(ReadText(back, "FILE FORMAT VERSION\n5\n" + OldSystemBlock(TwoComponentSystem())));
    EXPECT_TRUE(back.HasComponent(107));
    EXPECT_TRUE(back.HasComponent(109));
    EXPECT_EQ(back.Components().size(), 2u);
    EXPECT_EQ(back.GetNumberOfChannels(109), 3);
    EXPECT_EQ(back.Wave(107)->GetChannels(false), 3);
    EXPECT_EQ(back.formatDesc.posFid, 4);
    // Version 5 stored the separation as the receiver position itself, and the
    // conversion takes it off that position.
    EXPECT_FLOAT_EQ(back.GetSeparation(109, AxisX), 0.0f);
}

TEST(EMDesc, VersionSevenMergesItsSystems) {
    // Two systems: the first gives the header and the format, the second adds
    // its components with its own windows.
    xEMDesc vertical = TwoComponentSystem();
    vertical.Components().erase(107);
    for (long ch = 1; ch <= 3; ++ch) vertical.formatDesc.channelMap[ch][107] = 0;
    xEMDesc inline_ = TwoComponentSystem();
    inline_.systemDesc.name = "second system";
    inline_.Components().erase(109);
    inline_.Components()[107].wave.windows[0][0] = 4.25f;
    for (long ch = 1; ch <= 3; ++ch) inline_.formatDesc.channelMap[ch][109] = 0;

    xEMDesc back;
    ASSERT_TRUE(ReadText(
        back, "FILE FORMAT VERSION\n7\n2\n" + OldSystemBlock(vertical) + OldSystemBlock(inline_)));
    EXPECT_EQ(back.systemDesc.name, "GEOTEM 25 Hz");
    EXPECT_EQ(back.Components().size(), 2u);
    EXPECT_FLOAT_EQ(back.Wave(107)->windows[0][0], 4.25f);
    EXPECT_FLOAT_EQ(back.Wave(109)->windows[0][0], 4.5f);

    xRecordingPlatform platform;
    xEMDesc none;
    EXPECT_FALSE(ReadText(none, "FILE FORMAT VERSION\n7\n0\n"));
    EXPECT_FALSE(platform.Texts("error").empty());
}

TEST(EMDesc, UnsupportedAndUnknownVersionsSaySo) {
    xRecordingPlatform platform;
    const std::string text = Written(TwoComponentSystem());
    xEMDesc six;
    EXPECT_FALSE(ReadText(six, Replaced(text, "\n9\n", "\n6\n")));
    EXPECT_EQ(
        platform.Texts("note"),
        std::vector<std::string>{"Currently unsupported version of EM descriptor (version 6)"});
    platform.messages.clear();
    xEMDesc ten;
    EXPECT_FALSE(ReadText(ten, Replaced(text, "\n9\n", "\n10\n")));  // read the old way: fails here
    EXPECT_EQ(platform.Texts("note"),
              std::vector<std::string>{"Unknown version of EM descriptor (version 10). Conversion "
                                       "to version 8 is not guaranteed."});
}

TEST(EMDesc, BrokenFilesEndInTheMessage) {
    const std::string text = Written(TwoComponentSystem());
    const std::string message = "xEMDesc::Read()  Error reading EM system descriptor.\n";
    std::vector<std::string> broken = {std::string(300, '\0')};
    // Every cut of the file at a line end.
    for (std::size_t at = text.find('\n'); at + 1 < text.size(); at = text.find('\n', at + 1))
        broken.push_back(text.substr(0, at + 1));
    for (const auto& input : broken) {
        xRecordingPlatform platform;
        xEMDesc d;
        EXPECT_FALSE(ReadText(d, input)) << input.size();
        // The format's own message may come first; the last one says where.
        ASSERT_FALSE(platform.Texts("error").empty()) << input.size();
        EXPECT_EQ(platform.Texts("error").back().rfind(message + "descriptor:", 0), 0u)
            << platform.Texts("error").back();
        EXPECT_TRUE(d.HasComponent(109) || !d.Components().empty());
    }
}

TEST(EMDesc, BrokenFilesSayWhere) {
    const std::string text = Written(TwoComponentSystem());
    const std::string message = "xEMDesc::Read()  Error reading EM system descriptor.\n";
    struct Case {
        std::string input;
        std::string where;
    };
    const Case cases[] = {
        {Replaced(text, "     3     0     3", "     3     x     3"),
         "S.DSC:20: expected 9 numbers, found \"     0     0     0     0     0     0     3     x   "
         "  "
         "3\""},
        {Replaced(text, "+ TzRz +", "+ TqRq +"),
         "S.DSC:65: expected a component banner such as \"+ TzRz +\", found \"                  "
         "       + TqRq +\""},
        {Replaced(text, "RECEIVER SAMPLING\n3\n", "RECEIVER SAMPLING\n-3\n"),
         "S.DSC:40: expected a count from 0 to 100000, found \"-3\""},
        // The transmitter's waveform ends a line early.
        {Replaced(text, "1.000000     0.000000\n\n", "1.000000     0.000000\n"),
         "S.DSC:35: expected the separator line \"_____\u2026\", found \"RECEIVER PRIMARY FIELD\"; "
         "the read failed at line 39: expected 2 numbers, found \"3\""},
        {text.substr(0, text.find("XYZ POSITION")),
         "S.DSC:54: expected an axis name or \"XYZ POSITION:\", found the end of the file"},
        {"", "S.DSC:1: expected \"FILE FORMAT VERSION\", found the end of the file"},
        {"FILE FORMAT VERSION\nnine\n", "S.DSC:2: expected a number, found \"nine\""},
    };
    for (const Case& c : cases) {
        xRecordingPlatform platform;
        xEMDesc d;
        std::istringstream in(c.input);
        EXPECT_FALSE(d.Read(in, "/some/where/S.DSC"));
        EXPECT_EQ(platform.Texts("error"), std::vector<std::string>{message + c.where});
    }
    // A separator line is a label like any other: whatever it holds, the file reads.
    xRecordingPlatform platform;
    xEMDesc d;
    std::istringstream relabelled(Replaced(text, std::string(57, '_'), "(separator)"));
    EXPECT_TRUE(d.Read(relabelled, "S.DSC"));
    EXPECT_TRUE(platform.Texts("error").empty());
    EXPECT_FALSE(d.Read(std::filesystem::path("/nonexistent/system.DSC")));
    EXPECT_EQ(platform.Texts("error"),
              std::vector<std::string>{message + "system.DSC: the file cannot be opened"});
}

class EMDescFiles : public xTempFolderTest {};

TEST_F(EMDescFiles, OldSystemFilesMustAllExist) {
    xRecordingPlatform platform;
    for (const char* ext : {".EMF", ".EMG"}) Put(std::string("survey_z") + ext, "");
    EXPECT_FALSE(CheckSystemFiles(dir_, "survey", "_z"));
    Put("survey_z.EMW", "");
    EXPECT_TRUE(CheckSystemFiles(dir_, "survey", "_z"));
    EXPECT_EQ(
        platform.Texts("error"),
        std::vector<std::string>{
            "Cannot find one or more of the system files for a _z orientation for the project "
            "SURVEY.  You will have to use the Tovarn Editor to create them before running a "
            "process that requires them."});
}

// The factor that brings a component's values to fractions of its primary
// field, checked against the closed-form field of a square loop on its axis:
// H = I a^2 / (2 pi (z^2 + a^2 / 4) sqrt(z^2 + a^2 / 2)).
TEST(EMDesc, PrimaryFractionFollowsTheUnitMomentAndGeometry) {
    constexpr double Mu0 = 1.25663706212e-6;
    const double a = 10.0, z = 20.0;  // the default loop, the receiver below its centre
    const double onAxis =
        a * a / (2.0 * std::numbers::pi * (z * z + a * a / 4) * std::sqrt(z * z + a * a / 2));
    const double perMoment = Mu0 * onAxis / (a * a);

    xEMDesc d = TwoComponentSystem();
    xEMCompDesc& c = d.Components().at(109);
    c.geometry.SetPosition(xEMGDesc::Rx, 0.0f, 0.0f, -float(z));
    std::string why;
    c.wave.rxPrimary.unit = "ppm";
    EXPECT_DOUBLE_EQ(d.PrimaryFractionFactor(109, why), 1e-6);
    c.wave.rxPrimary.unit = "%";
    EXPECT_DOUBLE_EQ(d.PrimaryFractionFactor(109, why), 0.01);

    // B in fT for a moment of 0.5 A m^2: the moment is the transmitter's
    // amplitude factor under amp/m^2.
    c.wave.rxPrimary.unit = "fT";
    c.wave.txWaveform.unit = "amp/m^2";
    c.wave.txWaveform.scaleFirst = 2.0f;
    c.wave.txWaveform.scaleSecond = 1.0f;
    EXPECT_NEAR(d.PrimaryFractionFactor(109, why) * 0.5 * perMoment / 1e-15, 1.0, 2e-3) << why;

    // dB/dt: divided as well by the current's fastest change, 1 in 0.25 ms.
    c.wave.rxPrimary.unit = "nV/amp/m^4";
    c.wave.txWaveform.samples.Resize(0, 3, 0, 2);
    const float ramp[4][2] = {{0.0f, 0.0f}, {1.0f, 0.5f}, {4.0f, 1.0f}, {4.25f, 0.0f}};
    for (long r = 0; r < 4; ++r)
        for (long k = 0; k < 2; ++k) c.wave.txWaveform.samples[r][k] = ramp[r][k];
    EXPECT_NEAR(d.PrimaryFractionFactor(109, why) * 0.5 * perMoment * 4000.0 / 1e-9, 1.0, 2e-3);

    // What cannot be known is 0, with what to set.
    c.wave.txWaveform.unit = "amp";
    EXPECT_EQ(d.PrimaryFractionFactor(109, why), 0.0);
    EXPECT_NE(why.find("set the transmitter current's unit to amp/m^2"), std::string::npos) << why;
    c.wave.rxPrimary.unit = "counts";
    EXPECT_EQ(d.PrimaryFractionFactor(109, why), 0.0);
    EXPECT_NE(why.find("the receiver unit \"counts\" of TzRz"), std::string::npos) << why;
    EXPECT_EQ(d.PrimaryFractionFactor(101, why), 0.0);
}
