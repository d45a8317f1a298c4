#include "xMLine.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <memory>
#include <sstream>

#include "SurveyFiles.h"
#include "TempFolder.h"
#include "xMData.h"
#include "xMIterator.h"
#include "xRecordingPlatform.h"

namespace fs = std::filesystem;

namespace {

constexpr long R = SmallRecord;

// Rising FIDs with uneven gaps, so the interpolated guess is off by a little.
float Fid(long r) {
    return 100.0f + float(r) + 0.25f * float(r % 3);
}

float Value(std::int32_t line, long r, long c) {
    switch (c) {
        case 0:
            return line == 2 ? Fid(1000 - r) : Fid(r);  // line 2 runs backwards
        case 1:
            return float(r);
        case 2:
            return 0.5f * float(r * r);
        case 5:
            return -1.0f;
        default:
            return float(line * 100000 + r * 100 + c);
    }
}

class xMLineTest : public xTempFolderTest {
  protected:
    // Lines numbered 1.. with the given row counts.
    std::unique_ptr<xMData> Build(std::initializer_list<long> sizes) {
        std::vector<SurveyLine> lines;
        for (long rows : sizes) {
            SurveyLine line{std::int32_t(lines.size() + 1), {}};
            for (long r = 0; r < rows; ++r) {
                auto& record = line.records.emplace_back(std::size_t(R));
                for (long c = 0; c < R; ++c) record[std::size_t(c)] = Value(line.number, r, c);
            }
            lines.push_back(std::move(line));
        }
        WriteSurvey(dir_ / "L.BIN", lines);
        return OpenSurvey(dir_ / "L.BIN");
    }

