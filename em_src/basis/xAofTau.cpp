#include "xAofTau.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <ctime>
#include <iomanip>
#include <istream>
#include <ostream>
#include <sstream>
#include <system_error>
#include <utility>

#include "xPlatform.h"
#include "xReadError.h"
#include "xTRClasf.h"

namespace fs = std::filesystem;

namespace {

const char* const kVersionPrefix = "Version-";
const char* const kTausTitle = "Taus [sec]";
const char* const kWindowsTitle = "Sampling windows";
const char* const kAmplitudesTitle = "Amplitude Coefficients (sampl. windows --->)";
const char* const kPrimaryTitle = "Primary Field Coefficients (sampl. windows --->)";

// A damaged bounds line must not ask for gigabytes before the values run out.
constexpr long kMaxValues = 50'000'000;
// What one row of a matrix costs, in values, whatever its columns.
constexpr long kRowCost = 16;

std::string Quoted(const std::string& text) {
    return "\"" + text + "\"";
}

std::string Trimmed(const std::string& text) {
    const auto first = text.find_first_not_of(" \t\r\n");
    if (first == std::string::npos) return "";
    const auto last = text.find_last_not_of(" \t\r\n");
    return text.substr(first, last - first + 1);
}

}  // namespace

// The text's lines, counted; the first read that fails says where and why.
class xAotReader {
  public:
    xAotReader(std::istream& in, fs::path file) : in_(in), file_(std::move(file)) {}

    // One line without its end; a file written elsewhere may end lines in CR LF.
    bool Line(std::string& line, const std::string& expected) {
        if (!where_.empty()) return false;
        if (!std::getline(in_, line)) {
            where_ =
                AtLine(file_, line_ + 1, "expected " + expected + ", found the end of the file");
            return false;
        }
        ++line_;
        if (!line.empty() && line.back() == '\r') line.pop_back();
        return true;
    }
    bool Skip(const std::string& expected) {
        std::string line;
        return Line(line, expected);
    }
    // A line where the text may as well end: false at its end, and no fault.
    bool Next(std::string& line) {
        if (!where_.empty() || in_.peek() == std::char_traits<char>::eof()) return false;
        return Line(line, "another line");
    }
    // The line last read is not what was expected.
    bool Fail(const std::string& expected, const std::string& found) {
        if (where_.empty()) where_ = AtLine(file_, line_, ExpectedFound(expected, found));
        return false;
    }
    const std::string& Where() const { return where_; }
    std::istream& Stream() { return in_; }

  private:
    std::istream& in_;
    fs::path file_;
    long line_ = 0;
    std::string where_;
};

