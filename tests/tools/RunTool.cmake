# Runs the flowspec tool once and compares what it did with a transcript.
#
#   cmake -DTOOL=<flowspec> -DCOMMAND_LINE=<arguments, shell-quoted>
#         -DEXPECTED=<transcript file> -DEXIT=<exit status> -DACTUAL=<file>
#         -P RunTool.cmake
#
# The tool runs through /bin/sh in the current directory. Its transcript is
#
#   $ flowspec <COMMAND_LINE>
#   exit status <n>
#   --- stdout
#   <standard output>
#   --- stderr
#   <standard error>
#
# and must equal EXPECTED byte for byte; on a difference the test fails with
# a unified diff (expected, then actual, which is kept in ACTUAL). The exit
# status must also be EXIT, so that a crash can never become the expected
# outcome.
#
# With the environment variable FLOWSPEC_REGENERATE_EXPECTED set to 1 the
# transcript is written to EXPECTED instead of compared (after the exit
# status check); tests/tools/regenerate.sh does that for every tool test.
foreach(var TOOL COMMAND_LINE EXPECTED EXIT ACTUAL)
  if(NOT DEFINED ${var})
    message(FATAL_ERROR "RunTool.cmake needs -D${var}=...")
  endif()
endforeach()

execute_process(
  COMMAND /bin/sh -c "exec \"${TOOL}\" ${COMMAND_LINE}"
  OUTPUT_VARIABLE out
  ERROR_VARIABLE err
  RESULT_VARIABLE status)

set(transcript "$ flowspec ${COMMAND_LINE}\nexit status ${status}\n--- stdout\n${out}--- stderr\n${err}")
file(WRITE "${ACTUAL}" "${transcript}")

if(NOT status STREQUAL EXIT)
  message(FATAL_ERROR "flowspec ${COMMAND_LINE}\nexited with ${status}, not ${EXIT}:\n${transcript}")
endif()

if("$ENV{FLOWSPEC_REGENERATE_EXPECTED}" STREQUAL "1")
  file(WRITE "${EXPECTED}" "${transcript}")
  message(STATUS "wrote ${EXPECTED}")
  return()
endif()

if(NOT EXISTS "${EXPECTED}")
  message(FATAL_ERROR "no expected transcript ${EXPECTED}; tests/tools/regenerate.sh writes it. "
                      "What the tool did:\n${transcript}")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files "${EXPECTED}" "${ACTUAL}"
                RESULT_VARIABLE differ)
if(differ)
  # The diff goes straight to the test's output: message() would reflow it.
  find_program(DIFF diff)
  if(DIFF)
    execute_process(COMMAND ${DIFF} -u "${EXPECTED}" "${ACTUAL}")
  else()
    file(READ "${EXPECTED}" expected)
    execute_process(COMMAND ${CMAKE_COMMAND} -E echo
                    "expected:\n${expected}\nactual:\n${transcript}")
  endif()
  message(FATAL_ERROR "flowspec ${COMMAND_LINE}: the transcript differs from ${EXPECTED} "
                      "as shown above (-: expected, +: actual)")
endif()
