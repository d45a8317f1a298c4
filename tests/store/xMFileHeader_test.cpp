// Damaged survey files of every form: the reader's own message, then the byte
// where the header, a line block and the file's size stopped agreeing.

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "ByteBuilder.h"
#include "SurveyFiles.h"
#include "TempFolder.h"
#include "xMAmp.h"
#include "xMCond.h"
#include "xMData.h"
#include "xMLineBlock.h"
#include "xRecordingPlatform.h"

namespace fs = std::filesystem;

namespace {

const char* const kHeader = "xMFile::Error reading header from file < %s >";
const char* const kUnsupported =
    "xMFile::Unsupported format of data in %s. Update your data files to version 13.";
const char* const kLine = "xMFile::Error reading line from file < %s >";
const char* const kData = "xMData::Error reading header from file < %s >";
const char* const kAmp = "xMAmp::Error reading header from file < %s >";
const char* const kCond = "xMCond::Error reading header from file < %s >";
const char* const kCross = "xMCondCross::Error reading header from file < %s >";

// One damage: an int32 written at offset, or with cut the file cut to that
// length; then the system's text and the location that must follow it.
struct Damage {
    std::string file;
    long offset;
    std::int32_t value;
    const char* text;
    std::string where;
    bool cut = false;
};

std::string Expand(const char* format, const fs::path& path) {
    std::string text = format;
    text.replace(text.find("%s"), 2, path.string());
    return text;
}

std::unique_ptr<xMFile> FileFor(const fs::path& path) {
    const std::string ext = path.extension().string();
    std::unique_ptr<xMFile> file;
    if (ext == ".AMP")
        file = std::make_unique<xMAmp>();
    else if (ext == ".CND")
        file = std::make_unique<xMCond>();
    else if (ext == ".CRS")
        file = std::make_unique<xMCondCross>();
    else
        file = std::make_unique<xMData>();
    file->SetPath(path);
    return file;
}

class xMFileHeaderTest : public xTempFolderTest {
  protected:
    // The small layout (R = 15): line 10 of 3 records, line 20 of 2. Header
    // 1152 + 8 R = 1272 bytes; blocks of 1060 + 8 R + 4 n R bytes at 1272 and
    // 2632; 3932 bytes in all.
    std::string GoodSurvey(const std::string& name) {
        WriteSurvey(dir_ / name, {{10, {{1}, {2}, {3}}}, {20, {{4}, {5}}}});
        return Slurp(dir_ / name);
    }

    // The amplitudes of the survey on 3 taus: 7 channels a component and
    // R = 7 + 2 x 2 + 2 x 7 + 6 = 31; the taus at 1152 + 8 R = 1400, the
    // matrices at 1420 and 1440, the basis type at 1460; one line of a record.
    std::string GoodAmplitudes() {
        GoodSurvey("S.BIN");
        const auto bin = OpenSurvey(dir_ / "S.BIN");
        xMAmp amp;
        WriteResult<xMAmp>(
            amp, dir_ / "G.AMP",
            [&bin](xMAmp& a) {
                a.InitFromData(*bin, Values({1e-4f, 1e-3f, 1e-2f}), 0);
            },
            [](long) { return 1.0f; });
        return Slurp(dir_ / "G.AMP");
    }

    // TzRz, depths 0 and 10 m, no layers, level 13: R = 15 + 3 x 2 = 21. The
    // depths at 1112 + 8 R = 1280, the weights at 1296, the histogram at 1340,
    // the spectrum flag, CDI type and layer count at 1676, 1680, 1684; a CRS
    // adds the conductivities at 1688 and the selection at 1708.
    template <class File>
    std::string GoodCdi(File& file, const std::string& name) {
        WriteResult<File>(file, dir_ / name, [](File& f) { f.Init(Values({0, 10}), OnlyTzRz()); });
        return Slurp(dir_ / name);
    }

    // Every message of reading the damaged file: its header, then every line.
    std::vector<std::string> Read(const Damage& damage, std::string bytes) {
        if (damage.cut) {
            bytes.resize(std::size_t(damage.offset));
        } else {
            Bytes value;
            value.I32(damage.value);
            bytes.replace(std::size_t(damage.offset), 4, value.data);
        }
        auto file = FileFor(Put(damage.file, bytes));
        platform_.messages.clear();
        EXPECT_EQ(file->Open(), 1);
        if (file->ReadHeader()) {
            xMLineBlock line;
            while (file->NextLine(line)) {
            }
        }
        return platform_.Texts("error");
    }

    void Check(const std::vector<Damage>& damages, const std::string& good) {
        for (const Damage& d : damages) {
            const std::string expected = Expand(d.text, dir_ / d.file) + "\n" + d.where;
            EXPECT_EQ(Read(d, good), std::vector<std::string>{expected}) << d.where;
        }
    }

