# Writes ${OUTPUT}: C++ with the content of every file of the packages below ${EXAMPLES}.
# cmake -DEXAMPLES=... -DOUTPUT=... -P cmake/embed_examples.cmake
file(GLOB_RECURSE files RELATIVE ${EXAMPLES} ${EXAMPLES}/*)
list(SORT files)
set(arrays "")
set(table "")
set(number 0)
foreach(file IN LISTS files)
  if(file MATCHES "^[^/]+-[0-9.]+/" AND NOT file MATCHES "\\.mos$")
    file(READ ${EXAMPLES}/${file} bytes HEX)
    string(REGEX REPLACE "(..)" "'\\\\x\\1', " bytes "${bytes}")
    string(APPEND arrays "constexpr char file${number}[] = {${bytes}'\\0'};\n")
    string(APPEND table "    {\"${file}\", {file${number}, sizeof(file${number}) - 1}},\n")
    math(EXPR number "${number} + 1")
  endif()
endforeach()
file(WRITE ${OUTPUT} "#include \"server/examples/example_files.h\"

namespace mos::server {
namespace {

${arrays}
constexpr ExampleFile allFiles[] = {
${table}};

} // namespace

std::span<const ExampleFile> exampleFiles() {
    return allFiles;
}

} // namespace mos::server
")
