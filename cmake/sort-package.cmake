# Run by CPack behind the making of a package: writes its files in the order of their names, which is otherwise the file
# system's, and without what else archives note down.
find_program(PYTHON3 NAMES python3 python)
if(PYTHON3)
  execute_process(COMMAND ${PYTHON3} "${CMAKE_CURRENT_LIST_DIR}/sort-package.py" ${CPACK_PACKAGE_FILES} COMMAND_ERROR_IS_FATAL ANY)
else()
  message(STATUS "no Python: the files stay in the order in which they were found")
endif()
