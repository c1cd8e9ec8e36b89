#include "files/pattern_file.h"

#include <gtest/gtest.h>

#include "files/file_messages.h"
#include "files/sysex_file.h"
#include "song/event_store.h"
#include "song/locate.h"
#include "song/patterns.h"
#include "tests/files/file_test_support.h"
#include "tests/support/chain_checker.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using namespace testing;
using PatternFile = file_test;
using TrackFile = file_test;
using SysexFile = file_test;

TEST_F(PatternFile, HoldsAllThirtyTwoTracksAndLandsOnlyInAnEmptyPattern) {
    test_program a(20);
    make_rich_song(*a);
    ASSERT_TRUE(write_pattern_file(*a, 2, dir.path("p.pat")));
    // An in-use byte for each track ahead of its chunk: track 0 is empty, track 2 is not.
    const auto b = read_bytes(dir.path("p.pat"));
    EXPECT_EQ(nums(get_le<std::uint32_t>(b, 0), b[16], b[16 + 2]), nums(0x59ABC251u, 0, 1));
    t->d.current_pattern = 5;
    ASSERT_EQ(read_pattern_file(*t, 5, dir.path("p.pat")), load_result::loaded);
    EXPECT_EQ(check_pool(*t), "");
    EXPECT_EQ(std::string(t->pattern(5).name), "Pat 2     ");
    for (int tr = 0; tr < 32; ++tr) expect_same_track(*a, 2, tr, *t, 5, tr);

    const int free_before = t->d.free_blocks;
    EXPECT_EQ(read_pattern_file(*t, 5, dir.path("p.pat")), load_result::occupied);
    EXPECT_EQ(t.screen.last_text(), msg_pattern_not_empty);
    EXPECT_EQ(t->d.free_blocks, free_before);
}

TEST_F(PatternFile, RefusalsLeaveTheSongAsItWas) {
    test_program a;
    give_track(*a, 0, 4, notes(100, song_start, 24));
    ASSERT_TRUE(write_pattern_file(*a, 0, dir.path("p.pat")));
    const auto good = read_bytes(dir.path("p.pat"));

    give_track(*t, 1, 0, notes(10, song_start, 24));
    const int free_before = t->d.free_blocks;
    auto refused = [&](const std::vector<std::uint8_t>& bytes, load_result want, const char* text) {
        write_bytes(dir.path("x.pat"), bytes);
        EXPECT_EQ(read_pattern_file(*t, 0, dir.path("x.pat")), want);
        EXPECT_EQ(t.screen.last_text(), text);
        EXPECT_EQ(t->slot(0, 4).in_use, 0);
        EXPECT_EQ(std::string(t->pattern(0).name), " PATTERN  ");
        EXPECT_EQ(t->d.free_blocks, free_before);
        EXPECT_EQ(check_pool(*t), "");
    };
    // A file that is not there is said as every loader says it.
    EXPECT_EQ(read_pattern_file(*t, 0, dir.path("none.pat")), load_result::not_opened);
    EXPECT_EQ(t.screen.messages.back().caption, caption_error);
    // A track file is not a pattern file.
    ASSERT_TRUE(write_track_file(*a, 0, 4, dir.path("t.trk")));
    refused(read_bytes(dir.path("t.trk")), load_result::not_song, msg_no_kestrune_file);
    // The total is unsigned: 0xFFFF is too big, not negative.
    auto b = good;
    set_le<std::uint16_t>(b, 4, 0xFFFF);
    refused(b, load_result::too_big, msg_file_too_big);
    b = good;
    b.resize(b.size() - 7);
    refused(b, load_result::damaged, msg_file_damaged);
    b = good;
    b[16 + 4 + sizeof(track_chunk_head) + 5] = st::back_link;
    refused(b, load_result::damaged, msg_file_damaged);
    // A pool that cannot hold the events, whatever the stored total says.
    test_program tiny(1);
    give_track(*a, 0, 5, notes(11000, song_start, 24));
    ASSERT_TRUE(write_pattern_file(*a, 0, dir.path("big.pat")));
    b = read_bytes(dir.path("big.pat"));
    set_le<std::uint16_t>(b, 4, 0);
    write_bytes(dir.path("big.pat"), b);
    EXPECT_EQ(read_pattern_file(*tiny, 0, dir.path("big.pat")), load_result::too_big);
    EXPECT_EQ(check_pool(*tiny), "");
}

