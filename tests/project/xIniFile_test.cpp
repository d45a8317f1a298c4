#include "xIniFile.h"

#include <gtest/gtest.h>

#include "TempFolder.h"
#include "xRecordingPlatform.h"

namespace fs = std::filesystem;

namespace {

const std::string kOrderKey =
    "Lines Order(LINE_LOCATION_FROM_ORIGIN,DECREASING_LINE_NUMBER,INCREASING_LINE_NUMBER,"
    "INCREASING_OFFSET)=";

// What a new configuration writes, spelled out by hand.
const std::string kDefaultText =
    "[EDITOR]\n"
    "Name=sysedit400.exe\n"
    "\n"
    "[PROJECTS]\n"
    "\n"
    "[CDI]\n"
    "Unresolved Color(WHITE,BLUE,GRAY,GREEN,LTGRAY)=WHITE\n"
    "Default filename extension for CDI ASCII file (DOC)=DOC\n"
    "Inspect input for correct amplitudes scale (Yes,No)=No\n"
    "Acceptable amplitude scale deviation level=10\n"
    "\n"
    "[SYSTEM]\n"
    "Font Family(SYSTEM,COURIER,HELVETICA,TIMES)=SYSTEM\n"
    "Font Style(NONE,BOLD,ITALIC)=BOLD\n"
    "Font Size=10\n" +
    kOrderKey +
    "LINE_LOCATION_FROM_ORIGIN\n"
    "\n"
    "[APPROX]\n"
    "ThinSheet(TxRx,..,TzRz)=0 0 0 0 0 0 4 0 3\n"
    "HalfSpace(TxRx,..,TzRz)=0 0 0 0 0 0 2.5 0 1.5\n"
    "Number_of_extra_taus=2\n"
    "\n"
    "[DYNAMIC CONTROLS]\n"
    "Title=\n"
    "Command=\n"
    "\n";

// Every field away from its default, one section per entry, in file order.
const std::vector<std::string> kCustomSections = {
    "[EDITOR]\n"
    "Name=C:\\tools\\editor.exe\n\n",
    "[PROJECTS]\n"
    "Project1=/data/a/north.PAR\n"
    "Project2=/data/b/south.PAR\n\n",
    "[CDI]\n"
    "Unresolved Color(WHITE,BLUE,GRAY,GREEN,LTGRAY)=LTGRAY\n"
    "Default filename extension for CDI ASCII file (DOC)=TXT\n"
    "Inspect input for correct amplitudes scale (Yes,No)=Yes\n"
    "Acceptable amplitude scale deviation level=2.5\n\n",
    "[SYSTEM]\n"
    "Font Family(SYSTEM,COURIER,HELVETICA,TIMES)=COURIER\n"
    "Font Style(NONE,BOLD,ITALIC)=ITALIC\n"
    "Font Size=12\n" +
        kOrderKey + "INCREASING_OFFSET\n\n",
    "[APPROX]\n"
    "ThinSheet(TxRx,..,TzRz)=1 2 3 4 5 6 7 8 9\n"
    "HalfSpace(TxRx,..,TzRz)=0.5 0 0 0 0 0 1.25 0 0.75\n"
    "Number_of_extra_taus=4\n\n",
    "[DYNAMIC CONTROLS]\n"
    "Title=Backup\n"
    "Command=backup.exe --all\n\n",
};

// The line that follows the system's warning and says where the reader looked.
std::string At(long line, const std::string& what) {
    return "\nTovarn.INI:" + std::to_string(line) + ": " + what;
}
std::string NotFound(long from, const std::string& section) {
    return At(from, "expected the line \"" + section +
                        "\" here or further on, found the end of the file");
}

enum Section { Editor, Projects, Cdi, System, Approx, Dynamic };

std::string Join(const std::vector<std::string>& sections) {
    std::string text;
    for (const auto& s : sections) text += s;
    return text;
}

std::string Replace(std::string text, const std::string& from, const std::string& to) {
    std::string::size_type at = text.find(from);
    if (at != std::string::npos) text.replace(at, from.size(), to);
    return text;
}

const std::string kIncorrect = "WARNING: Initialization file is incorrect in ";

class IniFileTest : public xTempFolderTest {
  protected:
    fs::path IniPath() const { return dir_ / "Tovarn.INI"; }
    void Put(const std::string& text) const { xTempFolderTest::Put("Tovarn.INI", text); }
    std::string Written() const { return Slurp(IniPath()); }

