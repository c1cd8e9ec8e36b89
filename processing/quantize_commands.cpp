// Quantize as commands: the Quantize Settings dialog, Freeze Quantize, and the Qua pop-up's value
// for a track (kestrune-tool apply names it Quantize).
#include <algorithm>

#include "core/command_ids.h"
#include "core/program.h"
#include "processing/commands.h"
#include "processing/quantize.h"
#include "services/help_pages.h"

namespace kestrune {

namespace {

// The settings' fields, in this order, in both dialogs' values.
enum settings_field { method_field, strength_field, swing_field, settings_fields };

std::vector<field_spec> settings_specs() {
    return {
        choice_field("Quantize Method", {"Tight Quantize", "Smart Quantize"}),
        {.label = "Quantize Strength", .low = 0, .high = 100, .entry_length = 3},
        // Shown in percent; the setting moves in steps of ten.
        {.label = "Swing Factor", .kind = field_kind::percent_x10, .low = -9, .high = 10,
         .entry_length = 4},
    };
}

field_values settings_values(const program& p) {
    return {{p.app.smart_quantize}, {p.app.quantize_strength}, {p.app.quantize_swing}};
}

void take_settings(program& p, const field_values& v) {
    set_smart_quantize(p, v[method_field].number == 1);
    set_quantize_strength(p, v[strength_field].number);
    set_swing_factor(p, v[swing_field].number);
}

dialog_layout settings_dialog() {
    constexpr int width = 36, height = 14, row = 2;
    dialog_layout d{.title = "Quantize Settings", .width = width, .height = height, .live = true};
    d.items = {group_box("Quantize method", {1, 1, 35, 6})};
    for (int m = 0; m < 2; ++m)
        d.items.push_back(radio_button(method_field, m, m == 0 ? "Tight Quantize" : "Smart Quantize",
                                       {2, 2 + m * row, 34, 3 + m * row}));
    d.items.insert(d.items.end(), {
        label("Quantize Strength", {1, 7, 20, 8}), value_box(strength_field, {21, 7, 27, 8}),
        label("%", {28, 7, 30, 8}),
        label("Swing Factor", {1, 9, 20, 10}), value_box(swing_field, {21, 9, 27, 10}),
        label("%", {28, 9, 30, 10}),
        // The settings change as they are set: OK alone closes.
        ok_only(width, height),
        help_button(width, height),
    });
    return d;
}

command_record quantize_settings_command() {
    return {
        .id = cmd::quantize_settings,
        .text = "&Quantize Settings...",
        .shortcut = "Shift+U",
        .views = every_view,
        .help = std::string(help_page::quantize_settings),
        .fields = settings_specs(),
        .dialog = settings_dialog(),
        .initial = settings_values,
        .run = [](program& p, const field_values& v) {
            take_settings(p, v);
            return outcome::done;
        },
    };
}

command_record freeze_quantize_command() {
    return {
        .id = cmd::freeze_quantize,
        .text = "Freeze &Quantize",
        .shortcut = "F",
        .views = {.main_screen = true, .editor = true},
        .changes_song = true,
        .undo = undo_kind::track,
        .needs = command_needs::track_data,
        .help = std::string(help_page::freeze),
        .run = [](program& p, const field_values&) {
            // Its refusals came before; what is left is the question's Cancel.
            return freeze_quantize(p, p.d.current_pattern, p.d.current_track) ? outcome::done
                                                                                : outcome::cancelled;
        },
    };
}

// The track the Qua pop-up was opened on, else the current one.
int popup_track(const program& p) {
    const int t = p.app.quantize_popup_track;
    return t >= 0 && t < tracks_per_pattern ? t : p.d.current_track;
}

std::vector<std::string> value_texts() {
    std::vector<std::string> v;
    for (int n : quantize_values) v.push_back(n == 0 ? "NO" : std::to_string(n));
    return v;
}

// The Qua value of a track: the pop-up's item, with the settings it quantizes by.
command_record quantize_command() {
    std::vector<field_spec> fields = {choice_field("Quantize", value_texts())};
    for (field_spec& f : settings_specs()) fields.push_back(std::move(f));
    return {
        .id = cmd::quantize_popup,
        .text = "Quantize",
        .changes_song = true,
        .help = std::string(help_page::quantize_settings),
        .fields = std::move(fields),
        .initial = [](const program& p) {
            const int now = p.slot(p.d.current_pattern, popup_track(p)).quantize;
            const auto at = std::find(quantize_values.begin(), quantize_values.end(), now);
            field_values v = {{static_cast<std::int32_t>(at == quantize_values.end() ? 0 : at - quantize_values.begin())}};
            for (const field_value& s : settings_values(p)) v.push_back(s);
            return v;
        },
        .run = [](program& p, const field_values& v) {
            take_settings(p, field_values(v.begin() + 1, v.end()));
            const int n = quantize_values[static_cast<std::size_t>(std::clamp<int>(v[0].number, 0, quantize_values.size() - 1))];
            const int track = popup_track(p);
            p.app.quantize_popup_track = -1;
            return choose_quantize(p, p.d.current_pattern, track, n) ? outcome::done : outcome::refused;
        },
    };
}

}  // namespace

std::vector<command_record> quantize_commands() {
    return {quantize_settings_command(), freeze_quantize_command(), quantize_command()};
}

}  // namespace kestrune
