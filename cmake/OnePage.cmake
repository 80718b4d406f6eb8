# Joins a page's files into one that needs no other: vdipc_one_page(TARGET FUNCTION TEMPLATE STYLES... SCRIPTS...), in this order.
# FUNCTION gives it to the program, as in EmbedFiles.cmake. The template holds {{CSP}}, {{STYLE}} and {{SCRIPT}}.
#
# Scripts are modules in the tree, so that each says what it needs; joined they are one module, in the order in which they are
# named. An import is a line of its own, and what is imported keeps its name. The policy allows this style and this script, by
# their hashes, and nothing else: neither another script nor any address.
if(NOT CMAKE_SCRIPT_MODE_FILE)
  set(_vdipc_one_page_script "${CMAKE_CURRENT_LIST_FILE}")
  function(vdipc_one_page target function template)
    set(_page "${CMAKE_CURRENT_BINARY_DIR}/${function}.html")
    set(_made "${CMAKE_CURRENT_BINARY_DIR}/${function}.cpp")
    # Semicolons don't survive every shell.
    list(JOIN ARGN "|" _joined)
    add_custom_command(OUTPUT "${_made}" BYPRODUCTS "${_page}"
      COMMAND "${CMAKE_COMMAND}" "-DTEMPLATE=${template}" "-DFILES=${_joined}" "-DOUTPUT=${_page}"
        -P "${_vdipc_one_page_script}"
      COMMAND "${CMAKE_COMMAND}" "-DFUNCTION=${function}" "-DENTRIES=/index.html=${_page}" "-DOUTPUT=${_made}"
        -P "${_vdipc_embed_script}"
      DEPENDS "${template}" ${ARGN} "${_vdipc_one_page_script}" "${_vdipc_embed_script}"
      COMMENT "Building one page into ${function}.cpp" VERBATIM)
    target_sources(${target} PRIVATE "${_made}")
    set_source_files_properties("${_made}" PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
  endfunction()
  return()
endif()

cmake_minimum_required(VERSION 3.25)

# Base64 of a hash in hexadecimal, as a policy has it.
function(base64_of hex result)
  set(_alphabet "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/")
  set(_text "")
  string(LENGTH "${hex}" _length)
  math(EXPR _last "${_length} - 1")
  foreach(_at RANGE 0 ${_last} 6)
    string(SUBSTRING "${hex}" ${_at} 6 _piece)
    string(LENGTH "${_piece}" _digits)
    string(SUBSTRING "${_piece}0000" 0 6 _piece)
    foreach(_shift 18 12 6 0)
      math(EXPR _index "(0x${_piece} >> ${_shift}) & 63")
      string(SUBSTRING "${_alphabet}" ${_index} 1 _character)
      # Two digits fill two characters, four fill three.
      math(EXPR _used "24 - ${_shift} - 6")
      math(EXPR _bits "${_digits} * 4")
      if(_used LESS _bits)
        string(APPEND _text "${_character}")
      else()
        string(APPEND _text "=")
      endif()
    endforeach()
  endforeach()
  set(${result} "${_text}" PARENT_SCOPE)
endfunction()

# Line ends as a browser reads them, before it takes the hash.
function(read_text file result)
  file(READ "${file}" _text)
  string(REPLACE "\r\n" "\n" _text "${_text}")
  set(${result} "${_text}" PARENT_SCOPE)
endfunction()

set(_style "\n")
set(_script "\n")
string(REPLACE "|" ";" _files "${FILES}")
foreach(_file ${_files})
  read_text("${_file}" _text)
  if(_file MATCHES "\\.css$")
    string(APPEND _style "${_text}")
  else()
    string(REGEX REPLACE "(^|\n)import [^\n]*" "\\1" _text "${_text}")
    string(REGEX REPLACE "(^|\n)export (const|let|function|async|class) " "\\1\\2 " _text "${_text}")
    if("\n${_text}" MATCHES "\n(import|export) ")
      message(FATAL_ERROR "${_file}: an import or an export that isn't one line")
    endif()
    string(APPEND _script "${_text}")
  endif()
endforeach()
if("${_script}" MATCHES "</script" OR "${_style}" MATCHES "</style")
  message(FATAL_ERROR "the page's own script or style would end too early")
endif()
string(SHA256 _style_hash "${_style}")
string(SHA256 _script_hash "${_script}")
base64_of("${_style_hash}" _style_hash)
base64_of("${_script_hash}" _script_hash)
set(_policy "default-src 'none'; base-uri 'none'; form-action 'none'; img-src data:; ")
string(APPEND _policy "style-src 'sha256-${_style_hash}'; script-src 'sha256-${_script_hash}'")

read_text("${TEMPLATE}" _page)
foreach(_name CSP STYLE SCRIPT)
  if(NOT "${_page}" MATCHES "{{${_name}}}")
    message(FATAL_ERROR "${TEMPLATE} has no {{${_name}}}")
  endif()
endforeach()
string(REPLACE "{{CSP}}" "${_policy}" _page "${_page}")
string(REPLACE "{{STYLE}}" "${_style}" _page "${_page}")
string(REPLACE "{{SCRIPT}}" "${_script}" _page "${_page}")
file(WRITE "${OUTPUT}" "${_page}")
