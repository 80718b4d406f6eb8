# What is installed, and what goes into which package. `cmake --install` installs the package "library", what a host needs; the
# others are made by ./dev package (or: cpack --config BUILD/CPack-PACKAGE.cmake), from a build with VDIPC_PACKAGE.
#
#   library    VDIPC.dll, headers, client library, find_package(VDIPC), documents, schemas, examples
#   simulated  a classroom without hardware, all in one folder: host, clients, stand-ins, lessons
#   symbols    what a debugger needs to know about the programs and libraries of both
#
# A new program takes part by vdipc_ship() where it is made; a new document by the lists here. What may be in a package is
# listed once more in tests/package/contents, and a test compares the two.
include(CMakePackageConfigHelpers)

set(_documents_library host safety protocol receivers voice log)
set(_documents_simulated host safety protocol receivers voice log classroom lessons)

foreach(_package library simulated)
  set(_pages_${_package})
  foreach(_page ${_documents_${_package}})
    if(EXISTS "${PROJECT_SOURCE_DIR}/docs/${_page}.md")
      list(APPEND _pages_${_package} "${PROJECT_SOURCE_DIR}/docs/${_page}.md")
    endif()
  endforeach()
endforeach()

# Clients' own pages keep their place beside the documents, so that links between them lead somewhere.
file(GLOB _readmes CONFIGURE_DEPENDS RELATIVE "${PROJECT_SOURCE_DIR}" "${PROJECT_SOURCE_DIR}/clients/*/README.md")
function(vdipc_install_readmes folder)
  foreach(_readme ${_readmes})
    get_filename_component(_place "${_readme}" DIRECTORY)
    install(FILES "${PROJECT_SOURCE_DIR}/${_readme}" DESTINATION "${folder}${_place}" ${_component})
  endforeach()
endfunction()

# ---- library ----------------------------------------------------------------------------------------------------------------
set(_component COMPONENT library)
get_property(_programs GLOBAL PROPERTY VDIPC_SHIPPED_library)
foreach(_target ${_programs})
  if(NOT _target STREQUAL "VDIPC")
    install(TARGETS ${_target} RUNTIME DESTINATION bin ${_component})
  endif()
endforeach()
set(_exported VDIPC)
if(TARGET vdipc_client)
  list(APPEND _exported vdipc_client)
  install(DIRECTORY "${PROJECT_SOURCE_DIR}/clients/cpp/include/" DESTINATION include ${_component})
endif()
install(TARGETS ${_exported} EXPORT VDIPCTargets
  RUNTIME DESTINATION bin ${_component} ARCHIVE DESTINATION lib ${_component})
