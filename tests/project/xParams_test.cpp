#include <gtest/gtest.h>

#include <cmath>
#include <optional>
#include <sstream>
#include <tuple>

#include "ByteBuilder.h"
#include "ProjectFolder.h"
#include "xAPCont.h"
#include "xCDIParams.h"
#include "xCnvParams.h"
#include "xFitParams.h"
#include "xInvParams.h"
#include "xRecordingPlatform.h"
#include "xWavParams.h"

namespace fs = std::filesystem;

namespace {

constexpr std::int32_t kBase = 0x03000000;

// The base block with its defaults but for the file names.
Bytes BaseBlock(std::int32_t tag, const std::string& output, const std::string& input = "") {
    Bytes block = Bytes().I32(tag).I16(1).I32(50000).I16(1).I32(0).F32(1.0f).I16(1).I32(0);
    return block.Text(input).Text(output).Text("FID").I32(0).F32(10000.0f).I32(3).I16(0);
}

// -1 when equal, else the first offset where they part.
long FirstDifference(const std::string& a, const std::string& b) {
    const std::size_t n = std::min(a.size(), b.size());
    for (std::size_t i = 0; i < n; ++i)
        if (a[i] != b[i]) return long(i);
    return a.size() == b.size() ? -1 : long(n);
}

// Sets fields by name as `tovarn set` does, from "Name=value; Name=value";
// every value must be taken.
void Set(xPrsCont& params, const std::string& assignments) {
    xParamFields fields;
    params.Fields(fields);
    std::istringstream in(assignments);
    for (std::string item; std::getline(in >> std::ws, item, ';');) {
        const std::string name = item.substr(0, item.find('='));
        const xParamField* field = fields.Find(name);
        ASSERT_NE(field, nullptr) << name;
        EXPECT_TRUE(field->assign(item.substr(name.size() + 1))) << item;
    }
}

class ParamsTest : public xProjectFolderTest {
  protected:
    // Saves into a new file and answers its one section.
    std::string SavedSection(xPrsCont& params) {
        fs::remove(dir_ / "Proj.PAR");
        EXPECT_EQ(params.Load(), 0);
        EXPECT_EQ(params.Save(), 1);
        const std::string bytes = Slurp(dir_ / "Proj.PAR");
        EXPECT_EQ(bytes.size(), 1329u + 5000u);
        return bytes.size() < 1329 ? "" : bytes.substr(1329);
    }

    // The section must be the block made by hand behind its tag and next
    // offset, padded to 5000 bytes.
    std::string ExpectSection(xPrsCont& params, const Bytes& block) {
        std::string expected = block.data.substr(0, 4) + Bytes().I32(6329).data + block.data;
        expected.resize(5000, '\0');
        std::string section = SavedSection(params);
        EXPECT_EQ(FirstDifference(section, expected), -1);
        return section;
    }

    // A file of the given version with one section per block, each filled up
    // with 0x55 so that reading too far shows.
    void WriteProject(const std::vector<Bytes>& blocks, float version = 3.13f) {
        std::string file = Bytes().F32(version).data + "Proj" + std::string(296, ' ');
        file += std::string(1025, '\0');
        for (const Bytes& block : blocks) {
            std::string section =
                block.data.substr(0, 4) + Bytes().I32(long(file.size()) + 5000).data + block.data;
            section.resize(5000, 0x55);
            file += section;
        }
        Put("Proj.PAR", file);
    }

    xRecordingPlatform platform;
};

Bytes CnvFixed(int warn, float maxD, float maxFid, int output, int manual) {
    Bytes block = Bytes().I16(warn).I16(1).I16(warn).I16(1);
    return block.F32(maxD).F32(20.0f).F32(maxD).F32(maxFid).I32(output).I16(manual);
}

FloatMatrix Row(long low, std::initializer_list<float> values) {
    FloatMatrix m(0, 0, low, low + long(values.size()) - 1);
    long c = low;
    for (float v : values) m[0][c++] = v;
    return m;
}

}  // namespace

