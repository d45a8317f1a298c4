// The figure kinds of tovarn plot run as a user runs them on the GEOTEM
// example: what they write and how they refuse what they cannot draw.

#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "TovarnProgram.h"

namespace fs = std::filesystem;

namespace {

const fs::path kGeotem = fs::path(TOVARN_SOURCE_DIR) / "examples" / "geotem-gsq823";

std::string Slurp(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

// The GEOTEM example imported and its basis built, once for the suite.
class PlotCommands : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        dir_ = fs::temp_directory_path() / ("tovarn-plot-" + std::to_string(getpid()));
        fs::create_directories(dir_);
        par_ = (dir_ / "S.PAR").string();
        std::string output;
        ASSERT_EQ(
            RunTovarn("new " + par_ + " --descriptor " + (kGeotem / "GEOTEM.DSC").string(), output),
            0)
            << output;
        ASSERT_EQ(
            RunTovarn("set " + par_ + " 701.Files=" + (kGeotem / "Geotem_GSQ823.dat").string() +
                          " 701.MaxDFid=3 702.NumberOfTaus=16",
                      output),
            0)
            << output;
        ASSERT_EQ(RunTovarn("run " + par_ + " --only 701,702", output), 0) << output;
    }
    static void TearDownTestSuite() { fs::remove_all(dir_); }

    static fs::path dir_;
    static std::string par_;
};

fs::path PlotCommands::dir_;
std::string PlotCommands::par_;

}  // namespace

TEST_F(PlotCommands, DecayAndFitPlotWriteTheSameFigure) {
    const fs::path plotted = dir_ / "plotted.png", fitted = dir_ / "fitted.png";
    std::string output;
    ASSERT_EQ(
        RunTovarn("plot decay " + par_ + " --line 10010 --record 250 --out " + plotted.string(),
                  output),
        0)
        << output;
    ASSERT_EQ(
        RunTovarn("fit " + par_ + " --line 10010 --record 250 --plot " + fitted.string(), output),
        0)
        << output;
    EXPECT_NE(output.find("misfit"), std::string::npos) << output;  // the text as well
    EXPECT_NE(output.find("Wrote " + fitted.string()), std::string::npos) << output;
    const std::string png = Slurp(plotted);
    EXPECT_GT(png.size(), 10000u);
    EXPECT_EQ(png, Slurp(fitted));
}

TEST_F(PlotCommands, WhatCannotBeDrawnIsSaidInWords) {
    std::string output;
    const std::string out = " --out " + (dir_ / "x.png").string();
    EXPECT_EQ(RunTovarn("plot decay " + par_ + " --line 10010 --record 999999" + out, output), 2);
    EXPECT_NE(output.find("Line 10010 has records 1 to "), std::string::npos) << output;
    EXPECT_EQ(RunTovarn("plot decay " + par_ + " --line 4 --record 1" + out, output), 2);
    EXPECT_NE(output.find("Line 4 is not in S.BIN; its lines are 10010, 22810."), std::string::npos)
        << output;
    EXPECT_EQ(
        RunTovarn("plot basis " + (dir_ / "S.AOT").string() + " --component XY" + out, output), 2);
    EXPECT_NE(output.find("The basis has no component TxRy; it has "), std::string::npos) << output;
    // A figure fit cannot write is refused before the fit is shown.
    EXPECT_EQ(RunTovarn("fit " + par_ + " --line 10010 --record 250 --plot fit.jpg", output), 2);
    EXPECT_EQ(output.find("misfit"), std::string::npos) << output;
    EXPECT_NE(
        output.find("--plot names the figure as FILE.png, FILE.svg or FILE.pdf, not \"fit.jpg\"."),
        std::string::npos)
        << output;
    EXPECT_EQ(RunTovarn("plot histogram " + (dir_ / "none.CND").string() + out, output), 1);
    EXPECT_NE(output.find("There is no CDI file"), std::string::npos) << output;
    EXPECT_FALSE(fs::exists(dir_ / "x.png"));
}
