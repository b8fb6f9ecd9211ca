# The fuzzing harnesses as ordinary tests, driven by replay.cpp instead of
# the fuzzing engine: every seed, every input kept in fuzz/regressions/ and
# every example document through each harness, held to the same contract
# as when fuzzing. The document harnesses and the differential one also read
# the JSON parsing suite, whose numbers, escapes and nestings no schema
# document holds. Included by libjsoncodec/tests/.
set(replay_dir ${PROJECT_SOURCE_DIR}/fuzz)
set(replay_documents ${replay_dir}/seeds ${replay_dir}/seeds/differential ${replay_dir}/regressions
                     ${PROJECT_SOURCE_DIR}/examples ${CMAKE_CURRENT_SOURCE_DIR}/data/json-test-suite/test_parsing)
set(replay_warnings -Wall -Wextra $<$<BOOL:${JSONCODEC_WERROR}>:-Werror>)

# The root types, from the library's one list of them (the first argument of
# each X(...) line), as fuzz/CMakeLists.txt reads them.
file(READ ${PROJECT_SOURCE_DIR}/libjsoncodec/src/core/root_types.h replay_root_list)
string(REGEX MATCHALL "\n *X\\([A-Za-z_0-9]+" replay_root_entries "${replay_root_list}")
set(replay_harnesses differential lsp)
foreach(entry IN LISTS replay_root_entries)
  string(REGEX REPLACE "^\n *X\\(" "" root "${entry}")
  list(APPEND replay_harnesses ${root})
endforeach()

foreach(harness ${replay_harnesses})
  set(inputs ${replay_documents})
  if(harness STREQUAL "differential")
    add_executable(jsoncodec_replay_${harness} ${replay_dir}/replay.cpp ${replay_dir}/differential_fuzzer.cpp)
  elseif(harness STREQUAL "lsp")
    add_executable(jsoncodec_replay_${harness} ${replay_dir}/replay.cpp ${replay_dir}/lsp_fuzzer.cpp
                                               ${PROJECT_SOURCE_DIR}/tools/checker.cpp)
    target_link_libraries(jsoncodec_replay_${harness} PRIVATE jsoncodec_lsp)
    set(inputs ${replay_dir}/seeds/lsp)
  else()
    add_executable(jsoncodec_replay_${harness} ${replay_dir}/replay.cpp ${replay_dir}/fuzzer.cpp
                                               ${PROJECT_SOURCE_DIR}/tools/checker.cpp)
    target_compile_definitions(jsoncodec_replay_${harness} PRIVATE JSONCODEC_FUZZ_ROOT=${harness})
  endif()
  target_compile_options(jsoncodec_replay_${harness} PRIVATE ${replay_warnings})
  target_include_directories(jsoncodec_replay_${harness} PRIVATE ${PROJECT_SOURCE_DIR}/tools)
  target_link_libraries(jsoncodec_replay_${harness} PRIVATE jsoncodec_internal jsoncodec_placement)
  add_test(NAME jsoncodec_replay_${harness} COMMAND jsoncodec_replay_${harness} ${inputs})
endforeach()
