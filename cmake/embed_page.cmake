# Run by the build: puts the page's parts into one text, and that into C++.
#   cmake -DPAGE_DIR=.. -DDYGRAPHS_DIR=.. -DLICENCE=.. -DOUTPUT=.. -P embed_page.cmake
# The policy of the page names its scripts and its style by their hashes, so that nothing else is run or loaded.
# Without DYGRAPHS_DIR the text is empty, and the tool says what it lacks.

cmake_minimum_required(VERSION 3.22)

function(base64_of_hex hex result)
  set(alphabet ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/)
  set(text "")
  string(LENGTH "${hex}" length)
  set(at 0)
  while(at LESS length)
    string(SUBSTRING "${hex}" ${at} 6 three_bytes)
    string(LENGTH "${three_bytes}" digits)
    set(padded "${three_bytes}0000")
    string(SUBSTRING "${padded}" 0 6 padded)
    math(EXPR bits "0x${padded}")
    math(EXPR characters "${digits} / 2 + 1")
    foreach(shift IN ITEMS 18 12 6 0)
      if(characters GREATER 0)
        math(EXPR index "(${bits} >> ${shift}) & 63")
        string(SUBSTRING ${alphabet} ${index} 1 character)
      else()
        set(character "=")
      endif()
      string(APPEND text "${character}")
      math(EXPR characters "${characters} - 1")
    endforeach()
    math(EXPR at "${at} + 6")
  endwhile()
  set(${result} "${text}" PARENT_SCOPE)
endfunction()

function(policy_hash text result)
  string(SHA256 hex "${text}")
  base64_of_hex("${hex}" hash)
  set(${result} "'sha256-${hash}'" PARENT_SCOPE)
endfunction()

function(array_of text name result)
  file(WRITE "${OUTPUT}.part" "${text}")
  file(READ "${OUTPUT}.part" hex HEX)
  file(REMOVE "${OUTPUT}.part")
  string(REGEX REPLACE "(..)" "0x\\1," bytes "${hex}")
  string(REGEX REPLACE "(0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,)" "\\1\n" bytes "${bytes}")
  set(${result} "const unsigned char ${name}[] = {\n${bytes}0};\n" PARENT_SCOPE)
endfunction()

set(before "")
set(behind "")
if(DYGRAPHS_DIR)
  file(READ ${PAGE_DIR}/page.html page)
  file(READ ${PAGE_DIR}/page.js script)
  file(READ ${PAGE_DIR}/page.css style)
  file(READ ${DYGRAPHS_DIR}/dygraph.min.js library)
  file(READ ${DYGRAPHS_DIR}/dygraph.min.css library_style)
  string(APPEND library_style "\n${style}")
  # It names a file that would be asked for.
  string(REGEX REPLACE "//# sourceMappingURL=[^\n]*" "" library "${library}")
  string(REGEX REPLACE "/\\*# sourceMappingURL=[^\n]*" "" library_style "${library_style}")
  file(READ ${LICENCE} licence)
  string(REPLACE "&" "&amp;" licence "${licence}")
  string(REPLACE "<" "&lt;" licence "${licence}")
  policy_hash("${library}" library_hash)
  policy_hash("${script}" script_hash)
  policy_hash("${library_style}" style_hash)
  set(policy "default-src 'none'; script-src ${library_hash} ${script_hash}; style-src ${style_hash}")
  string(APPEND policy "; base-uri 'none'; form-action 'none'")
  string(REPLACE "@POLICY@" "${policy}" page "${page}")
  string(REPLACE "@STYLE@" "${library_style}" page "${page}")
  string(REPLACE "@LICENCE@" "${licence}" page "${page}")
  string(REPLACE "@SCRIPT@" "${script}" page "${page}")
  string(REPLACE "@LIBRARY@" "${library}" page "${page}")
  string(FIND "${page}" "@DATA@" data)
  string(SUBSTRING "${page}" 0 ${data} before)
  math(EXPR data "${data} + 6")
  string(SUBSTRING "${page}" ${data} -1 behind)
endif()
array_of("${before}" kBefore before_array)
array_of("${behind}" kBehind behind_array)
file(WRITE ${OUTPUT} "#include \"tools/views/page/page.h\"
namespace tool {
namespace {
${before_array}${behind_array}}  // namespace
std::string_view pageBeforeData() { return {reinterpret_cast<const char*>(kBefore), sizeof kBefore - 1}; }
std::string_view pageBehindData() { return {reinterpret_cast<const char*>(kBehind), sizeof kBehind - 1}; }
}  // namespace tool
")
