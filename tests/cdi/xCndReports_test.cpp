#include "xCndReports.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "CdiTestSupport.h"
#include "TempFolder.h"
#include "xGdfDefinition.h"
#include "xMLineBlock.h"
#include "xRecordingPlatform.h"

namespace fs = std::filesystem;

namespace {

constexpr float N = xMCond::NullValue;

// Two lines of two records, TzRz alone, no layers, depths 0, 10, 20 m: items
// 0..14, then discrete 15..17, layered 18..20, conductance 21..23. Record b has
// a negative fitted depth and only NULL discrete values; record d a fitted depth
// above the grid's 50 m and a zero conductivity.
const std::vector<std::vector<float>> kLine10 = {
    {100, 1000, 2000, 50, 170, 0,  0.5f, 0.001f, 0.002f, 3, 4, 5, 0.01f, -30, 1,  //
     10,  20,   N,    15, 15,  15, 0.1f, 0.3f,   0.5f},
    {101, 1010, 2000, 52, 172, 10, 0.25f, 0.001f, 0.002f, 3, 4, -2, 0.01f, -30, 1,  //
     N,   N,    N,    5,  0,   25, 0.1f,  0.3f,   0.5f}};
const std::vector<std::vector<float>> kLine20 = {
    {200, 1000, 2200, 48, 168, 0, 0.5f, 0.001f, 0.002f, 3, 4, 0, 0.01f, -30, 1,  //
     1,   2,    4,    1,  2,   4, 0.1f, 0.3f,   0.5f},
    {201, 1010, 2200, 46, 166, 10, 0.5f, 0.001f, 0.002f, 3, 4, 60, 0.01f, -30, 1,  //
     8,   0,    2,    8,  0,   2,  0.1f, 0.3f,   0.5f}};

// Expected files, worked out column by column outside the code under test;
// every fixed layout opens with the same header.
const std::string kHeader =
    "/      Version   :             13\n"
    "/         Type   :       Full CDI\n"
    "/       Flight   :              7\n"
    "/  Noise Level   :          0.500\n"
    "/  No of Lines   :              2\n"
    "/     FidRange   :        201.000 -        100.000\n"
    "/    Alt_Range   :        172.000 -        166.000\n"
    "/       XRange   :       1010.000 -       1000.000\n"
    "/       YRange   :       2200.000 -       2000.000\n"
    "/       ZRange   :         52.000 -         46.000\n"
    "/   NULL value   :     -32767.000\n"
    "/==============================================\n";
const std::string kSimpleXyz =
    kHeader +
    "/     Line        Fid          X          Y          Z   Distance        Depth  Descrete Cond "
    "  Layered Cond\n"
    "        10     100.00    1000.00    2000.00      50.00       0.00        55.00        10.0000 "
    "       15.0000\n"
    "        10     100.00    1000.00    2000.00      50.00       0.00        45.00        20.0000 "
    "       15.0000\n"
    "        10     100.00    1000.00    2000.00      50.00       0.00        35.00    -32767.0000 "
    "       15.0000\n"
    "        10     101.00    1010.00    2000.00      52.00      10.00        52.00    -32767.0000 "
    "        5.0000\n"
    "        10     101.00    1010.00    2000.00      52.00      10.00        42.00    -32767.0000 "
    "        0.0000\n"
    "        10     101.00    1010.00    2000.00      52.00      10.00        32.00    -32767.0000 "
    "       25.0000\n"
    "        20     200.00    1000.00    2200.00      48.00       0.00        48.00         1.0000 "
    "        1.0000\n"
    "        20     200.00    1000.00    2200.00      48.00       0.00        38.00         2.0000 "
    "        2.0000\n"
    "        20     200.00    1000.00    2200.00      48.00       0.00        28.00         4.0000 "
    "        4.0000\n"
    "        20     201.00    1010.00    2200.00      46.00      10.00       106.00         8.0000 "
    "        8.0000\n"
    "        20     201.00    1010.00    2200.00      46.00      10.00        96.00         0.0000 "
    "        0.0000\n"
    "        20     201.00    1010.00    2200.00      46.00      10.00        86.00         2.0000 "
    "        2.0000\n";
const std::string kGeosoftLine20 =
    kHeader +
    "/      Fid          X          Y          Z   Distance        Depth  Discrete_Cond   "
    "Layered_Cond\n"
    "Line     20\n"
    "    200.00    1000.00    2200.00      48.00       0.00        48.00         1.0000         "
    "1.0000\n"
    "    200.00    1000.00    2200.00      48.00       0.00        38.00         2.0000         "
    "2.0000\n"
    "    200.00    1000.00    2200.00      48.00       0.00        28.00         4.0000         "
    "4.0000\n"
    "    201.00    1010.00    2200.00      46.00      10.00        46.00         8.0000         "
    "8.0000\n"
    "    201.00    1010.00    2200.00      46.00      10.00        36.00         0.0000         "
    "0.0000\n"
    "    201.00    1010.00    2200.00      46.00      10.00        26.00         2.0000         "
    "2.0000\n";
const std::string kDatabase =
    kHeader +
    "/        X          Y          Z        Fid       Line   Altitude   Distance          DC(0)   "
    "     DC(-10)        DC(-20)      LC(    0)      LC(  -10)      LC(  -20)         d(0)       "
    "d(-10)       d(-20)\n"
    "/========= ========= ========= ========= ========= ========= ========= ========= ========= "
    "========= ========= ========= ========= ========= ========= ========= \n"
    "/Line     10\n"
    "   1000.00    2000.00      50.00     100.00         10     170.00       0.00        10.0000   "
    "     20.0000    -32767.0000        15.0000        15.0000        15.0000         0.00       "
    "-10.00       -20.00\n"
    "   1010.00    2000.00      52.00     101.00         10     172.00      10.00    -32767.0000   "
    " -32767.0000    -32767.0000         5.0000         0.0000        25.0000         0.00       "
    "-10.00       -20.00\n"
    "/Line     20\n"
    "   1000.00    2200.00      48.00     200.00         20     168.00       0.00         1.0000   "
    "      2.0000         4.0000         1.0000         2.0000         4.0000         0.00       "
    "-10.00       -20.00\n"
    "   1010.00    2200.00      46.00     201.00         20     166.00      10.00         8.0000   "
    "      0.0000         2.0000         8.0000         0.0000         2.0000         0.00       "
    "-10.00       -20.00\n";
const std::string kDepthGrid =
    kHeader +
    "/                                                               52.00          52.00          "
    "42.00          42.00          32.00          32.00\n"
    "/      Fid          X          Y          Z   Distance       Discrete        Layered       "
    "Discrete        Layered       Discrete        Layered\n"
    "/========= ========== ========== ========== ========== ============== ============== "
    "============== ============== ============== ============== \n"
    "Line     10\n"
    "    100.00    1000.00    2000.00      50.00       0.00    -32767.0000    -32767.0000        "
    "18.0000        15.0000         4.0000        15.0000\n"
    "    101.00    1010.00    2000.00      52.00      10.00    -32767.0000         5.0000    "
    "-32767.0000         0.0000    -32767.0000        25.0000\n"
    "Line     20\n"
    "    200.00    1000.00    2200.00      48.00       0.00    -32767.0000    -32767.0000         "
    "1.6000         1.6000         3.2000         3.2000\n"
    "    201.00    1010.00    2200.00      46.00      10.00    -32767.0000    -32767.0000    "
    "-32767.0000    -32767.0000    -32767.0000    -32767.0000\n";
const std::string kUser =
    "/    FID Line#|  DC(   0m)-DC(  20m)        Z\n"
    "/Line     10\n"
    "   100.0    10|                15.00     55.0\n"
    "   101.0    10|            -32767.00     52.0\n"
    "/Line     20\n"
    "   200.0    20|                 2.33     48.0\n"
    "   201.0    20|                 3.33    106.0\n";

class xCndReportsTest : public xTempFolderTest {
  protected:
    void SetUp() override {
        xTempFolderTest::SetUp();
        {
            xMCond file;
            file.SetPath(dir_ / "P.CND");
            file.SetOverwrite(true);
            ASSERT_EQ(file.Create(), 1);
            file.Init(cditest::DepthColumn({0, 10, 20}), cditest::ComponentFlags({109}));
            file.SetFlight(7);
            file.SetNoiseLevel(0.5f);
            ASSERT_TRUE(file.WriteHeader());
            for (const auto& [number, rows] : {std::pair{10, kLine10}, std::pair{20, kLine20}}) {
                xMLineWriter writer(file, number);
                for (const auto& row : rows) writer.AddRow(row.data());
                ASSERT_TRUE(writer.Finish());
            }
            // Depths become 52, 42, 32: the outputs must work relative to the top.
            ASSERT_TRUE(file.ShiftDepthsByZmax());
            ASSERT_TRUE(file.WriteHeader());
            ASSERT_EQ(file.Commit(), 1);
        }
        cnd_.SetPath(dir_ / "P.CND");
        ASSERT_EQ(cnd_.Open(), 1);
        ASSERT_TRUE(cnd_.ReadHeader());
    }

