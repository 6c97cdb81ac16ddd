# What CMake leaves out for Android, and the folder of what goes onto a board.

# It drops run paths there, and then an installed tool does not find its library.
set(CMAKE_SHARED_LIBRARY_RUNTIME_CXX_FLAG "-Wl,-rpath,")
set(CMAKE_SHARED_LIBRARY_RUNTIME_CXX_FLAG_SEP ":")
set(CMAKE_EXECUTABLE_RUNTIME_CXX_FLAG "-Wl,-rpath,")
set(CMAKE_EXECUTABLE_RUNTIME_CXX_FLAG_SEP ":")
# What is built is what is pushed: nothing of the build machine's folders.
set(CMAKE_BUILD_WITH_INSTALL_RPATH ON)

# The tool, the library and the C++ library that they share, side by side in push/. Not the stand-in for the GPU
# profiler: a board has the real one.
function(tessary_collect_for_the_board)
  set_property(TARGET tessary tessary_tool APPEND PROPERTY INSTALL_RPATH "$ORIGIN")
  file(GLOB cxx_library ${TESSARY_NDK}/toolchains/llvm/prebuilt/*/sysroot/usr/lib/aarch64-linux-android/libc++_shared.so)
  if(NOT cxx_library)
    message(FATAL_ERROR "There is no libc++_shared.so for 64-bit Arm in the sysroot of ${TESSARY_NDK}.")
  endif()
  set(folder ${PROJECT_BINARY_DIR}/push)
  add_custom_target(tessary_push ALL
    COMMAND ${CMAKE_COMMAND} -E make_directory ${folder}
    COMMAND ${CMAKE_COMMAND} -E copy_if_different
      $<TARGET_FILE:tessary_tool> $<TARGET_FILE:tessary> ${cxx_library} ${folder}
    COMMENT "For the board: ${folder}"
    VERBATIM)
endfunction()
