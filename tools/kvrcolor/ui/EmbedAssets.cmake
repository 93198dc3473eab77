# Writes OUT, a C++ source defining UiAsset() over the files ASSETS (a ;-list), each as an array
# of its bytes. Run with cmake -P at build time, whenever an asset changes.
set(body "")
set(table "")
set(n 0)
foreach(file IN LISTS ASSETS)
  get_filename_component(name ${file} NAME)
  file(READ ${file} hex HEX)
  string(LENGTH "${hex}" len)
  math(EXPR size "${len} / 2")
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${hex}")
  string(APPEND body "const unsigned char kAsset${n}[] = {${bytes} 0};\n")
  string(APPEND table "    {\"${name}\", reinterpret_cast<const char*>(kAsset${n}), ${size}},\n")
  math(EXPR n "${n} + 1")
endforeach()
file(WRITE ${OUT}.tmp "// Made by EmbedAssets.cmake from tools/kvrcolor/ui/assets; do not edit.
#include \"ui/UiAssets.h\"

namespace {
${body}
struct Entry {
    const char* name;
    const char* data;
    unsigned long size;
};
const Entry kAssets[] = {
${table}};
} // namespace

std::string_view UiAsset(std::string_view name) {
    for (const Entry& e : kAssets)
        if (name == e.name) return {e.data, e.size};
    return {};
}
")
execute_process(COMMAND ${CMAKE_COMMAND} -E copy_if_different ${OUT}.tmp ${OUT})
