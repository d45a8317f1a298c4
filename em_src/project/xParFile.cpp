#include "xParFile.h"

#include <algorithm>
#include <cctype>
#include <ctime>
#include <sstream>
#include <vector>

#include "BinaryStream.h"
#include "xReadError.h"

namespace par {

namespace {

std::string Fixed(const std::string& text, std::size_t size, char pad) {
    std::string field = text.substr(0, size);
    field.resize(size, pad);
    return field;
}

std::string ReadChars(std::istream& in, std::size_t size) {
    std::string text(size, '\0');
    in.read(text.data(), std::streamsize(size));
    return text;
}

// Fixed fields come back padded with blanks or zeros; the value is what stands
// before the padding.
std::string Trimmed(std::string text) {
    auto end = text.find('\0');
    if (end != std::string::npos) text.resize(end);
    while (!text.empty() && text.back() == ' ') text.pop_back();
    return text;
}

constexpr std::streamoff MoveShift = HeaderSize - OldFirstSection;  // 769

std::streamoff FileSize(std::fstream& file) {
    file.clear();
    file.seekg(0, std::ios::end);
    return file.tellg();
}

std::vector<char> ReadRemainder(std::fstream& file) {
    std::streamoff size = FileSize(file);
    std::vector<char> body(std::size_t(std::max<std::streamoff>(0, size - OldFirstSection)));
    file.seekg(OldFirstSection);
    file.read(body.data(), std::streamsize(body.size()));
    file.clear();
    return body;
}

void WriteMovedBody(std::fstream& file, const std::vector<char>& body) {
    file.seekp(4);
    file.put(MovedMark);
    file.seekp(HeaderSize);
    file.write(body.data(), std::streamsize(body.size()));
    file.flush();
}

}  // namespace

std::string CreationText(const std::string& project, const std::string& date) {
    std::string upper = project;
    std::transform(upper.begin(), upper.end(), upper.begin(),
                   [](unsigned char c) { return char(std::toupper(c)); });
    return "Project: " + upper + "      Date: " + date;
}

std::string Today() {
    std::time_t now = std::time(nullptr);
    char text[16] = {};
    std::strftime(text, sizeof text, "%m/%d/%y", std::localtime(&now));
    return text;
}

void WriteHeader(std::ostream& out, const std::string& project, const std::string& creationText,
                 const std::string& descriptorPath, bool zeroPaddedPath) {
    out.seekp(0);
    binary::Write(out, CurrentVersion);
    out << Fixed(project, ProjectNameSize, ' ') << Fixed(creationText, CreationTextSize, ' ')
        << Fixed(descriptorPath, DescriptorPathSize, zeroPaddedPath ? '\0' : ' ');
}

bool ReadVersion(std::fstream& file, float& version) {
    file.clear();
    file.seekg(0);
    bool ok = binary::Read(file, version);
    file.clear();
    return ok;
}

bool CheckHeader(std::fstream& file, Header& header, bool readOnly) {
    header.fault = Fault{};
    if (!ReadVersion(file, header.version)) {
        header.fault.what = "expected the version, found the end of the file";
        return false;
    }
    if (!(header.version >= OldestVersion)) {
        std::ostringstream version;
        version << header.version;
        header.fault.what = ExpectedFound("a version of 3.04 or later", version.str());
        return false;
    }
    const bool old = header.version < NewHeaderVersion;
    file.seekg(4);
    std::string name = ReadChars(file, ProjectNameSize);
    header.creationText = Trimmed(ReadChars(file, CreationTextSize));
    header.descriptorPath =
        Trimmed(ReadChars(file, old ? OldDescriptorPathSize : DescriptorPathSize));
    // A header cut short has no sections behind it; a section appended to it
    // would land inside the header.
    const bool whole = bool(file);
    file.clear();
    if (!whole) {
        header.fault = {FileSize(file), "expected a header of " +
                                            std::to_string(old ? OldFirstSection : HeaderSize) +
                                            " bytes, found the end of the file"};
        return false;
    }
    // Once moved (here or by project selection), an old file's sections stand
    // behind a new-size header like those of a current file.
    header.firstSection = HeaderSize;
    if (old && name[0] != MovedMark && readOnly) {
        header.firstSection = OldFirstSection;
    } else if (old && name[0] != MovedMark) {
        WriteMovedBody(file, ReadRemainder(file));
        name[0] = MovedMark;
    }
    header.projectName = Trimmed(name);
    return true;
}

bool ConvertOldFile(std::fstream& file) {
    std::vector<char> body = ReadRemainder(file);
    for (std::size_t place = 4; place + 4 <= body.size(); place += std::size_t(SectionSize)) {
        std::int32_t next;
        std::memcpy(&next, body.data() + place, 4);
        next = binary::ToLittleEndian(std::int32_t(binary::ToLittleEndian(next) + MoveShift));
        std::memcpy(body.data() + place, &next, 4);
    }
    WriteMovedBody(file, body);
    return bool(file);
}

std::string InSection(std::int32_t tag, const std::string& what) {
    return "section " + std::to_string(tag & 0xFFFF) + ": " + what;
}

bool FindSection(std::fstream& file, std::streamoff firstSection, std::int32_t tag,
                 std::streamoff& sectionStart, Fault* brokenChain) {
    const std::streamoff size = FileSize(file);
    std::streamoff place = firstSection;
    while (place + 8 <= size) {
        file.seekg(place);
        std::int32_t sectionTag = 0, next = 0;
        if (!binary::Read(file, sectionTag) || !binary::Read(file, next)) break;
        if ((sectionTag & 0xFFFF) == (tag & 0xFFFF)) {
            sectionStart = place;
            file.seekp(place + 8);
            return true;
        }
        if (next <= place) {
            if (brokenChain)
                *brokenChain = {place + 4,
                                InSection(sectionTag, ExpectedFound("the offset of a later section",
                                                                    std::to_string(next)))};
            break;
        }
        place = next;
    }
    file.clear();
    return false;
}

std::streamoff AppendSection(std::fstream& file, std::int32_t tag) {
    std::streamoff start = FileSize(file);
    file.seekp(start);
    binary::Write(file, tag);
    binary::Write(file, std::int32_t(start + SectionSize));
    return start;
}

void PadSection(std::fstream& file, std::streamoff sectionStart) {
    std::streamoff written = std::streamoff(file.tellp()) - sectionStart;
    if (written < SectionSize) file << std::string(std::size_t(SectionSize - written), '\0');
}

}  // namespace par
