# dovra_embed_files(SOURCE FILE...): writes the source SOURCE that defines `embeddedFiles()` with the contents of the
# files. Done when the build is configured, and again whenever one of the files has changed.
function(dovra_embed_files SOURCE)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${ARGN})
    set(rows "")
    foreach(file IN LISTS ARGN)
        get_filename_component(name ${file} NAME)
        file(SHA256 ${file} hash)
        string(SUBSTRING ${hash} 0 16 hash)
        file(READ ${file} text)
        string(APPEND rows "    {\"${name}\", \"${hash}\", R\"~~(${text})~~\"},\n")
    endforeach()
    set(source "// Written by the build.
#include \"Servers/Http/EmbeddedFile.hpp\"

namespace dovra {

namespace {
constexpr EmbeddedFile files[] = {
${rows}};
}  // namespace

std::span<const EmbeddedFile> embeddedFiles() {
    return files;
}

}  // namespace dovra
")
    set(former "")
    if(EXISTS ${SOURCE})
        file(READ ${SOURCE} former)
    endif()
    if(NOT source STREQUAL former)
        file(WRITE ${SOURCE} "${source}")
    endif()
endfunction()
