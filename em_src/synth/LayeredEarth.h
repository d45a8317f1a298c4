#pragma once
// The quasi-static field of a magnetic dipole, of any axis, over a horizontally
// layered earth. Pure functions of numbers: no files, no messages. Fields are
// H in A/m per unit dipole moment (1 A m^2); the earth is non-magnetic and the
// displacement currents are neglected. Coordinates: x, y horizontal, z up; the
// transmitter stands at height txHeight above the ground, the receiver at
// (dx, dy, dz) from it. Time dependence e^{iwt}.

#include <array>
#include <complex>
#include <vector>

struct xLayeredEarth {
    std::vector<double> conductivity;  // S/m, from the top; the last layer is infinite
    std::vector<double> thickness;     // m, one fewer than the conductivities
};

using xComplexField = std::array<std::complex<double>, 3>;  // x, y, z
using xRealField = std::array<double, 3>;

struct xDipoleGeometry {
    double txHeight = 0.0;  // m above the ground
    double dx = 0.0, dy = 0.0, dz = 0.0;
    xRealField axis{0.0, 0.0, 1.0};  // of the transmitter's moment, a unit vector

    bool operator==(const xDipoleGeometry&) const = default;
};

// The free-space field of the dipole at the receiver.
xRealField PrimaryField(const xDipoleGeometry& geometry);

// The field of the currents induced in the earth (the primary left out), at
// each angular frequency (rad/s).
std::vector<xComplexField> SecondaryFieldFD(const xLayeredEarth& earth,
                                            const xDipoleGeometry& geometry,
                                            const std::vector<double>& omegas);

// After a unit transmitter current is switched off at t = 0: the secondary
// field b(t) and its integral from 0 to t, at each time (s, rising, > 0). Only
// the axes asked for are computed; the others read 0.
struct xStepOff {
    std::vector<double> times;
    std::vector<xRealField> field;     // A/m per A m^2
    std::vector<xRealField> integral;  // A s/m per A m^2
};
xStepOff StepOffResponse(const xLayeredEarth& earth, const xDipoleGeometry& geometry,
                         const std::vector<double>& times,
                         const std::array<bool, 3>& axes = {true, true, true});
