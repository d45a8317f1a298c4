#include <algorithm>
#include <climits>
#include <fstream>

#include "Commands.h"
#include "xAsciiPattern.h"
#include "xMData.h"
#include "xParamFields.h"
#include "xPlatform.h"

namespace fs = std::filesystem;

namespace cli {

namespace {

bool ParseLines(const std::string& text, std::vector<std::int32_t>& lines) {
    for (const auto& item : SplitList(text)) {
        long number;
        if (!ParseLong(item, number) || number < INT32_MIN || number > INT32_MAX) return false;
        lines.push_back(std::int32_t(number));
    }
    return true;
}

std::string Joined(const std::vector<std::int32_t>& numbers) {
    std::string text;
    for (auto n : numbers) text += (text.empty() ? "" : ", ") + std::to_string(n);
    return text.empty() ? "none" : text;
}

}  // namespace

int Dump(const fs::path& file, const std::string& lines, const fs::path& pattern,
         const fs::path& target, std::ostream& out) {
    std::vector<std::int32_t> wanted;
    if (!ParseLines(lines, wanted)) {
        Platform().Error(
            "--lines wants line numbers separated by commas, e.g. 10010,22810, not \"" + lines +
            "\".");
        return kUsage;
    }
    xMData data;
    data.SetPath(file);
    // Open falls back to reading only; a dump never writes the survey file.
    if (data.Open() != 1) {
        if (fs::exists(file)) Platform().Error("Cannot open " + file.string());
        return kFailed;
    }
    if (!data.ReadHeader()) return kFailed;
    if (!wanted.empty()) {
        const auto present = data.LineNumbers();
        for (auto number : wanted) {
            if (std::find(present.begin(), present.end(), number) != present.end()) continue;
            Platform().Error("Line " + std::to_string(number) + " is not in " + file.string() +
                             "; its lines are " + Joined(present) + ".");
            return kUsage;
        }
    }

    std::ofstream text;
    if (!target.empty() && !OpenAsciiFile(target, text)) return kFailed;
    std::ostream& sink = target.empty() ? out : text;
    const bool ok =
        pattern.empty() ? data.DumpAscii(sink, wanted) : data.SaveAscii(sink, pattern, wanted);
    if (!ok && !target.empty()) {
        // Half a report would pass for a whole one.
        text.close();
        std::error_code ignored;
        fs::remove(target, ignored);
    }
    return ok ? kSuccess : kFailed;
}

}  // namespace cli
