#include "xTRClasf.h"

#include <gtest/gtest.h>

#include <sstream>
#include <vector>

#include "xRecordingPlatform.h"

namespace {

std::vector<long> IdsOf(const xTRClasf& c) {
    std::vector<long> ids;
    for (long id : c.Ids()) ids.push_back(id);
    return ids;
}

}  // namespace

// The names spell out their axes, so the table can be checked against itself
// through the axis names: "T" + tx + "R" + rx.
TEST(Components, NamesAxesAndIdsAgree) {
    for (int tx = AxisX; tx <= AxisZ; ++tx) {
        for (int rx = AxisX; rx <= AxisZ; ++rx) {
            long id = IdFromAxes(tx, rx);
            ASSERT_GE(id, FirstComponent);
            ASSERT_LE(id, LastComponent);
            EXPECT_EQ(TxAxis(id), tx);
            EXPECT_EQ(RxAxis(id), rx);
            EXPECT_EQ(ComponentName(id), "T" + AxisName(tx) + "R" + AxisName(rx));
            EXPECT_EQ(ComponentId(ComponentName(id)), id);
            EXPECT_EQ(AxisFromName(AxisName(rx)), rx);
        }
    }
    EXPECT_EQ(IdFromAxes(AxisZ, AxisX), 107);
    EXPECT_EQ(Colour(101), 0x00FF00u);
    EXPECT_EQ(Colour(102), 0xFF9900u);
    EXPECT_EQ(Colour(107), 0xFF0000u);
    EXPECT_EQ(Colour(109), 0x0000FFu);
}

TEST(Components, TypedNamesTakeAnyCaseAndTheTwoAxes) {
    for (auto [typed, id] : {std::pair{"TzRz", 109L},
                             {"tzrz", 109L},
                             {"ZZ", 109L},
                             {"zx", 107L},
                             {"xy", 102L},
                             {"TXRY", 102L}})
        EXPECT_EQ(ComponentIdTyped(typed), id) << typed;
    for (const char* typed : {"", "Z", "ZT", "TzRzz", "????", "tr"})
        EXPECT_EQ(ComponentIdTyped(typed), UndefinedComponent) << typed;
}

TEST(Components, OutsideTheTable) {
    EXPECT_EQ(ComponentName(100), "????");
    EXPECT_EQ(ComponentName(110), "undefined");
    EXPECT_EQ(ComponentId("tzrz"), 100);
    EXPECT_EQ(ComponentId("????"), 100);
    EXPECT_EQ(IdFromAxes(AxisTotal, AxisTotal), 100);
    EXPECT_EQ(IdFromAxes(0, AxisX), 100);
    EXPECT_EQ(TxAxis(100), AxisTotal);
    EXPECT_EQ(RxAxis(100), AxisTotal);
    // Unknown ids have always answered y.
    EXPECT_EQ(TxAxis(110), AxisY);
    EXPECT_EQ(RxAxis(0), AxisY);
    EXPECT_EQ(Colour(100), DefaultComponentColour);
    EXPECT_EQ(Colour(111), DefaultComponentColour);
    EXPECT_EQ(AxisName(AxisTotal), "t");
    EXPECT_EQ(AxisName(5), "undefined");
    EXPECT_EQ(AxisFromName("Y"), 0);
}

TEST(TRClasf, FromAnotherArrayByPositionOrWarns) {
    xRecordingPlatform platform;
    LongArray ten(10);  // 0..9: the source's bounds do not matter
    for (long i = 0; i < 10; ++i) ten[i] = static_cast<std::int32_t>(i * 10);
    xTRClasf c(ten);
    EXPECT_EQ(c[100], 0);
    EXPECT_EQ(c[103], 30);
    EXPECT_EQ(c[109], 90);
    EXPECT_TRUE(platform.messages.empty());

    LongArray nine(101, 109);
    nine[101] = 7;
    xTRClasf d(nine);
    EXPECT_EQ(IdsOf(d), std::vector<long>{109});
    c = nine;
    EXPECT_EQ(c[103], 30);
    EXPECT_EQ(platform.Texts("warning"),
              std::vector<std::string>(
                  2, "xTRClasf:: Attempt to initialize using incompatible array size."));
}

