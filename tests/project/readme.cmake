# Compares the README's map of the rooms, a table whose rows begin "| `room/` |", with the folders
# that there are, and its first program with the one that is compiled:
#
#   cmake -DROOT=<source folder> -P readme.cmake
include(${CMAKE_CURRENT_LIST_DIR}/rooms.cmake)

file(STRINGS ${ROOT}/README.md rows REGEX "^\\| `[a-z]+/` \\|")
foreach(row ${rows})
  string(REGEX REPLACE "^\\| `([a-z]+)/`.*" "\\1" room "${row}")
  list(APPEND mapped ${room})
  file(GLOB files ${ROOT}/kxwcmn/${room}/*)
  if(NOT files)
    list(APPEND absent ${room})
  endif()
endforeach()
foreach(room ${rooms})
  file(GLOB files ${ROOT}/kxwcmn/${room}/*)
  if(files AND NOT room IN_LIST mapped)
    list(APPEND unmapped ${room})
  endif()
endforeach()
fail_with("README.md maps rooms that are not there:" "${absent}")
fail_with("README.md's map of the rooms lacks a row for:" "${unmapped}")

file(READ ${ROOT}/README.md readme)
file(READ ${ROOT}/examples/first_program.cpp program)
string(FIND "${program}" "#include" begin)  # below the line that names the README
string(SUBSTRING "${program}" ${begin} -1 program)
string(FIND "${readme}" "```cpp\n${program}```" place)
if(place EQUAL -1)
  message(FATAL_ERROR "README.md's first program is not examples/first_program.cpp")
endif()
