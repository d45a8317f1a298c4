#include "xEMFDesc.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <iomanip>
#include <ostream>
#include <sstream>
#include <utility>

#include "xPlatform.h"

namespace {

using Item = xEMFDesc::Item;

constexpr std::array<const char*, xEMFDesc::NumberOfItems> kItemNames{
    "line",     "FID",    "east",    "north",    "z_topo", "altitude",
    "Rx_pitch", "Rx_yaw", "Rx_roll", "Tx_pitch", "Tx_yaw", "Tx_roll"};

constexpr const char* kChannelsLabel = "POSITION (INDEX) OF CHANNELS IN EACH DATA RECORD";
constexpr const char* kInPhaseLabel = "POSITION (INDEX) OF IN PHASE IN EACH DATA RECORD";
constexpr const char* kQuadratureLabel = "POSITION (INDEX) OF QUADRATURE IN EACH DATA RECORD";
constexpr const char* kChannelHead = "channel ";
constexpr const char* kFrequencyHead = "freq ";
constexpr int kUserFlag = 2;

// Positions are held as floats and used as integers; anything this far out is
// no position at all.
constexpr float kMaxPosition = 1.0e7f;

std::size_t Index(Item item) {
    return static_cast<std::size_t>(item);
}

// A number in its columns, but always behind a blank: a value too wide for its
// field must still read back as itself.
struct Column {
    long value;
    int width;
};
std::ostream& operator<<(std::ostream& out, const Column& f) {
    return out << ' ' << std::setw(f.width - 1) << f.value;
}

long AsPosition(float value) {
    return std::isfinite(value) && std::fabs(value) <= kMaxPosition ? std::lround(value) : 0;
}

long MapAt(const FloatMatrix& map, long channel, long id) {
    const FloatArray* row = map.RowAt(channel);
    return row && row->InRange(id) ? AsPosition((*row)[id]) : 0;
}

bool WholeLong(const std::string& token, long& value) {
    const char* end = token.data() + token.size();
    auto [stop, error] = std::from_chars(token.data(), end, value);
    return error == std::errc() && stop == end;
}

bool IsItemSeparator(const std::vector<std::string>& tokens) {
    return tokens.size() == 1 && tokens[0] == xEMFDesc::ItemSeparator;
}

using MapRows = std::vector<std::array<float, 10>>;

// Rows of one channel table after `heads` label lines: a row is a line that
// begins with a number. The first line that does not is the table's end and is
// consumed with it, whatever it says (the separator, the next table's label, or
// an older file's first position label).
bool ReadMapRows(xDscReader& in, int heads, MapRows& rows) {
    for (int h = 0; h < heads; ++h) in.Skip("the channel table's label");
    std::string line;
    while (in.Line(line, "the end of the channel table")) {
        std::istringstream words(line);
        double number = 0;
        if (!(words >> number)) return true;
        if (long(rows.size()) >= xEMFDesc::MaxChannels) break;
        std::array<float, 10> row{};
        for (float& value : row) {
            if (!(words >> value) || !(std::fabs(value) <= kMaxPosition)) {
                in.Fail("a channel and 10 positions");
                return false;
            }
        }
        rows.push_back(row);
    }
    if (in.Ok())
        in.Fail("at most " + std::to_string(xEMFDesc::MaxChannels) + " channels in the table");
    return false;
}

void FillMap(FloatMatrix& map, const MapRows& rows) {
    for (std::size_t r = 0; r < rows.size(); ++r) {
        for (long id = UndefinedComponent; id <= LastComponent; ++id)
            map[long(r) + 1][id] = rows[r][std::size_t(id - UndefinedComponent)];
    }
}

void WriteMap(std::ostream& out, const char* label, const char* head, const FloatMatrix& map) {
    out << label << '\n' << head;
    for (long id = UndefinedComponent; id <= LastComponent; ++id)
        out << std::setw(6) << ComponentName(id);
    out << '\n';
    for (long channel = 1; channel <= map.Rows(); ++channel) {
        out << Column{channel, 6};
        for (long id = UndefinedComponent; id <= LastComponent; ++id)
            out << Column{MapAt(map, channel, id), 6};
        out << '\n';
    }
}

long CountColumn(const FloatMatrix& map, long id) {
    long count = 0;
    for (long channel = 1; channel <= map.Rows(); ++channel)
        if (MapAt(map, channel, id) != 0) ++count;
    return count;
}

FloatMatrix Resized(const FloatMatrix& map, long rows) {
    FloatMatrix next(1, rows, UndefinedComponent, LastComponent);
    const long keep = std::min(rows, map.Rows());
    for (long channel = 1; channel <= keep; ++channel) {
        for (long id = UndefinedComponent; id <= LastComponent; ++id)
            next[channel][id] = float(MapAt(map, channel, id));
    }
    return next;
}

}  // namespace

