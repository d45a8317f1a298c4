#pragma once
// The base of every process's parameters: one section of the PAR file, found by
// the process id in its tag. The base block (display and file settings common to
// all processes) comes first; each derived class appends its own block, read as
// far as the version bits of the tag say it was written.

#include <cstdint>
#include <filesystem>
#include <string>

#include "xParFile.h"
#include "xParamBlock.h"
#include "xParamDisplay.h"
#include "xParamFields.h"

// What a reader that may not replace the PAR file says of a header that fails
// its check.
std::string UnreadableHeader(const std::filesystem::path& parFile, const par::Fault& fault);

class xPrsCont {
  public:
    // Version bits of the base block: 0x01000000 had two of the last four fields.
    static constexpr std::int32_t BaseVersionAll = 0x03000000;
    static constexpr std::int32_t BaseVersionTwo = 0x01000000;

    // outputExtension names the default output `<project>.<ext>`; empty for none.
    explicit xPrsCont(int processId = 711, std::int32_t blockVersion = 0,
                      const std::string& outputExtension = "");
    virtual ~xPrsCont() = default;
    xPrsCont(const xPrsCont&) = delete;
    xPrsCont& operator=(const xPrsCont&) = delete;

    int ProcessId() const { return processId_; }
    // Process id, block version and base version: what a save writes.
    std::int32_t Tag() const { return processId_ | blockVersion_ | BaseVersionAll; }
    // The tag as read from the file by the last Load (0 before).
    std::int32_t FileTag() const { return fileTag_; }
    // The version float of the PAR file met by the last Load.
    float FileVersion() const { return fileVersion_; }

    // Reads this class's section of the project's PAR file (the project context
    // names it). 1 when the section was found and read, 0 otherwise: a missing
    // section leaves the defaults.
    int Load();
    // Writes the section in place, or appends it. 1 on success; 0 for a
    // project opened read-only.
    int Save();

    // The labelled rows of the parameter display for this class; with names,
    // each label has the "ID.Field" name that `tovarn set` takes beside it.
    void Display(xParamDisplay& display, bool withNames = false) const;
    // The fields that the display shows and `tovarn set` may change.
    void Fields(xParamFields& fields);
    // The process title, ending in a slash ("ASCII->BIN/").
    virtual std::string Title() const;

    // 0x80000000 when an input name is set, 0x40000000 when an output name is.
    std::uint32_t HasInput() const { return inputFile.empty() ? 0 : 0x80000000u; }
    std::uint32_t HasOutput() const { return outputFile.empty() ? 0 : 0x40000000u; }

    // Base block, in file order.
    std::int16_t showDisplay = 1;
    std::int32_t horizontalScale = 50000;
    std::int16_t autoAnnotateX = 1;
    std::int32_t annotateX = 0;
    float plotsPerScreen = 1.0f;
    std::int16_t autoAnnotateY = 1;
    std::int32_t annotateY = 0;
    std::string inputFile;
    std::string outputFile;
    std::string alignX = "FID";
    std::int32_t verticalMode = 0;
    float verticalScale = 10000.0f;
    std::int32_t lineOrder = 3;
    std::int16_t reverseLines = 0;

  protected:
    // The derived block. sectionStart lets a block stop at the section's end.
    virtual void WriteBlock(xBlockWriter&, std::streamoff /*sectionStart*/) const {}
    // version: bits 16..23 of the tag read, as a masked value.
    virtual void ReadBlock(xBlockReader&, std::int32_t /*version*/,
                           std::streamoff /*sectionStart*/) {}
    virtual void BlockFields(xParamFields&) {}

  private:
    void WriteSection(xBlockWriter& out, std::streamoff sectionStart) const;
    void ReadSection(xBlockReader& in, std::streamoff sectionStart);
    bool PrepareFile(std::fstream& file);
    // The path of a read-only command: the file as it stands, or nothing.
    bool OpenForReading(std::fstream& file);
    void TakeHeader(const par::Header& header);

    int processId_;
    std::int32_t blockVersion_;
    std::int32_t fileTag_ = 0;
    float fileVersion_ = 0.0f;
    std::streamoff firstSection_ = 0;
};
