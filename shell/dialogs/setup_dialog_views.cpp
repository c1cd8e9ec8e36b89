#include "shell/dialogs/setup_dialog_views.h"

#include <string>

#include "core/midi_names.h"
#include "files/file_state.h"
#include "services/help_pages.h"
#include "song/entry_parsers.h"

namespace kestrune {

namespace {

constexpr int ports = 4;
constexpr int channels = 16;
constexpr int row = 2;  // cells between rows of combo boxes, check boxes and radio buttons

std::string port_name(int port) { return std::string("Port ") + static_cast<char>('A' + port); }

std::vector<std::string> channel_entries(bool long_form) {
    std::vector<std::string> v;
    for (int c = 0; c < channels; ++c) {
        std::string e = overall_settings_dialog::transpose_entry(c);
        v.push_back(long_form ? e : e.substr(std::string_view("MIDI ").size()));
    }
    return v;
}

dialog_control label_control(std::string text, rect cells) {
    return {.kind = control_kind::label, .text = std::move(text), .cells = cells};
}

dialog_control group_control(std::string text, rect cells) {
    return {.kind = control_kind::group_box, .text = std::move(text), .cells = cells};
}

dialog_control check_control(std::string text, rect cells, std::function<int()> get,
                     std::function<void(int)> set) {
    return {.kind = control_kind::check_box, .text = std::move(text), .cells = cells,
            .get = std::move(get), .set = std::move(set)};
}

// A controller number, shown by its name; `low` -1 takes "none" too.
field_spec controller_spec(std::string label, std::int32_t low) {
    return {.label = std::move(label), .low = low, .high = 127, .entry_length = 3};
}

std::string controller_field_text(std::int32_t v) {
    return overall_settings_dialog::controller_text(v, controller_name);
}

// Thousands of events as shown ("200.000" or "200"); a unit is ten thousand events.
std::optional<std::int32_t> parse_units(std::string_view text) {
    const auto v = parse_integer(text.substr(0, text.find('.')));
    if (!v) return std::nullopt;
    return *v / 10;
}

}  // namespace

midi_setup_view::midi_setup_view(program& p, setup_settings& s)
    : dialog(p, "MIDI Setup", 66, 35), model(p, s) {
    help_topic = help_page::midi_setup;
    const auto outputs = model.output_entries();
    add_control(label_control("Input from", {1, 1, 13, 3}));
    add_control({.kind = control_kind::combo_box, .cells = {13, 1, 65, 3},
                 .entries = model.input_entries(), .get = [this] { return model.input_choice; },
                 .set = [this](int v) { model.input_choice = v; }});
    for (int i = 0; i < ports; ++i) {
        const int y = 3 + i * row;
        const auto port = static_cast<std::size_t>(i);
        add_control(label_control(port_name(i) + " to", {1, y, 13, y + row}));
        add_control({.kind = control_kind::combo_box, .cells = {13, y, 65, y + row},
                     .entries = outputs, .get = [this, port] { return model.output_choice[port]; },
                     .set = [this, port](int v) { model.output_choice[port] = v; }});
    }
    add_control(group_control("Sync Out Port", {1, 12, 24, 19}));
    for (int i = 0; i < ports; ++i) {
        const auto port = static_cast<std::size_t>(i);
        const int x = 2 + (i % 2) * 11, y = 13 + (i / 2) * row;
        add_control(check_control(port_name(i), {x, y, x + 10, y + row},
                          [this, port] { return model.sync_ports[port] ? 1 : 0; },
                          [this, port](int on) { model.sync_ports[port] = on != 0; }));
    }
    add_control(label_control("Sync Out Delay", {26, 13, 42, 15}));
    add_control({.kind = control_kind::combo_box, .cells = {42, 13, 65, 15},
                 .entries = midi_setup_dialog::delay_entries(),
                 .get = [this] { return model.delay_index; },
                 .set = [this](int v) { model.delay_index = v; }});
    add_control(label_control("SPP Offset", {26, 16, 42, 18}));
    add_control({.kind = control_kind::combo_box, .cells = {42, 16, 65, 18},
                 .entries = midi_setup_dialog::spp_entries(),
                 .get = [this] { return model.spp_index; },
                 .set = [this](int v) { model.spp_index = v; }});
    add_control(group_control("Show Patch Names", {1, 19, 65, 32}));
    for (int i = 0; i < ports; ++i) {
        const auto port = static_cast<std::size_t>(i);
        const int x = 2 + i * 16;
        add_control(label_control(port_name(i), {x, 20, x + 14, 21}));
        add_control({.kind = control_kind::multi_list, .text = port_name(i),
                     .cells = {x, 21, x + 14, 31}, .entries = channel_entries(false),
                     .get_item = [this, port](int c) {
                         return model.patch_names[port][static_cast<std::size_t>(c)] != 0;
                     },
                     .set_item = [this, port](int c, bool on) {
                         model.patch_names[port][static_cast<std::size_t>(c)] = on ? 1 : 0;
                     }});
    }
    if (s.soundfont.choose) add_soundfont_row(p, s.soundfont);
    add_ok_cancel();
}

void midi_setup_view::add_soundfont_row(program& p, soundfont_choice& sf) {
    // Between Help and OK; the choice takes effect at once, as a device that opens does.
    add_control({.kind = control_kind::push_button, .text = "SoundFont...",
                 .cells = {12, 32, 26, 34}, .pressed = [&p, &sf] { choose_soundfont(p, sf); }});
    add_field({.shape = {.label = "SoundFont", .kind = field_kind::text}, .cells = {27, 32, 43, 34},
               .get_text = [&sf] {
                   return sf.in_use.empty() ? std::string(no_soundfont_text) : file_name_of(sf.in_use);
               }});
}

bool midi_setup_view::ok() {
    // Each device that fails is reported and left closed; the dialog closes all the same.
    model.ok();
    return true;
}

memory_setup_view::memory_setup_view(program& p) : dialog(p, "Memory Setup", 40, 10), model(p) {
    help_topic = help_page::memory_setup;
    add_control(label_control("Allocate memory for:", {1, 1, 20, 2}));
    add_field({.id = units_field,
               .shape = {.label = "Allocate memory for", .low = model.min_units(),
                        .high = model.max_units(), .entry_length = 7},
               .cells = {21, 1, 30, 2}, .get = [this] { return model.units; },
               .set = [this](std::int32_t v) { model.units = v; },
               .format = [this](std::int32_t) { return model.units_text(); },
               .parse = parse_units});
    add_control(label_control("Events", {31, 1, 39, 2}));
    add_control(label_control("Timer Resolution", {1, 3, 20, 4}));
    add_field({.id = timer_field,
               .shape = {.label = "Timer Resolution", .low = 1, .high = 20, .entry_length = 2},
               .cells = {21, 3, 26, 4}, .get = [this] { return model.timer; },
               .set = [this](std::int32_t v) { model.timer = v; }});
    add_control(label_control("Milliseconds", {27, 3, 39, 4}));
    add_ok_cancel();
}

overall_settings_view::overall_settings_view(program& p, setup_settings& s)
    : dialog(p, "Overall Settings", 74, 41), model(p, s) {
    help_topic = help_page::overall_settings;
    add_filter_group(p.d);
    add_click_group(p.d);
    add_thru_group(p.d);
    add_mouse_group(p, s);
    add_remap_group(p.d);
    add_transpose_lists();
    add_ok_cancel();
}

void overall_settings_view::add_filter_group(dll_data& d) {
    add_control(group_control("Input Filter", {1, 1, 35, 12}));
    struct filter {
        const char* text;
        std::uint8_t dll_data::*flag;
        void (overall_settings_dialog::*set)(bool);
    };
    static constexpr filter filters[] = {
        {"Notes", &dll_data::filter_notes, &overall_settings_dialog::set_filter_notes},
        {"Poly Press", &dll_data::filter_poly_press, &overall_settings_dialog::set_filter_poly_press},
        {"Channel Press", &dll_data::filter_channel_press, &overall_settings_dialog::set_filter_channel_press},
        {"Program", &dll_data::filter_program, &overall_settings_dialog::set_filter_program},
        {"Pitch Wheel", &dll_data::filter_pitch_wheel, &overall_settings_dialog::set_filter_pitch_wheel},
        {"Sys Ex", &dll_data::filter_sysex, &overall_settings_dialog::set_filter_sysex},
    };
    for (int i = 0; i < 6; ++i) {
        const filter f = filters[i];
        const int x = 2 + (i % 2) * 16, y = 2 + (i / 2) * row;
        add_control(check_control(f.text, {x, y, x + 15, y + row}, [&d, f] { return d.*f.flag ? 1 : 0; },
                          [this, f](int on) { (model.*f.set)(on != 0); }));
    }
    add_control(label_control("Controller", {2, 9, 34, 10}));
    add_field({.id = filter_from_field, .shape = controller_spec("From", -1),
               .cells = {2, 10, 18, 11}, .get = [&d] { return d.filter_controller_from; },
               .set = [this](std::int32_t v) { model.set_filter_controller_from(v); },
               .format = controller_field_text});
    add_field({.id = filter_to_field, .shape = controller_spec("To", -1), .cells = {18, 10, 34, 11},
               .get = [&d] { return d.filter_controller_to; },
               .set = [this](std::int32_t v) { model.set_filter_controller_to(v); },
               .format = controller_field_text});

}

void overall_settings_view::add_click_group(dll_data& d) {
    add_control(group_control("MIDI Click", {36, 1, 73, 12}));
    add_control(label_control("Port", {37, 2, 49, 3}));
    field_spec port = choice_field("Port", {"A", "B", "C", "D"});
    port.entry_length = 1;
    add_field({.id = click_port_field, .shape = port, .cells = {50, 2, 55, 3},
               .get = [&d] { return d.click_port; },
               .set = [this](std::int32_t v) { model.set_click_port(v); }});
    add_control(label_control("Channel", {37, 4, 49, 5}));
    add_field({.id = click_channel_field,
               .shape = {.label = "Channel", .kind = field_kind::one_based, .low = 0,
                        .high = channels - 1, .entry_length = 2},
               .cells = {50, 4, 55, 5}, .get = [&d] { return d.click_channel; },
               .set = [this](std::int32_t v) { model.set_click_channel(v); }});
    add_control(label_control("Note", {37, 6, 49, 7}));
    add_field({.id = click_note_field,
               .shape = {.label = "Note", .kind = field_kind::note, .low = 0, .high = 127,
                        .entry_length = 4},
               .cells = {50, 6, 55, 7}, .get = [&d] { return d.click_note; },
               .set = [this](std::int32_t v) { model.set_click_note(v); }});
    add_control(label_control("Velocity", {37, 8, 49, 9}));
    add_field({.id = click_velocity_field,
               .shape = {.label = "Velocity", .low = 1, .high = 127, .entry_length = 3},
               .cells = {50, 8, 55, 9}, .get = [&d] { return d.click_velocity; },
               .set = [this](std::int32_t v) { model.set_click_velocity(v); }});
}

void overall_settings_view::add_thru_group(dll_data& d) {
    add_control(group_control("MIDI Thru", {36, 13, 73, 17}));
    add_control(label_control("Off Channel", {37, 14, 49, 15}));
    add_field({.id = thru_off_field,
               .shape = {.label = "Off Channel", .low = -1, .high = channels - 1, .entry_length = 2},
               .cells = {50, 14, 55, 15}, .get = [&d] { return d.thru_off_channel; },
               .set = [this](std::int32_t v) { model.set_thru_off_channel(v); },
               .format = overall_settings_dialog::channel_text,
               // Shown from 1; an entry of 0 is none.
               .parse = [](std::string_view t) -> std::optional<std::int32_t> {
                   const auto v = parse_integer(t);
                   return v ? std::optional<std::int32_t>(*v - 1) : std::nullopt;
               }});
}

void overall_settings_view::add_remap_group(dll_data& d) {
    add_control(group_control("Remap controllers", {36, 18, 73, 25}));
    add_control(check_control("Remap on", {37, 19, 62, 21}, [&d] { return d.remap_on ? 1 : 0; },
                      [this](int on) { model.set_remap_on(on != 0); }));
    add_control(label_control("from", {37, 21, 43, 22}));
    add_field({.id = remap_from_field, .shape = controller_spec("from", 0), .cells = {43, 21, 58, 22},
               .get = [&d] { return d.remap_from; },
               .set = [this](std::int32_t v) { model.set_remap_from(v); },
               .format = controller_field_text});
    add_control(label_control("to", {37, 23, 43, 24}));
    add_field({.id = remap_to_field, .shape = controller_spec("to", 0), .cells = {43, 23, 58, 24},
               .get = [&d] { return d.remap_to; },
               .set = [this](std::int32_t v) { model.set_remap_to(v); },
               .format = controller_field_text});
}

void overall_settings_view::add_transpose_lists() {
    add_control(group_control("Disable Song Mode Transpose", {1, 26, 73, 37}));
    for (int i = 0; i < ports; ++i) {
        const auto port = static_cast<std::size_t>(i);
        const int x = 2 + i * 18;
        add_control(label_control(port_name(i), {x, 27, x + 16, 28}));
        add_control({.kind = control_kind::multi_list, .text = port_name(i),
                     .cells = {x, 28, x + 16, 36}, .entries = channel_entries(true),
                     .get_item = [this, port](int c) {
                         return model.transpose_exempt[port][static_cast<std::size_t>(c)];
                     },
                     .set_item = [this, port](int c, bool on) {
                         model.transpose_exempt[port][static_cast<std::size_t>(c)] = on;
                     }});
    }
}

void overall_settings_view::add_mouse_group(program& p, setup_settings& s) {
    add_control(group_control("Mouse", {1, 13, 35, 19}));
    // The song keeps the buttons too: the steppers read them there.
    auto choose = [this, &p](bool left) {
        model.set_left_button_increases(left);
        p.song.increase_button = left ? 1 : 2;
        p.song.decrease_button = left ? 2 : 1;
    };
    add_control({.kind = control_kind::radio_button, .text = "Left button increases",
                 .cells = {2, 14, 32, 16},
                 .get = [&s] { return s.mouse_increase == 1 ? 1 : 0; },
                 .set = [choose](int on) { if (on) choose(true); }});
    add_control({.kind = control_kind::radio_button, .text = "Right button increases",
                 .cells = {2, 16, 32, 18},
                 .get = [&s] { return s.mouse_increase == 2 ? 1 : 0; },
                 .set = [choose](int on) { if (on) choose(false); }});
}

bool overall_settings_view::ok() {
    model.ok();
    return true;
}

bool choose_soundfont(program& p, soundfont_choice& sf) {
    const std::string folder = sf.in_use.empty() ? std::string(soundfont_folder)
                                                 : sf.in_use.substr(0, sf.in_use.find_last_of('/'));
    const auto path = p.screen.open_file_dialog(
        {.title = "Choose a SoundFont", .filter = "SoundFonts (*.sf2 *.sf3)|*.sf2;*.sf3",
         .extension = "sf2", .folder = folder, .file_name = {}});
    if (!path || !sf.choose) return false;
    std::string why;
    if (!sf.choose(*path, &why)) {
        p.message(why, msg_icon::stop);
        return false;
    }
    sf.in_use = *path;
    return true;
}

bool run_midi_setup(program& p, setup_settings& s) {
    midi_setup_view v(p, s);
    return run_modal(p, v);
}

bool run_memory_setup(program& p) {
    memory_setup_view v(p);
    return run_modal(p, v);
}

bool run_overall_settings(program& p, setup_settings& s) {
    overall_settings_view v(p, s);
    return run_modal(p, v);
}

}  // namespace kestrune
