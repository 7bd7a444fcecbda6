set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(triplet x86_64-w64-mingw32)
set(emulator wine)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64.cmake)
