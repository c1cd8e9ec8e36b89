#include "files/song_file.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <numeric>

#include "files/file_buffer.h"
#include "files/file_messages.h"
#include "song/patterns.h"
#include "tests/files/file_test_support.h"
#include "tests/support/chain_checker.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using namespace testing;
using SongFile = folder_test;
using Saving = file_test;
using FileBuffer = folder_test;

// Where an empty song's tempo list starts: after the fixed part and sixteen empty patterns.
constexpr std::size_t empty_tempo_list_at = 577 + 16 * (10 + 16);

TEST_F(SongFile, EveryFieldComesBackAndTheSecondFileEqualsTheFirst) {
    for (auto make : {make_rich_song, make_extreme_song}) {
        test_program a(20);
        make(*a);
        ASSERT_EQ(check_pool(*a), "");
        ASSERT_TRUE(write_song_file(*a, dir.path("a.sng")));

        test_program b(20);
        b->song.grid_pane_height = a->song.grid_pane_height;
        ASSERT_EQ(read_song_file(*b, dir.path("a.sng"), true), load_result::loaded);
        ASSERT_EQ(check_pool(*b), "");
        EXPECT_TRUE(b.screen.messages.empty());
        expect_same_song(*a, *b);
        EXPECT_EQ(b->d.active_signature.first, b->d.signature_track.first);
        ASSERT_TRUE(write_song_file(*b, dir.path("b.sng")));
        EXPECT_EQ(read_bytes(dir.path("a.sng")), read_bytes(dir.path("b.sng")));
    }
}

TEST_F(SongFile, GridStateFollowsTheWindowAndExternalSyncKeepsTheTempoTrackOff) {
    test_program a(20);
    make_rich_song(*a);
    song_file_map map;
    ASSERT_TRUE(write_song_file(*a, dir.path("g.sng"), &map));
    auto b = read_bytes(dir.path("g.sng"));
    const std::size_t grid = map.markers[3] + 4;
    EXPECT_EQ(get_le<std::int16_t>(b, grid + 44), 30);  // 120 of 400 pixels
    set_le<std::int16_t>(b, grid + 8, 0);               // zoom y
    set_le<std::int16_t>(b, grid + 10, 0);              // zoom x
    write_bytes(dir.path("g.sng"), b);

    test_program t(20);
    t->song.grid_pane_height = 250;
    t->d.external_sync = 1;
    ASSERT_EQ(read_song_file(*t, dir.path("g.sng"), true), load_result::loaded);
    // 30 percent of 250; a zoom of 0 is held to 8. The song's tempo of 133.50 drives the engine
    // with the tempo track off: 13350 x 0.262144 = 3499.6.
    EXPECT_EQ(nums(t->song.grid_split, t->song.grid_zoom_y, t->song.grid_zoom_x,
                   t->d.tempo_track_on, t->d.tempo_increment),
              nums(75, 8, 8, 0, 3499));
}

