#include "xMCond.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <tuple>
#include <vector>

#include "ByteBuilder.h"
#include "CdiTestSupport.h"
#include "TempFolder.h"
#include "xMLineBlock.h"
#include "xRecordingPlatform.h"

namespace fs = std::filesystem;
using cditest::ComponentFlags;
using cditest::DepthColumn;

namespace {

// TxRx and TzRz, three depths 0, 10, 20 m, two layers:
// R = 15 base items + (2 + 1) x 2 layer items + 3 sections x 3 depths.
constexpr long R = 15 + 6 + 9;

Bytes Floats(const std::vector<float>& values) {
    Bytes b;
    for (float v : values) b.F32(v);
    return b;
}

// The ten component entries 100..109 with bounds.
Bytes Components(const std::vector<long>& set, long value) {
    Bytes b;
    b.I32(100).I32(109);
    for (long id = 100; id <= 109; ++id) {
        bool on = false;
        for (long s : set) on = on || s == id;
        b.I32(on ? value : 0);
    }
    return b;
}

// The common header of a CDI file with the components given, no channels.
Bytes CommonHeader(long version, const std::vector<long>& components, long lines, long records,
                   const std::vector<float>& min, const std::vector<float>& max) {
    Bytes h;
    h.I32(version).I32(long(components.size())).I32(0).I32(7).I32(lines).I32(records);
    h.F32(0.5f).I32(0).Raw(Components({}, 0)).I16(0).PadTo(1048, '\0');
    h.I32(0).I32(long(min.size()) - 1).Raw(Floats(min));
    h.I32(0).I32(long(max.size()) - 1).Raw(Floats(max));
    return h.Raw(Components(components, 1));
}

// TxRx weight w101, TzRx 1, TzRz 1.
Bytes Weights(float w101) {
    Bytes b;
    b.I32(101).I32(109);
    for (long id = 101; id <= 109; ++id) b.F32(id == 101 ? w101 : id == 107 || id == 109 ? 1 : 0);
    return b;
}

Bytes LineBlock(long number, const std::vector<std::vector<float>>& rows,
                const std::vector<float>& min, const std::vector<float>& max) {
    const long cols = long(min.size());
    Bytes b;
    b.I32(0).I32(long(rows.size()) - 1).I32(0).I32(cols - 1).I32(number).PadTo(1044, '\0');
    b.I32(0).I32(cols - 1).Raw(Floats(min)).I32(0).I32(cols - 1).Raw(Floats(max));
    for (const auto& row : rows) b.Raw(Floats(row));
    return b;
}

class xMCondTest : public xTempFolderTest {
  protected:
    // A new file of the small layout, header written once.
    template <class File>
    void Create(File& file, const std::string& name) {
        file.SetPath(dir_ / name);
        file.SetOverwrite(true);
        ASSERT_EQ(file.Create(), 1);
        file.SetLayerCount(2);
        file.Init(DepthColumn({0, 10, 20}), ComponentFlags({101, 109}));
        file.SetFlight(7);
        file.SetNoiseLevel(0.5f);
    }
    template <class File>
    bool Open(File& file, const std::string& name) {
        file.SetPath(dir_ / name);
        return file.Open() == 1 && file.ReadHeader();
    }

    xRecordingPlatform platform_;
};

}  // namespace

TEST_F(xMCondTest, LayoutOfTheRecord) {
    xMCond cnd;
    cnd.SetLayerCount(2);
    cnd.Init(DepthColumn({0, 10, 20}), ComponentFlags({101, 109}));
    EXPECT_EQ(cnd.Type(), "CND");
    ASSERT_EQ(cnd.RowLength(), R);
    EXPECT_EQ(cnd.Min().Length(), R);
    EXPECT_EQ(cnd.SectionCount(), 3);
    // Where each part starts, counted by hand from the layout above; 0 for none.
    for (auto [id, start] : {std::pair{101L, 15L}, {109L, 17L}, {0L, 19L}, {105L, 0L}})
        EXPECT_EQ(cnd.LayerStart(id), start) << id;
    for (auto [section, start] : {std::pair{0L, 21L}, {1L, 24L}, {2L, 27L}, {3L, 0L}})
        EXPECT_EQ(cnd.SectionStart(section), start) << section;
    EXPECT_EQ(cnd.SectionSize(2), 3);
    EXPECT_EQ(cnd.SectionSize(-1), 0);
    for (auto [item, title] : {std::pair{13L, "Est.Penetration"},
                               {14L, "Permittivity"},
                               {18L, "TzRz_Layer2"},
                               {20L, "Layer2"},
                               {22L, "DC(-10)"},
                               {29L, "CC(-20)"}})
        EXPECT_EQ(cnd.ItemTitle(item), title) << item;
    // TxRx weighs nothing by default (the others' weights are in the header
    // bytes below); depths are stored negative.
    EXPECT_EQ(cnd.Weights()[101], 0.0f);
    EXPECT_EQ(cnd.Depths()[2], -20.0f);
    EXPECT_EQ(cnd.RelativeDepth(2), -20.0f);
}

