# The codec core knows no schema type: every quoted include of a core source
# names a header of the core itself or the public header.
# Usage: cmake -DSOURCE_DIR=<libjsoncodec> -P layering.cmake
file(GLOB core_files "${SOURCE_DIR}/src/core/*")
set(faults "")
foreach(path IN LISTS core_files)
  file(STRINGS "${path}" includes REGEX "^[ \t]*#[ \t]*include[ \t]*\"")
  foreach(line IN LISTS includes)
    string(REGEX REPLACE "^[ \t]*#[ \t]*include[ \t]*\"([^\"]+)\".*" "\\1" header "${line}")
    if(NOT EXISTS "${SOURCE_DIR}/src/core/${header}" AND NOT EXISTS "${SOURCE_DIR}/include/${header}")
      list(APPEND faults "${path}: ${header}")
    endif()
  endforeach()
endforeach()
if(faults)
  string(REPLACE ";" "\n  " text "${faults}")
  message(FATAL_ERROR "the core includes headers from outside itself:\n  ${text}")
endif()
