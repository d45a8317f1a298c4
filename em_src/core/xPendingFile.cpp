#include "xPendingFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <string_view>
#include <vector>

#include "xPlatform.h"

namespace fs = std::filesystem;

namespace {

// Why a file stopped growing. The stream that failed keeps no error code, so
// the temporary, which is thrown away anyway, is made to grow again by hand:
// a full disk or a file size limit answers the same as it did to the stream.
int WhyItCannotGrow(const fs::path& file, int seen) {
    const int fd = ::open(file.c_str(), O_WRONLY | O_APPEND);
    if (fd < 0) return errno;
    const std::vector<char> block(65536, '\0');
    int error = 0;
    for (int i = 0; i < 64 && error == 0; ++i)
        if (::write(fd, block.data(), block.size()) < 0) error = errno;
    ::close(fd);
    if (error != 0) return error;
    return seen != 0 ? seen : EIO;
}

constexpr std::string_view kPartTag = ".part-";

// The writer's pid of a temporary of target, or 0 when the name is not one.
pid_t WriterOf(const fs::path& candidate, const std::string& targetName) {
    const std::string name = candidate.filename().string();
    const std::string prefix = targetName + std::string(kPartTag);
    if (name.size() <= prefix.size() || name.compare(0, prefix.size(), prefix) != 0) return 0;
    pid_t pid = 0;
    for (std::size_t i = prefix.size(); i < name.size(); ++i) {
        if (name[i] < '0' || name[i] > '9' || pid > 100000000) return 0;
        pid = pid * 10 + (name[i] - '0');
    }
    return pid;
}

// A process that cannot be signalled for want of permission still lives.
bool Lives(pid_t pid) {
    return ::kill(pid, 0) == 0 || errno != ESRCH;
}

}  // namespace

void xPendingFile::RemoveLeftovers(const fs::path& target) {
    const std::string targetName = target.filename().string();
    const fs::path folder = target.has_parent_path() ? target.parent_path() : fs::path(".");
    std::error_code ec;
    for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
        const pid_t writer = WriterOf(it->path(), targetName);
        if (writer <= 0 || writer == ::getpid() || Lives(writer)) continue;
        std::error_code removed;
        if (fs::remove(it->path(), removed))
            Platform().Note("Removed " + it->path().string() + ", left by an interrupted run.");
    }
}

void xPendingFile::Begin(const fs::path& target) {
    Discard();
    RemoveLeftovers(target);
    target_ = target;
    temporary_ = target;
    temporary_ += std::string(kPartTag) + std::to_string(::getpid());
}

bool xPendingFile::Commit(std::ios& stream, std::filebuf& buffer) {
    if (!Pending()) return false;
    errno = 0;
    const bool written = !stream.bad();
    const bool closed = buffer.close() != nullptr;
    if (!written || !closed) return Fail(WhyItCannotGrow(temporary_, errno));
    return CommitClosed();
}

bool xPendingFile::CommitClosed() {
    if (!Pending()) return false;
    std::error_code ec;
    fs::rename(temporary_, target_, ec);
    if (ec) return Fail(ec.value());
    temporary_.clear();
    return true;
}

bool xPendingFile::Fail(int error) {
    Platform().Error(FailureText(target_, error));
    Discard();
    return false;
}

void xPendingFile::Discard() {
    if (!Pending()) return;
    std::error_code ec;
    fs::remove(temporary_, ec);
    temporary_.clear();
}

std::string xPendingFile::FailureText(const fs::path& file, int error) {
    return "Cannot write " + file.string() + ": " + std::strerror(error) + ".";
}

bool xOutputFile::Open(const fs::path& target, std::ios::openmode mode) {
    Discard();
    pending_.Begin(target);
    errno = 0;
    stream_.open(pending_.Temporary(), mode | std::ios::out | std::ios::trunc);
    if (stream_.is_open()) return true;
    pending_.Discard();
    return false;
}

void xOutputFile::Discard() {
    if (stream_.is_open()) stream_.close();
    stream_.clear();
    pending_.Discard();
}
