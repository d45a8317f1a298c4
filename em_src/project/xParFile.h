#pragma once
// The PAR file's frame: the header that names the project and its descriptor,
// and the chain of 5000-byte sections, one per process, each starting with its
// tag and the offset of the next one. What is inside a section belongs to the
// parameter class that owns its tag.

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

namespace par {

constexpr float CurrentVersion = 3.13f;
// Files from 3.04 up to 3.12 kept a 256-byte descriptor path.
constexpr float OldestVersion = 3.04f;
constexpr float NewHeaderVersion = 3.12f;
constexpr std::streamoff HeaderSize = 1329;
constexpr std::streamoff OldFirstSection = 560;
constexpr std::streamoff SectionSize = 5000;
constexpr std::size_t ProjectNameSize = 100;
constexpr std::size_t CreationTextSize = 200;
constexpr std::size_t DescriptorPathSize = 1025;
constexpr std::size_t OldDescriptorPathSize = 256;
// An old file whose body was moved behind a new-size header carries this
// character as the first of its project name.
constexpr char MovedMark = '1';

// Where a file is not what its reader expected: the byte and what was wrong.
struct Fault {
    std::streamoff offset = 0;
    std::string what;  // empty: no fault
};

struct Header {
    float version = CurrentVersion;
    std::string projectName;
    std::string creationText;
    std::string descriptorPath;
    std::streamoff firstSection = HeaderSize;
    Fault fault;  // why the header check failed
};

// "Project: " + upper-case project + "      Date: " + date.
std::string CreationText(const std::string& project, const std::string& date);
// The current date as the creation text shows it (mm/dd/yy).
std::string Today();

// A current header. Project selection pads the descriptor path with zeros, the
// header writer of a parameter class with blanks.
void WriteHeader(std::ostream& out, const std::string& project, const std::string& creationText,
                 const std::string& descriptorPath, bool zeroPaddedPath);

// Reads the version and the header of its generation. A file below 3.04 fails.
// An old file not yet moved has its body moved behind a new-size header here,
// without correcting the sections' next offsets (project selection corrects
// them; this path only meets files it has not seen). A file opened only for
// reading is left as it is: an old body not yet moved is read where it stands.
bool CheckHeader(std::fstream& file, Header& header, bool readOnly = false);

// The conversion of project selection: the body from 560 moves to 1329, each
// section's next offset grows by 769, and the mark goes into the name.
bool ConvertOldFile(std::fstream& file);

// Reads only the version float; false on a short file.
bool ReadVersion(std::fstream& file, float& version);

// Walks the chain from the first section for a tag whose low 16 bits match.
// On success both stream positions stand just after the section's tag and next
// offset, where the parameter block (led by the full tag) begins. A chain that
// runs off the file or points backwards ends as "not found"; one that points
// backwards is broken, and brokenChain (when given) says where.
bool FindSection(std::fstream& file, std::streamoff firstSection, std::int32_t tag,
                 std::streamoff& sectionStart, Fault* brokenChain = nullptr);

// "section 703: what": the lead of a message about a section's contents.
std::string InSection(std::int32_t tag, const std::string& what);

// Appends a section for tag at the end of the file and leaves the write
// position where its block goes; answers the section's start.
std::streamoff AppendSection(std::fstream& file, std::int32_t tag);
// Pads from the current write position up to the end of the section.
void PadSection(std::fstream& file, std::streamoff sectionStart);

}  // namespace par
