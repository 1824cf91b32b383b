# Cross build for macOS 13 from Linux (or any host) with clang, lld and a macOS SDK, so the macOS
# adapters are compiled and linked even where they cannot run.
#
#   SDKROOT=/path/to/MacOSX.sdk cmake --preset macos-arm64
#
# GAUGELY_MACOS_ARCH: arm64 (default) or x86_64. The SDK comes from GAUGELY_MACOS_SDK, CMAKE_OSX_SYSROOT
# or $SDKROOT; it is headers and .tbd stubs only and lives outside version control.

set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_VERSION 22.0) # Darwin 22 is macOS 13

# try_compile projects read this file again; hand them the same choices.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES GAUGELY_MACOS_ARCH GAUGELY_MACOS_SDK
     GAUGELY_MACOS_LINKER)

if(NOT GAUGELY_MACOS_ARCH)
    set(GAUGELY_MACOS_ARCH arm64)
endif()
if(NOT GAUGELY_MACOS_ARCH MATCHES "^(arm64|x86_64)$")
    message(FATAL_ERROR "GAUGELY_MACOS_ARCH must be arm64 or x86_64, not '${GAUGELY_MACOS_ARCH}'")
endif()

if(NOT GAUGELY_MACOS_SDK)
    if(CMAKE_OSX_SYSROOT)
        set(GAUGELY_MACOS_SDK "${CMAKE_OSX_SYSROOT}")
    elseif(DEFINED ENV{SDKROOT})
        set(GAUGELY_MACOS_SDK "$ENV{SDKROOT}")
    endif()
endif()
if(NOT GAUGELY_MACOS_SDK OR NOT EXISTS "${GAUGELY_MACOS_SDK}/usr/include/c++/v1")
    message(FATAL_ERROR "No macOS SDK: set SDKROOT (or GAUGELY_MACOS_SDK) to an SDK folder "
                        "holding usr/include and System/Library/Frameworks (see DEVELOPERS.md)")
endif()
get_filename_component(GAUGELY_MACOS_SDK "${GAUGELY_MACOS_SDK}" ABSOLUTE)
set(GAUGELY_MACOS_SDK "${GAUGELY_MACOS_SDK}" CACHE PATH "macOS SDK used by the cross build")

set(CMAKE_SYSTEM_PROCESSOR ${GAUGELY_MACOS_ARCH})
set(CMAKE_OSX_ARCHITECTURES ${GAUGELY_MACOS_ARCH} CACHE STRING "" FORCE)
set(CMAKE_OSX_DEPLOYMENT_TARGET 13.0 CACHE STRING "" FORCE)
set(CMAKE_OSX_SYSROOT "${GAUGELY_MACOS_SDK}" CACHE PATH "" FORCE)

set(gaugely_macos_target ${GAUGELY_MACOS_ARCH}-apple-macos13)
foreach(lang C CXX OBJC OBJCXX)
    set(CMAKE_${lang}_COMPILER_TARGET ${gaugely_macos_target})
endforeach()
find_program(CMAKE_C_COMPILER NAMES clang clang-17 clang-16 clang-15 clang-14 REQUIRED)
find_program(CMAKE_CXX_COMPILER NAMES clang++ clang++-17 clang++-16 clang++-15 clang++-14 REQUIRED)
set(CMAKE_OBJC_COMPILER ${CMAKE_C_COMPILER})
set(CMAKE_OBJCXX_COMPILER ${CMAKE_CXX_COMPILER})

# GNU ar cannot index Mach-O objects and ld64.lld refuses an archive without an index.
find_program(CMAKE_AR NAMES llvm-ar llvm-ar-17 llvm-ar-16 llvm-ar-15 llvm-ar-14 REQUIRED)
find_program(CMAKE_RANLIB NAMES llvm-ranlib llvm-ranlib-17 llvm-ranlib-16 llvm-ranlib-15
                                llvm-ranlib-14 REQUIRED)
file(GLOB gaugely_llvm_bins /usr/lib/llvm-*/bin /opt/homebrew/opt/llvm/bin /usr/local/opt/llvm/bin
     /opt/homebrew/opt/lld/bin /usr/local/opt/lld/bin)
find_program(CMAKE_INSTALL_NAME_TOOL NAMES install_name_tool llvm-install-name-tool
             llvm-install-name-tool-17 llvm-install-name-tool-16 llvm-install-name-tool-15
             llvm-install-name-tool-14 HINTS ${gaugely_llvm_bins} REQUIRED)

# clang looks for "ld64.lld" by that exact name, which distributions often install only with a
# version suffix or inside the LLVM folder; name the binary outright.
find_program(GAUGELY_MACOS_LINKER NAMES ld64.lld ld64.lld-17 ld64.lld-16 ld64.lld-15 ld64.lld-14
             HINTS ${gaugely_llvm_bins} REQUIRED)