    xRecordingPlatform platform_;
    xMCond cnd_;
};

}  // namespace

TEST_F(xCndReportsTest, SimpleXyzAndGeosoftLayouts) {
    // Forced to the surface: record a is lifted by its 5 m, record b (-2) is not.
    ASSERT_TRUE(cnd_.DumpSimpleXYZ(dir_ / "P.xyz", true));
    EXPECT_EQ(Slurp(dir_ / "P.xyz"), kSimpleXyz);

    ASSERT_TRUE(cnd_.DumpGeosoft(dir_ / "G.DOC", false, 1, "TXT"));
    EXPECT_TRUE(fs::exists(dir_ / "G-10.TXT"));
    EXPECT_EQ(Slurp(dir_ / "G-20.TXT"), kGeosoftLine20);
    EXPECT_FALSE(fs::exists(dir_ / "G.DOC"));

    // One file for the survey: one header, both lines.
    ASSERT_TRUE(cnd_.DumpGeosoft(dir_ / "S.DOC", false, 2));
    const std::string survey = Slurp(dir_ / "S.DOC");
    EXPECT_EQ(survey.rfind(kGeosoftLine20.substr(0, kGeosoftLine20.find("Line ")), 0), 0u);
    EXPECT_NE(survey.find("Line     10\n"), std::string::npos);
    EXPECT_EQ(survey.substr(survey.size() - 200),
              kGeosoftLine20.substr(kGeosoftLine20.size() - 200));
    EXPECT_NE(std::find(platform_.progress.begin(), platform_.progress.end(),
                        "open Dumping CDI in Simple XYZ format..."),
              platform_.progress.end());
    EXPECT_TRUE(platform_.messages.empty());
}

