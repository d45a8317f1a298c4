#include "xCndReports.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <iomanip>
#include <regex>

#include "xAsciiPattern.h"
#include "xMLine.h"
#include "xPlatform.h"
#include "xRecordLayout.h"

namespace fs = std::filesystem;

namespace {

constexpr float kNull = xMCond::NullValue;
constexpr const char* kRule = "/==============================================";
// The grid is never lifted by more than this for conductors fitted in the air.
constexpr float kMaxGridShift = 50.0f;
// Elevations of a depth grid; a survey's relief over its depth step stays far below.
constexpr long kMaxGridLevels = 10000;

bool OpenReport(const fs::path& path, xOutputFile& out) {
    if (out.Open(path)) return true;
    Platform().Error("Cannot open ASCII file <" + path.string() + ">");
    return false;
}

// A failed write shows the system's reason when the file is committed.
bool Written(const std::ostream& out) {
    return !out.bad();
}

bool Closed(xOutputFile& out) {
    return out.Commit();
}

std::string Fixed(float value, int precision) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", precision, double(value));
    return text;
}

// Columns of the fixed layouts, one blank between them. A head row is the
// same columns behind a "/", its first head one narrower.
class xColumns {
  public:
    explicit xColumns(std::ostream& out) : out_(out) {}
    xColumns& Value(float value, int width, int precision) {
        return Text(Fixed(value, precision), width);
    }
    xColumns& Whole(long value, int width) { return Text(std::to_string(value), width); }
    xColumns& Text(const std::string& text, int width) {
        if (!first_) out_ << ' ';
        first_ = false;
        out_ << std::setw(width) << text;
        return *this;
    }
    void End() { out_ << '\n'; }

  private:
    std::ostream& out_;
    bool first_ = true;
};

void HeaderField(std::ostream& out, const std::string& label, const std::string& value) {
    out << '/' << std::setw(13) << label << std::setw(5) << ": " << std::setw(14) << value << '\n';
}

void HeaderRange(std::ostream& out, const std::string& label, const xMCond& cnd, long item) {
    out << '/' << std::setw(13) << label << std::setw(5) << ": " << std::setw(14)
        << Fixed(cnd.Max()[item], 3) << " - " << std::setw(14) << Fixed(cnd.Min()[item], 3) << '\n';
}

void WriteReportHeader(std::ostream& out, const xMCond& cnd) {
    HeaderField(out, "Version", std::to_string(cnd.Version()));
    HeaderField(out, "Type", xMCond::CdiTypeName(cnd.CdiType()));
    HeaderField(out, "Flight", std::to_string(cnd.Flight()));
    HeaderField(out, "Noise Level", Fixed(cnd.NoiseLevel(), 3));
    HeaderField(out, "No of Lines", std::to_string(cnd.Lines()));
    HeaderRange(out, "FidRange", cnd, 0);
    HeaderRange(out, "Alt_Range", cnd, 4);
    HeaderRange(out, "XRange", cnd, 1);
    HeaderRange(out, "YRange", cnd, 2);
    HeaderRange(out, "ZRange", cnd, 3);
    HeaderField(out, "NULL value", Fixed(kNull, 3));
    out << kRule << '\n';
}

// What forceToSurface lifts a record's section by.
float Shift(const FloatArray& row, bool forceToSurface) {
    const float fit = row[xMCond::FitDepthItem];
    return forceToSurface && fit > 0.0f ? fit : 0.0f;
}

float Elevation(const xMCond& cnd, long d, const FloatArray& row, bool forceToSurface) {
    return cnd.RelativeDepth(d) + row[xRecordLayout::Z] + Shift(row, forceToSurface);
}

void PositionColumns(xColumns& columns, const FloatArray& row) {
    using enum xRecordLayout::BaseItem;
    columns.Value(row[Fid], 10, 2).Value(row[X], 10, 2).Value(row[Y], 10, 2).Value(row[Z], 10, 2);
    columns.Value(row[Distance], 10, 2);
}

// One row per depth of each record: Simple XYZ leads with the line number.
void DepthRows(std::ostream& out, const xMCond& cnd, xMLine& line, bool forceToSurface,
               bool withLine) {
    const long discrete = cnd.SectionStart(0);
    const long layered = cnd.SectionStart(1);
    for (long r = 0; r < line.Rows(); ++r) {
        const FloatArray& row = line.Row(r);
        for (long d = 0; d < cnd.DepthCount(); ++d) {
            xColumns columns(out);
            if (withLine) columns.Whole(line.LineNumber(), 10);
            PositionColumns(columns, row);
            columns.Value(Elevation(cnd, d, row, forceToSurface), 12, 2);
            columns.Value(row[discrete + d], 14, 4).Value(row[layered + d], 14, 4).End();
        }
    }
}

