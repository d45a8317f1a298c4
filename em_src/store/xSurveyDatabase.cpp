#include "xSurveyDatabase.h"

#include <sqlite3.h>

#include <system_error>

#include "xPlatform.h"

namespace fs = std::filesystem;

namespace {

// One prepared statement, finalised when it goes.
class Statement {
  public:
    Statement(sqlite3* db, const char* sql) {
        if (sqlite3_prepare_v2(db, sql, -1, &stmt_, nullptr) != SQLITE_OK) stmt_ = nullptr;
    }
    ~Statement() { sqlite3_finalize(stmt_); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    bool Ok() const { return stmt_ != nullptr; }
    Statement& Bind(int index, std::int64_t value) {
        sqlite3_bind_int64(stmt_, index, value);
        return *this;
    }
    Statement& Bind(int index, const std::string& value) {
        sqlite3_bind_text(stmt_, index, value.c_str(), int(value.size()), SQLITE_TRANSIENT);
        return *this;
    }
    // True while a row is there.
    bool Step() { return stmt_ != nullptr && sqlite3_step(stmt_) == SQLITE_ROW; }
    bool Run() { return stmt_ != nullptr && sqlite3_step(stmt_) == SQLITE_DONE; }
    std::int64_t Int(int column) const { return sqlite3_column_int64(stmt_, column); }
    std::string Text(int column) const {
        const auto* text = sqlite3_column_text(stmt_, column);
        return text ? reinterpret_cast<const char*>(text) : "";
    }

  private:
    sqlite3_stmt* stmt_ = nullptr;
};

constexpr const char* kSchema =
    "PRAGMA journal_mode=WAL;"
    "CREATE TABLE header(version INTEGER NOT NULL);"
    "CREATE TABLE node(position INTEGER PRIMARY KEY, parent INTEGER NOT NULL,"
    " key TEXT NOT NULL, text TEXT NOT NULL, file TEXT NOT NULL, display INTEGER NOT NULL,"
    " first INTEGER NOT NULL, second INTEGER NOT NULL, kind INTEGER NOT NULL,"
    " UNIQUE(parent, key));";

constexpr const char* kNodeColumns =
    "SELECT position, parent, key, text, file, display, first, second, kind,"
    " (SELECT COUNT(*) FROM node c WHERE c.parent = n.position) FROM node n ";

xSurveyNode NodeOf(const Statement& row) {
    xSurveyNode node;
    node.position = row.Int(0);
    node.parent = row.Int(1);
    node.key = row.Text(2);
    node.item.text = row.Text(3);
    node.item.fileName = row.Text(4);
    node.item.displayFlag = std::int16_t(row.Int(5));
    node.item.firstNumber = std::int32_t(row.Int(6));
    node.item.secondNumber = std::int32_t(row.Int(7));
    node.item.kind = std::int32_t(row.Int(8));
    node.childCount = std::int32_t(row.Int(9));
    return node;
}

std::string Stripped(const std::string& text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string::npos) return "";
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

}  // namespace

bool xSurveyDatabase::Create(const fs::path& path) {
    Close();
    std::error_code ec;
    fs::remove(path, ec);
    if (ec) {
        Report("Cannot remove file " + path.string());
        return false;
    }
    const bool made =
        OpenConnection(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE) && Execute(kSchema) &&
        Statement(db_, "INSERT INTO header(version) VALUES(?)").Bind(1, Version).Run();
    if (!made) {
        Close();
        Report("Cannot open data base file " + path.string());
        return false;
    }
    return true;
}

bool xSurveyDatabase::Open(const fs::path& path) {
    if (OpenQuietly(path)) return true;
    Report("Cannot open data base file " + path.string());
    return false;
}

bool xSurveyDatabase::IsWhole(const fs::path& path) {
    xSurveyDatabase db;
    return db.OpenQuietly(path);
}

// Readers open for update too, though they write nothing: only such a
// connection removes the WAL's side files when it is the last to close, and a
// look at the survey must not leave them in the project's folder.
bool xSurveyDatabase::OpenQuietly(const fs::path& path) {
    Close();
    std::error_code ec;
    if (!fs::is_regular_file(path, ec)) return false;
    const bool opened =
        OpenConnection(path, SQLITE_OPEN_READWRITE) || OpenConnection(path, SQLITE_OPEN_READONLY);
    if (opened && ReadsAsSurveyDatabase()) return true;
    Close();
    return false;
}

void xSurveyDatabase::Close() {
    if (db_ != nullptr) sqlite3_close(db_);
    db_ = nullptr;
    path_.clear();
}

bool xSurveyDatabase::OpenConnection(const fs::path& path, int flags) {
    if (sqlite3_open_v2(path.c_str(), &db_, flags, nullptr) != SQLITE_OK) {
        sqlite3_close(db_);
        db_ = nullptr;
        return false;
    }
    // A rebuild renames a new file over the old one; a reader that meets the
    // moment of the swap waits a little rather than fail.
    sqlite3_busy_timeout(db_, 2000);
    path_ = path;
    return true;
}

bool xSurveyDatabase::Execute(const char* sql) {
    return sqlite3_exec(db_, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

// A file that is not SQLite, a damaged one, or a database of another kind
// all fail here rather than at the first look-up.
bool xSurveyDatabase::ReadsAsSurveyDatabase() {
    Statement check(db_, "PRAGMA quick_check");
    if (!check.Step() || check.Text(0) != "ok") return false;
    Statement version(db_, "SELECT version FROM header");
    if (!version.Step() || version.Int(0) != Version) return false;
    Statement nodes(db_, kNodeColumns);
    return nodes.Ok();
}

std::string xSurveyDatabase::JournalMode() {
    if (db_ == nullptr) return "";
    Statement mode(db_, "PRAGMA journal_mode");
    return mode.Step() ? mode.Text(0) : "";
}

std::int64_t xSurveyDatabase::RootPosition() {
    Statement root(db_, "SELECT position FROM node WHERE parent = -1");
    return root.Step() ? root.Int(0) : -1;
}

std::int64_t xSurveyDatabase::NewNode(const std::string& key, const xSurveyItem& item) {
    if (db_ == nullptr) {
        Report("Open a database before creating a node");
        return -1;
    }
    const std::int64_t root = RootPosition();
    if (root < 0) return Insert(-1, key, item);
    return AppendChild(root, key, item);
}

std::int64_t xSurveyDatabase::AppendChild(std::int64_t parent, const std::string& key,
                                          const xSurveyItem& item) {
    if (db_ == nullptr) {
        Report("Open Data Base first.");
        return -1;
    }
    if (parent < 0 || !LoadNode(parent)) return -1;
    return Insert(parent, key, item);
}

std::int64_t xSurveyDatabase::Insert(std::int64_t parent, const std::string& key,
                                     const xSurveyItem& item) {
    Statement insert(db_,
                     "INSERT INTO node(parent, key, text, file, display, first, second, kind)"
                     " VALUES(?, ?, ?, ?, ?, ?, ?, ?)");
    insert.Bind(1, parent)
        .Bind(2, key.substr(0, KeyLength))
        .Bind(3, item.text)
        .Bind(4, item.fileName)
        .Bind(5, item.displayFlag)
        .Bind(6, item.firstNumber)
        .Bind(7, item.secondNumber)
        .Bind(8, item.kind);
    if (!insert.Run()) {
        Report("Cannot add node " + key);
        return -1;
    }
    return sqlite3_last_insert_rowid(db_);
}

std::optional<xSurveyNode> xSurveyDatabase::LoadNode(std::int64_t position) {
    const std::int64_t wanted = db_ != nullptr && position == -1 ? RootPosition() : position;
    if (db_ == nullptr || wanted < 0) {
        Report("Root has not been defined yet.");
        return std::nullopt;
    }
    Statement node(db_, (std::string(kNodeColumns) + "WHERE position = ?").c_str());
    if (!node.Bind(1, wanted).Step()) {
        Report("Root has not been defined yet.");
        return std::nullopt;
    }
    return NodeOf(node);
}

std::optional<xSurveyNode> xSurveyDatabase::ChildByKey(std::int64_t parent,
                                                       const std::string& key) {
    Statement child(db_, (std::string(kNodeColumns) + "WHERE parent = ? AND key = ?").c_str());
    if (!child.Bind(1, parent).Bind(2, key).Step()) {
        Report("Node " + key + " is not among the children");
        return std::nullopt;
    }
    return NodeOf(child);
}

std::optional<xSurveyNode> xSurveyDatabase::FindByPath(const std::vector<std::string>& path) {
    if (path.empty()) {
        Report("Path must have at least one item.");
        return std::nullopt;
    }
    auto node = LoadNode(-1);
    if (!node) return std::nullopt;
    if (node->key != path.front()) {
        Report("Path should start from the root.");
        return std::nullopt;
    }
    for (std::size_t i = 1; i < path.size() && node; ++i)
        node = ChildByKey(node->position, path[i]);
    return node;
}

std::optional<xSurveyNode> xSurveyDatabase::FindChild(const std::string& number) {
    const auto root = LoadNode(-1);
    if (!root) return std::nullopt;
    return ChildByKey(root->position, Stripped(number));
}

std::vector<xSurveyNode> xSurveyDatabase::Children(std::int64_t parent) {
    std::vector<xSurveyNode> children;
    if (db_ == nullptr) return children;
    Statement rows(db_, (std::string(kNodeColumns) + "WHERE parent = ? ORDER BY key").c_str());
    rows.Bind(1, parent);
    while (rows.Step()) children.push_back(NodeOf(rows));
    return children;
}

void xSurveyDatabase::Report(const std::string& text) {
    if (text == lastReport_) return;
    lastReport_ = text;
    Platform().Error(text);
}
