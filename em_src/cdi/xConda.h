#pragma once
// The CDI process: the amplitude file of the project imaged into a
// conductivity section under every line, <project>.CND (or .CRS for the
// cross-component analysis), and the ASCII output the parameters select.

#include <filesystem>
#include <string>

#include "xObject.h"

class xCDIParams;

class xConda : public xObject {
  public:
    static constexpr int Id = 704;

    xConda();

    int Init() override;
    void Execute(int mode) override;
    void Dialog(int, int) override {}

  private:
    xCDIParams& Parameters() const;
    bool CheckParameters() const;
    void SaveOutput(const std::filesystem::path& cndPath);
    // Modes 0 and 2 draw the existing file: headless, what it holds.
    void DescribeExisting(const std::string& extension);
};
