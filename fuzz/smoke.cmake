# Runs one fuzz target over its checked-in corpus and then fuzzes for a few seconds; fails when
# any input crashes, leaks, trips a sanitizer or breaks one of the target's checks.
#   cmake -DFUZZER=<program> -DCORPUS=<dir> -DWORK_DIR=<dir> -DSECONDS=<n> -P smoke.cmake
# The inputs it finds go to WORK_DIR/new, a crashing input to WORK_DIR/crash-<hash>.
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR}/new)
execute_process(
  COMMAND ${FUZZER} -max_total_time=${SECONDS} -timeout=10 -print_final_stats=1
          -artifact_prefix=${WORK_DIR}/ ${WORK_DIR}/new ${CORPUS}
  RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "${FUZZER} failed (${result}); the input is in ${WORK_DIR}")
endif()
