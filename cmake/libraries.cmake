# The libraries of others. All but GoogleTest are headers only.
if(NOT CMAKE_CROSSCOMPILING)
  find_package(fmt REQUIRED)
  if(NOT DBU_ENGINE_ONLY)
    find_package(CLI11 REQUIRED)
    find_package(nlohmann_json REQUIRED)
    find_package(GTest REQUIRED)
  endif()
  return()
endif()

# The build machine's packages serve the other system, too, but its include
# folder must not: so the headers are linked into a folder of their own.
set(header_only ${CMAKE_BINARY_DIR}/header-only)
file(MAKE_DIRECTORY ${header_only})
set(needed fmt xxhash.h)
if(NOT DBU_ENGINE_ONLY)
  list(APPEND needed CLI nlohmann)
endif()
foreach(name ${needed})
  if(NOT EXISTS /usr/include/${name})
    message(FATAL_ERROR "No /usr/include/${name}: ./dev setup installs what the build needs")
  endif()
  file(CREATE_LINK /usr/include/${name} ${header_only}/${name} SYMBOLIC)
endforeach()
include_directories(SYSTEM ${header_only})

foreach(name fmt::fmt-header-only CLI11::CLI11 nlohmann_json::nlohmann_json)
  add_library(${name} INTERFACE IMPORTED)
endforeach()

if(NOT DBU_ENGINE_ONLY)
  add_subdirectory(${CMAKE_CURRENT_LIST_DIR}/googletest EXCLUDE_FROM_ALL)
endif()
