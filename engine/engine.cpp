#include "engine/engine.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string_view>

#include <pthread.h>
#include <sched.h>
#include <semaphore.h>
#include <sys/prctl.h>

namespace kestrune {

engine::engine() : player_(std::make_unique<player>(data_, arena_)) {
    sem_init(&wake_, 0, 0);
    player_->set_wake(&engine::wake, this);
    // What the block holds before the application writes its defaults.
    data_.stopped = 1;
    data_.not_at_end = 1;
    data_.play_pattern = 0xFF;
    data_.input_activity = 0xFF;
    std::memset(data_.track_activity, 0xFF, sizeof data_.track_activity);
    data_.memory_max_units = max_memory_units;
}

engine::~engine() {
    cleanup_func_in_dll();
    sem_destroy(&wake_);
}

void engine::wake(void* self) { sem_post(&static_cast<engine*>(self)->wake_); }

bool engine::poll_message(int* id, std::int32_t* wparam, std::int32_t* lparam) {
    engine_message m;
    if (!player_->next_message(m)) return false;
    *id = m.id;
    *wparam = m.wparam;
    *lparam = m.lparam;
    return true;
}

void engine::send_now(int port, const std::uint8_t* bytes, std::size_t n) {
    if (thread_.joinable()) {
        player_->queue_send(port, bytes, n);
        sem_post(&wake_);
    } else {
        player_->queue_send(port, bytes, n);
        player_->process(clock_->now_us());
    }
}

namespace {

// Capability records keep the old sizes with the name at +8; a longer name is cut for the record.
constexpr std::uint32_t in_caps_size = 44;
constexpr std::uint32_t out_caps_size = 52;
constexpr std::uint32_t caps_name_size = 32;
constexpr std::uint32_t max_devices = 128;

void put_caps_name(std::uint8_t* rec, const std::string& name) {
    std::memset(rec + 8, 0, caps_name_size);
    std::memcpy(rec + 8, name.data(), std::min<std::size_t>(name.size(), caps_name_size - 1));
}

}  // namespace

void engine::enumerate_devices() {
    dll_data& d = data_;
    output_names_ = backend_ ? backend_->output_devices() : std::vector<std::string>{};
    input_names_ = backend_ ? backend_->input_devices() : std::vector<std::string>{};
    if (output_names_.size() > max_devices) output_names_.resize(max_devices);
    if (input_names_.size() > max_devices) input_names_.resize(max_devices);
    for (std::size_t i = 0; i < output_names_.size(); ++i)
        put_caps_name(arena_.bytes(d.midi_out_caps) + i * out_caps_size, output_names_[i]);
    for (std::size_t i = 0; i < input_names_.size(); ++i)
        put_caps_name(arena_.bytes(d.midi_in_caps) + i * in_caps_size, input_names_[i]);
    d.midi_out_count = static_cast<std::int16_t>(output_names_.size());
    d.midi_in_count = static_cast<std::int16_t>(input_names_.size());
    // There is no mapper entry on this system.
    d.midi_out_has_mapper = 0;
    d.midi_in_has_mapper = 0;
}

bool engine::open_output_port(int port) {
    if (port < 0 || port > 3) return false;
    std::lock_guard hold(devices_);
    awaited_[port].clear();
    return open_port(port);
}

bool engine::open_port(int port) {
    dll_data& d = data_;
    failure_[port].clear();
    if (backend_) backend_->close_output(port);
    d.midi_out_handle[port] = 0;
    seen_[port] = device_state::closed;
    news_[port].store(device_back);  // whatever was lost before is not any more
    any_news_.store(true, std::memory_order_release);
    const int choice = d.midi_out_device[port];
    if (choice <= 0) return true;
    const int device = choice - (d.midi_out_has_mapper ? 2 : 1);
    const bool listed = backend_ && device >= 0 && device < d.midi_out_count;
    if (!listed || !backend_->open_output(port, device)) {
        failure_[port] = listed ? backend_->open_failure(port) : "The device is no longer listed.";
        d.midi_out_device[port] = 0;
        return false;
    }
    d.midi_out_handle[port] = static_cast<handle32>(port + 1);
    seen_[port] = device_state::connected;
    return true;
}

bool engine::open_input_port() {
    std::lock_guard hold(devices_);
    return connect_input(true);
}

bool engine::connect_input(bool only) {
    dll_data& d = data_;
    seen_[input_slot] = device_state::closed;
    news_[input_slot].store(device_back);
    any_news_.store(true, std::memory_order_release);
    const int choice = d.midi_in_device;
    if (choice <= 0 && (!only || !backend_))
        return true;  // nothing chosen: what is connected stays
    const int device = choice > 0 ? choice - (d.midi_in_has_mapper ? 2 : 1) : -1;
    const bool listed = device >= 0 && device < d.midi_in_count;
    const bool ok =
        backend_ && (choice <= 0 || listed) && backend_->connect_input(listed ? device : -1, only);
    if (!ok) d.midi_in_device = 0;
    if (backend_) seen_[input_slot] = backend_->input_state();
    return ok;
}

bool engine::input_connected() {
    auto connected = [this] {
        std::lock_guard hold(devices_);
        return backend_ && backend_->connected_input() >= 0;
    };
    if (connected()) return true;
    // A source that appeared after the device lists were read counts once they are read again.
    refresh_devices();
    return connected();
}

void engine::refresh_devices() {
    std::lock_guard hold(devices_);
    if (!arena_.valid()) return;
    dll_data& d = data_;
    // Each port keeps its device by name, wherever the device now stands in the list.
    const std::vector<std::string> before = output_names_;
    enumerate_devices();
    for (int p = 0; p < output_ports; ++p) {
        const int device = d.midi_out_device[p] - (d.midi_out_has_mapper ? 2 : 1);
        if (device < 0 || device >= static_cast<int>(before.size())) continue;
        const auto now = std::find(output_names_.begin(), output_names_.end(),
                                   before[static_cast<std::size_t>(device)]);
        if (now != output_names_.end())
            d.midi_out_device[p] = static_cast<std::int16_t>(now - output_names_.begin() +
                                                             (d.midi_out_has_mapper ? 2 : 1));
    }
    // A port awaiting its device takes it once it is listed; the backend's watch connects it, or
    // it opens here where the backend could not wait.
    for (int p = 0; p < output_ports; ++p) {
        const int choice = choice_of(output_names_, awaited_[p]);
        if (awaited_[p].empty() || choice == 0) continue;
        awaited_[p].clear();
        d.midi_out_device[p] = static_cast<std::int16_t>(choice);
        if (d.midi_out_handle[p] == 0) open_port(p);
    }
    show_connected_input();
}

namespace {

// A device's name without the note a system puts after it (" (no SoundFont)").
std::string_view base_name(std::string_view name) {
    const auto note = name.rfind(" (");
    return note != std::string_view::npos && name.ends_with(')') ? name.substr(0, note) : name;
}

}  // namespace

int engine::choice_of(const std::vector<std::string>& names, const std::string& name) {
    if (name.empty()) return 0;
    for (std::size_t i = 0; i < names.size(); ++i)
        if (base_name(names[i]) == base_name(name)) return static_cast<int>(i) + 1;
    return 0;
}

void engine::choose_named_devices() {
    // Settings from before names were kept name nothing: their numbers stand.
    if (wanted_ == device_names{}) return;
    dll_data& d = data_;
    for (int p = 0; p < output_ports; ++p) {
        const std::string& name = wanted_.outputs[static_cast<std::size_t>(p)];
        d.midi_out_device[p] = static_cast<std::int16_t>(choice_of(output_names_, name));
        awaited_[p] = d.midi_out_device[p] == 0 ? name : std::string();
    }
    d.midi_in_device = static_cast<std::int16_t>(choice_of(input_names_, wanted_.input));
}

void engine::await_named_outputs() {
    std::lock_guard hold(devices_);
    for (int p = 0; p < output_ports; ++p) {
        if (awaited_[p].empty() || !backend_ || !backend_->await_output(p, awaited_[p])) continue;
        data_.midi_out_handle[p] = static_cast<handle32>(p + 1);
        seen_[p] = backend_->output_state(p);
    }
}

device_names engine::chosen_devices() const {
    const dll_data& d = data_;
    auto named = [](const std::vector<std::string>& names, int device) {
        return device >= 0 && device < static_cast<int>(names.size())
                   ? std::string(base_name(names[static_cast<std::size_t>(device)]))
                   : std::string();
    };
    device_names n;
    for (int p = 0; p < output_ports; ++p) {
        const std::string now = named(output_names_, d.midi_out_device[p] - (d.midi_out_has_mapper ? 2 : 1));
        n.outputs[static_cast<std::size_t>(p)] = now.empty() ? awaited_[p] : now;
    }
    n.input = named(input_names_, d.midi_in_device - (d.midi_in_has_mapper ? 2 : 1));
    return n;
}

std::string engine::output_failure(int port) const {
    return port >= 0 && port < output_ports ? failure_[port] : std::string();
}

void engine::show_connected_input() {
    dll_data& d = data_;
    const int source = backend_ ? backend_->connected_input() : -1;
    const bool listed = source >= 0 && source < d.midi_in_count;
    d.midi_in_device =
        static_cast<std::int16_t>(listed ? source + (d.midi_in_has_mapper ? 2 : 1) : 0);
}

// A lost port keeps its handle and its choice; the backend connects it again underneath, its gate
// keeping sends off the port meanwhile, so the engine need not be parked for it.
void engine::watch_devices() {
    std::lock_guard hold(devices_);
    if (!backend_ || !arena_.valid()) return;
    backend_->watch_devices();
    for (int slot = 0; slot < watch_slots; ++slot) {
        const bool open = slot == input_slot || data_.midi_out_handle[slot] != 0;
        if (!open) continue;
        const device_state now = slot == input_slot ? backend_->input_state() : backend_->output_state(slot);
        std::uint8_t news = 0;
        if (!lost(seen_[slot]) && lost(now))
            news = now == device_state::system_gone ? midi_system_stopped : device_went_away;
        else if (lost(seen_[slot]) && now == device_state::connected)
            news = device_back;
        seen_[slot] = now;
        if (news == 0) continue;
        news_[slot].store(news);
        any_news_.store(true, std::memory_order_release);
        sem_post(&wake_);
    }
}

void engine::report_devices() {
    if (!any_news_.load(std::memory_order_relaxed) || !any_news_.exchange(false)) return;
    for (int slot = 0; slot < watch_slots; ++slot) {
        const std::uint8_t news = news_[slot].exchange(0);
        if (news == device_back) {
            lost_.fetch_and(~(1u << slot));
        } else if (news != 0) {
            player_->post(msg_device_lost, slot == input_slot ? device_lost_input : slot, news);
            lost_.fetch_or(1u << slot, std::memory_order_release);
        }
    }
}

bool engine::output_lost(int port) const {
    return port >= 0 && port < output_ports && (lost_.load(std::memory_order_acquire) >> port & 1);
}

bool engine::input_lost() const { return lost_.load(std::memory_order_acquire) >> input_slot & 1; }

std::uint32_t engine::blocks_for_units(int units) {
    units = std::clamp(units, 1, static_cast<int>(max_memory_units));
    return (static_cast<std::uint32_t>(units) * events_per_unit + block_slots - 1) / block_slots;
}

void engine::start_input(bool first_start) {
    dll_data& d = data_;
    // The input port listens from the start, whatever is connected to it and however.
    d.midi_in_handle = backend_ ? 1 : 0;
    if (!backend_) return;
    backend_->listen(player_.get());
    // A first start takes the machine's first keyboard or interface, when it has one.
    const int hardware = first_start ? backend_->default_input() : -1;
    if (hardware >= 0)
        d.midi_in_device = static_cast<std::int16_t>(hardware + (d.midi_in_has_mapper ? 2 : 1));
    std::lock_guard hold(devices_);
    connect_input(false);  // connections made elsewhere stay
    show_connected_input();
}

std::int16_t engine::init_func_in_dll() {
    cleanup_func_in_dll();
    dll_data& d = data_;
    const std::uint32_t blocks = blocks_for_units(d.memory_units);

    // One arena: the static end record, the song list with its leading entry, the pattern
    // table, the device lists, then the pool.
    const std::uint32_t song_list_bytes = (song_list_entries + 1) * sizeof(song_step);
    const std::uint32_t table_bytes = pattern_count * sizeof(pattern_entry);
    const std::uint64_t total = 64 + song_list_bytes + table_bytes + 64 +
                                max_devices * (in_caps_size + out_caps_size) + 64 +
                                std::uint64_t{blocks} * block_bytes + 64;
    if (total > 0x7FFFFFFF) return 1;
    arena_.create(static_cast<std::uint32_t>(total));
    if (!arena_.valid()) return 1;

    // The static end record is followed by a null forward link so that nothing walks past it.
    layout_.static_end = arena_.reserve(12, 4);
    midi_event* se = arena_.at<midi_event>(layout_.static_end);
    se[0].set_status(st::end);
    se[1].set_status(st::forward_link);

    ref32 list = arena_.reserve(song_list_bytes, 4);
    ref32 table = arena_.reserve(table_bytes, 4);
    if (!list || !table) return 2;
    d.song_list_ptr = list + sizeof(song_step);
    d.pattern_table_ptr = table;
    d.midi_in_caps = arena_.reserve(max_devices * in_caps_size, 4);
    d.midi_out_caps = arena_.reserve(max_devices * out_caps_size, 4);
    if (!d.midi_in_caps || !d.midi_out_caps) return 4;

    format_pool(blocks);
    if (layout_.first_block == null_ref) return 3;

    for (int i = 0; i < 16; ++i) d.bit16[i] = static_cast<std::uint16_t>(1u << i);
    for (int i = 0; i < 32; ++i) d.bit32[i] = 1u << i;
    d.memory_max_units = max_memory_units;
    d.not_at_end = 1;
    d.stopped = 1;
    d.play_pattern = 0xFF;
    d.input_activity = 0xFF;
    std::memset(d.track_activity, 0xFF, sizeof d.track_activity);

    player_->attach(layout_);
    player_->set_backend(backend_);

    // Devices: lists, then the ports and the input the settings name.
    enumerate_devices();
    choose_named_devices();
    const bool first_start = d.midi_in_device == 0 && wanted_ == device_names{} &&
                             std::all_of(std::begin(d.midi_out_device), std::end(d.midi_out_device),
                                         [](std::int16_t c) { return c == 0; });
    if (first_start) {
        // Nothing chosen yet: sound by default, where the backend has a device for it.
        const int device = backend_ ? backend_->default_output() : -1;
        if (device >= 0) d.midi_out_device[0] = static_cast<std::int16_t>(device + 1);
    }
    bool any_output = false;
    for (int p = 0; p < 4; ++p) {
        std::lock_guard hold(devices_);
        any_output |= open_port(p) && d.midi_out_handle[p] != 0;
    }
    await_named_outputs();
    for (int p = 0; p < 4; ++p) any_output |= d.midi_out_handle[p] != 0;
    start_input(first_start);
    d.midi_not_configured = any_output ? 0 : 1;

    next_tick_us_ = clock_->now_us();
    virtual_now_ = next_tick_us_;
    if (want_thread_) start_thread();
    return 0;
}

void engine::format_pool(std::uint32_t blocks) {
    dll_data& d = data_;
    ref32 base = arena_.reserve(blocks * block_bytes, 4);
    layout_.first_block = base;
    layout_.block_count = base ? blocks : 0;
    if (!base) return;
    // Block 0 is the head of the free list, the last block its far end where the record area
    // starts. On the list a block's back link points away from the head, its forward link towards it.
    // The arena is fresh, so every block's records start zeroed.
    for (std::uint32_t i = 0; i < blocks; ++i) {
        ref32 b = base + i * block_bytes;
        auto* blk = arena_.at<event_block>(b);
        blk->back.set_status(st::back_link);
        blk->forward.set_status(st::forward_link);
        store_ref(blk->back.b, i + 1 < blocks ? b + block_bytes : null_ref);
        store_ref(blk->forward.b, i > 0 ? b - block_bytes : null_ref);
    }
    const ref32 last = base + (blocks - 1) * block_bytes;
    d.free_list = base;
    d.record_first_block = last;
    d.record_block = last;
    d.record_write = last + first_slot_offset;
    d.record_cursor = d.record_write;
    d.free_blocks = static_cast<std::int32_t>(blocks);
}

void engine::cleanup_func_in_dll() {
    stop_thread();
    if (backend_ && arena_.valid()) backend_->listen(nullptr);
    if (arena_.valid()) {
        // Nothing may keep sounding once the engine is gone.
        data_.stopped = 1;
        player_->process(clock_->now_us());
        shared_store(data_.all_notes_off_request, 1);
        shared_store(data_.thru_notes_off_request, 1);
        player_->serve_requests(clock_->now_us());
    }
    if (backend_ && arena_.valid())
        for (int p = 0; p < 4; ++p) backend_->close_output(p);
    player_->attach(pool_layout{});
    arena_.release();
    layout_ = pool_layout{};
    data_.pattern_table_ptr = data_.song_list_ptr = null_ref;
    data_.free_list = data_.record_first_block = data_.record_block = null_ref;
    data_.record_write = data_.record_cursor = null_ref;
    data_.free_blocks = 0;
}

void engine::serve_requests() { player_->serve_requests(clock_->now_us()); }

void engine::look_now() {
    if (thread_.joinable()) sem_post(&wake_);
}

void engine::attach(clock& c, midi_backend* backend) {
    clock_ = &c;
    clock_is_real_ = dynamic_cast<system_clock*>(clock_) != nullptr;
    backend_ = backend;
    player_->set_backend(backend);
}

void engine::wait_idle() {
    if (!thread_.joinable() || std::this_thread::get_id() == thread_.get_id()) return;
    while (busy_.load(std::memory_order_acquire)) std::this_thread::yield();
}

void engine::step(std::int64_t now_us) {
    busy_.store(true, std::memory_order_release);
    report_devices();
    if (now_us >= next_tick_us_) {
        const std::int64_t period = std::int64_t{std::clamp(shared_load(data_.timer_resolution), 1, 20)} * 1000;
        next_tick_us_ += period;
        if (next_tick_us_ <= now_us) next_tick_us_ = now_us + period;
    }
    player_->process(now_us);
    busy_.store(false, std::memory_order_release);
}

void engine::run_until(std::int64_t us) {
    if (!arena_.valid() || thread_.joinable()) return;
    for (int guard = 0; guard < 50'000'000; ++guard) {
        std::int64_t wake = std::min(next_tick_us_, player_->next_due_us());
        // Each step moves time on, so nothing can hold the loop at one instant.
        if (wake <= virtual_now_) wake = guard == 0 ? virtual_now_ : virtual_now_ + 1;
        if (wake > us) break;
        virtual_now_ = wake;
        step(wake);
    }
    virtual_now_ = us;
    step(us);
}

void engine::set_timer_resolution(int ms) {
    // The tick reads the period each time, so the new period applies from the next tick on; only
    // the engine's own thread touches its tick time.
    shared_store(data_.timer_resolution, std::clamp(ms, 1, 20));
    if (!thread_.joinable())
        next_tick_us_ = std::min(next_tick_us_, clock_->now_us() + std::int64_t{data_.timer_resolution} * 1000);
}

void engine::start_thread() {
    if (thread_.joinable()) return;
    quit_ = false;
    thread_ = std::thread([this] { thread_main(); });
    watch_ = std::thread([this] { watch_main(); });
}

void engine::stop_thread() {
    if (!thread_.joinable()) return;
    {
        std::lock_guard hold(watch_wait_);
        quit_ = true;
    }
    watch_wake_.notify_all();
    watch_.join();
    sem_post(&wake_);
    thread_.join();
}

void engine::watch_main() {
    // Four times a second: a lost device is reported well within a second.
    constexpr auto period = std::chrono::milliseconds(250);
    std::unique_lock hold(watch_wait_);
    while (!watch_wake_.wait_for(hold, period, [this] { return quit_.load(); })) {
        hold.unlock();
        watch_devices();
        hold.lock();
    }
}

void engine::thread_main() {
    // Real-time priority where the system grants it; plain scheduling otherwise.
    sched_param sp{};
    sp.sched_priority = std::max(1, sched_get_priority_max(SCHED_FIFO) - 10);
    pthread_setschedparam(pthread_self(), SCHED_FIFO, &sp);
    prctl(PR_SET_TIMERSLACK, 1UL, 0, 0, 0);
    while (!quit_.load(std::memory_order_acquire)) {
        step(clock_->now_us());
        const std::int64_t due = player_->next_due_us();
        const std::int64_t now = clock_->now_us();
        // Stopped and idle, the tick has nothing to do: the thread sleeps until a request, a send,
        // input or device news wakes it (the long timeout only guards against a lost wake).
        std::int64_t wake = player_->idle() ? now + idle_sleep_us : std::min(next_tick_us_, due);
        if (wake <= now) wake = now + 50;
        if (!clock_is_real_) {
            clock_->sleep_ms(static_cast<int>(std::max<std::int64_t>(1, (wake - now) / 1000)));
            continue;
        }
        // A wake-up from sleep comes some tens of µs late; for an event that is due, sleep to a
        // little before it and spin the rest, so it goes out on time. Input wakes the thread early.
        const bool event_due = wake == due;
        const std::int64_t sleep_to = event_due ? wake - spin_us : wake;
        if (sleep_to > now) {
            timespec ts;
            ts.tv_sec = static_cast<time_t>(sleep_to / 1'000'000);
            ts.tv_nsec = static_cast<long>((sleep_to % 1'000'000) * 1000);
            if (sem_clockwait(&wake_, CLOCK_MONOTONIC, &ts) == 0) continue;
        }
        if (event_due) {
            while (clock_->now_us() < wake && !quit_.load(std::memory_order_relaxed)) {
                if (sem_trywait(&wake_) == 0) break;
            }
        }
    }
}

}  // namespace kestrune
