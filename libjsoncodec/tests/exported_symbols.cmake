# Checks that the shared library defines exactly the functions of its public
# header in its dynamic symbol table, and no other dynamic symbol at all.
# Usage: cmake -DNM=<nm> -DLIBRARY=<path to the shared library> -P exported_symbols.cmake
set(expected
  rmqc_destroy_item_definition
  rmqc_destroy_rule
  rmqc_free_item_definition
  rmqc_free_rule
  rmqc_json_from_item_definition
  rmqc_json_from_rule
  rmqc_json_to_item_definition
  rmqc_json_to_rule)

execute_process(COMMAND ${NM} -D --defined-only ${LIBRARY}
                OUTPUT_VARIABLE listing ERROR_VARIABLE errors RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "nm failed on ${LIBRARY}: ${errors}")
endif()

set(functions "")
set(others "")
string(REPLACE "\n" ";" lines "${listing}")
foreach(line IN LISTS lines)
  if(line STREQUAL "")
    continue()
  endif()
  # "<address> <type> <name>[@version]"
  if(NOT line MATCHES "^[0-9a-fA-F]* *([A-Za-z]) ([^@ ]+)")
    message(FATAL_ERROR "unexpected nm line: '${line}'")
  endif()
  set(type "${CMAKE_MATCH_1}")
  set(name "${CMAKE_MATCH_2}")
  if(type STREQUAL "T" OR type STREQUAL "W")
    list(APPEND functions "${name}")
  elseif(NOT type STREQUAL "A")
    # Absolute symbols are the version nodes the linker adds; anything else
    # (data, BSS, read-only data) would be an accidental export.
    list(APPEND others "${line}")
  endif()
endforeach()

list(SORT functions)
if(NOT functions STREQUAL expected)
  string(REPLACE ";" "\n  " got "${functions}")
  string(REPLACE ";" "\n  " want "${expected}")
  message(FATAL_ERROR "exported functions differ\nexpected:\n  ${want}\nfound:\n  ${got}")
endif()
if(others)
  string(REPLACE ";" "\n  " got "${others}")
  message(FATAL_ERROR "unexpected exported symbols:\n  ${got}")
endif()
message(STATUS "exports: ${functions}")
