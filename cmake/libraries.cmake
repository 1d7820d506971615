# The libraries of others. All but GoogleTest are headers only.
if(NOT CMAKE_CROSSCOMPILING)
  find_package(fmt REQUIRED)
  find_package(CLI11 REQUIRED)
  find_package(nlohmann_json REQUIRED)
  find_package(GTest REQUIRED)
  return()
endif()

# The build machine's packages serve the other system, too, but its include
# folder must not: so the headers are linked into a folder of their own.
set(header_only ${CMAKE_BINARY_DIR}/header-only)
file(MAKE_DIRECTORY ${header_only})
foreach(name fmt CLI nlohmann xxhash.h)
  if(NOT EXISTS /usr/include/${name})
    message(FATAL_ERROR "No /usr/include/${name}: ./dev setup installs what the build needs")
  endif()
  file(CREATE_LINK /usr/include/${name} ${header_only}/${name} SYMBOLIC)
endforeach()
include_directories(SYSTEM ${header_only})

foreach(name fmt::fmt-header-only CLI11::CLI11 nlohmann_json::nlohmann_json)
  add_library(${name} INTERFACE IMPORTED)
endforeach()
target_compile_definitions(fmt::fmt-header-only INTERFACE FMT_HEADER_ONLY=1)

add_subdirectory(${CMAKE_CURRENT_LIST_DIR}/googletest EXCLUDE_FROM_ALL)
