#include "xTRClasf.h"

#include <array>
#include <cctype>
#include <iomanip>
#include <istream>
#include <ostream>

#include "xPlatform.h"

namespace {

struct ComponentEntry {
    const char* name;
    int tx;
    int rx;
    std::uint32_t colour;
};

// Indexed by id - 100.
constexpr std::array<ComponentEntry, 10> kComponents{{
    {"????", AxisTotal, AxisTotal, DefaultComponentColour},
    {"TxRx", AxisX, AxisX, 0x00FF00},
    {"TxRy", AxisX, AxisY, 0xFF9900},
    {"TxRz", AxisX, AxisZ, 0xFF00FF},
    {"TyRx", AxisY, AxisX, 0xCCCC00},
    {"TyRy", AxisY, AxisY, 0x9999FF},
    {"TyRz", AxisY, AxisZ, 0x00FFFF},
    {"TzRx", AxisZ, AxisX, 0xFF0000},
    {"TzRy", AxisZ, AxisY, 0xFFCCCC},
    {"TzRz", AxisZ, AxisZ, 0x0000FF},
}};

constexpr std::array<const char*, 5> kAxisNames{"undefined", "x", "y", "z", "t"};

const ComponentEntry* Entry(long id) {
    if (id < UndefinedComponent || id > LastComponent) return nullptr;
    return &kComponents[static_cast<std::size_t>(id - UndefinedComponent)];
}

}  // namespace

std::string ComponentName(long id) {
    const ComponentEntry* entry = Entry(id);
    return entry ? entry->name : "undefined";
}

long ComponentId(const std::string& name) {
    for (long id = FirstComponent; id <= LastComponent; ++id)
        if (name == Entry(id)->name) return id;
    return UndefinedComponent;
}

long ComponentIdTyped(const std::string& name) {
    std::string lower;
    for (char c : name) lower += char(std::tolower(static_cast<unsigned char>(c)));
    if (lower.size() == 2) lower = std::string("t") + lower[0] + "r" + lower[1];
    for (long id = FirstComponent; id <= LastComponent; ++id) {
        std::string known = Entry(id)->name;
        for (char& c : known) c = char(std::tolower(static_cast<unsigned char>(c)));
        if (lower == known) return id;
    }
    return UndefinedComponent;
}

int TxAxis(long id) {
    const ComponentEntry* entry = Entry(id);
    return entry ? entry->tx : AxisY;
}

int RxAxis(long id) {
    const ComponentEntry* entry = Entry(id);
    return entry ? entry->rx : AxisY;
}

long IdFromAxes(int tx, int rx) {
    if (tx < AxisX || tx > AxisZ || rx < AxisX || rx > AxisZ) return UndefinedComponent;
    return UndefinedComponent + 3 * (tx - 1) + rx;
}

std::uint32_t Colour(long id) {
    const ComponentEntry* entry = Entry(id);
    return entry ? entry->colour : DefaultComponentColour;
}

std::string AxisName(int axis) {
    if (axis < 0 || axis >= static_cast<int>(kAxisNames.size())) return kAxisNames[0];
    return kAxisNames[static_cast<std::size_t>(axis)];
}

int AxisFromName(const std::string& name) {
    for (std::size_t i = 1; i < kAxisNames.size(); ++i)
        if (name == kAxisNames[i]) return static_cast<int>(i);
    return 0;
}

xTRClasf::xTRClasf() : LongArray(UndefinedComponent, LastComponent) {
    (*this)[LastComponent] = 1;
}

xTRClasf::xTRClasf(const LongArray& other) : xTRClasf() {
    Assign(other);
}

xTRClasf& xTRClasf::operator=(const LongArray& other) {
    Assign(other);
    return *this;
}

void xTRClasf::Assign(const LongArray& other) {
    if (other.Length() != Length()) {
        Platform().Warning("xTRClasf:: Attempt to initialize using incompatible array size.");
        return;
    }
    // By position: the other array may run 0..9 or anything else.
    for (long i = 0; i < Length(); ++i) (*this)[UndefinedComponent + i] = other[other.Low() + i];
}

bool xTRClasf::HasRxComponent(int axis) const {
    if (axis < AxisX || axis > AxisZ) {
        Platform().Warning("xTRClasf::HasRxComponent()  Unknown component.");
        return false;
    }
    for (int tx = AxisX; tx <= AxisZ; ++tx)
        if ((*this)[IdFromAxes(tx, axis)] != 0) return true;
    return false;
}

bool xTRClasf::HasTxComponent(int axis) const {
    if (axis < AxisX || axis > AxisZ) {
        Platform().Warning("xTRClasf::HasTxComponent()  Unknown component.");
        return false;
    }
    for (int rx = AxisX; rx <= AxisZ; ++rx)
        if ((*this)[IdFromAxes(axis, rx)] != 0) return true;
    return false;
}

long xTRClasf::NumberOfComponents() const {
    long count = 0;
    for ([[maybe_unused]] long id : Ids()) ++count;
    return count;
}

void xTRClasf::WriteText(std::ostream& out) const {
    for (long id = FirstComponent; id <= LastComponent; ++id)
        out << std::setw(6) << ComponentName(id);
    out << '\n';
    // Six columns, but never run into the neighbour: a count too wide for them
    // must still read back as itself.
    for (long id = FirstComponent; id <= LastComponent; ++id)
        out << ' ' << std::setw(5) << (*this)[id];
    out << '\n';
}

bool xTRClasf::ReadText(std::istream& in) {
    std::string line;
    if (!std::getline(in, line)) return false;
    std::array<std::int32_t, 9> values{};
    for (auto& value : values)
        if (!(in >> value)) return false;
    // A last line without its end is complete as it is.
    if (!in.eof()) std::getline(in, line);
    for (long id = FirstComponent; id <= LastComponent; ++id)
        (*this)[id] = values[static_cast<std::size_t>(id - FirstComponent)];
    return true;
}
