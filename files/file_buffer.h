// The transfer buffer: the byte-wise buffered reader and writer of every binary file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace kestrune {

inline constexpr std::uint16_t file_buffer_size = 0x2000;  // refill and flush point
inline constexpr std::size_t file_buffer_allocation = 0x200A;

// One file at a time, read or written through 8,192 bytes.
//
// Reading never goes past the end of the file: a read beyond it yields zero bytes and sets
// past_end(), which the loaders test. Writing goes to a temporary file beside the target, which
// finish() renames over it only when every byte went out, so a failed save leaves the old file.
class file_buffer {
  public:
    file_buffer();
    ~file_buffer();
    file_buffer(const file_buffer&) = delete;
    file_buffer& operator=(const file_buffer&) = delete;

    // Reading. Opens a regular file; the index stands at 0x2000 so the first byte refills.
    bool open_read(const std::string& path);
    void file_get(void* destination, std::size_t count);
    void skip(std::size_t count);
    bool past_end() const { return past_end_; }
    std::uint64_t file_size() const { return size_; }
    std::uint64_t consumed() const { return consumed_; }
    std::uint64_t remaining() const { return consumed_ < size_ ? size_ - consumed_ : 0; }
    // Back to the start of the file for a fresh read.
    void restart();

    // Writing. The index starts at 0.
    bool create(const std::string& path);
    void file_put(const void* source, std::size_t count);
    // Flushes, closes and renames over the target; false when any write failed.
    bool finish();

    // Closes a reader, or abandons a writer and removes its temporary file.
    void close();

    // Byte counters of the writer, which chunked formats reset and read for their sizes.
    std::uint32_t counter_a = 0;
    std::uint32_t counter_b = 0;

    std::uint16_t index() const { return index_; }
    // System transfers made so far (reads or writes of the underlying file).
    int transfers() const { return transfers_; }

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

    std::unique_ptr<std::uint8_t[]> data_;
    std::uint16_t index_ = file_buffer_size;
    std::size_t valid_ = 0;  // bytes the last refill brought
    int fd_ = -1;
    bool writing_ = false;
    bool failed_ = false;
    bool past_end_ = false;
    std::uint64_t size_ = 0;
    std::uint64_t consumed_ = 0;
    int transfers_ = 0;
    std::string target_;
    std::string temp_;
};

}  // namespace kestrune
