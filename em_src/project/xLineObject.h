#pragma once
// A process that works line by line: the survey's lines and the ones the person
// chose. The survey file they come from joins here once the survey store exists.

#include <cstdint>
#include <vector>

#include "xObject.h"

class xLineObject : public xObject {
  public:
    using xObject::xObject;

    // Every line starts selected.
    void SetLines(std::vector<std::int32_t> lines);
    const std::vector<std::int32_t>& Lines() const { return lines_; }

    // 0 when the survey has no such line.
    int Select(std::int32_t line, bool on = true);
    void SelectAll(bool on);
    bool IsSelected(std::int32_t line) const;
    // The selected lines in survey order.
    std::vector<std::int32_t> SelectedLines() const;

  private:
    std::vector<std::int32_t> lines_;
    std::vector<char> selected_;
};
