#include "xASCII2BinFactory.h"

#include <gtest/gtest.h>

#include <cmath>

#include "ImportFixture.h"

namespace {

using Survey = std::vector<ImportedLine>;

// line fid east north z_topo altitude unused c1 c2 c3
const char* kTwoLines =
    "10 100 0 0 5 50 x 1 2 4\n"
    "10 101 3 4 6 51 x 2 4 8\n"
    "10 102 6 8 7 52 x 3 6 12\n"
    "20 200 10 10 8 60 x 4 8 16\n"
    "20 201 10 12 9 61 x 5 10 20\n";

std::string Replace(std::string text, const std::string& from, const std::string& to) {
    for (auto at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

}  // namespace

TEST_F(ImportTest, RecordsBecomeLinesWithGainsHeightsAndDistance) {
    ASSERT_TRUE(Import({Put("a.asc", kTwoLines)}, SmallSystem()));
    EXPECT_TRUE(platform_.Saw("note", "System detected UNIX ASCII file format.."));
    long lineCount = 0, records = 0;
    const Survey lines = ReadLines(&lineCount, &records);
    EXPECT_EQ(lineCount, 2);
    EXPECT_EQ(records, 5);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].number, 10);
    EXPECT_EQ(lines[1].number, 20);
    // fid x y z alt dist, channels times their gains 1, 2, 0.5, z(ASL), six angles
    const std::vector<float> second = {101, 3, 4, 6, 51, 5, 2, 8, 4, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(lines[0].rows[1], second);
    EXPECT_FLOAT_EQ(lines[0].rows[2][5], 10.0f);
    EXPECT_FLOAT_EQ(lines[1].rows[1][5], 2.0f);  // from the line's own first record
    EXPECT_EQ(lines[0].min[5], 0.0f);
    EXPECT_EQ(lines[0].max[8], 6.0f);
    // Header and blocks: 1152 + 8R, then 1060 + 8R + 4nR per line, nothing else.
    const auto size = std::filesystem::file_size(Bin());
    EXPECT_EQ(size, std::uintmax_t(1152 + 8 * SmallR + 2 * (1060 + 8 * SmallR) + 4 * 5 * SmallR));
}

TEST_F(ImportTest, LineEndsAreToldAndReadAlike) {
    const Survey unixLines = (Import({Put("u.asc", kTwoLines)}, SmallSystem()), ReadLines());
    for (const auto& [end, form] : {std::pair{"\r\n", "DOS"}, std::pair{"\r", "MAC"}}) {
        ASSERT_TRUE(Import({Put("e.asc", Replace(kTwoLines, "\n", end))}, SmallSystem()));
        EXPECT_TRUE(
            platform_.Saw("note", std::string("System detected ") + form + " ASCII file format.."));
        EXPECT_EQ(ReadLines().back().rows, unixLines.back().rows) << form;
    }
}

TEST_F(ImportTest, AFileWithoutLineEndEndsTheRunWithTheReservedHeader) {
    const auto first = Put("one.asc", "10 100 0 0 5 50 x 1 2 4");
    const auto second = Put("two.asc", kTwoLines);
    EXPECT_FALSE(Import({first, second}, SmallSystem()));
    EXPECT_TRUE(platform_.Saw("error",
                              "System detected UNKOWN ASCII file format..\none.asc:1: expected a "
                              "line end (LF, CR LF or CR)"));
    long lineCount = -1;
    EXPECT_TRUE(ReadLines(&lineCount).empty());
    EXPECT_EQ(lineCount, 0);
    EXPECT_FALSE(Import({Put("empty.asc", "")}, SmallSystem()));
}

TEST_F(ImportTest, CommentLinesShortRecordsAndRepeatedLabels) {
    xEMDesc system = SmallSystem();
    system.formatDesc.commentLines = 2;
    const std::string text = std::string("line fid x y z alt u c1 c2 c3\r\n/ units\r\n") +
                             "10 1 0 0 0 0 x 1 1 1\r\n"
                             "20 2 0 0 0 0 x 1 1 1\r\n"
                             "10 3 0 0 0 0 x 1 1 1\r\n"
                             "10 4 0 0 0 0 x 1";
    ASSERT_TRUE(Import({Put("a.asc", text)}, system));
    EXPECT_TRUE(platform_.Texts("question").empty());
    const Survey lines = ReadLines();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0].number, 10);
    EXPECT_EQ(lines[2].number, 10);
    EXPECT_EQ(lines[2].rows.size(), 1u);  // the file cut inside its last record
    const auto bin = OpenSurvey(Bin());
    xMLine line(bin.get());
    ASSERT_TRUE(line.Find(10));
    EXPECT_EQ(line.Row(0)[0], 1.0f);  // a search by label finds the first
}

