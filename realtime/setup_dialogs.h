// The logic of the MIDI Setup, Memory Setup and Overall Settings dialogs, without a toolkit:
// their fields, ranges, display texts and OK sequences.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "core/midi_names.h"
#include "core/program.h"

namespace kestrune {

inline constexpr const char* no_device_text = "No device";
inline constexpr const char* msg_restart_for_memory =
    "You must quit and restart KESTRUNE\nto get the requested amount of events!";
inline constexpr const char* msg_many_events = "Do you really need that many events?";
inline constexpr const char* msg_cant_open_input = "Can't open the requested input device!";

// The built-in synth's SoundFont as MIDI Setup shows and changes it. The program sets `choose`
// where the synth is built: it takes the file at once and keeps it in the settings, or returns
// false with the reason and the old SoundFont plays on.
struct soundfont_choice {
    std::string in_use;  // the file that plays; empty when none is found
    std::function<bool(const std::string& path, std::string* why)> choose;
};

// Application settings the three dialogs edit beside the shared block.
struct setup_settings {
    soundfont_choice soundfont;
    int sync_delay_value = 0;  // -7..7 ticks
    int spp_offset = 1;        // 1..8 sixteenths
    patch_name_flags patch_name_ports{};
    int mouse_increase = 1;  // 1 left, 2 right
    int mouse_decrease = 2;
};

class midi_setup_dialog {
public:
    midi_setup_dialog(program& p, setup_settings& s);

    // Entries of the combo boxes: the entry for no device, then the device names.
    std::vector<std::string> output_entries() const;
    std::vector<std::string> input_entries() const;
    static std::vector<std::string> delay_entries();  // "xxx Ticks", -7 to 7
    static std::vector<std::string> spp_entries();    // "xxx MIDI Clocks", 6 to 48

    // Fields as the dialog shows them; the choices are held to the lists. The input shows the
    // source connected to it, however the connection was made.
    int input_choice;
    std::array<int, 4> output_choice;
    std::array<bool, 4> sync_ports;
    int delay_index;  // 0..14 for -7..7
    int spp_index;    // 0..7 for 1..8
    patch_name_flags patch_names;

    // The OK sequence; returns the failures reported.
    int ok();

private:
    program& p_;
    setup_settings& s_;
    int shown_input_;
    std::array<int, 4> shown_output_{};
};

class memory_setup_dialog {
public:
    explicit memory_setup_dialog(program& p);

    int units;
    int timer;

    // "100.000" for 10 units.
    std::string units_text() const;
    std::string timer_text() const;
    // One press: +1 or -1; both buttons: 10 in the direction.
    void step_units(int delta);
    void step_timer(int delta);
    int min_units() const { return 10; }
    int max_units() const;

    // The OK sequence; false keeps the dialog open with nothing stored.
    bool ok();

private:
    program& p_;
};

class overall_settings_dialog {
public:
    overall_settings_dialog(program& p, setup_settings& s);

    // Check boxes and value fields take effect as they change.
    void set_filter_notes(bool on) { p_.d.filter_notes = on; }
    void set_filter_poly_press(bool on) { p_.d.filter_poly_press = on; }
    void set_filter_channel_press(bool on) { p_.d.filter_channel_press = on; }
    void set_filter_program(bool on) { p_.d.filter_program = on; }
    void set_filter_pitch_wheel(bool on) { p_.d.filter_pitch_wheel = on; }
    void set_filter_sysex(bool on) { p_.d.filter_sysex = on; }
    void set_filter_controller_from(int v);
    void set_filter_controller_to(int v);
    void set_click_port(int v);
    void set_click_channel(int v);
    void set_click_note(int v);
    void set_click_velocity(int v);
    void set_thru_off_channel(int v);
    void set_left_button_increases(bool left);
    void set_remap_on(bool on) { p_.d.remap_on = on; }
    void set_remap_from(int v) { p_.d.remap_from = static_cast<std::uint8_t>(std::clamp(v, 0, 127)); }
    void set_remap_to(int v) { p_.d.remap_to = static_cast<std::uint8_t>(std::clamp(v, 0, 127)); }

    // The song mode transposition lists are read only on OK.
    std::array<std::array<bool, 16>, 4> transpose_exempt;
    void ok();
    void cancel() {}

    // Texts of the fields.
    static std::string controller_text(int v, const char* (*name_of)(int));
    static std::string channel_text(int v);
    static std::string transpose_entry(int channel);  // "MIDI Channel xx"

private:
    void sound_click();
    program& p_;
    setup_settings& s_;
};

}  // namespace kestrune
