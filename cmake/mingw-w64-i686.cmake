set(CMAKE_SYSTEM_PROCESSOR i686)
set(triplet i686-w64-mingw32)
set(emulator wine32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64.cmake)
