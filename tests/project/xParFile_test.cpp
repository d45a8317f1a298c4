#include "xParFile.h"

#include <gtest/gtest.h>

#include <ctime>
#include <fstream>
#include <sstream>

#include "ByteBuilder.h"
#include "ProjectFolder.h"
#include "xPrsCont.h"
#include "xRecordingPlatform.h"

namespace fs = std::filesystem;

namespace {

constexpr std::int32_t kBaseBits = 0x03000000;
const std::string kMessage =
    "Older version files have been detected! File xxx.PAR will be deleted...";
const std::string kKept = "\nThe old file is kept as Proj.PAR.old.";

std::int32_t LongAt(const std::string& bytes, std::size_t at) {
    std::uint32_t value = 0;
    for (int i = 3; i >= 0; --i) value = (value << 8) | std::uint8_t(bytes.at(at + i));
    return std::int32_t(value);
}

// A section as stored: first tag, next offset, block, padding to 5000.
std::string Section(std::int32_t tag, std::int32_t next, const std::string& block = "") {
    return Bytes().I32(tag).I32(next).data + block + std::string(5000 - 8 - block.size(), '\0');
}

// The block of the base class with its defaults and the given tag.
std::string BaseBlock(std::int32_t tag, std::int32_t horizontalScale = 50000) {
    Bytes block = Bytes().I32(tag).I16(1).I32(horizontalScale).I16(1).I32(0).F32(1.0f).I16(1);
    return block.I32(0).Text("").Text("").Text("FID").I32(0).F32(10000.0f).I32(3).I16(0).data;
}

const std::string kCreation = "Project: PROJ      Date: 01/02/03";

std::string CurrentHeader(float version = 3.13f) {
    Bytes header = Bytes().F32(version).Field("Proj", 100, ' ').Field(kCreation, 200, ' ');
    return header.Field("/d/SYS.DSC", 1025, '\0').data;
}

// Version, name, creation text and a 256-byte descriptor path: 560 bytes.
std::string OldHeader(char firstOfName = 'P') {
    Bytes header = Bytes().F32(3.04f).Field(std::string(1, firstOfName) + "roj", 100, ' ');
    return header.Field(kCreation, 200, ' ').Field("/old/SYS.DSC", 256, ' ').data;
}

class ParFileTest : public xProjectFolderTest {
  protected:
    std::fstream Open() {
        return std::fstream(Par(), std::ios::in | std::ios::out | std::ios::binary);
    }
    fs::path Par() const { return dir_ / "Proj.PAR"; }
    void WritePar(const std::string& bytes) const { Put("Proj.PAR", bytes); }
    std::string ReadPar() const { return Slurp(Par()); }
    // The header as the checker takes it, the file closed again.
    par::Header CheckedHeader() {
        std::fstream file = Open();
        par::Header header;
        EXPECT_TRUE(par::CheckHeader(file, header));
        return header;
    }

    std::string Today() const {
        std::time_t now = std::time(nullptr);
        char text[16] = {};
        std::strftime(text, sizeof text, "%m/%d/%y", std::localtime(&now));
        return text;
    }

    xRecordingPlatform platform;
};

}  // namespace

TEST_F(ParFileTest, NewHeaderFieldByFieldWithBlankOrZeroPaddedPath) {
    xPrsCont params;
    EXPECT_EQ(params.Load(), 0);  // no file: offered the file box, refused, created anew
    EXPECT_TRUE(platform.Saw("filebox", "Select Parameter File"));
    const std::string path = (dir_ / "SYS.DSC").string();
    Bytes blank = Bytes().F32(3.13f).Field("Proj", 100, ' ');
    blank.Field("Project: PROJ      Date: " + Today(), 200, ' ').Field(path, 1025, ' ');
    ASSERT_EQ(blank.data.size(), 1329u);
    EXPECT_EQ(ReadPar(), blank.data);
    EXPECT_FLOAT_EQ(params.FileVersion(), 3.13f);

    // Project selection pads the path with zeros instead.
    std::stringstream out;
    par::WriteHeader(out, "Proj", kCreation, "/d/SYS.DSC", true);
    EXPECT_EQ(out.str(), CurrentHeader());
    EXPECT_EQ(par::CreationText("MixedCase", "12/31/99"), "Project: MIXEDCASE      Date: 12/31/99");

    const par::Header header = CheckedHeader();
    EXPECT_EQ(header.projectName, "Proj");
    EXPECT_EQ(header.descriptorPath, path);
    EXPECT_EQ(header.firstSection, 1329);
}

