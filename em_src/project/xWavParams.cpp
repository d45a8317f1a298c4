#include "xWavParams.h"

#include "xPlatform.h"

#include <vector>

namespace {

const std::vector<std::string>& TimeUnits() {
    static const std::vector<std::string> units = {"nSec", "microsec", "mSec", "sec",  "min",
                                                   "hour", "day",      "week", "month"};
    return units;
}

}  // namespace

xWavParams::xWavParams() : xPrsCont(Id, BlockVersion, "AOT") {}

// The unit is kept as its name, coded like every text of the section: a
// 32-bit length, then the characters ("sec" is 03 00 00 00 73 65 63). Nothing
// but this class reads it.
void xWavParams::WriteBlock(xBlockWriter& out, std::streamoff) const {
    out.Put(numberOfTaus);
    out.Put(earlyTau);
    out.Put(lateTau);
    out.Put(eigenvectorsToDisplay);
    out.Put(basisValid);
    out.Put(automaticSelection);
    out.Put(selectionWasAutomatic);
    out.Put(earlyRelativeError);
    out.Put(lateRelativeError);
    out.PutText(unit);
    out.Put(stripping);
    out.Put(approximationType);
    out.Put(useHalfPeriod);
}

void xWavParams::ReadBlock(xBlockReader& in, std::int32_t version, std::streamoff) {
    in.Get(numberOfTaus);
    in.Get(earlyTau);
    in.Get(lateTau);
    in.Get(eigenvectorsToDisplay);
    in.Get(basisValid);
    in.Get(automaticSelection);
    in.Get(selectionWasAutomatic);
    in.Get(earlyRelativeError);
    in.Get(lateRelativeError);
    if (version > 0xFFFF) in.GetText(unit);
    if (version > 0x10000) in.Get(stripping);
    if (version > 0x20000) in.Get(approximationType);
    if (version > 0x30000) in.Get(useHalfPeriod);
}

void xWavParams::BlockFields(xParamFields& fields) {
    fields.Add({"NumberOfTaus", "Number of TAUs", "an even number from 2 to 100",
                [this] { return std::to_string(numberOfTaus); },
                [this](const std::string& text) {
                    long value;
                    if (!ParseLong(text, value) || value < 2 || value > 100) return false;
                    if (value % 2 != 0) {
                        Platform().Error(
                            "Number of taus must be even and positive...please try "
                            "again.");
                        return false;
                    }
                    numberOfTaus = std::int32_t(value);
                    return true;
                }});
    fields.Float("EarlyTau", "Early Tau", earlyTau, 1.0e-9, 1.0e6);
    fields.Float("LateTau", "Late Tau", lateTau, 1.0e-9, 1.0e6);
    fields.Long("EigenvectorsToDisplay", "Number of Eigenvectors to display", eigenvectorsToDisplay,
                1, 100);
    fields.Flag("BasisValid", "Basis valid", basisValid);
    fields.Add({"AutomaticSelection", "Tau Selection", "0 \"USER\" or 1 \"AUTOMATIC\"",
                [this] { return std::string(automaticSelection ? "AUTOMATIC" : "USER"); },
                [this](const std::string& text) {
                    if (text == "USER" || text == "0") return automaticSelection = 0, true;
                    if (text == "AUTOMATIC" || text == "1") return automaticSelection = 1, true;
                    return false;
                }});
    fields.Flag("SelectionWasAutomatic", "Taus from an automatic selection", selectionWasAutomatic);
    fields.Long("EarlyRelativeError", "Early relative error(%)", earlyRelativeError, 1, 100);
    fields.Long("LateRelativeError", "Late relative error(%)", lateRelativeError, 1, 100);
    std::string names;
    for (const std::string& name : TimeUnits()) names += (names.empty() ? "" : ", ") + name;
    fields.Add({"Unit", "Time units", "one of " + names, [this] { return unit; },
                [this](const std::string& text) {
                    for (const std::string& name : TimeUnits())
                        if (text == name) return unit = name, true;
                    return false;
                }});
    fields.Choice("Stripping", "Primary field stripping", stripping,
                  {"No stripping", "Geotem", "Spectrem", "Questem"});
    fields.Choice("ApproximationType", "Approxim.Type", approximationType,
                  {"Exponential", "Thin Sheet", "Half Space"});
    fields.Flag("UseHalfPeriod", "Total", useHalfPeriod);
}
