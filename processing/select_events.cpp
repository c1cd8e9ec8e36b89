#include "processing/select_events.h"

#include <queue>
#include <vector>

namespace kestrune {

namespace {

constexpr int spare_blocks = 3;

bool within(int v, int low, int high) { return v >= low && v <= high; }

// Conditions that test the first data byte, and the second: Transform tests them for every type.
bool tests_data1(const event_condition& c) {
    return c.mode == select_mode::transform || (c.type != event_type::all && c.type != event_type::all_channel);
}
bool tests_data2(const event_condition& c) {
    return tests_data1(c) && c.type != event_type::program && c.type != event_type::channel_pressure;
}

// The type a system exclusive or text event is itself.
int own_type(std::uint8_t status) { return status == st::sysex ? event_type::sysex : event_type::text; }

class filter_pass {
public:
    filter_pass(event_store& s, const event_condition& c, std::int32_t from, std::int32_t to)
        : s_(s), c_(c), from_(from), to_(to), out_(s) {}

    ref32 run(ref32 first, int& blocks) {
        for (ref32 e = first; is_event_status(s_.status(e)); e = s_.next_event(e)) take(e);
        flush(last_position + 1);
        out_.terminate();
        const ref32 chain = out_.cut();
        if (chain != null_ref) blocks = out_.count_chain_blocks();
        return chain;
    }

private:
    bool keeping() const { return c_.mode == select_mode::keep; }

    void take(ref32 e) {
        const midi_event& ev = s_.at(e);
        const std::int32_t pos = ev.position();
        if (pos < from_ || pos >= to_) {
            if (!keeping()) copy_outside(e);
        } else if (is_long_head_status(ev.status())) {
            const bool chosen = c_.type == event_type::all || c_.type == own_type(ev.status());
            if (chosen == keeping()) copy(e);
        } else if (!matches(ev)) {
            if (!keeping()) copy_outside(e);
        } else if (!ev.is_note_on()) {
            if (keeping() && !(ev.status() < 0xA0 && ev.data2() == 0)) copy(e);
        } else {
            take_note(e);
        }
    }

    bool matches(const midi_event& ev) const { return meets_condition(c_, ev); }

    // A note-on that meets the condition's other parts: its length decides.
    void take_note(ref32 e) {
        const ref32 off = s_.find_note_off(e);
        const bool has_off = is_event_status(s_.status(off));
        bool fits = true;
        if (tests_data1(c_) && has_off && c_.length_mode != length_test::ignore) {
            const std::int32_t length = s_.position(off) - s_.position(e);
            fits = c_.length_mode == length_test::shorter ? length < c_.length : length > c_.length;
        }
        if (!fits) {
            if (!keeping()) copy_outside(e);
        } else if (keeping()) {
            put_note(e, off);
        }
    }

    void put_note(ref32 e, ref32 off) {
        copy(e);
        if (is_event_status(s_.status(off))) held_.push({s_.position(off), serial_++, off});
    }

    // The new chain comes out in order: a note-off waits until nothing before it is left to
    // copy, and at one position keeps its place behind what was copied before its note-on.
    void copy(ref32 e) {
        flush(s_.position(e));
        out_.copy_event(e);
        ++serial_;
    }
    void flush(std::int32_t up_to) {
        while (!held_.empty() && held_.top().position <= up_to) {
            out_.put(s_.at(held_.top().off));
            held_.pop();
        }
    }

    // What Delete copies of what it leaves: notes with their note-offs, and channel events
    // other than notes. A note-off alone is never copied.
    void copy_outside(ref32 e) {
        const midi_event& ev = s_.at(e);
        if (ev.is_note_on())
            put_note(e, s_.find_note_off(e));
        else if (within(ev.status(), 0xA0, 0xEF))
            copy(e);
    }

    struct held_off {
        std::int32_t position;
        std::int64_t serial;
        ref32 off;
        bool operator>(const held_off& o) const {
            return position != o.position ? position > o.position : serial > o.serial;
        }
    };

    event_store& s_;
    const event_condition& c_;
    std::int32_t from_, to_;
    chain_builder out_;
    std::priority_queue<held_off, std::vector<held_off>, std::greater<>> held_;
    std::int64_t serial_ = 0;
};

}  // namespace

status_range status_range_of(int type) {
    switch (type) {
    case event_type::text: return {st::text, st::text};
    case event_type::sysex: return {st::sysex, st::sysex};
    case event_type::all:
    case event_type::all_channel: return {0x90, st::sysex};
    default: {
        // Note Off is 0x80..0x8F, each type after it the next sixteen statuses.
        const auto low = static_cast<std::uint8_t>(0x80 + (type - event_type::note_off) * 16);
        return {low, static_cast<std::uint8_t>(low + 0x0F)};
    }
    }
}

bool meets_condition(const event_condition& c, const midi_event& ev) {
    const status_range r = c.statuses.value_or(status_range_of(c.type));
    return within(ev.status(), r.low, r.high) && within(ev.status() & 0x0F, c.channel_low, c.channel_high) &&
           (!tests_data1(c) || within(ev.data1(), c.data1_low, c.data1_high)) &&
           (!tests_data2(c) || within(ev.data2(), c.data2_low, c.data2_high));
}

bool filter_events(track_edit& g, const event_condition& c, std::int32_t from, std::int32_t to) {
    track_slot& sl = g.slot();
    if (sl.first == null_ref) return true;
    event_store s = g.store();
    if (s.data().free_blocks < sl.blocks + spare_blocks) return false;
    int blocks = 0;
    const ref32 chain = filter_pass(s, c, from, to).run(sl.first, blocks);
    if (chain == null_ref) return false;
    g.replace_chain(chain, blocks);
    // The old track was freed as a whole, which lets a muted track sound again.
    sl.mute = 0;
    return true;
}

}  // namespace kestrune