TEST_F(xCndReportsTest, DatabaseAndDepthGridLayouts) {
    ASSERT_TRUE(cnd_.DumpGeosoftDB(dir_ / "D.DOC", false, 2));
    EXPECT_EQ(Slurp(dir_ / "D.DOC"), kDatabase);
    ASSERT_TRUE(cnd_.DumpDepthGrid(dir_ / "grid.xyz", false));
    EXPECT_EQ(Slurp(dir_ / "grid.xyz"), kDepthGrid);

    // Forced: the top rises by the largest fitted depth, at most 50 m, from the
    // elevation given.
    ASSERT_TRUE(cnd_.DumpDepthGrid(dir_ / "forced.xyz", true, 40.0f));
    const std::string forced = Slurp(dir_ / "forced.xyz");
    EXPECT_NE(forced.find("         90.00          90.00          80.00"), std::string::npos);
    EXPECT_NE(forced.find("         30.00          30.00\n"), std::string::npos);
    EXPECT_EQ(forced.find("         20.00          20.00"), std::string::npos);
    EXPECT_TRUE(platform_.messages.empty());
}

TEST_F(xCndReportsTest, DepthGridOutOfScaleIsRefusedBeforeAnythingIsWritten) {
    // Steps of 10 m down to 26 m (the lowest Z less the 20 m span): a top of
    // 1000 km asks for 10^5 elevations, an infinite one never reaches the bottom.
    EXPECT_FALSE(cnd_.DumpDepthGrid(dir_ / "far.xyz", false, 1.0e6f));
    EXPECT_FALSE(
        cnd_.DumpDepthGrid(dir_ / "inf.xyz", false, std::numeric_limits<float>::infinity()));
    EXPECT_FALSE(fs::exists(dir_ / "far.xyz"));
    EXPECT_FALSE(fs::exists(dir_ / "inf.xyz"));
    const auto errors = platform_.Texts("error");
    ASSERT_EQ(errors.size(), 2u);
    EXPECT_EQ(errors[0], "The constant depths grid of <" + (dir_ / "far.xyz").string() +
                             "> from 1000000.00 m down to 26.00 m in steps of 10.00 m would have "
                             "more than 10000 elevations: the Z range and depths of the CDI file "
                             "do not make a section.");
    EXPECT_NE(errors[1].find("> from inf m down"), std::string::npos);
    // Within the limit it is written: 1000 m to 26 m is 98 elevations.
    ASSERT_TRUE(cnd_.DumpDepthGrid(dir_ / "high.xyz", false, 1000.0f));
    const std::string high = Slurp(dir_ / "high.xyz");
    const std::string heads =
        high.substr(kHeader.size(), high.find('\n', kHeader.size()) - kHeader.size());
    EXPECT_EQ(heads.size(), 1u + 53u + 98u * 30u);
}

