#include "files/file_buffer.h"

#include <gtest/gtest.h>

#include <numeric>

#include "tests/files/file_test_support.h"

namespace kestrune {
namespace {

TEST(FileBuffer, WriterCountsEveryByteAndPatchesEarlierBytesOverTheRefillPoint) {
    testing::temp_folder dir;
    file_buffer f;
    ASSERT_TRUE(f.create(dir.path("out.bin")));
    std::vector<std::uint8_t> data(2 * file_buffer_size + 5);
    std::iota(data.begin(), data.end(), 0);
    f.file_put(data.data(), data.size());
    const std::uint8_t patch[3] = {0xAA, 0xBB, 0xCC};
    f.write_at(file_buffer_size - 1, patch, 3);
    std::copy(patch, patch + 3, data.begin() + file_buffer_size - 1);
    f.file_put(data.data(), 2);
    data.push_back(0);
    data.push_back(1);
    // Nothing reaches the target before the writer finishes.
    EXPECT_TRUE(testing::read_bytes(dir.path("out.bin")).empty());
    ASSERT_TRUE(f.finish());
    EXPECT_EQ(testing::read_bytes(dir.path("out.bin")), data);
}

TEST(FileBuffer, ReaderNeverTakesStaleBytesPastTheEnd) {
    testing::temp_folder dir;
    std::vector<std::uint8_t> data(file_buffer_size + 10);
    std::iota(data.begin(), data.end(), 1);
    testing::write_bytes(dir.path("in.bin"), data);
    file_buffer f;
    ASSERT_TRUE(f.open_read(dir.path("in.bin")));
    std::vector<std::uint8_t> got(file_buffer_size);
    f.file_get(got.data(), got.size());
    EXPECT_EQ(got, std::vector<std::uint8_t>(data.begin(), data.begin() + file_buffer_size));
    // Ten bytes of the file, then zeros where the file has ended.
    std::vector<std::uint8_t> tail(16, 0xEE), want(data.end() - 10, data.end());
    want.resize(16);
    f.file_get(tail.data(), tail.size());
    EXPECT_TRUE(f.past_end());
    EXPECT_EQ(tail, want);
    f.restart();
    std::uint8_t first = 0;
    f.get(first);
    EXPECT_EQ(first, 1);
    EXPECT_FALSE(f.open_read(dir.path("missing")));
    EXPECT_FALSE(f.create(dir.dir()));
}

}  // namespace
}  // namespace kestrune