TEST_F(SongFile, FileCutAfterASectionLoadsAsAnOlderFileOnlyWhenItsBlockTotalAgrees) {
    test_program rich(20);
    make_rich_song(*rich);
    song_file_map map;
    ASSERT_TRUE(write_song_file(*rich, dir.path("full.sng"), &map));
    const auto full = read_bytes(dir.path("full.sng"));
    // Cut points: after the oldest layout, then after each section before the closing one.
    std::vector<std::size_t> cuts = {map.oldest_end};
    for (std::size_t i = 1; i < map.markers.size(); ++i) cuts.push_back(map.markers[i]);
    auto load_cut = [&](const std::vector<std::uint8_t>& bytes, std::size_t at, program& p) {
        write_bytes(dir.path("cut.sng"), {bytes.begin(), bytes.begin() + static_cast<long>(at)});
        return read_song_file(p, dir.path("cut.sng"), true);
    };
    // Tracks lost with the sections that held them, or a file ending inside the closing section:
    // the stored total tells, and nothing loads.
    std::vector<std::size_t> damaged(cuts.begin(), cuts.end() - 1);
    damaged.push_back(full.size() - 10);
    for (const std::size_t at : damaged) {
        SCOPED_TRACE(at);
        test_program t(20);
        EXPECT_EQ(load_cut(full, at, *t), load_result::damaged);
        EXPECT_EQ(t.screen.last_text(), msg_file_damaged);
        EXPECT_EQ(t->slot(0, 0).in_use, 0);
        EXPECT_EQ(check_pool(*t), "");
    }
    // A song of 16 tracks a pattern is whole after any section, and later state keeps its value.
    test_program sixteen(20);
    make_rich_song(*sixteen);
    for (int pat = 0; pat <= parallel_pattern; ++pat)
        for (int tr = 16; tr < 32; ++tr)
            if (sixteen->slot(pat, tr).in_use) delete_track_chain(*sixteen, pat, tr);
    song_file_map older_map;
    ASSERT_TRUE(write_song_file(*sixteen, dir.path("older.sng"), &older_map));
    const auto older = read_bytes(dir.path("older.sng"));
    for (std::size_t c = 0; c < cuts.size(); ++c) {
        SCOPED_TRACE(c);
        test_program t(20);
        t->song.mixer_snapshots[2][5] = 555;
        t->song.grid_lane = 99;
        const std::size_t at = c == 0 ? older_map.oldest_end : older_map.markers[c];
        ASSERT_EQ(load_cut(older, at, *t), load_result::loaded);
        EXPECT_EQ(check_pool(*t), "");
        EXPECT_TRUE(t.screen.messages.empty());
        // c counts the sections read: 0 none, 1 reserved, 2 tracks 16-23, 3 snapshots, 4 grid.
        // The first tempo copy was cut to 250.00; the song tempo is the step-10 one.
        EXPECT_EQ(nums(t->song.mixer_snapshots[2][5], t->song.grid_lane,
                       read_chain(t->store(), t->d.tempo_chain.first)[3].tempo_value(),
                       t->app.song_tempo, t->slot(0, 0).in_use),
                  nums(c >= 3 ? rich->song.mixer_snapshots[2][5] : 555, c >= 4 ? 7 : 99, 25000,
                       13350, 1));
    }
    // Without the final marker the file is whole: the loader never reads it.
    test_program t(20);
    EXPECT_EQ(load_cut(full, full.size() - 4, *t), load_result::loaded);
}

