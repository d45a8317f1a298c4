#include "xEMGDesc.h"

#include <cmath>
#include <ostream>

#include "xPlatform.h"
#include "xTRClasf.h"

namespace {

// 4 pi as the field has always been scaled by, in single precision.
constexpr float FourPi = 12.566371f;

}  // namespace

xEMGDesc::xEMGDesc() {
    transmitter.SetKind(xEMSensorType::Loop);
    transmitter.SetMobility(xEMSensorType::Moving);
    FloatMatrix square(4, 3);
    const float corners[4][2] = {{5, 5}, {5, -5}, {-5, -5}, {-5, 5}};
    for (long r = 0; r < 4; ++r) {
        square[r][0] = corners[r][0];
        square[r][1] = corners[r][1];
    }
    transmitter.SetShape(AxisZ, square);
    transmitter.SetPosition(0, 0, 0);

    receiver.SetKind(xEMSensorType::Dipole);
    receiver.SetMobility(xEMSensorType::Moving);
    receiver.AddComponent(AxisZ);
    receiver.SetPosition(-100, 0, -50);
}

bool xEMGDesc::Read(xDscReader& in, long version) {
    xEMGDesc read(*this);
    in.Skip("\"TRANSMITTER GEOMETRY\"");
    if (!read.transmitter.Read(in)) return false;
    in.SkipSeparator();
    in.Skip("\"RECEIVER GEOMETRY\"");
    if (!read.receiver.Read(in)) return false;
    if (!in.SkipSeparator()) return false;

    read.fileVersion = version;
    if (version < CurrentVersion) {
        const std::array<float, 3> separation{read.GetSeparationX(), read.GetSeparationY(),
                                              read.GetSeparationZ()};
        const auto& rx = read.receiver.Position();
        read.receiver.SetPosition(rx[0] - separation[0], rx[1] - separation[1],
                                  rx[2] - separation[2]);
        read.fileVersion = CurrentVersion;
    }
    *this = read;
    return true;
}

void xEMGDesc::Write(std::ostream& out) const {
    out << "TRANSMITTER GEOMETRY\n";
    transmitter.Write(out);
    out << dsc::Separator() << '\n' << "RECEIVER GEOMETRY\n";
    receiver.Write(out);
    out << dsc::Separator() << '\n';
}

int xEMGDesc::GetTxComponent() const {
    const std::vector<int> axes = transmitter.UsedAxes();
    if (axes.size() != 1)
        Platform().Note("ERROR xEMGDesc::GetTxComponent() counter = " +
                        std::to_string(axes.size()));
    return axes.empty() ? AxisZ : axes.back();
}

const std::array<float, 3>& xEMGDesc::GetPosition(Sensor which) const {
    return which == Tx ? transmitter.Position() : receiver.Position();
}

void xEMGDesc::SetPosition(Sensor which, float x, float y, float z) {
    (which == Tx ? transmitter : receiver).SetPosition(x, y, z);
}

float xEMGDesc::GetSeparation(int index) const {
    const float tx = transmitter.Position()[std::size_t(index)];
    const float rx = receiver.Position()[std::size_t(index)];
    if (fileVersion < 8) return rx;  // the receiver held the separation itself
    if (fileVersion == 8) return tx - rx;
    return rx - tx;
}

void xEMGDesc::Rotate(float cos, float sin) {
    for (xEMSensorType* sensor : {&transmitter, &receiver}) {
        const auto& p = sensor->Position();
        sensor->SetPosition(p[0] * cos - p[1] * sin, p[1] * cos + p[0] * sin, p[2]);
    }
}

int xEMGDesc::PrimaryField(int axis, float x, float y, float z, FloatArray& out) const {
    if (out.Length() != 3) out.Resize(0, 2);
    float field[3] = {0, 0, 0};
    int status = 1;
    if (transmitter.IsLoop()) {
        const FloatMatrix& corners = transmitter.Shape(axis);
        if (corners.Rows() == 0)
            status = 0;
        else
            LoopField(corners, x, y, z, field);
    } else if (transmitter.IsDipole()) {
        if (!DipoleField(axis, x, y, z, field)) {
            Platform().Warning("xEMGDesc::DipoleField() Illegal Tx component passed in.");
            status = 0;
        }
    } else {
        Platform().Error("Used Transmitter type is not supported!");
        status = 0;
    }
    for (long k = 0; k < 3; ++k) out[out.Low() + k] = field[k];
    return status;
}

void xEMGDesc::LoopField(const FloatMatrix& corners, float x, float y, float z, float field[3]) {
    field[0] = field[1] = field[2] = 0.0f;
    const long n = corners.Rows();
    const long r0 = corners.RowLow();
    const long c0 = corners.ColLow();
    for (long i = 0; i < n; ++i) {
        const FloatArray& a = corners[r0 + i];
        const FloatArray& b = corners[r0 + (i + 1) % n];
        const float lx = b[c0] - a[c0], ly = b[c0 + 1] - a[c0 + 1], lz = b[c0 + 2] - a[c0 + 2];
        const float ux = x - a[c0], uy = y - a[c0 + 1], uz = z - a[c0 + 2];
        const float vx = x - b[c0], vy = y - b[c0 + 1], vz = z - b[c0 + 2];

        const float l2 = lx * lx + ly * ly + lz * lz + 0.01f;
        const float a2 = ux * ux + uy * uy + uz * uz + 0.01f;
        const float b2 = vx * vx + vy * vy + vz * vz + 0.01f;
        const float ra = std::sqrt(a2);
        const float rb = std::sqrt(b2);
        const float p = lx * ux + ly * uy + lz * uz;
        const float q = lx * vx + ly * vy + lz * vz;

        const float cx = ly * uz - uy * lz;
        const float cy = lz * ux - uz * lx;
        const float cz = lx * uy - ux * ly;
        const float c2 = cx * cx + cy * cy + cz * cz + 0.0001f;
        const float h = c2 / l2;

        float f;
        if (h / b2 + h / a2 > 0.0004f || p * q / (ra * rb * l2) < 0.9f)
            f = q / rb - p / ra;
        else
            // Nearly in line with the segment the difference above cancels to
            // nothing; its leading term in h does not.
            f = (p / (a2 * ra) - q / (b2 * rb)) * h / 2;
        f = f / c2;
        field[0] += f * cx;
        field[1] += f * cy;
        field[2] += f * cz;
    }
    for (int k = 0; k < 3; ++k) field[k] /= FourPi;
}

bool xEMGDesc::DipoleField(int axis, float x, float y, float z, float field[3]) {
    field[0] = field[1] = field[2] = 0.0f;
    if (axis < AxisX || axis > AxisZ) return false;
    const float m[3] = {axis == AxisX ? 1.0f : 0.0f, axis == AxisY ? 1.0f : 0.0f,
                        axis == AxisZ ? 1.0f : 0.0f};
    const float r[3] = {x, y, z};
    const float r2 = x * x + y * y + z * z;
    const float r5 = r2 * r2 * std::sqrt(r2);
    const float mr = m[0] * x + m[1] * y + m[2] * z;
    for (int k = 0; k < 3; ++k) field[k] = (3 * mr * r[k] - m[k] * r2) / r5 / FourPi;
    return true;
}
