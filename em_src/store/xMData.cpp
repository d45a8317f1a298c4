#include "xMData.h"

#include "BinaryStream.h"
#include "xMLineBlock.h"
#include "xPlatform.h"
#include "xTRClasf.h"

xMData::xMData() : offsets_(100, 109), mean_(0, -1) {
    SetType("BIN");
    orientationItems_ = 6;
}

long xMData::HeaderSize() const {
    return xMFile::HeaderSize() + 40 + 4 * RowLength();
}

void xMData::DeriveChannelOffsets() {
    long c = 0, p = ItemsPerComponent();
    for (long id = 100; id <= LastComponent; ++id) offsets_[id] = 0;
    for (long id = FirstComponent; id <= LastComponent; ++id) {
        if (flags_[id] == 0) continue;
        offsets_[id] = std::int32_t(BaseItems() + p + c);
        c += channels_[id];
        p += ItemsPerComponent();
    }
    if (mean_.Length() != RowLength()) {
        mean_.Resize(0, RowLength() - 1);
        mean_ *= 0.0f;
    }
}

LongArray xMData::CompactOffsets() const {
    long n = 0;
    for (long id = 100; id <= LastComponent; ++id) n += offsets_[id] != 0 ? 1 : 0;
    LongArray compact(0, n - 1);
    long k = 0;
    for (long id = 100; id <= LastComponent; ++id)
        if (offsets_[id] != 0) compact[k++] = offsets_[id];
    return compact;
}

bool xMData::ReadTail() {
    // The offsets in the file are what later readers index by; keep them.
    const long r = RowLength();
    bool ok = true;
    for (long id = 100; ok && id <= LastComponent; ++id) {
        // A present component's items in front and its channels lie inside the record.
        const bool present = id >= FirstComponent && flags_[id] != 0;
        ok = present ? ReadField(offsets_[id], "a channel offset",
                                 BaseItems() + ItemsPerComponent(), r - channels_[id])
                     : ReadField(offsets_[id], "a channel offset", 0, r - 1);
    }
    if (ok && version_ > CurrentVersion)
        ok = ReadCheckedArray(mean_, "the mean array", 0, r - 1) && ReadField(flag_, "a flag");
    if (!ok) Fail("xMData::Error reading header from file < %s >");
    return ok;
}

bool xMData::WriteHeader() {
    if (IsReadOnly()) return true;
    if (!xMFile::WriteHeader()) return false;
    auto& s = Stream();
    offsets_.WriteBinary(s, false);
    if (version_ > CurrentVersion) {
        mean_.WriteBinary(s, true);
        binary::Write<std::int32_t>(s, flag_);
    }
    if (!s) {
        Fail("xMData::Error writing header to file < %s >");
        return false;
    }
    firstLine_ = s.tellp();
    return true;
}

void xMData::AddLine(const xMLineBlock& line) {
    xMFile::AddLine(line);
    if (lines_ == 1) mean_ *= 0.0f;
    const float n = float(lines_);
    for (long i = mean_.Low(); i <= mean_.High(); ++i)
        if (line.mean.InRange(i)) mean_[i] = ((n - 1.0f) * mean_[i] + line.mean[i]) / n;
}