void DepthHeads(std::ostream& out, bool withLine) {
    out << '/';
    xColumns heads(out);
    if (withLine) heads.Text("Line", 9);
    heads.Text("Fid", withLine ? 10 : 9).Text("X", 10).Text("Y", 10).Text("Z", 10);
    heads.Text("Distance", 10).Text("Depth", 12);
    if (withLine)
        heads.Text("Descrete Cond", 14).Text("Layered Cond", 14).End();
    else
        heads.Text("Discrete_Cond", 14).Text("Layered_Cond", 14).End();
}

std::string Printed(const char* format, float value) {
    char text[64];
    std::snprintf(text, sizeof text, format, double(value));
    return text;
}

void DatabaseHeads(std::ostream& out, const xMCond& cnd) {
    out << '/';
    xColumns heads(out);
    heads.Text("X", 9).Text("Y", 10).Text("Z", 10).Text("Fid", 10).Text("Line", 10);
    heads.Text("Altitude", 10).Text("Distance", 10);
    const long n = cnd.DepthCount();
    for (long d = 0; d < n; ++d) heads.Text(Printed("DC(%g)", cnd.RelativeDepth(d)), 14);
    for (long d = 0; d < n; ++d) heads.Text(Printed("LC(%5g)", cnd.RelativeDepth(d)), 14);
    for (long d = 0; d < n; ++d) heads.Text(Printed("d(%g)", cnd.RelativeDepth(d)), 12);
    heads.End();
    out << '/';
    for (long k = 0; k < 4 * (n - 1) + 8; ++k) out << "========= ";
    out << '\n';
}

void DatabaseRows(std::ostream& out, const xMCond& cnd, xMLine& line, bool forceToSurface) {
    out << "/Line " << std::setw(6) << line.LineNumber() << '\n';
    const long n = cnd.DepthCount();
    for (long r = 0; r < line.Rows(); ++r) {
        const FloatArray& row = line.Row(r);
        using enum xRecordLayout::BaseItem;
        xColumns columns(out);
        columns.Value(row[X], 10, 2).Value(row[Y], 10, 2).Value(row[Z], 10, 2);
        columns.Value(row[Fid], 10, 2).Whole(line.LineNumber(), 10);
        columns.Value(row[Altitude], 10, 2).Value(row[Distance], 10, 2);
        for (long s = 0; s < 2; ++s)
            for (long d = 0; d < n; ++d) columns.Value(row[cnd.SectionStart(s) + d], 14, 4);
        for (long d = 0; d < n; ++d)
            columns.Value(cnd.RelativeDepth(d) + Shift(row, forceToSurface), 12, 2);
        columns.End();
    }
}

// Depth grid ------------------------------------------------------------------

// Elevations of the grid, top down, or nothing after the reason was reported:
// a Z range or a top far out of scale with the depth step would ask for more
// rows than any survey has (or never reach the bottom at all).
std::optional<std::vector<float>> GridElevations(const xMCond& cnd, const fs::path& path,
                                                 bool forceToSurface, std::optional<float> top) {
    const long n = cnd.DepthCount();
    float span = 0.0f;
    for (long d = 0; d < n; ++d) span = std::max(span, -cnd.RelativeDepth(d));
    const float step = n > 1 ? span / float(n - 1) : 0.0f;
    float first = top ? *top : std::trunc(cnd.Max()[xRecordLayout::Z]);
    if (forceToSurface) first += std::clamp(cnd.Max()[xMCond::FitDepthItem], 0.0f, kMaxGridShift);
    const float bottom = cnd.Min()[xRecordLayout::Z] - span;
    const double levels = step > 0.0f ? (double(first) - double(bottom)) / double(step) : 0.0;
    if (!std::isfinite(first) || !std::isfinite(bottom) || !std::isfinite(step) ||
        !(levels < double(kMaxGridLevels))) {
        Platform().Error("The constant depths grid of <" + path.string() + "> from " +
                         Fixed(first, 2) + " m down to " + Fixed(bottom, 2) + " m in steps of " +
                         Fixed(step, 2) + " m would have more than " +
                         std::to_string(kMaxGridLevels) +
                         " elevations: the Z range and depths of the CDI file do not make a "
                         "section.");
        return std::nullopt;
    }
    std::vector<float> grid{first};
    for (long k = 1; step > 0.0f && k <= kMaxGridLevels && first - float(k) * step >= bottom; ++k)
        grid.push_back(first - float(k) * step);
    return grid;
}

float Zeroed(float value) {
    return value == kNull ? 0.0f : value;
}

