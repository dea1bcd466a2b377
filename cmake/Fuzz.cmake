# zr_add_fuzz_target(<name> <source> <library>)
# With ZRUPDATE_FUZZ (clang) the target is a libFuzzer binary. In every other
# build it is linked with a replay driver and registered as a test that runs
# the seed corpus in corpus/<name>/, so the targets build and their seeds run
# (under the sanitizers too) in every CI run.
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

# zr_add_fuzz_targets(<dir> <library>): every <dir>/*_fuzz.cpp, seeds in
# <dir>/corpus/<name>/.
function(zr_add_fuzz_targets dir lib)
  file(GLOB sources CONFIGURE_DEPENDS "${dir}/*_fuzz.cpp")
  foreach(src IN LISTS sources)
    get_filename_component(name "${src}" NAME_WE)
    zr_add_fuzz_target(${name} "${src}" ${lib})
  endforeach()
endfunction()
