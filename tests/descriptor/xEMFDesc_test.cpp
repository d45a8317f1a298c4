#include "xEMFDesc.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "xRecordingPlatform.h"

namespace {

using Item = xEMFDesc::Item;

// Written by hand from the layout: numbers in 6 columns, the ten names
// right-aligned in 6 behind "channel ", item names left in 14, position and
// flag in 4 each. Rx_roll carries 8 and Rx_yaw 9 although the model keeps yaw
// before roll.
const std::string kTimeBlock =
    "DATA FORMAT\n"
    "Geosoft format (1 yes, 0 no)\n"
    "     0\n"
    "Sample file name (if available)\n"
    "flight 12.xyz\n"
    "Number of comment lines at the beginning of each data file\n"
    "     2\n"
    "Number of items in each data record\n"
    "    20\n"
    "POSITION (INDEX) OF CHANNELS IN EACH DATA RECORD\n"
    "channel   ????  TxRx  TxRy  TxRz  TyRx  TyRy  TyRz  TzRx  TzRy  TzRz\n"
    "     1     0     0     0     0     0     0     0    11     0    14\n"
    "     2     0     0     0     0     0     0     0    12     0    15\n"
    "     3     0     0     0     0     0     0     0    13     0    16\n"
    "----------------------\n"
    "line             1   1\n"
    "FID              2   1\n"
    "east             3   1\n"
    "north            4   1\n"
    "z_topo           5   1\n"
    "altitude         6   1\n"
    "Rx_pitch         7   0\n"
    "Rx_roll          8   0\n"
    "Rx_yaw           9   0\n"
    "Tx_pitch         0   0\n"
    "Tx_roll          0   0\n"
    "Tx_yaw          10   0\n"
    "z(ASL)          17   2\n"
    "gps_time        18   2\n"
    "----------------------\n";

const std::string kFrequencyBlock =
    "DATA FORMAT\n"
    "Geosoft format (1 yes, 0 no)\n"
    "     1\n"
    "Sample file name (if available)\n"
    "\n"
    "Number of comment lines at the beginning of each data file\n"
    "     0\n"
    "Number of items in each data record\n"
    "    12\n"
    "POSITION (INDEX) OF IN PHASE IN EACH DATA RECORD\n"
    "freq   ????  TxRx  TxRy  TxRz  TyRx  TyRy  TyRz  TzRx  TzRy  TzRz\n"
    "     1     0     7     0     0     0     0     0     0     0     9\n"
    "     2     0     0     0     0     0     0     0     0     0    11\n"
    "POSITION (INDEX) OF QUADRATURE IN EACH DATA RECORD\n"
    "freq   ????  TxRx  TxRy  TxRz  TyRx  TyRy  TyRz  TzRx  TzRy  TzRz\n"
    "     1     0     8     0     0     0     0     0     0     0    10\n"
    "     2     0     0     0     0     0     0     0     0     0    12\n"
    "----------------------\n"
    "line             0   1\n"
    "FID              1   1\n"
    "east             2   1\n"
    "north            3   1\n"
    "z_topo           4   1\n"
    "altitude         5   1\n"
    "Rx_pitch         0   0\n"
    "Rx_roll          0   0\n"
    "Rx_yaw           0   0\n"
    "Tx_pitch         0   0\n"
    "Tx_roll          0   0\n"
    "Tx_yaw           0   0\n"
    "----------------------\n";

// The layout before version 9: the same head and tables, then a label before
// each group of positions, and no user items.
const std::string kOldBlock =
    "DATA FORMAT\n"
    "Geosoft format (1 yes, 0 no)\n"
    "     0\n"
    "Sample file name (if available)\n"
    "old.xyz\n"
    "Number of comment lines at the beginning of each data file\n"
    "     1\n"
    "Number of items in each data record\n"
    "    14\n"
    "POSITION (INDEX) OF CHANNELS IN EACH DATA RECORD\n"
    "channel   ????  TxRx  TxRy  TxRz  TyRx  TyRy  TyRz  TzRx  TzRy  TzRz\n"
    "     1     0     0     0     0     0     0     0     0     0    12\n"
    "     2     0     0     0     0     0     0     0     0     0    13\n"
    "Position (index) of line label in each data record (starting from 1)\n"
    "     1\n"
    "Position (index) of station (FID) label in each data record\n"
    "     2\n"
    "Position (index) of xyz coordinates in each data record\n"
    "     3     4     0\n"
    "Position (index) of flight altitude in each data record\n"
    "     5\n"
    "Position (index) of RECEIVER orientation angles (pitch, roll, yaw)  in each data record\n"
    "     6     7     8\n"
    "Position (index) of TRANSMITTER orientation angles (pitch, roll, yaw)  in each data record\n"
    "     9    10    11\n";

bool ReadBlock(xEMFDesc& format, const std::string& text, long version = 9,
               bool frequencyDomain = false) {
    std::istringstream stream(text);
    xDscReader in(stream);
    return format.Read(in, version, frequencyDomain);
}

std::string Written(const xEMFDesc& format) {
    std::ostringstream out;
    format.Write(out);
    return out.str();
}

std::vector<std::string> TextsOf(const std::vector<xEMFCheck>& checks, bool questions) {
    std::vector<std::string> texts;
    for (const xEMFCheck& check : checks)
        if (check.isQuestion == questions) texts.push_back(check.text);
    return texts;
}

// A format whose every part says something: three TzRz channels and a user item.
xEMFDesc Sample() {
    xEMFDesc format;
    EXPECT_TRUE(ReadBlock(format, kTimeBlock));
    xTRClasf counts;
    counts[107] = 3;
    counts[109] = 3;
    format.SetClassification(counts);
    return format;
}

}  // namespace

