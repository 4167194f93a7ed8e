# Reads the includes of every file below ${ROOT}/kxwcmn and names those that break a rule:
#
#   cmake -DROOT=<source folder> -P includes.cmake
#
# A room includes itself and lower rooms. A header of this library is spelled from the include root,
# in quotes. An installed header includes no internal one, for that is not installed. Headers of the
# host appear in its own folder of platform/ alone.
include(${CMAKE_CURRENT_LIST_DIR}/rooms.cmake)
set(host "<(unistd|fcntl|dirent|pthread|poll|pwd|dlfcn|langinfo|termios|windows|sys/.*|linux/.*)\\.h>")

file(GLOB_RECURSE files RELATIVE ${ROOT} ${ROOT}/kxwcmn/*.h ${ROOT}/kxwcmn/*.cpp)
if(NOT files)
  message(FATAL_ERROR "No files below ${ROOT}/kxwcmn")
endif()
foreach(file ${files})
  if(NOT file MATCHES "^kxwcmn/([a-z]+)/")
    continue()  # the header above the rooms, which includes all of them
  endif()
  list(FIND rooms ${CMAKE_MATCH_1} floor)
  if(floor EQUAL -1)
    list(APPEND strangers "${file}")
    continue()
  endif()
  file(STRINGS ${ROOT}/${file} lines REGEX "^[ \t]*#[ \t]*include")
  foreach(line ${lines})
    if(line MATCHES "[\"<]kxwcmn/([a-z]+)[/.]")
      list(FIND rooms ${CMAKE_MATCH_1} included)
      if(included EQUAL -1 OR included GREATER floor)
        list(APPEND upward "${file}: ${line}")
      endif()
      if(line MATCHES "_internal\\.h|/detail/" AND file MATCHES "\\.h$"
          AND NOT file MATCHES "_internal\\.h$|/detail/")
        list(APPEND leaks "${file}: ${line}")
      endif()
    endif()
    if(line MATCHES "<kxwcmn/" OR (line MATCHES "\"" AND NOT line MATCHES "\"kxwcmn/"))
      list(APPEND misspelled "${file}: ${line}")
    endif()
    if(line MATCHES "${host}" AND NOT file MATCHES "^kxwcmn/platform/posix/")
      list(APPEND hosted "${file}: ${line}")
    endif()
  endforeach()
endforeach()

foreach(kind
    "strangers=Files in a folder that is no room (tests/project/rooms.cmake lists the rooms):"
    "upward=Includes that run up the floors:"
    "leaks=Installed headers that include an internal one:"
    "misspelled=Includes of this library are spelled \"kxwcmn/room/header.h\":"
    "hosted=Headers of the host outside kxwcmn/platform/posix/:")
  string(REGEX MATCH "^([a-z]+)=(.*)$" matched "${kind}")
  if(${CMAKE_MATCH_1})
    list(JOIN ${CMAKE_MATCH_1} "\n  " text)
    string(APPEND report "${CMAKE_MATCH_2}\n  ${text}\n")
  endif()
endforeach()
if(report)
  message(FATAL_ERROR "${report}")
endif()
