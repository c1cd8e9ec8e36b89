// MIDI Setup, Memory Setup and Overall Settings as dialogs on the frame, over their models in
// realtime/. The command table calls the run_ functions.
#pragma once

#include <memory>

#include "realtime/setup_dialogs.h"
#include "shell/dialogs/dialog_frame.h"

namespace kestrune {

class midi_setup_view final : public dialog {
public:
    midi_setup_view(program& p, setup_settings& s);
    bool ok() override;
    midi_setup_dialog model;

private:
    void add_soundfont_row(program& p, soundfont_choice& sf);
};

class memory_setup_view final : public dialog {
public:
    enum field_id { units_field = 1, timer_field };
    explicit memory_setup_view(program& p);
    bool ok() override { return model.ok(); }
    memory_setup_dialog model;
};

class overall_settings_view final : public dialog {
public:
    enum field_id {
        filter_from_field = 1, filter_to_field, click_port_field, click_channel_field,
        click_note_field, click_velocity_field, thru_off_field, remap_from_field, remap_to_field,
    };
    overall_settings_view(program& p, setup_settings& s);
    bool ok() override;
    overall_settings_dialog model;

private:
    void add_filter_group(dll_data& d);
    void add_click_group(dll_data& d);
    void add_thru_group(dll_data& d);
    void add_mouse_group(program& p, setup_settings& s);
    void add_remap_group(dll_data& d);
    void add_transpose_lists();
};

inline constexpr const char* no_soundfont_text = "No SoundFont found";
inline constexpr const char* soundfont_folder = "/usr/share/sounds/sf2";

// MIDI Setup's "SoundFont..." button: a *.sf2/*.sf3 file through the ui, taken by `sf.choose`;
// a refusal shows its reason and keeps the old SoundFont. True when a new one is taken.
bool choose_soundfont(program& p, soundfont_choice& sf);

// Each opens its dialog through the ui and applies it on OK; true on OK.
bool run_midi_setup(program& p, setup_settings& s);
bool run_memory_setup(program& p);
bool run_overall_settings(program& p, setup_settings& s);

}  // namespace kestrune
