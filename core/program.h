// The program's state: the engine's shared block, the song, the application's own state and the
// platform services. Tests make as many independent instances as they like.
#pragma once

#include <cstdint>
#include <functional>
#include <map>

#include "core/clock.h"
#include "core/command.h"
#include "core/editor_state.h"
#include "core/engine_link.h"
#include "core/field.h"
#include "core/song_settings.h"
#include "core/ui.h"

namespace kestrune {

class event_store;  // the pool's operations, in song/

// Song-wide application state kept beside the shared block.
struct app_state {
    std::int32_t song_tempo = default_tempo;  // tempo shown and used with the tempo track off
    std::int16_t edit_grid = 48;              // groove unit in ticks
    bool simple_bardisplay = false;
    bool chase_events = false;
    bool solo_on = false;
    int solo_track = 0;
    int quantize_swing = 0;
    int quantize_strength = 100;
    int smart_quantize = 0;  // 0 Tight, 1 Smart; for the session only
    // The views that take over the window: the editors' pattern and whether one of their
    // sessions has changed its track; the mixer's port while the mixer is shown, else -1.
    int edit_pattern = 0;
    bool editor_dirty = false;
    int mixer_port = -1;
    // The mixer's own choices; they outlast closing it.
    struct mixer_choices {
        int shown_port = 0;
        int snapshot_slot = 0;
        // Value fields changed by the mouse: sent on the mixer's next tick with the buttons up,
        // in the order program, reverb, chorus, bank.
        bool pending_send[4] = {};
        int popup_channel = 0;  // the strip whose program field opened the pop-up
    } mixer;
    // The track whose Qua field opened the quantize pop-up; -1 for the current track.
    int quantize_popup_track = -1;
    bool clock_field_on = false;
    int clock_calls = 0;  // for the every-eleventh-call rule of the clock text
    char midi_format = '?';  // digit of the "Format ?" text: the last MIDI file read or written
    std::int8_t last_step_direction = 0;  // +1 up, -1 down, 0 before any step
    bool reset_on_stop = false;
    // What internal recording switched off, given back when it goes off.
    struct internal_saved {
        bool valid = false;
        std::uint8_t midi_thru = 0;
        bool reset_on_stop = false;
        std::uint8_t midi_click = 0;
    } internal_record_saved;
    // What the track functions' dialogs keep between openings, by the number of the command (or
    // family of commands) they belong to.
    std::map<int, field_values> dialog_values;
    // The song offset of the dialog that shows locators: what its positions lie after the
    // track's own time. Set as the dialog opens.
    std::int32_t locator_offset = 0;
    // The take that runs: whether its start kept the track's undo copy (a replace), and how many
    // of its cycle passes are quantized. A missing input is told of once.
    bool take_undo_kept = false;
    int passes_quantized = 0;
    bool told_no_input = false;
};

// Change counters, one per area of the model. Whoever changes an area counts it up; a view keeps
// the count it last showed and rebuilds what it shows when the model's differs. Views that
// compare what they show cell by cell need none.
struct change_counters {
    std::uint32_t song = 0;    // cleared or loaded: views go back to their start
    std::uint32_t tracks = 0;  // the events of a track were rewritten (track functions, undo, takes)
    std::uint32_t commands = 0;  // commands that changed the song
    std::uint32_t values = 0;    // a value, name or mute of the song set by hand on the screen
    // Every edit of the song: the closing question asks when this moved since the last load or save.
    std::uint32_t edits() const { return tracks + commands + values; }
    bool operator==(const change_counters&) const = default;
};

// The one undo copy of a track; its chain lies outside all patterns.
struct undo_copy {
    track_slot slot{};
    int pattern = 0;
    int track = 0;
    bool available = false;
};

class program {
public:
    program(engine_link& engine, ui& screen, clock& clk);
    program(const program&) = delete;
    program& operator=(const program&) = delete;

    // Writes the application's defaults into the block; the settings file may then override them.
    void write_defaults();
    // The mixer's rows of all four ports, the port it sends on and the song's four snapshots,
    // all at their defaults.
    void reset_mixer();
    // Turns internal recording off, giving back what it had switched off.
    void internal_record_off();
    void shut_down();

    engine_link& eng;
    dll_data& d;
    ui& screen;
    clock& clk;
    app_state app;
    song_settings song;
    change_counters changes;
    undo_copy undo;
    editor_state editor;
    // Asks for a command's values in its dialog on the frame, true on OK: for a dialog that a
    // command's own run opens. The window sets it; unset, there is no one to ask.
    dialog_asker ask_dialog{};

    // A view of the pool; the operations come with song/event_store.h at the call site.
    template <class Store = event_store>
    Store store() const {
        return Store(eng.memory(), d, eng.layout());
    }
    pattern_entry& pattern(int p) const {
        return eng.memory().at<pattern_entry>(d.pattern_table_ptr)[p];
    }
    track_slot& slot(int p, int t) const { return pattern(p).track[t]; }
    // Song list entry i, 0 to 33; -1 is the leading entry whose end is the song's start.
    song_step& step(int i) const { return eng.memory().at<song_step>(d.song_list_ptr)[i]; }
    ref32 step_ref(int i) const { return d.song_list_ptr + static_cast<ref32>(i * static_cast<int>(sizeof(song_step))); }
    ref32 pattern_ref(int p) const { return d.pattern_table_ptr + static_cast<ref32>(p * static_cast<int>(sizeof(pattern_entry))); }
    int step_index(ref32 step_ptr) const {
        return static_cast<int>((step_ptr - d.song_list_ptr) / sizeof(song_step));
    }
    // Start of song step i: the end of the entry before it.
    std::int32_t step_start(int i) const { return step(i - 1).end; }
    // How far step i's own bar 1 lies after the song's; a step out of the list counts as the
    // nearest one in it.
    std::int32_t step_base(int i) const;
    // How far a pattern's own time lies before the song's: in song mode the current step's
    // start less the song's start; the parallel pattern runs in song time.
    std::int32_t step_offset(int pattern) const;

    bool running() const { return shared_load(d.stopped) == 0; }
    bool recording() const { return d.recording != 0; }

    // Raises a request byte and waits until the engine has cleared it.
    void wait_request(std::uint8_t& flag);
    // Raises a request byte for the engine's next turn without waiting for it.
    void raise_request(std::uint8_t& flag) {
        shared_store(flag, std::uint8_t{1});
        eng.look_now();
    }
    // Clears `stopped`; the engine thread, asleep while stopped, is woken to play.
    void run_engine() {
        shared_store(d.stopped, std::int16_t{0});
        eng.look_now();
    }
    // Ends the notes that sound from one track: of the pattern that plays, of the parallel
    // pattern or of the working pattern's passes. A track of a pattern that does not play has none.
    void silence_track(int pattern, int track);

    void message(const std::string& text, msg_icon icon = msg_icon::warning) {
        screen.message(text, icon);
    }
    // "Can't do this while recording!" when a take runs; true when refused.
    bool refuse_while_recording();

    // Parks the engine: holds `stopped` at 1 and restores it when the guard ends.
    class park {
    public:
        explicit park(program& p) : p_(p), was_running_(shared_load(p.d.stopped) == 0) {
            if (was_running_) {
                shared_store(p.d.stopped, 1);
                p.eng.wait_idle();
            }
        }
        ~park() {
            if (was_running_) p_.run_engine();
        }
        park(const park&) = delete;
        park& operator=(const park&) = delete;

    private:
        program& p_;
        bool was_running_;
    };
};

void call(const std::function<void()>& f);

}  // namespace kestrune
