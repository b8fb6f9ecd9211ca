# Include layering of the library's sources:
#   - the codec core knows no schema type: every quoted include of a core
#     source names a header of the core itself or the public header;
#   - a schema folder's header declares its tables and routines over the
#     core alone, so schema sources can include each other's headers
#     (records contain each other downward) without any include loop.
# Usage: cmake -DSOURCE_DIR=<libjsoncodec> -P layering.cmake
file(GLOB checked "${SOURCE_DIR}/src/core/*" "${SOURCE_DIR}/src/*/*.h")
set(faults "")
foreach(path IN LISTS checked)
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
  message(FATAL_ERROR "headers that must build on the core alone include other headers:\n  ${text}")
endif()
