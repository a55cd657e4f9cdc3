# Cross build for 32-bit Windows. Built and linked only: 32-bit Wine is not available here,
# so nothing of this build is registered with ctest.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86)
set(ORRELUX_TRIPLET i686-w64-mingw32)
set(CMAKE_C_COMPILER ${ORRELUX_TRIPLET}-gcc-posix)
set(CMAKE_CXX_COMPILER ${ORRELUX_TRIPLET}-g++-posix)
set(CMAKE_RC_COMPILER ${ORRELUX_TRIPLET}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${ORRELUX_TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(ORRELUX_WIDL_FLAGS -m32)
# SSE2 arithmetic for doubles, as on x86_64: x87 extended precision would change the truncations
# of the pictures' double expressions (steps, wheel, cube guides, picking).
set(CMAKE_C_FLAGS_INIT "-msse2 -mfpmath=sse")
set(CMAKE_CXX_FLAGS_INIT "-msse2 -mfpmath=sse")
