#include "shell/processing_commands.h"

#include <memory>
#include <string>

#include "processing/quantize.h"
#include "processing/undo.h"
#include "realtime/recording.h"
#include "shell/entry_parsers.h"
#include "shell/processing_dialogs.h"

namespace kestrune {

namespace {

constexpr const char* tight_choice = "tight_quantize";
constexpr const char* smart_choice = "smart_quantize";

undo_context undo_place(const program& p) {
    if (p.d.main_screen) return undo_context::main_screen;
    return p.app.mixer_port >= 0 ? undo_context::mixer : undo_context::editor;
}

// The pop-up's value goes to the track it was opened on.
int popup_track(const program& p) {
    const int t = p.app.quantize_popup_track;
    return t >= 0 && t < tracks_per_pattern ? t : p.d.current_track;
}

std::string popup_text(int n) {
    return n == 0 ? "NO" : std::to_string(n);
}

std::string value_choices() {
    std::string s;
    for (int n : quantize_values) s += (s.empty() ? "" : "|") + popup_text(n);
    return s;
}

// The Quantize Settings dialog's three fields.
std::vector<command_field> settings_fields(program& p) {
    return {
        {"quantize_method", std::string(tight_choice) + "|" + smart_choice,
         [&p](std::string_view v) {
             if (v != tight_choice && v != smart_choice) return false;
             set_smart_quantize(p, v == smart_choice);
             return true;
         }},
        {"quantize_strength", "0..100",
         [&p](std::string_view v) {
             int n = 0;
             if (!parse_field_number(v, 0, 100, n)) return false;
             set_quantize_strength(p, n);
             return true;
         }},
        // Shown in percent; the setting moves in steps of ten.
        {"swing_factor", "-90..100 in steps of 10",
         [&p](std::string_view v) {
             int n = 0;
             if (!parse_field_number(v, -90, 100, n) || n % 10 != 0) return false;
             set_swing_factor(p, n / 10);
             return true;
         }},
    };
}

}  // namespace

bool parse_field_number(std::string_view text, int low, int high, int& out) {
    const auto v = parse_integer(text);
    if (!v || *v < low || *v > high) return false;
    out = *v;
    return true;
}

void add_processing_commands(command_table& table, program& p) {
    const auto undo = [&p] { undo_command(p, undo_place(p)); };
    table.add({cmd::undo, "&Undo", "Ctrl+Z", {}, {}, undo});
    table.add({cmd::undo_button, "Undo", "", {}, {}, undo});
    table.add({cmd::freeze_quantize, "Freeze &Quantize", "F", {}, {}, [&p] {
                   freeze_quantize(p, p.d.current_pattern, p.d.current_track);
               }});
    table.add({cmd::quantize_settings, "&Quantize Settings...", "Shift+U", {}, {}, [&p] {
                   run_quantize_settings(p);
               }});
    // Internal recording belongs to the recorder; without one the item stays disabled.
    table.add(
        {cmd::internal_recording, "&Internal Recording...", "", [] { return false; }, {}, [] {}});
    for (int n : quantize_values)
        table.add({quantize_popup_id(n),
                   popup_text(n),
                   "",
                   {},
                   [&p, n] { return p.slot(p.d.current_pattern, popup_track(p)).quantize == n; },
                   [&p, n] {
                       choose_quantize(p, p.d.current_pattern, popup_track(p), n);
                       p.app.quantize_popup_track = -1;
                   }});
}

void add_recording_commands(command_table& table, program& p, recorder& rec) {
    table.add({cmd::internal_recording, "&Internal Recording...", "", {}, {}, [&p, &rec] {
                   run_internal_recording(p, rec);
               }});
}

recording_actions recorder_actions(recorder& rec) {
    return {[&rec](int mode) {
                rec.record_key(static_cast<record_mode>(mode == 2 ? 2 : 1));
            },
            [&rec](bool shift) { rec.instant_record_toggle(shift); },
            [&rec] { rec.mute_last_pass(); }};
}

std::vector<field_command> processing_field_commands(program& p) {
    std::vector<command_field> quantize = settings_fields(p);
    auto value = std::make_shared<int>(-1);
    quantize.insert(quantize.begin(), {"quantize", value_choices(), [value](std::string_view v) {
                                           const int n = v == "NO" || v == "no" ? 0 : -1;
                                           int parsed = n;
                                           if (n < 0 && (!parse_field_number(v, 4, 48, parsed) ||
                                                         !is_quantize_value(parsed)))
                                               return false;
                                           *value = parsed;
                                           return true;
                                       }});
    return {
        {"Quantize Settings", settings_fields(p), [] { return 0; }},
        // The Qua value chosen for the track shown; without a value, the track's own again.
        {"Quantize", std::move(quantize),
         [&p, value] {
             return quantize_popup_id(
                 *value >= 0 ? *value : p.slot(p.d.current_pattern, p.d.current_track).quantize);
         }},
        {"Dequantize", {}, [] { return quantize_popup_id(0); }},
        {"Freeze Quantize", {}, [] { return cmd::freeze_quantize; }},
    };
}

}  // namespace kestrune
