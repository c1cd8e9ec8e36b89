// The real-time engine: owner of the shared block, the arena and the pool.
#pragma once

#include <atomic>
#include <memory>
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
    bool open_input_port() override;
    std::vector<std::string> output_device_names() const override { return output_names_; }
    std::vector<std::string> input_device_names() const override { return input_names_; }
    const std::vector<std::string>& output_names() const { return output_names_; }
    const std::vector<std::string>& input_names() const { return input_names_; }

    // Blocks a pool of `units` holds: 10,000 events a unit in whole blocks of 32.
    static std::uint32_t blocks_for_units(int units);

private:
    void format_pool(std::uint32_t blocks);
    void start_thread();
    void stop_thread();
    void thread_main();
    void step(std::int64_t now_us);

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
    std::int64_t next_tick_us_ = 0;
    std::int64_t virtual_now_ = 0;
    std::vector<std::string> output_names_, input_names_;
    sem_t wake_;  // posted by input and by the UI thread to wake the engine thread
    static void wake(void* self);
};

}  // namespace kestrune
