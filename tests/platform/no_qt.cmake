# Fails when TOOL links a Qt library.
execute_process(COMMAND readelf -d ${TOOL} OUTPUT_VARIABLE libs RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "readelf failed on ${TOOL}")
endif()
if(libs MATCHES "libQt")
  message(FATAL_ERROR "kestrune-tool links Qt:\n${libs}")
endif()