TEST(TRClasf, AxesPresentAndTheirWarnings) {
    xRecordingPlatform platform;
    xTRClasf c;
    c[109] = 0;
    c[107] = 5;  // TzRx
    c[100] = 3;  // belongs to no axis
    EXPECT_TRUE(c.HasTxComponent(AxisZ));
    EXPECT_FALSE(c.HasTxComponent(AxisX));
    EXPECT_TRUE(c.HasRxComponent(AxisX));
    EXPECT_FALSE(c.HasRxComponent(AxisZ));
    EXPECT_FALSE(c.HasRxComponent(AxisY));
    EXPECT_TRUE(platform.messages.empty());

    EXPECT_FALSE(c.HasRxComponent(AxisTotal));
    EXPECT_FALSE(c.HasTxComponent(0));
    EXPECT_EQ(platform.Texts("warning"),
              (std::vector<std::string>{"xTRClasf::HasRxComponent()  Unknown component.",
                                        "xTRClasf::HasTxComponent()  Unknown component."}));
}

// A new one selects TzRz alone.
TEST(TRClasf, IteratorWalksNonZeroIdsAscending) {
    xTRClasf c;
    EXPECT_EQ(IdsOf(c), std::vector<long>{109});
    EXPECT_EQ(c.Sum(), 1);
    c[109] = 0;
    EXPECT_TRUE(IdsOf(c).empty());
    c[109] = 2;
    c[100] = 1;
    c[103] = -4;
    c[104] = 1;
    EXPECT_EQ(IdsOf(c), (std::vector<long>{100, 103, 104, 109}));
    EXPECT_EQ(c.NumberOfComponents(), 4);
}

TEST(TRClasf, TextFormAsTheDescriptorWritesIt) {
    xTRClasf c;
    c[101] = 12;
    c[107] = 99999;
    c[109] = 20;
    std::ostringstream out;
    c.WriteText(out);
    EXPECT_EQ(out.str(),
              "  TxRx  TxRy  TxRz  TyRx  TyRy  TyRz  TzRx  TzRy  TzRz\n"
              "    12     0     0     0     0     0 99999     0    20\n");

    // Wider than the columns: the layout gives way rather than joining numbers.
    c[103] = 1234567;
    out.str("");
    c.WriteText(out);
    std::istringstream in(out.str() + "next block\n");
    xTRClasf back;
    ASSERT_TRUE(back.ReadText(in));
    EXPECT_TRUE(back == c);
    std::string next;
    std::getline(in, next);
    EXPECT_EQ(next, "next block");
}

TEST(TRClasf, ReadIgnoresLabelAndRestOfLine) {
    std::istringstream in("whatever the label says\n1 0 0 0 0 0 0 0 2 trailing words\nnext\n");
    xTRClasf c;
    ASSERT_TRUE(c.ReadText(in));
    EXPECT_EQ(IdsOf(c), (std::vector<long>{101, 109}));
    std::string next;
    std::getline(in, next);
    EXPECT_EQ(next, "next");

    // The last line of a stream may lack its end.
    std::istringstream last("label\n0 0 3 0 0 0 0 0 0");
    ASSERT_TRUE(c.ReadText(last));
    EXPECT_EQ(IdsOf(c), std::vector<long>{103});
    EXPECT_FALSE(last.fail());

    for (const char* text :
         {"", "label only\n", "label\n1 2 3 4\n", "label\n1 2 x 4 5 6 7 8 9\n"}) {
        std::istringstream broken(text);
        xTRClasf d;
        EXPECT_FALSE(d.ReadText(broken)) << text;
        EXPECT_EQ(IdsOf(d), std::vector<long>{109}) << text;
    }
}