    xRecordingPlatform platform_;
};

void ExpectDefaultCdi(xIniFile& ini) {
    EXPECT_EQ(ini.GetUnresolvedColor(), xIniFile::Color::White);
    EXPECT_EQ(ini.GetCdiAsciiExtension(), "DOC");
    EXPECT_FALSE(ini.GetInspectAmplitudes());
    EXPECT_EQ(ini.GetAmplitudeDeviation(), 10.0);
}

}  // namespace

// The written texts are the oracle: every default and every key is in them.
TEST_F(IniFileTest, MissingFileGivesDefaultsAndIsCreatedAtTheEnd) {
    {
        xIniFile ini(dir_);
        EXPECT_EQ(ini.GetEditorName(), "sysedit400.exe");
        EXPECT_TRUE(ini.GetRecentProjects().empty());
        EXPECT_EQ(ini.GetThinSheetFactors()[107], 4.0f);  // indexed by component id
        EXPECT_EQ(ini.GetHalfSpaceFactors()[109], 1.5f);
        EXPECT_FALSE(fs::exists(IniPath()));
    }
    EXPECT_EQ(Written(), kDefaultText);
    EXPECT_TRUE(platform_.messages.empty());
}

TEST_F(IniFileTest, EveryFieldReadsAndWritesBackAsItWas) {
    const std::string text = Join(kCustomSections);
    Put(text);
    {
        xIniFile ini(dir_);
        EXPECT_EQ(ini.GetRecentProjects(),
                  (std::vector<std::string>{"/data/a/north.PAR", "/data/b/south.PAR"}));
        EXPECT_EQ(ini.GetUnresolvedColor(), xIniFile::Color::LtGray);
        EXPECT_EQ(ini.GetLinesOrder(), 3);
        EXPECT_EQ(ini.GetThinSheetFactors()[103], 3.0f);
        EXPECT_EQ(ini.GetDynamicCommand(), "backup.exe --all");
        fs::remove(IniPath());
        EXPECT_TRUE(ini.Write());
        EXPECT_EQ(Written(), text);
    }
    EXPECT_EQ(Written(), text);
    EXPECT_TRUE(platform_.messages.empty());
}

TEST_F(IniFileTest, BlanksLineEndsAndEmptyLines) {
    // Indented lines, trailing blanks, CR LF ends and nine empty lines before a
    // key are read as if they were not there.
    std::string text = Join(kCustomSections);
    text = Replace(text, "[CDI]\n", "  [CDI]  \n" + std::string(9, '\n'));
    text = Replace(text, "Font Size=12\n", "\t Font Size=12 \n");
    std::string crlf;
    for (char c : text) crlf += c == '\n' ? std::string("\r\n") : std::string(1, c);
    Put(crlf);
    {
        xIniFile ini(dir_);
        EXPECT_TRUE(platform_.messages.empty());
    }
    EXPECT_EQ(Written(), Join(kCustomSections));

    // Ten are too many: the key is missing.
    Put(Replace(Join(kCustomSections), "[CDI]\n", "[CDI]\n" + std::string(10, '\n')));
    xIniFile ini(dir_);
    EXPECT_EQ(
        platform_.Texts("warning"),
        std::vector<std::string>{
            kIncorrect + "[CDI]\nUnresolved Color(WHITE,BLUE,GRAY,GREEN,LTGRAY)=." +
            At(18, "expected \"Unresolved Color(WHITE,BLUE,GRAY,GREEN,LTGRAY)=\", found \"\"")});
    ExpectDefaultCdi(ini);
    EXPECT_EQ(ini.GetFontSize(), 12);
}

