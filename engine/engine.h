// The real-time engine: owner of the shared block, the arena and the pool.
#pragma once

#include <string>

#include "engine/engine_link.h"

namespace kestrune {

inline constexpr int events_per_unit = 10000;
inline constexpr int max_memory_units = 50;

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
    bool runs_on_own_thread() const override { return false; }
    void serve_requests() override;

    bool initialised() const { return arena_.valid(); }

    // Blocks a pool of `units` holds: 10,000 events a unit in whole blocks of 32.
    static std::uint32_t blocks_for_units(int units);

private:
    void format_pool(std::uint32_t blocks);

    dll_data data_{};
    arena arena_;
    pool_layout layout_;
};

// The start-up message for an error number of init_func_in_dll.
std::string init_error_message(int error);

}  // namespace kestrune
