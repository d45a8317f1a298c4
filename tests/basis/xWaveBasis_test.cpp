#include "xWaveBasis.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "TempFolder.h"
#include "xAofTau.h"
#include "xEMDesc.h"
#include "xProcessRegistry.h"
#include "xProjectContext.h"
#include "xRecordingPlatform.h"
#include "xShellApp.h"
#include "xWavParams.h"

namespace fs = std::filesystem;

namespace {

class WaveBasisProcess : public xTempFolderTest {
  protected:
    void SetUp() override {
        xTempFolderTest::SetUp();
        RegisterDescriptor();
    }
    void TearDown() override {
        xObject::ForceCloseDescriptor();
        xTempFolderTest::TearDown();
    }
    // A project on the system; its 702 parameters changed by edit.
    void Project(const xEMDesc& system, const std::function<void(xWavParams&)>& edit = nullptr) {
        ASSERT_TRUE(system.Write(dir_ / "SYS.DSC"));
        xShellApp shell;
        ASSERT_EQ(shell.NewProject(dir_ / "B.PAR", dir_ / "SYS.DSC"), 1);
        ProjectContext().autoFiles = 1;
        xWavParams params;
        params.Load();
        if (edit) edit(params);
        ASSERT_TRUE(params.Save());
    }
    void Run() {
        xWaveBasis process;
        ASSERT_EQ(process.Init(), 1);
        process.Execute(1);
    }
    static xEMDesc Example(const char* name) {
        xEMDesc d;
        EXPECT_TRUE(d.Read(fs::path(TOVARN_EXAMPLES) / name));
        return d;
    }

    xRecordingPlatform platform_;
};

}  // namespace

TEST_F(WaveBasisProcess, EveryComponentSharesTheTausChosenOnTheRichest) {
    Project(Example("geotem-gsq823/GEOTEM.DSC"), [](xWavParams& p) { p.numberOfTaus = 20; });
    Run();
    EXPECT_TRUE(platform_.Saw("note",
                              "System detected number of taus greater than number of samples. "
                              "Generally number of taus should not exceed number of "
                              "samples/frequencies, unless you are going to use smoothing in "
                              "DECONVOLUTION.We advise you to decrease number of taus to 16"));
    xAofTau basis(dir_ / "B.AOT");
    ASSERT_EQ(basis.Read(), 1);
    EXPECT_EQ(basis.Components(), (std::vector<long>{107, 109}));
    ASSERT_EQ(basis.Taus().Length(), 20);
    EXPECT_EQ(basis.Amplitudes(107)->Rows(), 20);
    EXPECT_EQ(basis.Amplitudes(109)->Cols(), 16);
    // Windows in seconds: GEOTEM's first starts 4381.3 us into the half period.
    EXPECT_NEAR((*basis.Windows(109))[0][1], 4381.3e-6, 1e-9);
    xWavParams saved;
    saved.Load();
    EXPECT_EQ(saved.basisValid, 1);
    EXPECT_EQ(saved.selectionWasAutomatic, 1);
    EXPECT_EQ(saved.automaticSelection, 1);
    // The file keeps six digits.
    EXPECT_NEAR(saved.earlyTau, basis.Taus()[1], 1e-5 * saved.earlyTau);
    EXPECT_NEAR(saved.lateTau, basis.Taus()[20], 1e-5 * saved.lateTau);
    EXPECT_EQ(ProjectContext().latestCreatedFile, "B.AOT");
}

TEST_F(WaveBasisProcess, AFatalCheckLeavesNoFile) {
    xEMDesc broken = Example("geotem-gsq823/GEOTEM.DSC");
    broken.systemDesc.realHalfPeriod = 0.0f;
    Project(broken);
    Run();
    EXPECT_TRUE(platform_.Saw("error",
                              "TimeScale factor is zero. WaveForm descriptor is possibly "
                              "wrong!"));
    EXPECT_FALSE(fs::exists(dir_ / "B.AOT"));
}