TEST_F(xMCondTest, HeaderTailAndLineBlockBytes) {
    xMCond cnd;
    Create(cnd, "P.CND");
    FloatMatrix histogram(1, 2, 1, xMCond::HistogramBins);
    for (long c = 1; c <= xMCond::HistogramBins; ++c) {
        histogram[1][c] = float(c % 5);
        histogram[2][c] = 0.5f * float(c);
    }
    cnd.SetHistogram(histogram);
    cnd.SetSpectrumFlag(1);
    cnd.SetCdiType(xMCond::BackgroundCdi);
    cnd.SetWeight(101, 0.25f);
    ASSERT_TRUE(cnd.WriteHeader());
    std::vector<float> a(R), b(R);
    for (long i = 0; i < R; ++i) {
        a[i] = float(i + 1);
        b[i] = 2.0f * float(i + 1);
    }
    {
        xMLineWriter writer(cnd, 10010);
        writer.AddRow(a.data());
        writer.AddRow(b.data());
        ASSERT_TRUE(writer.Finish());
    }
    ASSERT_TRUE(cnd.WriteHeader());
    cnd.Commit();

    Bytes h = CommonHeader(13, {101, 109}, 1, 2, a, b);
    ASSERT_EQ(h.data.size(), std::size_t(1112 + 8 * R));
    // Multiplying the depth 0 by -1 stores a negative zero.
    h.I32(0).I32(2).F32(-0.0f).F32(-10).F32(-20).Raw(Weights(0.25f));
    h.I32(1).I32(2).I32(1).I32(40);
    for (long c = 1; c <= 40; ++c) h.F32(float(c % 5));
    for (long c = 1; c <= 40; ++c) h.F32(0.5f * float(c));
    h.I32(1).I32(1).I32(2);  // spectrum flag, background CDI, two layers
    const std::size_t header = 1112 + 8 * R + 20 + 44 + 16 + 320 + 12;
    ASSERT_EQ(h.data.size(), header);
    // The stated size counts two of the three trailing words.
    EXPECT_EQ(cnd.HeaderSize(), long(header) - 4);
    EXPECT_EQ(Slurp(dir_ / "P.CND"), h.data + LineBlock(10010, {a, b}, a, b).data);
    EXPECT_TRUE(platform_.messages.empty());
}

// Files of earlier levels: a tail without the words added since, a record
// without Permittivity below 12, two sections below 13.
class xMCondLevelTest : public xMCondTest, public ::testing::WithParamInterface<long> {};

TEST_P(xMCondLevelTest, OlderLevelReadsBack) {
    const long level = GetParam();
    const long base = level < 12 ? 14 : 15;
    const long layers = level > 10 ? 1 : 0;
    const long sections = level < 13 ? 2 : 3;
    const long r = base + 2 * layers + sections * 2;
    std::vector<float> record(r);
    for (long i = 0; i < r; ++i) record[i] = float(3 * i);

    Bytes file = CommonHeader(level, {109}, 1, 1, record, record);
    file.I32(0).I32(1).F32(150).F32(140).Raw(Weights(0));
    if (level > 7) file.I32(0).I32(1).I32(0).I32(0).F32(4).F32(0.5f);
    if (level > 9) file.I32(0).I32(1);
    if (level > 10) file.I32(layers);
    file.Raw(LineBlock(42, {record}, record, record));
    Put("O.CND", file.data);

    xMCond cnd;
    ASSERT_TRUE(Open(cnd, "O.CND"));
    EXPECT_EQ(cnd.Version(), level);
    EXPECT_EQ(cnd.BaseItems(), base);
    EXPECT_EQ(cnd.LayerCount(), layers);
    EXPECT_EQ(cnd.SectionCount(), sections);
    EXPECT_EQ(cnd.RowLength(), r);
    EXPECT_EQ(cnd.SectionStart(1), base + 2 * layers + 2);
    EXPECT_EQ(cnd.Histogram().Count(), level > 7 ? 2 : 0);
    EXPECT_EQ(cnd.CdiType(), level > 9 ? xMCond::BackgroundCdi : xMCond::FullCdi);
    EXPECT_EQ(cnd.Top(), 150.0f);
    EXPECT_EQ(cnd.RelativeDepth(1), -10.0f);
    EXPECT_EQ(cnd.ItemTitle(14) == "Permittivity", level >= 12);

    xMLineBlock line;
    ASSERT_TRUE(cnd.FindLine(42, line));
    FloatMatrix rows;
    ASSERT_TRUE(cnd.ReadRows(line, 0, 1, rows));
    EXPECT_EQ(rows[0][r - 1], float(3 * (r - 1)));
    EXPECT_TRUE(platform_.messages.empty());
}