// The section at one elevation, interpolated between the samples around it.
float GridValue(const xMCond& cnd, const FloatArray& row, long section, float elevation,
                bool forceToSurface) {
    // Above a positive fitted depth the section says nothing; forced to the
    // surface, nothing is above the ground.
    const float fit = row[xMCond::FitDepthItem];
    const float ceiling = !forceToSurface && fit > 0.0f ? -fit : 0.0f;
    if (elevation - row[xRecordLayout::Z] > ceiling) return kNull;
    const long first = cnd.SectionStart(section);
    for (long d = 0; d + 1 < cnd.DepthCount(); ++d) {
        const float upper = Elevation(cnd, d, row, forceToSurface);
        const float lower = Elevation(cnd, d + 1, row, forceToSurface);
        if (elevation > upper || elevation < lower) continue;
        const float a = Zeroed(row[first + d]);
        const float b = Zeroed(row[first + d + 1]);
        if (a == 0.0f && b == 0.0f) return kNull;
        const float t = upper > lower ? (upper - elevation) / (upper - lower) : 0.0f;
        return a + t * (b - a);
    }
    return kNull;
}

void GridHeads(std::ostream& out, const std::vector<float>& grid) {
    // The elevations stand over their two columns, behind the position's 53.
    out << '/' << std::string(53, ' ');
    for (float e : grid)
        out << ' ' << std::setw(14) << Fixed(e, 2) << ' ' << std::setw(14) << Fixed(e, 2);
    out << '\n' << '/';
    xColumns heads(out);
    heads.Text("Fid", 9).Text("X", 10).Text("Y", 10).Text("Z", 10).Text("Distance", 10);
    for (std::size_t k = 0; k < grid.size(); ++k) heads.Text("Discrete", 14).Text("Layered", 14);
    heads.End();
    out << "/========= ========== ========== ========== ========== ";
    for (std::size_t k = 0; k < grid.size(); ++k) out << "============== ============== ";
    out << '\n';
}

// User pattern ------------------------------------------------------------------

bool IsValueFormat(const std::string& format) {
    static const std::regex valid("[0-9]+[eEfF][0-9]+");
    xAsciiFormat parsed;
    return std::regex_match(format, valid) && xAsciiFormat::Parse(format, parsed);
}

bool IsTextFormat(const std::string& format) {
    xAsciiFormat parsed;
    return xAsciiFormat::Parse(format, parsed) && parsed.kind == 's';
}

bool CheckFormat(const xItem& item) {
    if (item.index == xItem::EndOfLine || item.index == xItem::GroupBegin) return true;
    if (item.index == xItem::Text) {
        if (IsTextFormat(item.format)) return true;
        Platform().Error("Format <" + item.format + "> of the text \"" + item.label +
                         "\" is wrong: a text takes a width and S, e.g. 20S.");
        return false;
    }
    if (IsValueFormat(item.format)) return true;
    Platform().Error("Format <" + item.format +
                     "> is wrong.\nDefine it as: total length, type (e,E- scientific, f,F- "
                     "fixed), length for precision. Example: <10F3> for a value 123.98765 gives "
                     "xxx123.988");
    return false;
}

std::string WithoutBlanks(const std::string& text) {
    std::string out;
    for (char c : text)
        if (c != ' ') out += c;
    return out;
}

struct xToken {
    std::string text;
    std::string format;
    bool quoted = false;
};

bool Tokenize(const std::string& text, std::vector<xToken>& tokens) {
    const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; };
    std::size_t i = 0;
    while (true) {
        while (i < text.size() && blank(text[i])) ++i;
        if (i >= text.size()) return true;
        xToken token;
        std::size_t end = i;
        while (end < text.size() && !blank(text[end])) ++end;
        if (text[i] == '"') {
            const auto close = text.find('"', i + 1);
            if (close == std::string::npos) {
                Platform().Error("The text opened at character " + std::to_string(i + 1) +
                                 " of the CDI pattern has no closing quote.");
                return false;
            }
            token.text = text.substr(i + 1, close - i - 1);
            token.quoted = true;
            end = close + 1;
            if (end < text.size() && text[end] == ':')
                while (end < text.size() && !blank(text[end])) ++end;
            if (end > close + 1) token.format = text.substr(close + 2, end - close - 2);
        } else {
            const std::string word = text.substr(i, end - i);
            const auto colon = word.rfind(':');
            token.text = colon == std::string::npos || colon == 0 ? word : word.substr(0, colon);
            if (colon != std::string::npos && colon > 0) token.format = word.substr(colon + 1);
        }
        tokens.push_back(token);
        i = end;
    }
}

