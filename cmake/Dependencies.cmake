# ICU (regular expressions and Unicode text), libxml2 and nlohmann_json. On Apple platforms ICU is the
# system's libicucore, whose headers ship in the SDK; elsewhere it is the distribution's ICU.
if(APPLE)
    add_library(gaugely_icu INTERFACE)
    target_link_libraries(gaugely_icu INTERFACE icucore)
    # Apple's ICU headers make UChar uint16_t; ICU's own default (and Linux's) is char16_t, which
    # the code relies on. Both are 16-bit and the C API has no mangled names, so this is safe.
    target_compile_definitions(gaugely_icu INTERFACE UCHAR_TYPE=char16_t)
else()
    find_package(ICU REQUIRED COMPONENTS uc i18n)
    add_library(gaugely_icu INTERFACE)
    target_link_libraries(gaugely_icu INTERFACE ICU::uc ICU::i18n)
endif()
add_library(gaugely::icu ALIAS gaugely_icu)

# libxml2 reads the update feed and the HTML of release notes: the distribution's on Linux, the
# SDK's on Apple platforms.
find_package(LibXml2 REQUIRED)
add_library(gaugely_xml INTERFACE)
target_link_libraries(gaugely_xml INTERFACE LibXml2::LibXml2)
add_library(gaugely::xml ALIAS gaugely_xml)

find_package(nlohmann_json 3.10 QUIET)
add_library(gaugely_json INTERFACE)
if(nlohmann_json_FOUND)
    target_link_libraries(gaugely_json INTERFACE nlohmann_json::nlohmann_json)
elseif(GAUGELY_JSON_INCLUDE_DIR)
    target_include_directories(gaugely_json SYSTEM INTERFACE ${GAUGELY_JSON_INCLUDE_DIR})
else()
    message(FATAL_ERROR "nlohmann_json not found: run scripts/install-deps")
endif()
add_library(gaugely::json ALIAS gaugely_json)

if(GAUGELY_BENCH AND NOT CMAKE_CROSSCOMPILING)
    find_package(benchmark QUIET)
endif()

# sd-bus (libsystemd) carries `gaugely usage --notify` to the desktop's notification service on
# Linux. A Linux build without it still builds, with --notify saying it is not available; our
# presets require it, so CI never skips its tests. The library is opened when a notification first
# goes out, not linked into the tool; the tests link it for their own notification server.
if(NOT APPLE)
    find_path(GAUGELY_SD_BUS_INCLUDE_DIR systemd/sd-bus.h)
    find_library(GAUGELY_SD_BUS_LIBRARY systemd)
    if(GAUGELY_SD_BUS_INCLUDE_DIR AND GAUGELY_SD_BUS_LIBRARY)
        add_library(gaugely_sd_bus INTERFACE)
        target_include_directories(gaugely_sd_bus SYSTEM INTERFACE ${GAUGELY_SD_BUS_INCLUDE_DIR})
        target_link_libraries(gaugely_sd_bus INTERFACE ${CMAKE_DL_LIBS})
        add_library(gaugely::sd_bus ALIAS gaugely_sd_bus)
    elseif(GAUGELY_REQUIRE_SD_BUS)
        message(FATAL_ERROR "sd-bus (libsystemd) not found: run scripts/install-deps")
    else()
        message(STATUS "sd-bus (libsystemd) not found: gaugely usage --notify is not built")
    endif()
endif()