TEST_F(IniFileTest, SectionOutOfOrderKeepsItsDefaults) {
    // [CDI] ahead of [PROJECTS]: the search for it starts after the projects.
    std::vector<std::string> sections = kCustomSections;
    std::swap(sections[Projects], sections[Cdi]);
    Put(Join(sections));
    xIniFile ini(dir_);
    EXPECT_EQ(platform_.Texts("warning"),
              std::vector<std::string>{kIncorrect + "[CDI]." + NotFound(13, "[CDI]")});
    ExpectDefaultCdi(ini);
    // The sections after it are still found.
    EXPECT_EQ(ini.GetRecentProjects().size(), 2u);
    EXPECT_EQ(ini.GetFontSize(), 12);
    EXPECT_EQ(ini.GetDynamicTitle(), "Backup");
}

TEST_F(IniFileTest, EmptyFileWarnsForEverySection) {
    Put("");
    xIniFile ini(dir_);
    std::vector<std::string> expected;
    for (std::string section :
         {"[EDITOR]", "[PROJECTS]", "[CDI]", "[SYSTEM]", "[APPROX]", "[DYNAMIC CONTROLS]"})
        expected.push_back(kIncorrect + section + "." + NotFound(1, section));
    EXPECT_EQ(platform_.Texts("warning"), expected);
    EXPECT_TRUE(ini.Write());
    EXPECT_EQ(Written(), kDefaultText);
}

TEST_F(IniFileTest, MissingKeyWarnsAndLeavesTheRestOfItsSection) {
    std::vector<std::string> sections = kCustomSections;
    // The line tried in place of the key is the next section's name, which
    // must still be found.
    sections[Editor] = "[EDITOR]\n";
    // The colour is read; the flag and the level after the gap are not.
    sections[Cdi] =
        Replace(sections[Cdi], "Default filename extension for CDI ASCII file (DOC)=TXT\n", "");
    Put(Join(sections));
    xIniFile ini(dir_);
    EXPECT_EQ(
        platform_.Texts("warning"),
        (std::vector<std::string>{
            kIncorrect + "[EDITOR]\nName=." + At(2, "expected \"Name=\", found \"[PROJECTS]\""),
            kIncorrect + "[CDI]\nDefault filename extension for CDI ASCII file (DOC)=." +
                At(8,
                   "expected \"Default filename extension for CDI ASCII file (DOC)=\", "
                   "found \"Inspect input for correct amplitudes scale (Yes,No)=Yes\"")}));
    EXPECT_EQ(ini.GetEditorName(), "sysedit400.exe");
    EXPECT_EQ(ini.GetRecentProjects().size(), 2u);
    EXPECT_EQ(ini.GetUnresolvedColor(), xIniFile::Color::LtGray);
    EXPECT_EQ(ini.GetCdiAsciiExtension(), "DOC");
    EXPECT_FALSE(ini.GetInspectAmplitudes());
    EXPECT_EQ(ini.GetAmplitudeDeviation(), 10.0);
    EXPECT_EQ(ini.GetFontSize(), 12);
}