    xRecordingPlatform platform_;
};

TEST_F(xMLineTest, LongLineReadThroughSmallWindow) {
    auto file = Build({1001, 4});
    xMLine line(file.get(), 16);
    ASSERT_TRUE(line.Next());
    EXPECT_EQ(line.LineNumber(), 1);
    ASSERT_EQ(line.Rows(), 1001);
    EXPECT_EQ(line.HeaderSize(), 1060 + 8 * R);
    for (long r = 0; r < line.Rows(); ++r)
        for (long c = 0; c < R; ++c) ASSERT_EQ(line.Item(r, c), Value(1, r, c)) << r << " " << c;
    // Backwards and jumping about page the window in as well.
    for (long r = 1000; r >= 0; r -= 37) EXPECT_EQ(line.Item(r, 4), Value(1, r, 4));
    EXPECT_EQ(line.MinFid(), Fid(0));
    EXPECT_EQ(line.MaxFid(), Fid(1000));
    EXPECT_EQ(line.MaxY(), 500000.0f);
    EXPECT_EQ(line.ItemRangeMax(6, 8), Value(1, 1000, 8));
    EXPECT_EQ(line.ComponentMin(105), Value(1, 0, 8));

    ASSERT_TRUE(line.Next());
    EXPECT_EQ(line.LineNumber(), 2);
    EXPECT_EQ(line.Rows(), 4);
    EXPECT_EQ(line.Item(3, 7), Value(2, 3, 7));
    EXPECT_FALSE(line.Next());
    ASSERT_TRUE(line.Find(1));
    EXPECT_EQ(line.Item(999, 3), Value(1, 999, 3));

    EXPECT_THROW(line.Row(1001), xFatalError);
    EXPECT_TRUE(platform_.Texts("error").empty());
}

TEST_F(xMLineTest, FidSearchesAgainstBruteForce) {
    auto file = Build({1001, 1001});
    xMLine line(file.get(), 16);
    for (std::int32_t number : {1, 2}) {
        ASSERT_TRUE(line.Find(number));
        const long last = line.LastRow();
        std::vector<float> fid(std::size_t(last + 1));
        for (long r = 0; r <= last; ++r) fid[std::size_t(r)] = Value(number, r, 0);
        for (long r = 0; r <= last; r += 7) {
            EXPECT_EQ(line.FindFid(fid[std::size_t(r)]), r) << number << " " << r;
            if (r == last) continue;
            const float a = fid[std::size_t(r)], b = fid[std::size_t(r + 1)];
            const float between = 0.5f * (a + b);
            // The bracket answer and one of its neighbours hold the value between them.
            const long k = line.FindFidBracket(between);
            ASSERT_TRUE(k == r || k == r + 1) << number << " " << r << " " << k;
            EXPECT_EQ(line.FindNearest(a + 0.2f * (b - a), 0), r);
            EXPECT_EQ(line.FindNearest(a + 0.8f * (b - a), 0), r + 1);
            // A FID between records has no exact row: the walk runs off the line.
            const long miss = line.FindFid(between);
            EXPECT_TRUE(miss == 0 || miss == last) << miss;
        }
        const float low = std::min(fid.front(), fid.back()) - 1.0f;
        const float high = std::max(fid.front(), fid.back()) + 1.0f;
        for (float outside : {low, high}) {
            EXPECT_EQ(line.FindFid(outside), 0);
            EXPECT_EQ(line.FindFidBracket(outside), 0);
        }
        // Nearest has no range test: beyond an end it gives that end.
        EXPECT_EQ(line.FindNearest(fid.front() + (fid.front() - fid[1]) * 3.0f, 0), 0);
        EXPECT_EQ(line.FindNearest(fid.back() + (fid.back() - fid[std::size_t(last - 1)]), 0),
                  last);
        // Nearest over another item: Y = r*r/2 grows unevenly, so the guess is far off.
        for (long r : {0L, 3L, 10L, 500L, 999L}) {
            const float y = Value(number, r, 2), next = Value(number, r + 1, 2);
            EXPECT_EQ(line.FindNearest(y + 0.3f * (next - y), 2), r);
            EXPECT_EQ(line.FindNearest(y + 0.7f * (next - y), 2), r + 1);
        }
    }
}

TEST_F(xMLineTest, RecomputeDistanceWritesEveryRowBack) {
    auto file = Build({40});
    {
        xMLine line(file.get(), 16);
        ASSERT_TRUE(line.Next());
        line.RecomputeDistance();
    }
    xMLine line(file.get(), 16);
    ASSERT_TRUE(line.Find(1));
    for (long r = 0; r < 40; ++r) {
        const double x = r, y = 0.5 * double(r * r);
        EXPECT_NEAR(line.Item(r, 5), std::sqrt(x * x + y * y), 1e-6 * (1.0 + y)) << r;
        EXPECT_EQ(line.Item(r, 6), Value(1, r, 6));
    }
    EXPECT_EQ(line.Item(0, 5), 0.0f);
    EXPECT_EQ(line.Item(2, 5), std::sqrt(8.0f));
}

TEST_F(xMLineTest, IteratorAveragesBlocksAndDropsTheTail) {
    auto file = Build({4, 1001});
    xMLine line(file.get(), 16);
    ASSERT_TRUE(line.Find(1));
    {
        xMIterator it(line, 3, 3);
        const FloatArray* mean = it.Next();
        ASSERT_NE(mean, nullptr);
        for (long c = 0; c < R; ++c)
            EXPECT_FLOAT_EQ((*mean)[c], (Value(1, 0, c) + Value(1, 1, c) + Value(1, 2, c)) / 3.0f);
        EXPECT_EQ(it.CurrentRow(), 3);
        EXPECT_EQ(it.Next(), nullptr);  // row 3 alone is shorter than the width
        EXPECT_EQ(it.CurrentRow(), 4);
    }
    {
        xMIterator it(line, 10, 1);
        EXPECT_EQ(it.Width(), 4);
        const FloatArray* mean = it.First();
        ASSERT_NE(mean, nullptr);
        EXPECT_FLOAT_EQ((*mean)[2], (0.0f + 0.5f + 2.0f + 4.5f) / 4.0f);
        EXPECT_EQ(it.Next(), nullptr);
    }
    {
        xMIterator it(line, 1, 2);
        EXPECT_EQ((*it.Next())[1], 0.0f);
        EXPECT_EQ((*it.Next())[1], 2.0f);
        EXPECT_EQ(it.Next(), nullptr);
        EXPECT_EQ((*it.Previous())[1], 2.0f);
        EXPECT_EQ((*it.Last())[1], 3.0f);
        EXPECT_FALSE(it.Fill());
        EXPECT_EQ(platform_.Texts("error"),
                  std::vector<std::string>{"Attempt to fill undefined buffer in xMIterator."});
    }
    EXPECT_THROW(xMIterator(line, 0, 1), xFatalError);

    // A long line through the small window: sliding pairs, every mean by hand.
    ASSERT_TRUE(line.Find(2));
    xMIterator it(line, 2, 1);
    long steps = 0;
    while (const FloatArray* mean = it.Next()) {
        for (long c = 0; c < R; ++c)
            ASSERT_FLOAT_EQ((*mean)[c], (Value(2, steps, c) + Value(2, steps + 1, c)) / 2.0f)
                << steps << " " << c;
        ++steps;
    }
    EXPECT_EQ(steps, 1000);
    it.Reset();
    const FloatMatrix* block = it.NextBlock();
    ASSERT_NE(block, nullptr);
    EXPECT_EQ((*block)[0][1], 1.0f);
    EXPECT_EQ((*block)[1][1], 2.0f);
}

TEST_F(xMLineTest, StatisticsDumpAndMissingFile) {
    auto file = Build({3});
    xMLine line(file.get());
    const float blank = BlankValue;
    line.SetBlankValue(&blank);
    line.SetFirstRow(true);
    FloatArray a(R), b(R), c(R);
    for (long i = 0; i < R; ++i) {
        a[i] = float(i);
        b[i] = float(2 * i + 1);
        c[i] = -float(i);
    }
    a[4] = blank;  // the first record stands as it is, blank included
    b[3] = blank;  // passed over, but still counted in the mean
    for (const FloatArray* rec : {&a, &b, &c}) line.Statistics(rec->Data());
    EXPECT_EQ(line.StatisticsCount(), 3);
    EXPECT_EQ(line.MaxAltitude(), 9.0f);  // the stored blank replaced outright
    EXPECT_EQ(line.MinAltitude(), -4.0f);
    EXPECT_EQ(line.MaxZ(), 3.0f);
    EXPECT_FLOAT_EQ(line.Mean()[3], (3.0f + 0.0f - 3.0f) / 3.0f);
    EXPECT_FLOAT_EQ(line.Mean()[1], (1.0f + 3.0f - 1.0f) / 3.0f);

    line.SetLineNumber(77);
    std::ostringstream out;
    line.Dump(out);
    const std::string bar = "//===================================\n";
    EXPECT_EQ(out.str(), bar + "//Line     : 77\n" + bar +
                             "//No of Records : 0\n//MinFid : 0\n//MaxFid : 1\n//MinX   : -1\n"
                             "//MaxX   : 3\n//MinY   : -2\n//MaxY   : 5\n//MinZ   : -3\n"
                             "//MaxZ   : 3\n//MinAltitude   : -4\n//MaxAltitude   : 9\n" +
                             bar);

    xMLine orphan(nullptr);
    ASSERT_EQ(platform_.Texts("error").size(), 1u);
    EXPECT_EQ(
        platform_.Texts("error")[0].rfind("XVT-Power++ Error: #2500, File:xMLine.cpp, Line:", 0),
        0u);
    EXPECT_FALSE(orphan.Next());
}

}  // namespace
