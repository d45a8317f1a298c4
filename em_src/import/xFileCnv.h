#pragma once
// The ASCII->Binary process: binds the import engine to the project's
// parameters and files. The survey files of the parameters are converted into
// <project>.BIN, with the position checks reported into <project>.err.

#include <filesystem>
#include <vector>

#include "xImportSettings.h"
#include "xObject.h"

class xCnvParams;
class xEMDesc;

class xFileCnv : public xObject {
  public:
    static constexpr int Id = 701;

    xFileCnv();

    int Init() override;
    void Execute(int mode) override;
    void Dialog(int, int) override {}

    // The survey files of the parameters; a relative name is taken from the
    // project's directory.
    std::vector<std::filesystem::path> SurveyFiles() const;
    // What the engine and its checker are given: the survey files and the checks.
    xImportSettings Settings() const;

  private:
    xCnvParams& Parameters() const;
    // False when there is no BIN either: the process could not run.
    bool NothingToConvert();
    // Posts every refusal of the descriptor's record format; true when none.
    static bool RecordFormatUsable(const xEMDesc& descriptor);
    void AfterConversion();
};
