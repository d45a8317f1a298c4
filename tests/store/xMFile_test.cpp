#include "xMData.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

#include "ByteBuilder.h"
#include "SurveyFiles.h"
#include "TempFolder.h"
#include "xRecordingPlatform.h"

namespace fs = std::filesystem;

namespace {

class xMFileTest : public xTempFolderTest {
  protected:
    xMData* Create(const std::string& name) {
        auto* file = new xMData;
        file->SetPath(dir_ / name);
        file->SetOverwrite(true);
        EXPECT_EQ(file->Create(), 1);
        SmallLayout(*file);
        return file;
    }
    // Whether the bytes, put in the folder under name, read as a header.
    bool ReadsHeader(const std::string& name, const std::string& bytes) {
        xMData file;
        file.SetPath(Put(name, bytes));
        EXPECT_EQ(file.Open(), 1);
        return file.ReadHeader();
    }

    xRecordingPlatform platform_;
};

constexpr long R = SmallRecord;

Bytes Floats(const std::vector<float>& values) {
    Bytes b;
    for (float v : values) b.F32(v);
    return b;
}

}  // namespace

TEST_F(xMFileTest, VersionThirteenHeaderAndLineBlockBytes) {
    std::unique_ptr<xMData> file(Create("A.BIN"));
    ASSERT_EQ(file->RowLength(), R);
    file->SetFlight(7);
    file->SetNoiseLevel(0.5f);
    ASSERT_TRUE(file->WriteHeader());

    std::vector<float> a(R), b(R), lo(R), hi(R);
    for (long i = 0; i < R; ++i) {
        a[i] = float(i + 1);
        b[i] = 2.0f * float(i + 1);
    }
    b[3] = BlankValue;  // passed over by the statistics
    for (long i = 0; i < R; ++i) {
        lo[i] = a[i];
        hi[i] = i == 3 ? a[i] : b[i];
    }
    {
        xMLineWriter writer(*file, 1020, &BlankValue);
        writer.AddRow(a.data());
        writer.AddRow(b.data());
        ASSERT_TRUE(writer.Finish());
    }
    ASSERT_TRUE(file->WriteHeader());
    file->Commit();

    Bytes h;
    h.I32(13).I32(2).I32(0).I32(7).I32(1).I32(2).F32(0.5f).I32(0);
    h.I32(100).I32(109).I32(0).I32(2).I32(0).I32(0).I32(0).I32(1).I32(0).I32(0).I32(0).I32(0);
    h.I16(0).PadTo(1048, '\0');
    h.I32(0).I32(R - 1).Raw(Floats(lo));
    ASSERT_EQ(h.data.size(), std::size_t(1056 + 4 * R));
    h.I32(0).I32(R - 1).Raw(Floats(hi));
    ASSERT_EQ(h.data.size(), std::size_t(1064 + 8 * R));
    h.I32(100).I32(109).I32(0).I32(1).I32(0).I32(0).I32(0).I32(1).I32(0).I32(0).I32(0).I32(0);
    ASSERT_EQ(h.data.size(), std::size_t(1112 + 8 * R));
    h.I32(0).I32(6).I32(0).I32(0).I32(0).I32(8).I32(0).I32(0).I32(0).I32(0);
    ASSERT_EQ(h.data.size(), std::size_t(1152 + 8 * R));

    Bytes line;
    line.I32(0).I32(1).I32(0).I32(R - 1).I32(1020).PadTo(1044, '\0');
    line.I32(0).I32(R - 1).Raw(Floats(lo)).I32(0).I32(R - 1).Raw(Floats(hi));
    line.Raw(Floats(a)).Raw(Floats(b));
    ASSERT_EQ(line.data.size(), std::size_t(1060 + 8 * R + 4 * 2 * R));

    EXPECT_EQ(Slurp(dir_ / "A.BIN"), h.data + line.data);
    EXPECT_TRUE(platform_.messages.empty());
}

TEST_F(xMFileTest, SeveralLinesRoundTripAndTotals) {
    std::unique_ptr<xMData> file(Create("B.BIN"));
    ASSERT_TRUE(file->WriteHeader());
    const long sizes[] = {3, 1, 5};
    for (int l = 0; l < 3; ++l) {
        FloatMatrix rows(sizes[l], R);
        for (long r = 0; r < sizes[l]; ++r)
            for (long c = 0; c < R; ++c) rows[r][c] = float(100 * l + 10 * r + c);
        xMLineWriter writer(*file, 10 + l);
        writer.AddRows(rows);
        ASSERT_TRUE(writer.Finish());
    }
    ASSERT_TRUE(file->WriteHeader());
    file->Commit();

    const auto back = OpenSurvey(dir_ / "B.BIN");
    EXPECT_EQ(back->Lines(), 3);
    EXPECT_EQ(back->Records(), 9);
    EXPECT_EQ(back->RowLength(), R);
    EXPECT_EQ(back->OrientationItems(), 6);
    EXPECT_EQ(back->Min()[0], 0.0f);
    EXPECT_EQ(back->Max()[0], 240.0f);  // line 2, row 4, item 0
    EXPECT_EQ(back->Max()[14], 254.0f);
    float lo = 0, hi = 0;
    ASSERT_TRUE(back->ComponentRange(105, lo, hi));  // channel at index 8
    EXPECT_EQ(lo, 8.0f);
    EXPECT_EQ(hi, 248.0f);
    EXPECT_FALSE(back->ComponentRange(102, lo, hi));
    EXPECT_EQ(back->CompactOffsets().Length(), 2);
    EXPECT_EQ(back->CompactOffsets()[1], 8);

    back->ResetLines();
    xMLineBlock line;
    int seen = 0;
    while (back->NextLine(line)) {
        EXPECT_EQ(line.number, 10 + seen);
        EXPECT_EQ(line.rows, sizes[seen]);
        EXPECT_EQ(line.dataPosition - line.position, 1060 + 8 * R);
        FloatMatrix rows;
        ASSERT_TRUE(back->ReadRows(line, 0, line.rows, rows));
        EXPECT_EQ(rows[line.rows - 1][R - 1], float(100 * seen + 10 * (line.rows - 1) + R - 1));
        ++seen;
    }
    EXPECT_EQ(seen, 3);
    ASSERT_TRUE(back->FindLine(12, line));
    FloatMatrix window;
    ASSERT_TRUE(back->ReadRows(line, 2, 2, window));
    EXPECT_EQ(window[0][0], 220.0f);
    EXPECT_EQ(window[1][1], 231.0f);
    EXPECT_FALSE(back->FindLine(99, line));
    EXPECT_TRUE(platform_.messages.empty());

    std::ostringstream dump;
    back->DumpHeader(dump);
    EXPECT_NE(dump.str().find("/No of Lines\t: 3\n"), std::string::npos);
    EXPECT_EQ(dump.str().rfind("/" + std::string(35, '_') + "\n", 0), 0u);
}