namespace {

// count numbers from whole lines, at least one line: a form's values end with
// their line, even when there are none.
bool ReadValues(xAotReader& in, long count, float* values) {
    long done = 0;
    std::string line;
    do {
        if (!in.Line(line, "more values")) return false;
        std::istringstream fields(line);
        // Through double: the text has a double's digits, and a tiny value
        // must come back as a denormal, not a range error.
        double value;
        while (done < count && fields >> value) {
            // Beyond a float the value would be written back as "inf", which
            // no reader takes.
            if (!std::isfinite(float(value))) return in.Fail("numbers a float can hold", line);
            values[done++] = float(value);
        }
        if (!fields && !fields.eof()) return in.Fail("numbers", line);
    } while (done < count);
    return true;
}

bool ReadBounds(xAotReader& in, long* bounds, int n) {
    const std::string expected = std::to_string(n) + " bounds";
    std::string line;
    if (!in.Line(line, expected)) return false;
    std::istringstream fields(line);
    for (int i = 0; i < n; ++i)
        if (!(fields >> bounds[i])) return in.Fail(expected, line);
    // The writer gives a bound ten columns: a wider one would run into the
    // next and the file would not read back.
    for (int i = 0; i < n; ++i)
        if (std::labs(bounds[i]) > kMaxValues)
            return in.Fail(expected + " from -" + std::to_string(kMaxValues) + " to " +
                               std::to_string(kMaxValues),
                           line);
    return true;
}

bool TooMany(xAotReader& in, long count) {
    return in.Fail("bounds of at most " + std::to_string(kMaxValues) + " values",
                   std::to_string(count) + " values");
}

bool ReadArrayForm(xAotReader& in, FloatArray& array) {
    long bounds[2];
    if (!ReadBounds(in, bounds, 2)) return false;
    if (bounds[1] - bounds[0] + 1 > kMaxValues) return TooMany(in, bounds[1] - bounds[0] + 1);
    array.Resize(bounds[0], bounds[1]);
    return ReadValues(in, array.Length(), array.Data());
}

bool ReadMatrixForm(xAotReader& in, FloatMatrix& matrix) {
    long bounds[4];
    if (!ReadBounds(in, bounds, 4)) return false;
    const long rows = std::max(0L, bounds[1] - bounds[0] + 1);
    const long cols = std::max(0L, bounds[3] - bounds[2] + 1);
    if (rows > kMaxValues || cols > kMaxValues || rows * cols > kMaxValues)
        return TooMany(in,
                       rows > kMaxValues || cols > kMaxValues ? std::max(rows, cols) : rows * cols);
    // Each row costs its own array, values or not.
    if (rows > kMaxValues / kRowCost)
        return in.Fail("at most " + std::to_string(kMaxValues / kRowCost) + " rows",
                       std::to_string(rows) + " rows");
    matrix.Resize(bounds[0], bounds[1], bounds[2], bounds[3]);
    for (long r = 0; r < rows; ++r)
        if (!ReadValues(in, cols, matrix.Data() + r * cols)) return false;
    return true;
}

std::string Span(long low, long high) {
    return std::to_string(low) + ".." + std::to_string(high);
}

// A component's parts must agree before a fit indexes them: amplitudes of
// every tau (rows from 1) at one or more channels (columns from 1), and a
// primary field from 1 of no more values than channels (a frequency system
// has one a frequency).
bool ShapesAgree(xAotReader& in, const FloatArray& taus, const FloatMatrix& amplitudes,
                 const FloatArray& primary) {
    const bool agree =
        amplitudes.RowLow() == 1 && amplitudes.Rows() == taus.Length() &&
        amplitudes.ColLow() == 1 && amplitudes.Cols() >= 1 &&
        (primary.Length() == 0 || (primary.Low() == 1 && primary.Length() <= amplitudes.Cols()));
    if (agree) return true;
    return in.Fail("amplitudes " + Span(1, taus.Length()) +
                       " x 1..n (the taus by one or more channels) and a primary field within 1..n",
                   Span(amplitudes.RowLow(), amplitudes.RowHigh()) + " x " +
                       Span(amplitudes.ColLow(), amplitudes.ColHigh()) + " and " +
                       Span(primary.Low(), primary.High()));
}

void WriteMatrixForm(std::ostream& out, const FloatMatrix& matrix) {
    out << std::setw(10) << matrix.RowLow() << std::setw(10) << matrix.RowHigh() << std::setw(10)
        << matrix.ColLow() << std::setw(10) << matrix.ColHigh() << '\n';
    const float* values = matrix.Data();
    for (long r = 0; r < matrix.Rows(); ++r) {
        for (long c = 0; c < matrix.Cols(); ++c) out << std::setw(20) << *values++;
        out << '\n';
    }
}

std::int32_t ApproximationFromName(const std::string& name) {
    if (name == "ThinSheet") return ApproximationThinSheet;
    if (name == "HalfSpace") return ApproximationHalfSpace;
    return ApproximationExponent;
}

// The digits behind the prefix as one number; -1 when there are none or too
// many to be a version at all.
int VersionNumber(const std::string& line) {
    const std::size_t from = std::string(kVersionPrefix).size();
    const char* first = line.data() + from;
    const char* last = line.data() + line.size();
    int version = -1;
    const auto [end, error] = std::from_chars(first, last, version);
    if (error != std::errc() || end == first) return -1;
    return version;
}

template <class T>
const T* Find(const std::map<long, T>& parts, long component) {
    const auto it = parts.find(component);
    return it == parts.end() ? nullptr : &it->second;
}

}  // namespace

