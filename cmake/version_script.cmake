# Turns mray/exports.txt into a GNU linker version script that exports exactly its names and
# hides everything else.
include(${CMAKE_CURRENT_LIST_DIR}/name_list.cmake)
hordera_read_name_list(${EXPORTS} names)
set(body "{\n  global:\n")
foreach(name IN LISTS names)
  string(APPEND body "    ${name};\n")
endforeach()
string(APPEND body "  local:\n    *;\n};\n")
file(WRITE ${OUTPUT}.tmp "${body}")
file(COPY_FILE ${OUTPUT}.tmp ${OUTPUT} ONLY_IF_DIFFERENT)
