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

// Off a terminal a stage is a line and its status another; on one, a bar drawn
// again only when its percentage changes, ended before a message.
TEST(ConsolePlatform, ProgressIsALinePerStageOrABar) {
    for (bool terminal : {false, true}) {
        std::ostringstream out;
        xConsolePlatform console(out, terminal);
        console.ProgressOpen("Deconvolution/");
        console.ProgressRange(0, 4);
        for (long i : {2, 2}) console.ProgressAdvance(i);
        if (!terminal) console.ProgressStatus("Line 10010");
        console.Note("half way");
        EXPECT_EQ(
            out.str(),
            terminal ? "\r###############............... 50% Deconvolution/\x1b[K\nnote: half way\n"
                     : "Deconvolution/\n  Line 10010\nnote: half way\n");
    }
}