std::string ApproximationName(std::int32_t approximation) {
    switch (approximation) {
        case ApproximationThinSheet:
            return "ThinSheet";
        case ApproximationHalfSpace:
            return "HalfSpace";
        default:
            return "Exponent";
    }
}

std::string DescriptorDateStamp(const fs::path& descriptorFile) {
    std::error_code ec;
    const auto written = fs::last_write_time(descriptorFile, ec);
    if (ec) return "";
    const auto system = std::chrono::time_point_cast<std::chrono::system_clock::duration>(
        std::chrono::file_clock::to_sys(written));
    const std::time_t seconds = std::chrono::system_clock::to_time_t(system);
    std::tm utc{};
    if (!gmtime_r(&seconds, &utc)) return "";
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &utc);
    return text;
}

xAofTau::xAofTau() {
    SetBinary(false);
    SetType("AOT");
}

xAofTau::xAofTau(const fs::path& path) : xAofTau() {
    SetPath(path);
}

void xAofTau::SetWindows(long component, const FloatMatrix& windows) {
    windows_.insert_or_assign(component, windows);
}

void xAofTau::SetAmplitudes(long component, const FloatMatrix& amplitudes) {
    amplitudes_.insert_or_assign(component, amplitudes);
}

void xAofTau::SetPrimary(long component, const FloatArray& primary) {
    primary_.insert_or_assign(component, FloatArray(primary));
}

const FloatMatrix* xAofTau::Windows(long component) const {
    return Find(windows_, component);
}
const FloatMatrix* xAofTau::Amplitudes(long component) const {
    return Find(amplitudes_, component);
}
const FloatArray* xAofTau::Primary(long component) const {
    return Find(primary_, component);
}
FloatMatrix* xAofTau::Windows(long component) {
    return const_cast<FloatMatrix*>(std::as_const(*this).Windows(component));
}
FloatMatrix* xAofTau::Amplitudes(long component) {
    return const_cast<FloatMatrix*>(std::as_const(*this).Amplitudes(component));
}
FloatArray* xAofTau::Primary(long component) {
    return const_cast<FloatArray*>(std::as_const(*this).Primary(component));
}

std::vector<long> xAofTau::Components() const {
    std::vector<long> ids;
    // Only the named components: a file names each one it carries.
    for (long id = FirstComponent; id <= LastComponent; ++id)
        if (Windows(id) && Amplitudes(id) && Primary(id)) ids.push_back(id);
    return ids;
}

void xAofTau::CopyFrom(const xAofTau& source) {
    if (&source == this) return;
    descriptorName_ = source.descriptorName_;
    descriptorDate_ = source.descriptorDate_;
    approximation_ = source.approximation_;
    taus_ = source.taus_;
    windows_ = source.windows_;
    amplitudes_ = source.amplitudes_;
    primary_.clear();
    for (const auto& [id, primary] : source.primary_) SetPrimary(id, primary);
    versionRead_ = source.versionRead_;
    dateRead_ = source.dateRead_;
}

void xAofTau::Clear() {
    descriptorName_.clear();
    descriptorDate_.clear();
    approximation_ = ApproximationExponent;
    taus_.Resize(1, 0);
    windows_.clear();
    amplitudes_.clear();
    primary_.clear();
    versionRead_ = 0;
    dateRead_ = false;
}

bool xAofTau::WriteText(std::ostream& out) const {
    out << kVersionPrefix << CurrentVersion << '\n'
        << descriptorName_ << '\n'
        << descriptorDate_ << '\n'
        << ApproximationName(approximation_) << '\n'
        << kTausTitle << '\n';
    taus_.WriteAscii(out, true);
    for (long id : Components()) {
        out << ComponentName(id) << '\n' << kWindowsTitle << '\n';
        WriteMatrixForm(out, *Windows(id));
        out << kAmplitudesTitle << '\n';
        WriteMatrixForm(out, *Amplitudes(id));
        out << kPrimaryTitle << '\n';
        Primary(id)->WriteAscii(out, true);
    }
    return bool(out);
}