TEST_F(xCndReportsTest, UserPatternAveragesGroupsUnderBothLabels) {
    // Record b's group holds only NULLs; Z is lifted by positive fitted depths.
    ASSERT_TRUE(cnd_.DumpUser(1, dir_ / "U.txt", true,
                              "FID:8f1 Line#:6f0 \"|\":3S { DC(0m) DC(10m) DC(20m) }:10f2 Z:9F1",
                              platform_));
    EXPECT_EQ(Slurp(dir_ / "U.txt"), kUser);

    // Nothing asked for: the whole list, and with no section shown the question.
    platform_.answers = {1};
    ASSERT_TRUE(cnd_.DumpUser(0, dir_ / "all.txt", false, "", platform_));
    ASSERT_EQ(platform_.Texts("question").size(), 1u);
    EXPECT_EQ(platform_.Texts("question")[0],
              "CDI ASCII output may contain Descrete or/and Layered approximations of CDI "
              "sections if you chose those to display. None has been selected. Which CDI "
              "approximation you'd like to add to ASCII output?");
    const std::string all = Slurp(dir_ / "all.txt");
    const std::string heads = all.substr(0, all.find('\n'));
    EXPECT_EQ(heads.substr(0, 28), "/            X             Y");
    EXPECT_NE(heads.find("  Permittivity     LC(   0m)     LC(  10m)     LC(  20m)"),
              std::string::npos);
    EXPECT_EQ(heads.find("DC("), std::string::npos);
    EXPECT_EQ(platform_.Texts("error").size(), 0u);
}

