#pragma once
// The survey tree of a project, kept in <project>.SDB: the root is the survey,
// its children the lines, each node with the text of its statistics. Nodes
// are addressed by their position (a row of the store), and every parent keeps
// its children by key, so a walk visits them in key order. The store is an
// SQLite file in WAL mode: any number of readers, in any number of processes,
// read it at once without waiting for each other.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

struct sqlite3;

struct xSurveyItem {
    static constexpr std::int32_t SurveyKind = 1;
    static constexpr std::int32_t LineKind = 2;

    std::string text;      // the statistics shown in the survey window
    std::string fileName;  // the data file the item describes
    std::int16_t displayFlag = 0;
    std::int32_t firstNumber = 0;  // reserved for the item's use
    std::int32_t secondNumber = 0;
    std::int32_t kind = 0;
};

struct xSurveyNode {
    std::string key;
    xSurveyItem item;
    std::int64_t position = -1;
    std::int64_t parent = -1;  // -1 for the root
    std::int32_t childCount = 0;
};

class xSurveyDatabase {
  public:
    static constexpr std::int32_t Version = 1;
    static constexpr std::size_t KeyLength = 16;

    xSurveyDatabase() = default;
    ~xSurveyDatabase() { Close(); }
    xSurveyDatabase(const xSurveyDatabase&) = delete;
    xSurveyDatabase& operator=(const xSurveyDatabase&) = delete;

    // A new, empty database at path; a file of that name is removed first.
    bool Create(const std::filesystem::path& path);
    // An existing database. False, with the system's message, for a missing
    // file or one that is not a whole survey database.
    bool Open(const std::filesystem::path& path);
    void Close();
    // Whether path holds a whole survey database; nothing is said either way.
    static bool IsWhole(const std::filesystem::path& path);
    bool IsOpen() const { return db_ != nullptr; }

    // The first node made becomes the root; any later one is appended to the
    // root. The node's position, or -1 after a message.
    std::int64_t NewNode(const std::string& key, const xSurveyItem& item);
    // Appends a new node under parent; its position, or -1 after a message.
    std::int64_t AppendChild(std::int64_t parent, const std::string& key, const xSurveyItem& item);
    // The node at position, -1 meaning the root.
    std::optional<xSurveyNode> LoadNode(std::int64_t position);
    // The node at the end of path, whose first key names the root.
    std::optional<xSurveyNode> FindByPath(const std::vector<std::string>& path);
    // The root's child of that number (blanks around it stripped).
    std::optional<xSurveyNode> FindChild(const std::string& number);
    // The children of a node in key order.
    std::vector<xSurveyNode> Children(std::int64_t parent);
    // "wal" for a database this class made.
    std::string JournalMode();

  private:
    bool OpenQuietly(const std::filesystem::path& path);
    bool OpenConnection(const std::filesystem::path& path, int flags);
    bool Execute(const char* sql);
    bool ReadsAsSurveyDatabase();
    std::int64_t RootPosition();
    std::int64_t Insert(std::int64_t parent, const std::string& key, const xSurveyItem& item);
    std::optional<xSurveyNode> ChildByKey(std::int64_t parent, const std::string& key);
    // Every error passes here; a text is shown only when it differs from the last.
    void Report(const std::string& text);

    sqlite3* db_ = nullptr;
    std::filesystem::path path_;
    std::string lastReport_;
};