const char* xEMFDesc::ItemName(Item item) {
    return kItemNames[Index(item)];
}

bool xEMFDesc::IsRequired(Item item) {
    return Index(item) < Index(Item::RxPitch);
}

const std::vector<Item>& xEMFDesc::FileOrder() {
    static const std::vector<Item> order{Item::Line,  Item::Fid,      Item::East,    Item::North,
                                         Item::ZTopo, Item::Altitude, Item::RxPitch, Item::RxRoll,
                                         Item::RxYaw, Item::TxPitch,  Item::TxRoll,  Item::TxYaw};
    return order;
}

xEMFDesc::xEMFDesc() {
    SetChannels(1);
}

long* xEMFDesc::Field(Item item) {
    return const_cast<long*>(std::as_const(*this).Field(item));
}

const long* xEMFDesc::Field(Item item) const {
    switch (item) {
        case Item::Line:
            return &posLine;
        case Item::Fid:
            return &posFid;
        case Item::East:
            return &posEast;
        case Item::North:
            return &posNorth;
        case Item::ZTopo:
            return &posZTopo;
        case Item::Altitude:
            return &posAltitude;
        case Item::RxPitch:
            return &posRxPitch;
        case Item::RxYaw:
            return &posRxYaw;
        case Item::RxRoll:
            return &posRxRoll;
        case Item::TxPitch:
            return &posTxPitch;
        case Item::TxYaw:
            return &posTxYaw;
        case Item::TxRoll:
            return &posTxRoll;
    }
    return &posLine;
}

long xEMFDesc::Position(Item item) const {
    return *Field(item);
}

void xEMFDesc::SetPosition(Item item, long position) {
    *Field(item) = position;
}

