#include "xParamDisplay.h"

#include <cstdio>

namespace {

// The display shows this literal, not the file's version.
constexpr double kDisplayVersion = 3.3;

}  // namespace

void xParamDisplay::AddTitleRow(const std::string& project, const std::string& descriptor) {
    int row = NextRow();
    char version[16];
    std::snprintf(version, sizeof version, "%5.2f", kDisplayVersion);
    for (const std::string& text :
         {std::string("Project Name:"), project, std::string("Descriptor Name:"), descriptor,
          std::string("Version:"), std::string(version)})
        items_.push_back({row, text, {}});
}

void xParamDisplay::AddRow(const std::string& label, const std::string& value) {
    int row = NextRow();
    items_.push_back({row, label, {}});
    items_.push_back({row, value, {}});
}

void xParamDisplay::AddRow(const std::string& label, const std::string& name,
                           const std::string& value) {
    int row = NextRow();
    items_.push_back({row, label, {}});
    items_.push_back({row, name, {}});
    items_.push_back({row, value, {}});
}

void xParamDisplay::AddHeading(const std::string& title) {
    items_.push_back({NextRow(), title, {}});
}

void xParamDisplay::AddList(const std::vector<std::string>& lines) {
    items_.push_back({NextRow(), "", lines});
}

void xParamDisplay::ExportAscii(std::ostream& out) const {
    int written = -1;
    for (const Item& item : items_) {
        if (!item.lines.empty()) {
            out << '\n';
            for (const auto& line : item.lines) out << "   " << line << '\n';
            written = item.row;
            continue;
        }
        if (written >= 0 && item.row > written) out << '\n';
        char field[512];
        std::snprintf(field, sizeof field, "%-35s", item.text.c_str());
        out << field;
        written = item.row;
    }
    out << '\n';
}
