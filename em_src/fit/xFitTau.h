#pragma once
// The Deconvolution process: the survey file's lines fitted on the basis of the
// AOT file, the amplitudes written to <project>.AMP.

#include <filesystem>
#include <vector>

#include "xArray.h"
#include "xFitSettings.h"
#include "xObject.h"

class xFitFactory;
class xFitParams;
class xMAmp;
class xAofTau;
class xMData;
struct xMLineBlock;

class xFitTau : public xObject {
  public:
    static constexpr int Id = 703;
    // The orders of the background's bounding and final polynomials.
    static constexpr int BackgroundLowOrder = 3;
    static constexpr int BackgroundHighOrder = 5;

    xFitTau();

    int Init() override;
    void Execute(int mode) override;
    void Dialog(int, int) override {}

    // The engine's settings from the deconvolution parameters.
    static xFitSettings Settings(const xFitParams& params);
    // Why a configured engine cannot fit the records of bin: no fitter for the
    // algorithm, or a basis made for other windows; empty when it can.
    static std::string FitterProblem(const xFitFactory& engine, long algorithm,
                                     const xAofTau& basis, const xMData& bin);

  private:
    // The line's fits of its mean record, as FIT_AVERAGE rows.
    struct xLineAverages {
        std::vector<FloatArray> data, fit;
    };

    xFitParams& Parameters() const;
    // Every record of one line of bin through the engine into a new line of
    // amp; false when the run was stopped or the line could not be written.
    bool DeconvolveLine(xFitFactory& engine, xMData& bin, const xMLineBlock& block, xMAmp& amp,
                        xLineAverages& averages);
    // The background half of every record of the amplitude file, still open
    // from the run, line by line.
    void CalculateBackground(xMAmp& amp);
    // The amplitude file as text beside it: <project>_AMP.TEXT.
    void SaveInAscii(const std::filesystem::path& path);
};
