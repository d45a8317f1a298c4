#include "xCnvParams.h"

#include "xParFile.h"
#include "xProjectContext.h"

namespace {

// The file list must leave room for the smoothing grade behind it. Whether
// another name follows is decided from the position alone, so that the reader,
// which cannot tell a name's length from the smoothing grade, stops where the
// writer stopped: a name starts only where the longest name and the grade
// still fit in the section.
constexpr std::streamoff kLastNameStart = par::SectionSize - 4 - std::streamoff(4 + kMaxParamText);

}  // namespace

xCnvParams::xCnvParams() : xPrsCont(Id, 0, "BIN") {}

void xCnvParams::WriteBlock(xBlockWriter& out, std::streamoff sectionStart) const {
    out.Put(warnX);
    out.Put(warnY);
    out.Put(warnZ);
    out.Put(warnFid);
    out.Put(maxDx);
    out.Put(maxDy);
    out.Put(maxDz);
    out.Put(maxDFid);
    out.Put(errorOutput);
    out.Put(manualLines);
    // The whole list's count, even when not every name fits.
    out.Put(std::int32_t(files.size()));
    for (const std::string& name : files) {
        if (out.Position() - sectionStart > kLastNameStart) break;
        out.PutText(name);
    }
    out.Put(smoothing);
}

void xCnvParams::ReadBlock(xBlockReader& in, std::int32_t, std::streamoff sectionStart) {
    in.Get(warnX);
    in.Get(warnY);
    in.Get(warnZ);
    in.Get(warnFid);
    in.Get(maxDx);
    in.Get(maxDy);
    in.Get(maxDz);
    in.Get(maxDFid);
    in.Get(errorOutput);
    in.Get(manualLines);
    std::int32_t count = 0;
    in.Get(count);
    std::vector<std::string> names;
    for (std::int32_t i = 0; i < count && in.Ok(); ++i) {
        if (in.Position() - sectionStart > kLastNameStart) break;
        std::string name;
        in.GetText(name);
        if (in.Ok()) names.push_back(name);
    }
    if (!in.Ok()) return;
    files = names;
    in.Get(smoothing);
}

void xCnvParams::BlockFields(xParamFields& fields) {
    fields.Flag("WarnX", "X (east)", warnX);
    fields.Flag("WarnY", "Y (north)", warnY);
    fields.Flag("WarnZ", "Altitude", warnZ);
    fields.Flag("WarnFid", "Fiducial", warnFid);
    fields.Float("MaxDx", "abs(X2-X1)  >", maxDx, 0.0, 1.0e6);
    fields.Float("MaxDy", "abs(Y2-Y1)  >", maxDy, 0.0, 1.0e6);
    fields.Float("MaxDz", "abs(Z2-Z1)  >", maxDz, 0.0, 1.0e6);
    fields.Float("MaxDFid", "abs(FID2-FID1)  >", maxDFid, 0.0, 1.0e6);
    fields.Choice("ErrorOutput", "Direct Error Messages to", errorOutput,
                  {"Screen", "File - <" + ProjectContext().projectName + ".err>", "File & Screen"});
    fields.Flag("ManualLines", "Select lines to display manually", manualLines);
    fields.Add({"FileCount", "Number of ASCII files", "the number of names in Files",
                [this] { return std::to_string(files.size()); },
                [](const std::string&) { return false; }});
    fields.Add({"Files", "ASCII files",
                "file names separated by commas, each of at most 99 characters",
                [this] {
                    std::string list;
                    for (std::size_t i = 0; i < files.size(); ++i)
                        list += (i ? ", " : "") + files[i];
                    return list;
                },
                [this](const std::string& text) {
                    std::vector<std::string> names = SplitList(text);
                    for (const std::string& name : names)
                        if (name.empty() || name.size() > kMaxParamText) return false;
                    files = names;
                    return true;
                }});
    const std::vector<std::string> grades = {"No Smoothing", "Auto Defined", "Significant"};
    fields.Add({"Smoothing", "Smoothing Grade",
                "0 \"No Smoothing\", 1 \"Auto Defined\", 2 \"Significant\"",
                [this] { return std::string(smoothing == 0 ? "Off" : "On"); },
                [this, grades](const std::string& text) {
                    for (std::size_t i = 0; i < grades.size(); ++i)
                        if (text == grades[i]) return smoothing = std::int32_t(i), true;
                    long value;
                    if (!ParseLong(text, value) || value < 0 || value > 2) return false;
                    smoothing = std::int32_t(value);
                    return true;
                }});
}