TEST(xEMFDesc, TimeDomainBlockReadsAndWritesBackIdentically) {
    xEMFDesc format;
    ASSERT_TRUE(ReadBlock(format, kTimeBlock));
    EXPECT_EQ(format.title, "DATA FORMAT");
    EXPECT_EQ(format.sampleFile, "flight 12.xyz");
    EXPECT_EQ(format.commentLines, 2);
    EXPECT_EQ(format.itemsPerRecord, 20);
    EXPECT_EQ(format.isFrequencyDomain, 0);
    EXPECT_EQ(format.Channels(), 3);
    EXPECT_EQ(format.ChannelPosition(1, 107), 11);
    EXPECT_EQ(format.ChannelPosition(3, 109), 16);
    EXPECT_EQ(format.ChannelPosition(4, 109), 0);  // beyond the map
    // Rows are taken by order: the eighth is roll, the ninth yaw.
    EXPECT_EQ(format.posRxRoll, 8);
    EXPECT_EQ(format.posRxYaw, 9);
    EXPECT_EQ(format.posTxYaw, 10);
    EXPECT_EQ(format.posTxRoll, 0);
    EXPECT_EQ(format.userItems, (std::vector<xEMFUserItem>{{"z(ASL)", 17}, {"gps_time", 18}}));
    EXPECT_EQ(format.UserItemPosition("gps_time"), 18);
    EXPECT_EQ(Written(format), kTimeBlock);

    xTRClasf counted = format.ClassificationFromMaps();
    for (long id = UndefinedComponent; id <= LastComponent; ++id)
        EXPECT_EQ(counted[id], id == 107 || id == 109 ? 3 : 0) << id;
}

TEST(xEMFDesc, FrequencyDomainBlockReadsAndWritesBackIdentically) {
    xEMFDesc format;
    ASSERT_TRUE(ReadBlock(format, kFrequencyBlock, 9, true));
    EXPECT_EQ(format.isFrequencyDomain, 1);
    EXPECT_EQ(format.geosoftFormat, 1);
    EXPECT_EQ(format.sampleFile, "");
    EXPECT_EQ(format.Channels(), 2);
    EXPECT_EQ(format.InPhasePosition(1, 101), 7);
    EXPECT_EQ(format.QuadraturePosition(1, 101), 8);
    EXPECT_EQ(format.InPhasePosition(2, 109), 11);
    EXPECT_EQ(format.QuadraturePosition(2, 109), 12);
    EXPECT_TRUE(format.userItems.empty());
    EXPECT_EQ(Written(format), kFrequencyBlock);

    // One frequency of TxRx, two of TzRz; the positions a record is read at.
    xTRClasf counted = format.ClassificationFromMaps();
    EXPECT_EQ(counted[101], 1);
    EXPECT_EQ(counted[109], 2);
    EXPECT_EQ(counted[100] + counted[103] + counted[107], 0);
    EXPECT_EQ(format.UsedPositions(), (std::vector<long>{1, 2, 3, 4, 5, 7, 8, 9, 10, 11, 12}));
}

