#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstring>
#include <filesystem>
#include <optional>

#include "files/file_messages.h"
#include "files/patch_names.h"
#include "files/settings_file.h"
#include "tests/files/file_test_support.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using namespace testing;
using SettingsFile = folder_test;

user_settings every_field_set() {
    user_settings s;
    s.midi_out_device = {1, 2, 0, 3};
    s.midi_in_device = 2;
    s.memory_units = 50;  // the most
    s.show_patch_names[1][9] = 1;
    s.show_patch_names[3][0] = 1;
    s.timer_resolution = 1;
    s.window_left = -5;
    s.window_top = 40;
    s.window_width = 1024;
    s.window_height = 700;
    s.simple_bardisplay = 1;
    s.click_always = 1;
    s.midi_click = 0;
    s.sync_out = 1;
    s.actual_position = 1;
    s.two_bar_count_in = 1;
    s.chase_events = 1;
    s.reset_on_stop = 1;
    s.mixer_define_controller = 11;
    s.recent_files = {"/home/u/a.sng", "/home/u/b.mid", "/tmp/c.sng"};
    s.zoom_index = 3;
    s.show_clock = 1;
    s.allow_double_clicks = 0;
    s.remember_file_paths = 0;
    s.sync_out_ports = {1, 0, 1, 0};
    s.sync_delay_value = -7;
    s.spp_offset = 8;
    s.folders = {"/songs/", "/midi/", "/out/", "/out/midi/"};
    s.licence = "opaque \x01 licence text";
    return s;
}

// Sets an environment variable, or unsets it (nullptr), for the object's life.
class scoped_env {
  public:
    scoped_env(const char* name, const char* value) : name_(name) {
        const char* old = std::getenv(name);
        old_ = old ? std::optional<std::string>(old) : std::nullopt;
        value ? ::setenv(name, value, 1) : ::unsetenv(name);
    }
    ~scoped_env() { old_ ? ::setenv(name_, old_->c_str(), 1) : ::unsetenv(name_); }

  private:
    const char* name_;
    std::optional<std::string> old_;
};

// A program started with the settings as they are found.
struct started {
    started() { load_settings(*t, s, fs); }
    test_program t;
    user_settings s;
    file_state fs;
};

