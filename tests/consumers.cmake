# The services of Debian 12 read what the program writes: one test each, in a private machine.
if(TAVROGEN_STATIC) # another build adds nothing here
  foreach(consumer samba ftp syslog exports pam)
    add_test(NAME consumers.${consumer}
      COMMAND ${CMAKE_SOURCE_DIR}/tests/consumers/run ${consumer} $<TARGET_FILE:tavrogen>)
    set_tests_properties(consumers.${consumer} PROPERTIES
      LABELS "all;consumers" SKIP_RETURN_CODE 77 TIMEOUT 3000)
  endforeach()
endif()
