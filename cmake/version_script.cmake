# Turns mray/exports.txt (one exported name per line; '#' starts a comment) into a GNU linker
# version script that exports exactly those names and hides everything else.
file(STRINGS ${EXPORTS} lines)
set(body "{\n  global:\n")
foreach(line IN LISTS lines)
  string(REGEX REPLACE "#.*$" "" line "${line}")
  string(STRIP "${line}" name)
  if(NOT name STREQUAL "")
    string(APPEND body "    ${name};\n")
  endif()
endforeach()
string(APPEND body "  local:\n    *;\n};\n")
file(WRITE ${OUTPUT}.tmp "${body}")
file(COPY_FILE ${OUTPUT}.tmp ${OUTPUT} ONLY_IF_DIFFERENT)
