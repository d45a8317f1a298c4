#include "xMAmp.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

#include "../store/SurveyFiles.h"
#include "ByteBuilder.h"
#include "TempFolder.h"
#include "xRecordingPlatform.h"

namespace fs = std::filesystem;

namespace {

// The BIN file's small layout (TxRx 2 channels, TyRy 1) on three taus:
// 7 base items, 2 per component, 7 channels each, 6 orientation items.
constexpr long N = 3;
constexpr long R = 7 + 2 * 2 + 2 * (2 * N + 1) + 6;

class xMAmpTest : public xTempFolderTest {
  protected:
    void SetUp() override {
        xTempFolderTest::SetUp();
        taus_.Resize(1, N);
        taus_[1] = 1e-5f;
        taus_[2] = 1e-4f;
        taus_[3] = 0.002f;
    }

    // A BIN header in memory, never written.
    static void SmallBin(xMData& bin, long userItems = 0) {
        LongArray channels(100, 109), flags(100, 109);
        channels[101] = 2;
        channels[105] = 1;
        flags[101] = 1;
        flags[105] = 1;
        bin.InitFromDescriptor(channels, flags, userItems);
        bin.SetFlight(7);
        bin.SetNoiseLevel(0.5f);
    }
    std::unique_ptr<xMAmp> Create(const std::string& name) {
        xMData bin;
        SmallBin(bin);
        auto amp = std::make_unique<xMAmp>();
        amp->SetPath(dir_ / name);
        amp->SetOverwrite(true);
        EXPECT_EQ(amp->Create(), 1);
        amp->InitFromData(bin, taus_, 1);
        return amp;
    }

    xRecordingPlatform platform_;
    FloatArray taus_;
};

Bytes Floats(const std::vector<float>& values) {
    Bytes b;
    for (float v : values) b.F32(v);
    return b;
}

// Counts of the ten component entries 100..109 with bounds.
Bytes Components(long at101, long at105) {
    Bytes b;
    b.I32(100).I32(109);
    for (long id = 100; id <= 109; ++id) b.I32(id == 101 ? at101 : id == 105 ? at105 : 0);
    return b;
}

}  // namespace

TEST_F(xMAmpTest, HeaderTailLineAndRecordLayoutBytes) {
    auto amp = Create("P.AMP");
    EXPECT_EQ(amp->Type(), "AMP");
    EXPECT_EQ(amp->BaseItems(), 7);
    EXPECT_EQ(amp->ItemsPerComponent(), 2);
    ASSERT_EQ(amp->RowLength(), R);
    // TxRx: primary items 7, 8, amplitudes 9..11, background 12..14, reserved 15;
    // TyRy: primary items 16, 17, amplitudes from 18, background from 21.
    EXPECT_EQ((std::vector<long>{amp->PrimaryLevelItem(101), amp->ChannelOffset(101),
                                 amp->PrimaryCoefficientItem(105), amp->ChannelOffset(105),
                                 amp->BackgroundOffset(105)}),
              (std::vector<long>{7, 9, 17, 18, 21}));
    EXPECT_EQ(amp->AmplitudeOffset(102), 0);
    EXPECT_EQ(amp->AmplitudeOffset(42), 0);
    ASSERT_TRUE(amp->WriteHeader());

    std::vector<float> a(R), b(R);
    for (long i = 0; i < R; ++i) {
        a[i] = float(i + 1);
        b[i] = 2.0f * float(i + 1);
    }
    {
        xMLineWriter writer(*amp, 10010);
        writer.AddRow(a.data());
        writer.AddRow(b.data());
        ASSERT_TRUE(writer.Finish());
    }
    ASSERT_TRUE(amp->WriteHeader());
    amp->Commit();

    Bytes h;
    h.I32(13).I32(2).I32(0).I32(7).I32(1).I32(2).F32(0.5f).I32(0);
    h.Raw(Components(7, 7)).I16(0).PadTo(1048, '\0');
    h.I32(0).I32(R - 1).Raw(Floats(a)).I32(0).I32(R - 1).Raw(Floats(b));
    h.Raw(Components(1, 1));
    h.I32(0).I32(9).I32(0).I32(0).I32(0).I32(18).I32(0).I32(0).I32(0).I32(0);
    ASSERT_EQ(h.data.size(), std::size_t(1152 + 8 * R));
    h.I32(1).I32(3).F32(1e-5f).F32(1e-4f).F32(0.002f);
    for (int m = 0; m < 2; ++m) h.I32(0).I32(0).I32(0).I32(0).F32(0.0f);
    h.I32(1);  // thin sheet
    const std::size_t header = 1152 + 8 * R + 20 + 2 * 20 + 4;
    ASSERT_EQ(h.data.size(), header);
    // The stated size counts a mean array that a version-13 file does not hold.
    EXPECT_EQ(amp->HeaderSize(), long(header) + 4 * R);

    Bytes line;
    line.I32(0).I32(1).I32(0).I32(R - 1).I32(10010).PadTo(1044, '\0');
    line.I32(0).I32(R - 1).Raw(Floats(a)).I32(0).I32(R - 1).Raw(Floats(b));
    line.Raw(Floats(a)).Raw(Floats(b));
    EXPECT_EQ(Slurp(dir_ / "P.AMP"), h.data + line.data);
    EXPECT_TRUE(platform_.messages.empty());
}

