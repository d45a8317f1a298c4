#pragma once
// One run of the CDI over an amplitude file: the stages, their order of
// events and the checks between them. A single pass writes the CND file with
// the present conductivities; with an automatic range a first pass only
// gathers the histogram, the conductivities are spread over what it found, and
// a final pass writes the file. A cross-component run writes a CRS file.

#include <array>
#include <filesystem>
#include <memory>
#include <string>

#include "xArray.h"
#include "xCdiSettings.h"
#include "xCondaFactory.h"
#include "xMatrix.h"

class xConductanceTable;
class xEMDesc;
class xMAmp;
class xMCond;
class xPlatform;
class xProgressSink;

class xCdiPass {
  public:
    // settings is updated as a run goes: a raised maxAltitude, the clamped taus
    // and the conductivities of an automatic range stay in it. Messages and the
    // calibration question go to platform.
    xCdiPass(xCdiSettings& settings, const xEMDesc& descriptor, xPlatform& platform,
             xProgressSink* owner = nullptr);
    ~xCdiPass();

    // Mode 3 writes the cross-component form.
    bool CrossComponent() const;
    // The final stage writes the conductance table, a row a record, to path.
    void SetConductanceTable(const std::filesystem::path& path) { tablePath_ = path; }

    // Every stage the parameters ask for; true when the output was written
    // whole. A stopped or failed run leaves no output file behind.
    bool Execute(const std::filesystem::path& ampPath, const std::filesystem::path& cndPath);

    // The histogram of the last stage and the records it wrote.
    const FloatMatrix& Histogram() const { return histogram_; }
    long Records() const { return records_; }
    // An image with no cell between the table's ends says nothing of the
    // ground; the text that says so and what to check, empty for a real one.
    std::string EmptySectionProblem() const;

    // The conductivity range the counts of a histogram (rows 1 counts, 2 bin
    // edges) call for: from the bin before the first holding at least 1 % of
    // the peak count to the last such bin.
    static void RangeFromHistogram(const FloatMatrix& histogram, float& low, float& high);

    // Cross-component depths: 1 to 2000 m in a 1-2-3-5-7 progression.
    static FloatArray LogDepths();

  private:
    enum StageKind { Estimate, Final, Single };
    bool Stage(StageKind kind, const std::filesystem::path& ampPath,
               const std::filesystem::path& cndPath);
    bool OpenInput(xMAmp& amp, const std::filesystem::path& path);
    void ClampTaus(long tauCount);
    FloatArray Depths() const;
    std::unique_ptr<xMCond> MakeOutput(const xMAmp& amp) const;
    std::unique_ptr<xCondaFactory> MakeEngine(xMAmp& amp, xMCond& cnd) const;
    bool CheckGeometry(const xMAmp& amp) const;
    void RaiseMaxAltitude(const xMAmp& amp);
    // Without force to surface every component's amplitudes must become
    // fractions of the primary field; false, with what to set, when one cannot.
    bool CheckFractions(const xMAmp& amp) const;
    // A negative factor means data of the opposite sign to the primary.
    bool CheckScalingSigns(const xCondaFactory& engine) const;
    bool Scale(xCondaFactory& engine, bool compute);
    bool CalibrationLooksWrong(const std::array<float, 9>& factors) const;
    bool RunLines(xMAmp& amp, xCondaFactory& engine);
    // The section takes the file's place only when finished and kept.
    bool Close(xMCond& cnd, xCondaFactory& engine, bool finished, bool keep);

    xCdiSettings& settings_;
    const xEMDesc& descriptor_;
    xPlatform& platform_;
    xProgressSink* owner_;
    std::filesystem::path tablePath_;
    std::array<float, 9> scaling_;
    bool scalingOn_ = false;
    FloatMatrix histogram_;
    long records_ = 0;
    xCondaFactory::CellCounts cells_;
};
