#include "xStmFile.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <string>
#include <vector>

#include "SharedData.h"
#include "xRecordingPlatform.h"

namespace {

namespace fs = std::filesystem;

// A triangular pulse that ends at time zero, small enough to check by eye.
const char* kSystem = R"(System Begin
	Name = Test-Pulse
	Transmitter Begin
		PeakCurrent   = 1.0
		BaseFrequency = 25
		WaveFormCurrent Begin
			-0.004 0.0
			-0.002 1.0
			 0.000 0.0
			 0.016 0.0
		WaveFormCurrent End
	Transmitter End
	Receiver Begin
		NumberOfWindows = 3
		WindowTimes Begin
			0.0002 0.0004
			0.0004 0.0008
			0.0008 0.0016
		WindowTimes End
	Receiver End
	ForwardModelling Begin
		OutputType = dB/dt
		ZOutputScaling = 1e3
		SecondaryFieldNormalisation  =  ppm
	ForwardModelling End
	ReferenceGeometry Begin
		txrx_dx = -120
	ReferenceGeometry End
System End
)";

// Every occurrence, so that a block renamed in its Begin is renamed in its End.
std::string Replace(std::string text, const std::string& from, const std::string& to) {
    EXPECT_NE(text.find(from), std::string::npos) << from;
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at))
        text.replace(at, from.size(), to), at += to.size();
    return text;
}

bool ReadSystem(const std::string& text, xStmSystem& system) {
    xStmFile file;
    return file.Parse(text, "t.stm") && system.Read(file);
}

}  // namespace

TEST(StmFile, BlocksKeysAndTablesWhateverTheSpelling) {
    xRecordingPlatform platform;
    std::string text =
        "// made by hand\r\n"
        "system begin\r\n"
        "\tName = A b  c // not part of the name\r\n"
        "\tFilter BEGIN\r\n"
        "\t\tCutOffFrequency = 300000 450000\r\n"
        "\tfilter end\r\n"
        "\n"
        "\tTable Begin\r\n"
        "\t\t-1.000E-02\t.6264\r\n"
        "\t\t+0.0000066666667 -1 7\r\n"
        "\tTable End\r\n"
        "System End";  // no final line end, as in one bundled file
    xStmFile file;
    ASSERT_TRUE(file.Parse(text, "t.stm"));
    EXPECT_TRUE(platform.messages.empty());
    const xStmBlock* system = file.Root().Block("SYSTEM");
    ASSERT_NE(system, nullptr);
    EXPECT_EQ(system->Text("name"), "A b  c");
    EXPECT_EQ(system->Number("Name"), std::nullopt);
    const xStmBlock* filter = system->Block("Filter");
    ASSERT_NE(filter, nullptr);
    EXPECT_EQ(filter->Numbers("cutofffrequency"), (std::vector<double>{300000, 450000}));
    EXPECT_EQ(filter->Number("CutOffFrequency"), std::nullopt);  // two numbers, not one
    const xStmBlock* table = system->Block("table");
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(table->rows,
              (std::vector<std::vector<double>>{{-1.0e-2, 0.6264}, {0.0000066666667, -1, 7}}));
    EXPECT_EQ(table->rowLines, (std::vector<long>{9, 10}));
}

