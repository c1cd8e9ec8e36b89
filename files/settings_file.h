// The settings file Kestrune_32.set: what belongs to the user and the machine rather than to a
// song. Read once at start-up, before the engine starts; written once at shut-down.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "files/file_state.h"
#include "core/program.h"

namespace kestrune {

inline constexpr std::uint32_t settings_magic = 0x32DD3366;
inline constexpr const char* settings_file_name = "Kestrune_32.set";
inline constexpr const char* device_settings_file_name = "Kestrune_devices.conf";
inline constexpr const char* maker_name = "Vandrelle";
inline constexpr const char* product_name = "Kestrune";
inline constexpr std::size_t recent_slot_bytes = 270;
inline constexpr std::size_t folder_bytes = 520;
inline constexpr std::size_t licence_bytes = 4096;  // a longer licence text is damage
// Shown once at start-up, with the folder's name between the two lines.
inline constexpr const char* msg_settings_not_kept = "Can't keep the settings in\n";
inline constexpr const char* msg_settings_lost =
    "\nChanges to them are lost when the program ends.";
// A settings file that is there but cannot be used; its path and the reason follow.
inline constexpr const char* msg_settings_unreadable = "Can't read the settings!";
inline constexpr const char* msg_settings_defaults = "The default settings are used.";
inline constexpr const char* msg_settings_kept_as = "The file is kept as ";
inline constexpr const char* broken_settings_suffix = ".bad";
// The settings could not be written at shut-down; the path and the reason follow.
inline constexpr const char* msg_settings_not_saved = "Can't save the settings!";

#pragma pack(push, 1)
// The first 167 bytes.
struct settings_file_head {
    std::uint32_t magic;
    std::int16_t midi_out_device[4];
    std::int16_t midi_in_device;
    std::int16_t memory_units;
    std::int16_t show_patch_names[4][16];
    std::int32_t timer_resolution;
    std::uint16_t reserved_148;
    std::int16_t window_left;
    std::int16_t window_top;
    std::int16_t window_width;
    std::int16_t window_height;
    std::uint8_t simple_bardisplay;
    std::uint8_t click_always;
    std::uint8_t midi_click;
    std::uint8_t sync_out;
    std::uint8_t actual_position;
    std::uint8_t two_bar_count_in;
    std::uint8_t chase_events;
    std::uint8_t reset_on_stop;
    std::uint8_t mixer_define_controller;
};
static_assert(sizeof(settings_file_head) == 167);
static_assert(offsetof(settings_file_head, midi_out_device) == 4);
static_assert(offsetof(settings_file_head, midi_in_device) == 12);
static_assert(offsetof(settings_file_head, memory_units) == 14);
static_assert(offsetof(settings_file_head, show_patch_names) == 16);
static_assert(offsetof(settings_file_head, timer_resolution) == 144);
static_assert(offsetof(settings_file_head, window_left) == 150);
static_assert(offsetof(settings_file_head, window_top) == 152);
static_assert(offsetof(settings_file_head, window_width) == 154);
static_assert(offsetof(settings_file_head, window_height) == 156);
static_assert(offsetof(settings_file_head, simple_bardisplay) == 158);
static_assert(offsetof(settings_file_head, click_always) == 159);
static_assert(offsetof(settings_file_head, midi_click) == 160);
static_assert(offsetof(settings_file_head, sync_out) == 161);
static_assert(offsetof(settings_file_head, actual_position) == 162);
static_assert(offsetof(settings_file_head, two_bar_count_in) == 163);
static_assert(offsetof(settings_file_head, chase_events) == 164);
static_assert(offsetof(settings_file_head, reset_on_stop) == 165);
static_assert(offsetof(settings_file_head, mixer_define_controller) == 166);

// What follows the recent files, up to the folders.
struct settings_file_middle {
    std::int32_t zoom_index;
    std::uint8_t show_clock;
    std::uint8_t allow_double_clicks;
    std::uint8_t remember_file_paths;
    std::uint8_t sync_out_ports[4];
    std::int8_t sync_delay;
    std::int16_t spp_offset;
    std::uint8_t reserved_13;
    std::uint8_t reserved_14[187];
};
static_assert(sizeof(settings_file_middle) == 202);
static_assert(offsetof(settings_file_middle, show_clock) == 4);
static_assert(offsetof(settings_file_middle, allow_double_clicks) == 5);
static_assert(offsetof(settings_file_middle, remember_file_paths) == 6);
static_assert(offsetof(settings_file_middle, sync_out_ports) == 7);
static_assert(offsetof(settings_file_middle, sync_delay) == 11);
static_assert(offsetof(settings_file_middle, spp_offset) == 12);
#pragma pack(pop)

// Every field of the file, with the values that stand without one.
struct user_settings {
    std::array<std::int16_t, 4> midi_out_device{};
    std::int16_t midi_in_device = 0;
    std::int16_t memory_units = 10;
    std::array<std::array<std::int16_t, 16>, 4> show_patch_names{};
    std::int32_t timer_resolution = 6;
    std::int16_t window_left = 0;
    std::int16_t window_top = 0;
    std::int16_t window_width = 0;   // 0: the screen's width
    std::int16_t window_height = 0;  // 0: the screen's height
    std::uint8_t simple_bardisplay = 0;
    std::uint8_t click_always = 0;
    std::uint8_t midi_click = 1;
    std::uint8_t sync_out = 0;
    std::uint8_t actual_position = 0;
    std::uint8_t two_bar_count_in = 0;
    std::uint8_t chase_events = 0;
    std::uint8_t reset_on_stop = 0;
    std::uint8_t mixer_define_controller = 7;
    std::vector<std::string> recent_files;  // at most 8, the newest first
    std::int32_t zoom_index = 0x0000FFFF;
    std::uint8_t show_clock = 0;
    std::uint8_t allow_double_clicks = 1;
    std::uint8_t remember_file_paths = 1;
    std::array<std::uint8_t, 4> sync_out_ports{};
    std::int8_t sync_delay_value = 0;
    std::int16_t spp_offset = 1;
    std::array<std::string, 4> folders;  // empty: the program's folder
    std::string licence;                 // kept as it came
    // Beside the file, in Kestrune_devices.conf: the devices chosen, by name.
    device_names devices;

