#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "../store/SurveyFiles.h"
#include "Commands.h"
#include "TempFolder.h"
#include "TovarnProgram.h"
#include "xAofTau.h"
#include "xMAmp.h"
#include "xMCond.h"
#include "xMLineBlock.h"
#include "xRecordingPlatform.h"

namespace fs = std::filesystem;

namespace {

class DumpCommandTest : public xTempFolderTest {
  protected:
    void SetUp() override {
        xTempFolderTest::SetUp();
        bin_ = dir_ / "S.BIN";
        WriteSurvey(bin_, {{10, {{100, 1}, {101, 2}}}, {20, {{200, 3}}}});
    }

    static std::size_t Count(const std::string& text, const std::string& what) {
        std::size_t n = 0;
        for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
        return n;
    }

    fs::path bin_;
    xRecordingPlatform platform_;
};

// The program's standard output; standard error is dropped.
int Tovarn(const std::string& arguments, std::string& out) {
    return RunTovarn(arguments, out, false);
}

// A CDI file of TzRz on depths 0 and step: one line, 10, of one record that
// holds value in every item.
void WriteTinyCnd(const fs::path& path, float step, float value) {
    xMCond cnd;
    WriteResult<xMCond>(
        cnd, path,
        [step](xMCond& f) {
            f.Init(Values({0, step}), OnlyTzRz());
        },
        [value](long) { return value; });
}

}  // namespace

TEST_F(DumpCommandTest, LinesSelectAndOutGoesToTheFileOnly) {
    std::ostringstream all, one, none;
    ASSERT_EQ(cli::Dump(bin_, "", "", "", all), cli::kSuccess);
    EXPECT_EQ(Count(all.str(), "//Line     : "), 2u);

    ASSERT_EQ(cli::Dump(bin_, " 20 ", "", "", one), cli::kSuccess);
    EXPECT_EQ(Count(one.str(), "//Line     : "), 1u);
    EXPECT_NE(one.str().find("//Line     : 20\n"), std::string::npos);
    EXPECT_NE(one.str().find(std::string(11, ' ') + "200" + std::string(13, ' ') + "3"),
              std::string::npos);

    ASSERT_EQ(cli::Dump(bin_, "20", "", dir_ / "S.txt", none), cli::kSuccess);
    EXPECT_EQ(none.str(), "");
    EXPECT_EQ(Slurp(dir_ / "S.txt"), one.str());
    EXPECT_TRUE(platform_.messages.empty());

    std::string out;
    EXPECT_EQ(Tovarn("dump " + bin_.string() + " --out " + (dir_ / "S.txt").string(), out), 0);
    EXPECT_EQ(out, "");
    EXPECT_EQ(Slurp(dir_ / "S.txt").rfind("/___", 0), 0u);
    EXPECT_EQ(Tovarn("dump " + bin_.string() + " --lines 20", out), 0);
    EXPECT_EQ(out, one.str());
    EXPECT_EQ(Tovarn("dump " + bin_.string() + " --lines ten", out), cli::kUsage);
}

TEST_F(DumpCommandTest, BadLinesMissingFilesAndUnwritableOutput) {
    std::ostringstream out;
    EXPECT_EQ(cli::Dump(bin_, "10,x", "", "", out), cli::kUsage);
    EXPECT_EQ(cli::Dump(bin_, "10,30", "", "", out), cli::kUsage);
    EXPECT_EQ(cli::Dump(bin_, "", "", dir_ / "no" / "such" / "dir.txt", out), cli::kFailed);
    EXPECT_EQ(platform_.Texts("error"),
              (std::vector<std::string>{
                  "--lines wants line numbers separated by commas, e.g. 10010,22810, not "
                  "\"10,x\".",
                  "Line 30 is not in " + bin_.string() + "; its lines are 10, 20.",
                  "Cannot open ASCII file"}));
    EXPECT_EQ(out.str(), "");
    EXPECT_EQ(cli::Dump(dir_ / "none.BIN", "", "", "", out), cli::kFailed);
}

TEST_F(DumpCommandTest, MissingPatternIsWrittenWithTheDefaultAndUsed) {
    const fs::path aff = dir_ / "S_BIN.AFF";
    std::ostringstream out;
    ASSERT_EQ(cli::Dump(bin_, "10", aff, "", out), cli::kSuccess);
    EXPECT_TRUE(fs::exists(aff));
    EXPECT_NE(out.str().find("Line     10\n    100.000000\t      1.000000\t"), std::string::npos);

    std::ofstream(aff) << "0 5q FID\n";
    EXPECT_EQ(cli::Dump(bin_, "", aff, "", out), cli::kFailed);
    EXPECT_TRUE(platform_.Saw("error", "Wrong format definition <5q>"));
}

