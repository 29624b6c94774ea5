# The test of scripts/preview, which takes a static program.
if(TAVROGEN_STATIC)
  add_test(NAME preview COMMAND ${CMAKE_SOURCE_DIR}/tests/preview_test.sh $<TARGET_FILE:tavrogen>)
endif()