TEST_F(TrackFile, KeepsTheTrackFieldsAndLandsOnlyOnAnEmptyTrackSeatedAtThePosition) {
    test_program a;
    give_track(*a, 1, 6, notes(70, song_start, 24));
    track_slot& s = a->slot(1, 6);
    s.channel = 9;
    s.port = 3;
    s.transpose = -7;
    put_name(s.name, "Bass line!");
    ASSERT_TRUE(write_track_file(*a, 1, 6, dir.path("t.trk")));
    auto b = read_bytes(dir.path("t.trk"));
    // The chunk follows with no in-use byte.
    EXPECT_EQ(nums(get_le<std::uint32_t>(b, 0), get_le<std::uint16_t>(b, 4), b[6 + 1], b.size()),
              nums(0x22FEDCBAu, s.blocks, 9, 6 + sizeof(track_chunk_head) + 70 * 6));

    give_track(*t, 0, 0, notes(3, song_start, 24));
    EXPECT_EQ(read_track_file(*t, 0, 0, dir.path("t.trk")), load_result::occupied);
    EXPECT_EQ(t.screen.last_text(), msg_track_not_empty);
    EXPECT_EQ(read_chain(t->store(), t->slot(0, 0).first).size(), 3u);
    // It may land in the parallel pattern.
    ASSERT_EQ(read_track_file(*t, parallel_pattern, 0, dir.path("t.trk")), load_result::loaded);
    expect_same_track(*a, 1, 6, *t, parallel_pattern, 0);
    EXPECT_EQ(check_pool(*t), "");

    // Into the playing pattern, seated at the position; the parallel pattern takes the parallel
    // flag.
    ASSERT_TRUE(write_pattern_file(*a, 1, dir.path("p.pat")));
    locate(*t, song_start + 24 * 50 + 1);
    ASSERT_EQ(t->d.display_pattern, 0);
    ASSERT_EQ(read_track_file(*t, 0, 2, dir.path("t.trk")), load_result::loaded);
    EXPECT_EQ(t->store().position(t->slot(0, 2).play), song_start + 24 * 51);
    delete_track_chain(*t, parallel_pattern, 0);
    t->d.current_pattern = parallel_pattern;
    ASSERT_EQ(read_pattern_file(*t, parallel_pattern, dir.path("p.pat")), load_result::loaded);
    EXPECT_EQ(t->d.parallel_track_position[6], t->d.position);
    EXPECT_EQ(t->store().position(t->slot(parallel_pattern, 6).play), song_start + 24 * 51);
}

TEST_F(PatternFile, CommandsSuggestANameAndCheckFirst) {
    file_state fs;
    fs.folders[folder_save_song] = "/should/not/be/used/";
    give_track(*t, 0, 0, notes(5, song_start, 24));
    t.screen.file_names.push_back(dir.path("p.pat"));
    EXPECT_EQ(save_pattern(*t, fs), 1);
    ASSERT_EQ(t.screen.dialogs.size(), 1u);
    EXPECT_EQ(t.screen.dialogs[0].file_name, "_PATTERN");
    EXPECT_EQ(t.screen.dialogs[0].filter, "Pattern Files (*.pat)|*.pat|All Files (*.*)|*.*");
    EXPECT_EQ(t.screen.dialogs[0].folder, "");

    // The destination is checked before the dialog opens.
    EXPECT_EQ(load_pattern(*t, fs), 0);
    EXPECT_EQ(t.screen.last_text(), msg_pattern_not_empty);
    EXPECT_EQ(t.screen.dialogs.size(), 1u);
    t->d.current_pattern = 1;
    t.screen.file_names.push_back(std::nullopt);  // cancelled
    EXPECT_EQ(load_pattern(*t, fs), 0);
    t.screen.file_names.push_back(dir.path("p.pat"));
    EXPECT_EQ(load_pattern(*t, fs), 1);
    EXPECT_EQ(t->slot(1, 0).in_use, 1);

    put_name(t->slot(1, 0).name, "Drum+Perc.");
    t->d.current_track = 0;
    t.screen.file_names.push_back(dir.path("d.trk"));
    EXPECT_EQ(save_track(*t, fs), 1);
    EXPECT_EQ(t.screen.dialogs.back().file_name, "Drum_Per");
    t->d.current_track = 1;
    EXPECT_EQ(save_track(*t, fs), 0);
    EXPECT_EQ(t.screen.last_text(), msg_no_data);
    t.screen.file_names.push_back(dir.path("d.trk"));
    EXPECT_EQ(load_track(*t, fs), 1);
    EXPECT_EQ(std::string(t->slot(1, 1).name), "Drum+Perc.");

    // Refused during a take.
    t->d.recording = 1;
    EXPECT_EQ(load_track(*t, fs), 0);
    EXPECT_EQ(t.screen.last_text(), msg_while_recording);
    t->d.recording = 0;
    EXPECT_EQ(check_pool(*t), "");
}

