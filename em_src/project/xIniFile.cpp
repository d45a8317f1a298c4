#include "xIniFile.h"

#include <algorithm>
#include <fstream>
#include <locale>
#include <sstream>

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
void ParseNumber(const std::string& text, T& target) {
    std::istringstream in(text);
    in.imbue(std::locale::classic());
    T value{};
    if (in >> value) target = value;
}

// Nine blank-separated factors, all or nothing.
void ParseFactors(const std::string& text, FloatArray& factors) {
    std::istringstream in(text);
    in.imbue(std::locale::classic());
    FloatArray values(kFirstFactor, kLastFactor);
    for (long id = kFirstFactor; id <= kLastFactor; ++id)
        if (!(in >> values[id])) return;
    factors = values;
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

xIniFile::xIniFile(std::filesystem::path startupDirectory, Launcher launcher)
    : directory_(std::move(startupDirectory)),
      launcher_(std::move(launcher)),
      thinSheetFactors_(Factors(4.0f, 3.0f)),
      halfSpaceFactors_(Factors(2.5f, 1.5f)) {
    Read();
}

xIniFile::~xIniFile() {
    if (gIniFile == this) gIniFile = nullptr;
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
    if (!file) return;
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
    ParseNumber(value, amplitudeDeviation_);
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
    ParseNumber(value, fontSize_);

    if (!in.Key(kOrderKey, "[Line Order]", value)) return;
    if (int i = IndexOf(LinesOrderNames(), value); i >= 0) linesOrder_ = i;
}

void xIniFile::ReadApprox(Reader& in) {
    const std::string section = "[APPROX]";
    if (!in.FindSection(section)) return;
    std::string value;
    if (!in.Key(kThinSheetKey, section, value)) return;
    ParseFactors(value, thinSheetFactors_);
    if (!in.Key(kHalfSpaceKey, section, value)) return;
    ParseFactors(value, halfSpaceFactors_);
    if (!in.Key(kExtraTausKey, section, value)) return;
    ParseNumber(value, extraTaus_);
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

bool xIniFile::Write() const {
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

    xOutputFile file;
    if (!file.Open(Path())) return false;
    file.Stream() << out.str();
    return file.Commit();
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
