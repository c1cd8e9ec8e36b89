# The machine's MIDI systems: the ALSA sequencer through RtMidi, JACK through libjack, and the
# merged device list over both.
find_package(PkgConfig REQUIRED)
pkg_check_modules(RTMIDI REQUIRED IMPORTED_TARGET GLOBAL rtmidi)
pkg_check_modules(JACK REQUIRED IMPORTED_TARGET GLOBAL jack)

add_library(kestrune_backends STATIC
    ${CMAKE_CURRENT_LIST_DIR}/alsa_backend.cpp
    ${CMAKE_CURRENT_LIST_DIR}/jack_backend.cpp
    ${CMAKE_CURRENT_LIST_DIR}/system_backend.cpp
)
target_link_libraries(kestrune_backends PUBLIC kestrune_engine PRIVATE PkgConfig::RTMIDI PkgConfig::JACK)
