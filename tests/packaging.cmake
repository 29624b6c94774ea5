# The tests of the manual and of the packages, and of the program for ARM.
if(TAVROGEN_STATIC) # once is enough: it has builds of its own
  add_test(NAME manual
    COMMAND ${CMAKE_SOURCE_DIR}/tests/manual_test.sh $<TARGET_FILE:tavrogen>)
  add_test(NAME manual.lint COMMAND sh -c "mandoc -T lint -W warning doc/*.[58]"
    WORKING_DIRECTORY ${CMAKE_SOURCE_DIR})
  add_test(NAME package COMMAND ${CMAKE_SOURCE_DIR}/tests/package_test.sh)
  set_tests_properties(manual.lint PROPERTIES LABELS all)
  set_tests_properties(package PROPERTIES LABELS "all;package" TIMEOUT 9000)

  # All tests of the program also run each program for ARM that is there when ctest is: emulated, on
  # the least of the processors that it is for.
  set(arm_tests "")
  foreach(preset arm armel)
    set(emulator /usr/bin/qemu-arm-static)
    set(processor $<IF:$<STREQUAL:${preset},armel>,arm926,cortex-a8>)
    string(APPEND arm_tests "if(EXISTS [[${CMAKE_SOURCE_DIR}/build-${preset}/tavrogen]])\n"
      "  add_test(${preset}.build [[${CMAKE_COMMAND}]]\n"
      "    --build [[${CMAKE_SOURCE_DIR}/build-${preset}]] --target tavrogen)\n"
      "  set_tests_properties(${preset}.build PROPERTIES\n"
      "    FIXTURES_SETUP ${preset} LABELS \"all;${preset}\" TIMEOUT 6000)\n")
    foreach(suite program_tests fault_tests)
      string(APPEND arm_tests
        "  add_test(${preset}.${suite} [[${CMAKE_COMMAND}]] -E env QEMU_CPU=${processor}\n"
        "    [[TAVROGEN_PROGRAM=${CMAKE_SOURCE_DIR}/build-${preset}/tavrogen]]\n"
        "    [[TAVROGEN_SANDBOX_OPTIONS=--emulator ${emulator}]]\n"
        "    [[$<TARGET_FILE:${suite}>]] --gtest_filter=-*FailingCalls*)\n" # has its own program
        "  set_tests_properties(${preset}.${suite} PROPERTIES\n"
        "    FIXTURES_REQUIRED ${preset} LABELS \"all;${preset}\" TIMEOUT 6000)\n")
    endforeach()
    string(APPEND arm_tests "endif()\n")
  endforeach()
  file(GENERATE OUTPUT ${CMAKE_BINARY_DIR}/arm_tests.cmake CONTENT "${arm_tests}")
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${CMAKE_BINARY_DIR}/arm_tests.cmake)
endif()
