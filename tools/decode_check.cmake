# Runs corvane decode on one capture, through EMULATOR when one is given, and checks its exit
# status and that it printed JSON.
execute_process(COMMAND ${EMULATOR} ${TOOL} decode ${WSDL} ${OPERATION} ${FILE}
                RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT status EQUAL EXPECTED)
    message(FATAL_ERROR "exit status ${status}, expected ${EXPECTED}: ${err}")
endif()
string(JSON operation ERROR_VARIABLE json_error GET "${out}" operation)
if(json_error OR NOT operation STREQUAL OPERATION)
    message(FATAL_ERROR "no JSON for ${OPERATION}: ${json_error}\n${out}")
endif()
