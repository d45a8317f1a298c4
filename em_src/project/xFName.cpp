#include "xFName.h"

#include <cctype>

#include "xPlatform.h"

xFName::xFName(const std::string& name) {
    SetName(name);
}

void xFName::SetName(const std::string& name) {
    if (name.size() <= 3) return;
    if (name[name.size() - 4] != '.')
        Platform().Fatal("xFName :: Illegal file name supplied (incorrect format).");
    SetBase(name.substr(0, name.size() - 4));
    SetOrientation("");
    SetExtension(name.substr(name.size() - 3));
}

void xFName::SetBase(const std::string& base) {
    if (size() > 4) erase(0, size() - 4);
    insert(0, base);
}

void xFName::SetOrientation(const std::string& orientation) {
    if constexpr (CheckOrientation) {
        if (!IsLegalOrientation(orientation))
            Platform().Fatal("xFName :: Attempt to set illegal sensor orientation.");
    }
    size_type at = find('_');
    if (at != npos) {
        size_type dot = HasExtension() && size() - 4 >= at ? size() - 4 : find('.', at);
        erase(at, dot == npos ? npos : dot - at);
    } else {
        at = HasExtension() ? size() - 4 : size();
    }
    insert(at, orientation);
}

void xFName::SetExtension(const std::string& extension) {
    if (extension.size() != 3)
        Platform().Fatal("xFName :: Attempt to set illegal extension (not equal to 3 chars).");
    if (HasExtension()) erase(size() - 4);
    append(".").append(extension);
}

std::string xFName::GetBase() const {
    return size() > 4 ? substr(0, size() - 4) : std::string();
}

std::string xFName::GetOrientationAndExtension() const {
    return size() > 4 ? substr(size() - 4) : std::string(*this);
}

std::string xFName::GetExtension() const {
    return size() > 3 ? substr(size() - 3) : std::string(*this);
}

bool xFName::IsLegalOrientation(const std::string& orientation) {
    return orientation.empty() || orientation == "_x" || orientation == "_y" ||
           orientation == "_z" || orientation == "_t";
}

xFNameView::xFNameView(const xFName& name, bool editable) : editable_(editable) {
    std::string base = name.GetBase();
    std::string::size_type at = base.find('_');
    base_ = base.substr(0, at);
    if (at != std::string::npos) orientation_ = base.substr(at);
    extension_ = name.GetExtension();
}

const std::vector<std::string>& xFNameView::OrientationChoices() {
    static const std::vector<std::string> choices{"_x", "_y", "_z", "_t", ""};
    return choices;
}

std::string xFNameView::CheckOrientation(const std::string& value) {
    std::string lower = value;
    for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    for (const std::string& choice : OrientationChoices())
        if (lower == choice) return choice;
    Platform().Fatal("xFNameView :: Illegal orientation specified.");
}

void xFNameView::CheckExtension(const std::string& extension) {
    if (extension.size() > 3) Platform().Fatal("xFNameView :: Illegal extension specified.");
}

void xFNameView::SetExtension(const std::string& extension) {
    CheckExtension(extension);
    extension_ = extension;
}

xFName xFNameView::Name() const {
    xFName name;
    name.assign(base_ + orientation_ + "." + extension_);
    return name;
}
