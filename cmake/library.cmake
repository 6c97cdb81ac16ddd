# The monitors' common ground, which the tests of its pieces and the benchmarks' floor link too.
add_library(tessary_base OBJECT
  base/console.cpp
  base/reading.cpp
  base/scanner.cpp
  base/waiting.cpp)
set_target_properties(tessary_base PROPERTIES CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
target_link_libraries(tessary_base PRIVATE tessary_options tessary_sanitizers)

# All of the monitors: everything of the library but its build stamp.
add_library(tessary_monitors OBJECT
  cpu/board.cpp
  cpu/board_tables.cpp
  cpu/cpu_capacity.cpp
  cpu/cpu_frequency.cpp
  cpu/cpu_load.cpp
  cpu/cpu_mon.cpp
  ddr/ddr_mon.cpp
  diskio/disk_mon.cpp
  diskio/disk_samples.cpp
  diskio/diskstats_text.cpp
  dsp/dsp_mon.cpp
  dsp/dsp_query.cpp
  dsp/remote_call.cpp
  dsp/tremloquery.cpp
  dsp/tremloquery_slim.cpp
  gpu/gpu_mon.cpp
  gpu/gpu_realtime.cpp
  gpu/gpu_selftest.cpp
  gpu/gpu_tables.cpp
  memory/meminfo.cpp
  memory/memory_mon.cpp
  net/net_counters.cpp
  net/net_mon.cpp
  net/net_samples.cpp
  process/process_diff.cpp
  process/process_mon.cpp
  process/process_reader.cpp
  process/stat_line.cpp
  procmem/procmem_mon.cpp
  procmem/procmem_reader.cpp
  procmem/smaps_rollup.cpp
  procmem/stat_row.cpp
  thermal/thermal_mon.cpp)
set_target_properties(tessary_monitors PROPERTIES CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
target_include_directories(tessary_monitors PRIVATE ${PROJECT_SOURCE_DIR}/include)
target_link_libraries(tessary_monitors PRIVATE tessary_options tessary_sanitizers)

if(TESSARY_LIBRARY_ALONE)
  set_target_properties(tessary_base tessary_monitors PROPERTIES UNITY_BUILD OFF)
endif()
if(TESSARY_FUZZ)
  # Which branches an input has reached leads to the next input.
  target_compile_options(tessary_base PRIVATE -fsanitize=fuzzer-no-link)
  target_compile_options(tessary_monitors PRIVATE -fsanitize=fuzzer-no-link)
endif()

# The build stamp is the date and the time at which its file was compiled (SOURCE_DATE_EPOCH, where it is set): it
# compiles anew whenever anything does that the library is linked from.
set(TESSARY_VERSION_SCRIPT ${PROJECT_SOURCE_DIR}/cmake/tessary.map)
get_target_property(platform_libraries tessary_platform INTERFACE_LINK_LIBRARIES)
set(stand_ins "")
foreach(platform_library IN LISTS platform_libraries)
  if(TARGET ${platform_library})
    list(APPEND stand_ins ${platform_library})
  endif()
endforeach()
set(linked_from ${PROJECT_BINARY_DIR}/tessary_linked_from)
add_custom_command(OUTPUT ${linked_from}
  COMMAND ${CMAKE_COMMAND} -E touch ${linked_from}
  DEPENDS $<TARGET_OBJECTS:tessary_base> $<TARGET_OBJECTS:tessary_monitors> ${TESSARY_VERSION_SCRIPT} ${stand_ins}
  VERBATIM)
set_source_files_properties(version/version.cpp PROPERTIES
  OBJECT_DEPENDS ${linked_from}
  SKIP_UNITY_BUILD_INCLUSION ON)

add_library(tessary SHARED
  $<TARGET_OBJECTS:tessary_base>
  $<TARGET_OBJECTS:tessary_monitors>
  ${linked_from}
  version/version.cpp)
add_library(tessary::tessary ALIAS tessary)

target_include_directories(tessary PUBLIC
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
  $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
target_compile_features(tessary PUBLIC cxx_std_17)
target_link_libraries(tessary PRIVATE
  $<BUILD_INTERFACE:tessary_options> $<BUILD_INTERFACE:tessary_sanitizers> $<BUILD_INTERFACE:tessary_platform>)

# Hidden visibility alone still exports the standard library's instantiations; the version script closes the surface.
set_target_properties(tessary PROPERTIES
  CXX_VISIBILITY_PRESET hidden
  VISIBILITY_INLINES_HIDDEN ON
  LINK_DEPENDS ${TESSARY_VERSION_SCRIPT}
  INSTALL_RPATH "$ORIGIN/tessary")
target_link_options(tessary PRIVATE
  -Wl,--version-script=${TESSARY_VERSION_SCRIPT}
  $<$<NOT:$<OR:$<BOOL:${TESSARY_SANITIZE}>,$<BOOL:${TESSARY_SANITIZE_THREADS}>,$<BOOL:${TESSARY_FUZZ}>>>:-Wl,--no-undefined>)
