# The machine's MIDI systems: the ALSA sequencer through RtMidi and libasound, JACK through libjack,
# the built-in synth through FluidSynth, and the merged device list over them.
find_package(PkgConfig REQUIRED)
pkg_check_modules(RTMIDI REQUIRED IMPORTED_TARGET GLOBAL rtmidi)
pkg_check_modules(ALSA REQUIRED IMPORTED_TARGET GLOBAL alsa)
pkg_check_modules(JACK REQUIRED IMPORTED_TARGET GLOBAL jack)
pkg_check_modules(FLUIDSYNTH REQUIRED IMPORTED_TARGET GLOBAL fluidsynth)
pkg_check_modules(SNDFILE REQUIRED IMPORTED_TARGET GLOBAL sndfile)
pkg_check_modules(GLIB REQUIRED IMPORTED_TARGET GLOBAL glib-2.0)

add_library(kestrune_backends STATIC
    ${CMAKE_CURRENT_LIST_DIR}/alsa_backend.cpp
    ${CMAKE_CURRENT_LIST_DIR}/alsa_input.cpp
    ${CMAKE_CURRENT_LIST_DIR}/jack_backend.cpp
    ${CMAKE_CURRENT_LIST_DIR}/jack_cycle.cpp
    ${CMAKE_CURRENT_LIST_DIR}/gm_synth.cpp
    ${CMAKE_CURRENT_LIST_DIR}/synth_backend.cpp
    ${CMAKE_CURRENT_LIST_DIR}/system_backend.cpp
)
target_link_libraries(kestrune_backends PUBLIC kestrune_engine
    PRIVATE PkgConfig::RTMIDI PkgConfig::ALSA PkgConfig::JACK PkgConfig::FLUIDSYNTH PkgConfig::GLIB)
