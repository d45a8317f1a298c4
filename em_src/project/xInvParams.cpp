#include "xInvParams.h"

#include <string>

namespace {

// More kinds than there are body kinds is not a list of ours.
constexpr std::int32_t kMaxBodyKinds = 32;

}  // namespace

xInvParams::xInvParams() : xAPCont(Id, 0) {}

void xInvParams::WriteBlock(xBlockWriter& out, std::streamoff) const {
    out.Put(firstTau);
    out.Put(lastTau);
    out.Put(invertOn);
    out.Put(maxIterations);
    out.Put(tolerance);
    out.Put(removeAbove);
    out.Put(pickSpacing);
    out.Put(minAmplitude);
    out.Put(std::int32_t(bodyKinds.size()));
    for (std::int32_t kind : bodyKinds) out.Put(kind);
}

void xInvParams::ReadBlock(xBlockReader& in, std::int32_t, std::streamoff) {
    if (!(FileVersion() > FirstVersionWithBlock)) return;
    in.Get(firstTau);
    in.Get(lastTau);
    in.Get(invertOn);
    in.Get(maxIterations);
    in.Get(tolerance);
    in.Get(removeAbove);
    in.Get(pickSpacing);
    in.Get(minAmplitude);
    std::int32_t count = 0;
    in.Get(count);
    if (!in.Ok() || count < 0 || count > kMaxBodyKinds) return;
    std::vector<std::int32_t> kinds(std::size_t(count), 0);
    for (std::int32_t& kind : kinds) in.Get(kind);
    if (in.Ok()) bodyKinds = kinds;
}

// Labels are the dialog's words in front of each value.
void xInvParams::BlockFields(xParamFields& fields) {
    fields.Long("FirstTau", "From tau index ", firstTau, -1, 1000);
    fields.Long("LastTau", "to tau index ", lastTau, -1, 1000);
    fields.Choice("InvertOn", "Invert on ", invertOn,
                  {"Inductive Limit (IL)", "Resistive Limit (RL)"});
    fields.Long("MaxIterations", "Maximum number of iterations  ", maxIterations, 1, 1000);
    fields.Float("Tolerance", "Converge when error of fit less than ", tolerance, 0.0, 100.0);
    fields.Float("RemoveAbove", "with error of fit greater than ", removeAbove, 0.0, 1000.0);
    fields.Float("PickSpacing", "Pick one anomaly every ", pickSpacing, 1.0, 1.0e6);
    fields.Float("MinAmplitude", "Ignore anomalies with amplitude < ", minAmplitude, 0.0, 1.0e9);
    fields.Add({"BodyKinds", "Bodies to invert for",
                "body kind codes from 101 to 119 separated by commas, at least one",
                [this] {
                    std::string list;
                    for (std::size_t i = 0; i < bodyKinds.size(); ++i)
                        list += (i ? ", " : "") + std::to_string(bodyKinds[i]);
                    return list;
                },
                [this](const std::string& text) {
                    std::vector<std::int32_t> kinds;
                    std::size_t from = 0;
                    while (true) {
                        std::size_t comma = text.find(',', from);
                        std::string item = text.substr(from, comma - from);
                        while (!item.empty() && item.front() == ' ') item.erase(item.begin());
                        while (!item.empty() && item.back() == ' ') item.pop_back();
                        long value;
                        if (!ParseLong(item, value) || value < 101 || value > 119) return false;
                        kinds.push_back(std::int32_t(value));
                        if (comma == std::string::npos) break;
                        from = comma + 1;
                    }
                    if (kinds.empty() || kinds.size() > std::size_t(kMaxBodyKinds)) return false;
                    bodyKinds = kinds;
                    return true;
                }});
}
