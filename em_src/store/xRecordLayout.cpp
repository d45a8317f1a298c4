#include "xRecordLayout.h"

#include "xMFile.h"
#include "xTRClasf.h"

xRecordLayout::xRecordLayout(const xMFile& file)
    : file_(&file),
      length_(file.RowLength()),
      baseItems_(file.BaseItems()),
      firstUser_(file.RowLength() - file.UserItems() - file.OrientationItems()),
      userItems_(file.UserItems()) {}

long xRecordLayout::FirstChannel(long component) const {
    if (ChannelCount(component) == 0) return 0;
    return file_->ChannelOffset(component);
}

long xRecordLayout::ChannelCount(long component) const {
    if (component < FirstComponent || component > LastComponent) return 0;
    return file_->ComponentFlags()[component] != 0 ? file_->Channels()[component] : 0;
}