TEST_F(xMAmpTest, WrittenFileReadsBackWithItsTausAndLines) {
    {
        auto amp = Create("Q.AMP");
        amp->SetBasisType(2);
        ASSERT_TRUE(amp->WriteHeader());
        for (std::int32_t number : {20, 30}) {
            xMLineWriter writer(*amp, number);
            for (int r = 0; r < 3; ++r) {
                std::vector<float> record(R, float(number + r));
                record[xMAmp::ErrorItem] = 0.25f * float(r);
                writer.AddRow(record.data());
            }
            ASSERT_TRUE(writer.Finish());
        }
        ASSERT_TRUE(amp->WriteHeader());
        ASSERT_EQ(amp->Commit(), 1);
    }
    xMAmp back;
    back.SetPath(dir_ / "Q.AMP");
    ASSERT_EQ(back.Open(), 1);
    ASSERT_TRUE(back.ReadHeader());
    EXPECT_EQ(back.Lines(), 2);
    EXPECT_EQ(back.Records(), 6);
    EXPECT_EQ(back.Flight(), 7);
    EXPECT_EQ(back.BasisType(), 2);
    ASSERT_EQ(back.TauCount(), N);
    EXPECT_EQ(back.Taus().Low(), 1);
    EXPECT_EQ(back.Taus()[3], 0.002f);
    EXPECT_EQ(back.RowLength(), R);
    EXPECT_EQ(back.ChannelOffset(105), 18);
    EXPECT_EQ(back.Max()[0], 32.0f);
    EXPECT_EQ(back.Max()[xMAmp::ErrorItem], 0.5f);

    // The lines begin behind the tail, not behind the xMData header.
    EXPECT_EQ(back.LineNumbers(), (std::vector<std::int32_t>{20, 30}));
    xMLineBlock line;
    ASSERT_TRUE(back.FindLine(30, line));
    FloatMatrix rows;
    ASSERT_TRUE(back.ReadRows(line, 0, 3, rows));
    EXPECT_EQ(rows[2][0], 32.0f);
    EXPECT_EQ(rows[2][xMAmp::ErrorItem], 0.5f);
    EXPECT_TRUE(platform_.messages.empty());
}

TEST_F(xMAmpTest, LayoutComesFromTheBinFileAndTaus) {
    xMData bin;
    SmallBin(bin, 2);
    FloatArray binMin(0, bin.RowLength() - 1), binMax(0, bin.RowLength() - 1);
    // Statistics as a BIN file would hold them after two lines.
    xMLineBlock block;
    block.rows = 4;
    block.min = binMin;
    block.max = binMax;
    for (long i = 0; i < bin.RowLength(); ++i) {
        block.min[i] = -float(i + 1);
        block.max[i] = float(i + 1);
    }
    bin.AddLine(block);
    bin.AddLine(block);
    ASSERT_EQ(bin.Lines(), 2);

    // Flight, noise level and channel counts are in the header bytes above;
    // here the user items and the statistics.
    xMAmp amp;
    amp.InitFromData(bin, taus_, 0);
    EXPECT_EQ(amp.RowLength(), R + 2);
    // Counts start over; FID and positions keep the BIN file's range until
    // the first line comes.
    EXPECT_EQ(amp.Lines(), 0);
    EXPECT_EQ(amp.Records(), 0);
    ASSERT_EQ(amp.Min().Length(), R + 2);
    EXPECT_EQ(amp.Min()[4], -5.0f);
    EXPECT_EQ(amp.Max()[0], 1.0f);
    EXPECT_EQ(amp.Max()[5], 0.0f);
    EXPECT_EQ(amp.Mean().Length(), R + 2);

    // The items behind the channels keep their BIN names.
    EXPECT_EQ(amp.ItemTitle(R - 5), "User2");
    EXPECT_EQ(amp.ItemTitle(R - 4), "RxPitch");
    EXPECT_EQ(amp.ItemTitle(7), "Primary_TxRx");
    EXPECT_EQ(amp.ItemTitle(17), "PrimaryCoef_TyRy");
}

