#pragma once
// The parameter display: labelled values in rows, the first row naming the
// project, its descriptor and the version. A front end draws it; the ASCII
// export writes it as text.

#include <ostream>
#include <string>
#include <vector>

class xParamDisplay {
  public:
    struct Item {
        int row = 0;
        std::string text;                // a text item
        std::vector<std::string> lines;  // a list item when not empty
    };

    // The first row: "Project Name:", project, "Descriptor Name:", descriptor,
    // "Version:" and the display's version literal.
    void AddTitleRow(const std::string& project, const std::string& descriptor);
    // A new row with the label and its value.
    void AddRow(const std::string& label, const std::string& value);
    // A new row with the label, a name beside it, and the value.
    void AddRow(const std::string& label, const std::string& name, const std::string& value);
    // A new row holding the process title.
    void AddHeading(const std::string& title);
    void AddList(const std::vector<std::string>& lines);

    const std::vector<Item>& Items() const { return items_; }
    // Text items in fields of 35, a line end before each new row; list items
    // as a line end and then three blanks before each line.
    void ExportAscii(std::ostream& out) const;

  private:
    int NextRow() { return ++lastRow_; }
    std::vector<Item> items_;
    int lastRow_ = -1;
};
