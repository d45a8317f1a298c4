#pragma once
// The CDI process: the amplitude file of the project imaged into a
// conductivity section under every line, <project>.CND (or .CRS for the
// cross-component analysis), and the ASCII output the parameters select.

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
};