TEST_F(ImportTest, LineFlownWithFallingFidIsTurnedRound) {
    const std::string rising = "7 1 0 0 1 9 x 1 1 1\n7 2 3 4 2 9 x 2 2 2\n7 3 3 10 3 9 x 3 3 3\n";
    const std::string falling = "7 3 3 10 3 9 x 3 3 3\n7 2 3 4 2 9 x 2 2 2\n7 1 0 0 1 9 x 1 1 1\n";
    ASSERT_TRUE(Import({Put("r.asc", rising)}, SmallSystem()));
    const Survey expected = ReadLines();
    ASSERT_TRUE(Import({Put("f.asc", falling)}, SmallSystem()));
    const Survey turned = ReadLines();
    ASSERT_EQ(turned.size(), 1u);
    EXPECT_EQ(turned[0].rows, expected[0].rows);
    EXPECT_EQ(turned[0].rows[2][5], std::sqrt(109.0f));  // from the new first record
    EXPECT_TRUE(turned[0].min == expected[0].min && turned[0].max == expected[0].max);
    EXPECT_TRUE(turned[0].mean == expected[0].mean);
}

TEST_F(ImportTest, JumpsBeyondTheLimitsAreReportedAndNotAcrossLines) {
    xImportSettings settings;
    settings.maxDFid = 2.0f;
    settings.maxDx = 20.0f;
    const std::string text =
        "1 10 0 0 0 0 x 1 1 1\n"
        "1 12 0 0 0 0 x 1 1 1\n"     // a step equal to the limit
        "1 14.5 25 0 0 0 x 1 1 1\n"  // X by 25 and FID by 2.5
        "2 90 99 0 0 0 x 1 1 1\n";   // a new line is not compared
    ASSERT_TRUE(Import({Put("a.asc", text)}, SmallSystem(), settings));
    const std::string report = Slurp(Err());
    const auto body = report.substr(report.find(std::string(73, '=')) + 74);
    EXPECT_EQ(body,
              "X gradient 25.0 is out of limits in file a.asc, LINE  1, FID         14.500\n"
              "FID gradient     2.500 is out of limits in file a.asc, LINE  1, FID         "
              "14.500\n");
    EXPECT_EQ(report.rfind("Project: ASCII to Binary      Date: ", 0), 0u);
    EXPECT_TRUE(platform_.Saw("warning",
                              "ASCII->BIN conversion's detected some problems. Look "
                              "through <" +
                                  Err().string() + "> file."));
}

TEST_F(ImportTest, QuitAtAJumpOnScreenStopsTheRunAndKeepsTheLines) {
    xImportSettings settings;
    settings.reports = xImportSettings::Reports::Screen;
    platform_.answers = {1};  // "Quit"
    ASSERT_TRUE(Import({Put("a.asc",
                            "1 10 0 0 0 0 x 1 1 1\n1 20 0 0 0 0 x 1 1 1\n"
                            "1 21 0 0 0 0 x 1 1 1\n2 30 0 0 0 0 x 1 1 1\n")},
                       SmallSystem(), settings));
    EXPECT_TRUE(platform_.Saw("question",
                              "FID gradient    10.000 is out of limits in file a.asc, "
                              "LINE  1, FID 20"));
    const Survey lines = ReadLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].rows.size(), 2u);
    EXPECT_FALSE(std::filesystem::exists(Err()));
}

TEST_F(ImportTest, HeightFromZTopoOrZAslOrNothing) {
    xEMDesc system = SmallSystem();
    system.formatDesc.posZTopo = 0;
    const auto file = Put("a.asc", "1 10 0 0 500 120 x 1 1 1\n");
    ASSERT_TRUE(Import({file}, system));
    EXPECT_EQ(ReadLines()[0].rows[0][3], 0.0f);
    system.formatDesc.userItems = {{"z(ASL)", 5}};
    ASSERT_TRUE(Import({file}, system));
    EXPECT_EQ(ReadLines()[0].rows[0][3], 380.0f);
    EXPECT_EQ(ReadLines()[0].rows[0][9], 500.0f);  // the user item itself
    system.formatDesc.posAltitude = 0;
    ASSERT_TRUE(Import({file}, system));
    EXPECT_EQ(platform_.Texts("warning"),
              std::vector<std::string>{"Flight altitude has not been defined in the system "
                                       "descriptor."});
    EXPECT_EQ(ReadLines()[0].rows[0][3], 500.0f);
}

