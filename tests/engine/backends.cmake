# The MIDI systems: the merged list and routing, the JACK scheduler, and a JACK server of its own
# (dummy driver) for the integration test, which skips where jackd is not installed.
kestrune_test(backend_tests
    ${CMAKE_CURRENT_LIST_DIR}/backend_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/jack_integration_test.cpp
)
target_link_libraries(backend_tests PRIVATE kestrune_backends PkgConfig::RTMIDI PkgConfig::JACK Threads::Threads)