# The SDK's libc++ and libSystem; the version lets clang pass the modern -platform_version flag.
set(gaugely_macos_flags "-stdlib=libc++")
set(gaugely_macos_link_flags "--ld-path=${GAUGELY_MACOS_LINKER} -mlinker-version=711")
# Some trimmed SDKs drop the re-export list from the ApplicationServices stub, so the umbrella no
# longer provides the Accessibility functions of its HIServices sub-framework; name it directly then.
# An intact SDK re-exports it and needs nothing.
set(gaugely_umbrella "${GAUGELY_MACOS_SDK}/System/Library/Frameworks/ApplicationServices.framework")
if(EXISTS "${gaugely_umbrella}/ApplicationServices.tbd")
    file(STRINGS "${gaugely_umbrella}/ApplicationServices.tbd" gaugely_reexports
         REGEX "reexported-libraries|reexports" LIMIT_COUNT 1)
    if(NOT gaugely_reexports)
        # Applied by cmake/MacOS.cmake to whatever links the macOS adapters.
        set(GAUGELY_MACOS_SDK_LINK_OPTIONS "-F${gaugely_umbrella}/Frameworks"
                                           "LINKER:-framework,HIServices")
    endif()
endif()
# Some trimmed SDKs keep a framework's re-exported libraries as inline documents of its stub but
# drop the list that re-exports them, so AppKit no longer provides NSFont (UIFoundation). Corrected
# copies of such stubs go into the build folder and are handed to the linker only: given to the
# compiler, that folder would hide the real headers.
if(CMAKE_BINARY_DIR AND NOT CMAKE_BINARY_DIR MATCHES "CMakeTmp")
    set(gaugely_link_overlay "${CMAKE_BINARY_DIR}/sdk-link-overlay")
    # CoreServices: FSEvents, which the folder watch uses.
    foreach(framework AppKit CoreServices)
        set(stub "${GAUGELY_MACOS_SDK}/System/Library/Frameworks/${framework}.framework/${framework}.tbd")
        if(NOT EXISTS "${stub}")
            continue()
        endif()
        file(READ "${stub}" text)
        string(FIND "${text}" "reexported-libraries" listed)
        string(REGEX MATCHALL "install-name:[ ]*'[^']+'" names "${text}")
        list(LENGTH names count)
        if(NOT listed EQUAL -1 OR count LESS 2)
            continue()
        endif()
        list(REMOVE_AT names 0)
        set(libraries)
        foreach(name IN LISTS names)
            string(REGEX REPLACE "install-name:[ ]*" "" name "${name}")
            list(APPEND libraries "${name}")
        endforeach()
        list(JOIN libraries ", " libraries)
        # Only the first document (the framework itself) gets the list; the inline documents
        # that follow have version lines of their own.
        string(FIND "${text}" "\n--- !tapi-tbd" inline)
        string(SUBSTRING "${text}" 0 ${inline} head)
        string(SUBSTRING "${text}" ${inline} -1 rest)
        string(REGEX REPLACE
               "(\ncurrent-version:[^\n]*\n(compatibility-version:[^\n]*\n)?)"
               "\\1reexported-libraries:\n  - targets:         [ x86_64-macos, arm64-macos, arm64e-macos ]\n    libraries:       [ ${libraries} ]\n"
               head "${head}")
        set(text "${head}${rest}")
        file(WRITE "${gaugely_link_overlay}/${framework}.framework/${framework}.tbd" "${text}")
        set(gaugely_link_overlay_used TRUE)
    endforeach()
    if(gaugely_link_overlay_used)
        list(APPEND GAUGELY_MACOS_SDK_LINK_OPTIONS "LINKER:-F${gaugely_link_overlay}")
    endif()
endif()
foreach(lang C CXX OBJC OBJCXX)
    set(CMAKE_${lang}_FLAGS_INIT "${gaugely_macos_flags}")
endforeach()
set(CMAKE_EXE_LINKER_FLAGS_INIT "${gaugely_macos_link_flags}")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${gaugely_macos_link_flags}")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "${gaugely_macos_link_flags}")

# Headers and libraries come from the SDK only; programs from the host.
set(CMAKE_FIND_ROOT_PATH "${GAUGELY_MACOS_SDK}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# nlohmann_json is header-only and the SDK lacks it: borrow the host's copy through a folder that
# holds nothing else, so no other host header can shadow the SDK's.
if(NOT GAUGELY_JSON_INCLUDE_DIR AND CMAKE_BINARY_DIR AND NOT CMAKE_BINARY_DIR MATCHES "CMakeTmp")
    foreach(candidate /usr/include /usr/local/include /opt/homebrew/include)
        if(EXISTS "${candidate}/nlohmann/json.hpp")
            set(gaugely_json_farm "${CMAKE_BINARY_DIR}/host-json")
            file(MAKE_DIRECTORY "${gaugely_json_farm}")
            file(CREATE_LINK "${candidate}/nlohmann" "${gaugely_json_farm}/nlohmann" SYMBOLIC)
            set(GAUGELY_JSON_INCLUDE_DIR "${gaugely_json_farm}"
                CACHE PATH "Folder holding nlohmann/json.hpp for the cross build")
            break()
        endif()
    endforeach()
endif()

set(BUILD_TESTING OFF CACHE BOOL "" FORCE)
set(GAUGELY_BENCH OFF CACHE BOOL "" FORCE)
