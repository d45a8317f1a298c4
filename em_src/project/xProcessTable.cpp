#include "xProcessTable.h"

#include "xAPCont.h"
#include "xCDIParams.h"
#include "xCnvParams.h"
#include "xFitParams.h"
#include "xInvParams.h"
#include "xPrsCont.h"
#include "xWavParams.h"

const std::vector<xProcessInfo>& ProcessTable() {
    static const std::vector<xProcessInfo> table = {
        {708, "Editor", "", true},
        {701, "ASCII->Bin", "ASCII->BIN/", true},
        {702, "Basis Func", "Basis Functions/", true},
        {703, "Deconv.", "Deconvolution/", true},
        {704, "CDI", "CDI/", true},
        {705, "Anomaly Picker", "Anm.Picker/", false},
        {706, "Inverter", "Inverter/", true},
        {709, "Strip Anomaly", "", false},
        {711, "", "", false},
    };
    return table;
}

const xProcessInfo* FindProcess(int id) {
    for (const auto& info : ProcessTable())
        if (info.id == id) return &info;
    return nullptr;
}

std::unique_ptr<xPrsCont> MakeParams(int id) {
    switch (id) {
        case 701:
            return std::make_unique<xCnvParams>();
        case 702:
            return std::make_unique<xWavParams>();
        case 703:
            return std::make_unique<xFitParams>();
        case 704:
            return std::make_unique<xCDIParams>();
        case 705:
            return std::make_unique<xAPCont>();
        case 706:
            return std::make_unique<xInvParams>();
        case 711:
            return std::make_unique<xPrsCont>(711);
        default:
            return nullptr;
    }
}

const std::vector<int>& ParamsLoadOrder() {
    static const std::vector<int> order = {701, 702, 703, 705, 704, 706};
    return order;
}