TEST_F(xMFileTest, VersionSixUsesLegacyChannelCountAndNoOrientation) {
    // One component (TzRz) of 3 channels, no user items: R = 6 + 3 = 9.
    Bytes v6;
    v6.I32(6).I32(1).I32(3).I32(2).I32(0).I32(0).F32(1.0f).I32(0).PadTo(1048, '\0');
    v6.I32(0).I32(8).Raw(Floats(std::vector<float>(9, -1.0f)));
    v6.I32(0).I32(8).Raw(Floats(std::vector<float>(9, 1.0f)));
    v6.I32(100).I32(109).I32(0).I32(0).I32(0).I32(0).I32(0).I32(0).I32(0).I32(0).I32(0).I32(1);
    v6.I32(0).I32(0).I32(0).I32(0).I32(0).I32(0).I32(0).I32(0).I32(0).I32(6);
    const auto file = OpenSurvey(Put("OLD.BIN", v6.data));
    EXPECT_EQ(file->Channels()[109], 3);
    EXPECT_EQ(file->Channels()[101], 0);
    EXPECT_EQ(file->OrientationItems(), 0);
    EXPECT_EQ(file->RowLength(), 9);
    EXPECT_EQ(file->ChannelOffset(109), 6);
    xMLineBlock line;
    EXPECT_FALSE(file->NextLine(line));  // no lines: the walk ends at once
    EXPECT_TRUE(platform_.messages.empty());

    v6.data[0] = 5;
    EXPECT_FALSE(ReadsHeader("V5.BIN", v6.data));
    EXPECT_TRUE(platform_.Saw("error", "xMFile::Unsupported format of data in " +
                                           (dir_ / "V5.BIN").string() +
                                           ". Update your data files to version 13.\n"
                                           "V5.BIN: byte 0: expected a version from 6 to 14, "
                                           "found \"5\""));
}

TEST_F(xMFileTest, TruncatedAndGarbageFilesEndInAMessage) {
    WriteSurvey(dir_ / "C.BIN", {{1, {{1}, {1}, {1}, {1}}}});
    const std::string whole = Slurp(dir_ / "C.BIN");
    const std::size_t header = 1152 + 8 * R;

    for (std::size_t cut :
         {std::size_t(2), std::size_t(30), std::size_t(600), std::size_t(1050), header - 50}) {
        platform_.messages.clear();
        EXPECT_FALSE(ReadsHeader("T.BIN", whole.substr(0, cut))) << cut;
        ASSERT_EQ(platform_.messages.size(), 1u) << cut;
        EXPECT_NE(platform_.messages[0].text.find("Error reading header from file < " +
                                                  (dir_ / "T.BIN").string() + " >"),
                  std::string::npos)
            << cut;
    }
    // Behind the channel offsets only the line is cut: the header's records no
    // longer fit, so the walk does not begin.
    platform_.messages.clear();
    xMData t;
    t.SetPath(Put("L.BIN", whole.substr(0, whole.size() - 10)));
    ASSERT_EQ(t.Open(), 1);
    xMLineBlock line;
    EXPECT_FALSE(t.NextLine(line));
    EXPECT_EQ(platform_.Texts("error"),
              std::vector<std::string>{"xMFile::Error reading header from file < " +
                                       (dir_ / "L.BIN").string() +
                                       " >\nL.BIN: byte 20: expected a record count from 0 to "
                                       "3, found \"4\""});

    // An absurd minimum array length is refused before anything is allocated.
    std::string huge = whole;
    huge[1052] = huge[1053] = huge[1054] = char(0xFF);
    huge[1055] = 0x7F;
    platform_.messages.clear();
    EXPECT_FALSE(ReadsHeader("G.BIN", huge));
    EXPECT_TRUE(platform_.Saw(
        "error", "xMFile::Error reading header from file < " + (dir_ / "G.BIN").string() +
                     " >\nG.BIN: byte 1048: expected bounds of the "
                     "minimum array that fit the " +
                     std::to_string(whole.size() - 1056) + " bytes left, found \"0..2147483647\""));
}
