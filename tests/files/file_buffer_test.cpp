#include "files/file_buffer.h"

#include <gtest/gtest.h>

#include <numeric>

#include "tests/files/file_test_support.h"

namespace kestrune {
namespace {

TEST(FileBuffer, WriterFlushesAtTheRefillPointAndCountsEveryByte) {
    testing::temp_folder dir;
    file_buffer f;
    ASSERT_TRUE(f.create(dir.path("out.bin")));
    EXPECT_EQ(f.index(), 0);
    std::vector<std::uint8_t> data(2 * file_buffer_size + 5);
    std::iota(data.begin(), data.end(), 0);
    // A full buffer goes out only when the next byte arrives.
    f.file_put(data.data(), file_buffer_size);
    EXPECT_EQ(f.transfers(), 0);
    EXPECT_EQ(f.index(), file_buffer_size);
    f.file_put(&data[file_buffer_size], 1);
    EXPECT_EQ(f.transfers(), 1);
    EXPECT_EQ(f.index(), 1);
    f.file_put(&data[file_buffer_size + 1], data.size() - file_buffer_size - 1);
    EXPECT_EQ(f.transfers(), 2);
    EXPECT_EQ(f.counter_a, data.size());
    EXPECT_EQ(f.counter_b, data.size());
    // Nothing reaches the target before the writer finishes.
    EXPECT_TRUE(testing::read_bytes(dir.path("out.bin")).empty());
    ASSERT_TRUE(f.finish());
    EXPECT_EQ(f.transfers(), 3);
    EXPECT_EQ(testing::read_bytes(dir.path("out.bin")), data);
}

TEST(FileBuffer, ReaderRefillsEvery8192BytesAndNeverReadsPastTheEnd) {
    testing::temp_folder dir;
    std::vector<std::uint8_t> data(file_buffer_size + 10);
    std::iota(data.begin(), data.end(), 1);
    testing::write_bytes(dir.path("in.bin"), data);
    file_buffer f;
    ASSERT_TRUE(f.open_read(dir.path("in.bin")));
    EXPECT_EQ(f.index(), file_buffer_size);
    EXPECT_EQ(f.file_size(), data.size());
    std::vector<std::uint8_t> got(file_buffer_size);
    f.file_get(got.data(), 1);
    EXPECT_EQ(f.transfers(), 1);
    f.file_get(got.data() + 1, file_buffer_size - 1);
    EXPECT_EQ(f.transfers(), 1);
    EXPECT_EQ(got, std::vector<std::uint8_t>(data.begin(), data.begin() + file_buffer_size));
    std::uint8_t tail[16];
    std::memset(tail, 0xEE, sizeof tail);
    f.file_get(tail, sizeof tail);
    EXPECT_EQ(f.transfers(), 2);
    // Ten bytes of the file, then zeros where the file has ended: nothing stale.
    EXPECT_TRUE(f.past_end());
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(tail[i], data[file_buffer_size + static_cast<std::size_t>(i)]);
    for (int i = 10; i < 16; ++i) EXPECT_EQ(tail[i], 0);
    EXPECT_EQ(f.remaining(), 0u);
    // Starting over reads the file from the beginning again.
    f.restart();
    EXPECT_FALSE(f.past_end());
    std::uint8_t first = 0;
    f.get(first);
    EXPECT_EQ(first, 1);
}

TEST(FileBuffer, OnlyRegularFilesOpen) {
    testing::temp_folder dir;
    file_buffer f;
    EXPECT_FALSE(f.open_read(dir.path("missing")));
    EXPECT_FALSE(f.open_read(dir.dir()));
    EXPECT_FALSE(f.create(dir.dir()));
}

}  // namespace
}  // namespace kestrune
