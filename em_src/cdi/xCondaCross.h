#pragma once
// The cross-component CDI: the engine run on up to two components at once,
// each one's discrete conductivity index packed into its own bit slot of the
// sections instead of a weighted mean, so that a display shows where the
// components agree.

#include "xCondaFactory.h"
#include "xMCond.h"

class xCondaCross : public xCondaFactory {
  public:
    xCondaCross(const xEMDesc& descriptor, xMAmp& input, xMCondCross& output, long first, long last,
                xProgressSink* owner = nullptr);

    // The base's, then the selection of the file, or the first two components
    // present when it holds none, and the bit field for the conductivities.
    bool Init() override;
    void ProcessRecord(const float* in, float* out) override;

  private:
    // The component's discrete index at each depth, tracking the column
    // itself, with each interval conductivity counted in the histogram.
    void CrossDiscrete(long component, float* out, long slot);
    void CrossLayered(long component, float* out, long slot);

    xMCondCross& cross_;
    xCrossPacking packing_;
};
