# Sets `out` to the headers that an application may include, as paths below `root`, sorted: every
# header of every room but the internal ones.
function(kxwcmn_public_headers out root)
  if(NOT CMAKE_SCRIPT_MODE_FILE)
    set(look_again CONFIGURE_DEPENDS)  # at every build, where there is a build
  endif()
  file(GLOB_RECURSE headers ${look_again} RELATIVE ${root} ${root}/kxwcmn/*.h)
  list(FILTER headers EXCLUDE REGEX "_internal\\.h$|/detail/")
  list(SORT headers)
  set(${out} ${headers} PARENT_SCOPE)
endfunction()