TEST_F(SettingsFile, BrokenFilesAreSaidKeptAsideAndLeaveTheDefaults) {
    scoped_env config("XDG_CONFIG_HOME", dir.dir().c_str());
    const std::string folder = dir.path("Vandrelle/Kestrune/");
    const std::string file = folder + settings_file_name, bad = file + broken_settings_suffix;
    std::filesystem::create_directories(folder);
    ASSERT_TRUE(write_settings_file(dir.path("k.set"), every_field_set()));
    const auto good = read_bytes(dir.path("k.set"));
    auto grown = good, long_path = good;
    grown.push_back(0);
    std::fill(long_path.begin() + 167, long_path.begin() + 167 + 280, 'x');
    const std::vector<std::pair<std::vector<std::uint8_t>, const char*>> broken = {
        {{0x66, 0x33, 0xDD, 0x33, 0, 0}, "Not a settings file"},
        {{good.begin(), good.begin() + 180}, "The file is damaged"},  // inside a recent file
        {{good.begin(), good.end() - 1}, "The file is damaged"},      // cut in the closing magic
        {grown, "The file is damaged"},
        {long_path, "The file is damaged"},  // a path past its slot
    };
    const auto check = [&](const char* why) {
        started a;
        user_settings defaults;
        defaults.broken_file = file;  // to be set aside
        EXPECT_TRUE(a.s == defaults);
        ASSERT_EQ(a.t.screen.messages.size(), 1u);
        EXPECT_EQ(a.t.screen.last_text(), std::string(msg_settings_unreadable) + "\n" + file +
                                              ": " + why + "\n" + msg_settings_defaults + " " +
                                              msg_settings_kept_as + "Kestrune_32.set.bad.");
        EXPECT_TRUE(save_settings(*a.t, a.s, a.fs));
        EXPECT_EQ(read_settings_file(file, a.s), settings_read::loaded);
    };
    for (const auto& [bytes, why] : broken) {
        SCOPED_TRACE(why);
        write_bytes(file, bytes);
        check(why);
        EXPECT_EQ(read_bytes(bad), bytes);
    }
    // A folder, then a link to a device, in the file's place.
    for (const bool folder : {true, false}) {
        std::filesystem::remove(file);
        std::filesystem::remove(bad);
        if (folder)
            std::filesystem::create_directory(file);
        else
            std::filesystem::create_symlink("/dev/zero", file);
        check(folder ? "Is a directory" : "Not a regular file");
        EXPECT_TRUE(folder ? std::filesystem::is_directory(bad) : std::filesystem::is_symlink(bad));
    }

    // When the broken file cannot be set aside, nothing is written over it, and that is said.
    write_bytes(file, {1, 2, 3});
    std::filesystem::remove(bad);
    std::filesystem::create_directories(bad + "/x");
    started a;
    EXPECT_FALSE(save_settings(*a.t, a.s, a.fs));
    EXPECT_EQ(a.t.screen.last_text(),
              std::string(msg_settings_not_saved) + "\n" + bad + ": Is a directory");
    EXPECT_EQ(read_bytes(file), (std::vector<std::uint8_t>{1, 2, 3}));

    // Values are held in their ranges.
    auto b = good;
    set_le<std::int32_t>(b, 144, 500);
    b[166] = 200;
    write_bytes(dir.path("x.set"), b);
    ASSERT_EQ(read_settings_file(dir.path("x.set"), a.s), settings_read::loaded);
    EXPECT_EQ(nums(a.s.timer_resolution, a.s.mixer_define_controller), nums(20, 127));
}

TEST_F(SettingsFile, PerUserFileFirstThenTheOneBesideTheProgram) {
    scoped_env home("XDG_CONFIG_HOME", dir.path("config").c_str());
    const std::string user_file = dir.path("config") + "/Vandrelle/Kestrune/Kestrune_32.set";
    const std::string beside = program_folder_path(settings_file_name);
    ASSERT_FALSE(std::filesystem::exists(beside)) << "a stray settings file beside the tests";

    // No file anywhere: the defaults, the folders at the user's home, nothing said.
    scoped_env user_home("HOME", dir.path("home").c_str());
    started a;
    EXPECT_EQ(nums(a.t->d.midi_out_device[0], a.t->d.memory_units), nums(0, 10));
    EXPECT_EQ(a.fs.folders[folder_load_song], dir.path("home") + "/");
    EXPECT_TRUE(std::filesystem::is_directory(dir.path("config") + "/Vandrelle/Kestrune"));

    // A file beside the program is read when the per-user folder has none.
    const user_settings written = every_field_set();
    ASSERT_TRUE(write_settings_file(beside, written));
    // The head record as it stands, the eight recent files, the middle record, the folders, the
    // licence and the magic again.
    using namespace std::string_literals;
    const auto f = read_bytes(beside);
    const std::string recent = "/home/u/a.sng\0/home/u/b.mid\0/tmp/c.sng\0\0\0\0\0\0"s;
    const std::size_t m = 167 + recent.size();
    ASSERT_GE(f.size(), m + 202);
    EXPECT_EQ(std::string(f.begin() + 167, f.begin() + static_cast<long>(m)), recent);
    EXPECT_EQ(get_le<std::int32_t>(f, m), 3);
    EXPECT_EQ(std::string(f.begin() + static_cast<long>(m) + 202, f.end() - 4),
              "/songs/\0/midi/\0/out/\0/out/midi/\0opaque \x01 licence text\0"s);
    EXPECT_EQ(nums(get_le<std::uint32_t>(f, 0), get_le<std::uint32_t>(f, f.size() - 4)),
              nums(settings_magic, settings_magic));
    started b;
    std::filesystem::remove(beside);
    EXPECT_TRUE(b.s == written);
    // The values reach the program and the file commands.
    const dll_data& d = b.t->d;
    EXPECT_EQ(nums(d.memory_units, d.midi_out_device[3], d.mixer_define_controller,
                   b.t->app.simple_bardisplay, b.fs.remember_file_paths, d.click_always,
                   d.midi_click, d.sync_out, b.t->app.chase_events),
              nums(50, 3, 11, 1, 0, 1, 0, 1, 1));
    EXPECT_EQ(b.fs.recent_files, written.recent_files);
    EXPECT_EQ(b.fs.folders[folder_save_midi], "/out/midi/");

    // Shut-down writes the per-user file, which counts from then on; a recent path longer than
    // its slot is cut to 269 characters.
    b.t->d.timer_resolution = 9;
    b.t->d.sync_out = 0;
    const std::string long_path = "/" + std::string(300, 'n');
    b.fs.recent_files.insert(b.fs.recent_files.begin(), long_path);
    ASSERT_TRUE(save_settings(*b.t, b.s, b.fs));
    ASSERT_TRUE(std::filesystem::exists(user_file));
    const started c;
    EXPECT_EQ(nums(c.s.timer_resolution, c.s.sync_out), nums(9, 0));
    EXPECT_EQ(c.s.recent_files.at(0) + c.s.licence, long_path.substr(0, 269) + written.licence);
    // The devices are kept by name beside it.
    EXPECT_EQ(c.s.devices.outputs[3], "Capture Out 3");
    EXPECT_EQ(a.t.screen.messages.size() + b.t.screen.messages.size() + c.t.screen.messages.size(),
              0u);
}

