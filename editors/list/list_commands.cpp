#include "editors/list/list_commands.h"

#include "core/command_ids.h"
#include "editors/frame/editor_frame.h"
#include "editors/grid/grid_notes.h"
#include "editors/list/list_edit.h"
#include "editors/list/step_input.h"
#include "editors/sysex/sysex_edit.h"
#include "realtime/transport.h"
#include "song/event_store.h"
#include "services/help_pages.h"

namespace kestrune {

namespace {

constexpr command_views in_editor{.main_screen = false, .editor = true};

command_record editor_record(int id, const char* text, const char* shortcut,
                             std::function<outcome(program&)> run) {
    return {.id = id, .text = text, .shortcut = shortcut, .views = in_editor,
            .help = std::string(help_page::event_editor),
            .run = [run = std::move(run)](program& p, const field_values&) { return run(p); }};
}

// An edit of the track: refused during a take, and the editor's one undo copy.
command_record edit_record(int id, const char* text, const char* shortcut,
                           std::function<outcome(program&)> run) {
    command_record r = editor_record(id, text, shortcut, std::move(run));
    r.changes_song = true;
    r.undo = undo_kind::track;
    return r;
}

// A record of the track editors only: the tempo and signature lists have no notes or filters.
command_record in_track_editor(command_record r) {
    r.enabled = [](const program& p) {
        return p.editor.kind == editor_kind::event_list || p.editor.kind == editor_kind::grid;
    };
    return r;
}

bool& filter_of(program& p, int i) {
    row_filters& f = p.editor.filters;
    bool* all[] = {&f.on, &f.off, &f.prg, &f.pw, &f.aft, &f.ctr};
    return *all[i];
}

}  // namespace

void add_list_commands(command_table& table) {
    table.add(editor_record(cmd::editor_ok, "OK", "Enter", [](program& p) {
        leave_editor(p);
        return outcome::done;
    }));
    table.add(editor_record(cmd::unlock, "Unlock", "U", [](program& p) {
        p.editor.position_follow = true;
        follow_position(p);
        return outcome::done;
    }));
    // In the grid, Delete, Qua and Deq work on the selected notes.
    table.add(edit_record(cmd::editor_delete, "Delete", "Del", [](program& p) {
        return p.editor.kind == editor_kind::grid ? delete_selected(p) : delete_event(p);
    }));
    // The tempo and signature lists have no notes: there Insert adds what Shift+Insert does.
    table.add(edit_record(cmd::insert_note, "Insert Note", "Ins", [](program& p) {
        return edited_list(p) ? insert_other(p) : insert_note(p);
    }));
    table.add(edit_record(cmd::insert_other, "Insert Other", "Shift+Ins", insert_other));
    table.add(in_track_editor(edit_record(cmd::change_event, "Change Event", "", change_event)));
    for (const bool quantize : {true, false})
        table.add(in_track_editor(edit_record(
            quantize ? cmd::quantize_note : cmd::dequantize_note, quantize ? "Qua" : "Deq", quantize ? "Q" : "Shift+Q",
            [quantize](program& p) {
                return p.editor.kind == editor_kind::grid ? requantize_selected(p, quantize)
                                                          : requantize_note(p, quantize);
            })));
    table.add(editor_record(cmd::edit_long_event, "Edit Sys Ex/Text", "Esc", [](program& p) {
        const ref32 c = p.editor.cursor;
        if (c == null_ref || is_end(p, c)) return outcome::refused;
        return edit_long_event(p, p.app.edit_pattern, p.d.current_track, c);
    }));
    table.add(in_track_editor(editor_record(cmd::step_input, "Step Input", "", toggle_step_input)));
    static const char* const filter_names[] = {"on", "off", "prg", "pw", "aft", "ctr"};
    for (int i = 0; i <= cmd::filter_last - cmd::filter_first; ++i) {
        command_record r = in_track_editor(editor_record(cmd::filter_first + i, filter_names[i], "", [i](program& p) {
            bool& f = filter_of(p, i);
            f = !f;
            settle_cursor(p);
            return outcome::done;
        }));
        r.checked = [i](const program& p) { return filter_of(const_cast<program&>(p), i); };
        table.add(std::move(r));
    }
}

command_record cue_command(transport& t) {
    return editor_record(cmd::cue, "Cue", "P", [&t](program& p) {
        const editor_state& ed = p.editor;
        if (ed.cursor == null_ref || is_end(p, ed.cursor)) return outcome::refused;
        if (p.running()) {
            if (ed.position_follow) {
                t.stop();
            } else {
                shared_store(p.d.stopped, std::int16_t{1});
                p.wait_request(p.d.all_notes_off_request);
            }
        }
        t.dial_position(p.store().position(ed.cursor) + ed.step_offset);
        t.pause();
        return outcome::done;
    });
}

}  // namespace kestrune