bool ItemOf(const xToken& token, const std::vector<xItem>& source, xItem& item) {
    const std::string format = token.format;
    if (token.quoted) {
        item = {token.text, xItem::Text, format.empty() ? "14S" : format};
    } else if (token.text == "EOL") {
        item = {"EOL", xItem::EndOfLine, "14S"};
    } else if (token.text == "{") {
        item = {"{", xItem::GroupBegin, "14S"};
    } else if (token.text == "}") {
        item = {"}", xItem::GroupEnd, format.empty() ? "14f6" : format};
    } else {
        const auto found = std::find_if(source.begin(), source.end(), [&](const xItem& s) {
            return WithoutBlanks(s.label) == token.text;
        });
        if (found == source.end()) {
            std::string names;
            for (const auto& s : source)
                names += (names.empty() ? "" : " ") + WithoutBlanks(s.label);
            Platform().Error("There is no item <" + token.text +
                             "> to write from this CDI file. Its items are: " + names + ".");
            return false;
        }
        item = *found;
        if (!format.empty()) item.format = format;
    }
    return CheckFormat(item);
}

// Blanks that bring used characters up to width; none when they are wider.
std::string Blanks(long width, std::size_t used) {
    return std::string(std::size_t(std::max<long>(0, width - long(used))), ' ');
}

// An averaged group while a row is written: NULLs are left out of the mean.
struct xGroup {
    bool open = false;
    float sum = 0.0f;
    long count = 0;
    std::string first, last;

    void Add(const std::string& label, float value) {
        if (value != kNull) {
            sum += value;
            ++count;
        }
        (first.empty() ? first : last) = label;
    }
    // The mean, or on the head row both labels, as wide as those labels.
    std::string Close(const xAsciiFormat& format, bool values) {
        open = false;
        const std::string cell = values ? format.Value(count > 0 ? sum / float(count) : kNull)
                                        : format.Text(last.empty() ? first : first + "-" + last);
        const long width = std::max<long>(format.width, long(first.size() + last.size() + 1));
        return Blanks(width, cell.size()) + cell;
    }
};

// The rows of a parsed pattern: a head row on the first pass, then records.
class xPatternRows {
  public:
    xPatternRows(const std::vector<xItem>& items, bool forceToSurface)
        : items_(items), forceToSurface_(forceToSurface) {
        for (const auto& item : items_) {
            xAsciiFormat format;
            xAsciiFormat::Parse(item.format, format);  // checked by ParseCdiPattern
            formats_.push_back(format);
        }
    }

    void Heads(std::ostream& out) const { Walk(out, nullptr, 0); }
    void Record(std::ostream& out, const FloatArray& row, std::int32_t line) const {
        Walk(out, &row, line);
    }

  private:
    float ValueOf(const xItem& item, const FloatArray& row, std::int32_t line) const {
        if (item.index == xItem::LineNumber) return float(line);
        const float value = row[item.index];
        return item.index == 3 && value != kNull ? value + Shift(row, forceToSurface_) : value;
    }

    // Without a row, the labels: head rows are comments, their first blank a "/".
    void Walk(std::ostream& out, const FloatArray* row, std::int32_t line) const {
        std::string text;
        xGroup group;
        for (std::size_t i = 0; i < items_.size(); ++i) {
            const xItem& item = items_[i];
            const xAsciiFormat& format = formats_[i];
            if (item.index == xItem::GroupBegin) {
                group = xGroup();
                group.open = true;
            } else if (item.index == xItem::GroupEnd) {
                if (group.open) text += group.Close(format, row != nullptr);
            } else if (group.open) {
                if (item.index != xItem::EndOfLine && item.index != xItem::Text)
                    group.Add(item.label, row ? ValueOf(item, *row, line) : kNull);
            } else if (item.index == xItem::EndOfLine) {
                if (!row) text = text.empty() || text[0] != ' ' ? "/" + text : "/" + text.substr(1);
                out << text << '\n';
                text.clear();
            } else if (item.index == xItem::Text) {
                text += item.label + Blanks(format.width, item.label.size());
            } else {
                text += row ? format.Value(ValueOf(item, *row, line)) : format.Text(item.label);
            }
        }
    }

    std::vector<xItem> items_;
    std::vector<xAsciiFormat> formats_;
    bool forceToSurface_;
};

int AskSections(xPlatform& questions) {
    const int answer = questions.Question(
        "CDI ASCII output may contain Descrete or/and Layered approximations "
        "of CDI sections if you chose those to display. None has been selected."
        " Which CDI approximation you'd like to add to ASCII output?",
        {"Descrete", "Layered", "None"});
    return answer == 0 ? 1 : answer == 1 ? 2 : 0;
}

// ASEG-GDF2 ------------------------------------------------------------------------

constexpr float kGdfNull = -1.0e32f;

