# The Sparkle adapter (Meterlane/macOS/Sparkle*.mm) as its own library, MeterlaneSparkle, so only
# what embeds the framework links it (the app; the gaugely tool never does).
#
# The app embeds the Sparkle release product.conf pins (sparkleVersion). On a Mac the adapter
# compiles against that release's own headers (scripts/make-app hands them in). Elsewhere its
# headers come from Sparkle's sources: $SPARKLE_SOURCE, else ${XDG_CACHE_HOME:-~/.cache}/gaugely/
# sparkle, the repository at the newest tag that can be cloned here (2.6.4), whose Sparkle/ folder
# holds the headers; scripts/check-sparkle-api then checks that everything the adapter uses is
# still in the pinned release's headers. To link without the binary framework, a
# Sparkle.framework is assembled in the build folder from the public headers and a text stub
# listing what they export, under the pinned version. Nothing of Sparkle is ever committed.
# Without the sources the adapter is left out and the configure says so.
set(gaugely_sparkle_default "$ENV{SPARKLE_SOURCE}")
if(NOT gaugely_sparkle_default)
    if(DEFINED ENV{XDG_CACHE_HOME} AND NOT "$ENV{XDG_CACHE_HOME}" STREQUAL "")
        set(gaugely_sparkle_default "$ENV{XDG_CACHE_HOME}/gaugely/sparkle")
    else()
        set(gaugely_sparkle_default "$ENV{HOME}/.cache/gaugely/sparkle")
    endif()
endif()
set(GAUGELY_SPARKLE_SOURCE "${gaugely_sparkle_default}"
    CACHE PATH "Sparkle's sources or headers to compile against (a Sparkle/ folder holds them)")

file(GLOB gaugely_sparkle_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/Meterlane/macOS/Sparkle*.mm)
set(gaugely_sparkle_headers "${GAUGELY_SPARKLE_SOURCE}/Sparkle")
if(NOT EXISTS "${gaugely_sparkle_headers}/Sparkle.h" OR NOT EXISTS "${gaugely_sparkle_headers}/SPUUpdater.h")
    message(STATUS "Sparkle's sources not found in \"${GAUGELY_SPARKLE_SOURCE}\": the Sparkle "
                   "adapter is not built (set SPARKLE_SOURCE; see DEVELOPERS.md)")
    return()
endif()

# The public headers: Sparkle.h and everything it imports as <Sparkle/…>, transitively.
set(gaugely_stub_framework ${CMAKE_BINARY_DIR}/sparkle-stub/Sparkle.framework)
file(REMOVE_RECURSE ${gaugely_stub_framework})
set(pending Sparkle.h)
set(public_headers)
while(pending)
    list(POP_FRONT pending header)
    if(header IN_LIST public_headers OR NOT EXISTS "${gaugely_sparkle_headers}/${header}")
        continue()
    endif()
    list(APPEND public_headers ${header})
    file(STRINGS "${gaugely_sparkle_headers}/${header}" imports REGEX "#import <Sparkle/[A-Za-z0-9+]+\\.h>")
    foreach(line IN LISTS imports)
        string(REGEX MATCH "<Sparkle/([A-Za-z0-9+]+\\.h)>" _ "${line}")
        list(APPEND pending ${CMAKE_MATCH_1})
    endforeach()
endwhile()

# What those headers export: classes and data symbols marked SU_EXPORT.
set(classes)
set(symbols)
foreach(header IN LISTS public_headers)
    file(COPY "${gaugely_sparkle_headers}/${header}" DESTINATION ${gaugely_stub_framework}/Headers)
    file(STRINGS "${gaugely_sparkle_headers}/${header}" exported REGEX "^SU_EXPORT ")
    foreach(line IN LISTS exported)
        if(line MATCHES "^SU_EXPORT @interface ([A-Za-z0-9_]+) *:")
            list(APPEND classes ${CMAKE_MATCH_1})
        elseif(line MATCHES "^SU_EXPORT extern [^;]*[ *]([A-Za-z0-9_]+);")
            list(APPEND symbols _${CMAKE_MATCH_1})
        elseif(line MATCHES "^SU_EXPORT [^(]*[ *]([A-Za-z0-9_]+)\\(")
            list(APPEND symbols _${CMAKE_MATCH_1})
        endif()
    endforeach()
endforeach()
list(REMOVE_DUPLICATES classes)
list(REMOVE_DUPLICATES symbols)
list(SORT classes)
list(SORT symbols)
list(JOIN classes ", " class_list)
list(JOIN symbols ", " symbol_list)
file(WRITE ${gaugely_stub_framework}/Sparkle.tbd
"--- !tapi-tbd
tbd-version:     4
targets:         [ x86_64-macos, arm64-macos ]
install-name:    '@rpath/Sparkle.framework/Versions/B/Sparkle'
current-version: ${GAUGELY_PRODUCT_SPARKLEVERSION}
exports:
  - targets:         [ x86_64-macos, arm64-macos ]
    symbols:         [ ${symbol_list} ]
    objc-classes:    [ ${class_list} ]
...
")
list(LENGTH public_headers header_count)
list(LENGTH classes class_count)
message(STATUS "Sparkle adapter: ${header_count} public headers from ${GAUGELY_SPARKLE_SOURCE}, "
               "link stub with ${class_count} classes in ${gaugely_stub_framework}; the app "
               "embeds Sparkle ${GAUGELY_PRODUCT_SPARKLEVERSION}")

add_library(MeterlaneSparkle STATIC ${gaugely_sparkle_sources})
target_include_directories(MeterlaneSparkle PUBLIC ${PROJECT_SOURCE_DIR})
# A system framework path: Sparkle's own headers are not held to our warning set.
target_compile_options(MeterlaneSparkle PRIVATE -fobjc-arc -iframework
                                                ${CMAKE_BINARY_DIR}/sparkle-stub)
target_link_libraries(MeterlaneSparkle PUBLIC MeterlaneMacOS SharedUpdateSupport
                                              "-F${CMAKE_BINARY_DIR}/sparkle-stub"
                                              "-framework Sparkle")
gaugely_warnings(MeterlaneSparkle)
target_link_libraries(gaugely_macos_link_check PRIVATE MeterlaneSparkle)