TEST_F(ParamsTest, CnvSectionBytesAndRoundTrip) {
    xCnvParams defaults;
    ExpectSection(
        defaults,
        BaseBlock(701 | kBase, "Proj.BIN").Raw(CnvFixed(1, 20.0f, 2.0f, 1, 0)).I32(0).I32(0));

    xCnvParams changed;
    Set(changed,
        "WarnX=0; WarnZ=0; MaxDx=5.5; MaxDz=5.5; MaxDFid=0.25; ErrorOutput=2; ManualLines=1; "
        "Files=a.xyz, dir/b.xyz; Smoothing=2; InputFile=in.txt");
    changed.files.push_back(std::string(120, 'n'));
    Bytes block = BaseBlock(701 | kBase, "Proj.BIN", "in.txt");
    block.Raw(CnvFixed(0, 5.5f, 0.25f, 2, 1)).I32(3).Text("a.xyz").Text("dir/b.xyz");
    block.Text(std::string(99, 'n')).I32(2);  // names keep 99 characters
    const std::string section = ExpectSection(changed, block);

    xCnvParams read;
    ASSERT_EQ(read.Load(), 1);
    EXPECT_EQ(read.files.size(), 3u);
    EXPECT_EQ(SavedSection(read), section);
}

// The list starts at offset 105 of the section. A name is written only when it
// starts at 4893 or before (5000 less the smoothing grade, a length and 99
// characters), so that the section never runs into the next one.
TEST_F(ParamsTest, CnvFileListStopsWhereTheSectionEnds) {
    const std::string longName(99, 'L');
    for (int shortLength : {46, 47}) {
        SCOPED_TRACE(shortLength);
        std::vector<std::string> names(46, longName);
        names.push_back(std::string(std::size_t(shortLength), 's'));  // ends at 4893 or 4894
        names.push_back(longName);
        names.push_back("z.xyz");
        xCnvParams params;
        params.files = names;
        params.smoothing = 1;

        Bytes block = BaseBlock(701 | kBase, "Proj.BIN").Raw(CnvFixed(1, 20.0f, 2.0f, 1, 0));
        block.I32(49);  // the whole list's count
        ASSERT_EQ(block.data.size() + 8, 105u);
        const std::size_t written = shortLength == 46 ? 48 : 47;
        for (std::size_t i = 0; i < written; ++i) block.Text(names[i]);
        block.I32(1);
        EXPECT_EQ(block.data.size() + 8, shortLength == 46 ? 5000u : 4898u);
        ExpectSection(params, block);

        // The section behind must survive a rewrite in place.
        xWavParams next;
        next.numberOfTaus = 20;
        ASSERT_EQ(next.Save(), 1);
        ASSERT_EQ(params.Save(), 1);
        xCnvParams read;
        xWavParams readNext;
        ASSERT_EQ(read.Load(), 1);
        EXPECT_EQ(read.files, std::vector<std::string>(names.begin(), names.begin() + written));
        EXPECT_EQ(read.smoothing, 1);
        ASSERT_EQ(readNext.Load(), 1);
        EXPECT_EQ(readNext.numberOfTaus, 20);
    }
}

// The unit is coded as a text: length 3, then "sec".
TEST_F(ParamsTest, WavSectionBytesAndRoundTrip) {
    xWavParams defaults;
    Bytes block = BaseBlock(702 | 0x70000 | kBase, "Proj.AOT");
    block.I32(12).F32(0.0002f).F32(0.005f).I32(8).I16(0).I16(1).I16(0).I32(2).I32(2);
    ExpectSection(defaults, block.Text("sec").I16(0).I32(0).I16(0));

    xWavParams changed;
    Set(changed,
        "NumberOfTaus=16; EarlyTau=0.1; LateTau=3.5; EigenvectorsToDisplay=4; BasisValid=1; "
        "AutomaticSelection=USER; SelectionWasAutomatic=1; EarlyRelativeError=5; "
        "LateRelativeError=7; Unit=mSec; Stripping=Questem; ApproximationType=2; UseHalfPeriod=1");
    block = BaseBlock(702 | 0x70000 | kBase, "Proj.AOT");
    block.I32(16).F32(0.1f).F32(3.5f).I32(4).I16(1).I16(0).I16(1).I32(5).I32(7);
    const std::string section = ExpectSection(changed, block.Text("mSec").I16(3).I32(2).I16(1));

    xWavParams read;
    ASSERT_EQ(read.Load(), 1);
    EXPECT_EQ(read.unit, "mSec");
    EXPECT_EQ(SavedSection(read), section);
}

