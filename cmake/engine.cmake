# What other programs need of the engine: jet and sql with their public headers, as the
# component "engine" of an installation. There they find jet4::jet and jet4::sql by
# find_package(jet4); docs/engine.md shows it.
include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

set(jet_headers
  jet/base/column_type.h
  jet/base/date_time.h
  jet/base/error.h
  jet/base/types.h
  jet/base/value.h
  jet/database/database.h
  jet/database/property.h
  jet/database/spec.h
  jet/database/stored_query.h
  jet/storage/file.h
  jet/table/table.h)
set(sql_headers
  sql/error.h
  sql/sql.h)

foreach(part jet sql)
  add_library(jet4::${part} ALIAS ${part})
  target_sources(${part} PUBLIC FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR}
    FILES ${${part}_headers})
endforeach()
target_compile_features(jet PUBLIC cxx_std_20)
add_custom_target(engine DEPENDS jet sql)

# fmt is compiled into "formatting"; no program that links the engine needs it besides.
set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/jet4)
install(TARGETS jet sql formatting EXPORT jet4
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}/jet4 COMPONENT engine
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/jet4 COMPONENT engine)
install(EXPORT jet4 NAMESPACE jet4:: FILE jet4Targets.cmake
  DESTINATION ${package_folder} COMPONENT engine)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/generated/jet4ConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_LIST_DIR}/jet4Config.cmake
  ${CMAKE_BINARY_DIR}/generated/jet4ConfigVersion.cmake
  DESTINATION ${package_folder} COMPONENT engine)
