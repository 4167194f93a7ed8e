# The rooms of the library, ground floor first.
cmake_minimum_required(VERSION 3.24)
set(rooms platform core memory offscreen compositing drawing resample persist classic desktop)

# Prints `lines` under `heading` and ends the script as failed; does nothing without lines.
function(fail_with heading lines)
  if(lines)
    list(JOIN lines "\n  " text)
    message(FATAL_ERROR "${heading}\n  ${text}")
  endif()
endfunction()