TEST_F(IniFileTest, FontAndLineOrderMessagesNameTheirGroups) {
    std::vector<std::string> sections = kCustomSections;
    sections[System] = Replace(sections[System], "Font Size=12\n", "");
    Put(Join(sections));
    {
        xIniFile ini(dir_);
        EXPECT_EQ(platform_.Texts("warning"),
                  std::vector<std::string>{
                      kIncorrect + "[Font]\nFont Size=." +
                      At(17,
                         "expected \"Font Size=\", found \"Lines "
                         "Order(LINE_LOCATION_FROM_ORIGIN,DECREASING_LINE_NUMBER...\"")});
        EXPECT_EQ(ini.GetFontStyle(), xIniFile::FontStyle::Italic);
        EXPECT_EQ(ini.GetLinesOrder(), 0);  // the rest of [SYSTEM]
        EXPECT_EQ(ini.GetExtraTaus(), 4);
    }
    platform_.messages.clear();
    Put(Replace(Join(kCustomSections), kOrderKey, "Line Order="));
    xIniFile ini(dir_);
    EXPECT_EQ(platform_.Texts("warning"),
              std::vector<std::string>{kIncorrect + "[Line Order]\n" + kOrderKey + "." +
                                       At(18, "expected \"" + kOrderKey +
                                                  "\", found \"Line Order=INCREASING_OFFSET\"")});
    EXPECT_EQ(ini.GetFontSize(), 12);
    EXPECT_EQ(ini.GetLinesOrder(), 0);
}

TEST_F(IniFileTest, UnknownValuesKeepDefaultsButColoursFallToBlue) {
    std::string text = Join(kCustomSections);
    for (auto [from, to] :
         std::vector<std::pair<std::string, std::string>>{{"=ITALIC", "=UNDERLINE"},
                                                          {"=COURIER", "=ARIAL"},
                                                          {"=INCREASING_OFFSET", "=RANDOM"},
                                                          {"level=2.5", "level=high"},
                                                          {"Font Size=12", "Font Size="},
                                                          {"=1 2 3 4 5 6 7 8 9", "=1 2 3"}})
        text = Replace(text, from, to);
    const std::vector<std::pair<std::string, xIniFile::Color>> colours = {
        {"WHITE", xIniFile::Color::White},   {"BLUE", xIniFile::Color::Blue},
        {"GRAY", xIniFile::Color::Gray},     {"GREEN", xIniFile::Color::Green},
        {"LTGRAY", xIniFile::Color::LtGray}, {"white", xIniFile::Color::Blue},
        {"PURPLE", xIniFile::Color::Blue}};
    for (const auto& [name, colour] : colours) {
        Put(Replace(text, "=LTGRAY", "=" + name));
        xIniFile ini(dir_);
        EXPECT_EQ(ini.GetUnresolvedColor(), colour) << name;
        EXPECT_EQ(ini.GetFontStyle(), xIniFile::FontStyle::Bold);
        EXPECT_EQ(ini.GetFontFamily(), xIniFile::FontFamily::System);
        EXPECT_EQ(ini.GetLinesOrder(), 0);
        EXPECT_EQ(ini.GetAmplitudeDeviation(), 10.0);
        EXPECT_EQ(ini.GetFontSize(), 10);
        EXPECT_EQ(ini.GetThinSheetFactors()[101], 0.0f);  // all nine or none
        EXPECT_EQ(ini.GetHalfSpaceFactors()[107], 1.25f);
    }
    // Unknown names are silent; a number that does not read says where it is.
    const std::vector<std::string> warnings = platform_.Texts("warning");
    ASSERT_EQ(warnings.size(), 3 * colours.size());
    EXPECT_EQ(std::vector<std::string>(warnings.begin(), warnings.begin() + 3),
              (std::vector<std::string>{
                  kIncorrect + "[CDI]\nAcceptable amplitude scale deviation level=." +
                      At(12,
                         "expected a number after the key, found \"Acceptable amplitude scale "
                         "deviation level=high\""),
                  kIncorrect + "[Font]\nFont Size=." +
                      At(17, "expected a number after the key, found \"Font Size=\""),
                  kIncorrect + "[APPROX]\nThinSheet(TxRx,..,TzRz)=." +
                      At(21,
                         "expected nine numbers after the key, found "
                         "\"ThinSheet(TxRx,..,TzRz)=1 2 3\"")}));
}

