#include "xIniFile.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <locale>
#include <sstream>

#include "xParamFields.h"
#include "xPendingFile.h"
#include "xPlatform.h"
#include "xReadError.h"

namespace {

const char* const kEditorKey = "Name=";
const char* const kColorKey = "Unresolved Color(WHITE,BLUE,GRAY,GREEN,LTGRAY)=";
const char* const kExtensionKey = "Default filename extension for CDI ASCII file (DOC)=";
const char* const kInspectKey = "Inspect input for correct amplitudes scale (Yes,No)=";
const char* const kDeviationKey = "Acceptable amplitude scale deviation level=";
const char* const kFamilyKey = "Font Family(SYSTEM,COURIER,HELVETICA,TIMES)=";
const char* const kStyleKey = "Font Style(NONE,BOLD,ITALIC)=";
const char* const kSizeKey = "Font Size=";
const char* const kOrderKey =
    "Lines Order(LINE_LOCATION_FROM_ORIGIN,DECREASING_LINE_NUMBER,INCREASING_LINE_NUMBER,"
    "INCREASING_OFFSET)=";
const char* const kThinSheetKey = "ThinSheet(TxRx,..,TzRz)=";
const char* const kHalfSpaceKey = "HalfSpace(TxRx,..,TzRz)=";
const char* const kExtraTausKey = "Number_of_extra_taus=";
const char* const kTitleKey = "Title=";
const char* const kCommandKey = "Command=";

// Factor arrays run over the component ids TxRx..TzRz.
constexpr long kFirstFactor = 101;
constexpr long kLastFactor = 109;

const std::string kIncorrect = "WARNING: Initialization file is incorrect in ";

xIniFile* gIniFile = nullptr;

std::string Strip(const std::string& line) {
    const char* blanks = " \t\r\n\f\v";
    std::string::size_type first = line.find_first_not_of(blanks);
    if (first == std::string::npos) return {};
    return line.substr(first, line.find_last_not_of(blanks) - first + 1);
}

// The index of an exact name, or -1.
template <std::size_t N>
int IndexOf(const std::array<const char*, N>& names, const std::string& value) {
    for (std::size_t i = 0; i < N; ++i)
        if (value == names[i]) return static_cast<int>(i);
    return -1;
}

// A leading number; the target is left alone when there is none.
template <class T>
bool ParseNumber(const std::string& text, T& target) {
    std::istringstream in(text);
    in.imbue(std::locale::classic());
    T value{};
    if (!(in >> value)) return false;
    target = value;
    return true;
}

// Nine blank-separated factors, all or nothing.
bool ParseFactors(const std::string& text, FloatArray& factors) {
    std::istringstream in(text);
    in.imbue(std::locale::classic());
    FloatArray values(kFirstFactor, kLastFactor);
    for (long id = kFirstFactor; id <= kLastFactor; ++id)
        if (!(in >> values[id])) return false;
    factors = values;
    return true;
}

std::string Upper(std::string text) {
    for (char& c : text) c = char(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

// A name of the list in any case into an enumeration.
template <class Enum, std::size_t N>
bool SetByName(const std::array<const char*, N>& names, const std::string& value, Enum& target) {
    const int i = IndexOf(names, Upper(value));
    if (i < 0) return false;
    target = Enum(i);
    return true;
}

bool SetWhole(const std::string& value, long low, long high, int& target) {
    long number = 0;
    if (!ParseLong(value, number) || number < low || number > high) return false;
    target = int(number);
    return true;
}

// Exactly nine numbers, blank- or comma-separated.
bool SetFactors(std::string value, FloatArray& factors) {
    std::replace(value.begin(), value.end(), ',', ' ');
    std::istringstream in(value);
    FloatArray values(kFirstFactor, kLastFactor);
    std::string item;
    for (long id = kFirstFactor; id <= kLastFactor; ++id) {
        double number = 0.0;
        if (!(in >> item) || !ParseDouble(item, number)) return false;
        values[id] = float(number);
    }
    if (in >> item) return false;
    factors = values;
    return true;
}

template <std::size_t N>
std::string OneOf(const std::array<const char*, N>& names) {
    std::string text = "one of ";
    for (std::size_t i = 0; i < N; ++i) text += (i ? ", " : "") + std::string(names[i]);
    return text;
}

// What config set may change, in the file's order. The recent projects are
// kept by the program itself.
struct SettableField {
    const char* name;
    std::string wants;
    bool (*set)(xIniFile& ini, const std::string& value);
};

const std::vector<SettableField>& SettableFields() {
    using Ini = xIniFile;
    static const std::vector<SettableField> fields{
        {"EditorName", "a program",
         [](Ini& ini, const std::string& v) {
             if (v.empty()) return false;
             ini.GetEditorName() = v;
             return true;
         }},
        {"UnresolvedColor", OneOf(Ini::ColorNames()),
         [](Ini& ini, const std::string& v) {
             return SetByName(Ini::ColorNames(), v, ini.GetUnresolvedColor());
         }},
        {"CdiAsciiExtension", "an extension without its dot",
         [](Ini& ini, const std::string& v) {
             if (v.empty() || v.find_first_of(". /") != std::string::npos) return false;
             ini.GetCdiAsciiExtension() = v;
             return true;
         }},
        {"InspectAmplitudes", "Yes or No",
         [](Ini& ini, const std::string& v) {
             const std::string answer = Upper(v);
             if (answer != "YES" && answer != "NO") return false;
             ini.GetInspectAmplitudes() = answer == "YES";
             return true;
         }},
        {"AmplitudeDeviation", "a number above 0",
         [](Ini& ini, const std::string& v) {
             double level = 0.0;
             if (!ParseDouble(v, level) || !(level > 0.0)) return false;
             ini.GetAmplitudeDeviation() = level;
             return true;
         }},
        {"FontFamily", OneOf(Ini::FontFamilyNames()),
         [](Ini& ini, const std::string& v) {
             return SetByName(Ini::FontFamilyNames(), v, ini.GetFontFamily());
         }},
        {"FontStyle", OneOf(Ini::FontStyleNames()),
         [](Ini& ini, const std::string& v) {
             return SetByName(Ini::FontStyleNames(), v, ini.GetFontStyle());
         }},
        {"FontSize", "a whole number from 1 to 200",
         [](Ini& ini, const std::string& v) { return SetWhole(v, 1, 200, ini.GetFontSize()); }},
        {"LinesOrder", OneOf(Ini::LinesOrderNames()),
         [](Ini& ini, const std::string& v) {
             return SetByName(Ini::LinesOrderNames(), v, ini.GetLinesOrder());
         }},
        {"ThinSheetFactors", "nine numbers, TxRx to TzRz",
         [](Ini& ini, const std::string& v) { return SetFactors(v, ini.GetThinSheetFactors()); }},
        {"HalfSpaceFactors", "nine numbers, TxRx to TzRz",
         [](Ini& ini, const std::string& v) { return SetFactors(v, ini.GetHalfSpaceFactors()); }},
        // Each extra tau multiplies the fine grid the basis is built on.
        {"ExtraTaus", "a whole number from 0 to 20",
         [](Ini& ini, const std::string& v) { return SetWhole(v, 0, 20, ini.GetExtraTaus()); }},
        {"DynamicTitle", "any text",
         [](Ini& ini, const std::string& v) {
             ini.GetDynamicTitle() = v;
             return true;
         }},
        {"DynamicCommand", "any text",
         [](Ini& ini, const std::string& v) {
             ini.GetDynamicCommand() = v;
             return true;
         }},
    };
    return fields;
}

FloatArray Factors(float tzrx, float tzrz) {
    FloatArray factors(kFirstFactor, kLastFactor);
    factors[107] = tzrx;
    factors[109] = tzrz;
    return factors;
}

}  // namespace

// The file's lines and a read position. Sections are searched forward only;
// a key that is not where it should be sends the position back to the line
// that was tried, so that the next section's search still sees it.
// Every warning names the line where the reader looked, on its last line.
class xIniFile::Reader {
  public:
    Reader(std::istream& in, std::filesystem::path file) : file_(std::move(file)) {
        std::string line;
        while (std::getline(in, line)) lines_.push_back(line);
    }

    // A section that is not found further on keeps its defaults; the next
    // search starts where this one did.
    bool FindSection(const std::string& section) {
        std::size_t start = next_;
        while (next_ < lines_.size())
            if (Strip(lines_[next_++]) == section) return true;
        Platform().Warning(kIncorrect + section + ".\n" +
                           AtLine(file_, long(start) + 1,
                                  "expected the line \"" + section +
                                      "\" here or further on, found the end of the file"));
        next_ = start;
        return false;
    }

    // The system's warning, and where the line it names should have been.
    void Incorrect(const std::string& what, const std::string& expected) {
        const std::size_t line = next_ > mark_ ? next_ : mark_ + 1;
        const std::string found = next_ > mark_ ? Strip(lines_[next_ - 1]) : std::string();
        Platform().Warning(kIncorrect + what + ".\n" +
                           AtLine(file_, long(line), ExpectedFound(expected, found)));
    }

    // Up to ten lines for a non-empty one; empty when there is none.
    std::string NextLine() {
        mark_ = next_;
        for (int tries = 0; tries < 10 && next_ < lines_.size(); ++tries) {
            std::string line = Strip(lines_[next_++]);
            if (!line.empty()) return line;
        }
        return {};
    }

    void Back() { next_ = mark_; }

    // The value after a key that starts the next line. Without the key: the
    // warning, and the position goes back.
    bool Key(const char* key, const std::string& where, std::string& value) {
        std::string line = NextLine();
        std::string expected = key;
        if (line.compare(0, expected.size(), expected) != 0) {
            Incorrect(where + "\n" + expected, "\"" + expected + "\"");
            Back();
            return false;
        }
        value = line.substr(expected.size());
        return true;
    }

  private:
    std::filesystem::path file_;
    std::vector<std::string> lines_;
    std::size_t next_ = 0;
    std::size_t mark_ = 0;
};

xIniFile::xIniFile(std::filesystem::path startupDirectory, Launcher launcher, Saving saving)
    : directory_(std::move(startupDirectory)),
      launcher_(std::move(launcher)),
      saving_(saving),
      thinSheetFactors_(Factors(4.0f, 3.0f)),
      halfSpaceFactors_(Factors(2.5f, 1.5f)) {
    Read();
}

xIniFile::~xIniFile() {
    if (gIniFile == this) gIniFile = nullptr;
    if (saving_ != Saving::AtEnd) return;
    try {
        Write();
    } catch (...) {
        // Nothing at the end of the run may stop it.
    }
}

const std::array<const char*, 5>& xIniFile::ColorNames() {
    static const std::array<const char*, 5> names{"WHITE", "BLUE", "GRAY", "GREEN", "LTGRAY"};
    return names;
}

const std::array<const char*, 4>& xIniFile::FontFamilyNames() {
    static const std::array<const char*, 4> names{"SYSTEM", "COURIER", "HELVETICA", "TIMES"};
    return names;
}

const std::array<const char*, 3>& xIniFile::FontStyleNames() {
    static const std::array<const char*, 3> names{"NONE", "BOLD", "ITALIC"};
    return names;
}

const std::array<const char*, 4>& xIniFile::LinesOrderNames() {
    static const std::array<const char*, 4> names{"LINE_LOCATION_FROM_ORIGIN",
                                                  "DECREASING_LINE_NUMBER",
                                                  "INCREASING_LINE_NUMBER", "INCREASING_OFFSET"};
    return names;
}

void xIniFile::Read() {
    std::error_code error;
    if (!std::filesystem::exists(Path(), error)) return;
    std::ifstream file(Path());
    if (!file || std::filesystem::is_directory(Path(), error)) {
        Platform().Warning(Path().string() +
                           ": cannot be read; the configuration's defaults hold.");
        return;
    }
    Reader in(file, Path());
    ReadEditor(in);
    ReadProjects(in);
    ReadCdi(in);
    ReadSystem(in);
    ReadApprox(in);
    ReadDynamicControls(in);
}

void xIniFile::ReadEditor(Reader& in) {
    const std::string section = "[EDITOR]";
    std::string value;
    if (in.FindSection(section) && in.Key(kEditorKey, section, value)) editorName_ = value;
}

void xIniFile::ReadProjects(Reader& in) {
    if (!in.FindSection("[PROJECTS]")) return;
    for (;;) {
        std::string line = in.NextLine();
        // The next section is left for its own search.
        if (line.empty() || line[0] == '[') {
            in.Back();
            return;
        }
        bool numbered = line.size() >= 9 && line.compare(0, 7, "Project") == 0 && line[7] >= '1' &&
                        line[7] <= '9' && line[8] == '=';
        if (!numbered) {
            in.Incorrect("[PROJECTS]\nProject#=", "\"Project<1 to 9>=\"");
            in.Back();
            return;
        }
        recentProjects_.push_back(line.substr(9));
    }
}

void xIniFile::ReadCdi(Reader& in) {
    const std::string section = "[CDI]";
    if (!in.FindSection(section)) return;
    std::string value;
    if (!in.Key(kColorKey, section, value)) return;
    // Any name the list does not know is BLUE.
    unresolvedColor_ = Color::Blue;
    if (value == "WHITE") unresolvedColor_ = Color::White;
    if (value == "GRAY") unresolvedColor_ = Color::Gray;
    if (value == "LTGRAY") unresolvedColor_ = Color::LtGray;
    if (value == "GREEN") unresolvedColor_ = Color::Green;

    if (!in.Key(kExtensionKey, section, value)) return;
    cdiAsciiExtension_ = value;

    if (!in.Key(kInspectKey, section, value)) return;
    if (value == "Yes") inspectAmplitudes_ = true;
    if (value == "No") inspectAmplitudes_ = false;

    if (!in.Key(kDeviationKey, section, value)) return;
    if (!ParseNumber(value, amplitudeDeviation_))
        in.Incorrect(section + "\n" + kDeviationKey, "a number after the key");
}

void xIniFile::ReadSystem(Reader& in) {
    if (!in.FindSection("[SYSTEM]")) return;
    // The fonts' and the order's messages name their own groups, not the section.
    const std::string fonts = "[Font]";
    std::string value;
    if (!in.Key(kFamilyKey, fonts, value)) return;
    if (int i = IndexOf(FontFamilyNames(), value); i >= 0) fontFamily_ = FontFamily(i);

    if (!in.Key(kStyleKey, fonts, value)) return;
    if (int i = IndexOf(FontStyleNames(), value); i >= 0) fontStyle_ = FontStyle(i);

    if (!in.Key(kSizeKey, fonts, value)) return;
    if (!ParseNumber(value, fontSize_))
        in.Incorrect(fonts + "\n" + kSizeKey, "a number after the key");

    if (!in.Key(kOrderKey, "[Line Order]", value)) return;
    if (int i = IndexOf(LinesOrderNames(), value); i >= 0) linesOrder_ = i;
}

void xIniFile::ReadApprox(Reader& in) {
    const std::string section = "[APPROX]";
    if (!in.FindSection(section)) return;
    std::string value;
    const std::string factors = "nine numbers after the key";
    if (!in.Key(kThinSheetKey, section, value)) return;
    if (!ParseFactors(value, thinSheetFactors_))
        in.Incorrect(section + "\n" + kThinSheetKey, factors);
    if (!in.Key(kHalfSpaceKey, section, value)) return;
    if (!ParseFactors(value, halfSpaceFactors_))
        in.Incorrect(section + "\n" + kHalfSpaceKey, factors);
    if (!in.Key(kExtraTausKey, section, value)) return;
    int extra = 0;
    if (ParseNumber(value, extra) && extra >= 0)
        extraTaus_ = extra;
    else
        in.Incorrect(section + "\n" + kExtraTausKey, "a whole number of 0 or more");
}

void xIniFile::ReadDynamicControls(Reader& in) {
    const std::string section = "[DYNAMIC CONTROLS]";
    if (!in.FindSection(section)) return;
    std::string value;
    if (!in.Key(kTitleKey, section, value)) return;
    dynamicTitle_ = value;
    if (!in.Key(kCommandKey, section, value)) return;
    dynamicCommand_ = value;
}

std::string xIniFile::Text() const {
    std::ostringstream out;
    out.imbue(std::locale::classic());
    auto name = [](const auto& names, auto value) {
        std::size_t i = static_cast<std::size_t>(value);
        return i < names.size() ? names[i] : names[0];
    };
    auto factors = [&out](const FloatArray& values) {
        for (long id = values.Low(); id <= values.High(); ++id)
            out << (id == values.Low() ? "" : " ") << values[id];
    };

    out << "[EDITOR]\n" << kEditorKey << editorName_ << "\n\n";

    out << "[PROJECTS]\n";
    // A tenth entry would not read back as "Project<digit>=".
    for (std::size_t i = 0; i < recentProjects_.size() && i < 9; ++i)
        out << "Project" << i + 1 << "=" << recentProjects_[i] << "\n";
    out << "\n";

    out << "[CDI]\n"
        << kColorKey << name(ColorNames(), unresolvedColor_) << "\n"
        << kExtensionKey << cdiAsciiExtension_ << "\n"
        << kInspectKey << (inspectAmplitudes_ ? "Yes" : "No") << "\n"
        << kDeviationKey << amplitudeDeviation_ << "\n\n";

    out << "[SYSTEM]\n"
        << kFamilyKey << name(FontFamilyNames(), fontFamily_) << "\n"
        << kStyleKey << name(FontStyleNames(), fontStyle_) << "\n"
        << kSizeKey << fontSize_ << "\n"
        << kOrderKey << name(LinesOrderNames(), linesOrder_) << "\n\n";

    out << "[APPROX]\n" << kThinSheetKey;
    factors(thinSheetFactors_);
    out << "\n" << kHalfSpaceKey;
    factors(halfSpaceFactors_);
    out << "\n" << kExtraTausKey << extraTaus_ << "\n\n";

    out << "[DYNAMIC CONTROLS]\n"
        << kTitleKey << dynamicTitle_ << "\n"
        << kCommandKey << dynamicCommand_ << "\n\n";
    return out.str();
}

bool xIniFile::Write() const {
    xOutputFile file;
    if (!file.Open(Path())) return false;
    file.Stream() << Text();
    return file.Commit();
}

std::filesystem::path xIniFile::Locate(const std::filesystem::path& projectDirectory,
                                       const std::filesystem::path& userDirectory) {
    std::error_code error;
    return std::filesystem::exists(projectDirectory / FileName, error) ? projectDirectory
                                                                       : userDirectory;
}

bool xIniFile::Set(const std::string& field, const std::string& value, std::string& why) {
    for (const auto& settable : SettableFields()) {
        if (Upper(field) != Upper(settable.name)) continue;
        if (settable.set(*this, value)) return true;
        why = std::string(settable.name) + " wants " + settable.wants + ", not \"" + value + "\".";
        return false;
    }
    std::string names;
    for (const auto& name : FieldNames()) names += (names.empty() ? "" : ", ") + name;
    why = "The configuration has no field \"" + field + "\"; its fields are " + names + ".";
    return false;
}

std::vector<std::string> xIniFile::FieldNames() {
    std::vector<std::string> names;
    for (const auto& settable : SettableFields()) names.emplace_back(settable.name);
    return names;
}

void xIniFile::AddRecentProject(const std::string& path) {
    auto& list = recentProjects_;
    auto found = std::find(list.begin(), list.end(), path);
    if (found != list.end()) list.erase(found);
    list.insert(list.begin(), path);
    if (list.size() > MaxRecentProjects) list.resize(MaxRecentProjects);
}

bool xIniFile::RunDynamicCommand(const std::string& title) const {
    if (dynamicTitle_ != title || dynamicCommand_.empty() || !launcher_) return false;
    launcher_(dynamicCommand_);
    return true;
}

xIniFile* IniFile() {
    return gIniFile;
}

xIniFile* SetIniFile(xIniFile* iniFile) {
    xIniFile* previous = gIniFile;
    gIniFile = iniFile;
    return previous;
}
