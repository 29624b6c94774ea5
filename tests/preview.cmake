# The tests of scripts/preview and of scripts/sandbox, with a static program.
if(TAVROGEN_STATIC)
  add_test(NAME sandbox COMMAND ${CMAKE_SOURCE_DIR}/tests/sandbox_test.sh $<TARGET_FILE:tavrogen>)
  add_test(NAME preview COMMAND ${CMAKE_SOURCE_DIR}/tests/preview_test.sh $<TARGET_FILE:tavrogen>)
endif()