TEST_F(ParFileTest, SaveAppendsOneSectionPointingPastItselfAndRewritesInPlace) {
    xPrsCont first(711);
    first.Load();
    ASSERT_EQ(first.Save(), 1);
    std::string bytes = ReadPar();
    ASSERT_EQ(bytes.size(), 1329u + 5000u);
    EXPECT_EQ(LongAt(bytes, 1329), 711 | kBaseBits);
    EXPECT_EQ(LongAt(bytes, 1333), 6329);
    EXPECT_EQ(bytes.substr(1337, BaseBlock(711 | kBaseBits).size()), BaseBlock(711 | kBaseBits));

    xPrsCont second(709);
    ASSERT_EQ(second.Save(), 1);
    first.horizontalScale = 777;
    ASSERT_EQ(first.Save(), 1);
    bytes = ReadPar();
    ASSERT_EQ(bytes.size(), 1329u + 10000u);
    EXPECT_EQ(LongAt(bytes, 6329), 709 | kBaseBits);
    EXPECT_EQ(LongAt(bytes, 6333), 11329);
    EXPECT_EQ(bytes.substr(1337, BaseBlock(0).size()), BaseBlock(711 | kBaseBits, 777));

    xPrsCont again(711), other(709);
    EXPECT_EQ(again.Load(), 1);
    EXPECT_EQ(again.horizontalScale, 777);
    EXPECT_EQ(other.Load(), 1);
    EXPECT_EQ(other.horizontalScale, 50000);
    EXPECT_EQ(again.FileTag(), 711 | kBaseBits);
}

// Base version 0x01000000 had only two of the last four fields, older ones none.
TEST_F(ParFileTest, BaseBlockReadsAsFarAsItsVersionSays) {
    for (std::int32_t base : {0x03000000, 0x01000000, 0}) {
        SCOPED_TRACE(base);
        Bytes block = Bytes().I32(711 | base).I16(0).I32(100).I16(0).I32(5).F32(2.0f).I16(0);
        block.I32(7).Text("in").Text("out").Text("X");
        block.I32(1).F32(20.0f).I32(1).I16(1).I32(0x55555555);  // all four, then filler
        WritePar(CurrentHeader() + Section(711, 6329, block.data));
        xPrsCont read(711);
        ASSERT_EQ(read.Load(), 1);
        EXPECT_EQ(read.annotateY, 7);
        EXPECT_EQ(read.alignX, "X");
        EXPECT_EQ(read.verticalMode, base ? 1 : 0);
        EXPECT_EQ(read.verticalScale, base ? 20.0f : 10000.0f);
        EXPECT_EQ(read.lineOrder, base == 0x03000000 ? 1 : 3);
        EXPECT_EQ(read.reverseLines, base == 0x03000000 ? 1 : 0);
    }
}

TEST_F(ParFileTest, FindSectionSkipsUnknownTagsAndStopsOnBrokenChains) {
    // The first tag identifies a section by its low 16 bits only.
    WritePar(CurrentHeader() + Section(999, 6329) +
             Section(0x00420000 | 711, 11329, BaseBlock(711 | kBaseBits, 1234)));
    {
        std::fstream file = Open();
        std::streamoff start = 0;
        ASSERT_TRUE(par::FindSection(file, 1329, 711 | kBaseBits, start));
        EXPECT_EQ(start, 6329);
        EXPECT_EQ(file.tellp(), 6337);
        EXPECT_FALSE(par::FindSection(file, 1329, 705, start));
    }
    xPrsCont found(711);
    EXPECT_EQ(found.Load(), 1);
    EXPECT_EQ(found.horizontalScale, 1234);

    // Next offsets that run off the file or point back end the search.
    for (std::int32_t next : {50000, 1329, 100, -5}) {
        WritePar(CurrentHeader() + Section(999, next) + Section(711, 11329));
        std::fstream file = Open();
        std::streamoff start = 0;
        EXPECT_FALSE(par::FindSection(file, 1329, 711, start)) << next;
    }

    // A search that ends in "not found" makes the next save append at the end.
    WritePar(CurrentHeader() + Section(999, 50000).substr(0, 3000));
    xPrsCont lost(711);
    EXPECT_EQ(lost.Load(), 0);
    EXPECT_EQ(lost.horizontalScale, 50000);
    ASSERT_EQ(lost.Save(), 1);
    const std::string bytes = ReadPar();
    ASSERT_EQ(bytes.size(), 1329u + 3000u + 5000u);
    EXPECT_EQ(LongAt(bytes, 4329), 711 | kBaseBits);
    EXPECT_EQ(LongAt(bytes, 4333), 4329 + 5000);
}

