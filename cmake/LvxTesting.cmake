# lvx_add_test_suite(NAME <name> SOURCES <files...> LIBS <libs...>)
# One GoogleTest executable per folder, run headless under the offscreen platform.
find_package(GTest REQUIRED)

function(lvx_add_test_suite)
  cmake_parse_arguments(ARG "" "NAME" "SOURCES;LIBS" ${ARGN})
  add_executable(${ARG_NAME} ${ARG_SOURCES})
  target_link_libraries(${ARG_NAME} PRIVATE ${ARG_LIBS} lvx_testsupport GTest::gtest GTest::gmock Qt6::Test)
  add_test(NAME ${ARG_NAME} COMMAND ${ARG_NAME})
  set_tests_properties(${ARG_NAME} PROPERTIES
    ENVIRONMENT "QT_QPA_PLATFORM=offscreen;LC_ALL=C.UTF-8;TSAN_OPTIONS=halt_on_error=1 second_deadlock_stack=1 suppressions=${CMAKE_SOURCE_DIR}/tests/tsan.supp"
    TIMEOUT 600)
endfunction()
