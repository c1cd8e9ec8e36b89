#include "files/file_buffer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace kestrune {

file_buffer::file_buffer() : data_(new std::uint8_t[file_buffer_allocation]()) {}

file_buffer::~file_buffer() {
    close();
}

bool file_buffer::open_read(const std::string& path) {
    close();
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        ::close(fd);
        return false;
    }
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
    ++transfers_;
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

std::atomic<unsigned> temp_counter{0};

std::string folder_of(const std::string& path) {
    auto slash = path.find_last_of('/');
    if (slash == std::string::npos) return ".";
    if (slash == 0) return "/";
    return path.substr(0, slash);
}

}  // namespace

bool file_buffer::create(const std::string& path) {
    close();
    if (path.empty()) return false;
    // The new file takes the old one's permissions, or the usual ones for a new file.
    mode_t mode = 0666;
    struct stat st {};
    if (::stat(path.c_str(), &st) == 0) {
        if (S_ISDIR(st.st_mode)) return false;
        mode = st.st_mode & 07777;
    } else {
        mode_t mask = ::umask(0);
        ::umask(mask);
        mode = 0666 & ~mask;
    }
    const std::string base = path.substr(path.find_last_of('/') + 1);
    for (int attempt = 0; attempt < 100; ++attempt) {
        char suffix[48];
        std::snprintf(suffix, sizeof suffix, ".%d.%u.tmp", static_cast<int>(::getpid()),
                      temp_counter.fetch_add(1));
        std::string temp = folder_of(path) + "/." + base + suffix;
        int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
        if (fd < 0) {
            if (errno == EEXIST) continue;
            return false;
        }
        ::fchmod(fd, mode);
        fd_ = fd;
        writing_ = true;
        failed_ = false;
        target_ = path;
        temp_ = temp;
        index_ = 0;
        counter_a = counter_b = 0;
        return true;
    }
    return false;
}

bool file_buffer::flush(std::size_t count) {
    ++transfers_;
    std::size_t done = 0;
    while (done < count) {
        ssize_t n = ::write(fd_, data_.get() + done, count - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
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

bool file_buffer::finish() {
    if (fd_ < 0 || !writing_) return false;
    bool ok = !failed_ && flush(index_);
    index_ = 0;
    ok = ok && ::fsync(fd_) == 0;
    ok = ::close(fd_) == 0 && ok;
    fd_ = -1;
    writing_ = false;
    if (ok) ok = ::rename(temp_.c_str(), target_.c_str()) == 0;
    if (!ok) ::unlink(temp_.c_str());
    temp_.clear();
    return ok;
}

void file_buffer::close() {
    if (fd_ >= 0) ::close(fd_);
    if (writing_ && !temp_.empty()) ::unlink(temp_.c_str());
    fd_ = -1;
    writing_ = false;
    temp_.clear();
    past_end_ = false;
    index_ = file_buffer_size;
    valid_ = 0;
}

}  // namespace kestrune
