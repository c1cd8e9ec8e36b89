# The built-in synth: audio export speed and live onset timing on a JACK server of its own.
if(TARGET kestrune_audio_render)
  add_executable(synth ${CMAKE_CURRENT_LIST_DIR}/synth.cpp)
  target_link_libraries(synth PRIVATE kestrune_audio_render PkgConfig::JACK Threads::Threads)
  add_test(NAME bench_synth_quick COMMAND synth --quick)
  set_tests_properties(bench_synth_quick PROPERTIES RESOURCE_LOCK jack_server)
endif()