TEST_F(SongFile, RefusedFilesSayWhyAndLoseNothing) {
    test_program rich;
    make_rich_song(*rich);
    ASSERT_TRUE(write_song_file(*rich, dir.path("good.sng")));
    const auto good = read_bytes(dir.path("good.sng"));

    test_program t;
    give_track(*t, 0, 0, notes(10, song_start, 24));
    // Wrong magic, and a file too short for one: the song stays.
    for (std::vector<std::uint8_t> bytes :
         {std::vector<std::uint8_t>{1, 2, 3, 4, 5}, std::vector<std::uint8_t>{0x32, 0xB2}}) {
        write_bytes(dir.path("x.sng"), bytes);
        EXPECT_EQ(read_song_file(*t, dir.path("x.sng"), true), load_result::not_song);
        EXPECT_EQ(t.screen.last_text(), msg_no_kestrune_file);
        EXPECT_EQ(t->slot(0, 0).in_use, 1);
    }

    // A stored total that leaves fewer than 2 blocks spare is too big: the song is cleared.
    auto b = good;
    set_le<std::uint16_t>(b, 4, static_cast<std::uint16_t>(test_program()->d.free_blocks - 1));
    write_bytes(dir.path("x.sng"), b);
    EXPECT_EQ(read_song_file(*t, dir.path("x.sng"), true), load_result::too_big);
    EXPECT_EQ(t.screen.last_text(), msg_file_too_big);
    EXPECT_EQ(t->slot(0, 0).in_use, 0);
    EXPECT_EQ(check_pool(*t), "");
    // From 32768 on the total reads as negative and passes that check; the events are what
    // count, and a total that disagrees with them is damage.
    set_le<std::uint16_t>(b, 4, 0x8000);
    write_bytes(dir.path("x.sng"), b);
    EXPECT_EQ(read_song_file(*t, dir.path("x.sng"), true), load_result::damaged);
    EXPECT_EQ(check_pool(*t), "");
    // A pool too small for the events is refused whatever the total says.
    test_program big(10);
    for (int tr = 0; tr < 8; ++tr) give_track(*big, 0, tr, notes(2000, song_start, 1));
    ASSERT_TRUE(write_song_file(*big, dir.path("big.sng")));
    b = read_bytes(dir.path("big.sng"));
    set_le<std::uint16_t>(b, 4, 0);
    write_bytes(dir.path("big.sng"), b);
    test_program small(1);
    give_track(*small, 2, 2, notes(5, song_start, 24));
    EXPECT_EQ(read_song_file(*small, dir.path("big.sng"), true), load_result::too_big);
    EXPECT_EQ(nums(small.screen.last_text() == msg_file_too_big, small->slot(2, 2).in_use),
              nums(1, 0));
    EXPECT_EQ(check_pool(*small), "");
    // A FIFO, a device or a folder is refused at once, and says what it is.
    ASSERT_EQ(::mkfifo(dir.path("fifo.sng").c_str(), 0600), 0);
    for (const auto& [path, why] : {std::pair{dir.path("fifo.sng"), "Not a regular file"},
                                    {std::string("/dev/zero"), "Not a regular file"},
                                    {dir.dir(), "Is a directory"}}) {
        EXPECT_EQ(read_song_file(*t, path, true), load_result::not_opened);
        EXPECT_EQ(t.screen.last_text(), std::string(msg_open_failed) + "\n" + path + ": " + why);
    }

    // Damage inside a structure: refused, song cleared, no block lost.
    const std::size_t chunk = 577 + 10 + 1;  // pattern 0, track 0's chunk
    ASSERT_EQ(good[chunk - 1], 1);
    const std::size_t events = chunk + sizeof(track_chunk_head);
    auto damage = [&](const std::vector<std::uint8_t>& from, const char* what, auto change) {
        SCOPED_TRACE(what);
        auto d = from;
        change(d);
        write_bytes(dir.path("x.sng"), d);
        give_track(*t, 1, 1, notes(5, song_start, 24));
        EXPECT_EQ(read_song_file(*t, dir.path("x.sng"), true), load_result::damaged);
        EXPECT_EQ(t.screen.last_text(), msg_file_damaged);
        EXPECT_EQ(t->slot(1, 1).in_use, 0);
        EXPECT_EQ(check_pool(*t), "");
    };
    damage(good, "count past the end",
           [&](auto& d) { set_le<std::uint32_t>(d, chunk + 34, 0x7FFFFFFF); });
    damage(good, "count a little too big", [&](auto& d) {
        set_le<std::uint32_t>(d, chunk + 34, get_le<std::uint32_t>(d, chunk + 34) + 1);
    });
    damage(good, "end status", [&](auto& d) { d[events + 5] = st::end; });
    damage(good, "link status", [&](auto& d) { d[events + 6 + 5] = st::forward_link; });
    damage(good, "continuation without head", [&](auto& d) { d[events + 5] = 0x12; });
    damage(good, "positions out of order", [&](auto& d) { d[events + 6 * 3 + 3] = 0xFF; });
    damage(good, "cut inside a chunk", [&](auto& d) { d.resize(events + 20); });
    damage(good, "cut inside the head", [&](auto& d) { d.resize(300); });
    // Long events must be whole: a sysex of a head and 3 continuations, its payload ending in
    // byte 0 of the last.
    test_program x;
    give_track(*x, 0, 0, long_event(st::sysex, song_start, sysex_payload(15)));
    ASSERT_TRUE(write_song_file(*x, dir.path("s.sng")));
    const auto sysex = read_bytes(dir.path("s.sng"));
    ASSERT_EQ(nums(sysex[events + 5], sysex[events + 3 * 6]), nums(st::sysex, st::sysex_end));
    damage(sysex, "closing byte lost", [&](auto& d) { d[events + 3 * 6] = 0x05; });
    damage(sysex, "continuation takes a note status", [&](auto& d) { d[events + 6 + 5] = 0x90; });
    damage(sysex, "early closing byte", [&](auto& d) { d[events + 6 + 2] = 0xF7; });

    // A tempo list may hold tempo records only.
    test_program e;
    ASSERT_TRUE(write_song_file(*e, dir.path("empty.sng")));
    b = read_bytes(dir.path("empty.sng"));
    b[empty_tempo_list_at + 6 + 5] = 0x90;
    write_bytes(dir.path("x.sng"), b);
    EXPECT_EQ(read_song_file(*t, dir.path("x.sng"), true), load_result::damaged);
    EXPECT_EQ(check_pool(*t), "");
}

int temporaries_in(const temp_folder& dir) {
    int n = 0;
    for (auto& e : std::filesystem::directory_iterator(dir.dir()))
        n += e.path().filename().string().starts_with(".kestrune-");
    return n;
}