INSTANTIATE_TEST_SUITE_P(Levels, xMCondLevelTest, ::testing::Values(7L, 9L, 10L, 11L, 12L));

TEST_F(xMCondTest, CrossFileRoundTripWithShiftedDepthsAndNullExtremes) {
    constexpr float N = xMCond::NullValue;
    {
        xMCondCross crs;
        Create(crs, "P.CRS");
        crs.SetConductivities(DepthColumn({1, 10, 100, 1000}));
        ASSERT_TRUE(crs.Add(109));
        ASSERT_TRUE(crs.Add(101));
        crs.SetCdiType(xMCond::FullCdi);
        ASSERT_TRUE(crs.WriteHeader());
        // Item 21 is NULL all along the first line, item 22 all along the second.
        for (std::int32_t number : {20, 30}) {
            xMLineWriter writer(crs, number);
            for (int k = 0; k < 2; ++k) {
                std::vector<float> record(R, float(number + k));
                record[3] = float(number * 10 + k);  // Z
                record[21] = number == 20 ? N : 5.0f + float(k);
                record[22] = number == 30 ? N : 7.0f;
                writer.AddRow(record.data());
            }
            ASSERT_TRUE(writer.Finish());
        }
        EXPECT_TRUE(crs.ShiftDepthsByZmax());
        ASSERT_TRUE(crs.WriteHeader());
        ASSERT_EQ(crs.Commit(), 1);
        EXPECT_EQ(crs.HeaderSize(),
                  long(fs::file_size(dir_ / "P.CRS")) - 4 - 2 * (1060 + 8 * R) - 4 * 4 * R);
    }
    xMCondCross back;
    ASSERT_TRUE(Open(back, "P.CRS"));
    EXPECT_EQ(back.Type(), "CRS");
    EXPECT_EQ(back.Lines(), 2);
    EXPECT_EQ(back.Records(), 4);
    EXPECT_EQ(back.RowLength(), R);
    EXPECT_EQ(back.LayerCount(), 2);
    EXPECT_EQ(back.Histogram().Rows(), 2);
    EXPECT_EQ(back.Histogram().Cols(), 40);
    EXPECT_EQ(back.Weights()[107], 1.0f);
    EXPECT_EQ(back.Count(), 2);
    EXPECT_EQ(back.Components()[1], 109);
    EXPECT_EQ(back.Names(), "TzRz, TxRx");
    ASSERT_EQ(back.Conductivities().Length(), 4);
    EXPECT_EQ(back.Conductivities()[3], 1000.0f);
    EXPECT_EQ(back.Packing().Bits(), 2);
    // The largest Z (301) is the top; the column descends from it.
    EXPECT_EQ(back.Depths()[0], 301.0f);
    EXPECT_EQ(back.Depths()[2], 281.0f);
    EXPECT_EQ(back.RelativeDepth(2), -20.0f);
    // A NULL line extreme neither wins nor stays.
    EXPECT_EQ(back.Min()[21], 5.0f);
    EXPECT_EQ(back.Max()[21], 6.0f);
    EXPECT_EQ(back.Min()[22], 7.0f);
    EXPECT_EQ(back.Max()[0], 31.0f);
    EXPECT_EQ(back.LineNumbers(), (std::vector<std::int32_t>{20, 30}));
    xMLineBlock line;
    ASSERT_TRUE(back.FindLine(30, line));
    FloatMatrix rows;
    ASSERT_TRUE(back.ReadRows(line, 1, 1, rows));
    EXPECT_EQ(rows[0][3], 301.0f);
    EXPECT_TRUE(platform_.messages.empty());
}