// Every block holds all the fields; the version alone says how far to read.
TEST_F(ParamsTest, WavOlderBlocksKeepTheDefaultsOfLaterFields) {
    struct Case {
        std::int32_t version;
        bool unit, stripping, approximation, halfPeriod;
    };
    for (Case c : {Case{0x00000, false, false, false, false},
                   {0x10000, true, false, false, false},
                   {0x20000, true, true, false, false},
                   {0x30000, true, true, true, false},
                   {0x40000, true, true, true, true}}) {
        SCOPED_TRACE(c.version);
        Bytes block = BaseBlock(702 | c.version | kBase, "x.AOT");
        block.I32(20).F32(0.001f).F32(0.01f).I32(5).I16(1).I16(0).I16(1).I32(7).I32(9);
        WriteProject({block.Text("mSec").I16(2).I32(1).I16(1)});

        xWavParams read;
        ASSERT_EQ(read.Load(), 1);
        EXPECT_EQ(read.numberOfTaus, 20);
        EXPECT_EQ(read.lateRelativeError, 9);
        EXPECT_EQ(read.unit, c.unit ? "mSec" : "sec");
        EXPECT_EQ(read.stripping, c.stripping ? 2 : 0);
        EXPECT_EQ(read.approximationType, c.approximation ? 1 : 0);
        EXPECT_EQ(read.useHalfPeriod, c.halfPeriod ? 1 : 0);
    }
}

TEST_F(ParamsTest, FitSectionBytesAndRoundTrip) {
    xFitParams defaults;
    Bytes block = BaseBlock(703 | 0x7F0000 | kBase, "Proj.AMP");
    block.F32(0.0001f).I32(1).I32(0x80).I16(1).I16(0).I32(0).F32(1.0f).I16(0);
    block.I32(0);  // no weight tables
    ExpectSection(defaults, block.F32(0.2f).I16(0).F32(0.0f).F32(0.0f).F32(0.0f).F32(0.1f).I32(1));

    xFitParams changed;
    Set(changed,
        "Threshold=0.01; Normalization=2; Algorithm=34; SelectLines=0; PrimaryFit=1; "
        "ErrorWeighting=User Defined; WeightParameter=0.5; SaveInAscii=1; Smoothing=0.3; "
        "CalculateBackground=1; ForceToSurface=2; MinLength=0.125; PowerLaw=1.5; "
        "PrimaryPercentage=0.3; ChannelOrTau=3");
    changed.weights[109] = Row(1, {1.0f, -0.5f});
    changed.weights[101] = Row(1, {0.25f, 0.5f, 0.75f});
    block = BaseBlock(703 | 0x7F0000 | kBase, "Proj.AMP");
    block.F32(0.01f).I32(2).I32(0x22).I16(0).I16(1).I32(3).F32(0.5f).I16(1).I32(2);
    block.I32(101).I32(0).I32(0).I32(1).I32(3).F32(0.25f).F32(0.5f).F32(0.75f);
    block.I32(109).I32(0).I32(0).I32(1).I32(2).F32(1.0f).F32(-0.5f);
    block.F32(0.3f).I16(1).F32(2.0f).F32(0.125f).F32(1.5f).F32(0.3f);
    const std::string section = ExpectSection(changed, block.I32(4));  // shown 3, stored 4

    xFitParams read;
    ASSERT_EQ(read.Load(), 1);
    EXPECT_TRUE(read.weights[101] == changed.weights[101]);
    EXPECT_EQ(read.primaryPercentage, 0.0f);  // reset whenever it is read
    read.primaryPercentage = 0.3f;
    EXPECT_EQ(SavedSection(read), section);
}

namespace {

// Up to the weight parameter 2.5.
Bytes FitHead(std::int32_t version) {
    Bytes block = BaseBlock(703 | version | kBase, "x.AMP");
    return block.F32(0.5f).I32(2).I32(0x02).I16(0).I16(1).I32(3).F32(2.5f);
}

}  // namespace

