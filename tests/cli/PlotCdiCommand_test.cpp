// tovarn plot cdi as a user runs it: what it writes, what it refuses, and
// that a refused or failed figure leaves what was there.

#include <gtest/gtest.h>

#include <cstdint>

#include "PlotFixtures.h"
#include "TempFolder.h"
#include "TovarnProgram.h"
#include "xMCond.h"

namespace {

// Width and height from a PNG's header chunk (big-endian, bytes 16..23).
std::pair<std::uint32_t, std::uint32_t> PngSize(const std::string& bytes) {
    auto word = [&bytes](std::size_t at) {
        std::uint32_t v = 0;
        for (std::size_t i = 0; i < 4; ++i) v = v << 8 | std::uint8_t(bytes.at(at + i));
        return v;
    };
    return {word(16), word(20)};
}

class PlotCdiCommandTest : public xTempFolderTest {
  protected:
    void SetUp() override {
        xTempFolderTest::SetUp();
        plottest::WriteCnd(dir_ / "P.CND", 7, 50,
                           [](long, float depth) { return depth < 40.0f ? 3.0f : 80.0f; });
    }
    int Plot(const std::string& arguments) {
        return RunTovarn("plot cdi " + (dir_ / "P.CND").string() + " " + arguments, output_);
    }
    std::string output_;
};

}  // namespace

TEST_F(PlotCdiCommandTest, WritesTheFigureAtTheSizeAsked) {
    ASSERT_EQ(Plot("--line 7 --size 900x500 --out " + (dir_ / "s.png").string()), 0) << output_;
    EXPECT_EQ(output_, "Wrote " + (dir_ / "s.png").string() + " (900 x 500)\n");
    const std::string png = Slurp(dir_ / "s.png");
    ASSERT_EQ(png.substr(1, 3), "PNG");
    EXPECT_EQ(PngSize(png), std::make_pair(900u, 500u));
    ASSERT_EQ(Plot("--line 7 --section layered --scale linear --range 0:100 --elevation --fid "
                   "--title \"Line 7\" --out " +
                   (dir_ / "s.pdf").string()),
              0)
        << output_;
    EXPECT_EQ(Slurp(dir_ / "s.pdf").rfind("%PDF-", 0), 0u);
}

TEST_F(PlotCdiCommandTest, BadOptionsAreUsageErrorsThatSayWhatIsWanted) {
    const std::string out = " --out " + (dir_ / "s.png").string();
    const std::pair<std::string, std::string> cases[] = {
        {"--line 7 --out s.jpg", "--out names the figure as FILE.png, FILE.svg or FILE.pdf"},
        {"--line 7 --size 50x50" + out, "--size wants WIDTHxHEIGHT in pixels from 100 to 20000"},
        {"--line 7 --scale cubic" + out, "--scale wants log or linear, not \"cubic\"."},
        {"--line 7 --range 0:100" + out,
         "--range wants LOW:HIGH in mS/m with LOW below HIGH and above 0 on a log scale"},
        {"--line 7 --range 9:3 --scale linear" + out, "--range wants LOW:HIGH in mS/m"},
        {"--line 7 --section both" + out, "--section wants discrete or layered, not \"both\"."},
    };
    for (const auto& [arguments, message] : cases) {
        EXPECT_EQ(Plot(arguments), 2) << arguments;
        EXPECT_NE(output_.find(message), std::string::npos) << arguments << "\n" << output_;
    }
    EXPECT_FALSE(std::filesystem::exists(dir_ / "s.png"));
}

TEST_F(PlotCdiCommandTest, WhatCannotBeDrawnIsSaidAndThePreviousFigureStays) {
    const std::string old = Put("s.png", "the figure before").string();
    EXPECT_EQ(Plot("--line 8 --out " + old), 1);
    EXPECT_NE(output_.find("error: Line 8 is not in P.CND; its lines are 7."), std::string::npos)
        << output_;
    plottest::WriteCnd(dir_ / "P.CND", 7, 5, [](long, float) { return xMCond::NullValue; });
    EXPECT_EQ(Plot("--line 7 --out " + old), 1);
    EXPECT_NE(output_.find("has no valid conductivity: every value is NULL."), std::string::npos);
    Put("P.CND", std::string(3000, 'x'));
    EXPECT_EQ(Plot("--line 7 --out " + old), 1);
    EXPECT_NE(output_.find("error: "), std::string::npos);
    EXPECT_EQ(
        RunTovarn("plot cdi " + (dir_ / "none.CND").string() + " --line 7 --out " + old, output_),
        1);
    EXPECT_NE(output_.find("There is no CDI file"), std::string::npos);
    EXPECT_EQ(Slurp(old), "the figure before");
}