int xAofTau::ReadText(std::istream& stream) {
    where_.clear();
    xAotReader in(stream, Path());
    const auto start = stream.tellg();
    std::string first;
    if (!in.Line(first, "the version line or the sampling windows")) {
        Clear();
        where_ = in.Where();
        return 0;
    }
    if (first.rfind(kVersionPrefix, 0) != 0) {
        // The oldest files carry no header: the first line already belongs to
        // the windows.
        stream.clear();
        stream.seekg(start);
        Clear();
        xAotReader again(stream, Path());
        return Finish(again, ReadWholeSystem(again, false));
    }
    const int version = VersionNumber(first);
    if (version < 1 || version > CurrentVersion) {
        Platform().Error(
            "xAofTau::Read() Attempt to read unsupported version of .AOT file. File name <" +
            Path().string() + ">, aVersion.");
        return 0;
    }
    Clear();
    return Finish(in, ReadVersioned(in, version));
}

int xAofTau::Finish(const xAotReader& in, int result) {
    where_ = result ? std::string() : in.Where();
    return result;
}

int xAofTau::ReadVersioned(xAotReader& in, int version) {
    versionRead_ = version;
    std::string line;
    if (!in.Line(descriptorName_, "the descriptor's name")) return 0;
    if (version == 1) return ReadWholeSystem(in, true);
    if (!in.Line(descriptorDate_, "the descriptor's date")) return 0;
    dateRead_ = true;
    if (version >= 3) {
        if (!in.Line(line, "the approximation")) return 0;
        approximation_ = ApproximationFromName(Trimmed(line));
    }
    if (!in.Skip(Quoted(kTausTitle)) || !ReadArrayForm(in, taus_)) return 0;
    return ReadComponents(in);
}

// The files from before the components were told apart hold one basis that
// stands for every component.
int xAofTau::ReadWholeSystem(xAotReader& in, bool freeLineFirst) {
    FloatMatrix windows, amplitudes;
    FloatArray primary;
    const bool ok = (!freeLineFirst || in.Skip(Quoted(kWindowsTitle))) &&
                    ReadMatrixForm(in, windows) && in.Skip(Quoted(kTausTitle)) &&
                    ReadArrayForm(in, taus_) && in.Skip(Quoted(kAmplitudesTitle)) &&
                    ReadMatrixForm(in, amplitudes) && in.Skip(Quoted(kPrimaryTitle)) &&
                    ReadArrayForm(in, primary) && ShapesAgree(in, taus_, amplitudes, primary);
    if (!ok) return 0;
    for (long id = FirstComponent; id <= LastComponent; ++id) {
        SetWindows(id, windows);
        SetAmplitudes(id, amplitudes);
        SetPrimary(id, primary);
    }
    return 1;
}

int xAofTau::ReadComponents(xAotReader& in) {
    std::string line;
    while (in.Next(line)) {
        const long id = ComponentId(Trimmed(line));
        if (id == UndefinedComponent) break;
        FloatMatrix windows, amplitudes;
        FloatArray primary;
        const bool ok = in.Skip(Quoted(kWindowsTitle)) && ReadMatrixForm(in, windows) &&
                        in.Skip(Quoted(kAmplitudesTitle)) && ReadMatrixForm(in, amplitudes) &&
                        in.Skip(Quoted(kPrimaryTitle)) && ReadArrayForm(in, primary) &&
                        ShapesAgree(in, taus_, amplitudes, primary);
        if (!ok) {
            // Half a basis would fit the records to the wrong functions.
            windows_.clear();
            amplitudes_.clear();
            primary_.clear();
            return 0;
        }
        SetWindows(id, windows);
        SetAmplitudes(id, amplitudes);
        SetPrimary(id, primary);
    }
    return 1;
}

