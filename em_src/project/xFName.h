#pragma once
// A file name of fixed anatomy: base, optional sensor orientation, and a
// three-letter extension, as in "survey" "_z" ".EMW". The whole name is held as
// one string; an underscore starts the orientation and the last four
// characters are the dot and the extension.

#include <string>
#include <vector>

class xFName : public std::string {
  public:
    xFName() = default;
    // Through SetName.
    explicit xFName(const std::string& name);

    // Base (all before the extension's dot), no orientation, and the extension.
    // Names of three characters or fewer are ignored; a longer name must have
    // its dot four from the end.
    void SetName(const std::string& name);
    // Keeps only the last four characters and puts the base before them.
    void SetBase(const std::string& base);
    // Replaces what runs from the first underscore to the dot; with no
    // underscore the orientation goes in before the dot.
    void SetOrientation(const std::string& orientation);
    void SetExtension(const std::string& extension);

    std::string GetBase() const;
    std::string GetOrientationAndExtension() const;
    std::string GetExtension() const;

    // "_x", "_y", "_z", "_t" or none.
    static bool IsLegalOrientation(const std::string& orientation);

  private:
    // Any orientation has been accepted for a long time; the check stays for
    // the day it is wanted again.
    static constexpr bool CheckOrientation = false;
    bool HasExtension() const { return size() >= 4 && (*this)[size() - 4] == '.'; }
};

// The editor row of a file name: the base as a caption, a choice of
// orientation (or a static text when not editable) and the extension.
class xFNameView {
  public:
    explicit xFNameView(const xFName& name, bool editable = true);

    // The choices of the orientation list, the empty one last.
    static const std::vector<std::string>& OrientationChoices();
    // The list entry for a value in either case; anything else is fatal.
    static std::string CheckOrientation(const std::string& value);
    // Fatal for an extension longer than three characters.
    static void CheckExtension(const std::string& extension);

    void SetOrientation(const std::string& value) { orientation_ = CheckOrientation(value); }
    void SetExtension(const std::string& extension);

    const std::string& Caption() const { return base_; }
    const std::string& Orientation() const { return orientation_; }
    const std::string& Extension() const { return extension_; }
    bool Editable() const { return editable_; }
    // The name as the row now shows it.
    xFName Name() const;

  private:
    std::string base_;
    std::string orientation_;
    std::string extension_;
    bool editable_;
};
