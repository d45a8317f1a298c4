#pragma once
// What the receiver unit of a descriptor measures, and how its values turn into
// SI. A descriptor keeps the unit as text (the "[...]" of the receiver's primary
// field); this table is the one place that reads it.
//
// Absolute units are per unit transmitter moment (1 A m^2): a B field in tesla,
// its rate of change in T/s, which is V/(A m^4), the receiver's voltage per m^2 of
// its area and per A m^2 of the transmitter. Relative units are parts of the
// primary field at the receiver.

#include <string>
#include <vector>

class xRxUnit {
  public:
    enum class Kind { Relative, Field, FieldRate, Unknown };

    // The unit of a descriptor ("ppm", "Wb/m^2", "fT", "nV/amp/m^2", "V/amp/m^4",
    // ...); any other text is Unknown.
    static xRxUnit Of(const std::string& unit);

    // The descriptor's name for a unit as a survey's column definition writes it
    // ("fT", "V/(A.m^4)", "V/(A·m⁴)", "pV/A/m^4", "ppm", ...); empty when the text
    // names no unit a receiver reports.
    static std::string FromSurvey(const std::string& text);

    // The descriptor's names of every unit we know, in the table's order.
    static std::vector<std::string> Names();
    // Whether the unit is per unit transmitter moment by its very name (the
    // V/(A m^4) family): data in it need no moment from the system file.
    static bool IsPerUnitMoment(const std::string& unit);

    Kind kind() const { return kind_; }
    bool IsRelative() const { return kind_ == Kind::Relative; }
    bool IsAbsolute() const { return kind_ == Kind::Field || kind_ == Kind::FieldRate; }
    // Relative: data units in one primary field (1e6 for ppm). Absolute: the SI
    // value of one data unit (1e-15 for fT). 0 for Unknown.
    double Factor() const { return factor_; }

  private:
    xRxUnit(Kind kind, double factor) : kind_(kind), factor_(factor) {}
    Kind kind_;
    double factor_;
};
