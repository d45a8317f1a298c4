// FID windows and the two ASCII forms of a survey file.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "SurveyFiles.h"
#include "TempFolder.h"
#include "xMData.h"
#include "xRecordingPlatform.h"

namespace fs = std::filesystem;

namespace {

class xMFileAsciiTest : public xTempFolderTest {
  protected:
    // Line 10: two records, one channel blank; line 20: one record, all
    // channels blank. Answers the file opened.
    std::unique_ptr<xMData> Sample() {
        WriteSurvey(dir_ / "S.BIN", {{10,
                                      {{100, 1.5f, -2, 0.25f, 120, 0, 1e-05f, 2.5e+06f, -32767},
                                       {101, 3, -2, 0.5f, 130, 1.5f, 3e-05f, 0.125f, 7}}},
                                     {20, {{200, 10, 20, 1, 90, 0, -32767, -32767, -32767}}}});
        return OpenSurvey(dir_ / "S.BIN");
    }

    xRecordingPlatform platform_;
};

// Each text right-aligned in 14 characters, padded with "0" to a whole record.
std::string Record(std::vector<std::string> fields) {
    fields.resize(SmallRecord, "0");
    std::string row;
    for (const auto& f : fields) row += std::string(14 - f.size(), ' ') + f;
    return row + "\n";
}

const std::string kHeader =
    "/___________________________________\n"
    "/Version    \t: 13\n/Flight     \t: 0\n/No of Lines\t: 2\n"
    "/MinFid     \t: 100\n/MaxFid     \t: 200\n/MinX       \t: 1.5\n/MaxX       \t: 10\n"
    "/MinY       \t: -2\n/MaxY       \t: 20\n/MinZ       \t: 0.25\n/MaxZ       \t: 1\n"
    "/MinAltitude\t: 90\n/MaxAltitude\t: 130\n/Noise Level\t: 0\n"
    "/___________________________________\n";

const std::string kBar = "//===================================\n";

}  // namespace

TEST_F(xMFileAsciiTest, FidWindowsTakeTheBracketingRecordsAndClipAtTheEnds) {
    SurveyLine one{1, {}}, two{2, {}};
    for (int r = 0; r < 10; ++r) one.records.push_back({100.0f + float(r), float(r)});
    for (int r = 0; r < 5; ++r) two.records.push_back({200.0f + float(r), float(r)});
    WriteSurvey(dir_ / "S.BIN", {one, two});
    const auto file = OpenSurvey(dir_ / "S.BIN");

    // 102.5 lies between records 2 and 3, 105.5 between 5 and 6: the later of
    // each pair, so records 3 to 6.
    EXPECT_EQ(file->RecordsBetween(1, 102.5f, 105.5f), 4);
    EXPECT_EQ(file->RecordsBetween(1, 105.5f, 102.5f), 4);
    EXPECT_EQ(file->RecordsBetween(1, 102.2f, 102.7f), 1);
    EXPECT_EQ(file->RecordsBetween(9, 102.5f, 105.5f), 0);

    // Each window, by its FID ends or by a centre FID and a count, with the
    // records it reads by their number (item 1), first and last; a window
    // of fewer than two records reads nothing.
    struct Window {
        bool around;
        std::int32_t line;
        float a, b;
        long first, last;
    };
    const Window windows[] = {
        {false, 1, 105.5f, 102.5f, 3, 6},
        {false, 1, 102.2f, 102.7f, 3, 3},
        {false, 9, 102.5f, 105.5f, 0, -1},
        {false, 1, 50.0f, 101.5f, 0, 2},  // outside: record 0
        {false, 2, 201.5f, 203.5f, 2, 4},
        // Half the count to each side of the record found, cut at the line's ends.
        {true, 1, 104.5f, 4, 3, 7},
        {true, 1, 100.5f, 6, 0, 4},
        {true, 1, 108.5f, 6, 6, 9},
        {true, 1, 104.5f, 0, 0, -1},
        {true, 9, 104.5f, 4, 0, -1}};
    for (const Window& w : windows) {
        SCOPED_TRACE(testing::Message() << w.line << " " << w.a << " " << w.b);
        FloatMatrix rows;
        const bool read = w.around ? file->ReadAroundFid(w.line, w.a, long(w.b), rows)
                                   : file->ReadFidWindow(w.line, w.a, w.b, rows);
        ASSERT_EQ(read, w.last > w.first);
        if (!read) continue;
        ASSERT_EQ(rows.Rows(), w.last - w.first + 1);
        EXPECT_EQ(rows.Cols(), SmallRecord);
        EXPECT_EQ(rows[0][1], float(w.first));
        EXPECT_EQ(rows[rows.Rows() - 1][1], float(w.last));
        EXPECT_EQ(rows[0][0], float(100 * w.line + w.first));
    }
    EXPECT_TRUE(platform_.messages.empty());
}

