#include "files/sysex_file.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "files/file_buffer.h"
#include "files/file_messages.h"
#include "files/pattern_file.h"
#include "song/locate.h"
#include "song/long_event.h"
#include "song/patterns.h"

namespace kestrune {

namespace {

// Reads the whole file once: checks it and lays out the records. A 0xF0 inside a message is
// payload; one that would fall on the status byte of a continuation record would read as a head,
// so such a file is refused like any other bad byte.
bool read_messages(file_buffer& f, std::vector<midi_event>& records) {
    bool inside = false;
    bool complete = true;
    std::vector<std::uint8_t> payload;
    std::uint8_t buf[4096];
    for (std::uint64_t left = f.file_size(); left > 0;) {
        const std::size_t n = static_cast<std::size_t>(std::min<std::uint64_t>(left, sizeof buf));
        f.file_get(buf, n);
        if (f.past_end()) return false;  // the file shrank under us
        left -= n;
        for (std::size_t i = 0; i < n; ++i) {
            const std::uint8_t b = buf[i];
            if (!inside) {
                if (b != st::sysex) return false;
                inside = true;
                complete = false;
                payload.clear();
                continue;
            }
            const bool on_status_byte = payload.size() >= 2 && (payload.size() - 2) % 6 == 5;
            payload.push_back(b);
            if (b == st::sysex_end) {
                inside = false;
                complete = true;
                auto recs = make_long_event(st::sysex, song_start, payload.data(), payload.size());
                records.insert(records.end(), recs.begin(), recs.end());
            } else if (b >= 0x80 && (b != st::sysex || on_status_byte)) {
                return false;
            }
        }
    }
    return complete;
}

}  // namespace

load_result read_syx_file(program& p, int pattern, int track, const std::string& path) {
    track_slot& slot = p.slot(pattern, track);
    if (slot.in_use) {
        p.message(msg_track_not_empty);
        return load_result::occupied;
    }
    file_buffer f;
    if (!f.open_read(path)) {
        show_open_failure(p, f, path);
        return load_result::not_opened;
    }
    const std::uint64_t size = f.file_size();
    std::vector<midi_event> records;
    const bool valid = read_messages(f, records);
    f.close();
    if (!valid) {
        p.message(msg_not_syx);
        return load_result::damaged;
    }
    // The estimate first, then what the messages really take with one block to spare.
    if (static_cast<std::uint64_t>(std::max(p.d.free_blocks, 0)) <=
            (size + 100) / bytes_per_block_estimate ||
        blocks_for_records(records.size()) + 1 > p.d.free_blocks) {
        p.message(msg_file_too_big);
        return load_result::too_big;
    }
    p.screen.wait_cursor();
    stored_track t;
    t.head.velocity = slot.velocity;
    t.head.channel = slot.channel;
    t.head.quantize = slot.quantize;
    t.head.mute = slot.mute;
    t.head.transpose = slot.transpose;
    t.head.compress = slot.compress;
    t.head.loop_length = slot.loop_length;
    t.head.delay = slot.delay;
    t.head.port = slot.port;
    std::memcpy(t.head.name, sysex_track_name, 10);
    t.records = std::move(records);
    seat_track(p, pattern, track, t);
    locate_track(p, pattern, track);
    p.screen.arrow_cursor();
    return load_result::loaded;
}

int load_syx_file(program& p, file_state& fs) {
    if (p.refuse_while_recording()) return 0;
    p.wait_request(p.d.thru_notes_off_request);
    const int pattern = p.d.current_pattern;
    const int track = p.d.current_track;
    if (p.slot(pattern, track).in_use) {
        p.message(msg_track_not_empty);
        return 0;
    }
    auto path = p.screen.open_file_dialog(make_file_dialog(p, fs, dialog_syx, "syx", ""));
    if (!path || path->empty()) return 0;
    return read_syx_file(p, pattern, track, *path) == load_result::loaded ? 1 : 0;
}

}  // namespace kestrune
