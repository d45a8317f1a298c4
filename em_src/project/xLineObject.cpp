#include "xLineObject.h"

#include <algorithm>

void xLineObject::SetLines(std::vector<std::int32_t> lines) {
    lines_ = std::move(lines);
    selected_.assign(lines_.size(), 1);
}

int xLineObject::Select(std::int32_t line, bool on) {
    auto found = std::find(lines_.begin(), lines_.end(), line);
    if (found == lines_.end()) return 0;
    selected_[found - lines_.begin()] = on ? 1 : 0;
    return 1;
}

void xLineObject::SelectAll(bool on) {
    std::fill(selected_.begin(), selected_.end(), on ? 1 : 0);
}

bool xLineObject::IsSelected(std::int32_t line) const {
    auto found = std::find(lines_.begin(), lines_.end(), line);
    return found != lines_.end() && selected_[found - lines_.begin()];
}

std::vector<std::int32_t> xLineObject::SelectedLines() const {
    std::vector<std::int32_t> chosen;
    for (std::size_t i = 0; i < lines_.size(); ++i)
        if (selected_[i]) chosen.push_back(lines_[i]);
    return chosen;
}
