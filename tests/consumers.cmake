# The tests of scripts/sandbox and scripts/preview, and those in which the services of Debian 12 read
# what the program writes: one each, in a private machine.
if(TAVROGEN_STATIC) # another build adds nothing here
  add_test(NAME sandbox COMMAND ${CMAKE_SOURCE_DIR}/tests/sandbox_test.sh $<TARGET_FILE:tavrogen>)
  foreach(part usual busybox checkers)
    add_test(NAME preview.${part}
      COMMAND ${CMAKE_SOURCE_DIR}/tests/preview_test.sh $<TARGET_FILE:tavrogen> ${part})
  endforeach()
  set_tests_properties(preview.busybox PROPERTIES LABELS all)
  set_tests_properties(preview.checkers PROPERTIES LABELS "all;consumers")
  foreach(consumer samba ftp syslog exports pam)
    add_test(NAME consumers.${consumer}
      COMMAND ${CMAKE_SOURCE_DIR}/tests/consumers/run ${consumer} $<TARGET_FILE:tavrogen>)
    set_tests_properties(consumers.${consumer} PROPERTIES
      LABELS "all;consumers" SKIP_RETURN_CODE 77 TIMEOUT 3000)
  endforeach()
endif()
