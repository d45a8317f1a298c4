#pragma once
// What the process frame needs of the system descriptor. The descriptor proper
// derives from it; the frame holds one shared instance for every process.

#include <filesystem>

class xSharedDescriptor {
  public:
    virtual ~xSharedDescriptor() = default;
    virtual bool Read(const std::filesystem::path& path) = 0;
    virtual bool FrequencyDomain() const = 0;
    // What project selection checks of the system, by component id 101..109.
    virtual bool HasComponent(long /*id*/) const { return false; }
    virtual bool HasFixedTransmitter(long /*id*/) const { return false; }
    virtual bool HasLoopReceiver(long /*id*/) const { return false; }
};
