# The macOS adapters (Objective-C++ and C++ over the Apple frameworks) and a link check that pulls
# every object of them and of the core into one executable, so a missing symbol fails the build here
# rather than on a Mac.
enable_language(OBJCXX)
set(CMAKE_OBJCXX_STANDARD 20)
set(CMAKE_OBJCXX_STANDARD_REQUIRED ON)
set(CMAKE_OBJCXX_EXTENSIONS OFF)

file(GLOB gaugely_macos_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/Meterlane/macOS/*.mm
     ${PROJECT_SOURCE_DIR}/Meterlane/macOS/*.cpp)
# The Sparkle adapter is a library of its own (cmake/Sparkle.cmake).
list(FILTER gaugely_macos_sources EXCLUDE REGEX "/Meterlane/macOS/Sparkle[^/]*$")
if(NOT gaugely_macos_sources)
    set(gaugely_macos_sources ${CMAKE_BINARY_DIR}/empty_MeterlaneMacOS.cpp)
    file(WRITE ${gaugely_macos_sources} "")
endif()

# `@available` needs the compiler's Darwin builtins, which Apple's clang brings and a Linux clang
# lacks; the cross-check then links a stand-in of the one it needs.
if(CMAKE_CROSSCOMPILING)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-resource-dir
                    OUTPUT_VARIABLE gaugely_clang_resources OUTPUT_STRIP_TRAILING_WHITESPACE)
    if(NOT EXISTS "${gaugely_clang_resources}/lib/darwin/libclang_rt.osx.a")
        list(APPEND gaugely_macos_sources
             ${PROJECT_SOURCE_DIR}/cmake/macos-compat/PlatformVersionCheck.cpp)
    endif()
endif()

add_library(MeterlaneMacOS STATIC ${gaugely_macos_sources})
target_include_directories(MeterlaneMacOS PUBLIC ${PROJECT_SOURCE_DIR})
target_compile_options(MeterlaneMacOS PRIVATE $<$<COMPILE_LANGUAGE:OBJCXX>:-fobjc-arc>)
# The cross-check's SDK (macOS 12) lacks SMAppService (13) and cooperative activation (14);
# declare them for that build only.
if(CMAKE_CROSSCOMPILING)
    foreach(compat ServiceManagementCompat AppKitCompat)
        target_compile_options(
            MeterlaneMacOS
            PRIVATE
                $<$<COMPILE_LANGUAGE:OBJCXX>:-include${PROJECT_SOURCE_DIR}/cmake/macos-compat/${compat}.h>
        )
    endforeach()
endif()
target_link_libraries(
    MeterlaneMacOS
    PUBLIC MeterlaneCore
           MeterlanePosix
           "-framework ApplicationServices"
           "-framework CoreFoundation"
           "-framework CoreGraphics"
           "-framework CoreServices"
           "-framework Foundation"
           "-framework AppKit"
           "-framework UserNotifications"
           "-framework ServiceManagement"
           objc) # the ARC runtime calls
# Set by the cross toolchain when its SDK needs a sub-framework named outright.
target_link_options(MeterlaneMacOS INTERFACE ${GAUGELY_MACOS_SDK_LINK_OPTIONS})
gaugely_warnings(MeterlaneMacOS)

add_executable(gaugely_macos_link_check ${PROJECT_SOURCE_DIR}/tools/macos-link-check/main.cpp)
target_link_libraries(gaugely_macos_link_check PRIVATE MeterlaneMacOS MeterlaneCore
                                                       LowUsageNotificationSupport)
foreach(library MeterlaneStartup SharedUpdateSupport ProductionUpdateSupport MeterlaneVerification
                MeterlaneSimulation)
    if(TARGET ${library})
        target_link_libraries(gaugely_macos_link_check PRIVATE ${library})
    endif()
endforeach()
# Load every archive member, not only the referenced ones, so nothing escapes the check.
target_link_options(gaugely_macos_link_check PRIVATE LINKER:-all_load)
gaugely_warnings(gaugely_macos_link_check)

include(${CMAKE_CURRENT_LIST_DIR}/Sparkle.cmake)

# The app's executable, Gaugely: every source of Meterlane/App over the adapters and the core. It
# finds its frameworks (Sparkle) in the bundle's Contents/Frameworks, and leaves room in its header
# for later load-command edits. scripts/assemble-app builds the bundle around it.
file(GLOB gaugely_app_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/Meterlane/App/*.mm
     ${PROJECT_SOURCE_DIR}/Meterlane/App/*.cpp)
if(gaugely_app_sources)
    add_executable(Gaugely ${gaugely_app_sources})
    target_compile_options(Gaugely PRIVATE $<$<COMPILE_LANGUAGE:OBJCXX>:-fobjc-arc>)
    # The verification (make mac-verify's checks and "Copy Diagnostics") runs inside the app.
    target_link_libraries(Gaugely PRIVATE MeterlaneMacOS MeterlaneCore LowUsageNotificationSupport
                                          MeterlaneVerification)
    target_link_options(Gaugely PRIVATE "LINKER:-rpath,@executable_path/../Frameworks"
                        LINKER:-headerpad_max_install_names)
    gaugely_warnings(Gaugely)

    # The updater's libraries and the Sparkle adapter join the app where this build has them; they
    # may be defined after this file, so the check waits for the end of the configure.
    function(gaugely_link_app_updates)
        foreach(library MeterlaneStartup SharedUpdateSupport ProductionUpdateSupport MeterlaneSparkle)
            if(TARGET ${library})
                target_link_libraries(Gaugely PRIVATE ${library})
            endif()
        endforeach()
        # Without Sparkle (a cross-check that lacks its sources) the app links with no updater.
        if(TARGET MeterlaneSparkle)
            target_compile_definitions(Gaugely PRIVATE GAUGELY_WITH_SPARKLE=1)
        endif()
    endfunction()
    cmake_language(DEFER DIRECTORY ${PROJECT_SOURCE_DIR} CALL gaugely_link_app_updates)
endif()
