#include "xAsciiPattern.h"

#include <gtest/gtest.h>

#include <sstream>

#include "xRecordingPlatform.h"

namespace {

struct FormatCase {
    const char* text;
    char kind;
    int width;
    int precision;
};

TEST(xAsciiFormatTest, KnownFormsParseAndOthersAreRefused) {
    const FormatCase good[] = {{"14e6", 'e', 14, 6}, {"14E6", 'e', 14, 6}, {"8F2", 'f', 8, 2},
                               {"10i", 'i', 10, 0},  {"10L", 'l', 10, 0},  {"14S", 's', 14, 0}};
    for (const auto& c : good) {
        xAsciiFormat f;
        ASSERT_TRUE(xAsciiFormat::Parse(c.text, f)) << c.text;
        EXPECT_EQ(f.kind, c.kind) << c.text;
        EXPECT_EQ(f.width, c.width) << c.text;
        EXPECT_EQ(f.precision, c.precision) << c.text;
    }
    for (const char* bad : {"14x", "f6", "14f", "14.6f", "14i2", "e6", "", "14 f6", "99999f1"}) {
        xAsciiFormat f;
        EXPECT_FALSE(xAsciiFormat::Parse(bad, f)) << bad;
    }
}

TEST(xAsciiFormatTest, ValuesAreRightAlignedAndNeverCut) {
    auto value = [](const char* format, float v) {
        xAsciiFormat f;
        EXPECT_TRUE(xAsciiFormat::Parse(format, f));
        return f.Value(v);
    };
    EXPECT_EQ(value("12e3", 1234.56f), "   1.235e+03");
    EXPECT_EQ(value("8f2", -1.25f), "   -1.25");
    EXPECT_EQ(value("6i", 2.5f), "     3");  // rounded, half away from zero
    EXPECT_EQ(value("6l", -7.6f), "    -8");
    EXPECT_EQ(value("6s", 0.5f), "   0.5");
    EXPECT_EQ(value("3f2", 1234.5f), "1234.50");
    xAsciiFormat text;
    ASSERT_TRUE(xAsciiFormat::Parse("6S", text));
    EXPECT_EQ(text.Text("ab"), "    ab");
    EXPECT_EQ(text.Text("longer text"), "longer text");
}

TEST(xAsciiPatternTest, PatternFileRoundTripAndFaults) {
    xRecordingPlatform platform;
    xAsciiPattern pattern;
    std::istringstream in("# items\n\n0 14f6 FID\n  -2 10S Survey  A \r\n-1 14S\n");
    ASSERT_TRUE(pattern.Read(in, "P.AFF"));
    const std::vector<xAsciiPattern::Item> expected = {
        {0, "14f6", "FID"}, {-2, "10S", "Survey  A"}, {-1, "14S", ""}};
    EXPECT_EQ(pattern.Items(), expected);
    std::ostringstream out;
    pattern.Write(out);
    EXPECT_EQ(out.str(), "0 14f6 FID\n-2 10S Survey  A\n-1 14S\n");

    // A faulty file leaves the pattern as it was.
    std::istringstream noNumber("0 14f6 FID\nx 14f6 East\n");
    EXPECT_FALSE(pattern.Read(noNumber, "P.AFF"));
    std::istringstream badFormat("3 14.2f Z\n");
    EXPECT_FALSE(pattern.Read(badFormat, "P.AFF"));
    EXPECT_EQ(pattern.Items(), expected);
    EXPECT_EQ(platform.Texts("error"),
              (std::vector<std::string>{
                  "P.AFF, line 2: an item number, a format and a title are wanted, not \"x 14f6 "
                  "East\".",
                  "Wrong format definition <14.2f>"}));

    // Defaults by kind; formats and item numbers checked before any output.
    xAsciiPattern made;
    made.Add(-2, "Text");
    made.Add(4, "Altitude");
    EXPECT_EQ(made.Items()[0].format, "14S");
    EXPECT_EQ(made.Items()[1].format, "14f6");
    EXPECT_TRUE(made.Prepare(15));
    made.Add(15, "Past");
    EXPECT_FALSE(made.Prepare(15));
    xAsciiPattern wrong;
    wrong.Add(1, "East", "14x");
    EXPECT_FALSE(wrong.Prepare(15));
    EXPECT_TRUE(
        platform.Saw("error", "Item 15 of the ASCII pattern is not in a record of 15 items."));
    EXPECT_TRUE(platform.Saw("error", "Wrong format definition <14x>"));

    EXPECT_EQ(xAsciiPattern::DefaultPath("/data/P.BIN"), std::filesystem::path("/data/P_BIN.AFF"));
}

}  // namespace
