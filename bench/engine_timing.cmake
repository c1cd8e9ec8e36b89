# Output timing of the engine thread on the system clock, thru latency and idle CPU.
add_executable(engine_timing ${CMAKE_CURRENT_LIST_DIR}/engine_timing.cpp)
target_link_libraries(engine_timing PRIVATE kestrune_engine kestrune_song Threads::Threads)
add_test(NAME bench_engine_timing_quick COMMAND engine_timing --quick)
