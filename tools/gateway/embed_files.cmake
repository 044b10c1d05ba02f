# Writes a source file that holds the bytes of FILES.
#   cmake -DOUTPUT=embedded_files.cpp "-DFILES=a;b" -P embed_files.cmake
set(arrays)
set(rows)
set(number 0)
foreach(file IN LISTS FILES)
  get_filename_component(name "${file}" NAME)
  file(READ "${file}" bytes HEX)
  string(REGEX REPLACE "(................................)" "\\1\n" bytes "${bytes}")
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${bytes}")
  string(APPEND arrays "constexpr unsigned char FILE_${number}[] = {\n${bytes}0};\n")
  string(APPEND rows "    if (name == \"${name}\") {\n        return to_text(FILE_${number}, sizeof FILE_${number} - 1);\n    }\n")
  math(EXPR number "${number} + 1")
endforeach()
file(WRITE "${OUTPUT}" "#include \"gateway/web/embedded_files.h\"

#include <cstddef>

namespace gateway {
namespace {

${arrays}
std::string_view to_text(const unsigned char* bytes, std::size_t size) {
    return {reinterpret_cast<const char*>(bytes), size};
}

}  // namespace

std::string_view get_embedded_file(std::string_view name) {
${rows}    return {};
}

}  // namespace gateway
")
