#pragma once
// The geometry of one component: the transmitter and the receiver, where they
// are and what they look like, and the free-space primary field that the
// transmitter sets up at a point, which normalises the data downstream.
//
// Positions are metres in a right-handed x, y, z frame, the transmitter
// normally at the origin. Files before version 9 stored the receiver in other
// ways; reading one brings it to the current convention.

#include <array>
#include <iosfwd>
#include <string>
#include <vector>

#include "DscStream.h"
#include "xArray.h"
#include "xEMSensorType.h"

class xEMGDesc {
  public:
    static constexpr long CurrentVersion = 9;
    enum Sensor { Tx, Rx };

    // A moving loop transmitter, a square of side 10 around z at the origin, and
    // a moving z dipole receiver at (-100, 0, -50).
    xEMGDesc();

    static const std::vector<std::string>& MobilityNames() {
        return xEMSensorType::MobilityNames();
    }
    static const std::vector<std::string>& KindNames() { return xEMSensorType::KindNames(); }

    // The geometry block of a component. With a version below 9 the receiver is
    // moved to the current convention and the version becomes 9. A failed read
    // fails the reader and leaves the geometry as it was.
    bool Read(xDscReader& in, long fileVersion);
    void Write(std::ostream& out) const;

    // The transmitter stays put while the receiver flies.
    bool IsFixed() const { return transmitter.IsFixed(); }
    // The transmitter's axis; anything but exactly one in use is noted, and the
    // last one in use is taken, z when there is none.
    int GetTxComponent() const;

    const std::array<float, 3>& GetPosition(Sensor which) const;
    void SetPosition(Sensor which, float x, float y, float z);
    // Receiver relative to transmitter, in the convention of fileVersion.
    float GetSeparationX() const { return GetSeparation(0); }
    float GetSeparationY() const { return GetSeparation(1); }
    float GetSeparationZ() const { return GetSeparation(2); }
    // Turns both positions about z; the shapes keep their orientation.
    void Rotate(float cos, float sin);
    // The transmitter's area for an axis.
    float GetArea(int axis) const { return transmitter.GetArea(axis); }

    // Free-space field of a unit transmitter on an axis at (x, y, z) relative to
    // the transmitter, in out[Low()..Low()+2] (an array of another length is
    // made 0..2). Answers 1, or 0 with a zero field when it cannot be had.
    int PrimaryField(int axis, float x, float y, float z, FloatArray& out) const;

    // The field of a closed polygon of straight segments carrying unit current.
    // Points on or in line with a segment stay finite by small softening terms.
    static void LoopField(const FloatMatrix& corners, float x, float y, float z, float field[3]);
    // The field of a unit dipole along axis 1..3; false for any other axis.
    static bool DipoleField(int axis, float x, float y, float z, float field[3]);

    xEMSensorType transmitter;
    xEMSensorType receiver;
    long fileVersion = CurrentVersion;

  private:
    float GetSeparation(int index) const;
};
