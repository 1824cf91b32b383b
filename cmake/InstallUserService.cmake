# Run by `cmake --install`: writes the user service's unit (GAUGELY_UNIT_FILE, from
# GAUGELY_UNIT_TEMPLATE) for the prefix being installed to, so its ExecStart names the installed
# gaugely. The path is written as systemd reads a command line: specifiers ("%", "$") doubled,
# quoted when it holds blanks, quotes or backslashes (as `gaugely usage --install-service` does).
set(executable "${CMAKE_INSTALL_PREFIX}/${GAUGELY_INSTALL_BINDIR}/gaugely")
string(REPLACE "%" "%%" executable "${executable}")
string(REPLACE "$" "$$" executable "${executable}")
if(executable MATCHES "[ \t'\";\\\\]")
    string(REPLACE "\\" "\\\\" executable "${executable}")
    string(REPLACE "\"" "\\\"" executable "${executable}")
    set(executable "\"${executable}\"")
endif()
set(GAUGELY_SERVICE_ENVIRONMENT "")
set(GAUGELY_EXEC_START "${executable} usage --watch --notify")
configure_file("${GAUGELY_UNIT_TEMPLATE}" "${GAUGELY_UNIT_FILE}" @ONLY)