// A channel of the export: a single value or one value a depth.
struct xGdfChannel {
    std::string name;
    long count;
    char letter;  // 'F', 'E' or 'I'
    int width;
    int precision;
    std::string units;
    std::string longName;
    std::function<float(const FloatArray& row, std::int32_t line, long d)> value;

    std::string Cell(float v) const {
        char text[64];
        if (letter == 'I')
            std::snprintf(text, sizeof text, "%*ld", width, std::lround(v));
        else
            std::snprintf(text, sizeof text, letter == 'F' ? "%*.*f" : "%*.*E", width, precision,
                          double(v));
        return text;
    }
    // Fixed channels keep the file's own NULL, which fits their width.
    float Null() const { return letter == 'E' ? kGdfNull : letter == 'I' ? -999999999.0f : kNull; }
    std::string Format() const {
        const std::string f = letter + std::to_string(width);
        return (count > 1 ? std::to_string(count) : "") +
               (letter == 'I' ? f : f + "." + std::to_string(precision));
    }
};

float GdfValue(float value) {
    return value == kNull ? kGdfNull : value;
}

// mS/m into the unit of bit: 1 mS/m, 2 S/m, 4 ohm-m.
float InUnit(float mS, int bit) {
    if (mS == kNull) return kGdfNull;
    if (bit == 2) return mS * 0.001f;
    if (bit == 4) return mS == 0.0f ? kGdfNull : 1000.0f / mS;
    return mS;
}

std::vector<xGdfChannel> GdfChannels(const xMCond& cnd, int units) {
    std::vector<xGdfChannel> channels;
    const auto single = [&](const char* name, long item, char letter, int width, int precision,
                            const char* unit, const char* longName) {
        channels.push_back({name, 1, letter, width, precision, unit, longName,
                            [item, letter](const FloatArray& row, std::int32_t, long) {
                                return letter == 'E' ? GdfValue(row[item]) : row[item];
                            }});
    };
    single("X", 1, 'F', 12, 2, "m", "Easting");
    single("Y", 2, 'F', 12, 2, "m", "Northing");
    single("Z", 3, 'F', 10, 2, "m", "Ground elevation");
    single("FID", 0, 'F', 12, 2, "", "Fiducial");
    channels.push_back({"Line", 1, 'I', 10, 0, "", "Line number",
                        [](const FloatArray&, std::int32_t line, long) { return float(line); }});
    single("Alt", 4, 'F', 10, 2, "m", "Sensor elevation");
    single("Dist", 5, 'F', 12, 2, "m", "Distance along the line");
    single("FitError", xMCond::ErrorItem, 'E', 15, 6, "", "Fit error");
    single("FittedDepth", xMCond::FitDepthItem, 'F', 10, 2, "m", "Fitted depth");
    single("Penetration", xMCond::PenetrationItem, 'F', 10, 2, "m", "Estimated penetration");
    single("RL", xMCond::RLItem, 'E', 15, 6, "", "Resistive limit");
    single("IL", xMCond::ILItem, 'E', 15, 6, "", "Inductive limit");
    single("SurfaceCond", xMCond::ASCItem, 'E', 15, 6, "S", "Apparent surface conductance");
    single("BetterCond", xMCond::TSCItem, 'E', 15, 6, "S", "Thin sheet conductance");
    single("Susceptibility", xMCond::SusceptibilityItem, 'E', 15, 6, "", "Susceptibility");
    if (cnd.BaseItems() > xMCond::PermittivityItem)
        single("Permittivity", xMCond::PermittivityItem, 'E', 15, 6, "", "Permittivity");

    const long n = cnd.DepthCount();
    channels.push_back(
        {"Depth", n, 'F', 10, 2, "m", "Depth below the top of the section",
         [&cnd](const FloatArray&, std::int32_t, long d) { return cnd.RelativeDepth(d); }});
    const auto section = [&](const std::string& name, long s, int bit, const char* unit,
                             const std::string& longName) {
        const long first = cnd.SectionStart(s);
        channels.push_back({name, n, 'E', 15, 6, unit, longName,
                            [first, bit](const FloatArray& row, std::int32_t, long d) {
                                return InUnit(row[first + d], bit);
                            }});
    };
    const struct {
        int bit;
        const char* name;
        const char* unit;
        const char* quantity;
    } kinds[] = {{1, "Cond_mSm", "mS/m", "conductivity"},
                 {2, "Cond_Sm", "S/m", "conductivity"},
                 {4, "Res_omm", "ohm-m", "resistivity"}};
    for (const auto& k : kinds) {
        if ((units & k.bit) == 0) continue;
        section(k.name, 0, k.bit, k.unit, std::string("Discrete ") + k.quantity);
        section(std::string("Lay") + k.name, 1, k.bit, k.unit,
                std::string("Layered ") + k.quantity);
    }
    if (cnd.SectionCount() > 2) section("Conductance", 2, 1, "mS", "Cumulative conductance");
    return channels;
}