TEST_F(xMFileAsciiTest, PlainFormWritesHeaderLineBlocksAndRecords) {
    const auto file = Sample();
    std::ostringstream out;
    ASSERT_TRUE(file->DumpAscii(out));
    const std::string line10 =
        kBar + "//Line     : 10\n" + kBar +
        "//No of Records : 2\n//MinFid : 100\n//MaxFid : 101\n//MinX   : 1.5\n//MaxX   : 3\n"
        "//MinY   : -2\n//MaxY   : -2\n//MinZ   : 0.25\n//MaxZ   : 0.5\n"
        "//MinAltitude   : 120\n//MaxAltitude   : 130\n" +
        kBar + Record({"100", "1.5", "-2", "0.25", "120", "0", "1e-05", "2.5e+06", "-32767"}) +
        Record({"101", "3", "-2", "0.5", "130", "1.5", "3e-05", "0.125", "7"});
    const std::string line20 =
        kBar + "//Line     : 20\n" + kBar +
        "//No of Records : 1\n//MinFid : 200\n//MaxFid : 200\n//MinX   : 10\n//MaxX   : 10\n"
        "//MinY   : 20\n//MaxY   : 20\n//MinZ   : 1\n//MaxZ   : 1\n"
        "//MinAltitude   : 90\n//MaxAltitude   : 90\n" +
        kBar + Record({"200", "10", "20", "1", "90", "0", "-32767", "-32767", "-32767"});
    EXPECT_EQ(out.str(), kHeader + line10 + line20);

    std::ostringstream only;
    ASSERT_TRUE(file->DumpAscii(only, {20}));
    EXPECT_EQ(only.str(), kHeader + line20);
    EXPECT_EQ(platform_.progress.front(), "open Dumping S.BIN file..");
    EXPECT_TRUE(platform_.messages.empty());
}

TEST_F(xMFileAsciiTest, PatternFormAveragesGroupsAndLeavesRoomForTheirTitles) {
    const auto file = Sample();
    std::istringstream text(
        "-2 4S L:\n0 6f1 FID\n-4 10f1 Mean\n6 12e3 TxRx1\n7 12e3 TxRx2\n8 3f1 TyRy1\n-3 14S\n"
        "-1 14S\n3 5i Z\n-1 14S\n");
    xAsciiPattern pattern;
    ASSERT_TRUE(pattern.Read(text, "S_BIN.AFF"));
    std::ostringstream out;
    ASSERT_TRUE(file->SaveAscii(out, pattern));
    const std::string room =
        std::string(12, ' ') + "\t" + std::string(12, ' ') + "\t" + std::string(5, ' ') + "\t\n";
    EXPECT_EQ(out.str(), kHeader +
                             "/  L:\t   FID\t      Mean\t       TxRx1\t       TxRx2\tTyRy1\t\n"
                             "/    Z\t\n"
                             "Line     10\n"
                             "  L:\t 100.0\t 1250000.0\t" +
                             room +
                             "    0\t\n"
                             "  L:\t 101.0\t       2.4\t" +
                             room +
                             "    1\t\n"
                             "Line     20\n"
                             "  L:\t 200.0\t  -32767.0\t" +
                             room + "    1\t\n");

    xAsciiPattern wrong;
    wrong.Add(0, "FID", "14x");
    std::ostringstream none;
    EXPECT_FALSE(file->SaveAscii(none, wrong));
    EXPECT_EQ(none.str(), "");
    EXPECT_EQ(platform_.Texts("error"), std::vector<std::string>{"Wrong format definition <14x>"});
}

TEST_F(xMFileAsciiTest, MissingPatternFileGetsTheDefaultPatternWhichThenReturns) {
    const auto file = Sample();
    const fs::path aff = xAsciiPattern::DefaultPath(dir_ / "S.BIN");
    std::ostringstream out;
    ASSERT_TRUE(file->SaveAscii(out, aff, {20}));
    std::ifstream saved(aff);
    std::stringstream content;
    content << saved.rdbuf();
    EXPECT_EQ(content.str(),
              "0 14f6 FID\n1 14f6 East\n2 14f6 North\n3 14f6 Z\n4 14f6 Altitude\n"
              "5 14f6 Distance\n6 14f6 TxRx1\n7 14f6 TxRx2\n8 14f6 TyRy1\n9 14f6 RxPitch\n"
              "10 14f6 RxRoll\n11 14f6 RxYaw\n12 14f6 TxPitch\n13 14f6 TxRoll\n14 14f6 TxYaw\n");
    EXPECT_EQ(platform_.Texts("note"),
              std::vector<std::string>{"No ASCII pattern in " + aff.string() +
                                       ": every record item is written, and that pattern is "
                                       "saved there."});
    const std::string body = out.str().substr(kHeader.size());
    EXPECT_EQ(body.substr(0, body.find("Line")),
              "/           FID\t          East\t         North\t             Z\t      Altitude\t"
              "      Distance\t         TxRx1\t         TxRx2\t         TyRy1\t       RxPitch\t"
              "        RxRoll\t         RxYaw\t       TxPitch\t        TxRoll\t         TxYaw\t\n");
    const std::string first = "Line     20\n    200.000000\t     10.000000\t";
    EXPECT_EQ(body.substr(body.find("Line"), first.size()), first);

    // An edited pattern is what the next report uses.
    std::ofstream(aff) << "3 5i Z\n";
    std::ostringstream again;
    ASSERT_TRUE(file->SaveAscii(again, aff));
    EXPECT_EQ(again.str(),
              kHeader + "/    Z\t\nLine     10\n    0\t\n    1\t\nLine     20\n    1\t\n");
    EXPECT_EQ(platform_.Texts("note").size(), 1u);
    EXPECT_TRUE(platform_.Texts("error").empty());
}
