# Reads a list of exported names: one name per line, '#' starts a comment, blank lines ignored.
# Used for the plug-in's export list and the host's list of renderer functions alike.
function(hordera_read_name_list file out_var)
  file(STRINGS ${file} lines)
  set(names "")
  foreach(line IN LISTS lines)
    string(REGEX REPLACE "#.*$" "" line "${line}")
    string(STRIP "${line}" name)
    if(NOT name STREQUAL "")
      list(APPEND names ${name})
    endif()
  endforeach()
  set(${out_var} ${names} PARENT_SCOPE)
endfunction()
