// The transfer buffer: the byte-wise buffered reader and writer of every binary file.
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace kestrune {

inline constexpr std::uint16_t file_buffer_size = 0x2000;  // refill and flush point
inline constexpr std::size_t file_buffer_allocation = 0x200A;
// The pool's estimate of file bytes one event block holds, for the memory checks before a load.
inline constexpr std::uint64_t bytes_per_block_estimate = 96;

// One file at a time, read or written through 8,192 bytes.
//
// Reading takes regular files only, and never goes past the end of the file: a read beyond it
// yields zero bytes and sets past_end(), which the loaders test. Writing goes to a temporary file
// with a short name in the target's folder (through any symbolic links), which finish() renames
// over the target only when every byte went out, with the old file's permissions: a failed save
// leaves the old file. Each failure keeps the system's reason for it.
class file_buffer {
  public:
    file_buffer();
    ~file_buffer();
    file_buffer(const file_buffer&) = delete;
    file_buffer& operator=(const file_buffer&) = delete;

    // Reading. Opens a regular file; the index stands at 0x2000 so the first byte refills.
    bool open_read(const std::string& path);
    void file_get(void* destination, std::size_t count);
    // One byte, as file_get(&b, 1); false past the end.
    bool get_byte(std::uint8_t& b) {
        if (index_ < valid_ && index_ < file_buffer_size) {
            b = data_[index_++];
            ++consumed_;
            return true;
        }
        file_get(&b, 1);
        return !past_end_;
    }
    void skip(std::size_t count);
    bool past_end() const { return past_end_; }
    std::uint64_t file_size() const { return size_; }
    std::uint64_t consumed() const { return consumed_; }
    std::uint64_t remaining() const { return consumed_ < size_ ? size_ - consumed_ : 0; }
    // Back to the start of the file for a fresh read.
    void restart();

    // Writing. The index starts at 0. Removes the temporaries that killed saves left in the folder.
    bool create(const std::string& path);
    // Whether the file being written replaces one that was there.
    bool replaces() const { return replaces_; }
    void file_put(const void* source, std::size_t count);
    // Flushes what is buffered, then writes bytes at an earlier offset of the file.
    void write_at(std::uint64_t offset, const void* source, std::size_t count);
    // Flushes, syncs, closes and renames over the target; false when any write failed.
    bool finish();

    // Closes a reader, or abandons a writer and removes its temporary file.
    void close();

    // Why the last open_read(), create() or finish() failed, in the system's words.
    std::string failure_reason() const;
    // True when that failure was that the file is not there.
    bool not_found() const { return error_ == ENOENT; }

    // Byte counters of the writer, which chunked formats reset and read for their sizes.
    std::uint32_t counter_a = 0;
    std::uint32_t counter_b = 0;

    template <class T>
    void get(T& value) {
        file_get(&value, sizeof value);
    }
    template <class T>
    void put(const T& value) {
        file_put(&value, sizeof value);
    }

  private:
    void refill();
    bool flush(std::size_t count);
    bool failure(int error);  // keeps the reason; false

    std::unique_ptr<std::uint8_t[]> data_;
    std::uint16_t index_ = file_buffer_size;
    std::size_t valid_ = 0;  // bytes the last refill brought
    int fd_ = -1;
    bool writing_ = false;
    bool failed_ = false;
    bool replaces_ = false;
    int error_ = 0;  // errno of the last failure, or not_regular_file
    bool past_end_ = false;
    std::uint64_t size_ = 0;
    std::uint64_t consumed_ = 0;
    std::string target_;
    std::string temp_;
};

// Removes the temporary file of the save in progress, if any. Safe in a signal handler: the
// handlers of the programs call it before they end the process.
void remove_unfinished_save();

// Makes SIGINT, SIGTERM and SIGHUP remove the unfinished save's temporary file, then end the
// process as the signal would.
void remove_unfinished_save_on_signals();

}  // namespace kestrune
