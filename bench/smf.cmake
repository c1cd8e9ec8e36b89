# Standard MIDI file import and export against midicsv on the same file.
add_executable(smf ${CMAKE_CURRENT_LIST_DIR}/smf.cpp)
target_link_libraries(smf PRIVATE kestrune_files kestrune_engine kestrune_song)
add_test(NAME bench_smf_quick COMMAND smf --quick)