// Only the last step of the column counts: 99 m shifts it by the largest Z,
// 100 m leaves it as it is; the relative depth holds either way.
TEST_F(xMCondTest, DepthsShiftOnlyUnderACoarseLastStep) {
    xMLineBlock block;
    block.rows = 1;
    block.min.Resize(0, 8);
    block.max.Resize(0, 8);
    block.max[3] = 250.0f;
    for (auto [bottom, top] : {std::pair{149.0f, 250.0f}, {150.0f, 0.0f}}) {
        xMCond cnd;
        cnd.Init(DepthColumn({0, 50, bottom}), ComponentFlags({109}));
        cnd.AddLine(block);
        EXPECT_EQ(cnd.ShiftDepthsByZmax(), top != 0.0f) << bottom;
        EXPECT_EQ(cnd.Top(), top) << bottom;
        EXPECT_EQ(cnd.RelativeDepth(2), -bottom) << bottom;
    }
}

TEST_F(xMCondTest, BrokenHeadersAreRefusedWithTheClassText) {
    xMCondCross crs;
    Create(crs, "P.CRS");
    ASSERT_TRUE(crs.WriteHeader());
    crs.Commit();
    const std::string whole = Slurp(dir_ / "P.CRS");
    // Cut inside the selection: the CND tail is whole, the cross tail is not.
    const fs::path cross = Put("C.CRS", whole.substr(0, whole.size() - 4));
    xMCondCross back;
    EXPECT_FALSE(Open(back, "C.CRS"));
    ASSERT_EQ(platform_.messages.size(), 1u);
    EXPECT_EQ(platform_.messages[0].text,
              "xMCondCross::Error reading header from file < " + cross.string() +
                  " >\nC.CRS: byte 1780: expected the component selection of 8 bytes, found "
                  "only 4 bytes");

    // Cut inside the layer count.
    const fs::path cnd = Put("C.CND", whole.substr(0, whole.size() - 24 - 2));
    xMCond plain;
    EXPECT_FALSE(Open(plain, "C.CND"));
    ASSERT_EQ(platform_.messages.size(), 2u);
    EXPECT_EQ(platform_.messages[1].text,
              "xMCond::Error reading header from file < " + cnd.string() +
                  " >\nC.CND: byte 1760: expected a layer count, found only 2 bytes");
}

TEST_F(xMCondTest, SizesNoFileCouldHoldAreRefusedBeforeAnythingIsSized) {
    // Level 13, TzRz, depths 0 and 10 m, no layers: 15 + 3 x 2 items. The
    // sides are each far beyond the file; their product in bytes would not
    // even fit in 64 bits, and an empty histogram of 2^31 rows still makes them.
    constexpr long r = 21;
    const std::vector<float> record(r, 1.0f);
    const auto file = [&](long rowHigh, long colLow, long colHigh, long lineRows, long lineCols) {
        Bytes b = CommonHeader(13, {109}, 1, 1, record, record);
        b.I32(0).I32(1).F32(0).F32(-10).Raw(Weights(0));
        b.I32(0).I32(rowHigh).I32(colLow).I32(colHigh).F32(4).F32(0.5f);
        b.I32(0).I32(0).I32(0);
        Bytes line = LineBlock(42, {record}, record, record);
        Bytes head;
        head.I32(0).I32(lineRows - 1).I32(0).I32(lineCols - 1);
        line.data.replace(0, 16, head.data);
        return b.Raw(line).data;
    };
    const std::string readError = "xMCond::Error reading header from file < ";
    for (const auto& [name, rowHigh, colLow, colHigh] :
         {std::tuple{"A.CND", 0x7FFFFFFFL, 0L, 0x7FFFFFFFL},
          std::tuple{"B.CND", 0x7FFFFFFFL, 1L, 0L}}) {
        const fs::path path = Put(name, file(rowHigh, colLow, colHigh, 1, r));
        xMCond cnd;
        EXPECT_FALSE(Open(cnd, name));
        EXPECT_TRUE(platform_.messages.back().text.starts_with(
            readError + path.string() + " >\n" + name +
            ": byte 1340: expected bounds of the histogram that fit the 1332 bytes left"))
            << platform_.messages.back().text;
    }
    EXPECT_EQ(platform_.messages.size(), 2u);

    // The tail reads; a line block of 2^31 x 2^31 values does not.
    const fs::path path = Put("L.CND", file(0, 0, 1, 0x80000000L, 0x80000000L));
    xMCond cnd;
    ASSERT_TRUE(Open(cnd, "L.CND"));
    xMLineBlock line;
    EXPECT_FALSE(cnd.FindLine(42, line));
    ASSERT_EQ(platform_.messages.size(), 3u);
    EXPECT_EQ(platform_.messages[2].text,
              "xMFile::Error reading line from file < " + path.string() +
                  " >\nL.CND: byte 1380: expected a last row from -1 to 0, found \"2147483647\"");
}

