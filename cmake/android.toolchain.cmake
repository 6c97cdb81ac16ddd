# The NDK's own toolchain, with what the boards run: Android 13, 64-bit Arm, the shared C++ library.
if(NOT DEFINED ENV{ANDROID_NDK_HOME})
  message(FATAL_ERROR "No Android NDK: set ANDROID_NDK_HOME to its folder (the one with build/cmake in it).")
endif()
set(ANDROID_ABI arm64-v8a)
set(ANDROID_PLATFORM android-33)
set(ANDROID_STL c++_shared)
include($ENV{ANDROID_NDK_HOME}/build/cmake/android.toolchain.cmake)