TEST_F(SettingsFile, NoFolderForThemMeansDefaultsOneMessageAndNothingInTheCurrentFolder) {
    const std::string here = dir.path(settings_file_name);
    ASSERT_TRUE(write_settings_file(here, every_field_set()));
    const auto before = read_bytes(here);
    const std::string file = dir.path("file");  // where the folder should be
    write_bytes(file, {1});
    const auto old_cwd = std::filesystem::current_path();
    std::filesystem::current_path(dir.dir());
    const struct {
        const char* home;
        const char* config;
        std::string named;
    } cases[] = {
        {nullptr, nullptr, "~/.config/Vandrelle/Kestrune (HOME is not set)"},
        {nullptr, "/proc/no-settings-here", "/proc/no-settings-here/Vandrelle/Kestrune"},
        {"/", file.c_str(), file + "/Vandrelle/Kestrune"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.named);
        scoped_env home("HOME", c.home);
        scoped_env config("XDG_CONFIG_HOME", c.config);
        started a;
        EXPECT_EQ(a.t->d.memory_units, 10);
        ASSERT_EQ(a.t.screen.messages.size(), 1u);
        EXPECT_EQ(a.t.screen.last_text(), msg_settings_not_kept + c.named + msg_settings_lost);
        a.t->d.memory_units = 12;
        EXPECT_FALSE(save_settings(*a.t, a.s, a.fs));
        EXPECT_EQ(a.t.screen.messages.size(), 1u);
        EXPECT_EQ(read_bytes(here), before);
    }
    std::filesystem::current_path(old_cwd);
}

