// The real-time engine: owner of the shared block, the arena and the pool.
#pragma once

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <semaphore.h>

#include "core/clock.h"
#include "core/engine_link.h"
#include "engine/midi_backend.h"
#include "engine/player.h"

namespace kestrune {

class engine final : public engine_link {
public:
    engine();
    ~engine() override;
    engine(const engine&) = delete;
    engine& operator=(const engine&) = delete;

    dll_data* get_pointer_to_dll_data() override { return &data_; }
    std::int16_t init_func_in_dll() override;
    void cleanup_func_in_dll() override;
    arena& memory() override { return arena_; }
    const pool_layout& layout() const override { return layout_; }
    bool runs_on_own_thread() const override { return thread_.joinable(); }
    void serve_requests() override;
    void look_now() override;
    void wait_idle() override;

    bool initialised() const { return arena_.valid(); }

    // The clock and MIDI backend the engine uses; set before init_func_in_dll.
    void attach(clock& c, midi_backend* backend);
    // With a thread (the program) the engine runs by itself from init on; without one (tests on
    // virtual time) it runs when run_until is called.
    void set_own_thread(bool on) { want_thread_ = on; }
    // Runs the engine on virtual time up to `us`: each timer tick and each due event in turn.
    void run_until(std::int64_t us);
    // Restarts the timer at a new period.
    void set_timer_resolution(int ms) override;

    player& playback() { return *player_; }
    bool poll_message(int* id, std::int32_t* wparam, std::int32_t* lparam) override;
    void send_now(int port, const std::uint8_t* bytes, std::size_t n) override;

    // Device lists from the backend into the caps arrays; full names are kept beside.
    void enumerate_devices();
    // Opens a port's device from midi_out_device (0 = none); on failure the port is closed and its
    // choice set to 0. Call with the engine parked and all notes ended.
    bool open_output_port(int port) override;
    // The choice in midi_in_device becomes the input's only source (choice 0: none).
    bool open_input_port() override;
    bool input_connected() override;
    // Lists the devices again, each port keeping its device, the input showing its source; a port
    // awaiting its device takes it by name once it is listed.
    void refresh_devices() override;
    void choose_devices_by_name(const device_names& names) override { wanted_ = names; }
    device_names chosen_devices() const override;
    std::string output_failure(int port) const override;
    std::vector<std::string> output_device_names() const override { return output_names_; }
    std::vector<std::string> input_device_names() const override { return input_names_; }
    const std::vector<std::string>& output_names() const { return output_names_; }
    const std::vector<std::string>& input_names() const { return input_names_; }

    // Asks the backend what became of the open ports' devices; a loss or a return is reported on
    // the engine thread's next turn. The engine's own watch does this a few times a second while
    // its thread runs.
    void watch_devices();
    bool output_lost(int port) const override;
    bool input_lost() const override;

    // Blocks a pool of `units` holds: 10,000 events a unit in whole blocks of 32.
    static std::uint32_t blocks_for_units(int units);

private:
    void format_pool(std::uint32_t blocks);
    void start_thread();
    void stop_thread();
    void thread_main();
    void step(std::int64_t now_us);
    void report_devices();
    // Start-up: the input port listens, and the stored choice, or on a first start the machine's
    // first input device, is connected beside what is connected already.
    void start_input(bool first_start);
    // With devices_ held: connects the choice in midi_in_device; and sets it to the source
    // connected now, however it was connected.
    bool connect_input(bool only);
    void show_connected_input();
    // Start-up: the choices from the names the setup keeps; a port whose device is not listed
    // waits for it.
    void choose_named_devices();
    // With devices_ held: opens a port's device from midi_out_device.
    bool open_port(int port);
    void await_named_outputs();
    // The list number + 1 of `name`, or of a listed device marked after its name (" (...)"); 0
    // when it is not listed.
    static int choice_of(const std::vector<std::string>& names, const std::string& name);
    void watch_main();

    dll_data data_{};
    arena arena_;
    pool_layout layout_;
    system_clock own_clock_;
    clock* clock_ = &own_clock_;
    bool clock_is_real_ = true;  // the machine's clock: sleep on the semaphore, else on clock_
    midi_backend* backend_ = nullptr;
    std::unique_ptr<player> player_;
    bool want_thread_ = false;
    std::thread thread_;
    std::atomic<bool> quit_{false};
    std::atomic<bool> busy_{false};
    static constexpr std::int64_t spin_us = 100;  // the engine thread spins this long before an event
    static constexpr std::int64_t idle_sleep_us = 1'000'000;
    std::int64_t next_tick_us_ = 0;
    std::int64_t virtual_now_ = 0;
    std::vector<std::string> output_names_, input_names_;
    device_names wanted_;                       // as the saved setup names them
    std::string awaited_[output_ports];         // a port's device not listed yet
    std::string failure_[output_ports];         // why a port's device did not open

    // Device watch: slots 0 to 3 are the ports, slot 4 the input.
    static constexpr int watch_slots = output_ports + 1;
    static constexpr int input_slot = output_ports;
    std::mutex devices_;  // the backend's ports and the watch's view of them
    device_state seen_[watch_slots] = {};  // as the watch saw them last
    // From the watch to the engine thread: 0 nothing new, else a device_loss, or device_back.
    static constexpr std::uint8_t device_back = 0xFF;
    std::atomic<std::uint8_t> news_[watch_slots] = {};
    std::atomic<bool> any_news_{false};  // so the engine thread looks at news_ only when there is some
    std::atomic<std::uint32_t> lost_{0};  // bit per slot, set once the loss is posted
    std::thread watch_;
    std::mutex watch_wait_;
    std::condition_variable watch_wake_;
    sem_t wake_;  // posted by input and by the UI thread to wake the engine thread
    static void wake(void* self);
};

}  // namespace kestrune
