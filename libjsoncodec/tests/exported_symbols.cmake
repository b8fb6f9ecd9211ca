# The shared library's dynamic symbol table defines exactly the functions of
# the public header and nothing else (version nodes, type A, aside).
# Usage: cmake -DNM=<nm> -DLIBRARY=<shared library> -DHEADER=<jsoncodec.h> -P exported_symbols.cmake
file(STRINGS "${HEADER}" declarations REGEX "^RMQC_API ")
string(REGEX MATCHALL "rmqc_[A-Za-z_]+\\(" expected "${declarations}")
string(REPLACE "(" "" expected "${expected}")
list(SORT expected)

execute_process(COMMAND ${NM} -D --defined-only ${LIBRARY} OUTPUT_VARIABLE listing RESULT_VARIABLE status)
string(REGEX MATCHALL "[0-9a-fA-F]+ [B-Zb-z] [^@\n]+" symbols "${listing}")
list(TRANSFORM symbols REPLACE "^[0-9a-fA-F]+ [B-Zb-z] " "")
list(SORT symbols)

# The interface is nineteen functions.
list(LENGTH expected count)
if(NOT status EQUAL 0 OR NOT count EQUAL 19 OR NOT symbols STREQUAL expected)
  message(FATAL_ERROR "exported: ${symbols}\ndeclared (${count}): ${expected}")
endif()
