# Installs the build into a temporary prefix and checks it as a desktop would: the files in their
# places, the desktop entry and MIME type valid, and the installed programs finding their help,
# their patch names' folder and the synth's player from there. Run with -DBUILD=<build tree>
# -DWORK=<scratch folder>.
set(prefix ${WORK}/prefix)
file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK}/config)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  set(rc ${rc} PARENT_SCOPE)
  set(out "${out}${err}" PARENT_SCOPE)
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${prefix})
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "install failed:\n${out}")
endif()

foreach(f bin/kestrune bin/kestrune-tool bin/kestrune-play
          share/kestrune/help/html/index.htm share/kestrune/help/html/mixe8v4z.htm
          share/kestrune/History.txt share/kestrune/patches/PORT_A.TXT
          share/applications/kestrune.desktop share/icons/hicolor/scalable/apps/kestrune.svg
          share/mime/packages/kestrune.xml share/man/man1/kestrune.1 share/man/man1/kestrune-tool.1)
  if(NOT EXISTS ${prefix}/${f})
    message(FATAL_ERROR "not installed: ${f}")
  endif()
endforeach()

run(desktop-file-validate ${prefix}/share/applications/kestrune.desktop)
if(NOT rc EQUAL 0 OR NOT out STREQUAL "")
  message(FATAL_ERROR "desktop-file-validate:\n${out}")
endif()
# The MIME database takes the song type, with the .sng glob.
run(update-mime-database ${prefix}/share/mime)
file(READ ${prefix}/share/mime/globs2 globs)
if(NOT rc EQUAL 0 OR NOT globs MATCHES "application/x-kestrune-song:\\*\\.sng")
  message(FATAL_ERROR "MIME type not taken:\n${out}${globs}")
endif()
foreach(page kestrune kestrune-tool)
  run(groff -man -ww -z ${prefix}/share/man/man1/${page}.1)
  if(NOT rc EQUAL 0 OR NOT out STREQUAL "")
    message(FATAL_ERROR "man page ${page}.1:\n${out}")
  endif()
endforeach()

# The installed program starts from the prefix and finds its help there; a page it lacks fails.
set(env ${CMAKE_COMMAND} -E env QT_QPA_PLATFORM=offscreen XDG_CONFIG_HOME=${WORK}/config
        XDG_DATA_HOME=${WORK}/data --unset=NSM_URL)
run(${env} ${prefix}/bin/kestrune --screenshot ${WORK}/help.png --help-page html/index.htm)
if(NOT rc EQUAL 0 OR NOT EXISTS ${WORK}/help.png)
  message(FATAL_ERROR "installed program without its help:\n${out}")
endif()
run(${env} ${prefix}/bin/kestrune --screenshot ${WORK}/none.png --help-page html/nosuch.htm)
if(rc EQUAL 0 OR NOT out MATCHES "${prefix}/bin/../share/kestrune/help/")
  message(FATAL_ERROR "a missing page passed, or the help was looked for elsewhere:\n${out}")
endif()
# kestrune-tool finds its player, with the built-in synth, beside it.
run(${env} ${prefix}/bin/kestrune-tool play --list)
if(NOT rc EQUAL 0 OR NOT out MATCHES "Synth: Built-in GM")
  message(FATAL_ERROR "installed kestrune-tool without its player:\n${out}")
endif()
file(REMOVE_RECURSE ${WORK})
