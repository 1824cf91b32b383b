# Every target of ours gets the same strict warning set; a warning is a build failure.
function(gaugely_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Werror -Wnon-virtual-dtor
                                             -Woverloaded-virtual -Wimplicit-fallthrough)
endfunction()