TEST_F(DumpCommandTest, BasisFileIsWrittenAsATable) {
    xAofTau aot(dir_ / "b.aot");
    aot.SetDescriptorName("SYS.DSC");
    aot.SetDescriptorDate("2026-01-02 03:04:05");
    aot.SetApproximation(ApproximationThinSheet);
    FloatArray taus(1, 2);
    taus[1] = 1e-5f;
    taus[2] = 0.001f;
    aot.SetTaus(taus);
    FloatMatrix windows(0, 0, 1, 2), amplitudes(1, 2, 1, 2);
    windows[0][1] = 900;
    windows[0][2] = 7200;
    amplitudes[1][1] = 1;
    amplitudes[1][2] = 0.5f;
    amplitudes[2][1] = -2.5f;
    amplitudes[2][2] = 3;
    FloatArray primary(1, 2);
    primary[1] = -1;
    primary[2] = 0.25f;
    aot.SetWindows(103, windows);
    aot.SetAmplitudes(103, amplitudes);
    aot.SetPrimary(103, primary);
    ASSERT_EQ(aot.Write(), 1);

    std::ostringstream out;
    ASSERT_EQ(cli::Dump(dir_ / "b.aot", "", "", "", out), cli::kSuccess);
    EXPECT_EQ(out.str(),
              "Descriptor      : SYS.DSC\n"
              "Descriptor date : 2026-01-02 03:04:05\n"
              "Approximation   : ThinSheet\n"
              "Taus [sec]      : 2\n"
              "     Tau       Seconds\n"
              "       1         1e-05\n"
              "       2         0.001\n"
              "\n"
              "Component TxRz\n"
              "Sampling windows\n"
              "  Window     Frequency\n"
              "       1           900\n"
              "       2          7200\n"
              "Basis amplitudes (one row per tau, one column per window)\n"
              "     Tau      Window 1      Window 2\n"
              "       1             1           0.5\n"
              "       2          -2.5             3\n"
              "Primary field coefficients\n"
              "  Window   Coefficient\n"
              "       1            -1\n"
              "       2          0.25\n");
    EXPECT_TRUE(platform_.messages.empty());

    // Line selection and patterns are for survey files: said, then passed over.
    std::ostringstream again;
    ASSERT_EQ(cli::Dump(dir_ / "b.aot", "10", dir_ / "b.AFF", dir_ / "b.txt", again),
              cli::kSuccess);
    EXPECT_EQ(again.str(), "");
    EXPECT_EQ(Slurp(dir_ / "b.txt"), out.str());
    EXPECT_FALSE(fs::exists(dir_ / "b.AFF"));
    EXPECT_EQ(platform_.Texts("warning"),
              (std::vector<std::string>{
                  "--lines and --pattern apply to survey files only; an AOT file is written "
                  "whole."}));

    std::ofstream(dir_ / "bad.AOT") << "Version-3\nSYS.DSC\nd\nExponent\nTaus [sec]\n1 2\n";
    EXPECT_EQ(cli::Dump(dir_ / "bad.AOT", "", "", "", out), cli::kFailed);
    EXPECT_TRUE(
        platform_.Saw("error", "Cannot read " + (dir_ / "bad.AOT").string() + " as an AOT file."));
}

