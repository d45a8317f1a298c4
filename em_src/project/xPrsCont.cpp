#include "xPrsCont.h"

#include <fstream>

#include "xParFile.h"
#include "xPlatform.h"
#include "xProcessTable.h"
#include "xProjectContext.h"
#include "xReadError.h"

namespace fs = std::filesystem;

namespace {

fs::path ParFileOfProject() {
    const xProjectContext& context = ProjectContext();
    return context.parFile.empty() ? context.ProjectFile("PAR") : context.parFile;
}

// A header for a file that has none yet, naming the project's descriptor.
bool WriteNewHeader(std::fstream& file) {
    const xProjectContext& context = ProjectContext();
    file.clear();
    par::WriteHeader(file, context.projectName,
                     par::CreationText(context.projectName, par::Today()),
                     context.DescriptorPath().string(), false);
    file.flush();
    return bool(file);
}

bool OpenReadWrite(std::fstream& file, const fs::path& path) {
    file.open(path, std::ios::in | std::ios::out | std::ios::binary);
    return file.is_open();
}

bool CreateFile(std::fstream& file, const fs::path& path) {
    file.open(path, std::ios::in | std::ios::out | std::ios::binary | std::ios::trunc);
    return file.is_open() && WriteNewHeader(file);
}

// The old file goes aside as <name>.PAR.old before a new one takes its name.
bool ReplaceOldFile(const fs::path& path, const par::Fault& fault) {
    fs::path kept = path;
    kept += ".old";
    std::error_code failed;
    fs::rename(path, kept, failed);
    const std::string place = AtOffset(path, fault.offset, fault.what);
    if (failed) {
        Platform().Error("Older version files have been detected! " + place +
                         "\nIt could not be kept as " + kept.filename().string() + " (" +
                         failed.message() + "), so it is left as it is.");
        return false;
    }
    Platform().Error("Older version files have been detected! File xxx.PAR will be deleted...\n" +
                     place + "\nThe old file is kept as " + kept.filename().string() + ".");
    return true;
}

}  // namespace

std::string UnreadableHeader(const fs::path& parFile, const par::Fault& fault) {
    return "The parameter file cannot be read and is left as it is.\n" +
           AtOffset(parFile, fault.offset, fault.what);
}

xPrsCont::xPrsCont(int processId, std::int32_t blockVersion, const std::string& outputExtension)
    : processId_(processId), blockVersion_(blockVersion) {
    if (!outputExtension.empty()) outputFile = ProjectContext().projectName + "." + outputExtension;
}

std::string xPrsCont::Title() const {
    const xProcessInfo* info = FindProcess(processId_);
    return info ? info->title : std::string();
}

// Opens the project's PAR file, making one when there is none, and checks its
// header. A file too old to read is replaced by a new, empty one; the old one
// is kept beside it first.
bool xPrsCont::PrepareFile(std::fstream& file) {
    if (ProjectContext().readOnly) return OpenForReading(file);
    fs::path path = ParFileOfProject();
    if (!fs::exists(path)) {
        if (auto chosen = Platform().FileBox("Select Parameter File", "*.PAR", false);
            chosen && fs::exists(*chosen)) {
            path = *chosen;
            ProjectContext().SetParFile(path);
        } else if (!CreateFile(file, path)) {
            Platform().Error("xPrsCont:Problems in opening PAR file");
            return false;
        }
    }
    if (!file.is_open() && !OpenReadWrite(file, path)) {
        Platform().Error("xPrsCont:Problems in opening PAR file");
        return false;
    }
    if (fs::file_size(path) == 0) WriteNewHeader(file);
    par::Header header;
    if (!par::CheckHeader(file, header)) {
        file.close();
        if (!ReplaceOldFile(path, header.fault)) return false;
        if (!CreateFile(file, path) || !par::CheckHeader(file, header)) return false;
    }
    TakeHeader(header);
    return true;
}

bool xPrsCont::OpenForReading(std::fstream& file) {
    const fs::path path = ParFileOfProject();
    file.open(path, std::ios::in | std::ios::binary);
    if (!file.is_open()) {
        Platform().Error("xPrsCont:Problems in opening PAR file");
        return false;
    }
    par::Header header;
    if (!par::CheckHeader(file, header, true)) {
        Platform().Error(UnreadableHeader(path, header.fault));
        return false;
    }
    TakeHeader(header);
    return true;
}

void xPrsCont::TakeHeader(const par::Header& header) {
    fileVersion_ = header.version;
    firstSection_ = header.firstSection;
    if (!header.descriptorPath.empty()) ProjectContext().SetDescriptorPath(header.descriptorPath);
}