bool xEMFDesc::Read(xDscReader& in, long fileVersion, bool frequencyDomain) {
    xEMFDesc next;
    next.classification = classification;
    next.version = fileVersion;
    next.isFrequencyDomain = frequencyDomain ? 1 : 0;

    in.Line(next.title, "the format's title");
    in.Skip("\"Geosoft format (1 yes, 0 no)\"");
    in.Numbers(next.geosoftFormat);
    in.Skip("\"Sample file name (if available)\"");
    in.Line(next.sampleFile, "the sample file name");
    in.Skip("\"Number of comment lines at the beginning of each data file\"");
    in.Numbers(next.commentLines);
    in.Skip("\"Number of items in each data record\"");
    in.Numbers(next.itemsPerRecord);
    if (!in.Ok()) return false;

    MapRows channels, inPhase, quadrature;
    if (frequencyDomain) {
        // The in-phase table ends at the quadrature label.
        if (!ReadMapRows(in, 2, inPhase) || !ReadMapRows(in, 1, quadrature)) return false;
    } else if (!ReadMapRows(in, 2, channels)) {
        return false;
    }
    next.SetChannels(long(std::max({channels.size(), inPhase.size(), quadrature.size()})));
    FillMap(next.channelMap, channels);
    FillMap(next.inPhaseMap, inPhase);
    FillMap(next.quadratureMap, quadrature);

    if (fileVersion < CurrentVersion) {
        // The table's end was the line position's label; every later group has
        // its own label, and the angles come pitch, roll, yaw as they say.
        constexpr const char* kLabel = "a position's label";
        in.Numbers(next.posLine);
        in.Skip(kLabel);
        in.Numbers(next.posFid);
        in.Skip(kLabel);
        in.Numbers(next.posEast, next.posNorth, next.posZTopo);
        in.Skip(kLabel);
        in.Numbers(next.posAltitude);
        in.Skip(kLabel);
        in.Numbers(next.posRxPitch, next.posRxRoll, next.posRxYaw);
        in.Skip(kLabel);
        in.Numbers(next.posTxPitch, next.posTxRoll, next.posTxYaw);
        if (!in.Ok()) return false;
    } else {
        // By order, not by name: a row is name, position, flag.
        for (Item item : FileOrder()) {
            const std::string expected =
                "the item " + std::string(ItemName(item)) + " with its position and flag";
            const std::vector<std::string> tokens = in.Tokens(expected);
            if (!in.Ok()) return false;
            if (tokens.size() < 2 || !WholeLong(tokens[1], *next.Field(item))) {
                in.Fail(expected);
                return false;
            }
        }
        next.userItems.clear();
        for (;;) {
            const std::string expected =
                "a user item or the line \"" + std::string(ItemSeparator) + "\"";
            const std::vector<std::string> tokens = in.Tokens(expected);
            if (!in.Ok()) return false;
            if (IsItemSeparator(tokens)) break;
            xEMFUserItem user;
            if (tokens.size() < 2 || !WholeLong(tokens[1], user.position)) {
                in.Fail(expected);
                return false;
            }
            if (next.userItems.size() >= MaxUserItems) {
                in.Fail("at most " + std::to_string(MaxUserItems) + " user items");
                return false;
            }
            user.name = tokens[0];
            next.userItems.push_back(std::move(user));
        }
        if (in.NextIs(MissingValueLabel)) {
            double missing = 0.0;
            if (!in.Numbers(missing)) return false;
            next.missingValue = missing;
        }
    }
    *this = std::move(next);
    return true;
}

void xEMFDesc::Write(std::ostream& out) const {
    out << title << '\n';
    out << "Geosoft format (1 yes, 0 no)\n" << Column{geosoftFormat, 6} << '\n';
    out << "Sample file name (if available)\n" << sampleFile << '\n';
    out << "Number of comment lines at the beginning of each data file\n"
        << Column{commentLines, 6} << '\n';
    out << "Number of items in each data record\n" << Column{itemsPerRecord, 6} << '\n';
    if (isFrequencyDomain) {
        WriteMap(out, kInPhaseLabel, kFrequencyHead, inPhaseMap);
        WriteMap(out, kQuadratureLabel, kFrequencyHead, quadratureMap);
    } else {
        WriteMap(out, kChannelsLabel, kChannelHead, channelMap);
    }
    out << ItemSeparator << '\n';
    for (Item item : FileOrder()) {
        out << std::left << std::setw(14) << ItemName(item) << std::right
            << Column{Position(item), 4} << Column{IsRequired(item) ? 1 : 0, 4} << '\n';
    }
    for (const xEMFUserItem& user : userItems) {
        out << std::left << std::setw(14) << user.name << std::right << Column{user.position, 4}
            << Column{kUserFlag, 4} << '\n';
    }
    out << ItemSeparator << '\n';
    if (missingValue) {
        std::ostringstream value;
        value << std::setprecision(10) << *missingValue;
        out << MissingValueLabel << '\n' << value.str() << '\n';
    }
}

bool xEMFDesc::SameMapsAs(const xEMFDesc& other) const {
    for (long id : classification.Ids()) {
        if (id == UndefinedComponent) continue;
        const long channels = std::min(long(classification[id]), MaxChannels);
        for (long channel = 1; channel <= channels; ++channel) {
            if (isFrequencyDomain) {
                if (InPhasePosition(channel, id) != other.InPhasePosition(channel, id) ||
                    QuadraturePosition(channel, id) != other.QuadraturePosition(channel, id))
                    return false;
            } else if (ChannelPosition(channel, id) != other.ChannelPosition(channel, id)) {
                return false;
            }
        }
    }
    return true;
}

