# Writes a table of files as C++: cmake -DOUTPUT=x.cpp "-DFILES=a.html;b.css" -P embed_files.cmake
# A literal as long as a whole file is more than a compiler need take, so the bytes are numbers.
set(types_html "text/html; charset=utf-8")
set(types_css "text/css; charset=utf-8")
set(types_js "text/javascript; charset=utf-8")
set(types_svg "image/svg+xml")
set(types_png "image/png")
set(types_json "application/json; charset=utf-8")
set(types_webmanifest "application/manifest+json")

set(bytes "")
set(rows "")
set(number 0)
foreach(file ${FILES})
  get_filename_component(name ${file} NAME)
  get_filename_component(kind ${file} LAST_EXT)
  string(SUBSTRING ${kind} 1 -1 kind)
  file(READ ${file} hex HEX)
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "'\\\\x\\1'," values "${hex}")
  math(EXPR number "${number} + 1")
  string(APPEND bytes "constexpr char kFile${number}[] = {${values}'\\0'};\n")
  set(path "/${name}")
  if(name STREQUAL "openapi.json") # beside what it describes
    set(path "/api/${name}")
  endif()
  set(entry "{\"${path}\", \"${types_${kind}}\", {kFile${number}, sizeof kFile${number} - 1}},\n")
  if(name STREQUAL "index.html")
    string(REPLACE "/${name}" "/" root "${entry}")
    string(APPEND rows "    ${root}")
  endif()
  string(APPEND rows "    ${entry}")
endforeach()
file(WRITE ${OUTPUT}
     "#include \"outlets/http/page_files.hpp\"\n\nnamespace tarn::http {\nnamespace {\n\n${bytes}\n"
     "constexpr PageFile kFiles[] = {\n${rows}};\n\n}  // namespace\n\n"
     "std::span<const PageFile> PageFiles() {\n  return kFiles;\n}\n\n}  // namespace tarn::http\n")
