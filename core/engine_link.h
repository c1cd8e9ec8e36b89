// What the application needs of the engine: its block, its arena and the request service.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "core/dll_data.h"

namespace kestrune {

// What the engine asks of the UI thread, queued in its message ring: put an input buffer back,
// locate to lparam, show the message of error number wparam.
enum engine_message_id : int { msg_add_buffer = 0x402, msg_locate = 0x403, msg_error = 0x404 };
struct engine_message {
    int id;
    std::int32_t wparam;
    std::int32_t lparam;
};

// What engine_request asks of the transport's tick.
inline constexpr std::int16_t request_refresh_buttons = 1;
inline constexpr std::int16_t request_end_take = 2;

// The pool is sized in units of 10,000 events.
inline constexpr int events_per_unit = 10000;
inline constexpr int max_memory_units = 50;

// Where the pool and the static end record lie in the arena.
struct pool_layout {
    ref32 first_block = null_ref;
    std::uint32_t block_count = 0;
    ref32 static_end = null_ref;  // end record handed out by block_skip; never on the free list
};

// Posted once when a device goes away under a port: wparam the port (0 to 3, or
// device_lost_input), lparam a device_loss.
inline constexpr int msg_device_lost = 0x405;
inline constexpr int device_lost_input = -1;
enum device_loss : int { device_went_away = 1, midi_system_stopped = 2 };

// Devices by the names of the device lists; an empty name for none.
struct device_names {
    std::array<std::string, 4> outputs;
    std::string input;
    bool operator==(const device_names&) const = default;
};

class engine_link {
public:
    virtual ~engine_link() = default;
    virtual dll_data* get_pointer_to_dll_data() = 0;
    // 0 on success, else the start-up error number.
    virtual std::int16_t init_func_in_dll() = 0;
    virtual void cleanup_func_in_dll() = 0;
    virtual arena& memory() = 0;
    virtual const pool_layout& layout() const = 0;
    // True while a real-time thread serves the requests; otherwise the waiter serves them itself.
    virtual bool runs_on_own_thread() const = 0;
    // Serves every raised request byte now. Only called when no engine thread runs.
    virtual void serve_requests() = 0;
    // Returns once the engine is outside its tick, so that a change made with `stopped` held at 1
    // cannot meet a tick that began before.
    virtual void wait_idle() {}
    // Has the engine thread look at the block now instead of at its next tick.
    virtual void look_now() {}
    // The next message for the UI thread, an engine_message_id and its two values; false when
    // there is none.
    virtual bool poll_message(int*, std::int32_t*, std::int32_t*) { return false; }
    // Sends a short message on a port at once, from the UI thread (clock start and stop, song
    // position pointer); nothing goes to a port that is not open.
    virtual void send_now(int /*port*/, const std::uint8_t* /*bytes*/, std::size_t /*n*/) {}

    // Devices: the lists as the user sees them, and opening what midi_out_device and
    // midi_in_device name (a failure closes that port and sets its choice to 0).
    virtual std::vector<std::string> output_device_names() const { return {}; }
    virtual std::vector<std::string> input_device_names() const { return {}; }
    virtual bool open_output_port(int /*port*/) { return false; }
    // The input port is always open; this makes the choice in midi_in_device its only source.
    virtual bool open_input_port() { return false; }
    // A source is connected to the input, however the connection was made.
    virtual bool input_connected() { return false; }
    // Reads the device lists again; the ports keep their devices, the input shows its source.
    virtual void refresh_devices() {}
    // Before init_func_in_dll: the devices the saved setup names. Names stand where numbers
    // shift as devices come and go: each port opens its device by name, and one not there yet is
    // opened once it appears.
    virtual void choose_devices_by_name(const device_names& /*names*/) {}
    // The devices the ports and the input are set to now, those still awaited among them.
    virtual device_names chosen_devices() const { return {}; }
    // Why the port's device failed to open last time, for the user; empty when it opened.
    virtual std::string output_failure(int /*port*/) const { return {}; }
    // A port (0 to 3) or the input whose device went away since it was opened; the engine keeps
    // running and connects it again when the device is back. Lost from the moment msg_device_lost
    // is posted.
    virtual bool output_lost(int /*port*/) const { return false; }
    virtual bool input_lost() const { return false; }
    // The timer period takes effect at once.
    virtual void set_timer_resolution(int /*ms*/) {}
};

// The start-up message for an error number of init_func_in_dll.
std::string init_error_message(int error);

}  // namespace kestrune
