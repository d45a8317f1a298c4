#pragma once
// Walks the records of a survey line one step at a time. A width above 1 takes a
// block of that many records at each step and hands back their mean; the stride
// is how far each step moves. A tail of the line shorter than the width is
// never handed out.

#include <memory>

#include "xArray.h"
#include "xMatrix.h"

class xMLine;

class xMIterator {
  public:
    // A width below 1 is fatal; a width above the line's rows is cut to them.
    xMIterator(xMLine& line, long width = 1, long stride = 1);
    xMIterator(const xMIterator&) = delete;
    xMIterator& operator=(const xMIterator&) = delete;
    virtual ~xMIterator();

    // The record (or the mean of the block) for this step; null at the end. The
    // pointer holds until the next step.
    virtual const FloatArray* Next();
    virtual void Reset();
    virtual long CurrentRow() const { return currentRow_; }
    // Buffer row 0 becomes the mean of the buffer.
    virtual void Average();
    // The rows from the current row on into the buffer; false when they run past
    // the line's end, which then leaves the walk behind the last row.
    virtual bool Fill();

    const FloatArray* First();
    const FloatArray* Last();
    // Advances by the stride, then fills: the whole block, or null.
    const FloatMatrix* NextBlock();
    // Steps back by the stride; the record there, or null before the line.
    const FloatArray* Previous();

    long Width() const { return lastBufferRow_ + 1; }
    long Stride() const { return stride_; }

  private:
    std::unique_ptr<FloatMatrix> buffer_;
    xMLine* line_;
    long currentRow_ = 0;
    long stride_;
    long lastBufferRow_;
};