TEST_F(ParamsTest, FitVersionCasesOfAsciiWeightsAndSmoothing) {
    enum Weights { None, Old, Current };
    struct Case {
        std::int32_t version;
        bool ascii;
        Weights weights;
        bool smoothing, background, fourFloats, channel;
    };
    const Case cases[] = {
        {0x000000, false, None, false, false, false, false},
        {0x010000, true, Old, true, false, false, false},
        {0x020000, true, Old, true, false, false, false},
        {0x030000, false, Old, true, false, false, false},
        {0x0E0000, false, Old, true, false, false, false},
        {0x0F0000, false, None, false, false, false, false},
        {0x1E0000, false, None, false, false, false, false},
        {0x1F0000, true, Current, true, true, false, false},
        {0x3E0000, true, Current, true, true, false, false},
        {0x3F0000, true, Current, true, true, true, false},
        {0x7E0000, true, Current, true, true, true, false},
        {0x7F0000, true, Current, true, true, true, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.version);
        Bytes block = FitHead(c.version);
        if (c.ascii) block.I16(1);
        // The older form: component 103, an array with bounds 1..2.
        if (c.weights == Old) block.I32(1).I32(103).I32(1).I32(2).F32(0.5f).F32(0.75f);
        // The current one: component 105, a matrix with bounds 0..0, 1..3.
        if (c.weights == Current)
            block.I32(1).I32(105).I32(0).I32(0).I32(1).I32(3).F32(0.1f).F32(0.2f).F32(0.3f);
        if (c.smoothing) block.F32(0.4f);
        if (c.background) block.I16(1);
        if (c.fourFloats) block.F32(3.0f).F32(0.25f).F32(5.0f).F32(0.7f);
        if (c.channel) block.I32(5);
        WriteProject({block});

        xFitParams read;
        ASSERT_EQ(read.Load(), 1);
        EXPECT_EQ(read.weightParameter, 2.5f);
        EXPECT_EQ(read.saveInAscii, c.ascii ? 1 : 0);
        EXPECT_EQ(read.weights.size(), c.weights == None ? 0u : 1u);
        const FloatMatrix expected = c.weights == Old       ? Row(1, {0.5f, 0.75f})
                                     : c.weights == Current ? Row(1, {0.1f, 0.2f, 0.3f})
                                                            : FloatMatrix();
        const std::int32_t id = c.weights == Old ? 103 : 105;
        EXPECT_TRUE(c.weights == None || read.weights[id] == expected) << id;
        EXPECT_EQ(read.smoothing, c.smoothing ? 0.4f : 0.2f);
        EXPECT_EQ(read.calculateBackground, c.background ? 1 : 0);
        EXPECT_EQ(read.forceToSurface, c.fourFloats ? 3.0f : 0.0f);
        EXPECT_EQ(read.powerLaw, c.fourFloats ? 5.0f : 0.0f);
        EXPECT_EQ(read.primaryPercentage, c.fourFloats ? 0.0f : 0.1f);
        EXPECT_EQ(read.channelOrTau, c.channel ? 5 : 1);
    }
}

TEST_F(ParamsTest, FitTableCountsOutOfRangeAndAbsurdBoundsArePassedOver) {
    const Bytes head = FitHead(0x7F0000).I16(1);
    for (std::int32_t count : {0, 10, -1}) {
        SCOPED_TRACE(count);
        Bytes block = head;
        WriteProject({block.I32(count).F32(0.4f).I16(1).F32(3).F32(0.25f).F32(5).F32(0).I32(5)});
        xFitParams read;
        read.weights[101] = Row(1, {1.0f});
        ASSERT_EQ(read.Load(), 1);
        EXPECT_EQ(read.weights.size(), 1u);
        EXPECT_EQ(read.smoothing, 0.4f);
        EXPECT_EQ(read.channelOrTau, 5);
    }

    // A table claiming more channels than a section holds ends the reading.
    Bytes block = head;
    WriteProject({block.I32(1).I32(101).I32(0).I32(0).I32(1).I32(2000000000).F32(1).F32(0.4f)});
    xFitParams read;
    ASSERT_EQ(read.Load(), 1);
    EXPECT_TRUE(read.weights.empty());
    EXPECT_EQ(read.smoothing, 0.2f);
}

