# zr_add_unit_tests(<dir> <library>): one GoogleTest executable per *_test.cpp
# file in <dir>, each registered with CTest test by test.
function(zr_add_unit_tests dir lib)
  file(GLOB test_sources CONFIGURE_DEPENDS "${dir}/*_test.cpp")
  foreach(src IN LISTS test_sources)
    get_filename_component(name "${src}" NAME_WE)
    add_executable(${name} "${src}")
    target_link_libraries(${name} PRIVATE ${lib} GTest::gtest GTest::gtest_main zr_build_flags)
    target_compile_definitions(${name} PRIVATE
      ZR_TEST_SOURCE_DIR="${CMAKE_SOURCE_DIR}"
      ZR_TEST_BINARY_DIR="${CMAKE_BINARY_DIR}")
    # Tests named *_home_test work in the scratch home and work directory of
    # the build, which the end-to-end tests wipe: one at a time with them.
    if(name MATCHES "_home_test$")
      gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300 RESOURCE_LOCK zrupdate_home)
    else()
      gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300)
    endif()
  endforeach()
endfunction()
