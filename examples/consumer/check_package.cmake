# Installs the Kiv build into a scratch prefix, then configures, builds and runs the consumer
# project against it with find_package(Kiv).
file(REMOVE_RECURSE ${KIV_WORK_DIR})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${KIV_BUILD_DIR} --prefix ${KIV_WORK_DIR}/prefix
                RESULT_VARIABLE result)
if(result)
  message(FATAL_ERROR "installing Kiv failed")
endif()
# The consumer is built with Kiv's compiler and flags (a libc++ build links only with libc++).
set(flags "${KIV_CXX_FLAGS}")
if(KIV_SANITIZE)
  string(APPEND flags " -fsanitize=${KIV_SANITIZE}")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -S ${KIV_CONSUMER_DIR} -B ${KIV_WORK_DIR}/build -G ${KIV_GENERATOR}
                        -DCMAKE_PREFIX_PATH=${KIV_WORK_DIR}/prefix -DCMAKE_CXX_COMPILER=${KIV_CXX_COMPILER}
                        "-DCMAKE_CXX_FLAGS=${flags}"
                RESULT_VARIABLE result)
if(result)
  message(FATAL_ERROR "configuring the consumer with find_package(Kiv) failed")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} --build ${KIV_WORK_DIR}/build RESULT_VARIABLE result)
if(result)
  message(FATAL_ERROR "building the consumer against Kiv::kiv failed")
endif()
execute_process(COMMAND ${KIV_WORK_DIR}/build/consumer RESULT_VARIABLE result)
if(result)
  message(FATAL_ERROR "the consumer failed")
endif()
