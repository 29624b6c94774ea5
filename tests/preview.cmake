# The tests of scripts/preview, which takes a static program, and of tavrogen-lint.
if(TAVROGEN_STATIC)
  set(sandbox_options "")
  add_test(NAME preview COMMAND ${CMAKE_SOURCE_DIR}/tests/preview_test.sh $<TARGET_FILE:tavrogen>)
else()
  set(sandbox_options "--libraries")
endif()

add_executable(lint_tests tests/root.cpp tests/lint_test.cpp)
add_dependencies(lint_tests tavrogen tavrogen-lint)
target_link_libraries(lint_tests PRIVATE GTest::gtest_main)
target_include_directories(lint_tests PRIVATE ${CMAKE_SOURCE_DIR})
target_compile_options(lint_tests PRIVATE -Wall -Wextra)
target_compile_definitions(lint_tests PRIVATE
  PROGRAM="$<TARGET_FILE:tavrogen-lint>" TAVROGEN="$<TARGET_FILE:tavrogen>"
  LAUNCHER="" SANDBOX_OPTIONS="${sandbox_options}" SOURCE_FOLDER="${CMAKE_SOURCE_DIR}")
gtest_discover_tests(lint_tests)