TEST_F(ImportTest, BadValuesAreSkippedOrEndTheRun) {
    // The engine asks the platform it is given, not the one installed.
    xRecordingPlatform installed;
    const std::string text =
        "1 10 0 0 0 0 x 1 1 1\n"
        "1 11 0 0 0 0 x 1 bad 1\n"
        "1 12 0 0 0 0 x 1 1 1\n"
        "1 13 0 0 0 0 x 1 ? 1\n"
        "1 14 0 0 0 0 x 1 1 1\n";
    const auto file = Put("a.asc", text);
    platform_.answers = {2, 2};  // "Skip record" twice
    ASSERT_TRUE(Import({file}, SmallSystem()));
    EXPECT_EQ(platform_.Texts("question"),
              (std::vector<std::string>{"Found an ASCII value that cannot be interpreted..\n"
                                        "a.asc:2: expected a number, found \"bad\"",
                                        "Found an ASCII value that cannot be interpreted..\n"
                                        "a.asc:4: expected a number, found \"?\""}));
    EXPECT_EQ(ReadLines()[0].rows.size(), 3u);
    EXPECT_NE(Slurp(Err()).find("\nIn file " + file.string() +
                                ",  line skiped: 1 11 0 0 0 0 x 1 bad 1\n"),
              std::string::npos);

    platform_.answers = {3};  // "Skip all": no further question
    ASSERT_TRUE(Import({file}, SmallSystem()));
    EXPECT_EQ(platform_.Texts("question").size(), 3u);
    EXPECT_EQ(ReadLines()[0].rows.size(), 3u);

    platform_.answers = {0};  // "Terminate"
    ASSERT_TRUE(Import({file}, SmallSystem()));
    long lineCount = 0;
    EXPECT_EQ(ReadLines(&lineCount)[0].rows.size(), 1u);
    EXPECT_EQ(lineCount, 1);
    EXPECT_NE(Slurp(Err()).find("\nFatal Error in file " + file.string()), std::string::npos);
    // A line end of any kind counts one line.
    for (const char* end : {"\r\n", "\r"}) {
        platform_.answers = {3};
        ASSERT_TRUE(Import({Put("e.asc", Replace(text, "\n", end))}, SmallSystem()));
        EXPECT_EQ(platform_.Texts("question").back(),
                  "Found an ASCII value that cannot be interpreted..\ne.asc:2: expected a number, "
                  "found \"bad\"");
    }
    EXPECT_TRUE(installed.messages.empty());
}

TEST_F(ImportTest, ShortLinesAndLabelsBeyond32BitsAreBadValuesOfTheirLine) {
    // A byte-order mark before the first record; a line two items short, which
    // must not take the next line's first items; a label no int32 holds.
    const std::string text =
        "\xEF\xBB\xBF"
        "10 100 0 0 5 50 x 1 2 4\n"
        "10 101 3 4 6 51 x 2\n"
        "10 102 6 8 7 52 x 3 6 12\n"
        "3000000000 103 6 8 7 52 x 3 6 12\n"
        "20 200 10 10 8 60 x 4 8 16\n";
    const auto file = Put("a.asc", text);
    platform_.answers = {2, 2};  // "Skip record" twice
    ASSERT_TRUE(Import({file}, SmallSystem()));
    EXPECT_EQ(platform_.Texts("question"),
              (std::vector<std::string>{
                  "Found an ASCII value that cannot be interpreted..\n"
                  "a.asc:2: expected 10 items, found the line end after 8",
                  "Found an ASCII value that cannot be interpreted..\n"
                  "a.asc:4: expected a line label from -2147483648 to 2147483647, found "
                  "\"3000000000\""}));
    const Survey lines = ReadLines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].number, 10);
    ASSERT_EQ(lines[0].rows.size(), 2u);
    EXPECT_EQ(lines[0].rows[0][0], 100.0f);
    EXPECT_EQ(lines[0].rows[1][0], 102.0f);
    EXPECT_EQ(lines[0].rows[1][1], 6.0f);
    EXPECT_EQ(lines[1].number, 20);
    const std::string err = Slurp(Err());
    EXPECT_NE(err.find(",  line skiped: 10 101 3 4 6 51 x 2\n"), std::string::npos);
    EXPECT_NE(err.find(",  line skiped: 3000000000 103 "), std::string::npos);

    // "Terminate" at the short line keeps the record before it.
    platform_.answers = {0};
    ASSERT_TRUE(Import({file}, SmallSystem()));
    EXPECT_EQ(ReadLines()[0].rows.size(), 1u);
}

