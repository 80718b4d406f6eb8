# How this tree makes targets. Sources are found by pattern; a unit named *_win32.cpp needs Windows and is left
# out elsewhere.

# Compiler settings of all code of this project.
add_library(vdipc_flags INTERFACE)
target_compile_features(vdipc_flags INTERFACE cxx_std_20)
target_include_directories(vdipc_flags INTERFACE "${PROJECT_SOURCE_DIR}/src")
if(WIN32)
  target_compile_definitions(vdipc_flags INTERFACE NOMINMAX WIN32_LEAN_AND_MEAN UNICODE _UNICODE _WIN32_WINNT=0x0A00)
  if(MSVC)
    # Standard functions such as fopen and getenv are what portable code has; the compiler would have its own in their place.
    target_compile_definitions(vdipc_flags INTERFACE _CRT_SECURE_NO_WARNINGS)
  endif()
else()
  find_package(Threads REQUIRED)
  target_link_libraries(vdipc_flags INTERFACE Threads::Threads)
endif()
if(VDIPC_PACKAGE AND MINGW)
  # Functions and lines, under names that tell nothing of where they were built.
  get_filename_component(_deps "${VDIPC_DEPS}" REALPATH)
  target_compile_options(vdipc_flags INTERFACE -g1 "-ffile-prefix-map=${_deps}=libraries"
    "-ffile-prefix-map=${PROJECT_SOURCE_DIR}/build/deps=libraries" "-ffile-prefix-map=${CMAKE_BINARY_DIR}=build"
    "-ffile-prefix-map=${PROJECT_SOURCE_DIR}=VDIPC")
elseif(VDIPC_PACKAGE AND MSVC)
  target_compile_options(vdipc_flags INTERFACE /Zi)
  # Dates and folders don't go into the files.
  target_compile_options(vdipc_flags INTERFACE /Brepro)
  target_link_options(vdipc_flags INTERFACE /Brepro)
