// tovarn synth writes surveys that the import reads back whole: both record
// forms, and the values it modelled.

#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "TempFolder.h"
#include "xEMDesc.h"
#include "xMData.h"
#include "xMLine.h"

namespace fs = std::filesystem;

namespace {

class SynthTest : public xTempFolderTest {
  protected:
    int Tovarn(const std::string& arguments) {
        const std::string command = std::string(TOVARN_BINARY) + " " + arguments + " >'" +
                                    (dir_ / "out.txt").string() + "' 2>&1";
        const int status = std::system(command.c_str());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    std::string Output() {
        std::ifstream in(dir_ / "out.txt");
        std::stringstream s;
        s << in.rdbuf();
        return s.str();
    }
    // Imports a survey file into a new project beside it; the BIN file's path.
    fs::path Import(const fs::path& descriptor, const fs::path& survey) {
        const std::string par = (dir_ / "S.PAR").string();
        EXPECT_EQ(Tovarn("new " + par + " --descriptor " + descriptor.string()), 0) << Output();
        EXPECT_EQ(Tovarn("set " + par + " 701.Files=" + survey.string()), 0) << Output();
        EXPECT_EQ(Tovarn("run " + par + " --only 701"), 0) << Output();
        return dir_ / "S.BIN";
    }
};

const std::string kGeotem = std::string(TOVARN_SOURCE_DIR) + "/examples/geotem-gsq823/GEOTEM.DSC";

}  // namespace

TEST_F(SynthTest, TheImportReadsEveryRecordThatSynthWrites) {
    ASSERT_EQ(Tovarn("synth " + kGeotem +
                     " --model 100:30,10:50,1000 --lines 3 --line-length 1000 --spacing 25 "
                     "--altitude 120 --noise 2 --out " +
                     (dir_ / "survey").string()),
              0)
        << Output();
    EXPECT_NE(Output().find(": 3 lines, 123 records"), std::string::npos) << Output();
    const fs::path bin = Import(kGeotem, dir_ / "survey" / "GEOTEM_synthetic.asc");
    xMData file;
    file.SetPath(bin);
    ASSERT_EQ(file.Open(), 1);
    ASSERT_TRUE(file.ReadHeader());
    EXPECT_EQ(file.Lines(), 3);
    EXPECT_EQ(file.Records(), 123);
    xMLine line(&file);
    ASSERT_TRUE(line.Next());
    EXPECT_EQ(line.LineNumber(), 10010);
    EXPECT_EQ(line.Item(0, 4), 120.0f);                     // altitude
    EXPECT_GT(line.Item(0, 6 + 16), 0.0f);                  // an off-time Z decay
    EXPECT_GT(line.Item(0, 6 + 16), line.Item(0, 6 + 31));  // that decays
    std::ifstream notes(dir_ / "survey" / "GEOTEM_synthetic.txt");
    std::stringstream text;
    text << notes.rdbuf();
    EXPECT_NE(text.str().find("-dB/dt in ppm of the component's primary field"), std::string::npos)
        << text.str();
}

TEST_F(SynthTest, GeosoftDescriptorsGetXyzFiles) {
    xEMDesc system;
    ASSERT_TRUE(system.Read(fs::path(kGeotem)));
    system.formatDesc.geosoftFormat = 1;
    const fs::path descriptor = dir_ / "XYZ.DSC";
    ASSERT_TRUE(system.Write(descriptor));
    ASSERT_EQ(Tovarn("synth " + descriptor.string() +
                     " --model 50 --lines 2 --line-length 100 --spacing 10 --altitude 100 --out " +
                     dir_.string()),
              0)
        << Output();
    const fs::path bin = Import(descriptor, dir_ / "XYZ_synthetic.xyz");
    xMData file;
    file.SetPath(bin);
    ASSERT_EQ(file.Open(), 1);
    ASSERT_TRUE(file.ReadHeader());
    EXPECT_EQ(file.Lines(), 2);
    EXPECT_EQ(file.Records(), 22);
}

TEST_F(SynthTest, WrongModelsAndPlatesAreRefused) {
    EXPECT_EQ(Tovarn("synth " + kGeotem +
                     " --model 100:30,10 --lines 1 --line-length 10 "
                     "--spacing 1 --altitude 100 --plate 0,0,50,90,0,200,100,10 --out " +
                     dir_.string()),
              2);
    EXPECT_NE(Output().find("Plates are not modelled yet"), std::string::npos) << Output();
    EXPECT_EQ(Tovarn("synth " + kGeotem +
                     " --model 100:30,10:20 --lines 1 --line-length 10 "
                     "--spacing 1 --altitude 100 --out " +
                     dir_.string()),
              2);
    EXPECT_NE(Output().find("Layer 2 of --model, \"10:20\", is not a resistivity (ohm m, above 0) "
                            "alone: the last layer has no thickness."),
              std::string::npos)
        << Output();
}
