# CLI11, nlohmann-json and protozero, which the tool and the simulator are built on: headers alone, so the build machine's
# copies serve for every target. By links to these folders, since the rest of /usr/include is not for a cross compiler.
find_path(TESSARY_CLI11_INCLUDE CLI/CLI.hpp NO_CMAKE_FIND_ROOT_PATH)
find_path(TESSARY_JSON_INCLUDE nlohmann/json.hpp NO_CMAKE_FIND_ROOT_PATH)
find_path(TESSARY_PROTOZERO_INCLUDE protozero/pbf_builder.hpp NO_CMAKE_FIND_ROOT_PATH)
if(NOT TESSARY_CLI11_INCLUDE OR NOT TESSARY_JSON_INCLUDE OR NOT TESSARY_PROTOZERO_INCLUDE)
  message(FATAL_ERROR
    "The tool, the simulator and the tests need CLI11, nlohmann-json and protozero (Debian: libcli11-dev, "
    "nlohmann-json3-dev, libprotozero-dev). The library alone needs none: -DTESSARY_BUILD_TOOLS=OFF -DTESSARY_BUILD_TESTS=OFF.")
endif()

set(header_only_dir ${PROJECT_BINARY_DIR}/header_only)
file(MAKE_DIRECTORY ${header_only_dir})
file(CREATE_LINK ${TESSARY_CLI11_INCLUDE}/CLI ${header_only_dir}/CLI SYMBOLIC)
file(CREATE_LINK ${TESSARY_JSON_INCLUDE}/nlohmann ${header_only_dir}/nlohmann SYMBOLIC)
file(CREATE_LINK ${TESSARY_PROTOZERO_INCLUDE}/protozero ${header_only_dir}/protozero SYMBOLIC)
add_library(tessary_header_only INTERFACE)
target_include_directories(tessary_header_only SYSTEM INTERFACE ${header_only_dir})