void WriteDfn(std::ostream& out, const std::vector<xGdfChannel>& channels) {
    long n = 0;
    for (const auto& c : channels) {
        out << "DEFN " << ++n << " ST=RECD,RT=;" << c.name << ':' << c.Format() << ':';
        if (!c.units.empty()) out << "UNITS=" << c.units << ',';
        std::string null = c.Cell(c.Null());
        null.erase(0, null.find_first_not_of(' '));
        out << "NULL=" << null << ",NAME=" << c.longName << '\n';
    }
    out << "DEFN " << ++n << " ST=RECD,RT=;END DEFN\n";
}

}  // namespace

// Line walk ------------------------------------------------------------------------

template <class Body>
bool xMCond::WalkLines(const std::string& title, Body body) {
    if (!EnsureHeader()) return false;
    Platform().ProgressOpen(title);
    Platform().ProgressRange(0, lines_);
    xMLine line(this);
    ResetLines();
    long walked = 0;
    bool ok = true;
    while (ok && line.Next()) {
        Platform().ProgressAdvance(++walked);
        Platform().Yield();
        if (Platform().Interrupted()) {
            ok = false;
        } else if (line.Cols() != RowLength()) {
            Fail("xMFile::Error reading line from file < %s >");
            ok = false;
        } else {
            ok = body(line);
        }
    }
    // A walk that stops short of the header's count met a broken block.
    if (ok && walked < lines_) {
        Fail("xMFile::Error reading line from file < %s >");
        ok = false;
    }
    Platform().ProgressClose();
    return ok;
}

template <class Start, class Body>
bool xMCond::DumpByKind(const fs::path& path, int kind, const std::string& extension,
                        const std::string& title, Start top, Body body) {
    if (!EnsureHeader()) return false;
    xOutputFile out;
    if (kind != 1) {
        if (!OpenReport(path, out)) return false;
        top(out.Stream());
    }
    const bool ok = WalkLines(title, [&](xMLine& line) {
        if (kind == 1) {
            if (out.IsOpen() && !Closed(out)) return false;
            const fs::path current =
                path.parent_path() /
                (path.stem().string() + "-" + std::to_string(line.LineNumber()) + "." + extension);
            if (!OpenReport(current, out)) return false;
            top(out.Stream());
        }
        body(out.Stream(), line);
        return Written(out.Stream());
    });
    return ok && (!out.IsOpen() || Closed(out));
}

// Fixed layouts --------------------------------------------------------------------

bool xMCond::DumpSimpleXYZ(const fs::path& path, bool forceToSurface) {
    xOutputFile file;
    if (!EnsureHeader() || !OpenReport(path, file)) return false;
    std::ostream& out = file.Stream();
    WriteReportHeader(out, *this);
    DepthHeads(out, true);
    const bool ok = WalkLines("Dumping CDI in Simple XYZ format...", [&](xMLine& line) {
        DepthRows(out, *this, line, forceToSurface, true);
        return Written(out);
    });
    return ok && Closed(file);
}

bool xMCond::DumpGeosoft(const fs::path& path, bool forceToSurface, int kind,
                         const std::string& extension) {
    return DumpByKind(
        path, kind, extension, "Dumping CDI in GeoSoft format...",
        [this](std::ostream& out) {
            WriteReportHeader(out, *this);
            DepthHeads(out, false);
        },
        [&](std::ostream& out, xMLine& line) {
            out << "Line " << std::setw(6) << line.LineNumber() << '\n';
            DepthRows(out, *this, line, forceToSurface, false);
        });
}

bool xMCond::DumpGeosoftDB(const fs::path& path, bool forceToSurface, int kind,
                           const std::string& extension) {
    return DumpByKind(
        path, kind, extension, "Dumping CDI in GeoSoft format...",
        [this](std::ostream& out) {
            WriteReportHeader(out, *this);
            DatabaseHeads(out, *this);
        },
        [&](std::ostream& out, xMLine& line) { DatabaseRows(out, *this, line, forceToSurface); });
}