endif()
if(VDIPC_SANITIZE)
  target_compile_options(vdipc_flags INTERFACE -fsanitize=${VDIPC_SANITIZE} -fno-sanitize-recover=all
    -fno-omit-frame-pointer)
  target_link_options(vdipc_flags INTERFACE -fsanitize=${VDIPC_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    target_compile_options(vdipc_flags INTERFACE -fsanitize-ignorelist=${PROJECT_SOURCE_DIR}/cmake/sanitizer-ignore.txt)
  endif()
endif()
if(VDIPC_COVERAGE)
  target_link_options(vdipc_flags INTERFACE --coverage)
endif()

function(vdipc_glob out)
  list(TRANSFORM ARGN PREPEND "${CMAKE_CURRENT_SOURCE_DIR}/")
  file(GLOB _found CONFIGURE_DEPENDS ${ARGN})
  if(NOT WIN32)
    list(FILTER _found EXCLUDE REGEX "_win32(_test)?\\.cpp$")
  endif()
  set(${out} ${_found} PARENT_SCOPE)
endfunction()

# vdipc_library(NAME SOURCES ... LINK ...): a static library, or a mere name as long as there are no sources.
function(vdipc_library name)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "SOURCES;LINK")
  if(ARG_SOURCES)
    add_library(${name} STATIC ${ARG_SOURCES})
    target_link_libraries(${name} PUBLIC vdipc_flags ${ARG_LINK})
  else()
    add_library(${name} INTERFACE)
    target_link_libraries(${name} INTERFACE vdipc_flags ${ARG_LINK})
  endif()
endfunction()

# vdipc_rescan(OUT LIBRARIES...): libraries that need each other, for the linkers that look at each but once. Others, MSVC's
# among them, look again by themselves, and CMake has no word for it there.
function(vdipc_rescan out)
  if(CMAKE_LINK_GROUP_USING_RESCAN_SUPPORTED OR CMAKE_CXX_LINK_GROUP_USING_RESCAN_SUPPORTED)
    list(JOIN ARGN "," _group)
    set(${out} "$<LINK_GROUP:RESCAN,${_group}>" PARENT_SCOPE)
  else()
    set(${out} ${ARGN} PARENT_SCOPE)
  endif()
endfunction()

# Names the precompiled headers of a target; system headers only, so that they never hide a missing include
# of a header of our own.
function(vdipc_precompile name)
  if(VDIPC_PRECOMPILED_HEADERS)
    target_precompile_headers(${name} PRIVATE ${ARGN})
  endif()
endfunction()

# Lets a target's sources be compiled several at a time, as one: most of their time goes into headers that they share. Each
# source still compiles alone, as in the builds without the option and in the check in Microsoft mode.
function(vdipc_unity name batch)
  if(VDIPC_UNITY)
    set_target_properties(${name} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE ${batch})
  endif()
endfunction()

# For everything that surrounds the product: compiled in batches, not optimised, and for Windows by clang if told so.
function(vdipc_quick_compile name batch)
  vdipc_unity(${name} ${batch})
  if(VDIPC_CLANG_AROUND AND MINGW)
    set_target_properties(${name} PROPERTIES CXX_COMPILER_LAUNCHER "${PROJECT_SOURCE_DIR}/cmake/clang-for-windows")
    target_compile_options(${name} PRIVATE -O0)
    # GNU's linker refuses what both compilers emit with different sizes, the types' descriptions for one. The product is
    # GNU's alone, and linked by it.
    get_target_property(_type ${name} TYPE)
    if(_type MATCHES "EXECUTABLE|SHARED_LIBRARY")
      target_link_options(${name} PRIVATE "-B${PROJECT_SOURCE_DIR}/cmake/lld/")
    else()
      target_link_options(${name} INTERFACE "-B${PROJECT_SOURCE_DIR}/cmake/lld/")
    endif()
  endif()
endfunction()

# vdipc_ship(NAME DESCRIPTION PACKAGES ...): a program or library that goes into packages (Package.cmake has the names). It gets a
# version resource that says what it is; in a build for packages its symbols are put apart.
function(vdipc_ship name ARG_DESCRIPTION)
  if(NOT WIN32)
    return()
  endif()
  cmake_parse_arguments(PARSE_ARGV 2 ARG "" "" "PACKAGES")
  get_target_property(_kind ${name} TYPE)
  set(_type VFT_APP)
  set(_suffix .exe)
  if(_kind STREQUAL "SHARED_LIBRARY")
    set(_type VFT_DLL)
    set(_suffix .dll)
  endif()
  string(REPLACE "." "," _commas "${PROJECT_VERSION}")
  configure_file("${PROJECT_SOURCE_DIR}/cmake/version.rc.in" "${CMAKE_CURRENT_BINARY_DIR}/${name}.rc" @ONLY)
  target_sources(${name} PRIVATE "${CMAKE_CURRENT_BINARY_DIR}/${name}.rc")
  foreach(_package ${ARG_PACKAGES})
    set_property(GLOBAL APPEND PROPERTY VDIPC_SHIPPED_${_package} ${name})
  endforeach()
  set_property(GLOBAL APPEND PROPERTY VDIPC_SHIPPED ${name})
  if(VDIPC_PACKAGE AND MINGW)
    target_link_options(${name} PRIVATE -Wl,--no-insert-timestamp)
    add_custom_command(TARGET ${name} POST_BUILD
      COMMAND python3 "${PROJECT_SOURCE_DIR}/cmake/split-symbols.py" $<TARGET_FILE:${name}> ${CMAKE_OBJCOPY} ${CMAKE_STRIP}
      VERBATIM)
  elseif(VDIPC_PACKAGE AND MSVC)
    # The program names its symbols' file without the folder that it was built in.
    target_link_options(${name} PRIVATE /DEBUG /OPT:REF /OPT:ICF /INCREMENTAL:NO /PDBALTPATH:%_PDB%)
  endif()
endfunction()
