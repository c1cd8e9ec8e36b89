#include "song/event_store.h"

#include <algorithm>
#include <cstring>

namespace kestrune {

ref32 event_store::next_record(ref32 e) const {
    ref32 n = e + record_bytes;
    if (status(n) == st::forward_link) {
        ref32 t = link(n);
        if (t != null_ref) return first_slot(t);
    }
    return n;
}

ref32 event_store::prev_record(ref32 e) const {
    ref32 p = e - record_bytes;
    if (status(p) == st::back_link) {
        ref32 t = link(p);
        if (t != null_ref) return t + last_slot_offset;
    }
    return p;
}

ref32 event_store::next_event(ref32 e) const {
    for (;;) {
        e = next_record(e);
        std::uint8_t s = status(e);
        if (is_event_status(s) || s == st::end || s == st::forward_link) return e;
    }
}

ref32 event_store::prev_event(ref32 e) const {
    for (;;) {
        e = prev_record(e);
        std::uint8_t s = status(e);
        if (is_event_status(s) || s == st::back_link) return e;
    }
}

ref32 event_store::block_skip(ref32 e) const {
    ref32 fl = e - first_slot_offset + forward_link_offset;
    ref32 t = link(fl);
    if (t == null_ref) return fl;
    ref32 f = first_slot(t);
    // A block that opens inside a long event cannot be judged by its first slot.
    if (is_continuation_status(status(f))) return layout_.static_end;
    return f;
}

ref32 event_store::chain_end(ref32 e) const {
    ref32 b = block_of(e);
    for (;;) {
        if (status(first_slot(b)) == st::end) return first_slot(b);
        ref32 t = link(forward_link(b));
        if (t == null_ref) break;
        b = t;
    }
    for (ref32 r = first_slot(b); r < forward_link(b); r += 6)
        if (status(r) == st::end) return r;
    return forward_link(b);
}

ref32 event_store::last_event(ref32 e) const {
    ref32 end = chain_end(e);
    ref32 p = prev_event(end);
    return status(p) == st::back_link ? end : p;
}

namespace {

// Blocks ahead of the walk that are asked into the cache.
constexpr ref32 prefetch_ahead = 16;

// Block phase of the position search: the first slot of the last block whose first event lies
// before `stop_at`, or `first`. It walks as block_skip does, but guesses each next block from the
// last step's distance and checks the guess against the link, so that the walk need not wait
// for every link to load: chains built in the record area lie in a row.
ref32 last_block_before(const event_store& s, ref32 first, std::int32_t stop_at) {
    const std::uint8_t* m = s.mem().base();
    const ref32 limit = s.mem().size() - block_bytes;
    // Bytes 2-5 of a record: position bits and status.
    auto word = [m](ref32 slot) {
        std::uint32_t w;
        std::memcpy(&w, m + slot + 2, 4);
        return w;
    };
    auto stops = [stop_at](std::uint32_t w) {
        const auto status = static_cast<std::uint8_t>(w >> 24);
        return status == st::end || status == st::forward_link ||
               static_cast<std::int32_t>(w & 0xFFFFF) >= stop_at;
    };
    if (stops(word(first))) return first;
    ref32 block = first - first_slot_offset;
    ref32 stride = 0u - block_bytes;
    for (;;) {
        const ref32 ahead = block + prefetch_ahead * stride;
        if (ahead < limit) {
            __builtin_prefetch(m + ahead);
            __builtin_prefetch(m + ahead + forward_link_offset);
        }
        ref32 next = load_ref(m + block + forward_link_offset);
        ref32 guess = block + stride;
        if (next == guess) {
            // Keep the compiler from replacing the guess by the loaded link.
            __asm__("" : "+r"(guess));
            next = guess;
        } else {
            if (next == null_ref) break;
            stride = next - block;
        }
        const std::uint32_t w = word(event_store::first_slot(next));
        // A block that opens inside a long event ends the phase (block_skip's static end).
        if (is_continuation_status(static_cast<std::uint8_t>(w >> 24)) || stops(w)) break;
        block = next;
    }
    return event_store::first_slot(block);
}

}  // namespace

track_seat seat_track(const event_store& s, const track_slot& slot, std::int32_t local) {
    if (!slot.in_use) return {null_ref, local};
    track_seat at{null_ref, local - slot.delay};
    at.event = s.find_at_position(slot.first, at.position, slot.loop_length, &at.position);
    return at;
}

ref32 event_store::find_at_position(ref32 first, std::int32_t p, std::int32_t loop_length,
                                    std::int32_t* folded) const {
    if (p < 0) p = 0;
    if (p >= song_start && loop_ticks(loop_length) > 0)
        p = (p - song_start) % loop_ticks(loop_length) + song_start;
    if (folded) *folded = p;

    for (ref32 e = last_block_before(*this, first, p);; e = next_event(e)) {
        std::uint8_t s = status(e);
        if (s == st::end || s == st::forward_link) return e;
        if (is_event_status(s) && position(e) >= p) return e;
    }
}

ref32 event_store::find_after_position(ref32 first, std::int32_t p) const {
    if (p < 0) p = 0;
    // Nothing lies after the largest position a record can hold.
    const std::int32_t stop_at = p < largest_record_position ? p + 1 : largest_record_position + 1;
    for (ref32 e = last_block_before(*this, first, stop_at);; e = next_event(e)) {
        std::uint8_t s = status(e);
        if (s == st::end || s == st::forward_link) return e;
        if (is_event_status(s) && position(e) > p) return e;
    }
}

std::int32_t event_store::count_records(ref32 first) const {
    std::int32_t n = 0;
    ref32 b = block_of(first);
    for (;;) {
        if (status(first_slot(b)) == st::end) return n;
        ref32 t = link(forward_link(b));
        if (t == null_ref) break;
        n += block_slots;
        b = t;
    }
    for (ref32 r = first_slot(b); r < forward_link(b); r += 6, ++n)
        if (status(r) == st::end) return n;
    return n;
}

int event_store::event_length(ref32 e) const {
    if (!is_long_head_status(status(e))) return 1;
    int n = 1;
    for (ref32 r = next_record(e); is_continuation_status(status(r)); r = next_record(r)) ++n;
    return n;
}

ref32 event_store::find_note_off(ref32 note_on, int* depth_left) const {
    const std::uint8_t s = status(note_on);
    const std::uint8_t key = at(note_on).data1();
    int depth = 1;
    ref32 e = note_on;
    for (;;) {
        e = next_event(e);
        std::uint8_t es = status(e);
        if (!is_event_status(es)) break;
        const midi_event& ev = at(e);
        if (ev.data1() != key) continue;
        if (es == s && ev.data2() != 0) {
            ++depth;
        } else if (es == s - 0x10 || (es == s && ev.data2() == 0)) {
            if (--depth == 0) break;
        }
    }
    if (depth_left) *depth_left = depth;
    return e;
}

ref32 event_store::unlink_head() {
    dll_data& d = *d_;
    ref32 h = d.free_list;
    if (h == null_ref) return null_ref;
    ref32 n = link(h);  // on the free list the back link points to the next free block
    set_link(h, null_ref);
    set_link(forward_link(h), null_ref);
    if (n != null_ref) set_link(forward_link(n), null_ref);
    d.free_list = n;
    if (n == null_ref) {
        // The list is empty: the record area has nothing left either.
        d.record_first_block = d.record_block = d.record_write = null_ref;
    }
    return h;
}

void event_store::push_head(ref32 block) {
    dll_data& d = *d_;
    ref32 h = d.free_list;
    set_link(block, h);
    set_link(forward_link(block), null_ref);
    if (h != null_ref) {
        set_link(forward_link(h), block);
    } else {
        d.record_first_block = d.record_block = block;
        d.record_write = first_slot(block);
    }
    d.free_list = block;
}

ref32 event_store::alloc_block() {
    ref32 b = unlink_head();
    if (b != null_ref) d_->free_blocks -= 1;
    return b;
}

int event_store::count_blocks(ref32 first) const {
    int n = 1;
    for (ref32 b = block_of(first); (b = link(forward_link(b))) != null_ref;) ++n;
    return n;
}

int event_store::free_chain(ref32 first) {
    dll_data& d = *d_;
    ref32 f = block_of(first);
    ref32 l = f;
    int n = 1;
    for (ref32 t; (t = link(forward_link(l))) != null_ref; l = t) ++n;
    ref32 h = d.free_list;
    set_link(f, h);
    if (h != null_ref) {
        set_link(forward_link(h), f);
    } else {
        d.record_first_block = d.record_block = f;
        d.record_write = first_slot(f);
    }
    set_link(forward_link(l), null_ref);
    d.free_list = l;
    d.free_blocks += n;
    return n;
}

ref32 event_store::step_slot(ref32 e) const {
    ref32 n = e + record_bytes;
    if (status(n) == st::forward_link) return first_slot(link(n));
    return n;
}

int event_store::insert_records(ref32 e, int n) {
    if (n <= 0) return 0;
    ref32 end = chain_end(e);
    ref32 b = block_of(end);
    int room = block_slots - 1 - slot_index(end);
    int taken = 0;
    for (int missing = n - room; missing > 0; missing -= block_slots) {
        ref32 nb = unlink_head();
        if (nb == null_ref) break;  // callers check free_blocks first; never write past the pool
        set_link(forward_link(b), nb);
        set_link(nb, b);
        set_link(forward_link(nb), null_ref);
        b = nb;
        ++taken;
    }
    if (taken * block_slots + room < n) {
        // Not enough blocks: give back what was taken and leave the chain as it was.
        ref32 last = block_of(end);
        for (ref32 t = link(forward_link(last)); t != null_ref;) {
            ref32 nt = link(forward_link(t));
            push_head(t);
            t = nt;
        }
        set_link(forward_link(last), null_ref);
        return -1;
    }
    ref32 dst = end;
    for (int i = 0; i < n; ++i) dst = step_slot(dst);
    ref32 src = end;
    for (;;) {
        std::memcpy(a_->bytes(dst), a_->bytes(src), 6);
        if (src == e) break;
        src = prev_record(src);
        dst = prev_record(dst);
    }
    return taken;
}

int event_store::delete_records(ref32 e, int n) {
    if (n <= 0 || status(e) == st::end) return 0;
    ref32 src = e;
    for (int i = 0; i < n && status(src) != st::end; ++i) src = step_slot(src);
    ref32 dst = e;
    for (;;) {
        std::memcpy(a_->bytes(dst), a_->bytes(src), 6);
        if (status(src) == st::end) break;
        src = step_slot(src);
        dst = step_slot(dst);
    }
    // No block may follow the block that holds the end record.
    ref32 b = block_of(dst);
    ref32 t = link(forward_link(b));
    set_link(forward_link(b), null_ref);
    int freed = 0;
    while (t != null_ref) {
        ref32 nt = link(forward_link(t));
        push_head(t);
        ++freed;
        t = nt;
    }
    return freed;
}

ref32 event_store::move_event(ref32 first, ref32 e, std::int32_t d) {
    const int n = event_length(e);
    std::vector<midi_event> saved(static_cast<std::size_t>(n));
    ref32 r = e;
    for (int i = 0; i < n; ++i, r = step_slot(r)) saved[static_cast<std::size_t>(i)] = at(r);
    const std::int32_t p = saved[0].position();
    delete_records(e, n);
    ref32 place = d < 0 ? find_after_position(first, p) : find_at_position(first, p, no_loop);
    if (status(place) == st::forward_link) place = chain_end(first);
    // The blocks just freed are at the head of the list, so this cannot fail.
    insert_records(place, n);
    r = place;
    for (int i = 0; i < n; ++i, r = step_slot(r)) at(r) = saved[static_cast<std::size_t>(i)];
    return place;
}

void event_store::sort_chain(ref32 first) {
    struct unit {
        std::int32_t pos;
        std::uint32_t start;
        std::uint32_t len;
    };
    // Most chains are in order already: find out before copying anything.
    std::int32_t last = -1;
    bool sorted = true;
    for (ref32 r = first; sorted && status(r) != st::end && status(r) != st::forward_link; r = next_record(r)) {
        if (is_continuation_status(status(r))) continue;
        sorted = position(r) >= last;
        last = position(r);
    }
    if (sorted) return;
    std::vector<midi_event> recs;
    std::vector<unit> units;
    for (ref32 r = first; status(r) != st::end && status(r) != st::forward_link; r = next_record(r)) {
        const midi_event& ev = at(r);
        if (is_continuation_status(ev.status()) && !units.empty()) {
            ++units.back().len;
        } else {
            units.push_back({ev.position(), static_cast<std::uint32_t>(recs.size()), 1});
        }
        recs.push_back(ev);
    }
    // A stable sort by position gives the same order as swapping neighbours until none is out of
    // order, which is what the chain's users expect.
    std::stable_sort(units.begin(), units.end(),
                     [](const unit& a, const unit& b) { return a.pos < b.pos; });
    ref32 r = first;
    for (const unit& u : units)
        for (std::uint32_t i = 0; i < u.len; ++i, r = step_slot(r)) at(r) = recs[u.start + i];
}

ref32 event_store::new_empty_chain() {
    ref32 b = alloc_block();
    if (b == null_ref) return null_ref;
    midi_event& end = at(first_slot(b));
    end = midi_event{};
    end.set_status(st::end);
    return first_slot(b);
}

chain_builder::chain_builder(event_store& s) : s_(&s) {
    dll_data& d = s.data();
    d.record_block = d.record_first_block;
    if (d.record_first_block != null_ref) s.set_link(d.record_first_block, null_ref);
    cursor_ = d.record_write;
    overflow_ = cursor_ == null_ref;
}

chain_builder::chain_builder(event_store& s, ref32 cursor)
    : s_(&s), cursor_(cursor), overflow_(cursor == null_ref) {}

void chain_builder::put(const midi_event& e) {
    if (overflow_) return;
    s_->at(cursor_) = e;
    ++written_;
    ref32 n = cursor_ + record_bytes;
    if (s_->status(n) == st::forward_link) {
        ref32 t = s_->link(n);
        if (t == null_ref) {
            // Stay on the null link: terminate() will fail and nothing is cut.
            cursor_ = n;
            overflow_ = true;
            return;
        }
        s_->data().record_block = t;
        n = event_store::first_slot(t);
    }
    cursor_ = n;
}

void chain_builder::copy_event(ref32 src) {
    put(s_->at(src));
    if (!is_long_head_status(s_->status(src))) return;
    for (ref32 r = s_->next_record(src); is_continuation_status(s_->status(r)); r = s_->next_record(r))
        put(s_->at(r));
}

bool chain_builder::terminate() {
    terminated_ = false;
    if (cursor_ == null_ref) return false;
    if (s_->status(cursor_) != st::forward_link) {
        midi_event& e = s_->at(cursor_);
        std::memset(e.b, 0, 4);
        e.set_status(st::end);
        terminated_ = !overflow_;
        return terminated_;
    }
    ref32 t = s_->link(cursor_);
    if (t == null_ref || s_->link(event_store::forward_link(t)) == null_ref) return false;
    s_->data().record_block = t;
    cursor_ = event_store::first_slot(t);
    midi_event& e = s_->at(cursor_);
    std::memset(e.b, 0, 4);
    e.set_status(st::end);
    terminated_ = !overflow_;
    return terminated_;
}

bool chain_builder::ok() const {
    const dll_data& d = s_->data();
    return terminated_ && d.record_block != null_ref &&
           s_->link(event_store::forward_link(d.record_block)) != null_ref;
}

ref32 chain_builder::cut() {
    // Without a free block behind the chain there is nothing to cut it from.
    if (!ok()) return null_ref;
    dll_data& d = s_->data();
    ref32 first = d.record_write;
    ref32 next = s_->link(event_store::forward_link(d.record_block));
    s_->set_link(next, null_ref);
    s_->set_link(event_store::forward_link(d.record_block), null_ref);
    d.record_first_block = next;
    d.record_write = event_store::first_slot(next);
    return first;
}

int chain_builder::blocks() const {
    int n = 0;
    for (ref32 b = s_->data().record_block; b != null_ref; b = s_->link(b)) ++n;
    return n;
}

int chain_builder::count_chain_blocks() {
    const int n = blocks();
    s_->data().free_blocks -= n;
    return n;
}

void merge_chains(chain_builder& out, const event_store& s, ref32 a, ref32 b) {
    auto live = [&](ref32 e) { return is_event_status(s.status(e)); };
    while (live(a) && live(b)) {
        if (s.position(b) < s.position(a)) {
            out.copy_event(b);
            b = s.next_event(b);
        } else {
            out.copy_event(a);
            a = s.next_event(a);
        }
    }
    for (; live(a); a = s.next_event(a)) out.copy_event(a);
    for (; live(b); b = s.next_event(b)) out.copy_event(b);
}

}  // namespace kestrune
