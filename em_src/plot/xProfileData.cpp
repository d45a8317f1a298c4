#include "xProfileData.h"

#include <cmath>
#include <cstdio>
#include <limits>

#include "xColumnDecimation.h"
#include "xMAmp.h"
#include "xMLine.h"
#include "xTRClasf.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

bool Present(const xMData& file, long id) {
    return file.ComponentFlags()[id] != 0 && file.Channels()[id] > 0;
}

std::string ComponentList(const xMData& file) {
    std::string list;
    for (long id = FirstComponent; id <= LastComponent; ++id)
        if (Present(file, id)) list += (list.empty() ? "" : ", ") + ComponentName(id);
    return list;
}

long ComponentNamed(const xMData& file, const std::string& name) {
    const long id = ComponentIdTyped(name);
    return id != UndefinedComponent && Present(file, id) ? id : 0;
}

std::string TauLabel(float seconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3g ms", double(seconds) * 1e3);
    return "\xcf\x84 " + std::string(text);  // tau
}

// Where a component's curves lie in a record, and what each is called.
struct Channels {
    long first = 0, count = 0;
    std::vector<std::string> names;
};

Channels ChannelsOf(const xMData& file, long id, bool& amplitudes) {
    Channels channels;
    const auto* amp = dynamic_cast<const xMAmp*>(&file);
    amplitudes = amp != nullptr;
    channels.first = amp ? amp->AmplitudeOffset(id) : file.ChannelOffset(id);
    channels.count = amp ? amp->TauCount() : file.Channels()[id];
    for (long c = 0; c < channels.count; ++c)
        channels.names.push_back(amp ? TauLabel(amp->Taus()[amp->Taus().Low() + c])
                                     : "Ch " + std::to_string(c + 1));
    return channels;
}

bool SelectChannels(const xProfileRequest& request, Channels& channels, std::string& error) {
    const long last = request.lastChannel == 0 ? channels.count : request.lastChannel;
    if (request.firstChannel < 1 || last > channels.count || request.firstChannel > last) {
        error = "The channels are 1 to " + std::to_string(channels.count) + ", not " +
                std::to_string(request.firstChannel) + " to " + std::to_string(last) + ".";
        return false;
    }
    channels.first += request.firstChannel - 1;
    channels.count = last - request.firstChannel + 1;
    channels.names = std::vector<std::string>(channels.names.begin() + request.firstChannel - 1,
                                              channels.names.begin() + last);
    return true;
}

// A curve thinned to the columns; a run of missing values is one break.
class CurveThinner {
  public:
    explicit CurveThinner(const xColumnGrid& grid) : envelope_(grid) {}
    void Add(double x, double y) {
        if (std::isnan(y) && broken_) return;
        broken_ = std::isnan(y);
        if (!broken_) ++values_;
        envelope_.Add(x, y);
    }
    long Values() const { return values_; }
    void Finish(xProfileCurve& curve) { envelope_.Finish(curve.x, curve.y); }

  private:
    xEnvelopeDecimator envelope_;
    bool broken_ = true;
    long values_ = 0;
};

double Drawable(float value, bool logScale) {
    if (value == BlankValue || !std::isfinite(value)) return kNaN;
    return logScale && value <= 0.0f ? kNaN : double(value);
}

void Walk(xMLine& line, const Channels& channels, const xProfileRequest& request,
          xProfileData& data, long& values) {
    const long item = request.byFid ? xRecordLayout::Fid : xRecordLayout::Distance;
    const xColumnGrid grid(data.first, data.last, std::min(request.columns, line.Rows()));
    std::vector<CurveThinner> curves(std::size_t(channels.count), CurveThinner(grid));
    CurveThinner altitude(grid);
    for (long r = 0; r < line.Rows(); ++r) {
        const FloatArray& row = line.Row(r);
        const double x = row[item];
        for (long c = 0; c < channels.count; ++c)
            curves[std::size_t(c)].Add(x, Drawable(row[channels.first + c], request.logScale));
        altitude.Add(x, Drawable(row[xRecordLayout::Altitude], false));
    }
    values = 0;
    data.curves.resize(curves.size());
    for (std::size_t c = 0; c < curves.size(); ++c) {
        data.curves[c].name = channels.names[c];
        curves[c].Finish(data.curves[c]);
        values += curves[c].Values();
    }
    data.altitude.name = "Altitude";
    altitude.Finish(data.altitude);
}

}  // namespace

std::string DefaultProfileComponent(const xMData& file) {
    if (Present(file, LastComponent)) return ComponentName(LastComponent);
    for (long id = FirstComponent; id < LastComponent; ++id)
        if (Present(file, id)) return ComponentName(id);
    return "";
}

bool ReadProfileData(xMData& file, const xProfileRequest& request, xProfileData& data,
                     std::string& error) {
    const std::string name =
        request.component.empty() ? DefaultProfileComponent(file) : request.component;
    const long id = ComponentNamed(file, name);
    if (id == 0) {
        error = file.FileName() + " has no component " + (name.empty() ? "at all" : name) +
                (name.empty() ? "." : "; its components are " + ComponentList(file) + ".");
        return false;
    }
    Channels channels = ChannelsOf(file, id, data.amplitudes);
    if (!SelectChannels(request, channels, error)) return false;
    xMLine line(&file, 4096);
    if (!line.Find(request.line)) {
        error = file.MissingLineText(request.line);
        return false;
    }
    if (line.Rows() == 0) {
        error =
            "Line " + std::to_string(request.line) + " of " + file.FileName() + " has no records.";
        return false;
    }
    const long item = request.byFid ? xRecordLayout::Fid : xRecordLayout::Distance;
    data.line = request.line;
    data.byFid = request.byFid;
    data.component = ComponentName(id);
    data.first = line.Row(0)[item];
    data.last = line.Row(line.LastRow())[item];
    long values = 0;
    Walk(line, channels, request, data, values);
    if (values == 0) {
        error = "Line " + std::to_string(request.line) + " of " + file.FileName() + " has no " +
                (request.logScale ? "value above 0" : "valid value") + " in " + data.component +
                " to draw.";
        return false;
    }
    return true;
}