TEST_F(xMCondTest, RewriteThatWouldMoveTheLinesIsRefused) {
    xMCond cnd;
    Create(cnd, "P.CND");
    ASSERT_TRUE(cnd.WriteHeader());
    {
        xMLineWriter writer(cnd, 1);
        writer.AddRow(std::vector<float>(R, 1.0f).data());
        ASSERT_TRUE(writer.Finish());
    }
    cnd.SetHistogram(FloatMatrix(2, 20));
    EXPECT_FALSE(cnd.WriteHeader());
    ASSERT_EQ(platform_.messages.size(), 1u);
    EXPECT_EQ(platform_.messages[0].text,
              "xMCond::Error writing header to file < " + (dir_ / "P.CND").string() + " >");
}

TEST_F(xMCondTest, HeaderDumpGivesDepthsTypeAndSelection) {
    xMCondCross crs;
    crs.Init(DepthColumn({0, 10, 25}), ComponentFlags({101, 105, 109}));
    crs.SetCdiType(xMCond::BackgroundCdi);
    crs.SetConductivities(DepthColumn({1, 10}));
    std::ostringstream out;
    crs.DumpHeader(out);
    const std::string bar = "/" + std::string(35, '_') + "\n";
    EXPECT_NE(out.str().find(bar + "/3 Depths (m)\n/         0       -10       -25\n" +
                             "/         Type   :     Background\n" +
                             "/   Components   : " + std::string(14, ' ') + "\n" +
                             "/2 Conductivities (mS/m)\n/         1        10\n/" +
                             std::string(45, '=') + "\n"),
              std::string::npos)
        << out.str();
    crs.SelectFromFile();
    EXPECT_EQ(crs.Names("+"), "TxRx+TyRy");
}

TEST(xMCondCrossTest, SelectionAddsRemovesAndClosesUp) {
    xMCondCross crs;
    EXPECT_EQ(crs.Count(), 0);
    EXPECT_TRUE(crs.Add(105));
    EXPECT_FALSE(crs.Add(105));
    EXPECT_FALSE(crs.Add(100));
    EXPECT_TRUE(crs.Add(102));
    EXPECT_FALSE(crs.Add(103));
    EXPECT_TRUE(crs.IsSelected(102));
    EXPECT_FALSE(crs.IsSelected(0));
    EXPECT_TRUE(crs.Remove(105));
    EXPECT_FALSE(crs.Remove(105));
    EXPECT_EQ(crs.Components()[1], 102);
    EXPECT_EQ(crs.Components()[2], 0);
    EXPECT_EQ(crs.Count(), 1);
    // A selection that is there is kept.
    crs.Init(DepthColumn({0}), ComponentFlags({101, 109}));
    crs.SelectFromFile();
    EXPECT_EQ(crs.Names(), "TxRy");
}

TEST(xCrossPackingTest, FieldWidthsAndSlots) {
    EXPECT_EQ(xCrossPacking().Bits(), 8);
    EXPECT_EQ(xCrossPacking().Mask(), 256);
    EXPECT_EQ(xCrossPacking(256).Bits(), 8);
    EXPECT_EQ(xCrossPacking(257).Bits(), 9);
    EXPECT_EQ(xCrossPacking(17).Bits(), 5);
    EXPECT_EQ(xCrossPacking(1).Bits(), 0);
    const xCrossPacking p(17);
    // One component: the packed value is the plain index.
    EXPECT_EQ(p.Pack(13, 0), 13);
    EXPECT_EQ(p.Pack(13, 0) + p.Pack(6, 1), 13 + 6 * 32);
    // The slot's masked bit is what the display has always been given.
    long value = p.Pack(13, 0) + p.Pack(6, 1);
    EXPECT_EQ(p.Unpack(value, 1), 0);
    EXPECT_EQ(value, 6 * 32);
    value = 48;
    EXPECT_EQ(p.Unpack(value, 0), 32);
    EXPECT_EQ(value, 16);
}
