# Every target of ours gets the same strict warning set; with GAUGELY_WERROR (our presets and CI)
# a warning is a build failure.
function(gaugely_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wnon-virtual-dtor
                                             -Woverloaded-virtual -Wimplicit-fallthrough)
    if(GAUGELY_WERROR)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
    # GCC 12's optimiser reports -Wrestrict inside libstdc++'s own code for
    # `"literal" + std::string(...)`: a known false positive of that release, gone in GCC 13.
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
        target_compile_options(${target} PRIVATE -Wno-restrict)
    endif()
endfunction()
