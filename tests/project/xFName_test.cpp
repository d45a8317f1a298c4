#include "xFName.h"

#include <gtest/gtest.h>

#include <functional>

#include "xRecordingPlatform.h"

// Each setter on "survey.EMW" and the name it leaves, written out by hand.
TEST(FName, SettersRebuildTheName) {
    xRecordingPlatform platform;
    using Change = std::function<void(xFName&)>;
    const std::vector<std::pair<Change, std::string>> cases = {
        // The whole name is replaced, and an orientation does not survive it.
        {[](xFName& n) { n.SetOrientation("_z"), n.SetName("line_x.EMG"); }, "line.EMG"},
        {[](xFName& n) { n.SetName(".AMP"); }, ".AMP"},
        // Too short to be a name: ignored.
        {[](xFName& n) { n.SetName("abc"), n.SetName("a.b"), n.SetName(""); }, "survey.EMW"},
        {[](xFName& n) { n.SetOrientation(""); }, "survey.EMW"},
        {[](xFName& n) { n.SetOrientation("_z"), n.SetOrientation("_x"); }, "survey_x.EMW"},
        {[](xFName& n) { n.SetOrientation("_z"), n.SetOrientation(""); }, "survey.EMW"},
        // The check of the four letters is switched off: anything goes in.
        {[](xFName& n) { n.SetOrientation("_long"); }, "survey_long.EMW"},
        {[](xFName& n) { n.SetOrientation("_z"), n.SetExtension("DSC"); }, "survey_z.DSC"},
        // A new base keeps of the old name only its dot and extension.
        {[](xFName& n) { n.SetOrientation("_z"), n.SetBase("line"); }, "line.EMW"},
        {[](xFName& n) { n.assign("survey"), n.SetExtension("BIN"); }, "survey.BIN"},
    };
    for (const auto& [change, expected] : cases) {
        xFName name("survey.EMW");
        change(name);
        EXPECT_EQ(name, expected);
    }
    EXPECT_TRUE(platform.messages.empty());
    EXPECT_FALSE(xFName::IsLegalOrientation("_long"));

    xFName name("survey.EMW");
    name.SetOrientation("_z");
    EXPECT_EQ(name.GetBase(), "survey_z");
    EXPECT_EQ(name.GetOrientationAndExtension(), ".EMW");
    EXPECT_EQ(name.GetExtension(), "EMW");
    name.SetName(".AMP");
    EXPECT_EQ(name.GetBase(), "");
}

// A refused value is fatal and leaves the name as it was.
TEST(FName, MalformedNamesAndExtensionsAreFatal) {
    xRecordingPlatform platform;
    xFName name("survey.EMW");
    for (const char* text : {"abcd", "survey.EMWX", "survey.EM"})
        EXPECT_THROW(name.SetName(text), xFatalError) << text;
    for (const char* text : {"EM", "EMWX"}) EXPECT_THROW(name.SetExtension(text), xFatalError);
    EXPECT_EQ(name, "survey.EMW");
    std::vector<std::string> expected(3,
                                      "xFName :: Illegal file name supplied (incorrect format).");
    expected.resize(5, "xFName :: Attempt to set illegal extension (not equal to 3 chars).");
    EXPECT_EQ(platform.Texts("fatal"), expected);
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