TEST(StmFile, FaultsAreOneErrorNamingTheLine) {
    const std::string expected =
        "; expected \"Name Begin\", \"Name End\", \"key = value\" or a row of numbers.";
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"System Begin\n  this is not a key\nSystem End\n",
         "t.stm:2: cannot read \"this is not a key\"" + expected},
        {"System Begin\n  T Begin\n    1 2 x\n  T End\nSystem End\n",
         "t.stm:3: cannot read \"1 2 x\"" + expected},
        {"\x7f\x45LF\x01\x02\n", "t.stm:1: cannot read \"\x7f\x45LF\x01\x02\"" + expected},
        {"System Begin\nSystem End\nSystem End\n",
         "t.stm:3: \"System End\" has no matching Begin."},
        {"System Begin\n  Receiver Begin\n  Transmitter End\nSystem End\n",
         "t.stm:3: \"Transmitter End\" does not close \"Receiver\" (opened at line 2)."},
        // A file cut off inside a table.
        {"System Begin\n  WindowTimes Begin\n    1 2\n",
         "t.stm: \"WindowTimes\" (opened at line 2) has no End."},
        {"System Begin\n  Number Of Windows = 3\n",
         "t.stm:2: the key of \"Number Of Windows = 3\" is not one word."},
        {"1 2\n", "t.stm:1: numbers outside any block."},
        {[] {
             std::string deep;
             for (int i = 0; i < 40; ++i) deep += "A Begin\n";
             return deep;
         }(),
         "t.stm:33: blocks nest deeper than 32."},
        {"System Begin\n" + std::string(200, 'x') + "\n",
         "t.stm:2: cannot read \"" + std::string(80, 'x') + "...\"" + expected},
    };
    for (const auto& [text, message] : cases) {
        xRecordingPlatform platform;
        xStmFile file;
        EXPECT_FALSE(file.Parse(text, "t.stm")) << text;
        EXPECT_EQ(platform.messages,
                  (std::vector<xRecordedMessage>{{"error", "xStmFile: " + message}}));
        EXPECT_TRUE(file.Root().blocks.empty());
    }
    xRecordingPlatform platform;
    EXPECT_FALSE(xStmFile().Read("/nonexistent/x.stm"));
    EXPECT_TRUE(platform.Saw("error", "xStmFile: cannot open < /nonexistent/x.stm >."));
}

TEST(StmSystem, TypedView) {
    xRecordingPlatform platform;
    xStmSystem s;
    ASSERT_TRUE(ReadSystem(kSystem, s));
    EXPECT_TRUE(platform.messages.empty());
    EXPECT_EQ(s.name, "Test-Pulse");
    EXPECT_EQ(s.peakCurrent, 1.0);
    ASSERT_EQ(s.waveform.size(), 4u);
    EXPECT_DOUBLE_EQ(s.PeriodsCovered(), 0.5);
    EXPECT_DOUBLE_EQ(s.CurrentAt(-0.003), 0.5);
    EXPECT_EQ(s.numberOfWindows, 3);
    EXPECT_EQ(s.windows[2].end, 0.0016);
    EXPECT_EQ(s.output, xStmOutput::dBdt);
    EXPECT_EQ(s.zScaling, 1e3);
    EXPECT_EQ(s.normalisation, "ppm");
    EXPECT_EQ(s.referenceGeometry, (std::map<std::string, double>{{"TXRX_DX", -120}}));
}

TEST(StmSystem, MissingOrMalformedContentIsOneError) {
    const std::vector<std::vector<std::string>> cases = {
        {"System", "Other", "no \"System\" block."},
        {"Receiver", "Rx", "no \"Receiver\" block in System."},
        {"\t\tBaseFrequency = 25\n", "", "\"BaseFrequency\" is missing from Transmitter."},
        {"= 25", "= 25Hz", "\"BaseFrequency = 25Hz\" (line 5) is not a number."},
        {"= 25", "= 0", "BaseFrequency must be above 0 (line 5)."},
        {"= -120", "= behind", "\"txrx_dx = behind\" (line 27) is not a number."},
        // A row that lost its second number.
        {"-0.002 1.0", "-0.002",
         "WaveFormCurrent row 2 (line 8) has 1 number; expected 2 "
         "(time, current)."},
        {"\t\t\t-0.004 0.0\n\t\t\t-0.002 1.0\n\t\t\t 0.000 0.0\n", "",
         "WaveFormCurrent needs at least 2 rows; it has 1."},
        // A table cut short, which only the count can tell.
        {"\t\t\t0.0008 0.0016\n", "", "NumberOfWindows = 3 but WindowTimes has 2 rows."},
        {"\t\t\t0.0002 0.0004\n\t\t\t0.0004 0.0008\n\t\t\t0.0008 0.0016\n", "",
         "WindowTimes is empty."},
    };
    for (const std::vector<std::string>& c : cases) {
        xRecordingPlatform platform;
        xStmSystem s;
        EXPECT_FALSE(ReadSystem(Replace(kSystem, c[0], c[1]), s)) << c[2];
        EXPECT_EQ(platform.messages,
                  (std::vector<xRecordedMessage>{{"error", "xStmSystem: t.stm: " + c[2]}}));
        EXPECT_TRUE(s.waveform.empty() && s.windows.empty());
    }
}

