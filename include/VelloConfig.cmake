# Offers the target Vello::vello.
include(${CMAKE_CURRENT_LIST_DIR}/VelloTargets.cmake)
