# Tests of the Standard MIDI file reader and writer.
kestrune_test(smf_tests
    ${CMAKE_CURRENT_LIST_DIR}/smf_reader_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/smf_writer_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/file_test_support.cpp
)
target_link_libraries(smf_tests PRIVATE kestrune_files)