namespace {

// Up to ShowPenetration; three conductivities, weights 0.25 * (id - 100).
Bytes CdiHead(std::int32_t version, int mode = 3) {
    Bytes block = BaseBlock(704 | version | kBase, "x.CND");
    block.I32(400).I32(200).I32(5).I16(0).I32(2).I32(6).F32(0.5f).I16(mode).I16(1).I16(1).I16(0);
    block.I32(12).I32(5).I32(4).I32(3).F32(2.0f).F32(20.0f).F32(200.0f).I32(100).I32(109);
    for (int i = 0; i < 10; ++i) block.F32(0.25f * float(i));
    return block.I16(1).I16(0);
}

}  // namespace

// Component weights carry bounds 100..109 (1.0 at 107 and 109), the cross
// components 101..109 (all 0).
TEST_F(ParamsTest, CdiSectionBytesAndRoundTrip) {
    xCDIParams defaults;
    Bytes block = BaseBlock(704 | 0xC0000 | kBase, "Proj.CND");
    block.I32(500).I32(300).I32(10).I16(1).I32(1).I32(1).F32(1.0f).I16(1).I16(0).I16(0).I16(1);
    block.I32(11).I32(1).I32(3).I32(250);
    for (int i = 0; i < 250; ++i) block.F32(float(std::pow(10.0, 3.0 * i / 249.0)));
    block.I32(100).I32(109);
    for (int id = 100; id <= 109; ++id) block.F32(id == 107 || id == 109 ? 1.0f : 0.0f);
    block.I16(0).I16(1).I32(101).I32(109);
    for (int id = 101; id <= 109; ++id) block.F32(0.0f);
    ExpectSection(defaults, block.I32(0).I16(1).I16(0).Text("").I32(0).I32(0).I32(0).I16(0));
    EXPECT_EQ(defaults.conductivities[250], 1000.0f);

    xCDIParams changed;
    Set(changed,
        "MaxAltitude=250; Mode=3; Predict=0; Conductivities=2, 20, 200; "
        "ComponentWeights=0, 0.5, 0, 0, 0, 0, 0, 1, 0, 1; "
        "CrossComponents=0, 0, 0, 0, 1, 0, 0, 0, 0; LogDepths=1; UserPattern=pattern; CdiType=1; "
        "AirMode=1; LayerLines=3; ShowAltitude=1");
    block = BaseBlock(704 | 0xC0000 | kBase, "Proj.CND");
    block.I32(250).I32(300).I32(10).I16(1).I32(1).I32(1).F32(1.0f).I16(3).I16(0).I16(0).I16(0);
    block.I32(11).I32(1).I32(3).I32(3).F32(2.0f).F32(20.0f).F32(200.0f).I32(100).I32(109);
    for (int id = 100; id <= 109; ++id)
        block.F32(id == 101 ? 0.5f : id == 107 || id == 109 ? 1.0f : 0.0f);
    block.I16(0).I16(1).I32(101).I32(109);
    for (int id = 101; id <= 109; ++id) block.F32(id == 105 ? 1.0f : 0.0f);
    block.I32(1).I16(1).I16(0).Text("pattern").I32(1).I32(1);
    const std::string section = ExpectSection(changed, block.I32(3).I16(1));

    xCDIParams read;
    ASSERT_EQ(read.Load(), 1);
    EXPECT_EQ(read.condCount, 3);
    EXPECT_EQ(read.layerLines, 0);  // stored as 3, never taken back
    read.layerLines = 3;
    EXPECT_EQ(SavedSection(read), section);
}

