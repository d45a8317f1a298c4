#include "xAsciiScanner.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

using Status = xAsciiScanner::Status;

// Every number of the text, read until the scanner stops.
std::vector<float> Numbers(const std::string& text, std::size_t capacity) {
    std::istringstream in(text);
    xAsciiScanner scanner(in, capacity);
    std::vector<float> values;
    float v = 0;
    while (scanner.ReadFloat(v) == Status::Ok) values.push_back(v);
    return values;
}

}  // namespace

TEST(AsciiScanner, NumbersReadAsAStreamReadsThemAcrossRefills) {
    std::string text;
    std::vector<float> expected;
    for (int i = 0; i < 3000; ++i) {
        const float v = float(i) * 0.37f - 500.0f;
        std::ostringstream item;
        item.precision(9);
        item << v << (i % 7 == 0 ? "\r\n" : (i % 5 == 0 ? "\t" : "  "));
        text += item.str();
        expected.push_back(v);
    }
    // The smallest buffer makes numbers straddle every refill.
    EXPECT_EQ(Numbers(text, 1), expected);
    EXPECT_EQ(Numbers("+5 -2.5e3 .5 1E-2", 1), (std::vector<float>{5, -2500, 0.5f, 0.01f}));
}

TEST(AsciiScanner, AFailedReadConsumesNothing) {
    for (const char* bad : {"abc", "-x", "+-5", "nan", "inf", "*", "1e999"}) {
        std::istringstream in(std::string(bad) + " 7");
        xAsciiScanner scanner(in);
        float v = 0;
        EXPECT_EQ(scanner.ReadFloat(v), Status::Bad) << bad;
        EXPECT_EQ(scanner.Tell(), 0) << bad;
        scanner.SkipWord();
        EXPECT_EQ(scanner.ReadFloat(v), Status::Ok) << bad;
        EXPECT_EQ(v, 7.0f);
    }
    std::istringstream glued("1.5abc 2");
    xAsciiScanner scanner(glued);
    float v = 0;
    EXPECT_EQ(scanner.ReadFloat(v), Status::Ok);
    EXPECT_EQ(scanner.ReadFloat(v), Status::Bad);
    EXPECT_EQ(scanner.Previous(), '5');
}

TEST(AsciiScanner, TheEndIsSeenAsAStreamSeesIt) {
    std::istringstream trailing("1 2\n");
    xAsciiScanner a(trailing);
    float v = 0;
    a.ReadFloat(v);
    a.ReadFloat(v);
    a.SkipLine();
    EXPECT_TRUE(a.Good());
    EXPECT_EQ(a.ReadFloat(v), Status::End);
    EXPECT_FALSE(a.Good());

    std::istringstream bare("1 2");
    xAsciiScanner b(bare);
    b.ReadFloat(v);
    EXPECT_TRUE(b.Good());
    b.ReadFloat(v);
    EXPECT_FALSE(b.Good());  // the last digit ran into the end
    b.Seek(0);
    EXPECT_TRUE(b.Good());
    EXPECT_EQ(b.ReadFloat(v), Status::Ok);
    EXPECT_EQ(v, 1.0f);
}

TEST(AsciiScanner, LinesEndInAnyOfTheThreeWays) {
    using End = xAsciiScanner::LineEnd;
    const std::pair<const char*, End> cases[] = {{"a b\nc", End::Unix},
                                                 {"a b\r\nc", End::Dos},
                                                 {"a b\rc", End::Mac},
                                                 {"a b c", End::Unknown}};
    for (const auto& [text, end] : cases) {
        std::istringstream in(text);
        xAsciiScanner scanner(in, 1);
        EXPECT_EQ(scanner.DetectLineEnd(), end) << text;
        EXPECT_EQ(scanner.Tell(), 0);
        scanner.SkipLine();
        std::string word;
        if (end == End::Unknown) {
            EXPECT_FALSE(scanner.Good());
        } else {
            EXPECT_TRUE(scanner.ReadWord(word));
            EXPECT_EQ(word, "c") << text;
        }
    }
}

TEST(AsciiScanner, SeekingBackReadsTheSameTextAgain) {
    std::string text = "LINE 10\n";
    for (int i = 0; i < 200; ++i) text += "1 2 3 4 5 6 7 8\n";
    std::istringstream in(text);
    xAsciiScanner scanner(in, 1);
    std::string word;
    ASSERT_TRUE(scanner.ReadWord(word));
    EXPECT_EQ(word, "LINE");
    for (int i = 0; i < 1000; ++i) scanner.SkipWord(), scanner.ReadWord(word);
    scanner.Seek(5);  // long gone from the buffer
    float v = 0;
    EXPECT_EQ(scanner.ReadFloat(v), Status::Ok);
    EXPECT_EQ(v, 10.0f);
    EXPECT_EQ(scanner.Previous(), '0');
    EXPECT_EQ(scanner.Text(0, 4), "");  // no more in the buffer
    scanner.Seek(0);
    scanner.SkipLine();
    EXPECT_EQ(scanner.Text(0, scanner.Tell()), "LINE 10\n");

    std::istringstream huge(std::string(100000, 'w') + " next");
    xAsciiScanner words(huge, 1);
    ASSERT_TRUE(words.ReadWord(word));
    EXPECT_EQ(word.size(), xAsciiScanner::MaxWord);
    ASSERT_TRUE(words.ReadWord(word));
    EXPECT_EQ(word, "next");
}
