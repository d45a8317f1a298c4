#include "xProjectLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <fstream>
#include <thread>

#include "xPlatform.h"

namespace fs = std::filesystem;

namespace {

std::string Describe(const xProjectLock::Holder& holder) {
    if (holder.pid <= 0) return "a process that has not yet written its name";
    return "process " + std::to_string(holder.pid) +
           (holder.command.empty() ? "" : " (" + holder.command + ")");
}

// The descriptor still names the file at the path: its last holder did not
// remove it between our open and our lock.
bool StillNamed(int fd, const fs::path& file) {
    struct stat opened {};
    struct stat named {};
    return fstat(fd, &opened) == 0 && stat(file.c_str(), &named) == 0 &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

}  // namespace

xProjectLock::xProjectLock(fs::path parFile, std::string command)
    : file_(FileOf(parFile)), command_(std::move(command)) {}

xProjectLock::~xProjectLock() {
    Release();
}

fs::path xProjectLock::FileOf(const fs::path& parFile) {
    const std::string name = parFile.filename().string();
    return parFile.parent_path() / (name.substr(0, name.find('.')) + ".lock");
}

xProjectLock::Holder xProjectLock::ReadHolder(const fs::path& lockFile) {
    Holder holder;
    std::ifstream in(lockFile);
    if (in >> holder.pid) {
        in.ignore(1);
        std::getline(in, holder.command);
    }
    return holder;
}

xProjectLock::Attempt xProjectLock::TryOnce() {
    while (!Held()) {
        const int fd = open(file_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
        if (fd < 0) {
            Platform().Error("The lock file " + file_.string() +
                             " cannot be made: " + std::strerror(errno) + ".");
            return Attempt::Failed;
        }
        if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
            const int reason = errno;
            close(fd);
            if (reason == EWOULDBLOCK) return Attempt::Busy;
            Platform().Error("The lock file " + file_.string() +
                             " cannot be locked: " + std::strerror(reason) + ".");
            return Attempt::Failed;
        }
        if (StillNamed(fd, file_)) {
            fd_ = fd;
            WriteHolder();
        } else {
            close(fd);
        }
    }
    return Attempt::Taken;
}

// A name left in a free lock file is that of a holder that died with it.
void xProjectLock::WriteHolder() {
    const Holder left = ReadHolder(file_);
    if (left.pid > 0)
        Platform().Note("The lock " + file_.filename().string() + " of " + Describe(left) +
                        ", which is no longer running, was taken over.");
    const std::string text = std::to_string(getpid()) + "\n" + command_ + "\n";
    if (ftruncate(fd_, 0) != 0 ||
        pwrite(fd_, text.data(), text.size(), 0) != static_cast<ssize_t>(text.size()))
        Platform().Warning("The lock file " + file_.string() +
                           " could not be written: " + std::strerror(errno) + ".");
}

bool xProjectLock::Take() {
    const Attempt attempt = TryOnce();
    if (attempt == Attempt::Busy)
        Platform().Error("The project is in use by " + Describe(ReadHolder(file_)) +
                         ", which holds " + file_.string() + ".");
    return attempt == Attempt::Taken;
}

bool xProjectLock::Wait(const std::function<bool()>& stopped, int intervalMs) {
    for (bool told = false;; told = true) {
        const Attempt attempt = TryOnce();
        if (attempt != Attempt::Busy) return attempt == Attempt::Taken;
        if (!told)
            Platform().Note("Waiting for " + Describe(ReadHolder(file_)) + " to release " +
                            file_.string() + "..");
        if (stopped && stopped()) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(intervalMs));
    }
}

// Removed while still locked, so a process that opened it meanwhile sees
// that it no longer has the file of that name.
void xProjectLock::Release() {
    if (!Held()) return;
    unlink(file_.c_str());
    close(fd_);
    fd_ = -1;
}