bool xEMFDesc::operator==(const xEMFDesc& other) const {
    if (this == &other) return true;
    for (long id : classification.Ids()) {
        if (id != UndefinedComponent && other.classification[id] == 0) {
            Platform().Error("xEMFDesc::operator==() - failed to recover orientation.");
            return false;
        }
    }
    if (!(classification == other.classification) || isFrequencyDomain != other.isFrequencyDomain ||
        geosoftFormat != other.geosoftFormat || commentLines != other.commentLines ||
        itemsPerRecord != other.itemsPerRecord || userItems != other.userItems ||
        missingValue != other.missingValue)
        return false;
    for (int i = 0; i < NumberOfItems; ++i)
        if (Position(Item(i)) != other.Position(Item(i))) return false;
    return SameMapsAs(other);
}

bool xEMFDesc::HasSameTitles(const xEMFDesc& other) const {
    for (long id : classification.Ids()) {
        if (id != UndefinedComponent && other.classification[id] == 0) {
            Platform().Error("xEMFDesc::HasSameTitles() - failed to recover orientation.");
            return false;
        }
    }
    if (!(classification == other.classification) || isFrequencyDomain != other.isFrequencyDomain ||
        userItems.size() != other.userItems.size())
        return false;
    for (int i = 0; i < NumberOfItems; ++i)
        if ((Position(Item(i)) != 0) != (other.Position(Item(i)) != 0)) return false;
    for (std::size_t i = 0; i < userItems.size(); ++i)
        if (userItems[i].name != other.userItems[i].name) return false;
    return true;
}

void xEMFDesc::SetChannels(long n) {
    n = std::clamp(n, 1L, MaxChannels);
    channelMap = Resized(channelMap, n);
    inPhaseMap = Resized(inPhaseMap, n);
    quadratureMap = Resized(quadratureMap, n);
}

void xEMFDesc::SetClassification(const xTRClasf& counts) {
    classification = counts;
    long most = 0;
    for (long id = FirstComponent; id <= LastComponent; ++id)
        most = std::max(most, long(counts[id]));
    SetChannels(most);
}

xTRClasf xEMFDesc::ClassificationFromMaps() const {
    xTRClasf counts;
    counts[UndefinedComponent] = 0;
    for (long id = FirstComponent; id <= LastComponent; ++id) {
        const long n = isFrequencyDomain
                           ? std::max(CountColumn(inPhaseMap, id), CountColumn(quadratureMap, id))
                           : CountColumn(channelMap, id);
        counts[id] = std::int32_t(n);
    }
    return counts;
}

long xEMFDesc::ChannelPosition(long channel, long id) const {
    return MapAt(channelMap, channel, id);
}

long xEMFDesc::InPhasePosition(long channel, long id) const {
    return MapAt(inPhaseMap, channel, id);
}

long xEMFDesc::QuadraturePosition(long channel, long id) const {
    return MapAt(quadratureMap, channel, id);
}

long xEMFDesc::UserItemPosition(const std::string& name) const {
    for (const xEMFUserItem& user : userItems)
        if (user.name == name) return user.position;
    return 0;
}

std::vector<long> xEMFDesc::UsedPositions() const {
    std::vector<long> used;
    for (int i = 0; i < NumberOfItems; ++i) used.push_back(Position(Item(i)));
    for (const xEMFUserItem& user : userItems) used.push_back(user.position);
    for (long channel = 1; channel <= Channels(); ++channel) {
        for (long id = FirstComponent; id <= LastComponent; ++id) {
            if (isFrequencyDomain) {
                used.push_back(InPhasePosition(channel, id));
                used.push_back(QuadraturePosition(channel, id));
            } else {
                used.push_back(ChannelPosition(channel, id));
            }
        }
    }
    std::erase_if(used, [](long p) { return p <= 0; });
    std::sort(used.begin(), used.end());
    used.erase(std::unique(used.begin(), used.end()), used.end());
    return used;
}

