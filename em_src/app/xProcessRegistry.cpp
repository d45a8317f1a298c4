#include "xProcessRegistry.h"

#include <memory>

#include "xEMDesc.h"
#include "xObject.h"

void RegisterDescriptor() {
    SetDescriptorMaker([] { return std::make_unique<xEMDesc>(); });
}
