# What every program for Windows is: one file without DLLs, Unicode throughout.
add_compile_definitions(UNICODE _UNICODE NOMINMAX _WIN32_WINNT=0x0A00)
add_link_options(-static -Wl,--gc-sections -Wl,--no-insert-timestamp)
add_compile_options(-ffunction-sections -fdata-sections)
# Names of source files stand in the programs; those of the builder's folders must not.
add_compile_options(-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.)
enable_language(RC)
set(CMAKE_RC_FLAGS "--codepage=65001")
set(program_resources_folder ${CMAKE_CURRENT_LIST_DIR})

# Gives a program the manifest (UTF-8 code page, long paths, DPI) and the version
# resource; `icon` may be empty.
function(add_program_resources target description icon)
  set(PROGRAM_MANIFEST ${program_resources_folder}/program.manifest)
  set(PROGRAM_NAME ${target})
  set(PROGRAM_DESCRIPTION "${description}")
  string(REPLACE "." "," PROGRAM_VERSION_NUMBERS "${PROJECT_VERSION}.0")
  set(PROGRAM_ICON_LINE "")
  if(icon)
    set(PROGRAM_ICON_LINE "1 ICON \"${icon}\"")
  endif()
  set(rc ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc)
  configure_file(${program_resources_folder}/program.rc.in ${rc} @ONLY)
  set_source_files_properties(${rc} PROPERTIES OBJECT_DEPENDS "${PROGRAM_MANIFEST};${icon}")
  target_sources(${target} PRIVATE ${rc})
endfunction()
