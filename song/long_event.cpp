#include "song/long_event.h"

#include <algorithm>

namespace kestrune {

int long_event_records(std::size_t payload_bytes) {
    if (payload_bytes <= 2) return 1;
    return 1 + static_cast<int>((payload_bytes - 2 + 5) / 6);
}

std::vector<midi_event> make_long_event(std::uint8_t status, std::int32_t position,
                                        const std::uint8_t* payload, std::size_t n,
                                        std::uint8_t top_nibble) {
    std::vector<midi_event> out(static_cast<std::size_t>(long_event_records(n)), midi_event{});
    midi_event& head = out[0];
    head.set_raw0(n > 0 ? payload[0] : 0);
    head.set_raw1(n > 1 ? payload[1] : 0);
    head.set_position(position);
    head.set_spare_nibble(top_nibble);
    head.set_status(status);
    // Continuations start with a status of 0, so a payload ending early leaves it 0.
    for (std::size_t i = 2; i < n; ++i) out[1 + (i - 2) / 6].b[(i - 2) % 6] = payload[i];
    return out;
}

std::vector<std::uint8_t> read_long_payload(const event_store& s, ref32 head) {
    std::vector<std::uint8_t> out;
    const std::uint8_t end_byte = s.status(head) == st::sysex ? st::sysex_end : 0;
    const midi_event& h = s.at(head);
    for (std::uint8_t b : {h.raw0(), h.raw1()}) {
        out.push_back(b);
        if (b == end_byte) return out;
    }
    for (ref32 r = s.next_record(head); is_continuation_status(s.status(r)); r = s.next_record(r)) {
        for (std::uint8_t b : s.at(r).b) {
            out.push_back(b);
            if (b == end_byte) return out;
        }
    }
    return out;
}

int insert_event_records(event_store& s, ref32 e, const std::vector<midi_event>& records) {
    const int n = static_cast<int>(records.size());
    int taken = s.insert_records(e, n);
    if (taken < 0) return -1;
    ref32 r = e;
    for (int i = 0; i < n; ++i) {
        s.at(r) = records[static_cast<std::size_t>(i)];
        if (i + 1 < n) r = s.next_record(r);
    }
    return taken;
}

bool rewrite_long_event(event_store& s, ref32 head, const std::vector<midi_event>& records,
                        std::uint16_t& chain_blocks) {
    const int old_n = s.event_length(head);
    const int new_n = static_cast<int>(records.size());
    ref32 behind = head;  // behind the records both the old and the new event have
    for (int i = 0; i < std::min(old_n, new_n); ++i) behind = s.next_record(behind);
    int balance = 0;
    if (new_n > old_n) {
        balance = s.insert_records(behind, new_n - old_n);
        if (balance < 0) return false;
    } else {
        balance = -s.delete_records(behind, old_n - new_n);
    }
    ref32 r = head;
    for (const midi_event& e : records) {
        s.at(r) = e;
        r = s.next_record(r);
    }
    s.data().free_blocks -= balance;
    chain_blocks = static_cast<std::uint16_t>(chain_blocks + balance);
    return true;
}

}  // namespace kestrune
