# Writes gaugely's manual page and shell completions into OUTPUT by running the built tool TOOL,
# which makes them from its own help texts:
#
#   cmake -DTOOL=path/to/gaugely -DOUTPUT=folder -P cmake/ToolDocuments.cmake
file(MAKE_DIRECTORY ${OUTPUT})
foreach(document "--manual-page=gaugely.1" "--completion=bash=gaugely.bash"
                 "--completion=zsh=_gaugely" "--completion=fish=gaugely.fish")
    string(REGEX MATCH "^(.*)=([^=]+)$" _ "${document}")
    set(option ${CMAKE_MATCH_1})
    set(file ${CMAKE_MATCH_2})
    execute_process(COMMAND ${TOOL} ${option} OUTPUT_FILE ${OUTPUT}/${file}.new
                    RESULT_VARIABLE status)
    if(NOT status EQUAL 0)
        file(REMOVE ${OUTPUT}/${file}.new)
        message(FATAL_ERROR "${TOOL} ${option} failed (${status})")
    endif()
    file(RENAME ${OUTPUT}/${file}.new ${OUTPUT}/${file})
endforeach()