TEST_F(SysexFile, MessagesLandAt3072AndBadBytesOrTooManyAreRefused) {
    track_slot& s = t->slot(0, 3);
    s.channel = 5;
    s.transpose = 4;
    // Two messages; the second holds an inner 0xF0 as payload and is long enough to continue.
    write_bytes(dir.path("two.syx"), {0xF0, 0x41, 0x10, 0x42, 0xF7, 0xF0, 0x01, 0xF0, 0x02, 0x03,
                                      0x04, 0x05, 0x06, 0x07, 0xF7});
    ASSERT_EQ(read_syx_file(*t, 0, 3, dir.path("two.syx")), load_result::loaded);
    EXPECT_EQ(check_pool(*t), "");
    EXPECT_EQ(std::string(s.name), sysex_track_name);
    EXPECT_EQ(nums(s.in_use, s.channel, s.transpose), nums(1, 5, 4));
    EXPECT_EQ(
        difference(read_track(*t, 0, 3),
                   flat({long_event(st::sysex, song_start, {0x41, 0x10, 0x42, 0xF7}),
                         long_event(st::sysex, song_start,
                                    {0x01, 0xF0, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0xF7})})),
        "");

    // An empty file gives a track in use with no event.
    write_bytes(dir.path("empty.syx"), {});
    ASSERT_EQ(read_syx_file(*t, 0, 4, dir.path("empty.syx")), load_result::loaded);
    EXPECT_EQ(t->slot(0, 4).in_use, 1);
    EXPECT_EQ(t->store().status(t->slot(0, 4).first), st::end);
    EXPECT_EQ(read_syx_file(*t, 0, 4, dir.path("empty.syx")), load_result::occupied);
    EXPECT_EQ(t.screen.last_text(), msg_track_not_empty);

    // Bad bytes: refused, and nothing taken.
    const int free_before = t->d.free_blocks;
    const std::vector<std::vector<std::uint8_t>> bad = {
        {0x41, 0xF0, 0x01, 0xF7},  // leading byte other than 0xF0
        {0xF0, 0x01, 0x02},        // ends inside a message
        {0xF0, 0x01, 0xF7, 0x00},  // a byte between messages
        {0xF0, 0x01, 0x90, 0xF7},  // a status byte inside
        {0xF0, 0x01, 0x02, 0xF0},  // an inner 0xF0 opens, nothing closes
        // An inner 0xF0 on the status byte of a continuation record would read as a head.
        {0xF0, 1, 2, 3, 4, 5, 6, 7, 0xF0, 8, 0xF7},
    };
    for (const auto& bytes : bad) {
        write_bytes(dir.path("bad.syx"), bytes);
        EXPECT_EQ(read_syx_file(*t, 0, 0, dir.path("bad.syx")), load_result::damaged);
        EXPECT_EQ(t.screen.last_text(), msg_not_syx);
        EXPECT_EQ(t->slot(0, 0).in_use, 0);
        EXPECT_EQ(t->d.free_blocks, free_before);
    }
    EXPECT_EQ(read_syx_file(*t, 0, 0, dir.path("none.syx")), load_result::not_opened);
    EXPECT_EQ(t.screen.messages.back().caption, caption_error);
    EXPECT_EQ(check_pool(*t), "");

    test_program small(1);  // 313 blocks
    const int free_blocks = small->d.free_blocks;
    // A file of (free - 1) * 96 - 100 bytes passes the estimate; 96 more bytes do not.
    auto message_of = [](std::size_t bytes) {
        std::vector<std::uint8_t> m(bytes, 0x11);
        m.front() = 0xF0;
        m.back() = 0xF7;
        return m;
    };
    const std::size_t fits = static_cast<std::size_t>(free_blocks - 1) * 96 - 100;
    write_bytes(dir.path("a.syx"), message_of(fits + 96));
    EXPECT_EQ(read_syx_file(*small, 0, 0, dir.path("a.syx")), load_result::too_big);
    EXPECT_EQ(small.screen.last_text(), msg_file_too_big);
    write_bytes(dir.path("a.syx"), message_of(fits));
    EXPECT_EQ(read_syx_file(*small, 0, 0, dir.path("a.syx")), load_result::loaded);
    EXPECT_EQ(check_pool(*small), "");
    // Many tiny messages pass the estimate but not the real count: refused all the same.
    std::vector<std::uint8_t> tiny;
    for (int i = 0; i < 13000; ++i) tiny.insert(tiny.end(), {0xF0, 0xF7});
    write_bytes(dir.path("b.syx"), tiny);
    test_program u(1);
    EXPECT_EQ(read_syx_file(*u, 0, 0, dir.path("b.syx")), load_result::too_big);
    EXPECT_EQ(check_pool(*u), "");
}

}  // namespace
}  // namespace kestrune
