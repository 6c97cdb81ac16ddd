# Warnings for all of the project's own code, and the sanitizers for what runs in the tests' process. The simulator
# is never instrumented: it is preloaded into shells that are not.
add_library(tessary_options INTERFACE)
configure_file(cmake/version.h.in ${PROJECT_BINARY_DIR}/generated/version/generated.h @ONLY)
target_include_directories(tessary_options INTERFACE ${PROJECT_SOURCE_DIR} ${PROJECT_BINARY_DIR}/generated)
target_compile_options(tessary_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
  $<$<BOOL:${TESSARY_WARNINGS_AS_ERRORS}>:-Werror>
  # The terminating variadic macro of the log takes a format alone, too.
  $<$<CXX_COMPILER_ID:Clang>:-Wno-gnu-zero-variadic-macro-arguments>)
# gcc takes a source that is compiled with others for a header, where an unnamed namespace is a mistake.
if(CMAKE_UNITY_BUILD AND CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  target_compile_options(tessary_options INTERFACE -Wno-subobject-linkage)
endif()
# Android's newest devices map 16 KiB pages, and load no program whose segments are aligned to less.
target_link_options(tessary_options INTERFACE -Wl,-z,max-page-size=16384)

add_library(tessary_sanitizers INTERFACE)
if(TESSARY_SANITIZE_THREADS)
  target_compile_options(tessary_sanitizers INTERFACE -fsanitize=thread)
  target_link_options(tessary_sanitizers INTERFACE -fsanitize=thread)
elseif(TESSARY_SANITIZE OR TESSARY_FUZZ)
  target_compile_options(tessary_sanitizers INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(tessary_sanitizers INTERFACE -fsanitize=address,undefined)
  if(CMAKE_CXX_COMPILER_ID STREQUAL Clang)
    # The runtime as a library of its own, as gcc has it, so that the simulator's calls come before its own.
    set(asan_runtime libclang_rt.asan-${CMAKE_SYSTEM_PROCESSOR}.so)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${asan_runtime}
      OUTPUT_VARIABLE asan_runtime OUTPUT_STRIP_TRAILING_WHITESPACE)
    get_filename_component(asan_runtime_folder ${asan_runtime} DIRECTORY)
    list(APPEND CMAKE_BUILD_RPATH ${asan_runtime_folder})
    target_compile_options(tessary_sanitizers INTERFACE -shared-libasan)
    target_link_options(tessary_sanitizers INTERFACE -shared-libasan)
  endif()
endif()

# The environment of every test: what leaks by design is no failure.
set(TESSARY_LEAK_OPTIONS
  "LSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/leaks_by_design.supp:print_suppressions=0")