int xPrsCont::Load() {
    std::fstream file;
    if (!PrepareFile(file)) return 0;
    std::streamoff start = 0;
    par::Fault broken;
    if (!par::FindSection(file, firstSection_, Tag(), start, &broken)) {
        if (!broken.what.empty())
            Platform().Warning(AtOffset(ParFileOfProject(), broken.offset, broken.what));
        return 0;
    }
    file.seekg(start + 8);
    xBlockReader in(file, start + par::SectionSize, ParFileOfProject(), Tag());
    ReadSection(in, start);
    if (!in.Where().empty()) Platform().Warning(in.Where());
    return 1;
}

int xPrsCont::Save() {
    if (ProjectContext().readOnly) return 0;
    const fs::path path = ParFileOfProject();
    std::fstream file;
    if (!fs::exists(path) || fs::file_size(path) == 0 || !OpenReadWrite(file, path)) return 0;
    par::Header header;
    if (!par::CheckHeader(file, header)) return 0;
    std::streamoff start = 0;
    const bool found = par::FindSection(file, header.firstSection, Tag(), start);
    if (!found) start = par::AppendSection(file, Tag());
    file.seekp(start + 8);
    xBlockWriter out(file);
    WriteSection(out, start);
    if (!found) par::PadSection(file, start);
    file.flush();
    return file ? 1 : 0;
}

void xPrsCont::WriteSection(xBlockWriter& out, std::streamoff sectionStart) const {
    out.Put(Tag());
    out.Put(showDisplay);
    out.Put(horizontalScale);
    out.Put(autoAnnotateX);
    out.Put(annotateX);
    out.Put(plotsPerScreen);
    out.Put(autoAnnotateY);
    out.Put(annotateY);
    out.PutText(inputFile);
    out.PutText(outputFile);
    out.PutText(alignX);
    out.Put(verticalMode);
    out.Put(verticalScale);
    out.Put(lineOrder);
    out.Put(reverseLines);
    WriteBlock(out, sectionStart);
}

void xPrsCont::ReadSection(xBlockReader& in, std::streamoff sectionStart) {
    in.Get(fileTag_);
    in.Get(showDisplay);
    in.Get(horizontalScale);
    in.Get(autoAnnotateX);
    in.Get(annotateX);
    in.Get(plotsPerScreen);
    in.Get(autoAnnotateY);
    in.Get(annotateY);
    in.GetText(inputFile);
    in.GetText(outputFile);
    in.GetText(alignX);
    const std::int32_t baseVersion = fileTag_ & 0x7F000000;
    if (baseVersion == BaseVersionTwo || baseVersion == BaseVersionAll) {
        in.Get(verticalMode);
        in.Get(verticalScale);
    }
    if (baseVersion == BaseVersionAll) {
        in.Get(lineOrder);
        in.Get(reverseLines);
    }
    ReadBlock(in, fileTag_ & 0x00FF0000, sectionStart);
}

void xPrsCont::Fields(xParamFields& fields) {
    fields.Flag("ShowDisplay", "Show display", showDisplay);
    fields.Long("HorizontalScale", "Horizontal Scale", horizontalScale, 10, 100000);
    fields.Flag("AutoAnnotateX", "Auto (horizontal)", autoAnnotateX);
    fields.Long("AnnotateX", "Annotate Horiz.Axis every", annotateX, 0, 100000000);
    fields.Float("PlotsPerScreen", "Plots per screen", plotsPerScreen, 0.1, 10.0);
    fields.Flag("AutoAnnotateY", "Auto (vertical)", autoAnnotateY);
    fields.Long("AnnotateY", "Annotate Vertical Axis every", annotateY, 0, 100000000);
    fields.Text("InputFile", "Input file", inputFile);
    fields.Text("OutputFile", "Output file", outputFile);
    fields.Text("AlignX", "Align X axis with", alignX);
    fields.Long("VerticalMode", "Vertical mode", verticalMode, 0, 1);
    fields.Float("VerticalScale", "Vertical Scale", verticalScale, 10.0, 100000.0);
    fields.Long("LineOrder", "Line drawing order", lineOrder, 0, 3);
    fields.Flag("ReverseLines", "Reverse line drawing direction", reverseLines);
    BlockFields(fields);
}

void xPrsCont::Display(xParamDisplay& display, bool withNames) const {
    xParamFields fields;
    const_cast<xPrsCont*>(this)->Fields(fields);
    display.AddHeading(Title().empty() ? "Process " + std::to_string(processId_) : Title());
    const std::string id = std::to_string(processId_) + ".";
    for (const auto& field : fields.All()) {
        if (withNames)
            display.AddRow(field.label, id + field.name, field.show());
        else
            display.AddRow(field.label, field.show());
    }
}
