#pragma once
// A fresh project, survey.PAR on a placeholder descriptor, in a folder of the
// test's own, with the project context cleared before and after and the
// messages of its making forgotten.

#include <gtest/gtest.h>

#include <filesystem>

#include "Commands.h"
#include "TempFolder.h"
#include "xProjectContext.h"
#include "xRecordingPlatform.h"

class xNewProjectTest : public xTempFolderTest {
  protected:
    void SetUp() override {
        xTempFolderTest::SetUp();
        ProjectContext() = xProjectContext();
        par_ = dir_ / "survey.PAR";
        ASSERT_EQ(cli::New(par_, Put("system.DSC", "descriptor\n"), {}), cli::kSuccess);
        platform_.messages.clear();
    }
    void TearDown() override {
        ProjectContext() = xProjectContext();
        xTempFolderTest::TearDown();
    }

    std::filesystem::path par_;
    xRecordingPlatform platform_;
};
