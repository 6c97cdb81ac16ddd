# The NDK's own toolchain, with what the boards run: Android 13, 64-bit Arm, the shared C++ library. The folder of the
# NDK is remembered: a build that configures itself again needs no environment.
if(NOT TESSARY_NDK)
  set(TESSARY_NDK "$ENV{ANDROID_NDK_HOME}")
endif()
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TESSARY_NDK)

set(oldest_ndk 25)  # the first that knows API level 33
if(TESSARY_NDK STREQUAL "")
  message(FATAL_ERROR
    "No Android NDK: set ANDROID_NDK_HOME to its folder, the one that holds build/cmake (r${oldest_ndk} or later).")
endif()
if(NOT EXISTS ${TESSARY_NDK}/build/cmake/android.toolchain.cmake)
  message(FATAL_ERROR
    "No Android NDK in ${TESSARY_NDK}: there is no build/cmake/android.toolchain.cmake.")
endif()
if(EXISTS ${TESSARY_NDK}/source.properties)
  file(STRINGS ${TESSARY_NDK}/source.properties ndk_revision REGEX "^Pkg.Revision")
  string(REGEX REPLACE "^[^=]*= *" "" ndk_revision "${ndk_revision}")
  if(ndk_revision VERSION_LESS oldest_ndk)
    message(FATAL_ERROR "The NDK in ${TESSARY_NDK} is ${ndk_revision}: r${oldest_ndk} is the oldest that serves.")
  endif()
endif()

set(TESSARY_NDK "${TESSARY_NDK}" CACHE PATH "The NDK: the folder that holds build/cmake")

set(ANDROID_ABI arm64-v8a)
set(ANDROID_PLATFORM android-33)
set(ANDROID_STL c++_shared)
include(${TESSARY_NDK}/build/cmake/android.toolchain.cmake)
