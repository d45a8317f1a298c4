#pragma once
// A document attached to one file: where it lives, how it is opened, and the
// questions a person is asked before a file is replaced. The parameter store and
// every data file build on it; they reach the bytes through Stream().

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "xPendingFile.h"

class xDoc {
  public:
    xDoc() = default;
    explicit xDoc(const std::filesystem::path& path) { SetPath(path); }
    virtual ~xDoc() = default;
    xDoc(const xDoc&) = delete;
    xDoc& operator=(const xDoc&) = delete;

    // A name ending in a dot and up to four characters gives its extension as the
    // type; any other name keeps the type already set.
    void SetName(const std::string& name);
    void SetDirectory(const std::filesystem::path& directory) { directory_ = directory; }
    void SetType(const std::string& type) { type_ = type; }
    // Directory and name at once; an empty parent leaves the directory as it is.
    void SetPath(const std::filesystem::path& path);

    const std::filesystem::path& Directory() const { return directory_; }
    const std::string& Name() const { return name_; }
    const std::string& Type() const { return type_; }
    // Name and type: "SURVEY.BIN".
    std::string FileName() const;
    std::filesystem::path Path() const;

    // At most four characters; a longer one is refused and the old one kept.
    int SetCreator(const std::string& creator);
    const std::string& Creator() const { return creator_; }
    void SetBinary(bool binary) { binary_ = binary; }
    bool IsBinary() const { return binary_; }
    // When set, Create replaces an existing file without asking.
    void SetOverwrite(bool overwrite) { overwrite_ = overwrite; }
    bool Overwrite() const { return overwrite_; }
    bool IsReadOnly() const { return readOnly_; }
    bool IsOpen() const { return stream_.is_open(); }

    bool Exists() const;
    // Bytes on disk; 0 for a missing file.
    std::uintmax_t Size() const;

    // Read and write, or read only when the file cannot be written. 1 on success.
    int Open();
    // Opens empty for writing; an existing file is replaced only when the
    // overwrite flag is set or the person agrees. 1 on success. The bytes go to
    // a temporary beside the file until Commit puts them in its place.
    int Create();
    // Closes a created file and puts it in place of the old one; a failed write
    // is shown with the system's reason and the old file stays. 1 on success.
    int Commit();
    // The save box: the file picked is created, replacing what is there, since
    // the person chose it for saving.
    int SaveAs(const std::string& title = "Save As :");
    int OpenAs(const std::string& title = "Select file :");
    // A created file that was not committed is thrown away.
    void Close();
    // Closes and removes the file; a created file that was not committed is
    // thrown away and the old one stays. 1 when a file was removed.
    int Delete();

    int Write(const void* data, std::size_t size);
    int Read(void* data, std::size_t size);
    // Back to the first byte for reading, or for writing.
    int ResetInput();
    int ResetOutput();

    std::fstream& Stream() { return stream_; }

  protected:
    // The file boxes' pattern: "*." + type, or every file when there is no type.
    std::string Pattern() const;
    // Posts the read-only message and answers 0 when the file may not be written.
    int CheckWritable() const;

  private:
    int CreateHere();
    std::ios::openmode Mode(std::ios::openmode mode) const {
        return binary_ ? mode | std::ios::binary : mode;
    }

    std::filesystem::path directory_;
    std::string name_;
    std::string type_;
    std::string creator_ = "????";
    std::fstream stream_;
    xPendingFile pending_;
    bool binary_ = true;
    bool readOnly_ = false;
    bool overwrite_ = false;
};
