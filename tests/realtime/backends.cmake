# Recording through the real engine from a sample-accurate keyboard on a JACK server of its own.
kestrune_test(jack_recording_tests LOCK jack_server ${CMAKE_CURRENT_LIST_DIR}/jack_recording_test.cpp)
target_link_libraries(jack_recording_tests PRIVATE kestrune_realtime kestrune_processing
    kestrune_backends PkgConfig::JACK Threads::Threads)
