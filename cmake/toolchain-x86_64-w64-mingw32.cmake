# Cross build for 64-bit Windows with the POSIX-thread variant of mingw-w64 (std::thread and
# std::mutex need it). Binaries run under wine64 through the emulator script.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(ORRELUX_TRIPLET x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${ORRELUX_TRIPLET}-gcc-posix)
set(CMAKE_CXX_COMPILER ${ORRELUX_TRIPLET}-g++-posix)
set(CMAKE_RC_COMPILER ${ORRELUX_TRIPLET}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${ORRELUX_TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(ORRELUX_WIDL_FLAGS -m64)