TEST_F(ImportTest, TheRecordsUnderARefusedGeosoftLabelAreSkippedToTheNextHeader) {
    xEMDesc system = SmallSystem();
    system.formatDesc.geosoftFormat = 1;
    system.formatDesc.posLine = 0;
    const std::string text =
        "\xEF\xBB\xBFLINE 10\n"
        "0 10 0 0 0 0 x 1 1 1\n"
        "LINE -1e12\n"
        "0 11 0 0 0 0 x 1 1 1\n"
        "LINE 30\n"
        "0 30 0 0 0 0 x 1 1 1\n";
    platform_.answers = {2};
    ASSERT_TRUE(Import({Put("a.xyz", text)}, system));
    EXPECT_EQ(platform_.Texts("question"),
              std::vector<std::string>{"Found an ASCII value that cannot be interpreted..\n"
                                       "a.xyz:3: expected a line label from -2147483648 to "
                                       "2147483647, found \"-1e12\""});
    const Survey lines = ReadLines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].number, 10);
    EXPECT_EQ(lines[0].rows.size(), 1u);
    EXPECT_EQ(lines[1].number, 30);
    EXPECT_NE(Slurp(Err()).find(",  line skiped: 0 11 0 0 0 0 x 1 1 1\n"), std::string::npos);
}

TEST_F(ImportTest, TheTextEditorMendsTheRecordThatIsReadAgain) {
    const auto file = Put("a.asc", "1 10 0 0 0 0 x 1 1 1\n1 11 0 0 0 0 x 1 bad 1\n");
    platform_.answers = {1};  // "Text Editor"
    std::int64_t from = -1, to = -1;
    auto editor = [&](const std::filesystem::path& path, std::int64_t a, std::int64_t b) {
        from = a;
        to = b;
        std::ofstream(path, std::ios::binary) << "1 10 0 0 0 0 x 1 1 1\n1 11 0 0 0 0 x 1 7.5 1\n";
        return true;
    };
    ASSERT_TRUE(Import({file}, SmallSystem(), xImportSettings(), editor));
    EXPECT_EQ(from, 21);
    EXPECT_EQ(to, 44);
    const Survey lines = ReadLines();
    ASSERT_EQ(lines[0].rows.size(), 2u);
    EXPECT_EQ(lines[0].rows[1][7], 15.0f);  // 7.5 times the gain 2
}

TEST_F(ImportTest, TextWhereNothingIsReadIsPassedOver) {
    // Item 7 is read by nobody: its text is skipped. Text glued to the number
    // before it began in that item, which becomes 0.
    ASSERT_TRUE(Import({Put("a.asc", "1 10 0 0 0 0 word 1 1 1\n1 11 0 0 0 2.5abc x 1 1 1\n")},
                       SmallSystem()));
    const Survey lines = ReadLines();
    ASSERT_EQ(lines[0].rows.size(), 2u);
    EXPECT_TRUE(platform_.Texts("question").empty());
    EXPECT_EQ(lines[0].rows[1][4], 0.0f);
    EXPECT_EQ(lines[0].rows[1][6], 1.0f);
}