TEST(xEMFDesc, OlderLabelledBlockReadsIntoTheSameModel) {
    xEMFDesc format;
    std::istringstream stream(kOldBlock + "NEXT BLOCK\n");
    xDscReader in(stream);
    ASSERT_TRUE(format.Read(in, 7, false));
    EXPECT_EQ(in.Line(), "NEXT BLOCK");  // nothing of the following block was taken
    EXPECT_EQ(format.version, 7);
    EXPECT_EQ(format.commentLines, 1);
    EXPECT_EQ(format.Channels(), 2);
    EXPECT_EQ(format.ChannelPosition(2, 109), 13);
    std::vector<long> positions;
    for (Item item : xEMFDesc::FileOrder()) positions.push_back(format.Position(item));
    EXPECT_EQ(positions, (std::vector<long>{1, 2, 3, 4, 0, 5, 6, 7, 8, 9, 10, 11}));
    // No user items in that layout: the default one stays.
    EXPECT_EQ(format.userItems, (std::vector<xEMFUserItem>{{"z(ASL)", 0}}));
    EXPECT_EQ(format.ClassificationFromMaps()[109], 2);

    // Written back it is the current layout, which reads as the same format.
    xEMFDesc again;
    ASSERT_TRUE(ReadBlock(again, Written(format)));
    EXPECT_TRUE(again == format);
    EXPECT_EQ(Written(again), Written(format));
}

TEST(xEMFDesc, AnglesAreWrittenPitchRollYaw) {
    xEMFDesc format;
    format.SetPosition(Item::RxPitch, 21);
    format.SetPosition(Item::RxYaw, 22);
    format.SetPosition(Item::RxRoll, 23);
    format.posTxYaw = 24;
    format.posTxRoll = 25;
    const std::string text = Written(format);
    EXPECT_NE(text.find("Rx_pitch        21   0\n"
                        "Rx_roll         23   0\n"
                        "Rx_yaw          22   0\n"
                        "Tx_pitch         0   0\n"
                        "Tx_roll         25   0\n"
                        "Tx_yaw          24   0\n"
                        "z(ASL)           0   2\n"),
              std::string::npos);
}

TEST(xEMFDesc, ChannelCountsAndMaps) {
    // Never fewer than one row.
    xEMFDesc format;
    format.SetChannels(0);
    EXPECT_EQ(format.Channels(), 1);
    EXPECT_EQ(format.inPhaseMap.RowLow(), 1);
    format.SetChannels(-5);
    EXPECT_EQ(format.quadratureMap.Rows(), 1);

    // Growing and shrinking keep what stays.
    format.channelMap[1][109] = 40;
    format.SetChannels(4);
    format.channelMap[4][109] = 43;
    EXPECT_EQ(format.ChannelPosition(1, 109), 40);
    format.SetChannels(2);
    EXPECT_EQ(format.ChannelPosition(1, 109), 40);
    EXPECT_EQ(format.ChannelPosition(4, 109), 0);
    format.SetChannels(1L << 40);
    EXPECT_EQ(format.Channels(), xEMFDesc::MaxChannels);

    // The classification sizes the maps to its largest count.
    xTRClasf counts;
    counts[103] = 6;
    counts[109] = 2;
    format.SetClassification(counts);
    EXPECT_EQ(format.Channels(), 6);
    EXPECT_EQ(format.classification[103], 6);
}

TEST(xEMFDesc, ValidationWords) {
    xEMFDesc format;
    format.commentLines = 30;
    format.itemsPerRecord = 8;
    EXPECT_TRUE(format.Validate().empty());
    format.itemsPerRecord = 256;
    EXPECT_TRUE(format.Validate().empty());

    format.commentLines = -1;
    format.itemsPerRecord = 7;
    EXPECT_EQ(TextsOf(format.Validate(), false),
              (std::vector<std::string>{
                  "Negative number of comment lines in file header specified.",
                  "The data record has to contain at least eight items comprising Flight "
                  "number, Line number, FID, x, y, altitude and two data channels."}));
    EXPECT_TRUE(TextsOf(format.Validate(), true).empty());

    format.commentLines = 31;
    format.itemsPerRecord = 257;
    EXPECT_EQ(TextsOf(format.Validate(), true),
              (std::vector<std::string>{
                  "Are you sure the data file headers contain more than 30 comment lines?",
                  "Are you sure the data file records contain more than 256 items?"}));
    EXPECT_TRUE(TextsOf(format.Validate(), false).empty());
}

