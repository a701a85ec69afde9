# qx_add_test(<name> SOURCES <files...> LIBS <targets...>)
# One GoogleTest executable per unit, registered with CTest under its name.
if(QX_TESTS)
  find_package(GTest REQUIRED)
endif()

function(qx_add_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_LIBS} GTest::gtest_main GTest::gmock)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
  target_compile_definitions(${name} PRIVATE
    QX_SOURCE_DIR="${PROJECT_SOURCE_DIR}"
    QX_SHARED_DIR="${PROJECT_SOURCE_DIR}/../shared")
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES TIMEOUT 600)
endfunction()
