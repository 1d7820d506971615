# With CMAKE_UNITY_BUILD the files of one folder compile together, a few at a time:
# what they include is then read once. That takes a third of the time of a build from
# nothing, and of clang-tidy's. Names in their unnamed namespaces must differ.
set(unity_files 8)

function(unite target)
  get_target_property(sources ${target} SOURCES)
  foreach(source IN LISTS sources)
    cmake_path(ABSOLUTE_PATH source OUTPUT_VARIABLE path)
    cmake_path(GET path PARENT_PATH folder)
    string(MAKE_C_IDENTIFIER "${folder}" room)
    if(NOT DEFINED count_${room})
      set(count_${room} 0)
    endif()
    math(EXPR part "${count_${room}} / ${unity_files}")
    math(EXPR count_${room} "${count_${room}} + 1")
    set_source_files_properties(${path} PROPERTIES UNITY_GROUP "${room}_${part}")
  endforeach()
  set_target_properties(${target} PROPERTIES UNITY_BUILD_MODE GROUP)
endfunction()
