#include "files/file_buffer.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

namespace kestrune {

namespace {

// In place of an error number: the path names a FIFO, a device or a socket.
constexpr int not_regular_file = -1;

}  // namespace

file_buffer::file_buffer() : data_(new std::uint8_t[file_buffer_allocation]()) {}

file_buffer::~file_buffer() {
    close();
}

bool file_buffer::open_read(const std::string& path) {
    close();
    // A FIFO would block the open and a device never end: they are refused before opening, and
    // the open does not wait should one take the file's place in between.
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0) return failure(errno);
    if (!S_ISREG(st.st_mode)) return failure(S_ISDIR(st.st_mode) ? EISDIR : not_regular_file);
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) return failure(errno);
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        ::close(fd);
        return failure(not_regular_file);
    }
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    fd_ = fd;
    writing_ = false;
    size_ = static_cast<std::uint64_t>(st.st_size);
    restart();
    return true;
}

void file_buffer::restart() {
    if (fd_ >= 0 && !writing_) ::lseek(fd_, 0, SEEK_SET);
    index_ = file_buffer_size;
    valid_ = 0;
    consumed_ = 0;
    past_end_ = false;
}

void file_buffer::refill() {
    std::size_t got = 0;
    while (fd_ >= 0 && got < file_buffer_size) {
        ssize_t n = ::read(fd_, data_.get() + got, file_buffer_size - got);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;  // end of file, or an error that ends the file here
        got += static_cast<std::size_t>(n);
    }
    valid_ = got;
    index_ = 0;
}

void file_buffer::file_get(void* destination, std::size_t count) {
    auto* out = static_cast<std::uint8_t*>(destination);
    while (count > 0) {
        if (index_ == file_buffer_size) {
            if (past_end_) break;
            refill();
        }
        if (index_ >= valid_) {
            // The file ends here: nothing of an earlier fill is taken for data.
            past_end_ = true;
            break;
        }
        std::size_t n = std::min<std::size_t>(count, valid_ - index_);
        if (out) {
            std::memcpy(out, data_.get() + index_, n);
            out += n;
        }
        index_ = static_cast<std::uint16_t>(index_ + n);
        consumed_ += n;
        count -= n;
    }
    if (count > 0 && out) std::memset(out, 0, count);
}

void file_buffer::skip(std::size_t count) {
    file_get(nullptr, count);
}

namespace {

// Temporary files are named ".kestrune-PID-N.tmp", short enough beside any name the folder takes,
// and telling which process made them.
constexpr const char* temporary_format = ".kestrune-%d-%u.tmp";
constexpr int max_link_hops = 40;
constexpr int max_create_attempts = 100;

std::atomic<unsigned> temp_counter{0};

// The save in progress, for the signal handlers: its temporary path in a fixed buffer.
char unfinished_path[4096];
std::atomic<bool> unfinished{false};

void set_unfinished(const std::string& temp) {
    unfinished.store(false);
    if (temp.size() >= sizeof unfinished_path) return;
    std::memcpy(unfinished_path, temp.c_str(), temp.size() + 1);
    unfinished.store(true);
}

std::string temporary_name(int pid, unsigned serial) {
    char name[64];
    std::snprintf(name, sizeof name, temporary_format, pid, serial);
    return name;
}

std::string folder_of(const std::string& path) {
    auto slash = path.find_last_of('/');
    if (slash == std::string::npos) return ".";
    if (slash == 0) return "/";
    return path.substr(0, slash);
}

// The file a path stands for, through symbolic links, so that a save replaces the file the link
// names and keeps the link.
std::string link_target(std::string path) {
    for (int hop = 0; hop < max_link_hops; ++hop) {
        struct stat st {};
        if (::lstat(path.c_str(), &st) != 0 || !S_ISLNK(st.st_mode)) return path;
        char buf[4096];
        const ssize_t n = ::readlink(path.c_str(), buf, sizeof buf);
        if (n <= 0 || n == static_cast<ssize_t>(sizeof buf)) return path;
        const std::string to(buf, static_cast<std::size_t>(n));
        path = to[0] == '/' ? to : folder_of(path) + "/" + to;
    }
    return path;
}

// Removes the temporaries of saves whose process is gone: killed, or cut off by a power loss.
void remove_dead_temporaries(const std::string& folder) {
    DIR* dir = ::opendir(folder.c_str());
    if (!dir) return;
    const uid_t me = ::geteuid();
    while (const dirent* e = ::readdir(dir)) {
        int pid = 0;
        unsigned serial = 0;
        if (std::sscanf(e->d_name, temporary_format, &pid, &serial) != 2 || pid <= 0 ||
            temporary_name(pid, serial) != e->d_name)
            continue;
        if (::kill(pid, 0) == 0 || errno != ESRCH) continue;
        const std::string path = folder + "/" + e->d_name;
        struct stat st {};
        if (::lstat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) && st.st_uid == me)
            ::unlink(path.c_str());
    }
    ::closedir(dir);
}

extern "C" void end_on_signal(int sig) {
    remove_unfinished_save();
    ::signal(sig, SIG_DFL);
    ::raise(sig);
}

}  // namespace

