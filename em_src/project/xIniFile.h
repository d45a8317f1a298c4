#pragma once
// The program-wide settings in "Tovarn.INI": the external editor, the recent
// projects, a few CDI and display choices and the approximation factors. Read
// when the object is made; the desktop program writes it again when it goes,
// the command line only when asked. The keys carry their legal values in their
// own names so that the file documents itself.

#include <array>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "xArray.h"

class xIniFile {
  public:
    enum class Color { White, Blue, Gray, Green, LtGray };
    enum class FontFamily { System, Courier, Helvetica, Times };
    enum class FontStyle { None, Bold, Italic };

    // Starts a command line without waiting for it, as the editor is started.
    using Launcher = std::function<void(const std::string& commandLine)>;

    static constexpr const char* FileName = "Tovarn.INI";
    static constexpr std::size_t MaxRecentProjects = 5;

    enum class Saving { AtEnd, WhenAsked };

    // Sets the defaults, then reads the file in the start-up directory if it is
    // there. A broken file warns and leaves defaults for what it could not give.
    explicit xIniFile(std::filesystem::path startupDirectory, Launcher launcher = {},
                      Saving saving = Saving::AtEnd);
    // Writes the file when it is saved at the end; a failure here is silent.
    ~xIniFile();
    xIniFile(const xIniFile&) = delete;
    xIniFile& operator=(const xIniFile&) = delete;

    // The folder whose file a project reads: its own when it holds one, else
    // the user's.
    static std::filesystem::path Locate(const std::filesystem::path& projectDirectory,
                                        const std::filesystem::path& userDirectory);

    // The whole file, overwritten. False when it cannot be written.
    bool Write() const;
    // The file's text as Write writes it.
    std::string Text() const;
    void MoveTo(std::filesystem::path directory) { directory_ = std::move(directory); }

    // A field by its name (EditorName, ExtraTaus...), from the text a user
    // types: names in any case, factors blank- or comma-separated. False with
    // the reason in why for a name it does not know or a value it refuses.
    bool Set(const std::string& field, const std::string& value, std::string& why);
    // The names Set takes, in the file's order.
    static std::vector<std::string> FieldNames();
    std::filesystem::path Path() const { return directory_ / FileName; }

    // By reference: the dialogs change them in place.
    std::string& GetEditorName() { return editorName_; }
    std::vector<std::string>& GetRecentProjects() { return recentProjects_; }
    Color& GetUnresolvedColor() { return unresolvedColor_; }
    std::string& GetCdiAsciiExtension() { return cdiAsciiExtension_; }
    bool& GetInspectAmplitudes() { return inspectAmplitudes_; }
    double& GetAmplitudeDeviation() { return amplitudeDeviation_; }
    FontFamily& GetFontFamily() { return fontFamily_; }
    FontStyle& GetFontStyle() { return fontStyle_; }
    int& GetFontSize() { return fontSize_; }
    long& GetLinesOrder() { return linesOrder_; }
    // Nine factors indexed by component id, 101 (TxRx) to 109 (TzRz).
    FloatArray& GetThinSheetFactors() { return thinSheetFactors_; }
    FloatArray& GetHalfSpaceFactors() { return halfSpaceFactors_; }
    int& GetExtraTaus() { return extraTaus_; }
    std::string& GetDynamicTitle() { return dynamicTitle_; }
    std::string& GetDynamicCommand() { return dynamicCommand_; }

    // Moves a known path to the head, or puts a new one there; the list keeps
    // the first five.
    void AddRecentProject(const std::string& path);
    // Starts the dynamic command when its title is the one asked for; true if
    // it was started.
    bool RunDynamicCommand(const std::string& title) const;
    void SetLauncher(Launcher launcher) { launcher_ = std::move(launcher); }

    // The names as the file writes them; also the labels of the dialogs.
    static const std::array<const char*, 5>& ColorNames();
    static const std::array<const char*, 4>& FontFamilyNames();
    static const std::array<const char*, 3>& FontStyleNames();
    static const std::array<const char*, 4>& LinesOrderNames();

  private:
    class Reader;
    void Read();
    void ReadEditor(Reader& in);
    void ReadProjects(Reader& in);
    void ReadCdi(Reader& in);
    void ReadSystem(Reader& in);
    void ReadApprox(Reader& in);
    void ReadDynamicControls(Reader& in);

    std::filesystem::path directory_;
    Launcher launcher_;
    Saving saving_;

    std::string editorName_ = "sysedit400.exe";
    std::vector<std::string> recentProjects_;
    Color unresolvedColor_ = Color::White;
    std::string cdiAsciiExtension_ = "DOC";
    bool inspectAmplitudes_ = false;
    double amplitudeDeviation_ = 10.0;
    FontFamily fontFamily_ = FontFamily::System;
    FontStyle fontStyle_ = FontStyle::Bold;
    int fontSize_ = 10;
    long linesOrder_ = 0;
    FloatArray thinSheetFactors_;
    FloatArray halfSpaceFactors_;
    int extraTaus_ = 2;
    std::string dynamicTitle_;
    std::string dynamicCommand_;
};

// The configuration of the running program, when a front end has installed one.
xIniFile* IniFile();
// Installs a configuration (not owned) and answers the one it replaced.
xIniFile* SetIniFile(xIniFile* iniFile);
