#include "xGdfDefinition.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "SharedData.h"
#include "TextScan.h"
#include "xRecordingPlatform.h"

namespace {

namespace fs = std::filesystem;

struct Layout {
    std::string name;
    long position;
    long count;
    bool operator==(const Layout&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Layout& l) {
    return out << l.name << "@" << l.position << "x" << l.count;
}

std::vector<Layout> LayoutOf(const xGdfDefinition& definition) {
    std::vector<Layout> layout;
    for (const xGdfField& field : definition.Fields())
        layout.push_back({field.name, field.position, field.Items()});
    return layout;
}

}  // namespace

TEST(GdfFormat, EditDescriptors) {
    std::optional<xGdfFormat> f = xGdfFormat::Parse(" 16f11.1 ");
    ASSERT_TRUE(f);
    EXPECT_EQ(f->count, 16);
    EXPECT_EQ(f->letter, 'F');
    EXPECT_EQ(f->width, 11);
    EXPECT_EQ(f->decimals, 1);
    EXPECT_EQ(f->text, "16f11.1");
    f = xGdfFormat::Parse("I10");
    ASSERT_TRUE(f);
    EXPECT_EQ(f->count, 1);
    EXPECT_EQ(f->decimals, -1);
    for (const char* bad : {"", "F", "X10", "F10.", "0F10.1", "10", "F0", "F10.2x", "F 10",
                            "99999999999999999999F1", "2000000F1"})
        EXPECT_FALSE(xGdfFormat::Parse(bad)) << bad;
}

TEST(GdfDfn, SyntaxVariantsOfTheField) {
    xRecordingPlatform platform;
    // 0-based numbers, attributes after ':' and ',', blanks around the colons,
    // UNIT and UNITS, NAME / LONGNAME / DESC, a description holding ':' and ',',
    // array fields, and END DEFN on the last field's own line.
    const char* text =
        "DEFN   ST=RECD,RT=COMM;RT:A4;COMMENTS:A76\n"
        "DEFN  0 ST=RECD,RT=;Line:i10:NULL=-99999999,DESC=Line Number\n"
        "DEFN  1 ST=RECD,RT=; Fiducial : F8.1 : NULL=-999999.9, LONGNAME=Fiducial Number\n"
        "DEFN  2 ST=RECD,RT=;Time:F10.1:UNIT=s:NULL=-999.9,DESC=Local time hh:mm, rounded\n"
        "DEFN  3 ST=RECD,RT=;EMX:15f12.6:UNITS=fT:NULL=-999.999999,NAME=EM X:DATUM=none\n"
        "DEFN  4 ST=RECD,RT=;Gates:4I5;Last:E15.6:NULL=*;END DEFN\n"
        "DEFN  5 ST=RECD,RT=;After:F1.0\n";
    xGdfDefinition d;
    ASSERT_TRUE(d.ParseDfn(text, "t.dfn"));
    EXPECT_EQ(LayoutOf(d), (std::vector<Layout>{{"Line", 1, 1},
                                                {"Fiducial", 2, 1},
                                                {"Time", 3, 1},
                                                {"EMX", 4, 15},
                                                {"Gates", 19, 4},
                                                {"Last", 23, 1}}));
    EXPECT_EQ(d.ItemsPerRecord(), 23);
    EXPECT_EQ(d.RecordWidth(), 10 + 8 + 10 + 15 * 12 + 4 * 5 + 15);

    const xGdfField* line = d.Find("LINE");
    EXPECT_EQ(line->defn, 0);
    EXPECT_EQ(line->null, -99999999.0);
    EXPECT_EQ(line->longName, "Line Number");
    EXPECT_EQ(d.Find("Fiducial")->longName, "Fiducial Number");
    EXPECT_EQ(d.Find("Fiducial")->column, 11);
    const xGdfField* time = d.Find("Time");
    EXPECT_EQ(time->units, "s");
    EXPECT_EQ(time->null, -999.9);
    EXPECT_EQ(time->longName, "Local time hh:mm, rounded");
    const xGdfField* emx = d.Find("emx");
    EXPECT_EQ(emx->units, "fT");
    EXPECT_EQ(emx->longName, "EM X");
    EXPECT_EQ(emx->attributes.at("DATUM"), "none");
    EXPECT_EQ(emx->column, 29);
    EXPECT_EQ(d.Find("Last")->null, std::nullopt);
    EXPECT_EQ(platform.Texts("warning"),
              std::vector<std::string>{"xGdfDefinition: t.dfn:6: NULL=* of field \"Last\" "
                                       "is not a number; the field has no null value."});
}

TEST(GdfDfn, RecordTypes) {
    xRecordingPlatform platform;
    // With RT=DATA each record carries its type as its first item; other types
    // describe other records.
    xGdfDefinition d;
    ASSERT_TRUE(
        d.ParseDfn("DEFN ST=RECD,RT=COMM;RT:A4;COMMENTS:A76\n"
                   "DEFN 1 ST=RECD,RT=DATA;RT:A4;Fid:F10.1\n"
                   "DEFN 2 ST=RECD,RT=LINE;LineNo:I10\n"
                   "DEFN 3 ST=RECD,RT=data;Tail:I3\n",
                   "t.dfn"));
    EXPECT_EQ(LayoutOf(d), (std::vector<Layout>{{"RT", 1, 1}, {"Fid", 2, 1}, {"Tail", 3, 1}}));
    EXPECT_EQ(platform.Texts("warning"),
              std::vector<std::string>{"xGdfDefinition: t.dfn:3: record type \"LINE\" is "
                                       "not data; its fields are left out."});
}

TEST(GdfDefinition, FaultsAreOneErrorNamingTheLine) {
    const std::string dfn2 = "DEFN 1 ST=RECD,RT=;A:I4\nDEFN 2 ST=RECD,RT=;";
    const std::string hdrExpected =
        "expected a column or a range of columns and a name (\"4  Fiducial\", \"26-55  "
        "conductivity\"), found ";
    struct Case {
        bool dfn;
        std::string text, message;
    };
    const std::vector<Case> cases = {
        {true, "DEFN 1 ST=RECD,RT=;A:I4\nLine Fid East\n",
         "t:2: expected a DEFN record or END DEFN, found \"Line Fid East\"."},
        {true, "DEFN 1 ST=RECD,RT=;A:I4\nDEFN 2 Fid:F10.1\n",
         "t:2: expected \"ST=RECD,RT=...\" after DEFN, found \"Fid:F10.1\"."},
        {true, dfn2 + "Fid\n", "t:2: field \"Fid\" has no format."},
        {true, dfn2 + ":F10.1\n", "t:2: expected a field name before ':' in \":F10.1\"."},
        {true, dfn2 + "Fid:F1x\n",
         "t:2: format \"F1x\" of field \"Fid\" is not [count]letter width[.decimals], "
         "e.g. F10.2, I10, A4, 16F11.1."},
        {true, dfn2 + "Fid:F10.1:metres\n",
         "t:2: cannot read \"metres\" among the attributes of field \"Fid\"; expected "
         "KEY=value."},
        {true, "DEFN ST=RECD,RT=COMM;RT:A4;COMMENTS:A76\nEND DEFN\n",
         "t: no data fields are defined."},
        {false, "1 Line\n BOOKPURNONG SKYTEM SURVEY\n",
         "t:2: " + hdrExpected + "\"BOOKPURNONG SKYTEM SURVEY\"."},
        {false, "1 Line\n2-x Fid\n", "t:2: " + hdrExpected + "\"2-x Fid\"."},
        {false, "1 Line\n5-3 Fid\n", "t:2: columns \"5-3\" do not run upwards from 1 or more."},
        {false, "1-4 Line\n4 Fid\n",
         "t:2: columns \"4\" overlap the field before, which ends at column 4."},
        {false, "\n\n", "t: no columns are listed."},
    };
    for (const Case& c : cases) {
        xRecordingPlatform platform;
        xGdfDefinition d;
        EXPECT_FALSE(c.dfn ? d.ParseDfn(c.text, "t") : d.ParseHdr(c.text, "t")) << c.text;
        EXPECT_EQ(platform.messages,
                  (std::vector<xRecordedMessage>{{"error", "xGdfDefinition: " + c.message}}));
        EXPECT_TRUE(d.Fields().empty());
    }
    xRecordingPlatform platform;
    EXPECT_FALSE(xGdfDefinition().ReadHdr("/nonexistent/x.hdr"));
    EXPECT_TRUE(platform.Saw("error", "xGdfDefinition: cannot open < /nonexistent/x.hdr >."));
}

TEST(GdfHdr, ColumnsAndRanges) {
    xRecordingPlatform platform;
    xGdfDefinition d;
    ASSERT_TRUE(d.ParseHdr("1\t\tLine\r\n2 Fiducial\n\n20-49\tconductivity\n81\tPhiD", "t.hdr"));
    EXPECT_TRUE(platform.messages.empty());
    // Gaps are taken as given.
    EXPECT_EQ(LayoutOf(d),
              (std::vector<Layout>{
                  {"Line", 1, 1}, {"Fiducial", 2, 1}, {"conductivity", 20, 30}, {"PhiD", 81, 1}}));
    EXPECT_EQ(d.ItemsPerRecord(), 81);
    EXPECT_EQ(d.RecordWidth(), 0);
}

// ---------------------------------------------------------------------------
// The definitions that came with the public surveys, checked against their
// column lists and against the first record of their data.

TEST(BundledGdf, EveryDefinitionAgreesWithItsColumnListAndData) {
    const char* const bundled[][3] = {
        {"geotem-gsq823-1996/Geotem_GSQ823.dfn", "geotem-gsq823-1996/Geotem_GSQ823.hdr",
         "geotem-gsq823-1996/Geotem_GSQ823.dat"},
        {"tempest-ausaem2020/Tempest-AusAEM-2020.dfn", "tempest-ausaem2020/Tempest-AusAEM-2020.hdr",
         "tempest-ausaem2020/Tempest-AusAEM-2020.dat"},
        {"skytem-bhmar2009/bhmar-skytem.dfn", "skytem-bhmar2009/bhmar-skytem.hdr",
         "skytem-bhmar2009/bhmar-skytem_subset.dat"},
        {"tempest-frome2010-invsample/inversion.output.dfn",
         "tempest-frome2010-invsample/inversion.output.hdr",
         "tempest-frome2010-invsample/inversion.output-smalltest.dat"},
        {"skytem-bhmar2009/inversion_galeisbstdem/inversion.output.0000.dfn",
         "skytem-bhmar2009/inversion_galeisbstdem/inversion.output.0000.hdr",
         "skytem-bhmar2009/inversion_galeisbstdem/inversion.output.0000.asc"},
    };
    fs::path root = SharedDataDir();
    SKIP_UNLESS_EXISTS(root);
    for (const auto& [dfnName, hdrName, dataName] : bundled) {
        SCOPED_TRACE(dfnName);
        xRecordingPlatform platform;
        xGdfDefinition dfn, hdr;
        ASSERT_TRUE(dfn.ReadDfn(root / dfnName));
        ASSERT_TRUE(hdr.ReadHdr(root / hdrName));
        EXPECT_TRUE(platform.messages.empty());
        EXPECT_EQ(LayoutOf(dfn), LayoutOf(hdr));

        // The records are blank-separated and also fixed-width: the item found by
        // position must be the text found by character column.
        std::string record = FirstLineOf(root / dataName);
        std::vector<std::string_view> items = textscan::SplitBlanks(record);
        EXPECT_EQ(static_cast<long>(items.size()), dfn.ItemsPerRecord());
        ASSERT_EQ(static_cast<long>(record.size()), dfn.RecordWidth());
        for (const xGdfField& field : dfn.Fields()) {
            for (long i = 0; i < field.Items(); ++i) {
                std::string_view text = std::string_view(record).substr(
                    static_cast<std::size_t>(field.column - 1 + i * field.format.width),
                    static_cast<std::size_t>(field.format.width));
                EXPECT_EQ(textscan::Trim(text), items[field.position - 1 + i]) << field.name;
            }
        }
    }
}

TEST(BundledGdf, PlacesTheNotesName) {
    fs::path root = SharedDataDir();
    SKIP_UNLESS_EXISTS(root / "geotem-gsq823-1996");
    xGdfDefinition geotem, tempest, skytem;
    ASSERT_TRUE(geotem.ReadDfn(root / "geotem-gsq823-1996/Geotem_GSQ823.dfn"));
    ASSERT_TRUE(tempest.ReadDfn(root / "tempest-ausaem2020/Tempest-AusAEM-2020.dfn"));
    ASSERT_TRUE(skytem.ReadDfn(root / "skytem-bhmar2009/bhmar-skytem.dfn"));

    EXPECT_EQ(geotem.Find("Fiducial")->position, 4);
    EXPECT_EQ(geotem.Find("Z_off_time")->position, 40);
    EXPECT_EQ(geotem.Find("Z_off_time")->units, "ppm");
    EXPECT_EQ(geotem.Find("Z_off_time")->null, -999999.9);
    // Numbered from 0; attributes run on after ':' in this file.
    EXPECT_EQ(tempest.Find("Fiducial")->defn, 2);
    EXPECT_EQ(tempest.Find("Fiducial")->position, 3);
    EXPECT_EQ(tempest.Find("Z_PrimaryField")->position, 109);
    EXPECT_EQ(tempest.Find("Latitude")->attributes.at("PROJECTION"), "GEODETIC");
    EXPECT_EQ(skytem.Find("HMZ")->position, 51);
    EXPECT_EQ(skytem.Find("HMZ")->units, "V/A.m^4");
    // The file ends "...deviation;END DEFN" with no line end.
    EXPECT_EQ(skytem.Fields().back().longName,
              "Assigned low moment dB/dt Z-component noise-standard-deviation");
}

TEST(BundledGdf, ProseHeaderIsRefusedClearly) {
    fs::path path = SharedDataDir() / "skytem-bookpurnong2006" / "Bookpurnong_SkyTEM.HDR";
    SKIP_UNLESS_EXISTS(path);
    xRecordingPlatform platform;
    EXPECT_FALSE(xGdfDefinition().ReadHdr(path));
    ASSERT_EQ(platform.messages.size(), 1u);
    EXPECT_NE(platform.messages[0].text.find("Bookpurnong_SkyTEM.HDR:2: expected a column"),
              std::string::npos);
}