// Every block holds all the fields; the version alone says how far to read.
// LayerLines is a short in blocks of exactly 0xA0000 and is never kept.
TEST_F(ParamsTest, CdiVersionGatesAndTheLayerLinesQuirk) {
    struct Case {
        std::int32_t version;
        bool cross, autoRange, topography, type, air, altitude;
    };
    const Case cases[] = {
        {0x00000, false, false, false, false, false, false},
        {0x10000, true, false, false, false, false, false},
        {0x20000, true, true, false, false, false, false},
        {0x40000, true, true, true, false, false, false},
        {0x80000, true, true, true, true, false, false},
        {0x90000, true, true, true, true, true, false},
        {0xA0000, true, true, true, true, true, false},
        {0xB0000, true, true, true, true, true, false},
        {0xC0000, true, true, true, true, true, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.version);
        Bytes block = CdiHead(c.version).I32(101).I32(109);
        for (int i = 0; i < 9; ++i) block.F32(1.0f);
        block.I32(1).I16(0).I16(1).Text("pat").I32(1).I32(1);
        c.version == 0xA0000 ? block.I16(2) : block.I32(2);
        WriteProject({block.I16(1)});

        xCDIParams read;
        read.layerLines = 3;
        ASSERT_EQ(read.Load(), 1);
        EXPECT_EQ(read.mode, 3);
        EXPECT_EQ(read.conductivities[3], 200.0f);
        EXPECT_EQ(read.componentWeights[109], 2.25f);
        EXPECT_EQ(read.showPenetration, 0);
        ASSERT_EQ(read.crossComponents.High(), 109);
        EXPECT_EQ(read.crossComponents[109], c.cross ? 1.0f : 0.0f);
        EXPECT_EQ(read.logDepths, c.cross ? 1 : 0);
        EXPECT_EQ(read.autoRange, c.autoRange ? 0 : 1);
        EXPECT_EQ(read.showTopography, c.topography ? 1 : 0);
        EXPECT_EQ(read.userPattern, c.topography ? "pat" : "");
        EXPECT_EQ(read.cdiType, c.type ? 1 : 0);
        EXPECT_EQ(read.airMode, c.air ? 1 : 0);
        EXPECT_EQ(read.layerLines, 0);
        EXPECT_EQ(read.showAltitude, c.altitude ? 1 : 0);
    }
}

TEST_F(ParamsTest, CdiOddModesStandAndAbsurdCountsStopTheReading) {
    for (int mode : {7, -2}) {
        WriteProject({CdiHead(0xC0000, mode)});
        xCDIParams read;
        ASSERT_EQ(read.Load(), 1);
        EXPECT_EQ(read.mode, mode);
    }

    Bytes head = BaseBlock(704 | 0xC0000 | kBase, "x.CND");
    head.I32(400).I32(200).I32(5).I16(0).I32(2).I32(6).F32(0.5f).I16(2).I16(1).I16(1).I16(0);
    head.I32(12).I32(5).I32(4);
    Bytes tooMany = head, absurdBounds = head;
    tooMany.I32(100000).F32(5.0f).F32(6.0f);
    absurdBounds.I32(1).F32(5.0f).I32(-2000000000).I32(2000000000).F32(1.0f);
    for (const Bytes* bad : {&tooMany, &absurdBounds}) {
        WriteProject({*bad});
        xCDIParams read;
        ASSERT_EQ(read.Load(), 1);
        EXPECT_EQ(read.layerCount, 4);
        EXPECT_EQ(read.condCount, bad == &tooMany ? 250 : 1);
        EXPECT_EQ(read.componentWeights.Low(), 100);
        EXPECT_EQ(read.componentWeights[107], 1.0f);
        EXPECT_EQ(read.showPenetration, 1);
    }
}

TEST_F(ParamsTest, PickerAndInverterSectionBytesAndRoundTrip) {
    xAPCont picker;
    ExpectSection(picker, BaseBlock(705 | kBase, "Proj.ANM").I32(0x0FFF0400).F32(1000).F32(5));
    Set(picker, "Selection=0x0FFF0100; Averaging=250; AmplitudeThreshold=12.5");
    const std::string pickerSection = ExpectSection(
        picker, BaseBlock(705 | kBase, "Proj.ANM").I32(0x0FFF0100).F32(250).F32(12.5f));
    xAPCont readPicker;
    ASSERT_EQ(readPicker.Load(), 1);
    EXPECT_EQ(SavedSection(readPicker), pickerSection);

    // The inverter's section holds none of the picker's three values.
    xInvParams inverter;
    inverter.selection = 5;
    Bytes block = BaseBlock(706 | kBase, "Proj.ANM");
    block.I32(-1).I32(-1).I32(0).I32(25).F32(1.0f).F32(50.0f).F32(1000.0f).F32(100.0f);
    ExpectSection(inverter, block.I32(1).I32(101));

    Set(inverter,
        "FirstTau=2; LastTau=7; InvertOn=1; MaxIterations=40; Tolerance=2.5; RemoveAbove=30; "
        "PickSpacing=500; MinAmplitude=10; BodyKinds=103, 110");
    block = BaseBlock(706 | kBase, "Proj.ANM");
    block.I32(2).I32(7).I32(1).I32(40).F32(2.5f).F32(30.0f).F32(500.0f).F32(10.0f);
    const std::string section = ExpectSection(inverter, block.I32(2).I32(103).I32(110));
    xInvParams read;
    ASSERT_EQ(read.Load(), 1);
    EXPECT_EQ(read.selection, xAPCont::DefaultSelection);
    EXPECT_EQ(SavedSection(read), section);
}

