#include <gtest/gtest.h>

#include <filesystem>

#include "files/file_messages.h"
#include "files/song_file.h"
#include "song/locate.h"
#include "song/patterns.h"
#include "tests/files/file_test_support.h"
#include "tests/support/chain_checker.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using namespace testing;
using SongCommands = file_test;

TEST_F(SongCommands, SaveOffersTheTitleAndRemembersWhatWasChosen) {
    file_state fs;
    fs.current_file_title = "Tune.sng";
    fs.folders[folder_save_song] = dir.dir() + "/";
    int titles = 0;
    fs.title_changed = [&] { ++titles; };
    give_track(*t, 0, 0, notes(4, song_start, 24));

    t.screen.file_names.push_back(std::nullopt);
    EXPECT_EQ(save_song(*t, fs), 0);
    ASSERT_EQ(t.screen.dialogs.size(), 1u);
    const file_dialog_request& r = t.screen.dialogs[0];
    EXPECT_EQ(r.filter, "Song Files (*.sng)|*.sng|All Files (*.*)|*.*");
    EXPECT_EQ(r.file_name + " " + r.folder + " " + fs.current_file_title,
              "Tune.sng " + dir.dir() + "/ Tune.sng");

    std::filesystem::create_directories(dir.path("sub"));
    t.screen.file_names.push_back(dir.path("sub/New.sng"));
    EXPECT_EQ(save_song(*t, fs), 1);
    EXPECT_EQ(
        fs.current_file_title + " " + fs.current_file_name + " " + fs.folders[folder_save_song],
        "New.sng " + dir.path("sub/New.sng") + " " + dir.path("sub/"));
    EXPECT_EQ(fs.recent_files, std::vector<std::string>{dir.path("sub/New.sng")});
    EXPECT_EQ(titles, 1);

    // Without Remember File Paths no folder is kept; a song with a file of its own is offered
    // where that file lies.
    fs.remember_file_paths = false;
    t.screen.file_names.push_back(dir.path("Other.sng"));
    EXPECT_EQ(save_song(*t, fs), 1);
    EXPECT_EQ(t.screen.dialogs.back().folder, dir.path("sub/"));
    EXPECT_EQ(fs.folders[folder_save_song], dir.path("sub/"));
    EXPECT_EQ(fs.recent_files,
              (std::vector<std::string>{dir.path("Other.sng"), dir.path("sub/New.sng")}));

    t->d.recording = 1;
    EXPECT_EQ(save_song(*t, fs), 0);
    EXPECT_EQ(t.screen.last_text(), msg_while_recording);
}

TEST_F(SongCommands, StartFileGoesByExtensionWithDefaultSngForNone) {
    const auto old_cwd = std::filesystem::current_path();
    std::filesystem::current_path(dir.dir());
    file_state fs;

    // No name and no Default.sng: nothing loads and the title says so.
    give_track(*t, 0, 0, notes(4, song_start, 24));
    EXPECT_EQ(load_song_by_type(*t, fs), 0);
    EXPECT_EQ(fs.current_file_name, "Default.sng");
    EXPECT_EQ(fs.current_file_title, "Untitled.sng");
    EXPECT_TRUE(t.screen.messages.empty());

    ASSERT_TRUE(write_song_file(*t, "Default.sng"));
    fs.current_file_name.clear();
    delete_track_chain(*t, 0, 0);
    locate(*t, 5000);
    EXPECT_EQ(load_song_by_type(*t, fs), 1);
    EXPECT_EQ(fs.current_file_title, "Default.sng");
    EXPECT_EQ(nums(t->slot(0, 0).in_use, t->d.position), nums(1, song_start));  // rewound

    // MIDI files go to their reader with the song cleared; the title is the stem + ".sng".
    std::string seen;
    fs.load_midi = [&](program& p, const std::string& path) {
        seen = path;
        return p.slot(0, 0).in_use == 0;
    };
    fs.current_file_name = dir.path("Song.Kar");
    EXPECT_EQ(load_song_by_type(*t, fs), 1);
    EXPECT_EQ(seen, dir.path("Song.Kar"));
    EXPECT_EQ(fs.current_file_title, "Song.sng");

    fs.current_file_name = dir.path("notes.txt");
    EXPECT_EQ(load_song_by_type(*t, fs), 0);
    EXPECT_EQ(t.screen.last_text(), msg_unknown_file_type);
    std::filesystem::current_path(old_cwd);
}

TEST_F(SongCommands, RecentFileAsksFirstAndSaysWhenItIsGone) {
    file_state fs;
    ASSERT_TRUE(write_song_file(*t, dir.path("r.sng")));
    t.screen.answers.push_back(msg_answer::cancel);
    EXPECT_EQ(load_recent_file(*t, fs, dir.path("r.sng")), 0);
    EXPECT_EQ(t.screen.last_text(), msg_loading_erases);
    EXPECT_EQ(t.screen.messages.back().buttons, msg_buttons::ok_cancel);

    t.screen.answers.push_back(msg_answer::ok);
    EXPECT_EQ(load_recent_file(*t, fs, dir.path("gone.sng")), 0);
    EXPECT_EQ(t.screen.last_text(), msg_file_not_found);

    t.screen.answers.push_back(msg_answer::ok);
    EXPECT_EQ(load_recent_file(*t, fs, dir.path("r.sng")), 1);
    EXPECT_EQ(fs.current_file_title, "r.sng");
    EXPECT_EQ(fs.recent_files.front(), dir.path("r.sng"));

    // The list keeps eight, without repeats.
    for (int i = 0; i < 10; ++i) add_recent_file(fs, "/f" + std::to_string(i));
    add_recent_file(fs, "/f5");
    EXPECT_EQ(fs.recent_files,
              (std::vector<std::string>{"/f5", "/f9", "/f8", "/f7", "/f6", "/f4", "/f3", "/f2"}));
}

}  // namespace
}  // namespace kestrune