TEST_F(DumpCommandTest, AmplitudeFileShowsItsTausAndNamesItsColumns) {
    // The small layout on one tau; the record layout and titles are the
    // file's own (checked with it), here only that the command uses them.
    xMData bin;
    SmallLayout(bin);
    xMAmp amp;
    WriteResult<xMAmp>(
        amp, dir_ / "P.AMP", [&bin](xMAmp& a) { a.InitFromData(bin, Values({0.001f}), 2); },
        [](long i) { return float(i); });
    std::ostringstream plain;
    ASSERT_EQ(cli::Dump(dir_ / "P.AMP", "", "", "", plain), cli::kSuccess);
    const std::string bar = "/" + std::string(35, '_') + "\n";
    EXPECT_NE(plain.str().find("/Noise Level\t: 0\n" + bar + "HalfSpace\n Taus (sec)\n" +
                               std::string(15, ' ') + "0.001\n" + std::string(46, '=') + "\n"),
              std::string::npos);
    EXPECT_EQ(Count(plain.str(), "//Line     : "), 1u);

    const fs::path aff = dir_ / "P_AMP.AFF";
    std::ostringstream patterned;
    ASSERT_EQ(cli::Dump(dir_ / "P.AMP", "", aff, "", patterned), cli::kSuccess);
    EXPECT_NE(patterned.str().find("         Error\t A_TxRx(t=  1)\t A_TxRx(t=  2)\t"),
              std::string::npos);
    EXPECT_NE(patterned.str().find(" A_TyRy(t=  3)\t\nLine     10\n"), std::string::npos);

    // Any case of the extension; the program writes what the command does.
    fs::copy_file(dir_ / "P.AMP", dir_ / "p.amp");
    std::string text;
    EXPECT_EQ(Tovarn("dump " + (dir_ / "p.amp").string(), text), 0);
    EXPECT_EQ(text.substr(text.find(bar, 1)), plain.str().substr(plain.str().find(bar, 1)));
}

TEST_F(DumpCommandTest, CdiFileShowsItsDepthsAndType) {
    WriteTinyCnd(dir_ / "P.CND", 20.0f, 3.0f);
    std::ostringstream plain;
    ASSERT_EQ(cli::Dump(dir_ / "P.CND", "", "", "", plain), cli::kSuccess);
    EXPECT_NE(
        plain.str().find("/2 Depths (m)\n/         0       -20\n/         Type   :       Full "
                         "CDI\n/" +
                         std::string(45, '=') + "\n//==="),
        std::string::npos)
        << plain.str();
    // 15 items and two sections of two depths.
    EXPECT_EQ(Count(plain.str(), "             3"), 21u);
}

TEST_F(DumpCommandTest, CdiExportWritesTheFormatAsked) {
    const fs::path cnd = dir_ / "P.CND";
    WriteTinyCnd(cnd, 10.0f, 2.0f);
    std::ostringstream out;
    cli::CdiExportArgs args;
    args.cnd = cnd;
    args.format = "gdf2";
    args.units = "mS/m, ohm-m";
    ASSERT_EQ(cli::CdiExport(args, out), cli::kSuccess);
    const std::string stem = (dir_ / "P").string();
    EXPECT_EQ(out.str(), "Written: " + stem + ".dat and " + stem + ".dfn\n");
    EXPECT_NE(Slurp(dir_ / "P.dfn").find(";Res_omm:2E15.6:UNITS=ohm-m,"), std::string::npos);
    args.format = "simple-xyz";
    args.air = "surface";
    ASSERT_EQ(cli::CdiExport(args, out), cli::kSuccess);
    EXPECT_TRUE(fs::exists(dir_ / "P.xyz"));
    EXPECT_TRUE(platform_.messages.empty());

    const auto refused = [&](void (*spoil)(cli::CdiExportArgs&)) {
        cli::CdiExportArgs bad = args;
        spoil(bad);
        return cli::CdiExport(bad, out);
    };
    EXPECT_EQ(refused([](cli::CdiExportArgs& a) { a.format = "xyz"; }), cli::kUsage);
    EXPECT_EQ(refused([](cli::CdiExportArgs& a) { a.units = "mS/m,ohm"; }), cli::kUsage);
    EXPECT_EQ(refused([](cli::CdiExportArgs& a) { a.air = "ground"; }), cli::kUsage);
    EXPECT_EQ(refused([](cli::CdiExportArgs& a) { a.cnd = "none.CND"; }), cli::kFailed);
    EXPECT_EQ(
        platform_.Texts("error"),
        (std::vector<std::string>{
            "--format wants one of user, geosoft-line, simple-xyz, depth-grid, db-line, "
            "geosoft-survey, db-survey, gdf2, not \"xyz\".",
            "--units wants mS/m, S/m or ohm-m separated by commas, not \"mS/m,ohm\".",
            "--air wants allow or surface, not \"ground\".", "There is no CDI file none.CND."}));

    std::string text;
    EXPECT_EQ(Tovarn("cdi export " + cnd.string() + " --format db-survey --out " +
                         (dir_ / "D.DOC").string(),
                     text),
              0);
    EXPECT_TRUE(fs::exists(dir_ / "D.DOC"));
}