TEST_F(ParamsTest, InverterValuesAreReadOnlyFromFilesAbove312) {
    Bytes block = BaseBlock(706 | kBase, "x.ANM");
    block.I32(2).I32(7).I32(1).I32(40).F32(2.5f).F32(30.0f).F32(500.0f).F32(10.0f);
    block.I32(2).I32(103).I32(110);
    for (float version : {3.12f, 3.13f}) {
        SCOPED_TRACE(version);
        WriteProject({block}, version);
        xInvParams read;
        ASSERT_EQ(read.Load(), 1);
        EXPECT_EQ(read.outputFile, "x.ANM");  // the base block is read either way
        const bool newer = version > 3.12f;
        EXPECT_EQ(read.firstTau, newer ? 2 : -1);
        EXPECT_EQ(read.minAmplitude, newer ? 10.0f : 100.0f);
        EXPECT_EQ(read.bodyKinds.size(), newer ? 2u : 1u);
    }
}

// Labels, shown values and refused values as the dialogs have them.
TEST_F(ParamsTest, FieldsShowAndRefuseAsTheDialogsDo) {
    xCnvParams cnv;
    xWavParams wav;
    xFitParams fit;
    xCDIParams cdi;
    xAPCont picker;
    xInvParams inverter;
    const auto field = [](xPrsCont& params, const std::string& name) {
        xParamFields fields;
        params.Fields(fields);
        const xParamField* found = fields.Find(name);
        return found ? std::optional<xParamField>(*found) : std::nullopt;
    };
    using Row = std::tuple<xPrsCont*, std::string, std::string>;
    for (const auto& [params, name, label] :
         {Row{&fit, "Threshold", "ThreshHold(norm):"}, Row{&picker, "Averaging", "Avaraging (m):"},
          Row{&picker, "AmplitudeThreshold", "Amplitude treshold(%):"}})
        EXPECT_EQ(field(*params, name)->label, label);
    for (const auto& [params, name, shown] :
         {Row{&cnv, "ErrorOutput", "File - <Proj.err>"}, Row{&cnv, "Smoothing", "Off"},
          Row{&wav, "AutomaticSelection", "AUTOMATIC"}, Row{&fit, "ChannelOrTau", "0"},
          Row{&picker, "Selection", "0x0FFF0400"}})
        EXPECT_EQ(field(*params, name)->show(), shown) << name;
    cnv.smoothing = 1;
    EXPECT_EQ(field(cnv, "Smoothing")->show(), "On");
    EXPECT_EQ(cnv.Title(), "ASCII->BIN/");

    // A new count spaces the conductivities afresh between the same ends.
    ASSERT_TRUE(field(cdi, "CondCount")->assign("3"));
    ASSERT_EQ(cdi.conductivities.Length(), 3);
    EXPECT_NEAR(cdi.conductivities[2], std::sqrt(1000.0), 1e-3);
    EXPECT_EQ(cdi.conductivities[3], 1000.0f);

    for (const auto& [params, name, value] :
         {Row{&cnv, "FileCount", "3"}, Row{&cnv, "Files", "a.xyz,,b.xyz"},
          Row{&cnv, "Smoothing", "3"}, Row{&wav, "NumberOfTaus", "13"}, Row{&wav, "Unit", "ms"},
          Row{&fit, "Algorithm", "1"}, Row{&fit, "Smoothing", "0.6"}, Row{&cdi, "CondCount", "251"},
          Row{&cdi, "Conductivities", "1, -10"}, Row{&cdi, "ComponentWeights", "1, 2"},
          Row{&inverter, "BodyKinds", ""}, Row{&inverter, "BodyKinds", "99"}}) {
        const auto found = field(*params, name);
        ASSERT_TRUE(found) << name;
        EXPECT_FALSE(found->assign(value)) << name << " = " << value;
    }
    EXPECT_TRUE(
        platform.Saw("error", "Number of taus must be even and positive...please try again."));
    EXPECT_FALSE(field(inverter, "Selection"));  // not stored for the inverter
}