std::string xEMFDesc::ItemNameProblem(const std::string& name, std::size_t self) const {
    // An empty name is all blank, and would vanish from its row in the file.
    if (name.empty() || name.find_first_of(" \t") != std::string::npos)
        return "No blanks allowed in item names!";
    if (name.size() > MaxItemNameLength) return "Item name must not exceed 20 characters!";
    // The card's list holds the named items and the separator entry too.
    bool duplicate = name == ItemSeparator;
    for (const char* named : kItemNames) duplicate = duplicate || name == named;
    for (std::size_t i = 0; i < userItems.size(); ++i)
        duplicate = duplicate || (i != self && userItems[i].name == name);
    return duplicate ? "Duplicate item names are not allowed!" : "";
}

std::vector<xEMFCheck> xEMFDesc::Validate() const {
    std::vector<xEMFCheck> checks;
    auto add = [&checks](const std::string& text, bool isQuestion) {
        xEMFCheck check{text, isQuestion};
        if (std::find(checks.begin(), checks.end(), check) == checks.end()) checks.push_back(check);
    };
    if (commentLines < 0) add("Negative number of comment lines in file header specified.", false);
    if (commentLines > 30)
        add("Are you sure the data file headers contain more than 30 comment lines?", true);
    if (itemsPerRecord < MinItemsPerRecord)
        add("The data record has to contain at least eight items comprising Flight number, Line "
            "number, FID, x, y, altitude and two data channels.",
            false);
    if (itemsPerRecord > 256)
        add("Are you sure the data file records contain more than 256 items?", true);
    for (std::size_t i = 0; i < userItems.size(); ++i) {
        const std::string problem = ItemNameProblem(userItems[i].name, i);
        if (!problem.empty()) add(problem, false);
    }
    return checks;
}

std::string xEMFDesc::PositionProblem(const std::string& what, long position) const {
    if (position >= 0 && position <= itemsPerRecord) return "";
    return "The position of " + what + " (" + std::to_string(position) +
           ") lies outside the record of " + std::to_string(itemsPerRecord) + " items.";
}

std::string xEMFDesc::ChannelProblem(long id, long channels) const {
    for (long channel = 1; channel <= std::min(channels, MaxChannels); ++channel) {
        const std::string name = "channel " + std::to_string(channel) + " of " + ComponentName(id);
        const std::vector<long> at =
            isFrequencyDomain
                ? std::vector<long>{InPhasePosition(channel, id), QuadraturePosition(channel, id)}
                : std::vector<long>{ChannelPosition(channel, id)};
        if (std::count(at.begin(), at.end(), 0L) > 0)
            return "The channel table has no position for " + name + ".";
        for (long position : at) {
            std::string problem = PositionProblem(name, position);
            if (!problem.empty()) return problem;
        }
    }
    return "";
}

std::vector<std::string> xEMFDesc::RecordProblems(const xTRClasf& channels) const {
    std::vector<std::string> problems;
    const auto say = [&problems](std::string text) {
        if (!text.empty()) problems.push_back(std::move(text));
    };
    if (geosoftFormat != 0 && geosoftFormat != 1)
        say("The Geosoft format flag must be 0 or 1, not " + std::to_string(geosoftFormat) + ".");
    if (commentLines > MaxCommentLines)
        say("A data file cannot begin with more than " + std::to_string(MaxCommentLines) +
            " comment lines, not " + std::to_string(commentLines) + ".");
    if (itemsPerRecord > MaxItemsPerRecord)
        say("A data record cannot hold more than " + std::to_string(MaxItemsPerRecord) +
            " items, not " + std::to_string(itemsPerRecord) + ".");
    // Positions are held to a record of a sensible length only.
    if (itemsPerRecord < MinItemsPerRecord || itemsPerRecord > MaxItemsPerRecord) return problems;
    for (int i = 0; i < NumberOfItems; ++i)
        say(PositionProblem(std::string("the item ") + ItemName(Item(i)), Position(Item(i))));
    for (const xEMFUserItem& user : userItems)
        say(PositionProblem("the user item " + user.name, user.position));
    for (long id = FirstComponent; id <= LastComponent; ++id) say(ChannelProblem(id, channels[id]));
    return problems;
}