TEST_F(xCndReportsTest, PatternFaultsAreReportedAndNothingIsWritten) {
    const auto source = CdiSourceItems(cnd_, 1);
    std::vector<xItem> items;
    for (const char* bad : {"X:14x2", "LC(10m)", "X } EOL", "{ X { Y }", "\"open text"})
        EXPECT_FALSE(ParseCdiPattern(bad, source, items)) << bad;
    const auto errors = platform_.Texts("error");
    ASSERT_EQ(errors.size(), 5u);
    EXPECT_EQ(errors[0],
              "Format <14x2> is wrong.\nDefine it as: total length, type (e,E- scientific, f,F- "
              "fixed), length for precision. Example: <10F3> for a value 123.98765 gives "
              "xxx123.988");
    EXPECT_EQ(errors[1].rfind("There is no item <LC(10m)> to write from this CDI file.", 0), 0u);
    EXPECT_NE(errors[1].find(" DC(20m)."), std::string::npos);
    EXPECT_FALSE(cnd_.DumpUser(1, dir_ / "bad.txt", false, "Y:7i", platform_));
    EXPECT_FALSE(fs::exists(dir_ / "bad.txt"));

    // An open group is closed and the row ended; EOL inside a group is passed over.
    ASSERT_TRUE(ParseCdiPattern("\"a b\":5s { X EOL Y", source, items));
    ASSERT_EQ(items.size(), 7u);
    EXPECT_EQ(items[0], (xItem{"a b", xItem::Text, "5s"}));
    EXPECT_EQ(items[5], (xItem{"}", xItem::GroupEnd, "14f6"}));
    EXPECT_EQ(items[6].index, xItem::EndOfLine);
}

TEST_F(xCndReportsTest, Gdf2DefinitionDescribesEveryDataRecord) {
    ASSERT_TRUE(cnd_.SaveGdf2(dir_ / "P", 1 | 2 | 4));
    xGdfDefinition dfn;
    ASSERT_TRUE(dfn.ReadDfn(dir_ / "P.dfn"));
    const auto& fields = dfn.Fields();
    ASSERT_EQ(fields.size(), 24u);
    for (std::size_t i = 0; i < fields.size(); ++i) {
        EXPECT_EQ(fields[i].defn, long(i + 1)) << fields[i].name;
        EXPECT_TRUE(fields[i].null.has_value()) << fields[i].name;
    }
    EXPECT_EQ(fields[0].name, "X");
    EXPECT_EQ(fields[0].units, "m");
    EXPECT_EQ(fields[15].name, "Permittivity");
    EXPECT_EQ(fields[16].name, "Depth");
    EXPECT_EQ(fields[16].Items(), 3);
    EXPECT_EQ(dfn.Find("Cond_Sm")->units, "S/m");
    EXPECT_EQ(dfn.Find("LayRes_omm")->units, "ohm-m");
    EXPECT_EQ(*dfn.Find("Res_omm")->null, -1e32);
    EXPECT_EQ(fields.back().name, "Conductance");
    EXPECT_EQ(fields.back().units, "mS");  // the column is kept in mS, as the file holds it

    std::istringstream dat(Slurp(dir_ / "P.dat"));
    std::vector<std::string> records;
    for (std::string line; std::getline(dat, line);) records.push_back(line);
    ASSERT_EQ(records.size(), 4u);
    for (const auto& record : records) EXPECT_EQ(long(record.size()), dfn.RecordWidth());
    // Record d: 8, 0, 2 mS/m.
    const auto value = [&](const std::string& name, long item) {
        const xGdfField& f = *dfn.Find(name);
        return std::stod(records[3].substr(std::size_t(f.column - 1 + item * f.format.width),
                                           std::size_t(f.format.width)));
    };
    EXPECT_EQ(value("Line", 0), 20);
    EXPECT_EQ(value("X", 0), 1010);
    EXPECT_EQ(value("Depth", 2), -20);
    EXPECT_EQ(value("Cond_mSm", 0), 8);
    EXPECT_DOUBLE_EQ(value("Cond_Sm", 0), 0.008);
    EXPECT_EQ(value("Res_omm", 0), 125);
    EXPECT_EQ(value("Res_omm", 1), -1e32);  // 0 mS/m
    EXPECT_EQ(value("LayRes_omm", 2), 500);
    EXPECT_DOUBLE_EQ(value("Conductance", 1), 0.3);
    // Record b's NULL conductivities.
    const xGdfField& cond = *dfn.Find("Cond_mSm");
    EXPECT_EQ(std::stod(records[1].substr(std::size_t(cond.column - 1), 15)), -1e32);

    ASSERT_TRUE(cnd_.SaveGdf2(dir_ / "Q", 2));
    EXPECT_EQ(Slurp(dir_ / "Q.dfn").find("Cond_mSm"), std::string::npos);
    EXPECT_FALSE(cnd_.SaveGdf2(dir_ / "R", 0));
    EXPECT_EQ(platform_.Texts("error"),
              (std::vector<std::string>{
                  "The database output wants one or more of the units mS/m, S/m and ohm-m."}));
}

