# libjpeg-turbo for the engine's JPEG decoder, as the imported target orrelux::jpeg.
#
#   native  the system's libjpeg (Debian's libjpeg62-turbo-dev), through find_package(JPEG)
#   mingw   Debian's own libjpeg-turbo source, fetched with `apt-get source --download-only` into
#           this build tree, unpacked with Debian's patches applied, and cross-built with this
#           build's toolchain as the static library jpeg-static (SIMD through nasm)
#
# The cross build is an ExternalProject: its stamp files keep the download, the unpacking and the
# build from running again once they have succeeded in a tree. apt-get needs a deb-src entry;
# tools/install-deps.sh adds one.
#
# This file is also the download step's script: run with `cmake -P` and DOWNLOAD_DIR, SOURCE_DIR,
# APT_GET and DPKG_SOURCE defined, it fetches the source package and unpacks it.

if(CMAKE_SCRIPT_MODE_FILE)
    # apt-get checks the files against the signed Sources index; dpkg-source needs no second
    # check of the .dsc signature (and has no keyring for it here).
    file(GLOB dsc ${DOWNLOAD_DIR}/libjpeg-turbo_*.dsc)
    if(NOT dsc)
        execute_process(
            COMMAND ${APT_GET} source --download-only -qq libjpeg-turbo
            WORKING_DIRECTORY ${DOWNLOAD_DIR}
            INPUT_FILE /dev/null
            RESULT_VARIABLE result)
        if(result)
            message(FATAL_ERROR "apt-get source libjpeg-turbo failed (${result}). It needs a "
                                "deb-src entry and `apt-get update`: run tools/install-deps.sh.")
        endif()
        file(GLOB dsc ${DOWNLOAD_DIR}/libjpeg-turbo_*.dsc)
    endif()
    list(LENGTH dsc count)
    if(NOT count EQUAL 1)
        message(FATAL_ERROR "expected one libjpeg-turbo .dsc in ${DOWNLOAD_DIR}, found: ${dsc}")
    endif()
    # dpkg-source unpacks only into a directory that does not exist yet.
    file(REMOVE_RECURSE ${SOURCE_DIR})
    execute_process(
        COMMAND ${DPKG_SOURCE} --no-check -x ${dsc} ${SOURCE_DIR}
        INPUT_FILE /dev/null
        RESULT_VARIABLE result)
    if(result)
        message(FATAL_ERROR "dpkg-source -x ${dsc} failed (${result})")
    endif()
    return()
endif()

if(NOT WIN32)
    find_package(JPEG REQUIRED)
    if(JPEG_LIBRARY_RELEASE)
        set(jpeg_location ${JPEG_LIBRARY_RELEASE})
    else()
        set(jpeg_location ${JPEG_LIBRARY})
    endif()
    # GLOBAL: the tests and the benchmark link it from their own directories.
    add_library(orrelux::jpeg UNKNOWN IMPORTED GLOBAL)
    set_target_properties(orrelux::jpeg PROPERTIES
        IMPORTED_LOCATION ${jpeg_location}
        INTERFACE_INCLUDE_DIRECTORIES "${JPEG_INCLUDE_DIRS}")
    return()
endif()

include(ExternalProject)
find_program(ORRELUX_NASM nasm REQUIRED)
find_program(ORRELUX_APT_GET apt-get REQUIRED)
find_program(ORRELUX_DPKG_SOURCE dpkg-source REQUIRED)

set(jpeg_root ${CMAKE_BINARY_DIR}/third_party/libjpeg-turbo)
set(jpeg_install ${jpeg_root}/install)
set(jpeg_library ${jpeg_install}/lib/libjpeg.a)
# An imported target may not name an include directory that does not exist yet.
file(MAKE_DIRECTORY ${jpeg_install}/include ${jpeg_install}/lib)

# Only the library is built, not the tools and tests of the package. Under make the build is a
# recursive $(MAKE), so it shares the outer build's job slots.
if(CMAKE_GENERATOR MATCHES "Make")
    set(jpeg_build_command $(MAKE) jpeg-static)
else()
    set(jpeg_build_command ${CMAKE_COMMAND} --build <BINARY_DIR> --target jpeg-static)
endif()

# The install prefix must be absolute: libjpeg-turbo's default for Windows is a c:/ path, on
# which its configure step fails.
ExternalProject_Add(libjpeg_turbo
    PREFIX ${jpeg_root}
    DOWNLOAD_DIR ${jpeg_root}/download
    SOURCE_DIR ${jpeg_root}/source
    BINARY_DIR ${jpeg_root}/build
    INSTALL_DIR ${jpeg_install}
    DOWNLOAD_COMMAND ${CMAKE_COMMAND} -DDOWNLOAD_DIR=<DOWNLOAD_DIR> -DSOURCE_DIR=<SOURCE_DIR>
                     -DAPT_GET=${ORRELUX_APT_GET} -DDPKG_SOURCE=${ORRELUX_DPKG_SOURCE}
                     -P ${CMAKE_CURRENT_LIST_FILE}
    CMAKE_ARGS
        -DCMAKE_TOOLCHAIN_FILE=${CMAKE_TOOLCHAIN_FILE}
        -DCMAKE_BUILD_TYPE=Release
        -DCMAKE_INSTALL_PREFIX=<INSTALL_DIR>
        -DCMAKE_ASM_NASM_COMPILER=${ORRELUX_NASM}
        -DENABLE_SHARED=OFF
        -DENABLE_STATIC=ON
        -DWITH_TURBOJPEG=OFF
        -DWITH_JAVA=OFF
        -DWITH_SIMD=ON
        -DREQUIRE_SIMD=ON
    BUILD_COMMAND ${jpeg_build_command}
    INSTALL_COMMAND
        ${CMAKE_COMMAND} -E copy <SOURCE_DIR>/jpeglib.h <SOURCE_DIR>/jmorecfg.h
                                 <SOURCE_DIR>/jerror.h <BINARY_DIR>/jconfig.h <INSTALL_DIR>/include
        COMMAND ${CMAKE_COMMAND} -E copy <BINARY_DIR>/libjpeg.a <INSTALL_DIR>/lib
    BUILD_BYPRODUCTS ${jpeg_library}
    LOG_DOWNLOAD ON
    LOG_CONFIGURE ON
    LOG_BUILD ON
    LOG_INSTALL ON
    LOG_OUTPUT_ON_FAILURE ON)

add_library(orrelux::jpeg STATIC IMPORTED GLOBAL)
set_target_properties(orrelux::jpeg PROPERTIES
    IMPORTED_LOCATION ${jpeg_library}
    INTERFACE_INCLUDE_DIRECTORIES ${jpeg_install}/include)
add_dependencies(orrelux::jpeg libjpeg_turbo)