TEST(PatchNames, NumberedFromOneWithOrWithoutSoundset) {
    const struct {
        std::string_view text;
        int gm;
        std::vector<std::pair<std::size_t, std::string>> names;
    } cases[] = {
        {"[Patches]\r\n1 Grand Piano\r\n0 Nothing\r\n129 Beyond\r\n128  Gunshot \r\n",
         0,
         {{0, "Grand Piano"}, {1, "1"}, {127, "Gunshot "}}},
        {"[Soundset]\r\nGM\r\n[Patches]\r\n2 Bright Piano\r\n", 1, {{0, "0"}, {1, "Bright Piano"}}},
        // "GM" must stand inside the 20 characters from the start of "[Soundset]".
        {"[Soundset]\r\n123456GM", 1, {}},
        {"[Soundset]\r\n1234567GM", 0, {}},
        // Bare LF line ends, and a last line without any.
        {"[Patches]\n1 Piano\n2 Organ\n3 Strings", 0, {{0, "Piano"}, {1, "Organ"}, {2, "Strings"}}},
        // A line without a blank ends the list; so does a NUL.
        {"x [Patches] junk\r\n5 Five\r\n6\r\n7 Seven\r\n", 0, {{4, "Five"}, {6, "6"}}},
        {std::string_view("[Patches]\r\n1 A\0\r\n2 B\r\n", 19), 0, {{0, "A"}, {1, "1"}}},
        // No "[Patches]", or no name behind a number: the defaults.
        {"1 Piano\r\n", 0, {{0, "0"}}},
        {"[Patches]\r\n1", 0, {{0, "0"}, {127, "127"}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.text));
        patch_table t;
        set_default_patch_names(t);
        parse_patch_names(t, c.text);
        EXPECT_EQ(t.gm, c.gm);
        for (const auto& [i, name] : c.names) EXPECT_EQ(t.names[i], name) << i;
    }
}

TEST(PatchNames, FilesAreFoundInAnyCaseAndHeldTo65500Bytes) {
    temp_folder dir;
    std::filesystem::create_directories(dir.path("a"));
    std::filesystem::create_directories(dir.path("b"));
    auto text = [](const std::string& s) { return std::vector<std::uint8_t>(s.begin(), s.end()); };
    write_bytes(dir.path("a/port_b.txt"), text("[Patches]\r\n1 From A\r\n"));
    write_bytes(dir.path("b/PORT_B.TXT"), text("[Patches]\r\n1 From B\r\n"));
    write_bytes(dir.path("b/Port_C.Txt"), text("[Soundset] GM\r\n[Patches]\r\n1 C one\r\n"));
    // Exactly at the limit, padded after the list.
    std::string at_limit = "[Patches]\r\n1 Big\r\n";
    at_limit.resize(patch_file_limit, ' ');
    write_bytes(dir.path("b/PORT_D.TXT"), text(at_limit));
    scripted_ui screen;
    patch_tables tables;
    load_patch_names(tables, {dir.path("a"), dir.path("b") + "/"}, screen);
    EXPECT_TRUE(screen.messages.empty());
    EXPECT_EQ(program_name(tables, 0, 0) + program_name(tables, 1, 0) + program_name(tables, 2, 0) +
                  program_name(tables, 3, 0),
              "0From AC oneBig");
    EXPECT_EQ(nums(tables[0].from_file, tables[2].gm), nums(0, 1));

    at_limit += ' ';
    write_bytes(dir.path("b/PORT_D.TXT"), text(at_limit));
    load_patch_names(tables, {dir.path("a"), dir.path("b")}, screen);
    ASSERT_EQ(screen.messages.size(), 1u);
    EXPECT_EQ(screen.last_text(), msg_patch_file_too_big);
    EXPECT_EQ(program_name(tables, 3, 0), "0");
    EXPECT_FALSE(tables[3].from_file);
}

// What the program ships lies beside it in the build tree and in ../share/kestrune/ once
// installed.
TEST(ProgramData, FoundBesideTheProgramOrInItsInstalledFolder) {
    namespace fs = std::filesystem;
    const fs::path prefix =
        fs::temp_directory_path() / ("kestrune_prefix_" + std::to_string(::getpid()));
    const std::string bin = (prefix / "bin").string() + "/";
    fs::create_directories(prefix / "share/kestrune/patches");
    fs::create_directories(bin);
    EXPECT_EQ(data_path_from(bin, "patches/"), bin + "../share/kestrune/patches/");
    EXPECT_EQ(data_path_from(bin, "help/"), bin + "help/") << "neither: beside the program";
    fs::create_directories(bin + "patches");
    EXPECT_EQ(data_path_from(bin, "patches/"), bin + "patches/");
    fs::remove_all(prefix);
}

}  // namespace
}  // namespace kestrune
