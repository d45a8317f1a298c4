#include "xProcessRegistry.h"

#include <memory>

#include "xConda.h"
#include "xEMDesc.h"
#include "xFileCnv.h"
#include "xFitTau.h"
#include "xObject.h"
#include "xShellApp.h"
#include "xWaveBasis.h"

namespace {

template <class Process>
void Register(xShellApp& shell) {
    shell.RegisterProcess(Process::Id, [] { return std::make_unique<Process>(); });
}

}  // namespace

void RegisterDescriptor() {
    SetDescriptorMaker([] { return std::make_unique<xEMDesc>(); });
}

void RegisterChainProcesses(xShellApp& shell) {
    Register<xFileCnv>(shell);
    Register<xFitTau>(shell);
    // The basis takes its approximation factors and extra taus from the
    // configuration, the CDI its amplitude checks and its report's extension.
    shell.RegisterProcess(xWaveBasis::Id,
                          [&shell] { return std::make_unique<xWaveBasis>(shell.Configuration()); });
    shell.RegisterProcess(xConda::Id,
                          [&shell] { return std::make_unique<xConda>(shell.Configuration()); });
}