bool xMCond::DumpDepthGrid(const fs::path& path, bool forceToSurface, std::optional<float> top) {
    if (!EnsureHeader()) return false;
    const std::optional<std::vector<float>> elevations =
        GridElevations(*this, path, forceToSurface, top);
    xOutputFile file;
    if (!elevations || !OpenReport(path, file)) return false;
    std::ostream& out = file.Stream();
    const std::vector<float>& grid = *elevations;
    WriteReportHeader(out, *this);
    GridHeads(out, grid);
    const bool ok = WalkLines("Dumping CDI in constant depths grid format...", [&](xMLine& line) {
        out << "Line " << std::setw(6) << line.LineNumber() << '\n';
        for (long r = 0; r < line.Rows(); ++r) {
            const FloatArray& row = line.Row(r);
            xColumns columns(out);
            PositionColumns(columns, row);
            for (float e : grid) {
                columns.Value(GridValue(*this, row, 0, e, forceToSurface), 14, 4);
                columns.Value(GridValue(*this, row, 1, e, forceToSurface), 14, 4);
            }
            columns.End();
        }
        return Written(out);
    });
    return ok && Closed(file);
}

bool xMCond::DumpUser(int sections, const fs::path& path, bool forceToSurface,
                      const std::string& pattern, xPlatform& questions) {
    if (!EnsureHeader()) return false;
    if ((sections & 3) == 0) sections = AskSections(questions);
    std::vector<xItem> items;
    if (!ParseCdiPattern(pattern, CdiSourceItems(*this, sections), items)) return false;
    xOutputFile file;
    if (!OpenReport(path, file)) return false;
    std::ostream& out = file.Stream();
    const xPatternRows rows(items, forceToSurface);
    rows.Heads(out);
    const bool ok = WalkLines("Dumping CDI in User Defined format...", [&](xMLine& line) {
        out << "/Line " << std::setw(6) << line.LineNumber() << '\n';
        for (long r = 0; r < line.Rows(); ++r) rows.Record(out, line.Row(r), line.LineNumber());
        return Written(out);
    });
    return ok && Closed(file);
}

bool xMCond::SaveGdf2(const fs::path& stem, int units) {
    if ((units & 7) == 0) {
        Platform().Error("The database output wants one or more of the units mS/m, S/m and ohm-m.");
        return false;
    }
    if (!EnsureHeader()) return false;
    const std::vector<xGdfChannel> channels = GdfChannels(*this, units);
    fs::path dfnPath = stem, datPath = stem;
    dfnPath.replace_extension(".dfn");
    datPath.replace_extension(".dat");
    xOutputFile dfn, datFile;
    if (!OpenReport(dfnPath, dfn)) return false;
    WriteDfn(dfn.Stream(), channels);
    if (!Closed(dfn) || !OpenReport(datPath, datFile)) return false;
    std::ostream& dat = datFile.Stream();
    const bool ok = WalkLines("Writing ASEG-GDF2 files...", [&](xMLine& line) {
        for (long r = 0; r < line.Rows(); ++r) {
            const FloatArray& row = line.Row(r);
            for (const auto& c : channels)
                for (long d = 0; d < c.count; ++d)
                    dat << c.Cell(c.value(row, line.LineNumber(), d));
            dat << '\n';
        }
        return Written(dat);
    });
    return ok && Closed(datFile);
}

// User pattern ------------------------------------------------------------------------

std::vector<xItem> CdiSourceItems(const xMCond& cnd, int sections) {
    std::vector<xItem> items = {{"X", 1, "14f2"},
                                {"Y", 2, "14f2"},
                                {"Z", 3, "14f2"},
                                {"FID", 0, "14f2"},
                                {"Line#", xItem::LineNumber, "14f2"},
                                {"Altitude", 4, "14f2"},
                                {"Distance", 5, "14f2"},
                                {"ASC", xMCond::ASCItem, "14f6"},
                                {"TSC", xMCond::TSCItem, "14f6"},
                                {"FitDepth", xMCond::FitDepthItem, "14f4"},
                                {"RL", xMCond::RLItem, "14f6"},
                                {"IL", xMCond::ILItem, "14f6"},
                                {"Error", xMCond::ErrorItem, "14f6"},
                                {"Susceptibility", xMCond::SusceptibilityItem, "14f6"},
                                {"Est.Penetration", xMCond::PenetrationItem, "14f6"}};
    // The rest of the record ahead of the sections: Permittivity and the layers.
    for (long i = xMCond::PermittivityItem; i < cnd.SectionStart(0); ++i)
        items.push_back({cnd.ItemTitle(i), i, "14f6"});
    const char* prefixes[] = {"DC(", "LC("};
    for (long s = 0; s < 2; ++s) {
        if ((sections & (1 << s)) == 0) continue;
        for (long d = 0; d < cnd.DepthCount(); ++d)
            items.push_back({prefixes[s] + Printed("%4.0f", std::fabs(cnd.RelativeDepth(d))) + "m)",
                             cnd.SectionStart(s) + d, "14f6"});
    }
    return items;
}