TEST_F(IniFileTest, SixProjectsReadAndTheNextAdditionCutsToFive) {
    std::vector<std::string> sections = kCustomSections;
    sections[Projects] = "[PROJECTS]\n";
    for (int i = 1; i <= 6; ++i)
        sections[Projects] += "Project" + std::to_string(i) + "=p" + std::to_string(i) + ".PAR\n";
    Put(Join(sections));
    xIniFile ini(dir_);
    EXPECT_TRUE(platform_.messages.empty());
    auto& list = ini.GetRecentProjects();
    ASSERT_EQ(list.size(), 6u);
    EXPECT_EQ(list[5], "p6.PAR");

    using List = std::vector<std::string>;
    ini.AddRecentProject("new.PAR");
    EXPECT_EQ(list, (List{"new.PAR", "p1.PAR", "p2.PAR", "p3.PAR", "p4.PAR"}));
    ini.AddRecentProject("p3.PAR");
    EXPECT_EQ(list, (List{"p3.PAR", "new.PAR", "p1.PAR", "p2.PAR", "p4.PAR"}));
    ini.AddRecentProject("p5.PAR");
    EXPECT_EQ(list, (List{"p5.PAR", "p3.PAR", "new.PAR", "p1.PAR", "p2.PAR"}));

    ASSERT_TRUE(ini.Write());
    EXPECT_NE(Written().find("[PROJECTS]\nProject1=p5.PAR\nProject2=p3.PAR\nProject3=new.PAR\n"
                             "Project4=p1.PAR\nProject5=p2.PAR\n\n[CDI]\n"),
              std::string::npos);
}

TEST_F(IniFileTest, ProjectListEndsAtAForeignLineOrTheNextSection) {
    std::vector<std::string> sections = kCustomSections;
    sections[Projects] = "[PROJECTS]\nProject1=a.PAR\nProject0=b.PAR\nProject2=c.PAR\n\n";
    Put(Join(sections));
    {
        xIniFile ini(dir_);
        EXPECT_EQ(platform_.Texts("warning"),
                  std::vector<std::string>{
                      kIncorrect + "[PROJECTS]\nProject#=." +
                      At(6, "expected \"Project<1 to 9>=\", found \"Project0=b.PAR\"")});
        EXPECT_EQ(ini.GetRecentProjects(), std::vector<std::string>{"a.PAR"});
        EXPECT_EQ(ini.GetCdiAsciiExtension(), "TXT");
    }
    // No blank line before the next section.
    platform_.messages.clear();
    sections[Projects] = "[PROJECTS]\nProject9=z.PAR\n";
    Put(Join(sections));
    xIniFile ini(dir_);
    EXPECT_TRUE(platform_.messages.empty());
    EXPECT_EQ(ini.GetRecentProjects(), std::vector<std::string>{"z.PAR"});
    EXPECT_EQ(ini.GetCdiAsciiExtension(), "TXT");
}

TEST_F(IniFileTest, DynamicCommandStartsOnlyForItsTitle) {
    Put(Join(kCustomSections));
    std::vector<std::string> started;
    xIniFile ini(dir_, [&started](const std::string& command) { started.push_back(command); });
    EXPECT_FALSE(ini.RunDynamicCommand("backup"));
    EXPECT_TRUE(ini.RunDynamicCommand("Backup"));
    EXPECT_EQ(started, std::vector<std::string>{"backup.exe --all"});
    // Nothing configured: an empty title starts nothing.
    ini.GetDynamicTitle().clear();
    ini.GetDynamicCommand().clear();
    EXPECT_FALSE(ini.RunDynamicCommand(""));
    EXPECT_EQ(started.size(), 1u);
}

TEST_F(IniFileTest, WriteFailureIsSilentAtTheEnd) {
    fs::path nowhere = dir_ / "no" / "such" / "dir";
    {
        xIniFile ini(nowhere);
        EXPECT_FALSE(ini.Write());
        EXPECT_EQ(SetIniFile(&ini), nullptr);
        EXPECT_EQ(IniFile(), &ini);
    }
    // The global never outlives the object it named.
    EXPECT_EQ(IniFile(), nullptr);
    EXPECT_FALSE(fs::exists(nowhere));
    EXPECT_TRUE(platform_.messages.empty());
}

