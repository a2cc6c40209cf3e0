# Collects every usage text of the command sources ("modelr: usage:
# modelr ..." literals, adjacent literals joined) into one C++ include, so
# that `modelr help` shows the texts the commands report.
#   cmake -DSOURCES=<a;b;...> -DOUTPUT=<file> -P usage_texts.cmake
set(entries "")
foreach(source ${SOURCES})
  file(READ ${source} text)
  string(REGEX REPLACE "\"[ \t\r\n]+\"" "" text "${text}")
  string(REGEX MATCHALL "\"modelr: usage: modelr [^\"]*\"" found "${text}")
  list(APPEND entries ${found})
endforeach()
list(REMOVE_DUPLICATES entries)
list(SORT entries)
set(out "// Generated from the usage texts of src/cmd/*.cpp by scripts/usage_texts.cmake.\n")
foreach(entry ${entries})
  string(APPEND out "    ${entry},\n")
endforeach()
file(WRITE ${OUTPUT}.new "${out}")
execute_process(COMMAND ${CMAKE_COMMAND} -E copy_if_different ${OUTPUT}.new ${OUTPUT})
file(REMOVE ${OUTPUT}.new)
