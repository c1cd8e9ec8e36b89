# The MIDI systems: the merged list and routing, and the JACK scheduler.
kestrune_test(backend_tests ${CMAKE_CURRENT_LIST_DIR}/backend_test.cpp)
target_link_libraries(backend_tests PRIVATE kestrune_backends)

# kestrune-tool play against a JACK server of its own (dummy driver); skips without jackd.
if(TARGET kestrune-tool)
  kestrune_test(play_tool_tests LOCK jack_server ${CMAKE_CURRENT_LIST_DIR}/play_tool_test.cpp)
  target_link_libraries(play_tool_tests PRIVATE kestrune_files PkgConfig::JACK Threads::Threads)
  add_dependencies(play_tool_tests kestrune-tool)
  target_compile_definitions(play_tool_tests PRIVATE KESTRUNE_TOOL_PATH="$<TARGET_FILE:kestrune-tool>")
endif()
