# Builds plain files into a program: vdipc_embed_files(TARGET FUNCTION FOLDER...) makes every file of these folders a
# page::PageFile of what `std::vector<vdipc::page::PageFile> vdipc::page::FUNCTION()` returns. Its address is its name, or
# for a folder NAME=FOLDER its name below /NAME. As a script it writes that function.
if(NOT CMAKE_SCRIPT_MODE_FILE)
  set(_vdipc_embed_script "${CMAKE_CURRENT_LIST_FILE}")
  function(vdipc_embed_files target function)
    set(_made "${CMAKE_CURRENT_BINARY_DIR}/${function}.cpp")
    set(_all)
    set(_entries)
    foreach(_place ${ARGN})
      set(_below "")
      if(_place MATCHES "^([a-z]+)=(.*)$")
        set(_below "/${CMAKE_MATCH_1}")
        set(_place "${CMAKE_MATCH_2}")
      endif()
      file(GLOB _files CONFIGURE_DEPENDS "${_place}/*.html" "${_place}/*.js" "${_place}/*.css" "${_place}/*.svg"
        "${_place}/*.json")
      list(APPEND _all ${_files})
      foreach(_file ${_files})
        get_filename_component(_name "${_file}" NAME)
        list(APPEND _entries "${_below}/${_name}=${_file}")
      endforeach()
    endforeach()
    # Semicolons don't survive every shell.
    list(JOIN _entries "|" _joined)
    add_custom_command(OUTPUT "${_made}"
      COMMAND "${CMAKE_COMMAND}" "-DFUNCTION=${function}" "-DENTRIES=${_joined}" "-DOUTPUT=${_made}"
        -P "${_vdipc_embed_script}"
      DEPENDS ${_all} "${_vdipc_embed_script}" COMMENT "Building pages into ${function}.cpp" VERBATIM)
    target_sources(${target} PRIVATE "${_made}")
    set_source_files_properties("${_made}" PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
  endfunction()
  return()
endif()

set(_type_html "text/html; charset=utf-8")
set(_type_js "text/javascript; charset=utf-8")
set(_type_css "text/css; charset=utf-8")
set(_type_svg "image/svg+xml")
set(_type_json "application/json")
set(_arrays "")
set(_list "")
set(_number 0)
string(REPLACE "|" ";" _entries "${ENTRIES}")
foreach(_entry ${_entries})
  string(REGEX MATCH "^([^=]*)=(.*)$" _ "${_entry}")
  set(_path "${CMAKE_MATCH_1}")
  set(_file "${CMAKE_MATCH_2}")
  string(REGEX MATCH "[a-z]+$" _kind "${_path}")
  file(READ "${_file}" _bytes HEX)
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," _bytes "${_bytes}")
  # The zero behind the bytes lets an empty file be an array, too.
  string(APPEND _arrays "const unsigned char k${_number}[] = {${_bytes}0};\n")
  string(APPEND _list "        {\"${_path}\", \"${_type_${_kind}}\",\n"
    "         {reinterpret_cast<const char*>(k${_number}), sizeof(k${_number}) - 1}},\n")
  math(EXPR _number "${_number} + 1")
endforeach()
file(WRITE "${OUTPUT}" "// Made by cmake/EmbedFiles.cmake.
#include \"tools/page/PageFile.h\"

namespace vdipc::page {
namespace {

${_arrays}
}  // namespace

std::vector<PageFile> ${FUNCTION}();

std::vector<PageFile> ${FUNCTION}() {
    return {
${_list}    };
}

}  // namespace vdipc::page
")