    // Not in the file: a per-user file that could not be read, set aside as NAME.bad before the
    // settings are next written, so that it is never written over.
    std::string broken_file;

    bool operator==(const user_settings&) const = default;
};

enum class settings_read { loaded, missing, broken };
// Reads a settings file into `out`, or leaves it untouched: when there is no file at the path, or
// when the file is no settings file or is damaged (then `why` says so, in a few words).
settings_read read_settings_file(const std::string& path, user_settings& out,
                                 std::string* why = nullptr);
// Writes the file; on failure `why` gives the path and the system's reason.
bool write_settings_file(const std::string& path, const user_settings& s,
                         std::string* why = nullptr);

// The program file's folder with a name appended; a result too long for a path ends in "?".
std::string program_folder_path(const std::string& name);
// A file or folder the program ships (help pages, patch names, the history): beside the program
// when it is there (the build tree), else in the installed data folder `../share/kestrune/`.
std::string program_data_path(const std::string& name);
// The same from a given program folder ending in "/".
std::string data_path_from(const std::string& program_folder, const std::string& name);
// Where the per-user settings live: `folder`, made if need be and ending in "/", or empty when it
// cannot be had (no home, a read-only home, a file in its place); `wanted` names it either way.
struct settings_place {
    std::string folder;
    std::string wanted;
};
settings_place settings_folder();

// Start-up: the per-user file, else the one beside the program, never one in the current folder.
// Fills `s`, the block's fields and the file state; the folders default to the program's folder.
// Says where the settings cannot be kept when the per-user folder cannot be had, and which file
// could not be read (the defaults then stand).
void load_settings(program& p, user_settings& s, file_state& fs);
// Shut-down: gathers what the program holds and writes the per-user file, having first set aside
// a broken one; says why when it cannot. Nothing is written without the per-user folder.
bool save_settings(program& p, user_settings& s, const file_state& fs);

// Between the settings and the program's block, application state and file state.
void apply_settings(program& p, const user_settings& s, file_state& fs);
void gather_settings(const program& p, user_settings& s, const file_state& fs);

}  // namespace kestrune
