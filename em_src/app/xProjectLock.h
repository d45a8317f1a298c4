#pragma once
// One run at a time per project: <project>.lock beside the PAR file names the
// process that holds it and what it runs. The holder also keeps an advisory
// lock on the file, so a holder that died (killed, power cut) frees it at once;
// its name left in the file is taken over with a note. Held for the lifetime
// of the object, so every way out of a command releases it.

#include <filesystem>
#include <functional>
#include <string>

class xProjectLock {
  public:
    // What stands in a lock file.
    struct Holder {
        long pid = 0;
        std::string command;
    };

    // command: what this process runs, shown to whoever finds the lock held.
    xProjectLock(std::filesystem::path parFile, std::string command);
    ~xProjectLock();
    xProjectLock(const xProjectLock&) = delete;
    xProjectLock& operator=(const xProjectLock&) = delete;

    // <directory>/<project>.lock for a PAR file.
    static std::filesystem::path FileOf(const std::filesystem::path& parFile);
    static Holder ReadHolder(const std::filesystem::path& lockFile);

    // Takes the lock, or says who holds it (an error). False when held or
    // when the lock file cannot be made.
    bool Take();
    // Takes the lock as soon as its holder lets it go, looking every interval;
    // false when stopped() says to give up first or the file cannot be made.
    bool Wait(const std::function<bool()>& stopped, int intervalMs = 200);
    bool Held() const { return fd_ >= 0; }
    void Release();

  private:
    enum class Attempt { Taken, Busy, Failed };
    Attempt TryOnce();
    void WriteHolder();

    std::filesystem::path file_;
    std::string command_;
    int fd_ = -1;
};
