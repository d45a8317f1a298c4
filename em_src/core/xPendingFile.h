#pragma once
// An output while it is being written: it lives under a temporary name beside
// its target ("S.AMP.part-<pid>") and is renamed over the target only when it
// is whole, so a stopped, failed or killed run never costs the previous
// complete file. A pending file that is not committed is removed.

#include <filesystem>
#include <fstream>
#include <string>

class xPendingFile {
  public:
    xPendingFile() = default;
    explicit xPendingFile(const std::filesystem::path& target) { Begin(target); }
    ~xPendingFile() { Discard(); }
    xPendingFile(const xPendingFile&) = delete;
    xPendingFile& operator=(const xPendingFile&) = delete;

    // Names the temporary for target; a temporary still pending is removed, and
    // so is one of target that a killed run left (its process no longer lives).
    void Begin(const std::filesystem::path& target);
    bool Pending() const { return !temporary_.empty(); }
    const std::filesystem::path& Target() const { return target_; }
    const std::filesystem::path& Temporary() const { return temporary_; }

    // Closes buffer (the stream of the temporary) and renames the temporary
    // over the target. A failed write, close or rename shows an error naming
    // the target and the system's reason, removes the temporary and answers false.
    bool Commit(std::ios& stream, std::filebuf& buffer);
    // The same for a temporary that its writer (a database, say) has closed.
    bool CommitClosed();
    // Removes the temporary; the target stays as it was.
    void Discard();

    // "Cannot write <file>: <reason>." for the error code of the system.
    static std::string FailureText(const std::filesystem::path& file, int error);
    // Removes the temporaries of target whose writer is dead, with a note for each.
    static void RemoveLeftovers(const std::filesystem::path& target);

  private:
    bool Fail(int error);

    std::filesystem::path target_;
    std::filesystem::path temporary_;
};

// A text or report output: an ofstream on a pending file.
class xOutputFile {
  public:
    xOutputFile() = default;
    ~xOutputFile() { Discard(); }
    explicit xOutputFile(const std::filesystem::path& target,
                         std::ios::openmode mode = std::ios::out) {
        Open(target, mode);
    }
    // False when the temporary cannot be made; the caller says so in its words.
    bool Open(const std::filesystem::path& target, std::ios::openmode mode = std::ios::out);
    bool IsOpen() const { return stream_.is_open(); }
    std::ofstream& Stream() { return stream_; }
    // The file takes its place only when every write succeeded.
    bool Commit() { return pending_.Commit(stream_, *stream_.rdbuf()); }
    void Discard();

  private:
    std::ofstream stream_;
    xPendingFile pending_;
};
