#include "shell/dispatch.h"

#include "shell/screen/main_screen.h"
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
        if (!k.auto_repeat || c->key_repeats) dispatch_command(s, c->id);
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

bool command_enabled(const session& s, int id) {
    const command_record* c = s.commands.find(id);
    return c && is_enabled(s.prog, *c);
}

}  // namespace kestrune