// Everything a converter reads by must lie in the record, and every channel of
// a component must have its place.
TEST(xEMFDesc, RecordProblems) {
    xEMFDesc format;
    format.itemsPerRecord = 12;
    for (int i = 0; i < 6; ++i) format.SetPosition(xEMFDesc::Item(i), i + 1);
    format.SetChannels(2);
    format.channelMap[1][109] = 9.0f;
    format.channelMap[2][109] = 12.0f;
    xTRClasf channels;
    channels[109] = 2;
    EXPECT_TRUE(format.RecordProblems(channels).empty());

    format.geosoftFormat = 2;
    format.commentLines = 10001;
    format.posFid = 13;
    format.userItems = {{"z(ASL)", 0}, {"gps", -1}};
    format.channelMap[2][109] = 14.0f;
    EXPECT_EQ(format.RecordProblems(channels),
              (std::vector<std::string>{
                  "The Geosoft format flag must be 0 or 1, not 2.",
                  "A data file cannot begin with more than 10000 comment lines, not 10001.",
                  "The position of the item FID (13) lies outside the record of 12 items.",
                  "The position of the user item gps (-1) lies outside the record of 12 items.",
                  "The position of channel 2 of TzRz (14) lies outside the record of 12 items."}));

    // Positions are not held to a record whose length is itself refused.
    format = xEMFDesc{};
    format.itemsPerRecord = 1000000000;
    EXPECT_EQ(format.RecordProblems(channels),
              std::vector<std::string>{
                  "A data record cannot hold more than 100000 items, not 1000000000."});
}

TEST(xEMFDesc, ChannelTablesShorterThanTheChannels) {
    xEMFDesc format;
    format.itemsPerRecord = 20;
    format.SetChannels(2);
    format.channelMap[1][107] = 8.0f;
    format.channelMap[2][107] = 9.0f;
    format.channelMap[1][109] = 10.0f;
    xTRClasf channels;
    channels[107] = 2;
    channels[109] = 2;
    EXPECT_EQ(format.RecordProblems(channels),
              std::vector<std::string>{"The channel table has no position for channel 2 of TzRz."});
    channels[109] = 1;
    channels[107] = 3;  // beyond the table's rows
    EXPECT_EQ(format.RecordProblems(channels),
              std::vector<std::string>{"The channel table has no position for channel 3 of TzRx."});

    // In the frequency domain a channel needs both its in-phase and its quadrature.
    format.isFrequencyDomain = 1;
    channels[107] = 0;
    format.inPhaseMap[1][109] = 11.0f;
    EXPECT_EQ(format.RecordProblems(channels),
              std::vector<std::string>{"The channel table has no position for channel 1 of TzRz."});
    format.quadratureMap[1][109] = 12.0f;
    EXPECT_TRUE(format.RecordProblems(channels).empty());
}

TEST(xEMFDesc, UserItemNames) {
    xEMFDesc format;
    format.itemsPerRecord = 20;
    const std::string blanks = "No blanks allowed in item names!";
    const std::string tooLong = "Item name must not exceed 20 characters!";
    const std::string duplicate = "Duplicate item names are not allowed!";

    EXPECT_EQ(format.ItemNameProblem(xEMFDesc::NewItemDefault), blanks);
    EXPECT_EQ(format.ItemNameProblem(""), blanks);
    EXPECT_EQ(format.ItemNameProblem("tab\tname"), blanks);
    EXPECT_EQ(format.ItemNameProblem(std::string(20, 'a')), "");
    EXPECT_EQ(format.ItemNameProblem(std::string(21, 'a')), tooLong);
    // The named items, required or not, and the default user item are taken.
    EXPECT_EQ(format.ItemNameProblem("altitude"), duplicate);
    EXPECT_EQ(format.ItemNameProblem("Tx_yaw"), duplicate);
    EXPECT_EQ(format.ItemNameProblem("z(ASL)"), duplicate);
    EXPECT_EQ(format.ItemNameProblem("z(ASL)", 0), "");  // itself
    EXPECT_EQ(format.ItemNameProblem("Altitude"), "");

    format.userItems = {{"FID", 3}, {"gps", 4}, {"gps", 5}, {"two words", 6}};
    const std::vector<xEMFCheck> checks = format.Validate();
    EXPECT_EQ(TextsOf(checks, false), (std::vector<std::string>{duplicate, blanks}));
    EXPECT_TRUE(TextsOf(checks, true).empty());
}