TEST_F(ParFileTest, TooOldFileIsKeptAsideAndRecreatedAfterTheMessage) {
    const std::string old =
        Bytes().F32(3.03f).data + CurrentHeader().substr(4) + Section(711, 6329);
    WritePar(old);
    xPrsCont params(711);
    EXPECT_EQ(params.Load(), 0);
    EXPECT_EQ(platform.Texts("error").size(), 1u);
    EXPECT_EQ(Slurp(dir_ / "Proj.PAR.old"), old);
    const std::string bytes = ReadPar();
    ASSERT_EQ(bytes.size(), 1329u);
    EXPECT_EQ(bytes.substr(0, 4), Bytes().F32(3.13f).data);
    EXPECT_FLOAT_EQ(params.FileVersion(), 3.13f);

    // A save into an old file is refused without touching it.
    WritePar(Bytes().F32(3.03f).data + CurrentHeader().substr(4));
    EXPECT_EQ(params.Save(), 0);
    EXPECT_EQ(ReadPar().size(), 1329u);
}

TEST_F(ParFileTest, BrokenFilesSayWhere) {
    std::string badText = BaseBlock(711 | kBaseBits);
    badText.replace(26, 4, Bytes().I32(-1).data);  // the input file name's length
    struct Case {
        std::string bytes;
        std::string kind;
        std::string text;
    };
    const Case cases[] = {
        {Bytes().F32(3.03f).data + CurrentHeader().substr(4), "error",
         kMessage + "\nProj.PAR: byte 0: expected a version of 3.04 or later, found \"3.03\"" +
             kKept},
        {"\x01\x02", "error",
         kMessage + "\nProj.PAR: byte 0: expected the version, found the end of the file" + kKept},
        {CurrentHeader().substr(0, 700), "error",
         kMessage +
             "\nProj.PAR: byte 700: expected a header of 1329 bytes, found the end of the "
             "file" +
             kKept},
        {CurrentHeader() + Section(999, 1329), "warning",
         "Proj.PAR: byte 1333: section 999: expected the offset of a later section, found "
         "\"1329\""},
        {CurrentHeader() + Section(711 | kBaseBits, 6329, badText), "warning",
         "Proj.PAR: byte 1363: section 711: expected a text length from 0 to 5000, found \"-1\""},
    };
    for (const Case& c : cases) {
        platform.messages.clear();
        WritePar(c.bytes);
        xPrsCont params(711);
        params.Load();
        EXPECT_EQ(platform.messages, (std::vector<xRecordedMessage>{{c.kind, c.text}}));
    }
    // Bounds that claim more values than the section holds.
    std::istringstream in(Bytes().I32(1).I32(2000).data + std::string(100, '\0'));
    xBlockReader reader(in, 100, Par(), 703);
    FloatArray array;
    reader.GetArray(array);
    EXPECT_EQ(reader.Where(),
              "Proj.PAR: byte 0: section 703: expected bounds that fit in the section, found "
              "\"2000 values\"");
}

