# Standard MIDI file import and export; kestrune-tool against midicsv on the same files.
if(TARGET kestrune-tool)
  add_executable(smf ${CMAKE_CURRENT_LIST_DIR}/smf.cpp)
  target_link_libraries(smf PRIVATE kestrune_files kestrune_engine kestrune_song)
  add_dependencies(smf kestrune-tool)
  target_compile_definitions(smf PRIVATE KESTRUNE_TOOL_PATH="$<TARGET_FILE:kestrune-tool>")
  add_test(NAME bench_smf_quick COMMAND smf --quick)
endif()
