# Recording: where takes store what a sample-accurate JACK keyboard played, on servers of its own.
add_executable(recording ${CMAKE_CURRENT_LIST_DIR}/recording.cpp)
target_link_libraries(recording PRIVATE kestrune_realtime kestrune_processing kestrune_backends
    PkgConfig::JACK Threads::Threads)
add_test(NAME bench_recording_quick COMMAND recording --quick)
set_tests_properties(bench_recording_quick PROPERTIES RESOURCE_LOCK jack_server)