int xAofTau::Write() {
    if (Create() != 1) return 0;
    WriteText(Stream());
    return Commit();
}

int xAofTau::Read() {
    if (Open() != 1) return 0;
    const int result = ReadText(Stream());
    Close();
    return result;
}

bool xAofTau::CheckDescriptor(const std::string& selectedName,
                              const std::string& selectedDate) const {
    if (versionRead_ < 1) return true;
    const std::string file = Path().string();
    if (descriptorName_ != selectedName) {
        Platform().Warning("File <" + file + "> was created using descriptor file <" +
                           descriptorName_ + ">. The presently selected descriptor file is <" +
                           selectedName + ">. Your fate is in your hands.");
        return false;
    }
    if (dateRead_ && descriptorDate_ != selectedDate) {
        Platform().Warning("Descriptor file <" + descriptorName_ +
                           "> has been modified since initiallly used to create Wave Basis "
                           "oputput file <" +
                           file + ">. Select OK to continue.");
        return false;
    }
    return true;
}

xNormalizedAofTau::xNormalizedAofTau() : primaryFactors_(FirstComponent, LastComponent) {
    primaryFactors_ += 1.0f;
}

void xNormalizedAofTau::NormalizeBasisFunctions(int mode) {
    norms_.clear();
    primaryFactors_ = FloatArray(FirstComponent, LastComponent);
    primaryFactors_ += 1.0f;
    if (mode == ByPrimaryField)
        Platform().Note(
            "xNormalizedAofTau::NormalizeBasisFunctions() : AofTau matrix is already normalized "
            "by Primary Field");
    for (long id = FirstComponent; id <= LastComponent; ++id) {
        FloatMatrix* matrix = Amplitudes(id);
        if (!matrix || matrix->Rows() == 0 || matrix->Cols() == 0) continue;
        FloatArray* primary = Primary(id);
        if (primary && primary->Length() == 0) primary = nullptr;
        FloatArray norm(matrix->RowLow(), matrix->RowHigh());
        switch (mode) {
            case ByGlobalMax:
            case ByGlobalMaxUnsigned: {
                const float scale = std::max(std::fabs(matrix->Max()), std::fabs(matrix->Min()));
                norm += scale;
                *matrix /= scale;
                if (primary) {
                    const float factor =
                        std::max(std::fabs(primary->Max()), std::fabs(primary->Min()));
                    primaryFactors_[id] = factor;
                    *primary /= factor;
                }
                break;
            }
            case ByEarliestChannel: {
                float sum = 0.0f;
                for (long r = matrix->RowLow(); r <= matrix->RowHigh(); ++r) {
                    const float v = (*matrix)[r][matrix->ColLow()];
                    norm[r] = std::fabs(v);
                    sum += v;
                }
                const float sign = sum > 0.0f ? 1.0f : -1.0f;
                // The sign goes over the whole array once per row, so with a
                // negative sum it alternates down the rows. The fits made with
                // this basis depend on it; leave it so.
                for (long r = matrix->RowLow(); r <= matrix->RowHigh(); ++r) {
                    norm *= sign;
                    (*matrix)[r] /= norm[r];
                }
                if (primary) {
                    const float factor = (*primary)[primary->Low()];
                    primaryFactors_[id] = factor;
                    *primary /= factor;
                }
                break;
            }
            case ByPrimaryField:
                norm += 1.0f;
                break;
            default:
                continue;
        }
        norms_.insert_or_assign(id, std::move(norm));
    }
}

float xNormalizedAofTau::PrimaryFactor(long component) const {
    return primaryFactors_.InRange(component) ? primaryFactors_[component] : 1.0f;
}

float xNormalizedAofTau::Norm(long component, long tau) const {
    const auto it = norms_.find(component);
    if (it == norms_.end() || !it->second.InRange(tau)) return 1.0f;
    return it->second[tau];
}

const FloatArray* xNormalizedAofTau::Norms(long component) const {
    const auto it = norms_.find(component);
    return it == norms_.end() ? nullptr : &it->second;
}
