# An MSVC that doesn't exist: CMake generates on Linux what it would generate for the real one. The tools are named, and never
# run.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_VERSION 10.0)
set(CMAKE_SYSTEM_PROCESSOR AMD64)

foreach(_tool CXX_COMPILER RC_COMPILER LINKER MT AR)
  set(CMAKE_${_tool} /bin/false CACHE FILEPATH "" FORCE)
endforeach()

# What CMake finds out by running a compiler.
set(CMAKE_CXX_COMPILER_ID_RUN ON)
set(CMAKE_CXX_COMPILER_ID MSVC)
set(CMAKE_CXX_COMPILER_VERSION 19.40.33807.0)
set(CMAKE_CXX_COMPILER_WORKS ON)
set(CMAKE_CXX_ABI_COMPILED ON)
set(CMAKE_CXX_SIZEOF_DATA_PTR 8)
set(CMAKE_CXX_PLATFORM_ID Windows)
set(CMAKE_CXX_STANDARD_COMPUTED_DEFAULT 14)
set(CMAKE_CXX_EXTENSIONS_COMPUTED_DEFAULT OFF)
set(MSVC_CXX_ARCHITECTURE_ID x64)
