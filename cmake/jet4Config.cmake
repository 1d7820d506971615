# Found by find_package(jet4). The libraries need nothing else.
include(${CMAKE_CURRENT_LIST_DIR}/jet4Targets.cmake)
