#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "files/pattern_file.h"
#include "files/settings_file.h"
#include "files/song_file.h"
#include "files/sysex_file.h"
#include "song/patterns.h"
#include "tests/files/file_test_support.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

// Writes small files of every kind as seeds for the fuzz targets, when asked to by
// KESTRUNE_FUZZ_SEEDS; each is loaded back first, so only files the loaders take are seeds.
TEST(FuzzSeeds, SmallFilesOfEveryKind) {
    const char* root = std::getenv("KESTRUNE_FUZZ_SEEDS");
    if (!root) GTEST_SKIP() << "KESTRUNE_FUZZ_SEEDS names no folder";
    const std::string dir = root;
    for (const char* sub : {"song", "pattern", "track", "sysex", "settings", "patch_names"})
        std::filesystem::create_directories(dir + "/" + sub);

    testing::test_program t(1);
    ASSERT_TRUE(write_song_file(*t, dir + "/song/empty.sng"));
    testing::put_track(*t, 0, 0, testing::short_records(song_start, 12, 1));
    testing::put_track(*t, 1, 17, testing::sysex_records(song_start + 10, 20, 2));
    testing::put_track(*t, parallel_pattern, 25,
                       testing::text_records(song_start, "Hi\r\nyou", true));
    midi_event fast = midi_event::make(st::tempo, 0, 0, 0);
    fast.set_tempo_value(30000);
    testing::put_list(*t, t->d.tempo_chain, {fast});
    t->song.grid_pane_height = 300;
    t->song.grid_split = 90;
    song_file_map map;
    ASSERT_TRUE(write_song_file(*t, dir + "/song/small.sng", &map));
    auto b = testing::read_bytes(dir + "/song/small.sng");
    testing::write_bytes(dir + "/song/oldest.sng",
                         {b.begin(), b.begin() + static_cast<long>(map.oldest_end)});
    ASSERT_TRUE(write_pattern_file(*t, 0, dir + "/pattern/small.pat"));
    ASSERT_TRUE(write_pattern_file(*t, 5, dir + "/pattern/empty.pat"));
    ASSERT_TRUE(write_track_file(*t, 1, 17, dir + "/track/sysex.trk"));
    ASSERT_TRUE(write_track_file(*t, 0, 0, dir + "/track/notes.trk"));
    testing::write_bytes(dir + "/sysex/two.syx",
                         {0xF0, 0x41, 0x10, 0xF7, 0xF0, 1, 2, 3, 4, 5, 6, 7, 8, 0xF7});
    testing::write_bytes(dir + "/sysex/empty.syx", {});

    user_settings s;
    s.recent_files = {"/a.sng", "/b/c.mid", "/d.sng"};
    s.folders = {"/x/", "/y/", "", "/z/"};
    s.licence = "licence";
    ASSERT_TRUE(write_settings_file(dir + "/settings/three.set", s));
    auto text = [](const std::string& x) { return std::vector<std::uint8_t>(x.begin(), x.end()); };
    testing::write_bytes(
        dir + "/patch_names/crlf.txt",
        text("[Soundset]\r\nGM\r\n[Patches]\r\n1 Piano\r\n2 Organ\r\n128 Last\r\n"));
    testing::write_bytes(dir + "/patch_names/lf.txt",
                         text("[Patches]\n1 Piano\n0 Zero\n129 x\n3\n"));

    testing::test_program u(1);
    for (const char* f : {"empty.sng", "small.sng", "oldest.sng"})
        EXPECT_EQ(read_song_file(*u, dir + "/song/" + f, true), load_result::loaded) << f;
    EXPECT_EQ(read_pattern_file(*u, 7, dir + "/pattern/small.pat"), load_result::loaded);
    EXPECT_EQ(read_track_file(*u, 8, 8, dir + "/track/sysex.trk"), load_result::loaded);
    EXPECT_EQ(read_syx_file(*u, 8, 9, dir + "/sysex/two.syx"), load_result::loaded);
    user_settings back;
    EXPECT_TRUE(read_settings_file(dir + "/settings/three.set", back));
}

}  // namespace
}  // namespace kestrune
