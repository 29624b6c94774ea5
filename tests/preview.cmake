# The tests of scripts/preview and of scripts/sandbox, with a static program.
if(TAVROGEN_STATIC)
  add_test(NAME sandbox COMMAND ${CMAKE_SOURCE_DIR}/tests/sandbox_test.sh $<TARGET_FILE:tavrogen>)
  foreach(part usual busybox checkers)
    add_test(NAME preview.${part}
      COMMAND ${CMAKE_SOURCE_DIR}/tests/preview_test.sh $<TARGET_FILE:tavrogen> ${part})
  endforeach()
  set_tests_properties(preview.busybox PROPERTIES LABELS all)
  set_tests_properties(preview.checkers PROPERTIES LABELS "all;consumers")
endif()
