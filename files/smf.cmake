# Standard MIDI files: reader and writer.
target_sources(kestrune_files PRIVATE ${CMAKE_CURRENT_LIST_DIR}/smf_reader.cpp ${CMAKE_CURRENT_LIST_DIR}/smf_writer.cpp)
