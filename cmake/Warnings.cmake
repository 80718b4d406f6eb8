# One set of warnings for all code of this project.
set(_errors)
if(MSVC)
  if(VDIPC_WARNINGS_AS_ERRORS)
    set(_errors /WX)
  endif()
  target_compile_options(vdipc_flags INTERFACE /W4 ${_errors} /permissive- /Zc:preprocessor /Zc:__cplusplus /utf-8 /EHsc)
  # Unreachable code: said by the optimiser, of templates of libraries too, where no option for other people's headers reaches.
  target_compile_options(vdipc_flags INTERFACE /wd4702)
else()
  if(VDIPC_WARNINGS_AS_ERRORS)
    set(_errors -Werror)
  endif()
  target_compile_options(vdipc_flags INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow ${_errors})
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
