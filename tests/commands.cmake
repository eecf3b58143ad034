# What a person types and sees of the command line.
file(GLOB VANTRY_CLI_TESTS CONFIGURE_DEPENDS cli/*.cpp describe/*.cpp)
vantry_add_tests(cli_tests ${VANTRY_CLI_TESTS})
target_link_libraries(cli_tests PRIVATE vantry_cli)
target_compile_definitions(cli_tests PRIVATE
  DESCRIPTIONS_PATH="${PROJECT_SOURCE_DIR}/packaging/properties.d")

# A recorder on a disk of its own that fills. It is skipped where nobody may mount one.
vantry_add_script_test(History.DiskThatFills ${CMAKE_CURRENT_SOURCE_DIR}/history/disk_test.py
  VANTRY=$<TARGET_FILE:vantry>)

set(VANTRY_LEAKS
  "LSAN_OPTIONS=suppressions=${CMAKE_CURRENT_SOURCE_DIR}/commands/leak_sanitizer.supp:print_suppressions=0")
file(GLOB VANTRY_COMMAND_FILES CONFIGURE_DEPENDS commands/*.txt
  ${PROJECT_SOURCE_DIR}/docs/guides/*.md ${PROJECT_SOURCE_DIR}/src/cli/help/*.txt)
foreach(file ${VANTRY_COMMAND_FILES})
  cmake_path(GET file STEM name)
  add_test(NAME Commands.${name}
    COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/commands/commands_test.py ${PROJECT_BINARY_DIR} ${file})
  set_tests_properties(Commands.${name} PROPERTIES ENVIRONMENT
    "PYTHONDONTWRITEBYTECODE=1;VANTRYD=$<TARGET_FILE:vantryd>;${VANTRY_LEAKS}")
endforeach()

# What a person sees in a terminal, and what a packet analyser reads.
file(GLOB VANTRY_TERMINAL_TESTS CONFIGURE_DEPENDS terminal/*_test.py)
foreach(file ${VANTRY_TERMINAL_TESTS})
  cmake_path(GET file STEM name)
  vantry_add_script_test(Terminal.${name} ${file} VANTRY=$<TARGET_FILE:vantry> ${VANTRY_LEAKS})
endforeach()

add_test(NAME Commands.PrintJsonByTheirSchemas COMMAND /usr/bin/python3
  ${CMAKE_CURRENT_SOURCE_DIR}/commands/json_test.py ${PROJECT_BINARY_DIR})
set_tests_properties(Commands.PrintJsonByTheirSchemas PROPERTIES ENVIRONMENT
  "PYTHONDONTWRITEBYTECODE=1;VANTRYD=$<TARGET_FILE:vantryd>")