bool ParseCdiPattern(const std::string& text, const std::vector<xItem>& source,
                     std::vector<xItem>& items) {
    std::vector<xToken> tokens;
    if (!Tokenize(text, tokens)) return false;
    std::vector<xItem> parsed;
    if (tokens.empty()) parsed = source;
    bool group = false;
    for (const auto& token : tokens) {
        xItem item;
        if (!ItemOf(token, source, item)) return false;
        if (item.index == xItem::GroupBegin && group) {
            Platform().Error("A group { } of the CDI pattern cannot hold another {.");
            return false;
        }
        if (item.index == xItem::GroupEnd && !group) {
            Platform().Error("The } of the CDI pattern closes no group: a { must come first.");
            return false;
        }
        group = item.index == xItem::GroupBegin || (group && item.index != xItem::GroupEnd);
        parsed.push_back(item);
    }
    if (group) parsed.push_back({"}", xItem::GroupEnd, "14f6"});
    if (parsed.empty() || parsed.back().index != xItem::EndOfLine)
        parsed.push_back({"EOL", xItem::EndOfLine, "14S"});
    items = std::move(parsed);
    return true;
}

// Dispatch ----------------------------------------------------------------------------

bool SaveCdiOutput(xMCond& cnd, int code, const xCdiOutputOptions& options, xPlatform& questions) {
    const bool force = options.forceToSurface;
    switch (code) {
        case 10:
            return cnd.DumpUser(options.sections, options.out, force, options.pattern, questions);
        case 11:
            return cnd.DumpGeosoft(options.out, force, 1, options.extension);
        case 12:
            return cnd.DumpSimpleXYZ(options.out, force);
        case 13:
            return cnd.DumpDepthGrid(options.out, force, options.alignTop);
        case 14:
            return true;
        case 15:
            return cnd.DumpGeosoftDB(options.out, force, 1, options.extension);
        case 16:
            return cnd.DumpGeosoft(options.out, force, 2, options.extension);
        case 17:
            return cnd.DumpGeosoftDB(options.out, force, 2, options.extension);
        case 18:
            return cnd.SaveGdf2(options.out, options.units);
        default:
            Platform().Error("There is no CDI output of code " + std::to_string(code) +
                             "; the codes are 10 to 18.");
            return false;
    }
}

std::string DescribeCdiOutput(int code, const xCdiOutputOptions& options) {
    const std::string stem = (options.out.parent_path() / options.out.stem()).string();
    if (code == 11 || code == 15) return stem + "-<line>." + options.extension;
    if (code == 18) return stem + ".dat and " + stem + ".dfn";
    return options.out.string();
}

fs::path DefaultCdiOutputPath(const fs::path& cnd, int code) {
    const fs::path dir = cnd.parent_path();
    const std::string stem = cnd.stem().string();
    switch (code) {
        case 10:
            return dir / (stem + "_user.txt");
        case 11:  // stem-<line>.DOC
        case 16:
            return dir / (stem + ".DOC");
        case 12:
            return dir / (stem + ".xyz");
        case 13:
            return dir / (stem + "_grid.xyz");
        case 15:  // stem_db-<line>.DOC
        case 17:
            return dir / (stem + "_db.DOC");
        case 18:  // stem.dat and stem.dfn
            return dir / stem;
        default:
            return {};
    }
}

// Conductance table ----------------------------------------------------------------------

bool xConductanceTable::Open(const fs::path& path, const xMCond& cnd) {
    if (!file_.Open(path)) {
        Platform().Error("Cannot open a file to store ASCII conductance table.");
        return false;
    }
    out_ << "/Conductance Table\n";
    cnd.DumpHeader(out_);
    out_ << '/';
    for (long i = 0; i <= xMCond::ILItem; ++i) out_ << std::setw(14) << cnd.ItemTitle(i);
    for (long d = 0; d < cnd.DepthCount(); ++d)
        out_ << std::setw(14) << Fixed(cnd.RelativeDepth(d), 2);
    out_ << '\n' << kRule << '\n';
    return true;
}

void xConductanceTable::WriteLineHeader(std::int32_t line) {
    out_ << "/Line " << std::setw(6) << line << '\n';
}

void xConductanceTable::WriteRow(const float* record, const std::vector<float>& column) {
    static const xAsciiFormat position{'f', 14, 2}, error{'f', 14, 5}, limit{'e', 14, 4};
    for (long i = 0; i < 6; ++i) out_ << position.Value(record[i]);
    out_ << error.Value(record[xMCond::ErrorItem]) << limit.Value(record[xMCond::RLItem])
         << limit.Value(record[xMCond::ILItem]);
    for (float value : column) out_ << limit.Value(value);
    out_ << '\n';
}