void remove_unfinished_save() {
    if (unfinished.exchange(false)) ::unlink(unfinished_path);
}

void remove_unfinished_save_on_signals() {
    struct sigaction sa {};
    sa.sa_handler = end_on_signal;
    sigemptyset(&sa.sa_mask);
    for (int sig : {SIGINT, SIGTERM, SIGHUP}) ::sigaction(sig, &sa, nullptr);
}

bool file_buffer::create(const std::string& path) {
    close();
    replaces_ = false;
    if (path.empty()) return failure(ENOENT);
    const std::string target = link_target(path);
    const std::string folder = folder_of(target);
    struct stat old {};
    if (::stat(target.c_str(), &old) == 0) {
        if (!S_ISREG(old.st_mode)) return failure(S_ISDIR(old.st_mode) ? EISDIR : not_regular_file);
        // Made read-only by its owner: not to be overwritten, not even by root.
        if ((old.st_mode & 0222) == 0) return failure(EACCES);
        if (::access(target.c_str(), W_OK) != 0) return failure(errno);
        replaces_ = true;
    } else if (errno != ENOENT) {
        return failure(errno);  // a name too long, a file where a folder should be
    }
    remove_dead_temporaries(folder);
    for (int attempt = 0; attempt < max_create_attempts; ++attempt) {
        const std::string temp =
            folder + "/" + temporary_name(static_cast<int>(::getpid()), temp_counter.fetch_add(1));
        // Named for the signal handlers before it exists, so that no moment leaves it behind.
        set_unfinished(temp);
        const int fd =
            ::open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, replaces_ ? 0600 : 0666);
        if (fd < 0) {
            const int error = errno;
            unfinished.store(false);
            if (error == EEXIST) continue;
            return failure(error);
        }
        if (replaces_) {
            // The old file's owner where the system allows it, and its permissions.
            if (::fchown(fd, old.st_uid, old.st_gid) != 0) {
            }
            ::fchmod(fd, old.st_mode & 07777);
        }
        fd_ = fd;
        writing_ = true;
        failed_ = false;
        error_ = 0;
        target_ = target;
        temp_ = temp;
        index_ = 0;
        counter_a = counter_b = 0;
        return true;
    }
    return failure(EEXIST);
}

bool file_buffer::failure(int error) {
    error_ = error;
    return false;
}

std::string file_buffer::failure_reason() const {
    if (error_ == not_regular_file) return "Not a regular file";
    return std::strerror(error_);
}

bool file_buffer::flush(std::size_t count) {
    std::size_t done = 0;
    while (done < count) {
        ssize_t n = ::write(fd_, data_.get() + done, count - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return failure(n < 0 ? errno : EIO);
        done += static_cast<std::size_t>(n);
    }
    return true;
}

void file_buffer::file_put(const void* source, std::size_t count) {
    const auto* in = static_cast<const std::uint8_t*>(source);
    counter_a += static_cast<std::uint32_t>(count);
    counter_b += static_cast<std::uint32_t>(count);
    while (count > 0) {
        if (index_ == file_buffer_size) {
            if (!failed_ && !flush(file_buffer_size)) failed_ = true;
            index_ = 0;
        }
        std::size_t n = std::min<std::size_t>(count, file_buffer_size - index_);
        std::memcpy(data_.get() + index_, in, n);
        in += n;
        index_ = static_cast<std::uint16_t>(index_ + n);
        count -= n;
    }
}

void file_buffer::write_at(std::uint64_t offset, const void* source, std::size_t count) {
    if (fd_ < 0 || !writing_) return;
    if (!failed_ && index_ > 0 && !flush(index_)) failed_ = true;
    index_ = 0;
    const auto* in = static_cast<const std::uint8_t*>(source);
    while (count > 0 && !failed_) {
        const ssize_t n = ::pwrite(fd_, in, count, static_cast<off_t>(offset));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            failure(n < 0 ? errno : EIO);
            failed_ = true;
            break;
        }
        in += n;
        offset += static_cast<std::uint64_t>(n);
        count -= static_cast<std::size_t>(n);
    }
}

bool file_buffer::finish() {
    if (fd_ < 0 || !writing_) return failure(EBADF);
    bool ok = !failed_ && flush(index_);
    index_ = 0;
    if (ok && ::fsync(fd_) != 0) ok = failure(errno);
    if (::close(fd_) != 0 && ok) ok = failure(errno);
    fd_ = -1;
    writing_ = false;
    if (ok && ::rename(temp_.c_str(), target_.c_str()) != 0) ok = failure(errno);
    if (!ok) ::unlink(temp_.c_str());
    unfinished.store(false);
    temp_.clear();
    return ok;
}

void file_buffer::close() {
    if (fd_ >= 0) ::close(fd_);
    if (writing_ && !temp_.empty()) {
        ::unlink(temp_.c_str());
        unfinished.store(false);
    }
    fd_ = -1;
    writing_ = false;
    temp_.clear();
    past_end_ = false;
    index_ = file_buffer_size;
    valid_ = 0;
}

}  // namespace kestrune
