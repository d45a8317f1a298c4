#pragma once
// The Deconvolution process: the survey file's lines fitted on the basis of the
// AOT file, the amplitudes written to <project>.AMP.

#include <filesystem>

#include "xObject.h"

class xFitParams;

class xFitTau : public xObject {
  public:
    static constexpr int Id = 703;

    xFitTau();

    int Init() override;
    void Execute(int mode) override;
    void Dialog(int, int) override {}

  private:
    xFitParams& Parameters() const;
    // The amplitude file as text beside it: <project>_AMP.TEXT.
    void SaveInAscii(const std::filesystem::path& path);
};
