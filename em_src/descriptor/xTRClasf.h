#pragma once
// Components are transmitter axis / receiver axis pairs, addressed everywhere by
// the ids 101 (TxRx) to 109 (TzRz); 100 is the undefined one. xTRClasf is an
// array over 100..109, most often the number of channels of each component.

#include <cstdint>
#include <iosfwd>
#include <string>

#include "xArray.h"

// Axes: 1 x, 2 y, 3 z, 4 total.
constexpr int AxisX = 1;
constexpr int AxisY = 2;
constexpr int AxisZ = 3;
constexpr int AxisTotal = 4;

constexpr long UndefinedComponent = 100;
constexpr long FirstComponent = 101;  // TxRx
constexpr long LastComponent = 109;   // TzRz

// What a component without a colour of its own is drawn with.
constexpr std::uint32_t DefaultComponentColour = 0x000000;

// "????" for 100, "TxRx" .. "TzRz" for 101..109, "undefined" for anything else.
std::string ComponentName(long id);
// Exact match of one of the names above; anything else is 100.
long ComponentId(const std::string& name);
// A component as a person types it on a command line: a name above in any
// case ("tzrz"), or its two axes ("ZZ" for TzRz); anything else is 100.
long ComponentIdTyped(const std::string& name);
// 4 for 100; ids outside the table answer 2, as they always have.
int TxAxis(long id);
int RxAxis(long id);
// 100 unless both axes are 1..3.
long IdFromAxes(int tx, int rx);
// 24-bit RGB.
std::uint32_t Colour(long id);
// "undefined", "x", "y", "z", "t" by index; an index outside them is "undefined".
std::string AxisName(int axis);
// The index of an axis name; an unknown name is 0.
int AxisFromName(const std::string& name);

class xTRClasf : public LongArray {
  public:
    // Zero everywhere but TzRz, which is 1.
    xTRClasf();
    // Takes the ten values in order whatever the other's bounds; any other size
    // warns and leaves the default.
    explicit xTRClasf(const LongArray& other);
    xTRClasf(const xTRClasf&) = default;
    xTRClasf& operator=(const xTRClasf&) = default;
    xTRClasf& operator=(const LongArray& other);

    bool HasRxComponent(int axis) const;
    bool HasTxComponent(int axis) const;
    // How many ids carry a non-zero entry.
    long NumberOfComponents() const;

    // Walks the ids with a non-zero entry, ascending: for (long id : c.Ids()).
    class Iterator {
      public:
        Iterator(const xTRClasf* owner, long id) : owner_(owner), id_(id) { Skip(); }
        long operator*() const { return id_; }
        Iterator& operator++() {
            ++id_;
            Skip();
            return *this;
        }
        bool operator==(const Iterator& other) const { return id_ == other.id_; }
        bool operator!=(const Iterator& other) const { return id_ != other.id_; }

      private:
        void Skip() {
            while (id_ <= LastComponent && (*owner_)[id_] == 0) ++id_;
        }
        const xTRClasf* owner_;
        long id_;
    };
    struct IdRange {
        const xTRClasf* owner;
        Iterator begin() const { return {owner, UndefinedComponent}; }
        Iterator end() const { return {owner, LastComponent + 1}; }
    };
    IdRange Ids() const { return {this}; }

    // The descriptor's two lines: the nine names right-aligned in 6 columns, and
    // the nine values for 101..109 in 6 columns each.
    void WriteText(std::ostream& out) const;
    // A label line (ignored), nine integers for 101..109 and the rest of their
    // line. Nothing changes unless all nine were read.
    bool ReadText(std::istream& in);

  private:
    void Assign(const LongArray& other);
};
