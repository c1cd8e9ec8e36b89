# The window: start-up of the whole program to its first paint, the tick while a song plays, and
# a full repaint at the largest zoom, and F1 to a help page painted. Offscreen.
if(TARGET kestrune_platform AND TARGET kestrune)
  add_executable(gui gui.cpp)
  target_link_libraries(gui PRIVATE kestrune_platform kestrune_platform_dialogs kestrune_backends)
  target_compile_definitions(gui PRIVATE KESTRUNE_PROGRAM="$<TARGET_FILE:kestrune>")
  add_dependencies(gui kestrune help_pages)
  add_test(NAME bench_gui_quick COMMAND gui --quick)
  set_tests_properties(bench_gui_quick PROPERTIES ENVIRONMENT QT_QPA_PLATFORM=offscreen)
endif()

# The whole program at rest (offscreen, a song loaded, stopped) against a bare JACK client on the
# same server: both whole processes, CPU from /proc.
if(TARGET kestrune AND TARGET PkgConfig::JACK)
  add_executable(idle_cpu ${CMAKE_CURRENT_LIST_DIR}/idle_cpu.cpp)
  target_link_libraries(idle_cpu PRIVATE PkgConfig::JACK)
  target_include_directories(idle_cpu PRIVATE ${PROJECT_SOURCE_DIR})
  target_compile_definitions(idle_cpu PRIVATE KESTRUNE_PROGRAM="$<TARGET_FILE:kestrune>")
  add_dependencies(idle_cpu kestrune)
  add_test(NAME bench_idle_cpu_quick COMMAND idle_cpu --quick)
  set_tests_properties(bench_idle_cpu_quick PROPERTIES RESOURCE_LOCK jack_server)
endif()
