#include "xSyntheticSurvey.h"

#include <charconv>
#include <cmath>
#include <fstream>
#include <random>

#include "xEMDesc.h"
#include "xPendingFile.h"
#include "xTRClasf.h"

namespace {

// Where each noise-free channel value goes in a record.
struct Slot {
    long position;
    double value;
};

std::vector<Slot> ChannelSlots(const xEMDesc& descriptor,
                               const std::map<long, std::vector<double>>& channels) {
    const xEMFDesc& format = descriptor.formatDesc;
    const bool fd = descriptor.IsFrequencyDomain();
    std::vector<Slot> slots;
    for (const auto& [id, values] : channels) {
        const auto described = descriptor.Components().find(id);
        if (described == descriptor.Components().end()) continue;
        const FloatArray& weights = described->second.wave.GetWeights();
        auto delivered = [&weights, &values = values](std::size_t k, long channel) {
            const long w = weights.Low() + channel - 1;
            const double weight = weights.InRange(w) ? double(weights[w]) : 1.0;
            return weight != 0.0 ? values[k] / weight : values[k];
        };
        const std::size_t n = fd ? values.size() / 2 : values.size();
        for (std::size_t k = 0; k < n; ++k) {
            const long channel = long(k) + 1;
            if (fd) {
                slots.push_back({format.InPhasePosition(channel, id), delivered(k, channel)});
                slots.push_back(
                    {format.QuadraturePosition(channel, id), delivered(n + k, channel)});
            } else {
                slots.push_back({format.ChannelPosition(channel, id), delivered(k, channel)});
            }
        }
    }
    std::erase_if(
        slots, [&](const Slot& s) { return s.position < 1 || s.position > format.itemsPerRecord; });
    return slots;
}

class RecordText {
  public:
    void Number(double value) {
        char buffer[32];
        auto [end, error] =
            std::to_chars(buffer, buffer + sizeof(buffer), value, std::chars_format::general, 7);
        if (error != std::errc()) end = buffer;
        text_.push_back(' ');
        text_.append(buffer, end);
    }
    void Line() { text_.push_back('\n'); }
    void Text(const std::string& text) { text_ += text; }
    // Hands the text to the file once enough has gathered.
    bool Drain(std::ofstream& out, bool all) {
        if (!all && text_.size() < (1u << 20)) return true;
        out.write(text_.data(), std::streamsize(text_.size()));
        text_.clear();
        return bool(out);
    }

  private:
    std::string text_;
};

}  // namespace

long xSurveyPlan::RecordsPerLine() const {
    if (!(spacing > 0.0) || !(lineLength >= 0.0)) return 1;
    return long(std::floor(lineLength / spacing + 1e-9)) + 1;
}

xSyntheticSurvey::xSyntheticSurvey(const xEMDesc& descriptor, const xSurveyPlan& plan,
                                   std::map<long, std::vector<double>> channels)
    : descriptor_(descriptor), plan_(plan), channels_(std::move(channels)) {}

bool xSyntheticSurvey::Write(const std::filesystem::path& file,
                             const std::function<void(long)>& progress) const {
    xOutputFile output;
    if (!output.Open(file, std::ios::binary)) return false;
    std::ofstream& out = output.Stream();
    const xEMFDesc& format = descriptor_.formatDesc;
    const bool geosoft = format.geosoftFormat != 0;
    const std::vector<Slot> slots = ChannelSlots(descriptor_, channels_);
    std::vector<double> items(std::size_t(std::max(format.itemsPerRecord, 0L)) + 1, 0.0);
    auto set = [&items](long position, double value) {
        if (position >= 1 && position < long(items.size())) items[std::size_t(position)] = value;
    };
    for (const Slot& slot : slots) set(slot.position, slot.value);
    set(format.UserItemPosition("z(ASL)"), plan_.groundLevel + plan_.altitude);
    set(format.posZTopo, plan_.groundLevel);
    set(format.posAltitude, plan_.altitude);

    std::mt19937 random(plan_.seed);
    std::normal_distribution<double> gauss(0.0, plan_.noisePercent / 100.0);
    RecordText text;
    for (long k = 0; k < format.commentLines; ++k)
        text.Text("/ synthetic survey of " + descriptor_.systemDesc.name + "\n");
    const long perLine = plan_.RecordsPerLine();
    long written = 0;
    double fid = 1.0;
    for (int line = 0; line < plan_.lines; ++line) {
        const std::int32_t label = xSurveyPlan::LineLabel(line);
        if (geosoft) text.Text("LINE " + std::to_string(label) + "\n");
        set(format.posLine, label);
        set(format.posNorth, plan_.north0 + line * plan_.lineSpacing);
        for (long r = 0; r < perLine; ++r, fid += 1.0) {
            // Back and forth: odd lines are flown westwards.
            const double along = r * plan_.spacing;
            set(format.posEast, plan_.east0 + (line % 2 == 0 ? along : plan_.lineLength - along));
            set(format.posFid, fid);
            for (const Slot& slot : slots)
                items[std::size_t(slot.position)] =
                    plan_.noisePercent > 0.0 ? slot.value * (1.0 + gauss(random)) : slot.value;
            for (std::size_t i = 1; i < items.size(); ++i) text.Number(items[i]);
            text.Line();
            if (!text.Drain(out, false)) return false;
            if (progress && ++written % 1000 == 0) progress(written);
        }
        fid += 100.0;  // the turn between lines
    }
    if (progress) progress(Records());
    return text.Drain(out, true) && output.Commit();
}
