#include "xFName.h"

#include <gtest/gtest.h>

#include "xRecordingPlatform.h"

TEST(FName, SetNameTakesBaseAndExtensionOnly) {
    xFName name("survey.EMW");
    EXPECT_EQ(name.GetBase(), "survey");
    EXPECT_EQ(name.GetOrientationAndExtension(), ".EMW");
    EXPECT_EQ(name.GetExtension(), "EMW");

    // The whole name is replaced, and an orientation does not survive it.
    name.SetOrientation("_z");
    name.SetName("line_x.EMG");
    EXPECT_EQ(name, "line.EMG");
    name.SetName(".AMP");
    EXPECT_EQ(name, ".AMP");
    EXPECT_EQ(name.GetBase(), "");
}

TEST(FName, ShortNamesAreIgnoredAndMalformedOnesFatal) {
    xRecordingPlatform platform;
    xFName name("survey.EMW");
    for (const char* text : {"abc", "a.b", ""}) name.SetName(text);
    EXPECT_EQ(name, "survey.EMW");

    for (const char* text : {"abcd", "survey.EMWX", "survey.EM"})
        EXPECT_THROW(name.SetName(text), xFatalError) << text;
    EXPECT_EQ(
        platform.Texts("fatal"),
        std::vector<std::string>(3, "xFName :: Illegal file name supplied (incorrect format)."));
    EXPECT_EQ(name, "survey.EMW");
}

TEST(FName, OrientationGoesBeforeTheDot) {
    xRecordingPlatform platform;
    xFName name("survey.EMW");
    name.SetOrientation("");
    EXPECT_EQ(name, "survey.EMW");
    name.SetOrientation("_z");
    EXPECT_EQ(name, "survey_z.EMW");
    EXPECT_EQ(name.GetBase(), "survey_z");
    name.SetOrientation("_x");
    EXPECT_EQ(name, "survey_x.EMW");
    name.SetOrientation("");
    EXPECT_EQ(name, "survey.EMW");

    // The check of the four letters is switched off: anything goes in.
    name.SetOrientation("_long");
    EXPECT_EQ(name, "survey_long.EMW");
    EXPECT_TRUE(platform.messages.empty());
    EXPECT_FALSE(xFName::IsLegalOrientation("_long"));
}

TEST(FName, BaseAndExtension) {
    xRecordingPlatform platform;
    xFName name("survey.EMW");
    name.SetOrientation("_z");
    name.SetExtension("DSC");
    EXPECT_EQ(name, "survey_z.DSC");
    name.SetBase("line");  // keeps only the last four
    EXPECT_EQ(name, "line.DSC");

    EXPECT_THROW(name.SetExtension("EM"), xFatalError);
    EXPECT_THROW(name.SetExtension("EMWX"), xFatalError);
    EXPECT_EQ(platform.Texts("fatal"),
              std::vector<std::string>(
                  2, "xFName :: Attempt to set illegal extension (not equal to 3 chars)."));
    EXPECT_EQ(name, "line.DSC");

    xFName bare;
    bare.assign("survey");
    bare.SetExtension("BIN");
    EXPECT_EQ(bare, "survey.BIN");
}

TEST(FName, PartsOfShortNames) {
    xFName name;
    name.assign("abcd");
    EXPECT_EQ(name.GetExtension(), "bcd");
    EXPECT_EQ(name.GetOrientationAndExtension(), "abcd");
    EXPECT_EQ(name.GetBase(), "");
    name.assign("ab");
    EXPECT_EQ(name.GetExtension(), "ab");
    EXPECT_EQ(name.GetBase(), "");
}

TEST(FNameView, PartsAndTheirChecks) {
    xRecordingPlatform platform;
    xFName name("survey.EMW");
    name.SetOrientation("_z");
    xFNameView view(name, false);
    EXPECT_EQ(view.Caption(), "survey");
    EXPECT_EQ(view.Orientation(), "_z");
    EXPECT_EQ(view.Extension(), "EMW");
    EXPECT_FALSE(view.Editable());

    view.SetOrientation("_T");
    EXPECT_EQ(view.Name(), "survey_t.EMW");
    view.SetOrientation("");
    EXPECT_EQ(view.Name(), "survey.EMW");
    for (const char* bad : {"z", "_q", "_zz"})
        EXPECT_THROW(view.SetOrientation(bad), xFatalError) << bad;
    EXPECT_EQ(platform.Texts("fatal"),
              std::vector<std::string>(3, "xFNameView :: Illegal orientation specified."));

    view.SetExtension("AM");
    EXPECT_THROW(view.SetExtension("EMWX"), xFatalError);
    EXPECT_TRUE(platform.Saw("fatal", "xFNameView :: Illegal extension specified."));
    EXPECT_EQ(view.Extension(), "AM");
}
