#include "xConsolePlatform.h"

#include <gtest/gtest.h>

#include <sstream>

TEST(ConsolePlatform, MessagesCarryTheirKind) {
    std::ostringstream out;
    xConsolePlatform console(out, false);
    console.Error("Cannot find specified descriptor file.");
    console.Warning("two\nlines");
    console.Note("done");
    EXPECT_THROW(console.Fatal("xArray: Out of memory!"), xFatalError);
    EXPECT_EQ(out.str(),
              "error: Cannot find specified descriptor file.\nwarning: two\n    lines\nnote: done\n"
              "fatal: xArray: Out of memory!\n");
    EXPECT_EQ(console.Errors(), 1);
}

TEST(ConsolePlatform, QuestionsFollowRulesElseTheFirstCaption) {
    std::ostringstream out;
    xConsolePlatform console(out, false);
    xConsolePlatform::AnswerRule rule;
    ASSERT_TRUE(xConsolePlatform::ParseRule("nearly full=Break", rule));
    console.AddRule(rule);
    EXPECT_EQ(console.Question("Your current drive is nearly full, mate!", {"Continue", "Break"}),
              1);
    EXPECT_EQ(console.Question("Select the module to execute?", {"Yes", "No"}), 0);
    EXPECT_EQ(
        out.str(),
        "question: Your current drive is nearly full, mate!\n    [Continue / Break] -> Break\n"
        "question: Select the module to execute?\n    [Yes / No] -> Yes\n");

    EXPECT_FALSE(xConsolePlatform::ParseRule("no equals sign", rule));
    EXPECT_FALSE(xConsolePlatform::ParseRule("=Yes", rule));
    EXPECT_FALSE(xConsolePlatform::ParseRule("text=", rule));
}

TEST(ConsolePlatform, ProgressOffATerminalIsOneLinePerStage) {
    std::ostringstream out;
    xConsolePlatform console(out, false);
    console.ProgressOpen("ASCII->BIN/");
    console.ProgressRange(0, 10);
    for (long i = 0; i <= 10; ++i) console.ProgressAdvance(i);
    console.ProgressStatus("Line 10010");
    console.ProgressClose();
    EXPECT_EQ(out.str(), "ASCII->BIN/\n  Line 10010\n");
}

TEST(ConsolePlatform, ProgressOnATerminalIsABar) {
    std::ostringstream out;
    xConsolePlatform console(out, true);
    console.ProgressOpen("Deconvolution/");
    console.ProgressRange(0, 4);
    console.ProgressAdvance(2);
    console.ProgressAdvance(2);  // same percentage: not drawn again
    console.Note("half way");
    EXPECT_EQ(out.str(),
              "\r###############............... 50% Deconvolution/\x1b[K\nnote: half way\n");
}