install(FILES "${PROJECT_SOURCE_DIR}/src/ipc/IIpcHandler.h" DESTINATION include/vdipc ${_component})
install(EXPORT VDIPCTargets NAMESPACE VDIPC:: DESTINATION lib/cmake/VDIPC ${_component})
configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/VDIPCConfig.cmake.in" "${CMAKE_BINARY_DIR}/VDIPCConfig.cmake"
  INSTALL_DESTINATION lib/cmake/VDIPC NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file("${CMAKE_BINARY_DIR}/VDIPCConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
install(FILES "${CMAKE_BINARY_DIR}/VDIPCConfig.cmake" "${CMAKE_BINARY_DIR}/VDIPCConfigVersion.cmake"
  DESTINATION lib/cmake/VDIPC ${_component})
install(DIRECTORY "${PROJECT_SOURCE_DIR}/schema" DESTINATION share/vdipc ${_component})
install(FILES ${_pages_library} DESTINATION share/vdipc/docs ${_component})
# What docs/log.md shows; the other pictures belong to the classroom.
install(FILES "${PROJECT_SOURCE_DIR}/docs/pictures/timeline.png" DESTINATION share/vdipc/docs/pictures ${_component})
vdipc_install_readmes(share/vdipc/)
install(FILES "${PROJECT_SOURCE_DIR}/CHANGELOG.md" DESTINATION share/vdipc ${_component})
if(VDIPC_PACKAGE)
  # Not where `cmake --install` goes: a prefix is shared with others.
  configure_file("${PROJECT_SOURCE_DIR}/cmake/README-library.txt" "${CMAKE_BINARY_DIR}/README.txt" @ONLY NEWLINE_STYLE DOS)
  install(FILES "${CMAKE_BINARY_DIR}/README.txt" DESTINATION . ${_component})
endif()
install(DIRECTORY "${PROJECT_SOURCE_DIR}/examples/host" DESTINATION share/vdipc/examples ${_component})
install(FILES "${PROJECT_SOURCE_DIR}/standin/data/rv2.vbs" DESTINATION share/vdipc/examples/host ${_component})

# ---- simulated --------------------------------------------------------------------------------------------------------------
set(_component COMPONENT simulated EXCLUDE_FROM_ALL)
get_property(_programs GLOBAL PROPERTY VDIPC_SHIPPED_simulated)
if(TARGET Classroom)
  install(TARGETS ${_programs} RUNTIME DESTINATION . ${_component} ARCHIVE DESTINATION lib COMPONENT unused EXCLUDE_FROM_ALL)
  configure_file("${PROJECT_SOURCE_DIR}/cmake/START.txt" "${CMAKE_BINARY_DIR}/START.txt" @ONLY NEWLINE_STYLE DOS)
  install(FILES "${PROJECT_SOURCE_DIR}/standin/data/rv2.vbs" "${CMAKE_BINARY_DIR}/START.txt" DESTINATION . ${_component})
  install(DIRECTORY "${PROJECT_SOURCE_DIR}/lessons" DESTINATION . ${_component})
  install(DIRECTORY "${PROJECT_SOURCE_DIR}/schema" DESTINATION . ${_component})
  install(FILES ${_pages_simulated} DESTINATION docs ${_component})
  install(DIRECTORY "${PROJECT_SOURCE_DIR}/docs/pictures" DESTINATION docs ${_component})
  vdipc_install_readmes("")
endif()

# ---- symbols ----------------------------------------------------------------------------------------------------------------
if(VDIPC_PACKAGE)
  get_property(_programs GLOBAL PROPERTY VDIPC_SHIPPED)
  foreach(_target ${_programs})
    if(MINGW)
      set(_symbols "$<TARGET_FILE:${_target}>.debug")
    else()
      set(_symbols "$<TARGET_PDB_FILE:${_target}>")
    endif()
    install(FILES "${_symbols}" DESTINATION . COMPONENT symbols EXCLUDE_FROM_ALL)
  endforeach()
endif()

# ---- CPack ------------------------------------------------------------------------------------------------------------------
if(MINGW)
  set(_compiler mingw)
elseif(MSVC)
  set(_compiler msvc)
else()
  string(TOLOWER "${CMAKE_CXX_COMPILER_ID}" _compiler)
endif()
set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_VENDOR VDIPC)
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_DIRECTORY "${CMAKE_BINARY_DIR}/packages")
set(CPACK_INCLUDE_TOPLEVEL_DIRECTORY ON)
set(CPACK_POST_BUILD_SCRIPTS "${PROJECT_SOURCE_DIR}/cmake/sort-package.cmake")
include(CPack)
foreach(_package library simulated symbols)
  set(_name "VDIPC-${PROJECT_VERSION}-${_package}-win64-${_compiler}")
  string(REPLACE "-library-" "-" _name "${_name}")
  file(WRITE "${CMAKE_BINARY_DIR}/CPack-${_package}.cmake"
    "include(\"${CMAKE_BINARY_DIR}/CPackConfig.cmake\")\n"
    "set(CPACK_PACKAGE_FILE_NAME \"${_name}\")\n"
    "set(CPACK_INSTALL_CMAKE_PROJECTS \"${CMAKE_BINARY_DIR};VDIPC;${_package};/\")\n")
endforeach()

if(VDIPC_PACKAGE AND CMAKE_CROSSCOMPILING_EMULATOR)
  add_subdirectory("${PROJECT_SOURCE_DIR}/tests/package" tests/package)
endif()
