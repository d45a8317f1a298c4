#pragma once
// One end of a transmitter-receiver pair: what kind of sensor it is (dipole,
// large loop or electric bipole), whether it rides with the aircraft, where its
// reference point sits, and per axis the shape that the primary field is
// computed from. Shapes are held for x, y and z; the total direction shares the
// z slot, its loop lying in the same plane.

#include <array>
#include <iosfwd>
#include <string>
#include <vector>

#include "DscStream.h"
#include "xMatrix.h"

class xEMSensorType {
  public:
    static constexpr const char* Fixed = "fixed";
    static constexpr const char* Moving = "moving";
    static constexpr const char* Dipole = "dipole";
    static constexpr const char* Loop = "large loop";
    static constexpr const char* Bipole = "el. bipole";
    // More corners than this in a file is taken for a damaged count.
    static constexpr long MaxCorners = 10000;

    static const std::vector<std::string>& MobilityNames();
    static const std::vector<std::string>& KindNames();

    // A moving dipole at the origin with no axis in use.
    xEMSensorType() = default;

    bool IsFixed() const { return mobility_ == Fixed; }
    bool IsDipole() const { return kind_ == Dipole; }
    bool IsLoop() const { return kind_ == Loop; }
    bool IsBipole() const { return kind_ == Bipole; }

    const std::string& Mobility() const { return mobility_; }
    const std::string& Kind() const { return kind_; }
    // Only the legal names are taken; anything else answers false and changes
    // nothing. A new kind drops the cached area.
    bool SetMobility(const std::string& mobility);
    bool SetKind(const std::string& kind);

    const std::array<float, 3>& Position() const { return position_; }
    void SetPosition(float x, float y, float z) { position_ = {x, y, z}; }

    // Axes 1..3, and 4 for the z slot. Any other axis has an empty shape.
    const FloatMatrix& Shape(int axis) const;
    // Rows of (x, y, z) from the first three columns of the given matrix,
    // whatever its bounds; an empty matrix takes the axis out of use.
    void SetShape(int axis, const FloatMatrix& shape);
    // Axes 1..3 whose shape has rows, ascending.
    std::vector<int> UsedAxes() const;
    bool Uses(int axis) const { return Shape(axis).Rows() > 0; }

    // The default shape of the kind for an axis (1..4): a dipole's directional
    // cosines, a loop's square of the given side in the plane across the axis.
    // Answers 1 when a shape was made.
    int AddComponent(int axis, float side = 10.0f);

    // The loop area in the x-y plane for axis 3, 0 for any other axis and for
    // anything but a loop. Computed on first use and kept.
    float GetArea(int axis) const;

    // The sensor block of the descriptor. A failed read fails the reader and
    // leaves this sensor as it was.
    bool Read(xDscReader& in);
    void Write(std::ostream& out) const;

  private:
    std::array<FloatMatrix, 3> shape_;
    mutable float area_ = 0.0f;
    std::string mobility_ = Moving;
    std::string kind_ = Dipole;
    std::array<float, 3> position_{};
};