TEST_F(IniFileTest, SetTakesTheNamesAUserTypesAndRefusesWhatTheFileCouldNotHold) {
    xIniFile ini(dir_, {}, xIniFile::Saving::WhenAsked);
    std::string why;
    for (auto [field, value] : std::vector<std::pair<std::string, std::string>>{
             {"extrataus", "4"},
             {"UnresolvedColor", "ltgray"},
             {"InspectAmplitudes", "yes"},
             {"AmplitudeDeviation", "2.5"},
             {"ThinSheetFactors", "1,2,3,4,5,6,7,8,9"},
             {"HalfSpaceFactors", "0.5 0 0 0 0 0 1.25 0 0.75"},
             {"LinesOrder", "increasing_offset"},
             {"EditorName", "C:\\tools\\editor.exe"}})
        EXPECT_TRUE(ini.Set(field, value, why)) << field << ": " << why;
    // What was set is what a custom file says.
    std::string text = ini.Text();
    for (int section : {Editor, Cdi, Approx})
        EXPECT_NE(
            text.find(Replace(Replace(kCustomSections[section], "=TXT", "=DOC"), "Backup", "")),
            std::string::npos)
            << kCustomSections[section];

    const std::vector<std::pair<std::string, std::string>> refused = {
        {"ExtraTaus", "-1"},
        {"ExtraTaus", "2.5"},
        {"ExtraTaus", "21"},
        {"FontSize", "0"},
        {"AmplitudeDeviation", "0"},
        {"InspectAmplitudes", "maybe"},
        {"ThinSheetFactors", "1 2"},
        {"HalfSpaceFactors", "1 2 3 4 5 6 7 8 9 10"},
        {"CdiAsciiExtension", ".TXT"},
        {"FontStyle", "UNDERLINE"},
        {"EditorName", ""}};
    for (const auto& [field, value] : refused) {
        why.clear();
        EXPECT_FALSE(ini.Set(field, value, why)) << field << "=" << value;
        EXPECT_EQ(why.find(field + " wants "), 0u) << why;
    }
    EXPECT_EQ(ini.Text(), text);
    EXPECT_FALSE(ini.Set("RecentProjects", "a.PAR", why));
    EXPECT_EQ(why.find("The configuration has no field \"RecentProjects\"; its fields are "
                       "EditorName, "),
              0u)
        << why;
}

TEST_F(IniFileTest, SavedWhenAskedIsNeverWrittenAtTheEnd) {
    {
        xIniFile ini(dir_, {}, xIniFile::Saving::WhenAsked);
        ini.GetExtraTaus() = 5;
    }
    EXPECT_FALSE(fs::exists(IniPath()));
    Put(Join(kCustomSections));
    {
        xIniFile ini(dir_, {}, xIniFile::Saving::WhenAsked);
        ini.AddRecentProject("new.PAR");
    }
    EXPECT_EQ(Written(), Join(kCustomSections));
}

TEST_F(IniFileTest, AProjectsOwnFileComesBeforeTheUsers) {
    const fs::path project = dir_ / "project", user = dir_ / "user";
    fs::create_directories(project);
    EXPECT_EQ(xIniFile::Locate(project, user), user);
    xTempFolderTest::Put("project/Tovarn.INI", kDefaultText);
    EXPECT_EQ(xIniFile::Locate(project, user), project);
}

TEST_F(IniFileTest, AFileThatCannotBeReadWarnsAndKeepsTheDefaults) {
    fs::create_directories(IniPath());
    xIniFile ini(dir_, {}, xIniFile::Saving::WhenAsked);
    EXPECT_EQ(platform_.Texts("warning"),
              std::vector<std::string>{IniPath().string() +
                                       ": cannot be read; the configuration's defaults hold."});
    EXPECT_EQ(ini.Text(), kDefaultText);
}
