# zr_add_fuzz_target(<name> <source> <library>)
# With ZRUPDATE_FUZZ (clang) the target is a libFuzzer binary. In every other
# build it is linked with a replay driver and registered as a test that runs
# the seed corpus in corpus/<name>/, so the targets build and their seeds run
# (under the sanitizers too) in every CI run.
# The library code under test is built with coverage instrumentation too:
# without it libFuzzer would see only the few lines of the target itself.
if(ZRUPDATE_FUZZ)
  target_compile_options(zr_build_flags INTERFACE -fsanitize=fuzzer-no-link)
endif()
set(ZR_FUZZ_REPLAY_MAIN "${CMAKE_SOURCE_DIR}/modules/common/tests/fuzz/replay_main.cpp")
function(zr_add_fuzz_target name source lib)
  add_executable(${name} "${source}")
  target_link_libraries(${name} PRIVATE ${lib} zr_build_flags)
  get_filename_component(src_dir "${source}" DIRECTORY)
  if(NOT IS_ABSOLUTE "${src_dir}")
    set(src_dir "${CMAKE_CURRENT_SOURCE_DIR}/${src_dir}")
  endif()
  set(corpus "${src_dir}/corpus/${name}")
  if(ZRUPDATE_FUZZ)
    target_compile_options(${name} PRIVATE -fsanitize=fuzzer)
    target_link_options(${name} PRIVATE -fsanitize=fuzzer)
  else()
    target_sources(${name} PRIVATE "${ZR_FUZZ_REPLAY_MAIN}")
    add_test(NAME fuzz_replay_${name} COMMAND ${name} "${corpus}")
  endif()
endfunction()
