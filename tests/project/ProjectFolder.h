#pragma once
// A test folder that is also the project's: the parameter file Proj.PAR and
// the descriptor SYS.DSC are looked for there, and the project context that
// was in force comes back afterwards.

#include "TempFolder.h"
#include "xProjectContext.h"

class xProjectFolderTest : public xTempFolderTest {
  protected:
    void SetUp() override {
        xTempFolderTest::SetUp();
        saved_ = ProjectContext();
        ProjectContext() = xProjectContext{};
        ProjectContext().SetParFile(dir_ / "Proj.PAR");
        ProjectContext().SetDescriptorPath(dir_ / "SYS.DSC");
    }
    void TearDown() override {
        ProjectContext() = saved_;
        xTempFolderTest::TearDown();
    }

  private:
    xProjectContext saved_;
};