TEST_F(xMAmpTest, OlderVersionsHaveNoPrimaryItemsAndVersionNineNoBasisType) {
    // One component (TzRz), one tau: 3 channels, R = 7 + 3 + 6 = 16.
    constexpr long r = 16;
    auto file = [](std::int32_t version) {
        Bytes v;
        v.I32(version).I32(1).I32(0).I32(4).I32(1).I32(1).F32(0.0f).I32(0);
        v.I32(100).I32(109);
        for (long id = 100; id <= 109; ++id) v.I32(id == 109 ? 3 : 0);
        v.I16(0).PadTo(1048, '\0');
        v.I32(0).I32(r - 1).Raw(Floats(std::vector<float>(r, 0.0f)));
        v.I32(0).I32(r - 1).Raw(Floats(std::vector<float>(r, 9.0f)));
        v.I32(100).I32(109);
        for (long id = 100; id <= 109; ++id) v.I32(id == 109 ? 1 : 0);
        for (long id = 100; id <= 109; ++id) v.I32(id == 109 ? 7 : 0);
        v.I32(1).I32(1).F32(0.5f);
        for (int m = 0; m < 2; ++m) v.I32(0).I32(0).I32(0).I32(0).F32(0.0f);
        if (version > 9) v.I32(2);
        std::vector<float> record(r);
        for (long i = 0; i < r; ++i) record[i] = float(i) + 0.5f;
        v.I32(0).I32(0).I32(0).I32(r - 1).I32(77).PadTo(v.data.size() + 1024, '\0');
        v.I32(0).I32(r - 1).Raw(Floats(record)).I32(0).I32(r - 1).Raw(Floats(record));
        v.Raw(Floats(record));
        return v.data;
    };

    for (std::int32_t version : {9, 10, 11}) {
        xMAmp amp;
        amp.SetPath(Put("V.AMP", file(version)));
        ASSERT_EQ(amp.Open(), 1);
        ASSERT_TRUE(amp.ReadHeader()) << version;
        EXPECT_EQ(amp.ItemsPerComponent(), 0);
        EXPECT_EQ(amp.RowLength(), r);
        EXPECT_EQ(amp.ChannelOffset(109), 7);
        EXPECT_EQ(amp.PrimaryLevelItem(109), 0);
        EXPECT_EQ(amp.BasisType(), version > 9 ? 2 : 0) << version;
        EXPECT_EQ(amp.ItemTitle(7), "A_TzRz(t=  1)");
        EXPECT_EQ(amp.ItemTitle(10), "RxPitch");
        xMLineBlock line;
        ASSERT_TRUE(amp.FindLine(77, line)) << version;
        FloatMatrix rows;
        ASSERT_TRUE(amp.ReadRows(line, 0, 1, rows));
        EXPECT_EQ(rows[0][r - 1], float(r - 1) + 0.5f);
    }
    EXPECT_TRUE(platform_.messages.empty());

    // A tail cut short: the xMData header is whole, the taus are not.
    const std::string whole = file(10);
    const std::size_t tausAt = 1152 + 8 * r;
    for (std::size_t cut : {tausAt + 6, tausAt + 12 + 10, tausAt + 12 + 40 + 2}) {
        platform_.messages.clear();
        xMAmp amp;
        amp.SetPath(Put("T.AMP", whole.substr(0, cut)));
        ASSERT_EQ(amp.Open(), 1);
        EXPECT_FALSE(amp.ReadHeader()) << cut;
        const auto errors = platform_.Texts("error");
        ASSERT_EQ(errors.size(), 1u) << cut;
        EXPECT_TRUE(errors[0].starts_with("xMAmp::Error reading header from file < " +
                                          (dir_ / "T.AMP").string() + " >\nT.AMP: byte "))
            << errors[0];
    }
}

TEST_F(xMAmpTest, HeaderBlockAndDefaultPatternTitles) {
    xMData bin;
    SmallBin(bin, 1);
    FloatArray two(1, 2);
    two[1] = 1e-5f;
    two[2] = 0.0025f;
    xMAmp amp;
    amp.InitFromData(bin, two, 1);
    std::ostringstream out;
    amp.DumpHeader(out);
    EXPECT_EQ(out.str(),
              "/___________________________________\n"
              "/Version    \t: 13\n/Flight     \t: 7\n/No of Lines\t: 0\n"
              "/MinFid     \t: 0\n/MaxFid     \t: 0\n/MinX       \t: 0\n/MaxX       \t: 0\n"
              "/MinY       \t: 0\n/MaxY       \t: 0\n/MinZ       \t: 0\n/MaxZ       \t: 0\n"
              "/MinAltitude\t: 0\n/MaxAltitude\t: 0\n/Noise Level\t: 0.5\n"
              "/___________________________________\n"
              "ThinSheet\n"
              " Taus (sec)\n"
              "               1e-05              0.0025\n"
              "==============================================\n");

    // The user item and the angles are not in the default; the primary items
    // neither. Five channels per component: two amplitudes, two backgrounds
    // and the reserved one.
    std::vector<std::string> titles;
    std::vector<long> numbers;
    const xAsciiPattern pattern = amp.DefaultPattern();
    for (const auto& item : pattern.Items()) {
        titles.push_back(item.title);
        numbers.push_back(item.number);
    }
    EXPECT_EQ(titles, (std::vector<std::string>{"FID", "X", "Y", "Z", "Altitude", "Distance",
                                                "Error", "A_TxRx(t=  1)", "A_TxRx(t=  2)",
                                                "A_TxRx(t=  3)", "A_TxRx(t=  4)", "A_TxRx(t=  5)",
                                                "A_TyRy(t=  1)", "A_TyRy(t=  2)", "A_TyRy(t=  3)",
                                                "A_TyRy(t=  4)", "A_TyRy(t=  5)"}));
    EXPECT_EQ(numbers,
              (std::vector<long>{0, 1, 2, 3, 4, 5, 6, 9, 10, 11, 12, 13, 16, 17, 18, 19, 20}));
}