// The message of a failed save: its first line, then the file and the system's reason.
std::string save_failure(const char* first, const std::string& path, const char* reason) {
    return std::string(first) + "\n" + path + ": " + reason;
}

TEST_F(Saving, SaysWhyFollowsLinksKeepsPermissionsAndLeavesNoTemporaries) {
    give_track(*t, 0, 0, notes(3, song_start, 96));
    // No file can be made: the save says why.
    const std::string lost = dir.path("no/such/folder/x.sng");
    EXPECT_FALSE(write_song_file(*t, lost));
    EXPECT_EQ(t.screen.last_text(),
              save_failure(msg_invalid_handle, lost, "No such file or directory"));
    EXPECT_EQ(t.screen.messages.back().icon, msg_icon::stop);
    ASSERT_TRUE(write_song_file(*t, dir.path("same.sng")));

    // Through a link to its file, with the file's permissions; a read-only file is refused.
    const std::string real = dir.path("real.sng"), link = dir.path("link.sng");
    write_bytes(real, {1, 2, 3});
    ::chmod(real.c_str(), 0640);
    ASSERT_EQ(::symlink("real.sng", link.c_str()), 0);
    ASSERT_TRUE(write_song_file(*t, link));
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_EQ(read_bytes(real), read_bytes(dir.path("same.sng")));
    struct stat st {};
    ::stat(real.c_str(), &st);
    EXPECT_EQ(st.st_mode & 0777, 0640u);
    ::chmod(real.c_str(), 0444);
    write_bytes(dir.path("x.sng"), {1});
    EXPECT_FALSE(write_song_file(*t, link));
    EXPECT_EQ(t.screen.last_text(), save_failure(msg_invalid_handle, link, "Permission denied"));
    EXPECT_EQ(read_bytes(real), read_bytes(dir.path("same.sng")));

    // A failing write keeps the old file, and says so only when there was one: a file size limit
    // cuts the writes part way.
    write_bytes(dir.path("old.sng"), {1, 2, 3});
    make_rich_song(*t);
    auto old_handler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit saved{};
    ::getrlimit(RLIMIT_FSIZE, &saved);
    rlimit small = saved;
    small.rlim_cur = 5000;
    ::setrlimit(RLIMIT_FSIZE, &small);
    const bool replaced = write_song_file(*t, dir.path("old.sng"));
    const std::string replacing = t.screen.last_text();
    const bool made = write_song_file(*t, dir.path("new.sng"));
    ::setrlimit(RLIMIT_FSIZE, &saved);
    std::signal(SIGXFSZ, old_handler);
    EXPECT_FALSE(replaced || made);
    EXPECT_EQ(replacing, save_failure(msg_write_failed, dir.path("old.sng"), "File too large") +
                             "\n" + msg_old_file_kept);
    EXPECT_EQ(t.screen.last_text(),
              save_failure(msg_write_failed, dir.path("new.sng"), "File too large"));
    EXPECT_EQ(read_bytes(dir.path("old.sng")), (std::vector<std::uint8_t>{1, 2, 3}));
    EXPECT_FALSE(std::filesystem::exists(dir.path("new.sng")));
    EXPECT_EQ(temporaries_in(dir), 0);

    // A save cut off by a signal removes its temporary file.
    const pid_t child = ::fork();
    if (child == 0) {
        remove_unfinished_save_on_signals();
        file_buffer f;
        if (f.create(dir.path("x.sng"))) f.file_put("x", 1);
        std::raise(SIGTERM);
        ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(temporaries_in(dir), 0);
    // What a killed save left goes with the next save into the folder; a live save's stays.
    const std::string dead = dir.path(".kestrune-" + std::to_string(child) + "-3.tmp");
    const std::string live = dir.path(".kestrune-" + std::to_string(::getpid()) + "-99999.tmp");
    write_bytes(dead, {1});
    write_bytes(live, {1});
    ASSERT_TRUE(write_song_file(*t, dir.path("x.sng")));
    EXPECT_FALSE(std::filesystem::exists(dead));
    EXPECT_TRUE(std::filesystem::exists(live));
}

TEST_F(FileBuffer, ReaderNeverTakesStaleBytesPastTheEnd) {
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
}

}  // namespace
}  // namespace kestrune
