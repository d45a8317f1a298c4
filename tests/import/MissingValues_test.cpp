// The survey's missing value: a channel holding it is blank in the survey file,
// a record holding it where it is placed is left out and reported.

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <sstream>

#include "ImportFixture.h"
#include "SharedData.h"
#include "xMLineBlock.h"

namespace {

constexpr double kMissing = -9999.99;
constexpr long kFirstChannel = 6;  // fid x y z alt dist, then the channels

xEMDesc SmallSystemWithGaps() {
    xEMDesc d = SmallSystem();
    d.formatDesc.missingValue = kMissing;
    return d;
}

// The split fields of a CSV line.
std::vector<std::string> Fields(const std::string& line) {
    std::vector<std::string> fields;
    std::istringstream in(line);
    for (std::string field; std::getline(in, field, ',');) fields.push_back(field);
    return fields;
}

}  // namespace

TEST_F(ImportTest, MissingChannelsAreBlankAndMissingPositionsSkipTheRecord) {
    // line fid east north z_topo altitude unused c1 c2 c3; the file writes the
    // value with fewer decimals than the descriptor, as surveys do.
    const auto file = Put("gaps.asc",
                          "10 100 0 0 5 50 x 1 -9999.990 4\n"
                          "10 101 3 4 6 -9999.99 x 2 4 8\n"
                          "10 102 6 8 7 52 x -9999.99 -9999.99 -9999.99\n"
                          "10 103 9 12 8 53 x 3 6 -9999.9\n");
    ASSERT_TRUE(Import({file}, SmallSystemWithGaps()));
    long records = 0;
    const auto lines = ReadLines(nullptr, &records);
    ASSERT_EQ(records, 3);
    const auto& rows = lines.at(0).rows;
    // Gains 1, 2 and 0.5 apply to readings only; a value near the missing one
    // but not it (-9999.9) is a reading.
    const std::vector<std::vector<float>> channels = {
        {1, BlankValue, 2}, {BlankValue, BlankValue, BlankValue}, {3, 12, -4999.95f}};
    for (std::size_t r = 0; r < rows.size(); ++r)
        for (long ch = 0; ch < 3; ++ch)
            EXPECT_FLOAT_EQ(rows[r][std::size_t(kFirstChannel + ch)], channels[r][std::size_t(ch)])
                << "record " << r << " channel " << ch + 1;
    EXPECT_NE(Slurp(Err()).find("\nIn file " + file.string() +
                                ",  line skiped: 10 101 3 4 6 -9999.99 x 2 4 8"),
              std::string::npos);
}

TEST_F(ImportTest, WithoutAMissingValueEveryNumberIsAReading) {
    ASSERT_TRUE(Import({Put("gaps.asc", "10 100 0 0 5 -9999.99 x 1 -9999.99 4\n")}, SmallSystem()));
    const auto lines = ReadLines();
    EXPECT_FLOAT_EQ(lines.at(0).rows.at(0)[kFirstChannel + 1], -19999.98f);
}

// The gaps of a delivered survey: each high-moment gate the processing culled
// is -9999.99 in the data; the same gates must come out blank, the others as read.
TEST_F(ImportTest, CulledGatesOfADeliveredSurveyAreBlank) {
    const auto csv = SharedDataDir() / "skytem304m-wisconsin2021" / "skytem_processed_data.csv";
    SKIP_UNLESS_EXISTS(csv);
    std::ifstream in(csv);
    std::string line;
    std::getline(in, line);  // the header
    // HM_Data_0..21 are fields 64..85 (from 1); a record of ours is line, fid,
    // east, north, z_topo, altitude, then the 22 gates.
    constexpr long kGates = 22, kFirstGate = 63;
    xEMDesc d = SmallSystemWithGaps();
    auto& wave = d.Components()[109].wave;
    wave.windows.Resize(0, kGates - 1, 0, 1);
    wave.weights.Resize(0, kGates - 1);
    for (long g = 0; g < kGates; ++g) {
        wave.windows[g][0] = float(g + 1);
        wave.windows[g][1] = float(g + 2);
        wave.weights[g] = 1.0f;
    }
    d.formatDesc.itemsPerRecord = 6 + kGates;
    d.formatDesc.SetChannels(kGates);
    for (long g = 1; g <= kGates; ++g) d.formatDesc.channelMap[g][109] = float(6 + g);

    std::ostringstream text;
    std::vector<std::vector<bool>> culled;
    for (long record = 0; record < 200 && std::getline(in, line); ++record) {
        const auto f = Fields(line);
        ASSERT_GE(f.size(), std::size_t(kFirstGate + kGates));
        text << "1 " << record << ' ' << f[2] << ' ' << f[3] << ' ' << f[6] << ' ' << f[7];
        culled.emplace_back();
        for (long g = 0; g < kGates; ++g) {
            text << ' ' << f[std::size_t(kFirstGate + g)];
            culled.back().push_back(std::stod(f[std::size_t(kFirstGate + g)]) == kMissing);
        }
        text << '\n';
    }
    ASSERT_TRUE(Import({Put("wisconsin.asc", text.str())}, d));
    const auto lines = ReadLines();
    const auto& rows = lines.at(0).rows;
    ASSERT_EQ(rows.size(), culled.size());
    long gaps = 0;
    for (std::size_t r = 0; r < rows.size(); ++r) {
        for (long g = 0; g < kGates; ++g) {
            const float value = rows[r][std::size_t(kFirstChannel + g)];
            EXPECT_EQ(value == BlankValue, culled[r][std::size_t(g)]) << r << " " << g;
            gaps += culled[r][std::size_t(g)];
        }
    }
    EXPECT_GT(gaps, 0);  // the subset has gaps to find
}
