#include "xFitAverage.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "xMData.h"

namespace {

const std::string kBlanks(13, ' ');

FloatArray Row(std::initializer_list<float> values, long low = 1) {
    FloatArray row(low, low + long(values.size()) - 1);
    long i = low;
    for (float v : values) row[i++] = v;
    return row;
}

}  // namespace

TEST(xFitAverageTest, TimeDomainTitlesWalkComponentsThenChannels) {
    std::ostringstream out;
    WriteFitAverageHeader(out, {{101, 2}, {109, 10}}, false, 14);
    EXPECT_EQ(
        out.str(),
        "         line    A(TxRx) 1    A(TxRx) 2    A(TzRz) 1    A(TzRz) 2    A(TzRz) 3"
        "    A(TzRz) 4    A(TzRz) 5    A(TzRz) 6    A(TzRz) 7    A(TzRz) 8    A(TzRz) 9"
        "    A(TzRz)10\n" +
            kBlanks +
            "    F(TxRx) 1    F(TxRx) 2    F(TzRz) 1    F(TzRz) 2    F(TzRz) 3    F(TzRz) 4"
            "    F(TzRz) 5    F(TzRz) 6    F(TzRz) 7    F(TzRz) 8    F(TzRz) 9    F(TzRz)10\n");
}

TEST(xFitAverageTest, FrequencyDomainTitlesHaveAThirdPartAboveVersionThirteen) {
    // Two frequencies of TxRx and of TzRz, four channels each in the file.
    xMData file;
    LongArray channels(100, 109), flags(100, 109);
    channels[101] = 4;
    channels[109] = 4;
    channels[105] = 6;  // not flagged, not listed
    flags[101] = 1;
    flags[109] = 1;
    file.InitFromDescriptor(channels, flags, 0);
    const auto columns = FitAverageColumns(file, true);
    ASSERT_EQ(columns.size(), 2u);
    EXPECT_EQ(columns[1].component, 109);
    EXPECT_EQ(columns[1].count, 2);
    EXPECT_EQ(FitAverageColumns(file, false)[0].count, 4);

    std::ostringstream v13, v14;
    WriteFitAverageHeader(v13, {columns[0]}, true, 13);
    EXPECT_EQ(v13.str(), "         line   AI(TxRx) 1   AI(TxRx) 2   AQ(TxRx) 1   AQ(TxRx) 2\n" +
                             kBlanks + "   FI(TxRx) 1   FI(TxRx) 2   FQ(TxRx) 1   FQ(TxRx) 2\n");
    WriteFitAverageHeader(v14, columns, true, 14);
    EXPECT_EQ(v14.str(),
              "         line   AI(TxRx) 1   AI(TxRx) 2   AQ(TxRx) 1   AQ(TxRx) 2   AT(TxRx) 1"
              "   AT(TxRx) 2   AI(TzRz) 1   AI(TzRz) 2   AQ(TzRz) 1   AQ(TzRz) 2   AT(TzRz) 1"
              "   AT(TzRz) 2\n" +
                  kBlanks +
                  "   FI(TxRx) 1   FI(TxRx) 2   FQ(TxRx) 1   FQ(TxRx) 2   FT(TxRx) 1"
                  "   FT(TxRx) 2   FI(TzRz) 1   FI(TzRz) 2   FQ(TzRz) 1   FQ(TzRz) 2   FT(TzRz) 1"
                  "   FT(TzRz) 2\n");
}

TEST(xFitAverageTest, LineRowsHoldDataThenFitOfEveryComponent) {
    std::ostringstream out;
    WriteFitAverageLine(out, 10010, {Row({1.5f, -0.002f}), Row({12345.678f}, 0)},
                        {Row({1.25f, 0.0f}), Row({-1e-30f}, 0)});
    WriteFitAverageLine(out, -3, {}, {});
    EXPECT_EQ(out.str(),
              "        10010   1.5000e+00  -2.0000e-03   1.2346e+04\n"
              "                1.2500e+00   0.0000e+00  -1.0000e-30\n"
              "           -3\n" +
                  kBlanks + "\n");
}
