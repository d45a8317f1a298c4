#pragma once
// What the parameter commands share: opening an existing project's PAR file
// and naming the processes that have parameters.

#include <filesystem>

namespace cli {

// The name checks of project selection, then the header, which names the
// descriptor. False when the name is refused (the message said why). Read-only,
// the project stays as it is (every later Load and Save obeys that too), and a
// header that fails its check is refused here.
bool OpenParFile(const std::filesystem::path& parFile, bool readOnly);
// The error box for an id without a parameter block, listing those that have one.
void NoProcessWithParams(int id);

}  // namespace cli
