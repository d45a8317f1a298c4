#include "xParamBlock.h"

#include "xParFile.h"

void xBlockReader::GetText(std::string& field) {
    std::int32_t length = 0;
    if (!ok_ || !binary::Read(in_, length) || length < 0 || length > par::SectionSize) {
        ok_ = false;
        return;
    }
    std::string text(std::size_t(length), '\0');
    if (!in_.read(text.data(), length)) {
        ok_ = false;
        return;
    }
    field = text;
}

void xBlockWriter::PutText(const std::string& text) {
    std::string cut = text.substr(0, kMaxParamText);
    binary::Write(out_, std::int32_t(cut.size()));
    out_.write(cut.data(), std::streamsize(cut.size()));
}
