// The command numbers of the menus, keys and buttons.
#pragma once

namespace kestrune::cmd {

// The main window's own buttons and the Help items. The Undo button runs `undo`.
inline constexpr int version_history = 1111;
inline constexpr int help_index = 1112;
inline constexpr int tutorial = 1113;
inline constexpr int key_commands_help = 1117;
inline constexpr int check_for_updates = 1118;
inline constexpr int grid_button = 5201;
inline constexpr int event_button = 5202;
inline constexpr int solo_button = 5203;
inline constexpr int tempo_track_button = 5204;
inline constexpr int signature_track_button = 5205;
inline constexpr int cycle_button = 5206;
inline constexpr int punch_button = 5207;
inline constexpr int mixer_button = 5209;
inline constexpr int editor_context_help = 5251;

// The editor's child buttons and keys, shown only while an editor is open.
inline constexpr int editor_ok = 5231;
inline constexpr int unlock = 5233;
inline constexpr int editor_delete = 5234;
inline constexpr int cue = 5235;
inline constexpr int filter_first = 5236;  // on, off, prg, pw, aft, ctr
inline constexpr int filter_last = 5241;
inline constexpr int quantize_note = 5242;
inline constexpr int dequantize_note = 5243;
inline constexpr int step_input = 5244;
inline constexpr int insert_note = 5245;
inline constexpr int insert_other = 5246;
inline constexpr int change_event = 5247;
inline constexpr int edit_long_event = 5248;  // Escape: the sysex or text dialog of the row
inline constexpr int snap_to_grid = 5249;     // the grid's Snap and Hide Groove buttons
inline constexpr int hide_groove = 5250;
inline constexpr int process_tempo = 5256;    // the tempo list's "Process..."

// The general commands.
inline constexpr int quit = 1;
inline constexpr int mixer_program_first = 101;
inline constexpr int mixer_program_last = 229;
inline constexpr int gm_drum_first = 301;
inline constexpr int gm_drum_last = 310;
inline constexpr int load_song = 1101;
inline constexpr int save_song = 1102;
inline constexpr int load_midi_file = 1105;
inline constexpr int save_midi_file = 1106;
inline constexpr int load_pattern = 1107;
inline constexpr int save_pattern = 1108;
inline constexpr int load_track = 1109;
inline constexpr int save_track = 1110;
inline constexpr int load_syx_file = 1116;
inline constexpr int about = 1120;
inline constexpr int export_audio = 1130;  // registered by the program, beside the synth
inline constexpr int clear_song = 1201;
inline constexpr int modify_track = 2101;
inline constexpr int copy_track = 2102;
inline constexpr int copy_pattern = 2103;
inline constexpr int push_track = 2104;
inline constexpr int delete_events = 2105;
inline constexpr int keep_events = 2106;
inline constexpr int transform_events = 2107;
inline constexpr int undo = 2108;
inline constexpr int mirror_pitches = 2109;
inline constexpr int reverse_pitches = 2110;
inline constexpr int copy_pattern_segment = 2111;
inline constexpr int copy_track_segment = 2112;
inline constexpr int change_speed = 2113;
inline constexpr int double_speed = 2114;
inline constexpr int half_speed = 2115;
inline constexpr int midi_setup = 3101;
inline constexpr int check_track = 3102;
inline constexpr int check_note_overlap = 3103;
inline constexpr int change_note_length = 3104;
inline constexpr int freeze_quantize = 3105;
inline constexpr int freeze_track_parameters = 3106;
inline constexpr int insert_measures = 3107;
inline constexpr int delete_measures = 3108;
inline constexpr int mixdown = 3109;
inline constexpr int remix_by_note = 3110;
inline constexpr int remix_by_channel = 3111;
inline constexpr int memory_setup = 3112;
inline constexpr int overall_settings = 3201;
inline constexpr int quantize_settings = 3202;
inline constexpr int tempo_track_editor = 3203;
inline constexpr int signature_track_editor = 3204;
inline constexpr int internal_recording = 3205;
inline constexpr int full_volume = 3206;
inline constexpr int note_pad = 3207;
inline constexpr int default_window = 3210;
inline constexpr int sync_internal = 3211;
inline constexpr int sync_external = 3212;
inline constexpr int event_editor = 3213;
inline constexpr int grid_editor = 3214;
inline constexpr int select_notes_first = 3217;
inline constexpr int select_notes_last = 3221;
inline constexpr int zoom_first = 3228;  // zoom row 0; 3235 is row 7
inline constexpr int zoom_last = 3235;
inline constexpr int midi_click = 3301;
inline constexpr int click_always = 3302;
inline constexpr int clock_spp_out = 3303;
inline constexpr int reset_on_stop = 3305;
inline constexpr int actual_position = 3306;
inline constexpr int two_bar_count_in = 3307;
inline constexpr int chase_events = 3308;
inline constexpr int simple_bardisplay = 3309;
inline constexpr int show_real_time_clock = 3310;
inline constexpr int allow_double_clicks = 3311;
inline constexpr int remember_file_paths = 3312;
inline constexpr int recent_file_first = 3801;
inline constexpr int recent_file_last = 3809;
inline constexpr int quantize_popup = 4000;  // the Qua pop-up: a track's quantize value

// The transport panel's buttons and keys, beside the menus.
inline constexpr int play = 5301;
inline constexpr int stop = 5302;
inline constexpr int pause = 5303;
inline constexpr int panic = 5306;
inline constexpr int memory_position_first = 5311;  // F1..F4: go to the stored position
inline constexpr int store_position_first = 5315;   // Shift+F1..F4: store the position
inline constexpr int memory_locators_first = 5321;  // F5..F8: recall the stored locators
inline constexpr int store_locators_first = 5325;   // Shift+F5..F8: store the locators
inline constexpr int memory_keys = 4;

// The mixer's child buttons beside OK, which runs mixer_button.
inline constexpr int mixer_store = 5401;
inline constexpr int mixer_recall = 5402;
inline constexpr int define_mixer_control = 5403;
inline constexpr int mixer_help = 5404;

}  // namespace kestrune::cmd
