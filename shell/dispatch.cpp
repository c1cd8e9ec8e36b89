#include "shell/dispatch.h"

#include "core/command_ids.h"
#include "shell/screen/main_screen.h"
#include "shell/screen/main_layout.h"
#include "shell/startup.h"

namespace kestrune {

namespace {

outcome dispatch(session& s, int id, const field_values* given) {
    call(s.window.focus);
    const command_record* c = s.commands.find(id);
    if (!c || !is_enabled(s.prog, *c)) return outcome::refused;
    program& p = s.prog;
    const outcome o = given ? run_command(p, *c, *given)
                            : run_command(p, *c, initial_values(p, *c), p.ask_dialog);
    s.command_finished();
    call(s.window.menus_changed);
    return o;
}

}  // namespace

outcome dispatch_command(session& s, int id) { return dispatch(s, id, nullptr); }

outcome dispatch_command(session& s, int id, field_values values) {
    return dispatch(s, id, &values);
}

bool press_key(session& s, const key_event& k) {
    if (const command_record* c = s.commands.for_key(s.prog, k)) {
        if (!k.auto_repeat) dispatch_command(s, c->id);
        return true;
    }
    return s.screen && s.screen->key_down(k);
}

std::string command_tip(const session& s, int id) {
    const command_record* c = s.commands.find(id);
    if (!c) return {};
    std::string tip = command_name(c->text);
    if (!c->shortcut.empty()) tip += " (" + c->shortcut + ")";
    return tip;
}

namespace {

struct column_tip {
    int region;
    const char* column;
    int command;  // 0: none works on the column alone
};

constexpr column_tip column_tips[] = {
    {rgn::track_number, "Track", cmd::modify_track},
    {rgn::mute, "Mute", cmd::solo_button},
    {rgn::transpose, "Transpose", cmd::freeze_track_parameters},
    {rgn::loop, "Loop length in bars", 0},
    {rgn::delay, "Delay in ticks", cmd::freeze_track_parameters},
    {rgn::compress, "Velocity compression", cmd::freeze_track_parameters},
    {rgn::velocity, "Velocity", cmd::freeze_track_parameters},
    {rgn::quantize, "Quantize", cmd::freeze_quantize},
    {rgn::port, "Port and MIDI channel", cmd::freeze_track_parameters},
    {rgn::channel, "Port and MIDI channel", cmd::freeze_track_parameters},
    {rgn::step_bar, "Bar where the song step starts", 0},
    {rgn::step_pattern, "Pattern of the song step", 0},
    {rgn::step_name, "Name of the song step", 0},
};

}  // namespace

std::string header_tip(const session& s, int x, int y) {
    const int region = s.screen ? s.screen->header_at(x, y) : -1;
    for (const column_tip& t : column_tips) {
        if (t.region != region) continue;
        const std::string command = t.command ? command_tip(s, t.command) : std::string();
        return command.empty() ? t.column : std::string(t.column) + ": " + command;
    }
    return {};
}

bool command_enabled(const session& s, int id) {
    const command_record* c = s.commands.find(id);
    return c && is_enabled(s.prog, *c);
}

}  // namespace kestrune