TEST(StmSystem, OddButUsableValuesWarn) {
    xRecordingPlatform platform;
    std::string text = Replace(kSystem, " 0.000 0.0", "-0.003 0.0");
    text = Replace(text, "0.0004 0.0008", "0.0008 0.0004");
    text = Replace(text, "= dB/dt", "= E");
    xStmSystem s;
    ASSERT_TRUE(ReadSystem(text, s));
    const std::string pre = "xStmSystem: t.stm: ";
    EXPECT_EQ(platform.Texts("warning"),
              (std::vector<std::string>{pre + "WaveFormCurrent times do not rise at line 9.",
                                        pre + "window 2 (line 17) does not end after it starts.",
                                        pre + "OutputType \"E\" is neither B nor dB/dt."}));
    EXPECT_EQ(s.output, xStmOutput::Unknown);
}

TEST(StmSystem, TimeZeroAndRampEndFromTheWaveform) {
    struct Case {
        const char* rows;
        xStmTimeZero zero;
        std::optional<double> rampEnd;
    };
    const std::vector<Case> cases = {
        {"-0.004 0\n-0.002 1\n0 0\n0.016 0\n", xStmTimeZero::EndOfPulse, 0.0},
        // The tail of the ramp is far below the peak but not yet off.
        {"-0.01 0\n0 1\n1e-5 0.5\n3e-5 1e-4\n4e-5 0\n0.01 0\n", xStmTimeZero::StartOfTurnOff, 4e-5},
        {"-0.02 0\n-0.0199 1\n-1e-5 1\n0 0\n1e-5 -1\n0.0199 -1\n0.02 0\n",
         xStmTimeZero::MidReversal, 1e-5},
        // Off before and at zero: nothing says where the pulse is.
        {"-0.01 0\n-0.005 0\n0 0\n0.005 1\n0.01 0\n", xStmTimeZero::Unknown, std::nullopt},
        {"0.001 0\n0.002 1\n0.003 0\n", xStmTimeZero::Unknown, std::nullopt},
    };
    for (const Case& c : cases) {
        xRecordingPlatform platform;
        xStmSystem s;
        ASSERT_TRUE(ReadSystem(Replace(kSystem,
                                       "\t\t\t-0.004 0.0\n\t\t\t-0.002 1.0\n\t\t\t 0.000 "
                                       "0.0\n\t\t\t 0.016 0.0\n",
                                       c.rows),
                               s));
        EXPECT_EQ(s.TimeZero(), c.zero) << c.rows;
        EXPECT_EQ(s.RampEnd(), c.rampEnd) << c.rows;
    }
}

// ---------------------------------------------------------------------------
// The system files that came with the public surveys.

namespace {

xStmSystem ReadBundled(const fs::path& path) {
    xStmFile file;
    xStmSystem system;
    EXPECT_TRUE(file.Read(path) && system.Read(file)) << path;
    return system;
}

}  // namespace

TEST(BundledStm, EveryFileReadsWithoutAMessage) {
    fs::path root = SharedDataDir();
    SKIP_UNLESS_EXISTS(root);
    int files = 0;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root)) {
        if (entry.path().extension() != ".stm") continue;
        SCOPED_TRACE(entry.path());
        ++files;
        xRecordingPlatform platform;
        xStmSystem s = ReadBundled(entry.path());
        EXPECT_TRUE(platform.messages.empty());
        // What the descriptor builder relies on: a known time zero and output,
        // windows in order, wholly after the turn-off ramp and inside the table.
        EXPECT_NE(s.TimeZero(), xStmTimeZero::Unknown);
        EXPECT_NE(s.output, xStmOutput::Unknown);
        ASSERT_TRUE(s.RampEnd().has_value());
        ASSERT_FALSE(s.windows.empty());
        EXPECT_GE(s.windows.front().start, *s.RampEnd());
        EXPECT_LE(s.windows.back().end, s.waveform.back().time);
        for (std::size_t i = 1; i < s.windows.size(); ++i)
            EXPECT_GE(s.windows[i].start, s.windows[i - 1].end) << i;
    }
    EXPECT_GE(files, 5);
}

