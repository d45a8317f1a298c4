#pragma once
// The small system of the import suites and the import fuzzer.

#include "xEMDesc.h"

// TzRz with three windows whose weights are 1, 2 and 0.5. A record has ten
// items: line, FID, east, north, z_topo, altitude, an unused item, the three
// channels. R = 6 + 3 + 1 user item (z(ASL)) + 6 angles = 16.
inline xEMDesc SmallSystem() {
    xEMDesc d;
    xEMCompDesc z;
    z.id = 109;
    z.wave.windows.Resize(0, 2, 0, 1);
    z.wave.weights.Resize(0, 2);
    const float weights[3] = {1.0f, 2.0f, 0.5f};
    for (long r = 0; r < 3; ++r) {
        z.wave.windows[r][0] = 1.0f + float(r);
        z.wave.windows[r][1] = 2.0f + float(r);
        z.wave.weights[r] = weights[r];
    }
    d.Components().clear();
    d.Components()[109] = z;
    auto& f = d.formatDesc;
    f.itemsPerRecord = 10;
    f.posLine = 1;
    f.posFid = 2;
    f.posEast = 3;
    f.posNorth = 4;
    f.posZTopo = 5;
    f.posAltitude = 6;
    f.SetChannels(3);
    for (long ch = 1; ch <= 3; ++ch) f.channelMap[ch][109] = float(7 + ch);
    return d;
}
