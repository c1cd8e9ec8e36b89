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
