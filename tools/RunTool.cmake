# Runs qlm-mesh once and checks its exit code and output; used by the tool's ctest cases.
#   cmake -DTOOL=path -DARGS="a|b|c" -DCODE=n [-DOUT=regex] [-DERR=regex] [-DONE_LINE_ERROR=ON]
#         -DWORKDIR=dir -P RunTool.cmake
# ARGS separates arguments with '|' because ';' does not survive add_test.
string(REPLACE "|" ";" args "${ARGS}")
execute_process(COMMAND "${TOOL}" ${args}
    WORKING_DIRECTORY "${WORKDIR}"
    RESULT_VARIABLE code
    OUTPUT_VARIABLE out
    ERROR_VARIABLE err)
set(report "qlm-mesh ${args}\n--- exit code: ${code}\n--- stdout:\n${out}\n--- stderr:\n${err}")
if(NOT "${code}" STREQUAL "${CODE}")
    message(FATAL_ERROR "expected exit code ${CODE}\n${report}")
endif()
if(DEFINED OUT AND NOT out MATCHES "${OUT}")
    message(FATAL_ERROR "stdout does not match '${OUT}'\n${report}")
endif()
if(DEFINED ERR AND NOT err MATCHES "${ERR}")
    message(FATAL_ERROR "stderr does not match '${ERR}'\n${report}")
endif()
if(ONE_LINE_ERROR)
    string(REGEX MATCHALL "\n" newlines "${err}")
    list(LENGTH newlines lines)
    if(NOT lines EQUAL 1 OR NOT err MATCHES "^qlm-mesh( [a-z]+)?: ")
        message(FATAL_ERROR "expected one error line on stderr\n${report}")
    endif()
    if(NOT out STREQUAL "")
        message(FATAL_ERROR "expected nothing on stdout\n${report}")
    endif()
endif()