TEST(BundledStm, Geotem) {
    fs::path path = SharedDataDir() / "geotem-gsq823-1996" / "Geotem3-GSQ823.stm";
    SKIP_UNLESS_EXISTS(path);
    xStmSystem s = ReadBundled(path);
    ASSERT_EQ(s.windows.size(), 16u);
    EXPECT_EQ(s.windows.front().start, 0.0002733);
    // Centres in µs from the contractor's report (Table 5), to its rounding.
    // Channel 13 is the exception: the table says 7734, the windows 7773.
    const double centres[16] = {352,  509,  665,  899,  1212, 1602, 2071,  2618,
                                3321, 4181, 5196, 6368, 7773, 9493, 11681, 14337};
    for (int i = 0; i < 16; ++i)
        EXPECT_NEAR((s.windows[i].start + s.windows[i].end) / 2 * 1e6, centres[i], 2.0) << i;
    // The 4108 µs half-sine in 0.0642 ms steps, then off to the half period.
    ASSERT_EQ(s.waveform.size(), 66u);
    for (const xStmSample& sample : s.waveform) {
        double phase = std::numbers::pi * (sample.time + 0.004108) / 0.004108;
        EXPECT_NEAR(sample.current, sample.time > 0.0 ? 0.0 : std::sin(phase), 2e-3);
    }
    EXPECT_EQ(s.TimeZero(), xStmTimeZero::EndOfPulse);
    EXPECT_DOUBLE_EQ(s.PeriodsCovered(), 0.5);
    EXPECT_EQ(s.normalisation, "ppm");
    EXPECT_EQ(s.referenceGeometry.at("TXRX_DZ"), -45.0);
}

TEST(BundledStm, SkytemAndTempest) {
    fs::path root = SharedDataDir();
    SKIP_UNLESS_EXISTS(root / "skytem-bhmar2009");
    SKIP_UNLESS_EXISTS(root / "tempest-ausaem2020");
    xStmSystem lm = ReadBundled(root / "skytem-bhmar2009" / "Skytem-LM.stm");
    xStmSystem hm = ReadBundled(root / "skytem-bhmar2009" / "Skytem-HM.stm");
    xStmSystem tempest = ReadBundled(root / "tempest-ausaem2020" / "Tempest-25.0Hz.stm");

    EXPECT_NEAR(lm.baseFrequency, 222.2222, 1e-4);
    EXPECT_EQ(lm.windows.size(), 18u);
    EXPECT_EQ(hm.windows.size(), 21u);
    EXPECT_EQ(lm.RampEnd(), 8.068e-6);
    EXPECT_EQ(hm.RampEnd(), 3.997e-5);
    for (const xStmSystem* s : {&lm, &hm}) {
        EXPECT_EQ(s->TimeZero(), xStmTimeZero::StartOfTurnOff);
        EXPECT_NEAR(s->PeriodsCovered(), 0.5, 1e-9);
        EXPECT_EQ(s->lowPassCutOff, (std::vector<double>{300000, 450000}));
        EXPECT_EQ(s->lowPassOrder, (std::vector<double>{1, 2}));
    }

    EXPECT_EQ(tempest.windows.size(), 15u);
    EXPECT_EQ(tempest.TimeZero(), xStmTimeZero::MidReversal);
    EXPECT_NEAR(tempest.PeriodsCovered(), 1.0, 1e-12);  // both polarities are in the table
    EXPECT_EQ(tempest.output, xStmOutput::B);
    EXPECT_EQ(tempest.zScaling, 1e15);  // fT
    EXPECT_EQ(tempest.RampEnd(), 0.0000066666667);
}
