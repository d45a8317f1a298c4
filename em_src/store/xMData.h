#pragma once

#include "xMFile.h"

// Raw EM data: the BIN file of the conversion and the NDF file of residuals.
class xMData : public xMFile {
  public:
    xMData();

    bool WriteHeader() override;
    void AddLine(const xMLineBlock& line) override;
    long HeaderSize() const override;
    long ChannelOffset(long component) const override { return offsets_[component]; }

    const LongArray& ChannelOffsets() const { return offsets_; }
    // The non-zero channel offsets in component order.
    LongArray CompactOffsets() const;
    const FloatArray& Mean() const { return mean_; }
    std::int32_t Flag() const { return flag_; }

  protected:
    void DeriveChannelOffsets() override;
    // The channel offsets, each inside the record, and above version 13 the
    // means and the flag.
    bool ReadTail() override;

  private:
    LongArray offsets_;
    FloatArray mean_;
    std::int32_t flag_ = 1;
};