TEST_F(ImportTest, GeosoftFilesTakeTheirLabelsFromLineHeaders) {
    xEMDesc system = SmallSystem();
    system.formatDesc.geosoftFormat = 1;
    system.formatDesc.posLine = 0;
    const std::string text =
        "/ survey export\n"
        "/fid x y\n"
        "LINE 10\n"
        "0 10 0 0 0 0 x 1 1 1\n"
        "0 11 0 0 0 0 x 1 1 1\n"
        "line 20.5\n"
        "0 20 0 0 0 0 x 1 1 1\n"
        "Line 30\n"
        "0 30 0 0 0 0 x 1 1 1\n";
    ASSERT_TRUE(Import({Put("a.xyz", text)}, system));
    const Survey lines = ReadLines();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0].number, 10);
    EXPECT_EQ(lines[0].rows.size(), 2u);
    EXPECT_EQ(lines[1].number, 20);
    EXPECT_EQ(lines[2].number, 30);
    EXPECT_EQ(platform_.Texts("warning"),
              std::vector<std::string>{"ASCII->Bin Conversion Warning: Line labels in float "
                                       "format is not supported. Label <20.5> will be "
                                       "trancated to <20>."});
}

TEST_F(ImportTest, AFileThatCannotBeOpenedIsPassedOver) {
    const auto missing = dir_ / "missing.asc";
    ASSERT_TRUE(Import({Put("a.asc", kTwoLines), missing, Put("b.asc", kTwoLines)}, SmallSystem()));
    EXPECT_TRUE(platform_.Saw(
        "error", "xFileConverter: Error opening ASCII file <" + missing.string() + ">"));
    EXPECT_EQ(ReadLines().size(), 4u);
}

TEST_F(ImportTest, FrequencyDomainKeepsInPhaseThenQuadrature) {
    xEMDesc system = SmallSystem();
    system.systemDesc.halfPeriod = 0.0f;
    system.systemDesc.waveformType = "frequency domain";
    ASSERT_TRUE(system.IsFrequencyDomain()) << "the header marks a frequency-domain system";
    auto& wave = system.Components()[109].wave;
    wave.frequencies.Resize(0, 1, 0, 0);
    wave.frequencies[0][0] = 900.0f;
    wave.frequencies[1][0] = 7200.0f;
    wave.weights.Resize(0, 1);
    wave.weights[0] = 1.0f;
    wave.weights[1] = 10.0f;
    auto& f = system.formatDesc;
    f.isFrequencyDomain = 1;
    f.SetChannels(2);
    f.inPhaseMap[1][109] = 7;
    f.quadratureMap[1][109] = 8;
    f.inPhaseMap[2][109] = 9;
    f.quadratureMap[2][109] = 10;
    ASSERT_TRUE(Import({Put("a.asc", "1 10 0 0 0 0 1 2 3 4\n")}, system));
    const std::vector<float> row = ReadLines()[0].rows[0];
    const std::vector<float> channels(row.begin() + 6, row.begin() + 10);
    EXPECT_EQ(channels, (std::vector<float>{1, 30, 2, 40}));
}

TEST_F(ImportTest, DataNormalisedByComponentCarryTheAxisShareOfThePrimary) {
    xEMDesc system = SmallSystem();
    system.systemDesc.normalization = "component";
    xEMGDesc& geometry = system.Components()[109].geometry;
    geometry.transmitter = xEMSensorType();
    geometry.transmitter.AddComponent(AxisZ);
    geometry.SetPosition(xEMGDesc::Rx, -120.0f, 0.0f, -45.7f);
    ASSERT_TRUE(Import({Put("a.asc", "1 10 0 0 0 0 x 1 1 1\n")}, system));
    // A vertical dipole seen 120 m across and 45 m (the offset cut to whole
    // metres) down: B ~ (3xz, 0, 3z^2 - r^2) / r^5.
    const double x = 120, z = 45, r2 = x * x + z * z;
    const double bx = 3 * x * z, bz = 3 * z * z - r2;
    const double share = std::fabs(bz) / std::hypot(bx, bz);
    EXPECT_NEAR(ReadLines()[0].rows[0][6], share, 1e-6);
}

TEST_F(ImportTest, MalformedFilesGiveAValidFileOrNone) {
    std::string garbage;
    for (int i = 0; i < 5000; ++i) garbage.push_back(char((i * 7919) % 256));
    const std::string longLine = std::string(300000, '9') + " 1 2\n" + kTwoLines;
    for (const auto& text : {garbage, longLine, std::string("\n\n\n"), std::string("1 2 3\n")}) {
        Import({Put("g.asc", text)}, SmallSystem());
        long lineCount = -1, records = -1;
        const Survey lines = ReadLines(&lineCount, &records);
        EXPECT_EQ(long(lines.size()), lineCount);
        long rows = 0;
        for (const auto& line : lines) rows += long(line.rows.size());
        EXPECT_EQ(rows, records);
    }
}
