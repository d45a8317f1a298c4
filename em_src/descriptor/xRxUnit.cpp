#include "xRxUnit.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace {

constexpr double kMu0 = 1.25663706212e-6;

struct xUnitRow {
    const char* name;
    xRxUnit::Kind kind;
    double factor;
};

// "amp/m" is H: its SI field is mu0 times the value. "nV/amp/m^2" is the older
// name of nV/(A m^4): nanovolts per unit moment, the receiver area taken as 1.
constexpr std::array<xUnitRow, 17> kUnits{{
    {"ppm", xRxUnit::Kind::Relative, 1.0e6},
    {"ppt", xRxUnit::Kind::Relative, 1.0e3},
    {"%", xRxUnit::Kind::Relative, 100.0},
    {"Wb/m^2", xRxUnit::Kind::Field, 1.0},
    {"T", xRxUnit::Kind::Field, 1.0},
    {"nT", xRxUnit::Kind::Field, 1.0e-9},
    {"pT", xRxUnit::Kind::Field, 1.0e-12},
    {"fT", xRxUnit::Kind::Field, 1.0e-15},
    {"amp/m", xRxUnit::Kind::Field, kMu0},
    {"V/amp/m^4", xRxUnit::Kind::FieldRate, 1.0},
    {"nV/amp/m^4", xRxUnit::Kind::FieldRate, 1.0e-9},
    {"pV/amp/m^4", xRxUnit::Kind::FieldRate, 1.0e-12},
    {"nV/amp/m^2", xRxUnit::Kind::FieldRate, 1.0e-9},
    {"T/s", xRxUnit::Kind::FieldRate, 1.0},
    {"nT/s", xRxUnit::Kind::FieldRate, 1.0e-9},
    {"pT/s", xRxUnit::Kind::FieldRate, 1.0e-12},
    {"fT/s", xRxUnit::Kind::FieldRate, 1.0e-15},
}};

// The survey's spelling reduced to ours: no blanks, no brackets, "A" for "amp",
// "·" and "." as products dropped, "m⁴" and "m4" as "m^4".
std::string Reduced(std::string text) {
    const std::array<std::pair<std::string, std::string>, 8> swaps{{
        {"\xC2\xB7", ""},        // middle dot
        {"\xE2\x81\xB4", "^4"},  // superscript four
        {"\xC2\xB2", "^2"},      // superscript two
        {"(", ""},
        {")", ""},
        {" ", ""},
        {"amp", "A"},
        {".", ""},
    }};
    for (const auto& [from, to] : swaps)
        for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at))
            text.replace(at, from.size(), to), at += to.size();
    if (text.size() > 2 && text.compare(text.size() - 2, 2, "m4") == 0)
        text.replace(text.size() - 1, 1, "^4");
    return text;
}

}  // namespace

xRxUnit xRxUnit::Of(const std::string& unit) {
    for (const xUnitRow& row : kUnits)
        if (unit == row.name) return {row.kind, row.factor};
    return {Kind::Unknown, 0.0};
}

std::string xRxUnit::FromSurvey(const std::string& text) {
    const std::string reduced = Reduced(text);
    for (const xUnitRow& row : kUnits)
        if (reduced == Reduced(row.name)) return row.name;
    // V/(A m^4) written as a product: V/Am^4, V/A/m^4.
    for (const char* prefix : {"", "n", "p"}) {
        const std::string volts = std::string(prefix) + "V/";
        for (const char* form : {"Am^4", "A/m^4"})
            if (reduced == volts + form) return volts + "amp/m^4";
    }
    return "";
}

std::vector<std::string> xRxUnit::Names() {
    std::vector<std::string> names;
    for (const xUnitRow& row : kUnits) names.emplace_back(row.name);
    return names;
}

bool xRxUnit::IsPerUnitMoment(const std::string& unit) {
    return Of(unit).kind() == Kind::FieldRate && unit.find("V/amp/m^") != std::string::npos;
}