TEST_F(ParFileTest, OldLayoutIsMovedBehindANewHeaderWithOrWithoutTheOffsetCorrection) {
    // Two sections at the old place, their next offsets in the old layout.
    const std::string body = Section(711 | kBaseBits, 5560, BaseBlock(711 | kBaseBits, 4321)) +
                             Section(709 | kBaseBits, 10560, BaseBlock(709 | kBaseBits, 8765));
    const std::string old = OldHeader() + body;
    ASSERT_EQ(OldHeader().size(), 560u);

    WritePar(old);
    const par::Header header = CheckedHeader();
    EXPECT_EQ(header.firstSection, 1329);
    EXPECT_EQ(header.descriptorPath, "/old/SYS.DSC");
    EXPECT_FLOAT_EQ(header.version, 3.04f);
    std::string moved = ReadPar();
    ASSERT_EQ(moved.size(), 1329u + 10000u);
    EXPECT_EQ(moved[4], '1');
    EXPECT_EQ(moved.substr(5, 555), old.substr(5, 555));
    EXPECT_EQ(moved.substr(1329), body);  // next offsets left as they were
    {
        std::fstream file = Open();
        std::streamoff start = 0;
        EXPECT_TRUE(par::FindSection(file, 1329, 711, start));
        EXPECT_FALSE(par::FindSection(file, 1329, 709, start));  // 5560 lands mid-section
    }

    WritePar(old);
    {
        std::fstream file = Open();
        ASSERT_TRUE(par::ConvertOldFile(file));
    }
    std::string converted = ReadPar();
    ASSERT_EQ(converted.size(), 1329u + 10000u);
    EXPECT_EQ(converted[4], '1');
    EXPECT_EQ(LongAt(converted, 1333), 6329);
    EXPECT_EQ(LongAt(converted, 6333), 11329);
    EXPECT_EQ(converted.substr(1337, 4992), body.substr(8, 4992));

    // Already moved: read as it stands, sections behind the new-size header.
    EXPECT_EQ(CheckedHeader().firstSection, 1329);
    EXPECT_EQ(ReadPar(), converted);
    xPrsCont first(711), second(709);
    EXPECT_EQ(first.Load(), 1);
    EXPECT_EQ(first.horizontalScale, 4321);
    EXPECT_EQ(second.Load(), 1);
    EXPECT_EQ(second.horizontalScale, 8765);
    EXPECT_EQ(ProjectContext().DescriptorPath(), fs::path("/old/SYS.DSC"));

    // A load meets an old file not yet moved: moved there, first section found.
    WritePar(old);
    xPrsCont viaLoad(711);
    EXPECT_EQ(viaLoad.Load(), 1);
    EXPECT_EQ(viaLoad.horizontalScale, 4321);
    EXPECT_EQ(ReadPar(), moved);
}

TEST_F(ParFileTest, EmptyAndTruncatedFilesAreReplacedOrReadAsFarAsTheyGo) {
    WritePar("");
    xPrsCont empty(711);
    EXPECT_EQ(empty.Load(), 0);
    EXPECT_EQ(ReadPar().size(), 1329u);  // a new header is written
    EXPECT_TRUE(platform.messages.empty());
    EXPECT_EQ(empty.Save(), 1);

    // A header cut short cannot hold sections; it is replaced like an old one.
    for (std::size_t size : {2u, 4u, 100u, 1328u}) {
        WritePar(CurrentHeader().substr(0, size));
        xPrsCont params(711);
        EXPECT_EQ(params.Load(), 0) << size;
        EXPECT_EQ(ReadPar().size(), 1329u) << size;
    }

    // A section cut inside its block leaves the defaults from there on.
    WritePar(CurrentHeader() + Section(711 | kBaseBits, 6329, BaseBlock(711 | kBaseBits, 99))
                                   .substr(0, 8 + 4 + 2 + 4 + 1));
    xPrsCont cut(711);
    EXPECT_EQ(cut.Load(), 1);
    EXPECT_EQ(cut.horizontalScale, 99);
    EXPECT_EQ(cut.autoAnnotateX, 1);
}

TEST_F(ParFileTest, ReadOnlyProjectLeavesEveryFileAsItIs) {
    ProjectContext().readOnly = true;
    const std::string tooOld = Bytes().F32(3.03f).data + CurrentHeader().substr(4);
    for (const std::string& bytes : {tooOld, CurrentHeader().substr(0, 700), std::string()}) {
        platform.messages.clear();
        WritePar(bytes);
        xPrsCont params(711);
        EXPECT_EQ(params.Load(), 0);
        EXPECT_EQ(params.Save(), 0);
        EXPECT_EQ(ReadPar(), bytes);
        EXPECT_EQ(platform.Texts("error").size(), 1u);
        EXPECT_FALSE(fs::exists(dir_ / "Proj.PAR.old"));
    }
    EXPECT_EQ(platform.messages.back().text,
              "The parameter file cannot be read and is left as it is.\nProj.PAR: byte 0: "
              "expected the version, found the end of the file");

    // An old layout is read where it stands, not moved behind a new header.
    const std::string old =
        OldHeader() + Section(711 | kBaseBits, 5560, BaseBlock(711 | kBaseBits, 4321));
    WritePar(old);
    xPrsCont params(711);
    EXPECT_EQ(params.Load(), 1);
    EXPECT_EQ(params.horizontalScale, 4321);
    EXPECT_EQ(ReadPar(), old);

    fs::remove(Par());
    EXPECT_EQ(params.Load(), 0);
    EXPECT_FALSE(fs::exists(Par()));
}
