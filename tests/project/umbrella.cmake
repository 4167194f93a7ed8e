# Compares the includes of kxwcmn/kxwcmn.h with the public headers that there are:
#
#   cmake -DROOT=<source folder> -P umbrella.cmake
include(${CMAKE_CURRENT_LIST_DIR}/rooms.cmake)
include(${ROOT}/cmake/PublicHeaders.cmake)

kxwcmn_public_headers(missing ${ROOT})
list(REMOVE_ITEM missing kxwcmn/kxwcmn.h)
file(STRINGS ${ROOT}/kxwcmn/kxwcmn.h lines REGEX "^#include")
foreach(line ${lines})
  string(REGEX REPLACE "^#include \"(.*)\"$" "\\1" header "${line}")
  if(NOT header IN_LIST missing)
    list(APPEND unknown "${line}")
  endif()
  list(REMOVE_ITEM missing "${header}")
endforeach()
list(TRANSFORM missing REPLACE "(.+)" "#include \"\\1\"")
fail_with("kxwcmn/kxwcmn.h lacks public headers; add:" "${missing}")
fail_with("kxwcmn/kxwcmn.h includes what is no public header, or twice:" "${unknown}")
