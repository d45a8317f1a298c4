#include "xDoc.h"

#include <system_error>

#include "xPlatform.h"

namespace fs = std::filesystem;

void xDoc::SetName(const std::string& name) {
    const std::size_t dot = name.rfind('.');
    const std::size_t extension = dot == std::string::npos ? 0 : name.size() - dot - 1;
    if (extension >= 1 && extension <= 4) {
        name_ = name.substr(0, dot);
        type_ = name.substr(dot + 1);
    } else {
        name_ = name;
    }
}

void xDoc::SetPath(const fs::path& path) {
    if (path.has_parent_path()) directory_ = path.parent_path();
    SetName(path.filename().string());
}

std::string xDoc::FileName() const {
    return type_.empty() ? name_ : name_ + "." + type_;
}

fs::path xDoc::Path() const {
    return directory_ / FileName();
}

int xDoc::SetCreator(const std::string& creator) {
    if (creator.size() > 4) {
        Platform().Error("xDoc::Attempt to set illegal file creator string.");
        return 0;
    }
    creator_ = creator;
    return 1;
}

bool xDoc::Exists() const {
    std::error_code ec;
    return fs::is_regular_file(Path(), ec);
}

std::uintmax_t xDoc::Size() const {
    std::error_code ec;
    const std::uintmax_t size = fs::file_size(Path(), ec);
    return ec ? 0 : size;
}

int xDoc::Open() {
    Close();
    if (!Exists()) {
        Platform().Warning("File " + Path().string() + " does not exist.");
        return 0;
    }
    stream_.open(Path(), Mode(std::ios::in | std::ios::out));
    readOnly_ = !stream_.is_open();
    if (readOnly_) stream_.open(Path(), Mode(std::ios::in));
    return stream_.is_open() ? 1 : 0;
}

int xDoc::Create() {
    if (Exists() && !overwrite_) {
        const int answer =
            Platform().Question(Path().string() + " already exists. Do you want to overwrite it?",
                                {"No", "Yes", "Cancel"});
        if (answer == 0) return SaveAs();
        if (answer != 1) return 0;
    }
    return CreateHere();
}

int xDoc::CreateHere() {
    Close();
    pending_.Begin(Path());
    stream_.open(pending_.Temporary(), Mode(std::ios::in | std::ios::out | std::ios::trunc));
    readOnly_ = false;
    if (stream_.is_open()) return 1;
    pending_.Discard();
    return 0;
}

int xDoc::Commit() {
    const bool committed = pending_.Commit(stream_, *stream_.rdbuf());
    Close();
    return committed ? 1 : 0;
}

int xDoc::SaveAs(const std::string& title) {
    auto picked = Platform().FileBox(title, Pattern(), true);
    if (!picked) return 0;
    SetPath(*picked);
    return CreateHere();
}

int xDoc::OpenAs(const std::string& title) {
    auto picked = Platform().FileBox(title, Pattern(), false);
    if (!picked) return 0;
    SetPath(*picked);
    return Open();
}

void xDoc::Close() {
    if (stream_.is_open()) stream_.close();
    stream_.clear();
    pending_.Discard();
}

int xDoc::Delete() {
    const bool created = pending_.Pending();
    Close();
    if (created) return 1;
    std::error_code ec;
    return fs::remove(Path(), ec) ? 1 : 0;
}

int xDoc::CheckWritable() const {
    if (!readOnly_) return 1;
    Platform().Error("Attempt to write to read only file.");
    return 0;
}

int xDoc::Write(const void* data, std::size_t size) {
    if (!CheckWritable() || !stream_.is_open()) return 0;
    stream_.write(static_cast<const char*>(data), static_cast<std::streamsize>(size));
    return stream_ ? 1 : 0;
}

int xDoc::Read(void* data, std::size_t size) {
    if (!stream_.is_open()) return 0;
    stream_.read(static_cast<char*>(data), static_cast<std::streamsize>(size));
    return stream_ ? 1 : 0;
}

int xDoc::ResetInput() {
    stream_.clear();
    if (!stream_.is_open() || !stream_.seekg(0)) {
        Platform().Error("xDoc::Attempt to reset stream failed.");
        return 0;
    }
    return 1;
}

int xDoc::ResetOutput() {
    if (!stream_.is_open()) {
        Platform().Error("xDoc::Attempt to reset unattached stream for output.");
        return 0;
    }
    if (!CheckWritable()) return 0;
    stream_.clear();
    if (!stream_.seekp(0)) {
        Platform().Error("xDoc::Attempt to reset stream failed.");
        return 0;
    }
    return 1;
}

std::string xDoc::Pattern() const {
    return type_.empty() ? "*.*" : "*." + type_;
}
