#pragma once
// The CDI process: the amplitude file of the project imaged into a
// conductivity section under every line, <project>.CND (or .CRS for the
// cross-component analysis), and the ASCII output the parameters select.

#include <filesystem>
#include <string>

#include "xObject.h"

class xCDIParams;
class xIniFile;
struct xCdiSettings;

class xConda : public xObject {
  public:
    static constexpr int Id = 704;

    // configuration: the program's settings file, when the front end has one.
    explicit xConda(xIniFile* configuration = nullptr);

    int Init() override;
    void Execute(int mode) override;
    void Dialog(int, int) override {}

    // The pass's settings from the parameters and the configuration (may be null).
    static xCdiSettings Settings(const xCDIParams& params, xIniFile* configuration);

  private:
    xCDIParams& Parameters() const;
    // What a pass settled goes back into the parameters.
    void KeepSettled(const xCdiSettings& settings);
    bool CheckParameters() const;
    void SaveOutput(const std::filesystem::path& cndPath);
    // Modes 0 and 2 draw the existing file: headless, what it holds.
    void DescribeExisting(const std::string& extension);

    xIniFile* configuration_;
};
