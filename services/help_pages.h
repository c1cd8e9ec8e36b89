// The help pages the program asks for, by page path: a file under the help folder's html/, and
// an optional anchor on that page. Every path the program uses is one of these constants, and
// every one of them has its page (the help tests walk `all_help_pages`).
#pragma once

#include <string_view>

namespace kestrune::help_page {

// The Help menu.
inline constexpr std::string_view index = "html/index.htm";
inline constexpr std::string_view key_commands = "html/keys.htm";
inline constexpr std::string_view tutorial = "html/tutorial.htm";
inline constexpr std::string_view update_check = "html/index.htm#update_check";

// The main window and its menus.
inline constexpr std::string_view main_window = "html/main_window.htm";
inline constexpr std::string_view track_list = "html/main_window.htm#track_list";
inline constexpr std::string_view song_list = "html/main_window.htm#song_list";
inline constexpr std::string_view note_pad = "html/main_window.htm#note_pad";
inline constexpr std::string_view transport = "html/transport.htm";
inline constexpr std::string_view locators = "html/transport.htm#locators";
inline constexpr std::string_view synchronization = "html/transport.htm#sync";
inline constexpr std::string_view recording = "html/recording.htm";
inline constexpr std::string_view files = "html/files.htm";
inline constexpr std::string_view midi_files = "html/files.htm#midi_files";
inline constexpr std::string_view pattern_track_files = "html/files.htm#pattern_track_files";
inline constexpr std::string_view export_audio = "html/files.htm#export_audio";
inline constexpr std::string_view preferences = "html/options.htm";
inline constexpr std::string_view zoom = "html/options.htm#zoom";
inline constexpr std::string_view patch_names = "html/patch_names.htm";
inline constexpr std::string_view sessions = "html/sessions.htm";
inline constexpr std::string_view undo = "html/undo.htm";

// Dialogs of the Options menu.
inline constexpr std::string_view midi_setup = "html/midi_setup.htm";
inline constexpr std::string_view memory_setup = "html/memory_setup.htm";
inline constexpr std::string_view overall_settings = "html/overall_settings.htm";
inline constexpr std::string_view quantize_settings = "html/opt_9ueb.htm";
inline constexpr std::string_view internal_recording = "html/internal_recording.htm";

// Track functions and their dialogs.
inline constexpr std::string_view modify_track = "html/func3737.htm";
inline constexpr std::string_view copy_pattern = "html/func3kwz.htm";
inline constexpr std::string_view copy_track = "html/func3ler.htm";
inline constexpr std::string_view copy_track_segment = "html/func6uxv.htm";
inline constexpr std::string_view copy_pattern_segment = "html/func5hk3.htm";
inline constexpr std::string_view delete_events = "html/func8hpf.htm#menu_del_keep_topic";
inline constexpr std::string_view keep_events = "html/func8hpf.htm#menu_keep_events_topic";
inline constexpr std::string_view transform_events = "html/func9pr7.htm";
inline constexpr std::string_view insert_delete_measures = "html/extr74bn.htm";
inline constexpr std::string_view change_speed = "html/func461v.htm";
inline constexpr std::string_view push_track = "html/func58rn.htm";
inline constexpr std::string_view mirror_pitches = "html/func7esj.htm";
inline constexpr std::string_view reverse_pitches = "html/func7esj.htm#reverse";
inline constexpr std::string_view change_note_length = "html/extr586b.htm";
inline constexpr std::string_view check_track = "html/extras.htm#check_track";
inline constexpr std::string_view check_note_overlap = "html/extras.htm#note_overlap";
inline constexpr std::string_view freeze = "html/extras.htm#freeze";
inline constexpr std::string_view mixdown = "html/extras.htm#mixdown";
inline constexpr std::string_view remix = "html/extras.htm#remix";

// Editors and the Mixer.
inline constexpr std::string_view event_editor = "html/event_editor.htm";
inline constexpr std::string_view grid_editor = "html/grid_editor.htm";
inline constexpr std::string_view tempo_signature_editors = "html/tempo_editor.htm";
inline constexpr std::string_view tempo_processing = "html/edit7usj.htm";
inline constexpr std::string_view sysex_text_editing = "html/sysex_editor.htm";
inline constexpr std::string_view mixer = "html/mixe8v4z.htm";
inline constexpr std::string_view define_mixer_control =
    "html/mixe8v4z.htm#define_mixer_button_topic";

// clang-format off
inline constexpr std::string_view all_help_pages[] = {
    index, key_commands, tutorial, update_check, main_window, track_list, song_list, note_pad,
    transport, locators, synchronization, recording, files, midi_files, pattern_track_files,
    export_audio, preferences, zoom, patch_names, sessions, undo, midi_setup, memory_setup,
    overall_settings, quantize_settings, internal_recording, modify_track, copy_pattern,
    copy_track, copy_track_segment, copy_pattern_segment, delete_events, keep_events,
    transform_events, insert_delete_measures, change_speed, push_track, mirror_pitches,
    reverse_pitches, change_note_length, check_track, check_note_overlap, freeze, mixdown,
    remix, event_editor, grid_editor, tempo_signature_editors, tempo_processing,
    sysex_text_editing, mixer, define_mixer_control,
};
// clang-format on

// The file part of a page path ("html/func8hpf.htm") and its anchor ("menu_del_keep_topic", or
// empty).
constexpr std::string_view file_of(std::string_view page) {
    return page.substr(0, page.find('#'));
}
constexpr std::string_view anchor_of(std::string_view page) {
    const auto hash = page.find('#');
    return hash == std::string_view::npos ? std::string_view() : page.substr(hash + 1);
}

}  // namespace kestrune::help_page
