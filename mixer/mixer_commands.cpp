#include "mixer/mixer_commands.h"

#include "core/command_ids.h"
#include "core/midi_names.h"
#include "mixer/mixer_model.h"
#include "mixer/program_menus.h"
#include "services/help_pages.h"

namespace kestrune {

namespace {

constexpr command_views in_mixer{.main_screen = false, .mixer = true};

std::function<outcome(program&, const field_values&)> does(void (*f)(program&)) {
    return [f](program& p, const field_values&) {
        f(p);
        return outcome::done;
    };
}

command_record define_command() {
    std::vector<std::string> names;
    for (int c = 0; c < 128; ++c) names.push_back(fader_control_text(c));
    constexpr int width = 34, height = 7;
    std::vector<dialog_item> items = {label("Fader Control", {1, 1, 13, 2}), value_box(0, {14, 1, 33, 2})};
    for (dialog_item& i : ok_cancel(width, height, true)) items.push_back(std::move(i));
    return {
        .id = cmd::define_mixer_control,
        .text = "Define...",
        .views = in_mixer,
        .help = std::string(help_page::define_mixer_control),
        .fields = {choice_field("Fader Control", std::move(names))},
        .dialog = {.title = "Define Mixer Control",
                   .width = width,
                   .height = height,
                   .items = std::move(items)},
        .initial = [](const program& p) { return field_values{{p.d.mixer_define_controller & 0x7F}}; },
        .run = [](program& p, const field_values& v) {
            p.d.mixer_define_controller = static_cast<std::uint8_t>(v.at(0).number & 0x7F);
            return outcome::done;
        },
    };
}

// One item of the program pop-ups: the program of the strip that opened it.
command_record program_item(int id) {
    return {.id = id,
            .text = "Program",
            .views = in_mixer,
            .help = std::string(help_page::mixer),
            .run = [id](program& p, const field_values&) {
                set_mixer_value(p, mixer_control::program, p.app.mixer.popup_channel, program_of_command(id));
                return outcome::done;
            }};
}

}  // namespace

std::string fader_control_text(int controller) {
    const char* name = controller_name(controller);
    return name ? name : "Control --";
}

void add_mixer_commands(command_table& table) {
    // Open and close; the session makes an open editor leave first.
    table.add({.id = cmd::mixer_button, .text = "Mixer", .shortcut = "J", .views = every_view,
               .help = std::string(help_page::mixer),
               .checked = [](const program& p) { return mixer_open(p); },
               .run = [](program& p, const field_values&) {
                   mixer_open(p) ? close_mixer(p) : open_mixer(p);
                   return outcome::done;
               }});
    table.add({.id = cmd::mixer_store, .text = "Store", .views = in_mixer, .help = std::string(help_page::mixer),
               .run = does(store_snapshot)});
    table.add({.id = cmd::mixer_recall, .text = "Recall", .views = in_mixer, .help = std::string(help_page::mixer),
               .run = does(recall_snapshot)});
    table.add(define_command());
    // Its run comes with the window's help.
    table.add({.id = cmd::mixer_help, .text = "Help", .views = in_mixer, .help = std::string(help_page::mixer)});
    for (int i = 0; i < 128; ++i) table.add(program_item(cmd::mixer_program_first + i));
    for (int id = cmd::gm_drum_first; id <= cmd::gm_drum_last; ++id) table.add(program_item(id));
}

}  // namespace kestrune
