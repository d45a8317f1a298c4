#include "xEMSensorType.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <ostream>
#include <sstream>

#include "xPlatform.h"
#include "xTRClasf.h"

namespace {

// The slot of an axis: x, y, z, and the total direction with z. -1 for none.
int Slot(int axis) {
    if (axis >= AxisX && axis <= AxisZ) return axis - 1;
    if (axis == AxisTotal) return 2;
    return -1;
}

bool IsOneOf(const std::string& name, const std::vector<std::string>& names) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

FloatMatrix Rows(std::initializer_list<std::array<float, 3>> rows) {
    FloatMatrix m(long(rows.size()), 3);
    long r = 0;
    for (const auto& row : rows) {
        for (long c = 0; c < 3; ++c) m[r][c] = row[std::size_t(c)];
        ++r;
    }
    return m;
}

std::string Trimmed(const std::string& text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string::npos) return {};
    const auto last = text.find_last_not_of(" \t");
    return text.substr(first, last - first + 1);
}

void WriteRow(std::ostream& out, float x, float y, float z) {
    out << dsc::Fixed(x, 7) << ' ' << dsc::Fixed(y, 7) << ' ' << dsc::Fixed(z, 7) << '\n';
}

bool ReadRows(xDscReader& in, long count, FloatMatrix& shape) {
    shape = FloatMatrix(count, 3);
    for (long r = 0; r < count; ++r)
        if (!in.Numbers(shape[r][0], shape[r][1], shape[r][2])) return false;
    return true;
}

}  // namespace

const std::vector<std::string>& xEMSensorType::MobilityNames() {
    static const std::vector<std::string> names{Fixed, Moving};
    return names;
}

const std::vector<std::string>& xEMSensorType::KindNames() {
    static const std::vector<std::string> names{Dipole, Loop, Bipole};
    return names;
}

bool xEMSensorType::SetMobility(const std::string& mobility) {
    if (!IsOneOf(mobility, MobilityNames())) return false;
    mobility_ = mobility;
    return true;
}

bool xEMSensorType::SetKind(const std::string& kind) {
    if (!IsOneOf(kind, KindNames())) return false;
    kind_ = kind;
    area_ = 0.0f;
    return true;
}

const FloatMatrix& xEMSensorType::Shape(int axis) const {
    static const FloatMatrix none;
    const int slot = Slot(axis);
    return slot < 0 ? none : shape_[std::size_t(slot)];
}

void xEMSensorType::SetShape(int axis, const FloatMatrix& shape) {
    const int slot = Slot(axis);
    if (slot < 0) return;
    FloatMatrix rows(shape.Rows(), 3);
    const long cols = std::min(shape.Cols(), 3L);
    for (long r = 0; r < shape.Rows(); ++r)
        for (long c = 0; c < cols; ++c) rows[r][c] = shape[shape.RowLow() + r][shape.ColLow() + c];
    shape_[std::size_t(slot)] = rows;
    area_ = 0.0f;
}

std::vector<int> xEMSensorType::UsedAxes() const {
    std::vector<int> axes;
    for (int axis = AxisX; axis <= AxisZ; ++axis)
        if (Uses(axis)) axes.push_back(axis);
    return axes;
}

int xEMSensorType::AddComponent(int axis, float side) {
    const int slot = Slot(axis);
    if (slot < 0) return 0;
    FloatMatrix shape;
    if (IsDipole()) {
        switch (axis) {
            case AxisX:
                shape = Rows({{1, 0, 0}});
                break;
            case AxisY:
                shape = Rows({{0, 1, 0}});
                break;
            case AxisZ:
                shape = Rows({{0, 0, 1}});
                break;
            default:
                shape = Rows({{0.33f, 0.33f, 0.33f}});
                break;
        }
    } else if (IsLoop()) {
        const float h = side / 2;
        switch (axis) {
            case AxisX:
                shape = Rows({{0, h, h}, {0, h, -h}, {0, -h, -h}, {0, -h, h}});
                break;
            case AxisY:
                shape = Rows({{h, 0, h}, {-h, 0, h}, {-h, 0, -h}, {h, 0, -h}});
                break;
            default:
                shape = Rows({{h, h, 0}, {-h, h, 0}, {-h, -h, 0}, {h, -h, 0}});
                break;
        }
    } else {
        if (IsBipole())
            Platform().Warning("xEMSensorType::AddComponent() bipole not supported yet!.");
        return 0;
    }
    shape_[std::size_t(slot)] = shape;
    area_ = 0.0f;
    return 1;
}

float xEMSensorType::GetArea(int axis) const {
    if (axis != AxisZ) return 0.0f;
    if (area_ == 0.0f && IsLoop()) {
        const FloatMatrix& corners = shape_[2];
        const long n = corners.Rows();
        float sum = 0.0f;
        for (long i = 0; i < n; ++i) {
            const long j = (i + 1) % n;
            sum += (corners[j][0] - corners[i][0]) * (corners[j][1] + corners[i][1]);
        }
        area_ = std::fabs(sum / 2);
    }
    return area_;
}

void xEMSensorType::Write(std::ostream& out) const {
    out << mobility_ << ' ' << kind_ << '\n';
    for (int axis : UsedAxes()) {
        const FloatMatrix& shape = Shape(axis);
        out << AxisName(axis) << '\n';
        long rows = shape.Rows();
        if (IsDipole()) rows = 1;
        if (IsBipole()) rows = 2;
        if (IsLoop()) out << std::setw(7) << rows << '\n';
        // A hand-set shape short of the kind's rows is filled with zeros so
        // that the block still reads back.
        for (long r = 0; r < rows; ++r) {
            if (r < shape.Rows())
                WriteRow(out, shape[r][0], shape[r][1], shape[r][2]);
            else
                WriteRow(out, 0, 0, 0);
        }
    }
    out << "XYZ POSITION:\n";
    WriteRow(out, position_[0], position_[1], position_[2]);
}

bool xEMSensorType::Read(xDscReader& in) {
    xEMSensorType read;
    // One token of mobility, the rest of the line the kind; runs of blanks in
    // the kind count as one.
    constexpr const char* kHead = "a sensor such as \"moving dipole\"";
    std::istringstream head(in.Line(kHead));
    std::string mobility, kind, word;
    head >> mobility;
    while (head >> word) kind += (kind.empty() ? "" : " ") + word;
    if (!in.Ok()) return false;
    if (!read.SetMobility(mobility) || !read.SetKind(kind)) {
        in.Fail(kHead);
        return false;
    }
    // Axis names with their rows, until the line that is none: the position label.
    for (;;) {
        std::string line;
        if (!in.Line(line, "an axis name or \"XYZ POSITION:\"")) return false;
        const int axis = AxisFromName(Trimmed(line));
        if (axis == 0) break;
        long count = read.IsBipole() ? 2 : 1;
        if (read.IsLoop()) {
            if (!in.Count(count, 1, MaxCorners)) return false;
        }
        if (!ReadRows(in, count, read.shape_[std::size_t(Slot(axis))])) return false;
    }
    float x = 0, y = 0, z = 0;
    if (!in.Numbers(x, y, z)) return false;
    read.position_ = {x, y, z};
    *this = read;
    return true;
}
