# What every file of the project is compiled with.
add_library(kxwcmn_flags INTERFACE)
target_compile_options(kxwcmn_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor -Woverloaded-virtual
  # Two builds give the same pixels: doubles are computed as written.
  -ffp-contract=off
  # Conditions in loops that are to vectorise are joined without a branch. Conversions warn as with
  # GCC, which leaves alone those that change the sign only.
  "$<$<CXX_COMPILER_ID:Clang>:-Wno-bitwise-instead-of-logical;-Wno-sign-conversion>"
  $<$<BOOL:${KXWCMN_WERROR}>:-Werror>)
if(KXWCMN_SANITIZE)
  target_compile_options(kxwcmn_flags INTERFACE
    -fsanitize=${KXWCMN_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(kxwcmn_flags INTERFACE -fsanitize=${KXWCMN_SANITIZE})
endif()
if(KXWCMN_FUZZ)
  target_compile_options(kxwcmn_flags INTERFACE -fsanitize=fuzzer-no-link)
endif()