TEST_F(xCndReportsTest, ConductanceTableHeadsAndRows) {
    xConductanceTable table;
    ASSERT_TRUE(table.Open(dir_ / "C.txt", cnd_));
    table.WriteLineHeader(10);
    table.WriteRow(kLine10[0].data(), {0.1f, 0.3f, 0.5f});
    ASSERT_TRUE(table.IsOpen());
    ASSERT_TRUE(table.Commit());
    const std::string text = Slurp(dir_ / "C.txt");
    EXPECT_EQ(text.rfind("/Conductance Table\n/___", 0), 0u);
    EXPECT_NE(text.find("\n/           FID             X             Y             Z      Altitude"
                        "      Distance         Error            RL            IL          0.00"
                        "        -10.00        -20.00\n/==="),
              std::string::npos);
    EXPECT_NE(text.find("==\n/Line     10\n        100.00       1000.00       2000.00         50.00"
                        "        170.00          0.00       0.50000    1.0000e-03    2.0000e-03"
                        "    1.0000e-01    3.0000e-01    5.0000e-01\n"),
              std::string::npos);

    xConductanceTable none;
    EXPECT_FALSE(none.Open(dir_ / "no" / "C.txt", cnd_));
    EXPECT_EQ(platform_.Texts("error"),
              (std::vector<std::string>{"Cannot open a file to store ASCII conductance table."}));
}

TEST_F(xCndReportsTest, DispatchByCode) {
    xCdiOutputOptions options;
    options.out = DefaultCdiOutputPath(dir_ / "P.CND", 12);
    EXPECT_EQ(options.out, dir_ / "P.xyz");
    ASSERT_TRUE(SaveCdiOutput(cnd_, 12, options, platform_));
    EXPECT_TRUE(fs::exists(dir_ / "P.xyz"));

    options.out = DefaultCdiOutputPath(dir_ / "P.CND", 15);
    ASSERT_TRUE(SaveCdiOutput(cnd_, 15, options, platform_));
    EXPECT_TRUE(fs::exists(dir_ / "P_db-20.DOC"));
    EXPECT_TRUE(DefaultCdiOutputPath(dir_ / "P.CND", 14).empty());
    options.out = dir_ / "none";
    EXPECT_TRUE(SaveCdiOutput(cnd_, 14, options, platform_));
    EXPECT_FALSE(fs::exists(dir_ / "none"));

    EXPECT_FALSE(SaveCdiOutput(cnd_, 19, options, platform_));
    options.out = dir_ / "missing" / "P.xyz";
    EXPECT_FALSE(SaveCdiOutput(cnd_, 12, options, platform_));
    EXPECT_EQ(
        platform_.Texts("error"),
        (std::vector<std::string>{"There is no CDI output of code 19; the codes are 10 to 18.",
                                  "Cannot open ASCII file <" + options.out.string() + ">"}));
}
