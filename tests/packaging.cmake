# The tests of the manual and of the packages, and of the program for ARM.
add_test(NAME manual COMMAND ${CMAKE_SOURCE_DIR}/tests/manual_test.sh $<TARGET_FILE:tavrogen>)
if(TAVROGEN_STATIC AND NOT TAVROGEN_SANITIZE) # once is enough: it has builds of its own
  add_test(NAME package COMMAND ${CMAKE_SOURCE_DIR}/tests/package_test.sh)
  set_tests_properties(package PROPERTIES LABELS package TIMEOUT 600)
endif()

set(TAVROGEN_ARM_PROGRAM ${CMAKE_SOURCE_DIR}/build-arm/tavrogen CACHE FILEPATH
  "The program for ARM; where it is there, all tests of the program also run it, emulated")
if(EXISTS ${TAVROGEN_ARM_PROGRAM})
  cmake_path(GET TAVROGEN_ARM_PROGRAM PARENT_PATH arm_tree)
  add_test(NAME arm_build COMMAND ${CMAKE_COMMAND} --build ${arm_tree} --target tavrogen)
  foreach(suite program_tests fault_tests)
    add_test(NAME arm.${suite} COMMAND ${CMAKE_COMMAND} -E env
      TAVROGEN_PROGRAM=${TAVROGEN_ARM_PROGRAM}
      "TAVROGEN_SANDBOX_OPTIONS=--emulator /usr/bin/qemu-arm-static"
      $<TARGET_FILE:${suite}> --gtest_filter=-*EachAllocation*) # it has a program of its own
    set_tests_properties(arm.${suite} PROPERTIES
      FIXTURES_REQUIRED arm_program LABELS arm TIMEOUT 600)
  endforeach()
  set_tests_properties(arm_build PROPERTIES
    FIXTURES_SETUP arm_program LABELS arm TIMEOUT 600)
endif()
