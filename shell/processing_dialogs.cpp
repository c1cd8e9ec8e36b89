#include "shell/processing_dialogs.h"

#include <string>

#include "processing/quantize.h"
#include "services/help_pages.h"

namespace kestrune {

namespace {

constexpr int row = 2;  // cells between rows of radio buttons and fields
constexpr int ports = 4;

dialog_control label(std::string text, rect cells) {
    return {.kind = control_kind::label, .text = std::move(text), .cells = cells};
}

}  // namespace

quantize_settings_view::quantize_settings_view(program& p)
    : dialog(p, "Quantize Settings", 36, 14) {
    help_topic = help_page::quantize_settings;
    add_control(
        {.kind = control_kind::group_box, .text = "Quantize method", .cells = {1, 1, 35, 6}});
    const char* methods[] = {"Tight Quantize", "Smart Quantize"};
    for (int m = 0; m < 2; ++m)
        add_control({.kind = control_kind::radio_button,
                     .text = methods[m],
                     .cells = {2, 2 + m * row, 34, 3 + m * row},
                     .get = [&p, m] { return p.app.smart_quantize == m ? 1 : 0; },
                     .set =
                         [&p, m](int on) {
                             if (on) set_smart_quantize(p, m == 1);
                         }});
    add_control(label("Quantize Strength", {1, 7, 20, 8}));
    add_field({.id = strength_field,
               .cells = {21, 7, 27, 8},
               .low = 0,
               .high = 100,
               .get = [&p] { return p.app.quantize_strength; },
               .set = [&p](std::int32_t v) { set_quantize_strength(p, v); },
               .entry_length = 3});
    add_control(label("%", {28, 7, 30, 8}));
    add_control(label("Swing Factor", {1, 9, 20, 10}));
    add_field({.id = swing_field,
               .kind = field_kind::percent_x10,
               .cells = {21, 9, 27, 10},
               .low = -9,
               .high = 10,
               .get = [&p] { return p.app.quantize_swing; },
               .set = [&p](std::int32_t v) { set_swing_factor(p, v); },
               .entry_length = 4});
    add_control(label("%", {28, 9, 30, 10}));
    // The settings change as they are set: OK alone closes.
    add_control({.kind = control_kind::ok_button, .text = "OK", .cells = {25, 11, 35, 13}});
    add_help_button();
}

internal_recording_view::internal_recording_view(program& p, recorder& rec)
    : dialog(p, "Internal Recording", 40, 16), fields(rec.internal_recording_state()), rec_(rec) {
    help_topic = help_page::internal_recording;
    add_control({.kind = control_kind::check_box,
                 .text = "Enable Internal Recording",
                 .cells = {1, 1, 39, 2},
                 .get = [this] { return fields.enabled ? 1 : 0; },
                 .set = [this](int on) { fields.enabled = on != 0; }});
    for (int port = 0; port < ports; ++port) {
        const char letter = static_cast<char>('A' + port);
        std::string text =
            std::string("Channel ") + letter + "1 - " + letter + "16 to current track";
        add_control({.kind = control_kind::radio_button,
                     .text = std::move(text),
                     .cells = {2, 3 + port * row, 39, 4 + port * row},
                     .get = [this, port] { return fields.port == port ? 1 : 0; },
                     .set =
                         [this, port](int on) {
                             if (on) fields.port = port;
                         }});
    }
    add_ok_cancel();
}

bool internal_recording_view::ok() {
    rec_.set_internal_recording(fields);
    return true;
}

void run_quantize_settings(program& p) {
    quantize_settings_view v(p);
    run_modal(p, v);
}

bool run_internal_recording(program& p, recorder& rec) {
    if (!rec.internal_recording_allowed()) return false;
    internal_recording_view v(p, rec);
    return run_modal(p, v);
}

}  // namespace kestrune
