# Under an emulator the shells that a program starts are the build machine's, and so must be what is preloaded into
# them: the board library is built a second time, by the build machine's own compiler.
set(host_build_dir ${PROJECT_BINARY_DIR}/host)
set(TESSARY_BOARD_LIBRARY_FILE ${host_build_dir}/simulator/libtessary_board.so)
add_custom_target(tessary_board_of_host
  COMMAND ${CMAKE_COMMAND} -S ${PROJECT_SOURCE_DIR} -B ${host_build_dir} -G ${CMAKE_GENERATOR}
    -DCMAKE_BUILD_TYPE=Release -DTESSARY_BUILD_TESTS=OFF -DTESSARY_BUILD_BENCHMARKS=OFF
  COMMAND ${CMAKE_COMMAND} --build ${host_build_dir} --target tessary_board
  BYPRODUCTS ${TESSARY_BOARD_LIBRARY_FILE}
  COMMENT "The board library for this machine"
  VERBATIM)
