#include "xLaunch.h"

#include <gtest/gtest.h>

TEST(Launch, CommandLinesKeepQuotedPathsWhole) {
    EXPECT_EQ(SplitCommandLine("sysedit400.exe \"/data/my survey/a.DSC\""),
              (std::vector<std::string>{"sysedit400.exe", "/data/my survey/a.DSC"}));
    EXPECT_EQ(SplitCommandLine("  edit   a  \"\" "), (std::vector<std::string>{"edit", "a", ""}));
    EXPECT_TRUE(SplitCommandLine("   ").empty());
}

TEST(Launch, MissingProgramsAnswerNotFound) {
    EXPECT_EQ(LaunchDetached("/nonexistent/sysedit400.exe \"a.DSC\""), 2);
    EXPECT_EQ(LaunchDetached("no-such-program-of-tovarn"), 2);
    EXPECT_EQ(LaunchDetached(""), 2);
    EXPECT_EQ(LaunchDetached("true"), 0);
}