TEST(xEMFDesc, ComparisonsAndTheirMessages) {
    xRecordingPlatform platform;
    const xEMFDesc a = Sample();
    xEMFDesc b = Sample();
    EXPECT_TRUE(a == b);
    EXPECT_TRUE(a.HasSameTitles(b));

    // The title and the sample file are not part of the layout.
    b.title = "OTHER";
    b.sampleFile = "elsewhere.xyz";
    EXPECT_TRUE(a == b);

    // Moved items: the same titles, another layout.
    b.channelMap[2][107] = 19;
    b.posFid = 20;
    EXPECT_FALSE(a == b);
    EXPECT_TRUE(a.HasSameTitles(b));

    // An item that one of them lacks, or a renamed user item, changes the titles.
    b = Sample();
    b.posTxYaw = 0;
    EXPECT_FALSE(a.HasSameTitles(b));
    b = Sample();
    b.userItems[1].name = "utc";
    EXPECT_FALSE(a.HasSameTitles(b));
    EXPECT_TRUE(platform.messages.empty());

    // A component of one that the other does not have.
    xTRClasf counts;
    counts[107] = 0;
    counts[109] = 3;
    b = Sample();
    b.SetClassification(counts);
    EXPECT_FALSE(a == b);
    EXPECT_FALSE(a.HasSameTitles(b));
    EXPECT_EQ(
        platform.Texts("error"),
        (std::vector<std::string>{"xEMFDesc::operator==() - failed to recover orientation.",
                                  "xEMFDesc::HasSameTitles() - failed to recover orientation."}));
    // The other way round the components are there, but the counts differ.
    EXPECT_FALSE(b == a);
    EXPECT_EQ(platform.messages.size(), 2u);
}

TEST(xEMFDesc, WideValuesStillReadBack) {
    xEMFDesc format = Sample();
    format.itemsPerRecord = 1234567;
    format.channelMap[1][109] = 654321;
    format.userItems = {{"twenty_characters_20", 4321}};
    xEMFDesc back;
    ASSERT_TRUE(ReadBlock(back, Written(format)));
    EXPECT_EQ(back.itemsPerRecord, 1234567);
    EXPECT_EQ(back.ChannelPosition(1, 109), 654321);
    EXPECT_EQ(back.userItems, format.userItems);
    EXPECT_EQ(Written(back), Written(format));
}

TEST(xEMFDesc, TruncatedBlocksFailAndLeaveTheFormatAlone) {
    for (const std::string* text : {&kTimeBlock, &kFrequencyBlock}) {
        const bool frequencyDomain = text == &kFrequencyBlock;
        for (std::size_t cut = 0; cut + 1 < text->size(); ++cut) {
            xEMFDesc format;
            format.title = "untouched";
            std::istringstream stream(text->substr(0, cut));
            xDscReader in(stream);
            ASSERT_FALSE(format.Read(in, 9, frequencyDomain)) << "cut at " << cut;
            EXPECT_FALSE(in.Ok());
            EXPECT_EQ(format.title, "untouched");
        }
    }
    // Only the last line end may be missing.
    xEMFDesc format;
    EXPECT_TRUE(ReadBlock(format, kTimeBlock.substr(0, kTimeBlock.size() - 1)));
    // Its last line is three numbers: cut inside the last one, it still reads.
    for (std::size_t cut = 0; cut + 2 < kOldBlock.size(); ++cut)
        ASSERT_FALSE(ReadBlock(format, kOldBlock.substr(0, cut), 8)) << "cut at " << cut;
}

TEST(xEMFDesc, BrokenValuesFailTheReader) {
    const auto replaced = [](std::string text, const std::string& from, const std::string& to) {
        return text.replace(text.find(from), from.size(), to);
    };
    const std::vector<std::string> broken{
        replaced(kTimeBlock, "    20\n", "twenty\n"),
        replaced(kTimeBlock, "     2     0     0     0     0     0     0     0    12",
                 "     2     0     0     0     0     0     0     0    1x"),
        replaced(kTimeBlock, "    13     0    16\n", "    13     0\n"),  // a short row
        replaced(kTimeBlock, "    16\n", " 1e30\n"),
        replaced(kTimeBlock, "FID              2", "FID              b"),
        replaced(kTimeBlock, "gps_time        18   2\n", "gps_time\n"),
    };
    for (const std::string& text : broken) {
        xEMFDesc format;
        EXPECT_FALSE(ReadBlock(format, text)) << text;
    }

    // More channel rows than any system has.
    std::string many = kTimeBlock.substr(0, kTimeBlock.find("     1     0"));
    for (long row = 1; row <= xEMFDesc::MaxChannels + 1; ++row)
        many += "     1     0     0     0     0     0     0     0     0     0     1\n";
    many += kTimeBlock.substr(kTimeBlock.find("----------------------"));
    xEMFDesc format;
    EXPECT_FALSE(ReadBlock(format, many));
}