    xRecordingPlatform platform_;
};

TEST_F(xMFileHeaderTest, GoodFilesReadWithoutAWord) {
    const std::string survey = GoodSurvey("S.BIN");
    ASSERT_EQ(survey.size(), 3932u);
    ASSERT_EQ(GoodAmplitudes().size(), 1400u + 64 + 1060 + 8 * 31 + 4 * 31);
    xMCond cnd;
    xMCondCross crs;
    crs.SetConductivities(Values({1, 10, 100}));
    crs.Add(109);
    ASSERT_EQ(GoodCdi(cnd, "G.CND").size(), 1688u);
    ASSERT_EQ(GoodCdi(crs, "G.CRS").size(), 1688u + 20 + 16);
    for (const char* name : {"S.BIN", "G.AMP", "G.CND", "G.CRS"}) {
        auto file = FileFor(dir_ / name);
        ASSERT_EQ(file->Open(), 1);
        EXPECT_TRUE(file->ReadHeader()) << name;
        xMLineBlock line;
        long lines = 0;
        while (file->NextLine(line)) ++lines;
        EXPECT_EQ(lines, file->Lines()) << name;
    }
    EXPECT_TRUE(platform_.messages.empty());
}

TEST_F(xMFileHeaderTest, BrokenSurveyFilesSayWhere) {
    const std::string good = GoodSurvey("S.BIN");
    // The largest record a file of 3932 bytes could hold: (3932 - 1112) / 8.
    Check(
        {
            {"V.BIN", 0, 200, kUnsupported,
             "V.BIN: byte 0: expected a version from 6 to 14, found \"200\""},
            {"C.BIN", 4, 200, kHeader,
             "C.BIN: byte 4: expected a component count from 1 to 9, found \"200\""},
            // One byte changed at 30 makes a user item count of 65536.
            {"U.BIN", 28, 65536, kHeader,
             "U.BIN: byte 28: expected a user item count from 0 to 352, found \"65536\""},
            {"H.BIN", 44, 100000, kHeader,
             "H.BIN: byte 44: expected a channel count from 0 to 352, found \"100000\""},
            // A count the file could hold, but not the record of its extremes.
            {"R.BIN", 44, 3, kHeader,
             "R.BIN: byte 1048: expected bounds 0..15 of the minimum array (a record of 16 "
             "items by the counts), found \"0..14\""},
            {"F.BIN", 1196, 0, kHeader,
             "F.BIN: byte 1192: expected 2 flagged components (the count at byte 4), found "
             "\"1\""},
            // TxRx's two channels must start behind the six base items and end in the record.
            {"O.BIN", 1236, 14, kData,
             "O.BIN: byte 1236: expected a channel offset from 6 to 13, found \"14\""},
            // Each block takes at least 1060 + 8 R bytes: two fit behind the header.
            {"L.BIN", 16, 1000, kHeader,
             "L.BIN: byte 16: expected a line count from 0 to 2, found \"1000\""},
            // 2660 bytes behind the header, less two block headers: 5 records.
            {"N.BIN", 20, 6, kHeader,
             "N.BIN: byte 20: expected a record count from 0 to 5, found \"6\""},
            // Behind the first block's header 2660 - 1180 bytes: 24 rows of 60.
            {"B.BIN", 1276, 1000, kLine,
             "B.BIN: byte 1276: expected a last row from -1 to 23, found \"1000\""},
            {"K.BIN", 2632 + 12, 13, kLine,
             "K.BIN: byte 2644: expected the last column 14, found \"13\""},
            {"M.BIN", 1272 + 1044, 1, kLine,
             "M.BIN: byte 2316: expected bounds 0..14 of the line's minimum array, found "
             "\"1..14\""},
            {"T.BIN", 1000, 0, kHeader,
             "T.BIN: byte 0: expected a header of at least 1112 bytes, found only 1000 bytes",
             true},
            {"E.BIN", 3900, 0, kHeader,
             "E.BIN: byte 20: expected a record count from 0 to 4, found \"5\"", true},
            {"S.NDF", 1124 - 4, 13, kHeader,
             "S.NDF: byte 1116: expected bounds 0..14 of the maximum array, found \"0..13\""},
        },
        good);
}

TEST_F(xMFileHeaderTest, BrokenAmplitudeFilesSayWhere) {
    Check(
        {
            // (2896 - 1112) / 8 items at most; a user item count of 100000 once
            // led the CDI past the end of its record.
            {"U.AMP", 28, 100000, kHeader,
             "U.AMP: byte 28: expected a user item count from 0 to 223, found \"100000\""},
            {"T.AMP", 1404, 3, kAmp,
             "T.AMP: byte 1400: expected 3 taus (the 7 channels of TxRx), found \"4\""},
            {"M.AMP", 1440 + 4, 1 << 20, kAmp,
             "M.AMP: byte 1440: expected bounds of a reserved matrix that fit the 1440 bytes "
             "left, found \"0..1048576 x 0..0\""},
            {"W.AMP", 1400 + 64 + 12, 29, kLine,
             "W.AMP: byte 1476: expected the last column 30, found \"29\""},
        },
        GoodAmplitudes());
}

TEST_F(xMFileHeaderTest, BrokenCdiFilesSayWhere) {
    xMCond cnd;
    Check(
        {
            {"W.CND", 1296, 100, kCond,
             "W.CND: byte 1296: expected bounds 101..109 of the component weights, found "
             "\"100..109\""},
            // Five layers make a record of 15 + 5 + 5 + 6 items.
            {"L.CND", 1684, 5, kCond,
             "L.CND: byte 1048: expected bounds 0..30 of the minimum array (a record of 31 "
             "items by the counts), found \"0..20\""},
        },
        GoodCdi(cnd, "G.CND"));
    xMCondCross crs;
    crs.SetConductivities(Values({1, 10, 100}));
    crs.Add(109);
    Check({{"S.CRS", 1712, 3, kCross,
            "S.CRS: byte 1708: expected bounds 1..2 of the component selection, found "
            "\"1..3\""}},
          GoodCdi(crs, "G.CRS"));
}

}  // namespace
