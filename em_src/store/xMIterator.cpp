#include "xMIterator.h"

#include <algorithm>

#include "xMLine.h"
#include "xPlatform.h"

xMIterator::xMIterator(xMLine& line, long width, long stride) : line_(&line), stride_(stride) {
    if (width <= 0) Platform().Fatal("xMIterator: the width must be positive.");
    width = std::max(1L, std::min(width, line.Rows()));
    lastBufferRow_ = width - 1;
    // A single record is handed out from the line's window without a copy.
    if (width > 1) buffer_ = std::make_unique<FloatMatrix>(width, line.Cols());
}

xMIterator::~xMIterator() = default;

void xMIterator::Reset() {
    currentRow_ = 0;
}

const FloatArray* xMIterator::First() {
    Reset();
    return Next();
}

const FloatArray* xMIterator::Last() {
    currentRow_ = line_->LastRow();
    return Next();
}

const FloatArray* xMIterator::Next() {
    if (!buffer_) {
        if (currentRow_ < 0 || currentRow_ > line_->LastRow()) return nullptr;
        const FloatArray* row = &line_->Row(currentRow_);
        currentRow_ += stride_;
        return row;
    }
    if (!Fill()) return nullptr;
    Average();
    currentRow_ += stride_;
    return &(*buffer_)[0];
}

bool xMIterator::Fill() {
    if (!buffer_) {
        Platform().Error("Attempt to fill undefined buffer in xMIterator.");
        return false;
    }
    if (currentRow_ < 0 || currentRow_ + lastBufferRow_ > line_->LastRow()) {
        currentRow_ = line_->LastRow() + 1;
        return false;
    }
    for (long i = 0; i <= lastBufferRow_; ++i) {
        const FloatArray row = line_->Row(currentRow_ + i);
        (*buffer_)[i] = row;
    }
    return true;
}

void xMIterator::Average() {
    if (!buffer_ || lastBufferRow_ == 0) return;
    FloatArray& sum = (*buffer_)[0];
    for (long i = 1; i <= lastBufferRow_; ++i) sum += (*buffer_)[i];
    sum /= float(lastBufferRow_ + 1);
}

const FloatMatrix* xMIterator::NextBlock() {
    currentRow_ += stride_;
    return Fill() ? buffer_.get() : nullptr;
}

const FloatArray* xMIterator::Previous() {
    currentRow_ -= stride_;
    if (currentRow_ < 0 || currentRow_ > line_->LastRow()) return nullptr;
    return &line_->Row(currentRow_);
}
