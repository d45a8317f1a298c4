#pragma once
// What the import engine and its record checker need from the project: the
// survey files to read and the position checks between consecutive records.
// The process fills it from its parameters; the engine never sees those.

#include <filesystem>
#include <vector>

struct xImportSettings {
    enum class Reports { Screen, File, Both };

    std::vector<std::filesystem::path> files;
    // Which jumps between consecutive records are checked, and the largest allowed.
    bool checkX = true, checkY = true, checkAltitude = true, checkFid = true;
    float maxDx = 20.0f, maxDy = 20.0f, maxDz = 20.0f, maxDFid = 2.0f;
    Reports reports = Reports::File;
};
