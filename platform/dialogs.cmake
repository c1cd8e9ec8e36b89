# The windows of the dialog frame, included by the Qt layer's build.
add_library(kestrune_platform_dialogs STATIC ${CMAKE_CURRENT_LIST_DIR}/dialog_host.cpp)
target_link_libraries(kestrune_platform_dialogs PUBLIC kestrune_platform kestrune_shell Qt6::Widgets)
