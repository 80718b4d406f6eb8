# One set of warnings for all code of this project; a warning is an error.
if(MSVC)
  target_compile_options(vdipc_flags INTERFACE /W4 /WX /permissive- /Zc:preprocessor /Zc:__cplusplus /utf-8 /EHsc)
else()
  target_compile_options(vdipc_flags INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
  if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    # Not among -Wconversion with GCC.
    target_compile_options(vdipc_flags INTERFACE -Wno-sign-conversion)
  endif()
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # GCC 12 sees overlaps and overruns in its own std::string where there are none (its bugs 105329 and 105651).
    target_compile_options(vdipc_flags INTERFACE -Wno-restrict -Wno-array-bounds)
  endif()
  if(VDIPC_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # With a sanitizer's code in between, GCC can't follow initialisations (its manual says so).
    target_compile_options(vdipc_flags INTERFACE -Wno-maybe-uninitialized)
  endif()
endif()
